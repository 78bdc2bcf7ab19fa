#!/usr/bin/env python3
"""Prints the links that the crawler finds on real pages beside those of Chromium's document tree.

    cmake --preset release && cmake --build build --target page_links
    apt-get install -y --no-install-recommends chromium python3-doc valgrind libxslt1-dev nodejs-doc
    bench/links_compare.py build/bench/page_links [DIRECTORY NUMBER]

The pages are Debian's own documentation, served from /usr/share on a loopback port. Chromium gets
them with a script at their end that writes down every link of the tree once the page is loaded.
Fragments are left out on both sides. A page that is not installed is passed over. With DIRECTORY,
a folder below /usr/share, NUMBER of its pages are taken instead, spread evenly over all.
"""

import http.server
import pathlib
import re
import subprocess
import sys
import tempfile
import threading

ROOT = pathlib.Path("/usr/share")
PAGES = """
doc/python3.11/html/index.html
doc/python3.11/html/contents.html
doc/python3.11/html/search.html
doc/python3.11/html/genindex-A.html
doc/python3.11/html/library/os.html
doc/python3.11/html/library/asyncio.html
doc/python3.11/html/tutorial/classes.html
doc/python3.11/html/whatsnew/3.11.html
doc/python3.11/html/c-api/object.html
doc/valgrind/html/index.html
doc/valgrind/html/manual.html
doc/valgrind/html/faq.html
doc/libxslt1-dev/html/index.html
doc/libxslt1-dev/html/xslt.html
doc/libxslt1-dev/html/news.html
doc/libxslt1-dev/gtk-doc/html/libxslt/libxslt-xslt.html
doc/nodejs/api/http.html
doc/nodejs/api/fs.html
doc/libffi8/html/index.html
doc/libexpat1-dev/expat.html/reference.html
""".split()

SCRIPT = b"""<script>addEventListener('load', function () {
  var found = [];
  document.querySelectorAll('[href],[src]').forEach(function (element) {
    var name = element.localName, url = element.href || element.src;
    if (typeof url === 'string' && /^https?:/.test(url)) found.push(name + ' ' + url);
  });
  document.documentElement.innerHTML = '<head></head><body><pre id="found"></pre></body>';
  document.getElementById('found').textContent = found.join('\\n');
});</script>"""

FLAGS = """--headless --no-sandbox --disable-gpu --disable-quic --no-first-run
--disable-background-networking --disable-component-update --disable-sync --dump-dom""".split()


class page_server(http.server.SimpleHTTPRequestHandler):
    """The files below ROOT; a browser gets pages with SCRIPT behind them."""

    def __init__(self, *arguments):
        super().__init__(*arguments, directory=str(ROOT))

    def do_GET(self):
        path = pathlib.Path(self.translate_path(self.path))
        browser = "Chrome" in self.headers.get("User-Agent", "")
        if not (browser and path.suffix == ".html" and path.is_file()):
            return super().do_GET()
        body = path.read_bytes() + SCRIPT
        self.send_response(200)
        self.send_header("Content-Type", "text/html")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)
        return None

    def log_message(self, *arguments):
        pass


def parse_links(text):
    """Lines of a kind and a URL, as a table from URLs without fragment to their first kind."""
    links = {}
    for line in text.splitlines():
        kind, _, url = line.partition(" ")
        links.setdefault(url.partition("#")[0], kind)
    return links


def find_crawler_links(program, url):
    done = subprocess.run([program, url], capture_output=True, timeout=60, check=True)
    return parse_links(done.stdout.decode("latin-1"))


def find_browser_links(url):
    with tempfile.TemporaryDirectory() as directory:
        done = subprocess.run(["chromium", *FLAGS, "--user-data-dir=" + directory, url],
                              capture_output=True, timeout=60, check=True)
    text = re.search(r'<pre id="found">(.*?)</pre>', done.stdout.decode(), re.DOTALL)
    if text is None:
        sys.exit(f"{url}: the browser gave no links")
    return parse_links(text.group(1).replace("&amp;", "&"))


def compare_page(program, site, page):
    crawler = find_crawler_links(program, site + page)
    browser = find_browser_links(site + page)
    both = crawler.keys() & browser.keys()
    scripts = [url for url in both if crawler[url] == "script"]
    print(f"{page}: both {len(both)}, of them {len(scripts)} only by scripts and text; "
          f"crawler alone {len(crawler) - len(both)}, browser alone {len(browser) - len(both)}")
    for name, links in ("crawler", crawler), ("browser", browser):
        for url in sorted(links.keys() - both):
            print(f"    {name} alone: {links[url]} {url.replace(site, '/')}")
    return len(both), len(crawler) - len(both), len(browser) - len(both)


def choose_pages(arguments):
    if not arguments:
        return [page for page in PAGES if (ROOT / page).is_file()]
    files = sorted((ROOT / arguments[0]).rglob("*.html"))
    step = max(1, len(files) // int(arguments[1]))
    return [str(file.relative_to(ROOT)) for file in files[::step]][:int(arguments[1])]


def main():
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), page_server)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    site = f"http://127.0.0.1:{server.server_address[1]}/"
    pages = choose_pages(sys.argv[2:])
    sums = [sum(column) for column in zip(*(compare_page(sys.argv[1], site, p) for p in pages))]
    print(f"{len(pages)} pages: both {sums[0]}, crawler alone {sums[1]}, browser alone {sums[2]}")
    server.shutdown()


main()
