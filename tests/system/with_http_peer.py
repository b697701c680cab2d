#!/usr/bin/env python3
"""Runs a command beside an HTTP server of Python's own and beside streams made by ffmpeg.

    with_http_peer.py FOLDER -- COMMAND...

FOLDER is made anew. The command finds in its environment OSTREL_HTTP_PORT, the server's port on
127.0.0.1, OSTREL_FFMPEG_PORT, that of ffmpeg's own server, and OSTREL_HTTP_ROOT, the folder.

    POST /NAME    the body is stored in FOLDER/NAME.0, .1 and so on, in the order of the requests, and
                  answered with its SHA-256; only to the user "camera" with the password "s3cret word"
    GET /stream   a multipart stream of the parts of FOLDER/pictures.mpjpeg, sent in odd pieces

ffmpeg serves the same pictures once, to whom connects first, in chunked transfer coding.
"""
import base64
import hashlib
import http.server
import os
import shutil
import signal
import socket
import subprocess
import sys
import threading
import time

PICTURES = ["-f", "lavfi", "-i", "testsrc2=size=16x16:rate=50", "-frames:v", "60",
            "-pix_fmt", "yuvj420p", "-q:v", "31", "-bitexact", "-f", "mpjpeg",
            "-boundary_tag", "picture"]
AUTHORIZATION = "Basic " + base64.b64encode(b"camera:s3cret word").decode("ascii")


class Peer(http.server.BaseHTTPRequestHandler):
    timeout = 60

    def do_POST(self):
        if self.headers["Authorization"] != AUTHORIZATION:
            self.send_error(401)
            return
        number = self.server.take_number(self.path)
        length = int(self.headers["Content-Length"])
        body = self.rfile.read(length)
        name = f"{self.server.folder}{self.path}.{number}"
        with open(name + ".part", "wb") as file:
            file.write(body)
        os.rename(name + ".part", name)
        try:
            digest = hashlib.sha256(body).hexdigest().encode("ascii")
            self.send_response(200)
            self.send_header("Content-Length", str(len(digest)))
            self.end_headers()
            self.wfile.write(digest)
        except ConnectionError:
            pass  # a worker reads no answer

    def do_GET(self):
        with open(f"{self.server.folder}/pictures.mpjpeg", "rb") as file:
            stream = file.read()
        self.send_response(200)
        self.send_header("Content-Type", "multipart/x-mixed-replace;boundary=picture")
        self.end_headers()
        size = 1
        try:
            while stream:
                self.wfile.write(stream[:size])
                self.wfile.flush()
                stream = stream[size:]
                size = size * 5 % 997
                time.sleep(0.003)
            # The connection stays, as a camera's would, until the client has enough of it.
            self.connection.settimeout(20)
            self.rfile.read(1)
        except OSError:
            pass

    def log_message(self, *arguments):
        pass


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True
    folder = ""

    def __init__(self, folder):
        super().__init__(("127.0.0.1", 0), Peer)
        self.folder = folder
        self.numbers = {}
        self.lock = threading.Lock()

    def take_number(self, path):
        with self.lock:
            number = self.numbers.get(path, 0)
            self.numbers[path] = number + 1
            return number

    def handle_error(self, request, client_address):
        pass


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_until_listening(process, port):
    """Without connecting: ffmpeg serves its first connection alone."""
    wanted = f"0100007F:{port:04X}"
    for _ in range(200):
        with open("/proc/net/tcp", encoding="ascii") as table:
            if any(line.split()[1] == wanted and line.split()[3] == "0A"
                   for line in table.readlines()[1:]):
                return
        if process.poll() is not None:
            break
        time.sleep(0.05)
    sys.exit("ffmpeg does not listen")


def main():
    folder, separator, *command = sys.argv[1:]
    assert separator == "--" and command, __doc__
    # Terminated, it still stops what it has started.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    subprocess.run(["ffmpeg", "-v", "error", *PICTURES, f"{folder}/pictures.mpjpeg"], check=True)

    port = free_port()
    ffmpeg = subprocess.Popen(
        ["ffmpeg", "-v", "quiet", "-re", *PICTURES, "-listen", "1", "-content_type",
         "multipart/x-mixed-replace;boundary=picture", f"http://127.0.0.1:{port}/"],
        stdin=subprocess.DEVNULL)
    try:
        with Server(os.path.abspath(folder)) as server:
            threading.Thread(target=server.serve_forever, daemon=True).start()
            wait_until_listening(ffmpeg, port)
            environment = dict(os.environ, OSTREL_HTTP_PORT=str(server.server_address[1]),
                               OSTREL_FFMPEG_PORT=str(port),
                               OSTREL_HTTP_ROOT=os.path.abspath(folder))
            try:
                return subprocess.run(command, env=environment, check=False).returncode
            finally:
                server.shutdown()
    finally:
        ffmpeg.kill()
        ffmpeg.wait()


if __name__ == "__main__":
    sys.exit(main())
