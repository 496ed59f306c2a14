"""health.py TYPE[,TEXT]...: sends such records to the health-monitor daemon, on one connection each,
and says the type and the payload of every answer, but for type 99, which has none."""
import socket
import struct
import sys

for text in sys.argv[1:]:
    kind, _, payload = text.partition(",")
    daemon = socket.socket(socket.AF_UNIX)
    daemon.settimeout(60)
    daemon.connect("/var/run/zthmd_api")
    daemon.sendall(struct.pack("=I32s", int(kind), payload.encode()))
    daemon.shutdown(socket.SHUT_WR)
    answer = daemon.recv(36)
    if answer:
        print(struct.unpack_from("=I", answer)[0], answer[4:].hex(), flush=True)
