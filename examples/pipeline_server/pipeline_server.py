"""A small news pipeline: takes documents from a crawler and writes each to a file.

    pipeline_server.py PORT DIRECTORY

Listens on 127.0.0.1:PORT until it is ended. The n-th document that was taken is DIRECTORY/n.item, as
the crawler sent it; DIRECTORY/index.txt has a line "n URL" for each. A document comes over a
connection of its own: the integers 1 and 512, its URL and its item, where an integer has 4 bytes,
the highest first, and a text is its length and so many bytes. The answer is the integer 0 for
"stored", or 1 and a text that says why not. docs/formats.md describes the item.
"""

import pathlib
import socket
import struct
import sys

MAX_TEXT_BYTES = 64 * 1024 * 1024
CLIENT_SECONDS = 30


class Refused(Exception):
    """The peer gets the text as the reason."""


def read_bytes(connection, count):
    parts = []
    while count > 0:
        part = connection.recv(min(count, 65536))
        if not part:
            raise ConnectionError("closed before the end of a document")
        parts.append(part)
        count -= len(part)
    return b"".join(parts)


def read_integer(connection):
    return struct.unpack(">I", read_bytes(connection, 4))[0]


def read_text(connection):
    count = read_integer(connection)
    if count > MAX_TEXT_BYTES:
        raise Refused("too long")
    return read_bytes(connection, count)


def store_document(connection, number, directory):
    """Reads one document and stores it, whole or not at all, before the crawler hears of it."""
    if (read_integer(connection), read_integer(connection)) != (1, 512):
        raise Refused("not a document")
    url, item = read_text(connection), read_text(connection)
    try:
        unfinished = directory / "unfinished"
        unfinished.write_bytes(item)
        unfinished.rename(directory / f"{number}.item")
        with (directory / "index.txt").open("ab") as index:
            index.write(b"%d %s\n" % (number, url.replace(b"\n", b" ")))
    except OSError as fault:
        raise Refused(str(fault)) from fault


def answer_refusal(connection, reason):
    try:
        connection.sendall(struct.pack(">II", 1, len(reason)) + reason)
        connection.shutdown(socket.SHUT_WR)
        # What is still on its way must be taken: a close before it would destroy the answer.
        for _ in range(MAX_TEXT_BYTES // 65536):
            if not connection.recv(65536):
                break
    except OSError as fault:
        print(f"connection lost: {fault}", file=sys.stderr)


def serve_connection(connection, number, directory):
    """True when a document was stored, whether or not the crawler heard of it."""
    stored = False
    try:
        connection.settimeout(CLIENT_SECONDS)
        store_document(connection, number, directory)
        stored = True
        connection.sendall(struct.pack(">I", 0))
    except Refused as refusal:
        answer_refusal(connection, str(refusal).encode())
    except OSError as fault:
        print(f"connection lost: {fault}", file=sys.stderr)
    return stored


def main():
    port, directory = int(sys.argv[1]), pathlib.Path(sys.argv[2])
    with socket.socket() as listener:
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        listener.bind(("127.0.0.1", port))
        listener.listen(64)
        directory.mkdir(exist_ok=True)  # whoever sees it made can connect
        number = 1
        while True:
            connection, _ = listener.accept()
            with connection:
                if serve_connection(connection, number, directory):
                    number += 1


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit("usage: pipeline_server.py PORT DIRECTORY")
    main()
