"""impostor.py UID NAME...: binds addresses that look like those of that user's devices, or nearly do, listens
at each, says "ready" and stays until it is killed. A NAME is what stands behind the user."""
import os
import signal
import socket
import sys

prefix = "\0ztsim/%s/%s/" % (os.readlink("/proc/self/ns/pid"), sys.argv[1])
sockets = []
for name in sys.argv[2:]:
    sockets.append(socket.socket(socket.AF_UNIX))
    sockets[-1].bind(prefix + name)
    sockets[-1].listen(0)
print("ready", flush=True)
signal.pause()
