#!/usr/bin/env python3
"""Runs a command beside a socket server of Python's own.

    with_socket_peer.py FILE -- COMMAND...

FILE is made anew, of a million and some random bytes. The command finds in its environment
OSTREL_PEER_PORT, the server's port on 127.0.0.1, and OSTREL_PEER_FILE. A connection to the server
begins with one line, which says what is to be done on it:

    give        send the file, and close
    take        receive as many bytes as the file has, and answer with one line: "same", or where
                they differ
    slowly      the same, with pauses
    call PORT   connect to PORT; there send the file, and receive as many bytes as it has; then
                answer here with one line, as above
"""
import os
import socket
import socketserver
import subprocess
import sys
import threading
import time

SIZE = 1_000_003


def receive(connection, size, pause=0.0):
    """Receives so many bytes, or what comes until the end."""
    received = bytearray()
    while len(received) < size:
        piece = connection.recv(min(65536, size - len(received)))
        if not piece:
            break
        received += piece
        time.sleep(pause)
    return bytes(received)


def verdict(received, expected):
    if received == expected:
        return b"same\n"
    for place, (one, other) in enumerate(zip(received, expected)):
        if one != other:
            return b"different at %d\n" % place
    return b"%d bytes instead of %d\n" % (len(received), len(expected))


class Peer(socketserver.StreamRequestHandler):
    timeout = 60
    rbufsize = 0  # what follows the line is not to be read with it

    def handle(self):
        content = self.server.content
        command, *arguments = self.rfile.readline().decode("ascii").split()
        if command == "give":
            self.request.sendall(content)
        elif command == "take":
            self.request.sendall(verdict(receive(self.request, SIZE), content))
        elif command == "slowly":
            self.request.sendall(verdict(receive(self.request, SIZE, 0.03), content))
        elif command == "call":
            self.request.sendall(self.call(int(arguments[0])))
        # A close with bytes unread would be a reset, which takes back what was sent.
        self.request.shutdown(socket.SHUT_WR)
        try:
            while self.request.recv(1):
                pass
        except ConnectionError:
            pass

    def call(self, port):
        content = self.server.content
        with socket.create_connection(("127.0.0.1", port), 30) as connection:
            sender = threading.Thread(target=connection.sendall, args=(content,))
            sender.start()
            received = receive(connection, SIZE)
            sender.join()
            return verdict(received, content)


class Server(socketserver.ThreadingTCPServer):
    daemon_threads = True
    content = b""


def main():
    path, separator, *command = sys.argv[1:]
    assert separator == "--" and command, __doc__
    with Server(("127.0.0.1", 0), Peer) as server:
        server.content = os.urandom(SIZE)
        with open(path, "wb") as file:
            file.write(server.content)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        environment = dict(os.environ, OSTREL_PEER_PORT=str(server.server_address[1]),
                           OSTREL_PEER_FILE=os.path.abspath(path))
        try:
            return subprocess.run(command, env=environment, check=False).returncode
        finally:
            server.shutdown()


if __name__ == "__main__":
    sys.exit(main())
