# burst.py COUNT: sets a time-out to 1, 2, ... COUNT as fast as the daemon answers.
import socket
import struct
import sys

count = int(sys.argv[1])
with socket.socket(socket.AF_UNIX) as client:
    client.connect("/var/run/ztpmd_api")
    for value in range(1, count + 1):
        client.sendall(struct.pack("<II II 32x", 1, 0, 1, value))
        assert len(client.recv(48, socket.MSG_WAITALL)) == 48
