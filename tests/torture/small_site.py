"""A small site on loopback, and what it sees of a crawl.

One thread answers one request after the other: the crawls under test have one spider. While the
spider waits for certain pages, the server has the crawl's administration write a checkpoint, so
that every run of the same crawl writes it in the same state.
"""

import re
import socket
import threading
import urllib.parse

NB_PAGES = 200
CHECKPOINT_TIMEOUT = 5  # s
LONG_PAGE = 40_000  # bytes; several buffers of the program


def build_links(page):
    return [child for child in range(3 * page + 1, 3 * page + 4) if child < NB_PAGES] + [page // 7]


def build_page(page):
    # In so few bytes of text every page has a digest of its own.
    links = "".join(f'<a href="/p/{link}"></a>' for link in build_links(page))
    padding = "x" * (LONG_PAGE if page % 50 == 7 else 100)
    return f"<p>{page:08d}</p>{links}<!--{padding}-->".encode()


def find_reachable(passable):
    """The pages that a crawl comes to when it gets through the passable ones only."""
    reached, todo = {0}, [0]
    while todo:
        page = todo.pop()
        for link in build_links(page) if page in passable else []:
            if link not in reached:
                reached.add(link)
                todo.append(link)
    return reached


class Site:
    """Its requests are those of the crawl whose user agent was set last; earlier ones may linger."""

    def __init__(self):
        self.listener = socket.create_server(("127.0.0.1", 0), backlog=64)
        self.port = self.listener.getsockname()[1]
        self.begin("", {})
        threading.Thread(target=self.serve, daemon=True).start()

    def begin(self, agent, checkpoints, log_path=""):
        """checkpoints: by the number of the page request before which it is written, its directory."""
        self.seen, self.answers = set(), []
        self.nb_pages, self.checkpoints, self.log_path = 0, checkpoints, log_path
        self.agent = agent.encode()

    def get_url(self, page):
        return f"http://127.0.0.1:{self.port}/p/{page}"

    def serve(self):
        while True:
            connection, _ = self.listener.accept()
            with connection:
                try:
                    self.answer(connection)
                except OSError:
                    pass

    def answer(self, connection):
        connection.settimeout(CHECKPOINT_TIMEOUT)
        head = b""
        while b"\r\n\r\n" not in head:
            more = connection.recv(65536)
            if not more:
                return
            head += more
        path = head.split(b" ", 2)[1].decode()
        if not path.startswith("/p/"):
            connection.sendall(b"HTTP/1.0 404 Not Found\r\nContent-Length: 4\r\n\r\nnone")
            return
        page = int(path[3:])
        if b"User-Agent: " + self.agent + b"\r\n" in head:
            self.seen.add(page)
            self.nb_pages += 1
            directory = self.checkpoints.get(self.nb_pages)
            if directory:
                self.answers.append(self.write_checkpoint(directory))
        body = build_page(page)
        connection.sendall(b"HTTP/1.0 200 OK\r\nContent-Type: text/html\r\nContent-Length: "
                           + str(len(body)).encode() + b"\r\n\r\n" + body)

    def write_checkpoint(self, directory):
        """What the administration's page says of it; empty when it can't be asked."""
        try:
            with open(self.log_path, errors="replace") as log:
                port = re.search(r"localhost:(\d+) Opened admin socket", log.read())
            if port is None:
                return ""
            target = "/webadmin/Checkpoint?filename=" + urllib.parse.quote(directory, safe="")
            with socket.create_connection(("127.0.0.1", int(port[1])), CHECKPOINT_TIMEOUT) as admin:
                admin.sendall(f"GET {target} HTTP/1.0\r\nHost: localhost:{port[1]}\r\n\r\n".encode())
                answer = b""
                while more := admin.recv(65536):
                    answer += more
            said = re.search(rb'class="Result">(.*?)</p>', answer, re.S)
            return said[1].decode() if said else ""
        except OSError:
            return ""
