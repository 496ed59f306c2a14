"""power.py TYPE[,STATE[,VALUE]]|TYPE,NAME,STATE...: sends such records to the power-management
daemon and says the type of the next record, for each of them that ends with "?"."""
import socket
import struct
import sys


def record(text):
    kind, *rest = text.split(",")
    if rest and not rest[0].isdigit():
        return struct.pack("=II16si20x", int(kind), 0, rest[0].encode(), int(rest[1]))
    state, value = (*map(int, rest), 0, 0)[:2]
    return struct.pack("=IIII32x", int(kind), 0, state, value)


daemon = socket.socket(socket.AF_UNIX)
daemon.settimeout(60)
daemon.connect("/var/run/ztpmd_api")
for text in sys.argv[1:]:
    daemon.sendall(record(text.rstrip("?")))
    if text.endswith("?"):
        print(struct.unpack_from("=I", daemon.recv(48, socket.MSG_WAITALL))[0], flush=True)
