"""How a device is found, and what is said there; wire-formats.md in the guide of ztsim has both."""

import os
import socket
import struct
from typing import Iterator, List, NamedTuple, Optional, Sequence

VERSION = "1"


class Address(NamedTuple):
    """Where a device listens."""

    text: str  # of an abstract socket, without its NUL
    pid: int  # of its ztsim, 1 on the device
    name: str


class Answer(NamedTuple):
    """What a device says to a command."""

    outcome: str
    lines: List[str]


def find_devices() -> Iterator[Address]:
    """Those of this user that can be reached from here."""
    prefix = f"ztsim/{os.readlink('/proc/self/ns/pid')}/{os.getuid()}/"
    known = set()
    with open("/proc/net/unix", encoding="utf-8", errors="surrogateescape") as sockets:
        for line in sockets:
            text = line.rstrip("\n").partition(" @")[2]
            pid, _, rest = text[len(prefix) :].partition("/")
            if not text.startswith(prefix) or not pid.isdecimal() or text in known:
                continue
            known.add(text)
            device = _connect(text)
            if device is not None:
                device.close()
                yield Address(text, int(pid), rest.partition("/")[2])


def is_here(address: Address) -> bool:
    """Whether this process is on that device, which has namespaces of its own or else says where it is."""
    return address.pid == int(os.environ.get("ZTSIM_DEVICE", "1"))


def say(address: str, words: Sequence[str]) -> Optional[Answer]:
    """None if the device has ended."""
    device = _connect(address)
    if device is None:
        return None
    with device:
        request = "".join(word + "\0" for word in (VERSION, *words))
        try:
            device.sendall(request.encode("utf-8", "surrogateescape"))
            device.shutdown(socket.SHUT_WR)
            text = _receive_all(device).decode("utf-8", "surrogateescape")
        except ConnectionError:
            return None
    return Answer(text[0], text[1:].split("\0")[:-1]) if text else None


def _receive_all(device: socket.socket) -> bytes:
    text = b""
    while chunk := device.recv(65536):
        text += chunk
    return text


def _connect(address: str) -> Optional[socket.socket]:
    device = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    try:
        device.connect("\0" + address)
        peer = device.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, struct.calcsize("iii"))
        if struct.unpack("iii", peer)[1] == os.getuid():
            return device
    except OSError:
        pass
    device.close()
    return None
