#!/usr/bin/env python3
"""What many spiders cost: a thousand at work on slow hosts, and 64 that have nothing to do.

    bench/spiders.py build/_zcrawler

Hosts are addresses 127.0.x.y of this machine; each answers a page after half a second, and may be
asked once a second. Prints, for the thousand: pages/s once all are under way, and peak memory; for
the 64, paused and while they wait for one polite host: wake-ups a second of all threads and the
share of one core.
"""

import asyncio
import multiprocessing
import os
import pathlib
import re
import resource
import signal
import socket
import subprocess
import sys
import tempfile
import time
import urllib.request

PROFILE = """<?xml version="1.0" encoding="utf-8"?>
<crawlers><crawler name="bench" nb-spiders="{spiders}" stop-when-empty="true" admin-port="{admin}">
  <seed-urls>{seeds}</seed-urls>
  <canonical-urls enable="1"/><robot honor="false"/>
  <frontier sleep_interval="1" nb_queues="100000"/>
  <store name="store" temp_data_path="temp" mbytes="100"/><log name="crawl.log"/>
</crawler></crawlers>
"""


class slow_page(asyncio.Protocol):
    """Answers any request half a second later with a page that leads to the next one."""

    answered = multiprocessing.Value("q", 0)

    def connection_made(self, transport):
        self.transport = transport

    def data_received(self, data):
        number = int(re.match(rb"GET /(\d*)", data).group(1) or 0)
        host = ".".join(map(str, self.transport.get_extra_info("sockname")[:1]))
        body = f"{host} {number} <a href='/{number + 1}'>next</a>" + "x" * (number % 977)
        head = f"HTTP/1.0 200 OK\r\nContent-Type: text/html\r\nContent-Length: {len(body)}\r\n\r\n"
        asyncio.get_running_loop().call_later(0.5, self.answer, (head + body).encode())

    def answer(self, data):
        self.transport.write(data)
        self.transport.close()
        self.answered.value += 1


def serve(hosts, port):
    resource.setrlimit(resource.RLIMIT_NOFILE, (resource.getrlimit(resource.RLIMIT_NOFILE)[1],) * 2)

    async def forever():
        server = await asyncio.get_running_loop().create_server(slow_page, hosts, port)
        await server.serve_forever()

    asyncio.run(forever())


def find_port():
    with socket.socket() as found:
        found.bind(("127.0.0.1", 0))
        return found.getsockname()[1]


def start_crawl(program, place, spiders, hosts, port, admin):
    for name in "store", "temp":
        (place / name).mkdir()
    seeds = "".join(f'<url name="http://{host}:{port}/0"/>' for host in hosts)
    (place / "crawl.xml").write_text(PROFILE.format(spiders=spiders, seeds=seeds, admin=admin))
    with (place / "said").open("w") as said:
        return subprocess.Popen([program, "-conf", "crawl.xml"], cwd=place, stdout=said,
                                stderr=said)


def end_crawl(child):
    child.send_signal(signal.SIGTERM)
    if child.wait(30) != 0:
        sys.exit("the crawl failed")


def read_switches(pid):
    """Times that a thread of the process went to sleep, and its CPU ticks."""
    switches = 0
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        switches += int(re.search(r"^voluntary_ctxt_switches:\s*(\d+)",
                                  (task / "status").read_text(), re.M).group(1))
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    return switches, int(fields[11]) + int(fields[12])


def measure_idle(pid, what):
    before, ticks = read_switches(pid)
    time.sleep(10)
    after, ticks_after = read_switches(pid)
    share = (ticks_after - ticks) / os.sysconf("SC_CLK_TCK") / 10 * 100
    print(f"64 spiders, {what}: {(after - before) / 10:.0f} wake-ups/s, {share:.1f} % of a core")


def measure_thousand(program, work, hosts, port):
    (work / "thousand").mkdir()
    child = start_crawl(program, work / "thousand", 1000, hosts, port, -1)
    time.sleep(5)
    before = slow_page.answered.value
    time.sleep(20)
    rate = (slow_page.answered.value - before) / 20
    status = pathlib.Path(f"/proc/{child.pid}/status").read_text()
    peak = int(re.search(r"VmHWM:\s*(\d+)", status).group(1)) / 1024
    ticks = read_switches(child.pid)[1] / os.sysconf("SC_CLK_TCK")
    end_crawl(child)
    print(f"1000 spiders, 1000 hosts: {rate:.0f} pages/s, peak {peak:.0f} MB, "
          f"{ticks / 25 * 100:.0f} % of a core")


def measure_64(program, work, host, port):
    (work / "idle").mkdir()
    admin = find_port()
    child = start_crawl(program, work / "idle", 64, [host], port, admin)
    time.sleep(3)
    measure_idle(child.pid, "one polite host")
    urllib.request.urlopen(f"http://127.0.0.1:{admin}/webadmin/Pause", timeout=5).read()
    time.sleep(2)
    measure_idle(child.pid, "paused")
    end_crawl(child)


def main():
    program = str(pathlib.Path(sys.argv[1]).resolve())
    hosts = [f"127.0.{1 + i // 250}.{1 + i % 250}" for i in range(1000)]
    port = find_port()
    server = multiprocessing.Process(target=serve, args=(hosts, port), daemon=True)
    server.start()
    time.sleep(1)
    with tempfile.TemporaryDirectory() as work:
        measure_64(program, pathlib.Path(work), hosts[0], port)
        measure_thousand(program, pathlib.Path(work), hosts, port)
    server.terminate()


main()
