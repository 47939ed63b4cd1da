# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

"""What the test servers share: the control channel, a small HTTP/1.1 server, and the content of
generated objects."""

import contextlib
import itertools
import json
import os
import signal
import socket
import struct
import sys
import threading
import urllib.parse

# Byte i of every generated object is PATTERN[i % PERIOD]. The period is prime, so that a part
# that lands at a wrong offset shows.
PERIOD = 1048573
PATTERN = bytes((i * 2654435761 >> 24) & 255 for i in range(PERIOD))


def content(offset, size):
    start = offset % PERIOD
    return (PATTERN * ((start + size) // PERIOD + 1))[start:start + size]


def take_stdout():
    """Keeps the real stdout for the control channel; what libraries print goes to stderr."""
    channel = os.fdopen(os.dup(1), "w")
    os.dup2(2, 1)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(0))
    return channel


def control(channel, ready, commands):
    """Reports {ready}, then answers one JSON line {"op": NAME, ...} by one JSON line until stdin
    closes. A command is a function of the line's other members; what it returns is the answer."""

    def say(answer):
        channel.write(json.dumps(answer) + "\n")
        channel.flush()

    say(ready)
    for line in sys.stdin:
        try:
            arguments = json.loads(line)
            say(commands[arguments.pop("op")](**arguments) or {})
        except Exception as error:
            say({"error": f"{type(error).__name__}: {error}"})


class Connection:
    """One client. Serves requests until `handle(connection, request)` gives false or it ends."""

    def __init__(self, sock, number, handle):
        self.sock, self.number, self.rest = sock, number, b""
        sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        try:
            while (request := self.read()) and handle(self, request):
                pass
        except OSError:
            pass
        finally:
            sock.close()

    def receive(self):
        data = self.sock.recv(65536)
        self.rest += data
        return data

    def read(self):
        while b"\r\n\r\n" not in self.rest:
            if not self.receive():
                return None
        head, self.rest = self.rest.split(b"\r\n\r\n", 1)
        request, *lines = head.decode("latin-1").split("\r\n")
        headers = {name.lower(): value.strip() for name, _, value in
                   (line.partition(":") for line in lines)}
        length = int(headers.get("content-length", 0))
        while len(self.rest) < length:
            if not self.receive():
                return None
        body, self.rest = self.rest[:length], self.rest[length:]
        return Request(*request.split(" ")[:2], headers, body)

    def send_head(self, status, headers, body=b""):
        lines = "".join(f"{name}: {value}\r\n" for name, value in headers.items())
        self.sock.sendall(f"HTTP/1.1 {status} Status\r\n{lines}\r\n".encode() + body)

    def reset(self):
        self.sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))


class Request:
    """`target` is what stood in the request line, `path` is its decoded path."""

    def __init__(self, method, target, headers, body):
        self.method, self.target, self.headers, self.body = method, target, headers, body
        path, _, query = target.partition("?")
        self.path = urllib.parse.unquote(path)
        self.query = dict(urllib.parse.parse_qsl(query, keep_blank_values=True))


class Listener:
    """Serves on a free loopback port, each connection by a thread."""

    def __init__(self, handle):
        self.handle, self.numbers, self.open = handle, itertools.count(1), set()
        self.listen(0)

    def listen(self, port):
        self.socket = socket.create_server(("127.0.0.1", port), backlog=512)
        self.port = self.socket.getsockname()[1]
        threading.Thread(target=self.accept, args=[self.socket], daemon=True).start()

    def accept(self, listener):
        while True:
            try:
                sock = listener.accept()[0]
            except OSError:
                return  # away
            threading.Thread(target=self.serve, args=[sock], daemon=True).start()

    def serve(self, sock):
        self.open.add(sock)
        try:
            Connection(sock, next(self.numbers), self.handle)
        finally:
            self.open.discard(sock)

    def away(self, ms):
        """Breaks every connection and refuses new ones until `ms` are over. Not twice at once."""
        for sock in [self.socket, *self.open]:
            with contextlib.suppress(OSError):
                sock.shutdown(socket.SHUT_RDWR)
        self.socket.close()
        back = threading.Timer(ms / 1000, self.listen, [self.port])
        back.daemon = True
        back.start()


def serve(handle):
    """Starts to serve on a free loopback port, which it returns."""
    return Listener(handle).port
