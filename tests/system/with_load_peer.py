#!/usr/bin/env python3
"""Runs a command beside an HTTP server of Python's own that takes posts and gives streams.

    with_load_peer.py -- COMMAND...

The command finds in its environment OSTREL_LOAD_PORT, the server's port on 127.0.0.1. Numbers in
the blocks are of 32 bits, the lowest byte first.

    POST /check          answered with the body's length and its CRC-32, as "LENGTH CRC"
    POST /endless/NAME   the body is a sequence of blocks: the block's number, the payload's length,
                         the payload's CRC-32, the payload
    POST /group/NAME     the same, one block in a request
    GET /seen/NAME       how many blocks have come under a name, in how many connections, and how
                         many of the blocks were damaged or out of turn, as "BLOCKS CONNECTIONS BAD";
                         in turn means 0, 1, 2, ... in the order in which connections were made
    GET /stream/NAME     a multipart stream of parts "part NUMBER of NAME: TEXT", sent in odd pieces
"""
import http.server
import os
import random
import struct
import subprocess
import sys
import threading
import time
import zlib


class Seen:
    """The blocks of one name."""

    def __init__(self):
        self.lock = threading.Lock()
        self.blocks = {}  # the serial number of a connection: the blocks that came over it, in order

    def add(self, serial, number, is_whole):
        with self.lock:
            self.blocks.setdefault(serial, []).append((number, is_whole))

    def report(self):
        with self.lock:
            in_order = [block for serial in sorted(self.blocks) for block in self.blocks[serial]]
            bad = sum(number != place or not is_whole
                      for place, (number, is_whole) in enumerate(in_order))
            return len(in_order), len(self.blocks), bad


class Peer(http.server.BaseHTTPRequestHandler):
    timeout = 60

    def do_POST(self):
        _, kind, *name = self.path.split("/")
        length = int(self.headers["Content-Length"])
        if kind == "check":
            body = self.rfile.read(length)
            self.answer("text/plain", b"%d %d" % (len(body), zlib.crc32(body)))
            return
        seen = self.server.seen_of(name[0])
        left = length
        while left > 0:
            head = self.rfile.read(12)
            if len(head) < 12:
                break
            number, size, checksum = struct.unpack("<III", head)
            payload = self.rfile.read(size)
            seen.add(self.client_address[2], number,
                     len(payload) == size and zlib.crc32(payload) == checksum)
            left -= len(head) + size
        if kind == "group":
            self.answer("text/plain", b"taken")

    def do_GET(self):
        _, kind, name = self.path.split("/")
        if kind == "seen":
            self.answer("text/plain", b"%d %d %d" % self.server.seen_of(name).report())
            return
        self.send_response(200)
        self.send_header("Content-Type", "multipart/x-mixed-replace;boundary=frontier")
        self.end_headers()
        dice = random.Random(name)
        number = 0
        while True:
            burst = b""
            for _ in range(dice.randint(1, 4)):
                text = "".join(dice.choices("abcdefghijklmnop", k=dice.randint(0, 600)))
                burst += (f"--frontier\r\nContent-Type: text/plain\r\n\r\n"
                          f"part {number} of {name}: {text}\r\n").encode("ascii")
                number += 1
            while burst:
                size = dice.randint(1, 1500)
                self.wfile.write(burst[:size])
                burst = burst[size:]
                time.sleep(dice.random() * 0.01)

    def answer(self, kind, body):
        self.send_response(200)
        self.send_header("Content-Type", kind)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *arguments):
        pass


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True
    request_queue_size = 1024

    def __init__(self):
        super().__init__(("127.0.0.1", 0), Peer)
        self.lock = threading.Lock()
        self.seen = {}
        self.serial = 0

    def get_request(self):
        connection, address = super().get_request()
        self.serial += 1
        return connection, (*address, self.serial)

    def seen_of(self, name):
        with self.lock:
            return self.seen.setdefault(name, Seen())

    def handle_error(self, request, client_address):
        # A client that has enough goes.
        if not isinstance(sys.exc_info()[1], ConnectionError):
            super().handle_error(request, client_address)


def main():
    separator, *command = sys.argv[1:]
    assert separator == "--" and command, __doc__
    with Server() as server:
        threading.Thread(target=server.serve_forever, daemon=True).start()
        environment = dict(os.environ, OSTREL_LOAD_PORT=str(server.server_address[1]))
        try:
            return subprocess.run(command, env=environment, check=False).returncode
        finally:
            server.shutdown()


if __name__ == "__main__":
    sys.exit(main())
