# A client whose name, and what it says, look like markup. It stays until its input ends.
import socket
import struct
import sys

with open("/proc/self/comm", "w") as name:
    name.write('"></td><i>hi')
client = socket.socket(socket.AF_UNIX)
client.connect("/var/run/ztpmd_api")
client.sendall(struct.pack("<II 16s i 20x", 3, 0, b"<b onclick=a()>", 1))
sys.stdin.read()
