"""Prints what a demo crawl left, counted from its files, and fails when two of them disagree."""

import pathlib
import sys


def read_flatsite(path):
    """Yields (url, length) of each document of a store file, following the record format."""
    data = path.read_bytes()
    at = 0
    while at < len(data):
        url = None
        length = None
        assert data.startswith(b"FLATSITE_START\n", at), f"{path}: no record at byte {at}"
        while length is None:
            end = data.index(b"\n", at)
            name, _, value = data[at:end].partition(b"=")
            if name == b"DB_DOC_URL":
                url = value.decode("latin-1")
            if name == b"DB_DOC_LEN":
                length = int(value)
            at = end + 1
        at += length
        assert data.startswith(b"\nFLATSITE_END\n", at), f"{path}: no record end at byte {at}"
        at += len(b"\nFLATSITE_END\n")
        yield url, length


def show_head(path, nb_lines=6):
    with path.open(encoding="latin-1") as lines:
        for _, line in zip(range(nb_lines), lines):
            print("    " + line.rstrip("\n")[:96])


def main():
    place = pathlib.Path(sys.argv[1])
    seconds = float(sys.argv[3]) - float(sys.argv[2])
    log = (place / "crawl.log").read_text(encoding="latin-1")
    status = (place / "status.txt").read_text(encoding="latin-1").splitlines()
    stores = sorted(place.glob("store/flatsite-*"), key=lambda p: int(p.name.split("-")[1]))
    documents = [d for path in stores for d in read_flatsite(path)]
    link_files = sorted(place.glob("links.*"))
    records = "\n".join(p.read_text(encoding="latin-1") for p in link_files).split("\n\n")
    links = sum(len(r.strip("\n").split("\n")) - 2 for r in records if r.strip("\n"))

    grabbed = log.count("  Grabbed page (HTTP CODE ")
    failed = log.count("  Didn't download (")
    known = log.count("  Seen this content before")
    print(f"  pages fetched      {grabbed}")
    print(f"  not downloaded     {failed}")
    print(f"  content known      {known}")
    print(f"  documents stored   {len(documents)}")
    print(f"  bytes stored       {sum(length for _, length in documents)}")
    print(f"  links found        {links}")
    print(f"  seconds            {seconds:.2f}")

    for title, paths in (("store", stores), ("log", [place / "crawl.log"]),
                         ("status", [place / "status.txt"]), ("links", link_files)):
        for path in paths:
            print(f"\n  {title}: {path}")
            show_head(path)

    access = (place / "nginx/access.log").read_text().split()
    stored = {url for url, _ in documents}
    faults = []
    if len(documents) != grabbed - known:
        faults.append("documents stored are not the pages fetched less the known ones")
    if len(stored) != len(documents):
        faults.append("a URL was stored twice")
    if len(status) != len(documents) + failed:
        faults.append("the status file has another number of lines than documents and failures")
    if len(access) < grabbed + failed:
        faults.append("the server saw fewer requests than the log tells of")
    if not documents:
        faults.append("nothing was stored")
    for fault in faults:
        print(f"DISAGREEMENT: {fault}")
    return 1 if faults else 0


sys.exit(main())
