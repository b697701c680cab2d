#!/usr/bin/env python3
"""Runs a command beside an nginx that serves pictures made by ffmpeg.

    with_nginx.py FOLDER -- COMMAND...

FOLDER is made anew. The command finds in its environment OSTREL_HTTP_PORT, the port on 127.0.0.1,
and OSTREL_HTTP_ROOT, the folder of the files served. What is served:

    /pictures/*  files, to the user "camera" with the password "s3cret word"
    /open/*      the same files, to everybody
    /chunked/*   the same files in chunked transfer coding
    /early/      a body announced with 1000 bytes, of which 600 come
"""
import os
import shutil
import signal
import socket
import subprocess
import sys
import threading
import time

SIZES = ["640x480", "1920x1080", "704x576", "360x288", "357x241", "17x9"]

CONFIGURATION = """
daemon off;
pid {folder}/nginx.pid;
error_log {folder}/error.log;
events {{ worker_connections 256; }}
http {{
    access_log {folder}/access.log;
    client_body_temp_path {folder}/body;
    proxy_temp_path {folder}/proxy;
    fastcgi_temp_path {folder}/fastcgi;
    uwsgi_temp_path {folder}/uwsgi;
    scgi_temp_path {folder}/scgi;
    types {{ image/jpeg jpg; }}
    server {{
        listen 127.0.0.1:{port};
        root {folder}/root;
        location /pictures/ {{
            alias {folder}/root/;
            auth_basic "camera";
            auth_basic_user_file {folder}/users;
        }}
        location /open/ {{ alias {folder}/root/; }}
        location /chunked/ {{ alias {folder}/root/; ssi on; ssi_types *; }}
        location /early/ {{ proxy_pass http://127.0.0.1:{backend}; proxy_buffering off; }}
    }}
}}
"""


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def make_files(root):
    os.makedirs(root)
    for number, size in enumerate(SIZES):
        subprocess.run(
            ["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=1920x1080:rate=1",
             "-ss", str(number), "-vf", f"scale={size.replace('x', ':')}", "-frames:v", "1",
             "-pix_fmt", "yuvj420p", "-q:v", "3",
             f"{root}/{size}.jpg"], check=True)
    with open(f"{root}/large.bin", "wb") as large:
        large.write(os.urandom(10_000_000))
    with open(f"{root}/empty.bin", "wb"):
        pass
    for kilobytes in (20, 200, 2000):
        with open(f"{root}/{kilobytes}k.bin", "wb") as snapshot:
            snapshot.write(os.urandom(kilobytes * 1000))


def close_early(listener):
    """Answers each request with 600 of 1000 announced bytes and a close."""
    while True:
        try:
            connection, _ = listener.accept()
        except OSError:
            return
        with connection:
            connection.recv(65536)
            connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n" + b"e" * 600)


def wait_until_listening(server, port):
    for _ in range(100):
        try:
            socket.create_connection(("127.0.0.1", port), 1).close()
            return
        except OSError:
            if server.poll() is not None:
                break
            time.sleep(0.1)
    sys.exit("nginx does not listen")


def main():
    folder, separator, *command = sys.argv[1:]
    assert separator == "--" and command, __doc__
    # Terminated, it still stops what it has started.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    shutil.rmtree(folder, ignore_errors=True)
    make_files(f"{folder}/root")
    password = subprocess.run(["openssl", "passwd", "-apr1", "s3cret word"], check=True,
                              capture_output=True, text=True).stdout
    with open(f"{folder}/users", "w", encoding="ascii") as users:
        users.write("camera:" + password)

    listener = socket.create_server(("127.0.0.1", 0))
    threading.Thread(target=close_early, args=(listener,), daemon=True).start()

    port = free_port()
    with open(f"{folder}/nginx.conf", "w", encoding="ascii") as configuration:
        configuration.write(CONFIGURATION.format(
            folder=folder, port=port, backend=listener.getsockname()[1]))
    # nginx drops its workers to another user, who must get through to the files.
    os.chmod(folder, 0o755)
    server = subprocess.Popen(
        ["nginx", "-c", f"{folder}/nginx.conf", "-e", f"{folder}/error.log",
         "-g", "user root;"])
    try:
        wait_until_listening(server, port)
        environment = dict(os.environ, OSTREL_HTTP_PORT=str(port), OSTREL_HTTP_ROOT=f"{folder}/root")
        return subprocess.run(command, env=environment, check=False).returncode
    finally:
        server.terminate()
        server.wait()
        listener.close()


if __name__ == "__main__":
    sys.exit(main())
