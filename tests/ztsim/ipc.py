# ipc.py KIND: a server at ./server and its clients, on a device that captures what passes there. KIND is
#   dialogue  two clients, of which the second has kept the file of its name
#   cuts      a client sends one frame in parts and two at once, ends its sending, and hears the answer
#   crowd     a client and the server send 2 MB to each other at the same time
#   restart   the server dies, and another takes its place
#   slow      the server listens, and takes its clients in, some time after its file is there
import os
import socket
import struct
import sys
import threading
import time


def frame(header1, header2, data):
    return struct.pack("<IIB", header1, header2, len(data)) + data


def listen():
    """Until another listens in its place."""
    server = socket.socket(socket.AF_UNIX)
    server.bind("server")
    file = os.stat("server").st_ino
    server.listen()
    while os.stat("server").st_ino == file:
        time.sleep(0.01)
    return server


def connect(name=None, keeps_file=False):
    client = socket.socket(socket.AF_UNIX)
    if name:
        client.bind(name)
        if not keeps_file:
            os.unlink(name)
    client.connect("server")
    return client


def receive(peer, size):
    return peer.recv(size, socket.MSG_WAITALL)


def everything(peer):
    content = b""
    while part := peer.recv(65536):
        content += part
    return content


def dialogue():
    server = listen()
    for name, keeps_file in ("one", False), ("two", True):
        client = connect(name, keeps_file)
        accepted, peer = server.accept()
        print("a client called", peer)
        client.sendall(frame(1, 2, b"hello"))
        print(receive(accepted, 14))
        accepted.sendall(frame(3, 4, b"x" * 255))
        print(len(receive(client, 264)))
        client.close()
        print(accepted.recv(1))
    print("files", *sorted(os.listdir()))


def cuts():
    server = listen()
    client = connect()
    accepted, peer = server.accept()
    print("a client called", repr(peer))
    whole = frame(5, 6, b"seven")
    for begin in range(0, len(whole), 3):
        client.sendall(whole[begin:begin + 3])
        print(receive(accepted, len(whole[begin:begin + 3])))
    client.sendall(frame(1, 1, b"a") + frame(2, 2, b"b") + b"half")
    client.shutdown(socket.SHUT_WR)
    print(everything(accepted))
    accepted.sendall(frame(9, 9, b"the answer"))
    accepted.close()
    print(everything(client))


def crowd():
    server = listen()
    client = connect("one")
    accepted, _ = server.accept()
    content = b"".join(frame(number, 0, b"y" * 255) for number in range(8000))

    def send(peer):
        peer.sendall(content)
        peer.shutdown(socket.SHUT_WR)

    for peer in client, accepted:
        threading.Thread(target=send, args=[peer]).start()
    print(everything(client) == content, everything(accepted) == content)


def restart():
    server = listen()
    client = connect("one")
    accepted, _ = server.accept()
    for each in server, accepted:
        each.close()
    print(client.recv(1))
    while os.path.exists(".ztsim-server"):
        try:
            connect("two").recv(1)
        except OSError:
            pass
    print("files", *os.listdir())
    try:
        connect("three")
    except ConnectionRefusedError:
        print("refused")
    os.unlink("server")
    server = listen()
    for name in "four", "five":
        client = connect(name)
        accepted, peer = server.accept()
        client.sendall(frame(1, 2, b"again"))
        print(peer, len(receive(accepted, 14)))
        os.unlink("server")
        server = listen()


def slow():
    server = socket.socket(socket.AF_UNIX)
    server.bind("server")
    for _ in range(20):
        try:
            connect("early")
            print("connected")
        except ConnectionRefusedError:
            time.sleep(0.01)
    server.listen(1)
    while not os.path.exists(".ztsim-server"):
        time.sleep(0.01)
    clients = [connect(f"name{number}") for number in range(8)]
    for number, client in enumerate(clients):
        client.sendall(frame(number, 0, b"!"))
    print(*sorted(receive(server.accept()[0], 10)[0] for _ in clients))


{"dialogue": dialogue, "cuts": cuts, "crowd": crowd, "restart": restart, "slow": slow}[sys.argv[1]]()
