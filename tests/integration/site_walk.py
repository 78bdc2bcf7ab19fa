"""Walks a site's files on disk as the crawler would walk the served site; an independent count.

Usage: site_walk.py ROOT START BASE-URL KNOWN. Prints one line per URL that is reachable from START: the
number of its file's bytes, or -1 where there is no such file, the key by which its content is told
from others, in hexadecimal ("-" for none), and the URL. KNOWN is a file of URLs, one a line, whose
content passed for known, so that their links were not followed. Works from regular expressions over
whole pages, and so has nothing in common with the crawler's scanner but the rules.
"""

import pathlib
import re
import sys
import urllib.parse

SCANNED = {".html", ".htm", ".css", ".txt", ".c", ".h", ".py", ".rst"}
FEEDS = {".xml", ".svg", ".rss", ".atom"}
# What hides its content from the scan, and the tags that carry links.
PIECES = re.compile(
    rb"(?P<comment><!--)"
    rb"|(?P<declaration><!)"
    rb"|<[ \n\r\t]*(?P<hidden>script|style)"
    rb"|<[ \n\r\t]*(?:(?P<a>a)(?=[ \n\r\t])|(?P<name>link|base|frame|area|iframe|img|embed))",
    re.IGNORECASE | re.DOTALL)
ATTRIBUTE_OF = {b"link": b"href", b"base": b"href", b"frame": b"src", b"area": b"href",
                b"iframe": b"src", b"img": b"src", b"embed": b"src"}
COMMENT_END = re.compile(rb"--[ \n\r\t]*>")


def find_values(page):
    """Yields (tag, value) of every link attribute, in order."""
    at = 0
    while True:
        piece = PIECES.search(page, at)
        if not piece:
            return
        if piece.group("comment"):
            end = COMMENT_END.search(page, piece.start() + 2)
            if not end:
                return
            at = end.end() + 1
            continue
        if piece.group("declaration"):
            at = piece.start() + 3
            continue
        if piece.group("hidden"):
            end = re.compile(b"</" + piece.group("hidden") + b">", re.IGNORECASE).search(
                page, piece.end())
            if not end:
                return
            at = end.end() - 1
            continue
        tag = b"a" if piece.group("a") else piece.group("name").lower()
        wanted = b" href" if tag == b"a" else ATTRIBUTE_OF[tag]
        close = page.find(b">", piece.end())
        inside = page[piece.end():close if close >= 0 else len(page)]
        found = inside.lower().find(wanted)
        if found < 0:
            if close < 0:
                return
            at = close
            continue
        value_at = piece.end() + found + len(wanted)
        value = re.compile(rb"[ =]*(?:\"[ \n\r\t]*([^\"]*)\"|'[ \n\r\t]*([^']*)'"
                           rb"|[ \n\r\t]*([^> \n\r\t]*)[> \n\r\t])").match(page, value_at)
        if not value:
            return
        at = value.end()
        text = next(group for group in value.groups() if group is not None).strip()
        if text:
            yield tag, text


HIDDEN_TEXT = re.compile(
    rb"&nbsp;?|<!--.*?(?:-->|$)|<script.*?(?:</script>|$)|<style.*?(?:</style>|$)|<.*?(?:>|$)",
    re.IGNORECASE | re.DOTALL)


def build_key(page, is_text):
    text = HIDDEN_TEXT.sub(b"", page).partition(b"\0")[0] if is_text else page
    sums = bytes(sum(text[i::16]) % 256 for i in range(16))
    key = sums.partition(b"\0")[0] if is_text else sums.replace(b"\0", b"\1")
    return key.hex() or "empty"


def decode_entities(text):
    for entity, char in (("&quot;", '"'), ("&apos;", "'"), ("&amp;", "&"), ("&lt;", "<"),
                         ("&gt;", ">")):
        text = text.replace(entity, char)
    text = re.sub(r"&#([0-9]{2,4});", lambda m: chr(int(m.group(1)) % 256), text)
    return re.sub(r"&[a-zA-Z0-9]{2,8};", "", text)


def resolve(link, base):
    """The canonical absolute URL, or None when the link is dropped."""
    scheme = re.match(r"[A-Za-z0-9]+:", link)
    host, _, directory = base.partition("://")[2].partition("/")
    directory = "/" + directory[:directory.rfind("/") + 1]
    if scheme and scheme.group().lower() in ("http:", "https:"):
        rest = link[scheme.end():]
        if rest.startswith("//"):
            host, slash, path = rest[2:].partition("/")
            return finish(link[:scheme.end()].lower() + "//" + host.lower(), slash + path)
        link = rest
    elif scheme or link.startswith(":"):
        return None
    if link.startswith("#"):
        return None
    path = link if link.startswith("/") else directory + link
    return finish("http://" + host, path)


def finish(site, path):
    path = path or "/"
    if re.search(r"%(?![0-9A-Fa-f]{2})", path):
        return None
    segments = []
    parts = re.sub(r"/{2,}", "/", path).split("/")[1:]
    for i, part in enumerate(parts):
        last = i == len(parts) - 1
        if part == ".":
            if last:
                segments.append("")
        elif part == "..":
            if not segments:
                return None
            if last:
                segments.pop()
                segments.append("")
            elif len(segments) > 1:
                segments.pop()
        else:
            segments.append(part)
    url = decode_entities(site + "/" + "/".join(segments))
    return url.partition("#")[0].replace(" ", "%20")


def main():
    root, start, base = pathlib.Path(sys.argv[1]).resolve(), sys.argv[2], sys.argv[3]
    known = set(pathlib.Path(sys.argv[4]).read_text().split())
    waiting, seen = [base + start], {base + start}
    while waiting:
        url = waiting.pop()
        target = urllib.parse.unquote(url[len(base):].partition("?")[0])
        path = root / target.lstrip("/")
        if target.endswith("/"):
            path = path / "index.html"
        if not path.is_file():
            print(f"-1 - {url}")
            continue
        page = path.read_bytes()
        scanned = path.suffix in SCANNED
        print(len(page), build_key(page, scanned or path.suffix in FEEDS), url)
        if not scanned or url in known:
            continue
        here, first = url, True
        for tag, value in find_values(page.partition(b"\0")[0]):
            link = resolve(value.decode("latin-1"), here)
            if not link:
                continue
            if tag == b"base" and first:
                here = link
            first = False
            if link.startswith(base + "/") and link not in seen:
                seen.add(link)
                waiting.append(link)


main()
