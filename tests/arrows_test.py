"""Holds the tree's includes against the order of its folders.

A folder may include what stands to the right of it and nothing to its left; of the folders in its own
column only what is listed below. Also: every folder with sources has its place in the order, and
every include of the tree names a file by its path from the root.
"""

import pathlib
import re
import sys

COLUMNS = [
    ["app"],
    ["crawler/run"],
    ["crawler/admin"],
    ["crawler/core"],
    ["crawler/config", "crawler/output", "crawler/content"],
    ["crawler/fetch", "crawler/horizon"],
    ["crawler/url"],
    ["crawler/rules"],
    ["wkskt", "wkdt", "wkfs", "wkzp"],
    ["wkstd"],
]
NEIGHBOURS = {("crawler/content", "crawler/fetch"), ("crawler/output", "wkskt")}
COLUMN_OF = {folder: i for i, column in enumerate(COLUMNS) for folder in column}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def find_faults(root):
    faults = []
    nb_arrows = 0
    sources = [p for top in ("app", "crawler", "wkskt", "wkdt", "wkfs", "wkzp", "wkstd")
               for p in sorted((root / top).rglob("*")) if p.suffix in (".h", ".cc")]
    for source in sources:
        folder = source.parent.relative_to(root).as_posix()
        if folder not in COLUMN_OF:
            faults.append(f"{folder}: a folder without a place in the order")
            continue
        for name in INCLUDE.findall(source.read_text()):
            target = pathlib.PurePosixPath(name).parent.as_posix()
            where = f"{source.relative_to(root)} includes {name}"
            if not (root / name).is_file():
                faults.append(f"{where}: no such file from the root")
            elif target not in COLUMN_OF:
                faults.append(f"{where}: not a folder of the house")
            elif target != folder and (folder, target) not in NEIGHBOURS and \
                    COLUMN_OF[target] <= COLUMN_OF[folder]:
                faults.append(f"{where}: the arrow points the wrong way")
            nb_arrows += 1
    if nb_arrows < 50:
        faults.append(f"only {nb_arrows} includes found; is this the right tree?")
    return faults


found = find_faults(pathlib.Path(sys.argv[1]).resolve())
print("\n".join(found))
sys.exit(1 if found else 0)
