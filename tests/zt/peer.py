"""peer.py VERB PATH|PORT [ARGUMENT]: the other side of zt's listeners and senders, as it should not be. It says
"ready" once it has done what VERB says, and stays until its standard input ends.

half N      sends the first N bytes of a message
split       sends a message byte by byte
flood       sends messages as long as somebody listens
crowd       connects again and again, as often as it is let in
nameless N  connects N times, without a name
answer TEXT is a server, which takes a message, answers with TEXT in two parts, and closes
close       is a server, which takes a message and closes
quiet       is a server that reads nothing and says nothing
full        is a server at which nobody can connect any more
"""
import os
import socket
import struct
import sys
import threading

verb, address, *rest = sys.argv[1:]
is_path = not address.isdigit()
peers = []


def frame(text):
    if is_path:
        return struct.pack("=IIB", 1, 2, len(text)) + text
    return b"ZTSOCKETMESSAGE" + struct.pack("=IHBHHH", 28 + len(text), 200, 0, 0, 0, 0) + text


def connect(name):
    peer = socket.socket(socket.AF_UNIX if is_path else socket.AF_INET)
    if is_path and name:
        peer.bind(name)
        os.unlink(name)
    peer.connect(address if is_path else ("127.0.0.1", int(address)))
    peers.append(peer)
    return peer


def listen():
    server = socket.socket(socket.AF_UNIX if is_path else socket.AF_INET)
    if not is_path:
        server.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        server.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1)
    server.bind(address if is_path else ("127.0.0.1", int(address)))
    server.listen(0)
    return server


def ready():
    print("ready", flush=True)


if verb == "half":
    peer = connect(verb)
    peer.sendall(frame(b"text")[: int(rest[0])])
elif verb == "split":
    peer = connect(verb)
    for byte in frame(b"text"):
        peer.sendall(bytes([byte]))
elif verb == "flood":
    peer = connect(verb)
    ready()
    try:
        while True:
            peer.sendall(frame(b"x" * 255) * 100)
    except OSError:  # the listener has gone
        sys.exit()
elif verb == "crowd":
    threading.Thread(target=lambda: [connect(verb) for _ in range(1000)], daemon=True).start()
elif verb == "nameless":
    for _ in range(int(rest[0])):
        connect(None)
elif verb in ("answer", "close"):
    server = listen()
    ready()
    peer, _ = server.accept()
    peer.recv(1000)
    if rest:
        answer = frame(rest[0].encode())
        peer.sendall(answer[:20])
        peer.sendall(answer[20:])
    peer.close()
    sys.exit()
else:
    server = listen()
    if verb == "full":
        peer = socket.socket(server.family)
        peer.connect(server.getsockname())
ready()
sys.stdin.read()
