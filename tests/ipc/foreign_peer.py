"""foreign_peer.py RECEIVER: a peer that knows the frame only, and cuts it at every byte."""

import os
import socket
import struct
import subprocess
import sys
import tempfile

PAYLOAD = b"hello"
FRAME = struct.pack("=IIB", 7, 8, len(PAYLOAD)) + PAYLOAD
CLOSED_BEFORE_HEADER = (
    "receiveMessage() Connection refused peerThe other end of the connection is closed. (0 bytesH)"
)
CLOSED_BEFORE_DATA = "receiveMessage() The other end of the connection is closed. (0 bytesR)"
HEADER_CUT = "receiveMessage() Incomplete message header received."
DATA_CUT = "receiveMessage() Incomplete message data bytes received."


def expectation(size):
    """What the receiver says of a frame that ends after `size` bytes, and what it prints."""
    if size == len(FRAME):
        return "0 connected", None
    if size == 0:
        return "8 lost", CLOSED_BEFORE_HEADER
    if size < 9:
        return "8 connected", HEADER_CUT
    if size == 9:
        return "8 lost", CLOSED_BEFORE_DATA
    return "8 connected", DATA_CUT


def connect(folder, number):
    peer = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    peer.bind(f"{folder}/peer{number}")
    peer.connect(f"{folder}/server")
    return peer


def send(peer, data, in_pieces):
    step = 1 if in_pieces else max(len(data), 1)
    for start in range(0, len(data), step):
        peer.sendall(data[start : start + step])
    peer.shutdown(socket.SHUT_WR)


def answer(peer):
    received = b""
    while piece := peer.recv(4096):
        received += piece
    return received


def main():
    cases = [(size, pieces) for size in range(len(FRAME) + 1) for pieces in (False, True)]
    with tempfile.TemporaryDirectory() as folder, tempfile.TemporaryFile("w+") as diagnostics:
        receiver = subprocess.Popen(
            [sys.argv[1], f"{folder}/server", str(len(cases))],
            stdout=subprocess.PIPE,
            stderr=diagnostics,
            text=True,
            env={k: v for k, v in os.environ.items() if not k.startswith("ZT_DEBUG")},
        )
        assert receiver.stdout.readline() == "listening\n"
        printed = []
        for number, (size, pieces) in enumerate(cases):
            said, line = expectation(size)
            with connect(folder, number) as peer:
                send(peer, FRAME[:size], pieces)
                assert receiver.stdout.readline() == said + "\n", (size, pieces)
                assert answer(peer) == (FRAME if size == len(FRAME) else b""), (size, pieces)
            if line is not None:
                printed.append(line)
        assert receiver.wait() == 0
        diagnostics.seek(0)
        texts = [line.split(" ", 4)[4].rstrip("\n") for line in diagnostics]
        assert texts == printed, texts


main()
