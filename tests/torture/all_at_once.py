"""all_at_once.py --program FILE [--pages N] [--lives N]

Two crawls of one site on one machine, in every trouble at once: each is killed or stopped again and
again and restored, has few file handles and a wall clock that runs backwards half of the time; pages
lead to a host that never answers, to a name without an address and to both administrations; and a
browser shows a page of another site that tries to steer them. In the end each crawl has stored every
page of the site, no administration did what a page asked for, and the log says why each other URL
was not fetched. Beside FILE lie flatsite and tests/libfault_preload.so.
"""

import argparse
import collections
import concurrent.futures
import http.server
import os
import random
import re
import resource
import signal
import socket
import subprocess
import sys
import tempfile
import threading

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from torture import Tools

NB_SPIDERS, NB_HANDLES, NB_LINKS = 16, 28, 5
NB_SILENT, NB_DEAD = 24, 200
PROFILE = """<?xml version="1.0" encoding="utf-8"?>
<crawlers><crawler name="all" nb-spiders="{spiders}" admin-port="{admin}" stop-when-empty="true" \
admin-thread-sleep-time="200">
<seed-urls><url name="http://127.0.0.1:{site}/0.html"/></seed-urls>
<canonical-urls enable="1"/><safety strict="true"/>
<frontier sleep_mode="0" sleep_interval="0"/><due disk_cache_size="200003"/>
<retries num="1" wait="100"/>
<store name="{base}/store" temp_data_path="{base}/temp"/>
<log name="{base}/log" append="true"/>
<checkpoint dir="{base}/check" interval="1"/>
</crawler></crawlers>
"""
STEERING = ("Pause", "Shutdown", "AddUrl?url=http://127.0.0.1:1/")
CHROMIUM = ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
            "--no-first-run", "--disable-background-networking", "--disable-component-update",
            "--disable-sync", "--remote-debugging-port=0"]


def listen(address):
    listener = socket.create_server((address, 0), backlog=1024)
    return listener, listener.getsockname()[1]


def find_free_port():
    listener, port = listen("127.0.0.1")
    listener.close()
    return port


def write_site(directory, nb_pages, silent, admins):
    """A tree of pages with links across it; some lead where nothing good is."""
    others = [f"http://127.0.0.2:{silent}/{i}" for i in range(NB_SILENT)]
    others += [f"http://nowhere.invalid/{i}" for i in range(NB_DEAD)]
    others += [f"http://{host}:{port}/webadmin/{page}" for host in ("127.0.0.1", "localhost", "127.1")
               for port in admins for page in STEERING]
    for page in range(nb_pages):
        draw = random.Random(page)
        links = [f"{child}.html" for child in range(3 * page + 1, 3 * page + 4) if child < nb_pages]
        links += [f"{draw.randrange(nb_pages)}.html" for _ in range(NB_LINKS)]
        links += others[page % len(others):page % len(others) + 1]
        with open(os.path.join(directory, f"{page}.html"), "w") as file:
            file.write(f"<p>{page:08}</p>" + "".join(f'<a href="{link}">x</a>' for link in links))


def start_nginx(base, port):
    with open(f"{base}/nginx.conf", "w") as conf:
        conf.write(f"daemon off; master_process off; pid {base}/pid; error_log {base}/error; worker_processes 1;"
                   "events { worker_connections 1024; } http { types { text/html html; } access_log off;"
                   f" client_body_temp_path {base}/body; server {{ listen 127.0.0.1:{port}; "
                   f"root {base}/site; }} }}")
    return subprocess.Popen(["nginx", "-c", f"{base}/nginx.conf", "-e", f"{base}/error"])


class HostilePage(http.server.BaseHTTPRequestHandler):
    """Steers by images, forms and scripts, again and again, and without a word of where it is from."""
    targets = []

    def do_GET(self):
        body = ("<meta name=referrer content=no-referrer><body><script>setInterval(() => {"
                f"for (const url of {self.targets!r}) {{ new Image().src = url + '&' + Math.random();"
                "fetch(url, {mode: 'no-cors', referrerPolicy: 'no-referrer'}).catch(() => {}); }"
                "}, 300)</script>" +
                "".join(f"<iframe src='{url}'></iframe><img src='{url}'>" for url in self.targets))
        self.send_response(200)
        self.send_header("Content-Type", "text/html")
        self.end_headers()
        self.wfile.write(body.encode())

    def log_message(self, *_):
        pass


class Crawl:
    def __init__(self, tools, base, site, admin):
        self.tools, self.base = tools, base
        self.lives = collections.Counter()
        for name in ("store", "temp", "check"):
            os.makedirs(f"{base}/{name}")
        with open(f"{base}/crawl.xml", "w") as profile:
            profile.write(PROFILE.format(spiders=NB_SPIDERS, admin=admin, site=site, base=base))

    def live(self, options, speed, seconds):
        """Runs until it is killed or stopped, or to its end without a time."""
        limit = (NB_HANDLES, NB_HANDLES)
        with open(f"{self.base}/errors", "ab") as errors:
            process = subprocess.Popen(
                [self.tools.program, "-conf", f"{self.base}/crawl.xml", *options], stdout=subprocess.DEVNULL,
                stderr=errors, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, limit),
                env=dict(os.environ, WK_CLOCK_SPEED=str(speed), **self.tools.preload({})))
        if seconds is None:
            return process.wait(1800)
        try:
            return process.wait(seconds)
        except subprocess.TimeoutExpired:
            end = random.choice((signal.SIGKILL, signal.SIGTERM))
            self.lives[end.name] += 1
            process.send_signal(end)
            return process.wait(60)

    def run(self, nb_lives):
        """The faults of its whole life."""
        options = []
        for _ in range(nb_lives):
            status = self.live(options, random.choice((1, -50)), random.uniform(1, 4))
            if status not in (0, -signal.SIGKILL):
                return [f"status {status}"]
            # Without a checkpoint there is nothing to go on from.
            options = ["-restore"] if os.listdir(f"{self.base}/check") else []
        status = self.live(options, -50, None)
        return [f"last status {status}"] if status != 0 else []


def check(crawl, nb_pages):
    """What the crawl lacks, and what its log leaves unexplained."""
    faults = []
    listing = subprocess.run([crawl.tools.flatsite, "list", f"{crawl.base}/store"],
                             capture_output=True, text=True)
    stored = set(re.findall(r"http://127\.0\.0\.1:\d+/(\d+)\.html", listing.stdout))
    if len(stored) != nb_pages:
        faults.append(f"{nb_pages - len(stored)} of {nb_pages} pages are not stored")
    with open(f"{crawl.base}/log", encoding="latin-1") as file:
        log = file.read()
    own = set(re.findall(r"(http://\S+)  leads to an administration of this machine", log))
    for url, code in re.findall(r"(http://\S+)  Didn't download \((?:HTTP CODE )?([^)]*)\)", log):
        is_explained = (url in own or (url.startswith("http://nowhere.invalid/") and code == "400") or
                        (url.startswith("http://127.0.0.2:") and code in ("400", "408")))
        if not is_explained:
            faults.append(f"{url} has {code} and no explanation")
    steered = re.findall(r"^.*\b200 /webadmin/(?:Pause|Shutdown|AddUrl).*$", log, re.M)
    refused = len(re.findall(r"\b403 /webadmin/", log))
    if steered:
        faults.append(f"steered {len(steered)} times: {steered[0]}")
    if refused == 0:
        faults.append("the browser never reached the administration")
    print(f"{crawl.base}: {dict(crawl.lives)}, {len(stored)} pages, {refused} requests of the browser "
          f"refused, {len(own)} URLs of administrations, shortages "
          f"{log.count('fetches wait until there is enough')}, checkpoints "
          f"{log.count('Checkpointed the crawler')}", flush=True)
    return faults[:20]


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--program", required=True)
    parser.add_argument("--pages", type=int, default=20_000)
    parser.add_argument("--lives", type=int, default=12)
    arguments = parser.parse_args()
    tools = Tools(arguments.program, None)
    with tempfile.TemporaryDirectory(prefix="all-", dir="/dev/shm") as base:
        silent, silent_port = listen("127.0.0.2")  # takes connections and says nothing
        site, admins = find_free_port(), [find_free_port(), find_free_port()]
        os.makedirs(f"{base}/site")
        write_site(f"{base}/site", arguments.pages, silent_port, admins)
        HostilePage.targets = [f"http://{host}:{port}/webadmin/{page}" for port in admins
                               for host in ("0.0.0.0", "127.0.0.1", "localhost", "[::ffff:127.0.0.1]")
                               for page in ("Pause?x", "Shutdown?x")]
        page = http.server.ThreadingHTTPServer(("127.0.0.3", 0), HostilePage)
        threading.Thread(target=page.serve_forever, daemon=True).start()
        nginx = start_nginx(base, site)
        browser = subprocess.Popen(
            [*CHROMIUM, f"--user-data-dir={base}/browser", f"http://127.0.0.3:{page.server_port}/"],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        crawls = [Crawl(tools, f"{base}/crawl{i}", site, admin) for i, admin in enumerate(admins)]
        faults = []
        try:
            with concurrent.futures.ThreadPoolExecutor(len(crawls)) as pool:
                for found in pool.map(lambda crawl: crawl.run(arguments.lives), crawls):
                    faults += found
            for crawl in crawls:
                faults += check(crawl, arguments.pages)
        finally:
            for process in (browser, nginx):
                process.terminate()
                process.wait()
            page.shutdown()
            silent.close()
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
