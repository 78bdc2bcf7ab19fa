#!/usr/bin/env python3
"""A content plug-in for Markdown: knows it by MIME type, URL and first line, and takes its marks out.

    _zcrawler -conf crawl.xml -content-plugin examples/plugins/markdown_plugin.py [TRACE] ";"

The protocol is described in docs/formats.md. With TRACE, a file, each request leaves a line there.
"""

import re
import struct
import sys

CLOSE, MIME, URL, CONTENT, CONVERT = 1, 2, 3, 4, 5
TYPE_TXT = 3

HEADING = re.compile(rb"^#{1,6} +", re.MULTILINE)
EMPHASIS = re.compile(rb"(\*\*|__|`)(.+?)\1")
LINK = re.compile(rb"!?\[([^\]\n]*)\]\([^)\n]*\)")


class Closed(Exception):
    """The crawler has gone."""


def read_bytes(count):
    data = sys.stdin.buffer.read(count)
    if len(data) < count:
        raise Closed
    return data


def read_integer():
    return struct.unpack("<I", read_bytes(4))[0]


def read_text():
    return read_bytes(read_integer())


def answer(data):
    sys.stdout.buffer.write(data)
    sys.stdout.buffer.flush()  # the crawler waits


def recognize_mime(mime_type):
    return 255 if mime_type.lower().startswith((b"text/markdown", b"text/x-markdown")) else 0


def recognize_url(url):
    path = re.split(rb"[?#]", url, maxsplit=1)[0]
    return 200 if path.lower().endswith((b".md", b".markdown")) else 0


def recognize_content(content):
    return 128 if HEADING.match(content) else 0


def convert(content):
    """The status, the text's length, the text, its type code."""
    text = LINK.sub(rb"\1", EMPHASIS.sub(rb"\2", HEADING.sub(b"", content)))
    return struct.pack("<II", 1, len(text)) + text + struct.pack("<I", TYPE_TXT)


def serve(trace):
    recognizers = {MIME: recognize_mime, URL: recognize_url, CONTENT: recognize_content}
    answer(struct.pack("<I", 1))  # up
    trace("up")
    while (request := read_integer()) != CLOSE:
        if request in recognizers:
            certainty = recognizers[request](read_text())
            trace(f"recognize {request}: {certainty}")
            answer(bytes([certainty]))
        elif request == CONVERT:
            read_text()  # the two texts mean nothing to this plug-in
            read_text()
            result = convert(read_text())
            trace(f"convert: {len(result) - 12} bytes")
            answer(result)
        else:
            raise Closed  # nothing that this plug-in knows how to read
    trace("closed")


def main():
    if len(sys.argv) < 2:
        serve(lambda line: None)
        return
    with open(sys.argv[1], "a", buffering=1, encoding="utf-8") as file:
        serve(lambda line: print(line, file=file))


try:
    main()
except (Closed, BrokenPipeError):
    sys.exit(1)
