#!/usr/bin/env python3
"""Crawls 500,000 pages of a site without an end, one in a hundred hostile, with checkpoints every
ten seconds and the administration asked every second, and watches what the process holds.

    bench/soak.py BUILD [PAGES [SECONDS]]     BUILD holds _zcrawler, flatsite, bench/endless_site

SECONDS is the time between two checkpoints. The same with a build for ThreadSanitizer and some
thousand pages shows data races: a report of it makes the crawl fail.

Prints a line for each tenth of the crawl. Exit status 1 when threads or handles grow, the crawl
fails, or it stores less than it should.
"""

import os
import pathlib
import socket
import subprocess
import sys
import tempfile
import time
import urllib.request

PROFILE = """<?xml version="1.0" encoding="utf-8"?>
<crawlers><crawler name="soak" nb-spiders="8" stop-when-empty="true" admin-port="{admin}"
  admin-thread-sleep-time="500">
  <seed-urls><url name="http://127.0.0.1:{port}/0"/></seed-urls>
  <canonical-urls enable="1"/><safety strict="true"/><robot honor="false"/>
  <frontier sleep_mode="1" sleep_interval="0"/><retries num="0"/>
  <quota files="{pages}"/><checkpoint dir="checkpoint" interval="{interval}"/>
  <store name="store" temp_data_path="temp" mbytes="100"/><log name="crawl.log"/>
</crawler></crawlers>
"""


def find_port():
    with socket.socket() as found:
        found.bind(("127.0.0.1", 0))
        return found.getsockname()[1]


def ask(admin, path):
    with urllib.request.urlopen(f"http://127.0.0.1:{admin}{path}", timeout=10) as answer:
        return answer.read().decode("latin-1")


def read_metric(text, name):
    return sum(float(line.rpartition(" ")[2]) for line in text.splitlines()
               if line.startswith(name))


def look(pid, admin):
    """Pages stored, resident MB, threads, handles."""
    metrics = ask(admin, "/metrics")
    ask(admin, "/status.json")
    ask(admin, "/webadmin/GetStats")
    status = dict(line.split(":", 1) for line in
                  pathlib.Path(f"/proc/{pid}/status").read_text().splitlines())
    return (int(read_metric(metrics, "wkcrawler_stored_documents_total")),
            int(status["VmRSS"].split()[0]) / 1024, int(status["Threads"]),
            len(os.listdir(f"/proc/{pid}/fd")))


def watch(crawl, admin, pages):
    """The looks at the crawl, one for each tenth of its pages."""
    looks = []
    while crawl.poll() is None:
        time.sleep(1)
        try:
            now = look(crawl.pid, admin)
        except OSError:
            continue  # it ends, or has not begun
        if now[0] and now[0] >= len(looks) * pages / 10:
            looks.append(now)
            print(f"{now[0]:>8} pages {now[1]:>7.1f} MB {now[2]:>4} threads {now[3]:>4} handles",
                  flush=True)
    return looks


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    pages, interval = map(int, (sys.argv[2:] + ["500000", "10"][len(sys.argv) - 2:]))
    site = subprocess.Popen([build / "bench/endless_site"], stdin=subprocess.PIPE,
                            stdout=subprocess.PIPE)
    port, admin = int(site.stdout.readline()), find_port()
    with tempfile.TemporaryDirectory() as directory:
        place = pathlib.Path(directory)
        for name in "store", "temp", "checkpoint":
            (place / name).mkdir()
        (place / "crawl.xml").write_text(PROFILE.format(port=port, admin=admin, pages=pages,
                                                         interval=interval))
        begin = time.monotonic()
        with (place / "said").open("w") as said:
            crawl = subprocess.Popen([build / "_zcrawler", "-conf", "crawl.xml"], cwd=place,
                                     stdout=said, stderr=said)
        looks = watch(crawl, admin, pages)
        seconds = time.monotonic() - begin
        said = (place / "said").read_text()
        stored = subprocess.run([build / "flatsite", "check", place / "store"],
                                capture_output=True, text=True, check=True).stdout.strip()
    site.stdin.close()
    site.wait()
    first, last = looks[min(1, len(looks) - 1)], looks[-1]
    growth = (last[1] - first[1]) * 2**20 / max(last[0] - first[0], 1)
    print(f"{seconds:.0f} s, {pages / seconds:.0f} pages/s; {growth:.0f} bytes a page from "
          f"{first[0]} to {last[0]} pages; {stored.rpartition('/')[2]}")
    if crawl.returncode != 0 or last[2] != first[2] or last[3] > max(l[3] for l in looks[:3]) + 16:
        sys.exit(f"{said[-5000:]}\nstatus {crawl.returncode}, threads {first[2]} to {last[2]}, "
                 f"handles {first[3]} to {last[3]}")


main()
