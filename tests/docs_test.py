"""Holds README.md and docs/*.md against the tree and the programs.

    docs_test.py SOURCE BUILD

- A relative link leads to a file that is there, and behind "#" to a heading of it.
- An ```xml block with <crawlers> is a profile that the crawler takes, and check_profile too.
- The ```sh blocks of a page are one session in a directory of its own, run from top to bottom with
  the programs of BUILD before all others; each line of a ```text block behind one stands in what
  that block printed (digits stand for any number, "..." for anything).
- What a table of docs/operate.md lists is what the sources have: pages, metrics, records of the log.

A line before a block says what it is: <!-- not run: reason -->, <!-- file: NAME --> (the session has
it in that file), <!-- excerpt: PATH --> (the block stands in that file; a line "..." leaves out).
"""

import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import xml.etree.ElementTree

SOURCE, BUILD = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
PAGES = [SOURCE / "README.md"] + sorted((SOURCE / "docs").glob("*.md"))
PORTS = ("8000", "8731")  # that pages name; a free one takes the place of each
SESSION_SECONDS = 120
FENCE = re.compile(r"^(?:<!-- (?P<mark>[a-z ]+): (?P<value>[^\n]+) -->\n)?```(?P<kind>\w*)\n(?P<text>.*?)^```$",
                   re.MULTILINE | re.DOTALL)
NB_CHECKS = {"links": 0, "profiles": 0, "commands": 0, "outputs": 0, "excerpts": 0, "rows": 0}
FAULTS = []


def expect(kind, holds, fault):
    NB_CHECKS[kind] += 1
    if not holds:
        FAULTS.append(fault)


def read(path):
    return path.read_text(encoding="utf-8")


def find_blocks(page):
    text = read(page)
    return [(f"{page.name}:{text.count(chr(10), 0, found.start()) + 1}", found) for found in FENCE.finditer(text)]


# Links

def list_headings(page):
    """The anchors that a page's headings get: lower case, blanks to hyphens, no punctuation."""
    text = FENCE.sub("", read(page))
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")
            for heading in re.findall(r"^#+ +(.+?) *$", text, re.MULTILINE)}


def check_links(page):
    for target in re.findall(r"\]\(([^)\s]+)\)", FENCE.sub("", read(page))):
        if re.match(r"[a-z]+:", target):
            continue
        name, _, anchor = target.partition("#")
        path = (page.parent / name) if name else page
        is_there = path.exists() and (not anchor or anchor in list_headings(path))
        expect("links", is_there, f"{page.name}: the link {target} leads nowhere")


def check_paths(page):
    """What stands in backquotes and looks like a path of the tree is there."""
    tops = "app|bench|cmake|crawler|docs|examples|packaging|tests|tools|wk(?:dt|fs|skt|std|zp)"
    for path in set(re.findall(rf"`((?:{tops})/[\w.*/-]*)[ `]", FENCE.sub("", read(page)))):
        expect("links", any(SOURCE.glob(path)), f"{page.name}: there is no {path}")


# Excerpts

def check_excerpts(page):
    for place, found in find_blocks(page):
        if found["mark"] != "excerpt":
            continue
        at, text = 0, read(SOURCE / found["value"])
        for piece in re.split(r"^ *\.\.\.\n", found["text"], flags=re.MULTILINE):
            at = text.find(piece, at)
            if at < 0:
                break
        expect("excerpts", at >= 0, f"{place}: does not stand like this in {found['value']}")


# Profiles and sessions

HELD = []  # bound, not listening: the system gives their ports to nobody who does not ask for them


def hold_free_ports():
    sockets = [socket.socket() for _ in PORTS]
    for one in sockets:
        one.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        one.bind(("127.0.0.1", 0))
    HELD.extend(sockets)
    return {port: str(one.getsockname()[1]) for port, one in zip(PORTS, sockets)}


def move_ports(text, ports):
    return re.sub(r"\b(%s)\b" % "|".join(PORTS), lambda found: ports[found[0]], text)


def run(arguments, directory):
    done = subprocess.run([str(argument) for argument in arguments], cwd=directory, capture_output=True,
                          timeout=60, check=False)
    return done.returncode, done.stderr.decode("utf-8", "replace").strip()


def check_profile(place, text, root):
    directory = pathlib.Path(tempfile.mkdtemp(dir=root))
    (directory / "crawl.xml").write_text(text, encoding="utf-8")
    try:
        tree = xml.etree.ElementTree.fromstring(text.encode())
    except xml.etree.ElementTree.ParseError as fault:
        expect("profiles", False, f"{place}: {fault}")
        return
    for element in tree.iter():
        for name in ("temp_data_path", "dir") + (("name",) if element.tag == "store" else ()):
            if name in element.attrib:
                (directory / element.attrib[name]).mkdir()  # a page's profile names no absolute path
    programs = [[BUILD / "_zcrawler", "-conf", "crawl.xml", "-save"]]
    if (BUILD / "check_profile").exists():
        programs.append([BUILD / "check_profile", "crawl.xml"])
    for program in programs:
        answer = run(program, directory)
        expect("profiles", answer == (0, ""), f"{place}: {program[0].name} says {answer}")


def build_script(blocks, ports):
    """One script of a page's blocks; what each prints stands behind a line with its place."""
    lines = ["set -e", "exec 2>&1"]
    for place, found in blocks:
        text = move_ports(found["text"], ports)
        if found["mark"] == "file":
            lines.append(f"cat >{found['value']} <<'END-OF-BLOCK'\n{text}END-OF-BLOCK")
        if found["kind"] == "sh" and found["mark"] != "not run":
            NB_CHECKS["commands"] += len(text.splitlines())
            lines.append(f"echo '\x01{place}'\n{text}")
    return "\n".join(lines) + "\necho '\x01end'\n"


def prepare_session(directory, ports):
    """What a page's reader stands in: the tree, built."""
    for name in ("tools", "docs"):
        (directory / name).symlink_to(SOURCE / name)
    (directory / "build").symlink_to(BUILD)
    shutil.copytree(SOURCE / "examples", directory / "examples")
    for profile in (directory / "examples").glob("*.xml"):
        profile.write_text(move_ports(read(profile), ports), encoding="utf-8")
    environment = dict(os.environ, PATH=f"{BUILD}:{os.environ['PATH']}")
    for proxy in ("HTTP_PROXY", "http_proxy"):
        environment.pop(proxy, None)
    return environment


def run_session(script, directory, environment):
    """What the script printed. All that it started ends with it."""
    with open(directory / ".script", "w", encoding="utf-8") as file:
        file.write(script)
    with open(directory / ".output", "wb") as output, subprocess.Popen(
            ["bash", ".script"], cwd=directory, env=environment, stdin=subprocess.DEVNULL,
            stdout=output, start_new_session=True) as shell:
        try:
            shell.wait(SESSION_SECONDS)
        except subprocess.TimeoutExpired:
            FAULTS.append("the session took too long")
        try:
            os.killpg(shell.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
    return (directory / ".output").read_text(encoding="utf-8", errors="replace")


def is_printed(line, printed):
    pattern = re.sub(r"\d+", r"\\d+", re.escape(re.sub(" +", " ", line).strip())).replace(re.escape("..."), ".*")
    return any(re.fullmatch(pattern, re.sub(" +", " ", one).strip()) for one in printed)


def check_session(page, root):
    blocks = find_blocks(page)
    if not any(found["kind"] == "sh" and found["mark"] != "not run" for _, found in blocks):
        return
    directory = pathlib.Path(tempfile.mkdtemp(dir=root))
    ports = hold_free_ports()
    output = run_session(build_script(blocks, ports), directory, prepare_session(directory, ports))
    if "\x01end\n" not in output:
        FAULTS.append(f"{page.name}: the session broke off:\n{output[-1500:]}")
        return
    for number, port in ports.items():
        output = output.replace(port, number)
    parts = dict(part.split("\n", 1) for part in output.split("\x01")[1:])
    last = None
    for place, found in blocks:
        if found["kind"] == "sh":
            last = place
        if found["kind"] == "text" and last in parts:
            for line in found["text"].splitlines():
                expect("outputs", is_printed(line, parts[last].splitlines()),
                       f"{place}: '{line}' is not printed by {last}:\n{parts[last][:1500]}")


# Tables of docs/operate.md

def expect_same(what, listed, there):
    expect("rows", there and listed == there,
           f"operate.md lists {what} that are not there {sorted(listed - there)}, "
           f"and not {sorted(there - listed)}")


def list_log_texts():
    """The literals of all that writes to the log, cut at what changes from record to record."""
    call = re.compile(r"\b(?:write_log|write_formatted_log|log_url|log_spider|log_opening|end_crawl"
                      r"|report_flatsite|note_refusal)\(((?:\"(?:[^\"\\]|\\.)*\"|[^;{\"])*)\);")
    texts = set()
    for path in sorted((SOURCE / "crawler").rglob("*.cc")) + [SOURCE / "app/start_up.cc"]:
        for arguments in call.findall(read(path)):
            arguments = re.sub(r'"\s*"', "", arguments)  # literals that the compiler joins
            for literal in re.findall(r'"((?:[^"\\]|\\.)*)"', arguments):
                literal = literal.replace("\\n", "")
                if not re.fullmatch(r"(x|s|cs|c|link)-[a-z-]+( (x|s|cs|c)-[a-z-]+)*", literal):
                    texts.update(re.findall(r"[^%]{6,}", re.sub(r"%l?[a-z]", "%", literal)))
    return texts


def check_tables():
    page = read(SOURCE / "docs/operate.md")
    table = read(SOURCE / "crawler/admin/page_table.cc")
    expect_same("pages", set(re.findall(r"`(/webadmin/\w*)`", page)),
                set(re.findall(r'\{"(/webadmin/\w*)",', table)))
    figures = read(SOURCE / "crawler/admin/crawl_figures.cc")
    metrics = {name for name in re.findall(r'^    \{"\w+", "(\w+)"', figures, re.MULTILINE)}
    expect_same("metrics", set(re.findall(r"`wkcrawler_(\w+)", page)), metrics | {"info", "fetch_seconds"})
    told = page.replace("&#124;", "|")
    for text in sorted(list_log_texts()):
        expect("rows", text.strip() in told, f"operate.md does not explain the record '{text}'")


with tempfile.TemporaryDirectory() as scratch:
    for one_page in PAGES:
        check_links(one_page)
        check_paths(one_page)
        check_excerpts(one_page)
        for where, block in find_blocks(one_page):
            if block["kind"] == "xml" and "<crawlers" in block["text"]:
                check_profile(where, block["text"], scratch)
            if block["mark"] not in (None, "not run", "file", "excerpt"):
                FAULTS.append(f"{where}: an unknown mark '{block['mark']}'")
        check_session(one_page, scratch)
    check_tables()
for kind_of_check, number in NB_CHECKS.items():
    expect(kind_of_check, number > 0, f"no {kind_of_check} were found to check")
print("\n".join(FAULTS) or ", ".join(f"{number} {kind}" for kind, number in NB_CHECKS.items()))
sys.exit(1 if FAULTS else 0)
