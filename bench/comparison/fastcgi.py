"""A web worker, and a client that asks it as a web server does."""

from __future__ import annotations

import os
import signal
import socket
import struct
import time

from .measuring import Cost
from .process_tree import MemoryPeaks, MemoryWatch, children_of, name_of, processor_seconds
from .workplace import Unavailable, Workplace

VERSION = 1
BEGIN_REQUEST, END_REQUEST, PARAMS, STDIN, STDOUT = 1, 3, 4, 5, 6
RESPONDER = 1
ID = 1


def _record(kind: int, content: bytes) -> bytes:
    return struct.pack(">BBHHBx", VERSION, kind, ID, len(content), 0) + content


def _pair(name: str, value: str) -> bytes:
    words = [name.encode(), value.encode()]
    lengths = b"".join(
        bytes([len(word)]) if len(word) < 128 else struct.pack(">I", len(word) | 1 << 31) for word in words
    )
    return lengths + b"".join(words)


def _request(address: str) -> bytes:
    parameters = {
        "REQUEST_METHOD": "GET",
        "REQUEST_URI": address,
        "HTTP_HOST": "localhost",
        "GATEWAY_INTERFACE": "CGI/1.1",
        "SERVER_PROTOCOL": "HTTP/1.1",
    }
    content = b"".join(_pair(name, value) for name, value in parameters.items())
    begin = struct.pack(">HB5x", RESPONDER, 0)
    return _record(BEGIN_REQUEST, begin) + _record(PARAMS, content) + _record(PARAMS, b"") + _record(STDIN, b"")


def _answer(stream: socket.SocketType) -> bytes:
    received, written, position = bytearray(), bytearray(), 0
    while True:
        while len(received) - position >= 8:
            _, kind, _, length, padding = struct.unpack_from(">BBHHB", received, position)
            if len(received) - position < 8 + length + padding:
                break
            content = received[position + 8 : position + 8 + length]
            position += 8 + length + padding
            if kind == STDOUT:
                written += content
            elif kind == END_REQUEST:
                return bytes(written)
        more = stream.recv(1 << 16)
        if not more:
            raise Unavailable("the web worker has closed the connection")
        received += more


def ask(worker: str, address: str, seconds: float = 600) -> bytes:
    """The answer of whoever listens on the socket, head and body."""
    with socket.socket(socket.AF_UNIX) as stream:
        stream.settimeout(seconds)
        stream.connect(worker)
        stream.sendall(_request(address))
        return _answer(stream)


class Worker:
    """`vexathumb-web`, as a web server starts it: with a listening socket for standard input."""

    def __init__(self, place: Workplace) -> None:
        self._address = str(place.scratch / "web.sock")
        listening = socket.socket(socket.AF_UNIX)
        listening.bind(self._address)
        listening.listen(16)
        program = place.program("vexathumb-web")
        log = str(place.scratch / "web.log")
        self.pid = os.posix_spawn(
            program,
            [program],
            place.environment(),
            file_actions=[
                (os.POSIX_SPAWN_DUP2, listening.fileno(), 0),
                (os.POSIX_SPAWN_OPEN, 1, log, os.O_WRONLY | os.O_CREAT, 0o600),
                (os.POSIX_SPAWN_DUP2, 1, 2),
            ],
        )
        listening.close()

    def request(self, address: str, peaks: MemoryPeaks | None = None) -> tuple[Cost, bytes]:
        """Asks for a picture: from the connection to the last byte. Its processor time is told in
        hundredths of a second by the system, and so means something in the mean of rounds only."""
        before = self._processor_seconds()
        begun = time.perf_counter()
        if peaks is None:
            answer = ask(self._address, address)
        else:
            with MemoryWatch(self._processes, peaks):
                answer = ask(self._address, address)
        seconds = time.perf_counter() - begun
        head, _, body = answer.partition(b"\r\n\r\n")
        if b"Content-Type: image/" not in head and b"Content-type: image/" not in head:
            lines = answer.decode(errors="replace").splitlines()
            raise Unavailable(f"vexathumb-web answers: {lines[-1][:200] if lines else 'nothing'}")
        return Cost(seconds, self._processor_seconds() - before), body

    def _processes(self) -> list[int]:
        """The worker, and the renderer, which is nobody's child before it is adopted here."""
        return [self.pid, *(child for child in children_of(os.getpid()) if name_of(child) == "vexathumb-rende")]

    def _processor_seconds(self) -> float:
        return sum(map(processor_seconds, self._processes()))

    def stop(self) -> None:
        os.kill(self.pid, signal.SIGTERM)
        os.waitpid(self.pid, 0)
