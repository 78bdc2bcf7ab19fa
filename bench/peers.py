"""Crawls one served site with every crawler in turn and prints a line a run.

    peers.py BUILD SITE-PATH NAME PORT ACCESS-LOG WORK-DIRECTORY ROUNDS

A run's pages are the requests that the server answered meanwhile. Each crawler stores its pages in
a directory of its own; nothing is deleted before the end, which would slow the next run's writes.
"""

import os
import pathlib
import subprocess
import sys
import time

build, path, site, port, access_log, work, rounds = sys.argv[1:]
work = pathlib.Path(work)
url = f"http://127.0.0.1:{port}{path}"

PROFILE = """<?xml version="1.0" encoding="utf-8"?>
<crawlers><crawler name="bench" nb-spiders="{spiders}" stop-when-empty="true" admin-port="-1"
  admin-thread-sleep-time="200">
  <seed-urls><url name="{url}index.html"/></seed-urls>
  <restricted-urls><url name="http://127\\.0\\.0\\.1:{port}/"/></restricted-urls>
  <canonical-urls enable="1"/><safety strict="true"/><robot honor="false"/>
  <frontier sleep_interval="0"/>
  <store name="store" temp_data_path="temp" mbytes="100"/><log name="crawl.log"/>
</crawler></crawlers>
"""

SCRAPY = """
import scrapy
from scrapy.linkextractors import LinkExtractor

class site(scrapy.Spider):
    name = "site"
    start_urls = ["{url}index.html"]
    custom_settings = {{"LOG_LEVEL": "ERROR", "ROBOTSTXT_OBEY": False, "CONCURRENT_REQUESTS": 16,
                       "CONCURRENT_REQUESTS_PER_DOMAIN": 16, "TELNETCONSOLE_ENABLED": False}}
    links = LinkExtractor(allow_domains=["127.0.0.1"])
    out = open("pages", "wb")

    def parse(self, response):
        self.out.write(response.body)
        if isinstance(response, scrapy.http.HtmlResponse):
            for link in self.links.extract_links(response):
                yield response.follow(link, self.parse)
"""


def count_lines(path):
    with open(path, "rb") as file:
        return sum(1 for _ in file)


def run(name, command, directory):
    """Prints the run's line; its pages a second. What the run before wrote is on the disk by then."""
    os.sync()
    before = count_lines(access_log)
    begin = time.monotonic()
    with open(directory / "said", "wb") as said:
        child = subprocess.Popen(command, cwd=directory, stdout=said, stderr=said)
        _, status, used = os.wait4(child.pid, 0)
    seconds = time.monotonic() - begin
    pages = count_lines(access_log) - before
    cpu = (used.ru_utime + used.ru_stime) * 1000 / max(pages, 1)
    code = os.waitstatus_to_exitcode(status)
    print(f"{site:<8} {name:<22} {pages:>7} {seconds:>8.2f} {pages / seconds:>8.0f} {cpu:>8.3f} "
          f"{used.ru_maxrss / 1024:>8.1f}" + (f"  (status {code})" if code else ""), flush=True)
    return pages / seconds


def make_place(name):
    place = work / f"{site}-{name}-{time.monotonic_ns()}"
    (place / "store").mkdir(parents=True)
    (place / "temp").mkdir()
    return place


def run_crawler(spiders):
    place = make_place("zcrawler")
    (place / "crawl.xml").write_text(PROFILE.format(spiders=spiders, url=url, port=port))
    return run(f"_zcrawler {spiders} spiders", [f"{build}/_zcrawler", "-conf", "crawl.xml"], place)


def run_wget2(threads):
    return run(f"wget2 {threads} threads",
               ["wget2", "-q", "-r", "-l", "inf", "--robots=off", "-nH",
                f"--max-threads={threads}", url + "index.html"], make_place("wget2"))


def run_others():
    """Each for two minutes at most; a status of 124 or 137 says that it was stopped then."""
    limit = ["timeout", "-k", "5", "120"]
    run("wget", [*limit, "wget", "-q", "-r", "-l", "inf", "-e", "robots=off", "-nH",
                 url + "index.html"], make_place("wget"))
    run("httrack", [*limit, "httrack", url + "index.html", "-O", ".", "-q", "-r99999", "-s0", "-c16",
                    "-A1000000000", "-%c1000", "--disable-security-limits", "-I0"],
        make_place("httrack"))
    place = make_place("scrapy")
    (place / "site.py").write_text(SCRAPY.format(url=url))
    run("scrapy", [*limit, "scrapy", "runspider", "site.py"], place)


def run_ceiling(threads):
    place = make_place("ceiling")
    with open(access_log, encoding="latin-1") as log:
        paths = dict.fromkeys(line for line in log.read().split("\n") if line.startswith(path))
    (place / "list").write_text("\n".join(paths), encoding="latin-1")
    return run(f"ceiling {threads} threads",
               [f"{build}/bench/ceiling", port, str(threads), "list", "pages"], place)


def main():
    ours, wget2, ceiling = [], [], []
    for _ in range(int(rounds)):
        ours.append({n: run_crawler(n) for n in (2, 8, 32)})
        wget2.append(max(run_wget2(n) for n in (1, 2, 3, 5, 10, 20)))
        ceiling.append(max(run_ceiling(n) for n in (2, 4, 8)))
        if os.environ.get("PEERS") != "wget2":
            run_others()
    for n in (2, 8, 32):
        best = max(round[n] for round in ours)
        print(f"{site}: {n} spiders: {best / max(wget2):.2f} times wget2's best, "
              f"{best / max(ceiling):.2f} of the ceiling")


main()
