# peer.py PORT: a peer that shares no code with the library. It sends records byte by byte, and waits for
# the answer to each before the next; the answer is the same record with its flag turned.
import socket
import struct
import sys

TYPES = [0, 1, 200, 65535]

with socket.create_connection(("127.0.0.1", int(sys.argv[1]))) as connection:
    connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    answers = connection.makefile("rb")
    for type in TYPES:
        body = bytes(type % 251 for _ in range(type % 5000))
        fields = (type, 0, 1, 2, 65535)
        size = 28 + len(body)
        record = struct.pack("<15sIHBHHH", b"ZTSOCKETMESSAGE", size, *fields) + body
        for i in range(size):
            connection.sendall(record[i:i + 1])
        answer = answers.read(size)
        if answer != record[:21] + b"\x01" + record[22:]:
            sys.exit(f"type {type}: got {answer!r}")
