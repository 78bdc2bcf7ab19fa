"""Runs one crawl in a prepared directory and prints its line of the crawl benchmark's table."""

import pathlib
import resource
import subprocess
import sys
import time

program, place, spiders = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3]
begin = time.monotonic()
with (place / "out").open("w") as out, (place / "err").open("w") as err:
    subprocess.run([program, "-conf", "crawl.xml"], cwd=place, stdout=out, stderr=err, check=True,
                   timeout=600)
seconds = time.monotonic() - begin
used = resource.getrusage(resource.RUSAGE_CHILDREN)
log = (place / "crawl.log").read_text(encoding="latin-1")
pages = log.count("  Grabbed page (HTTP CODE ")
failed = log.count("  Didn't download (")
asked = pages + failed
cpu_ms = (used.ru_utime + used.ru_stime) * 1000 / asked
print(f"{spiders:<8} {pages:>8} {failed:>8} {seconds:>9.2f} {asked / seconds:>9.0f} {cpu_ms:>9.3f} "
      f"{used.ru_maxrss / 1024:>9.1f}")
