# packets.py FILE KIND: writes a file for Wireshark. KIND is
#   stream    socket messages on TCP port 15000, cut at odd places and joined
#   ethernet, any, any2
#             a dialogue of such messages, with all that a network does to it, between clients with IPv4 and IPv6, as
#             tcpdump has it from that interface
#   short     headers of IP that end too early, or say so
#   lossy     the same, of which some packets lack
#   ipc       frames between processes, as ztsim --capture would have them
#   noise     random bytes, as packets of each protocol, of all sizes
import random
import struct
import sys

path, kind = sys.argv[1:]


def message(parameters=(1, 2, 3), rest=b"", number=200, flag=1, length=None):
    length = 28 + len(rest) if length is None else length
    return b"ZTSOCKETMESSAGE" + struct.pack("<IHBHHH", length, number, flag, *parameters) + rest


def segments(payloads):
    """Of one direction of a connection, as IPv4 packets."""
    sequence = 1000
    for payload in payloads:
        tcp = struct.pack(">HHIIBBHHH", 40000, 15000, sequence, 1, 0x50, 0x18, 65535, 0, 0) + payload
        yield struct.pack(">BBHHHBBHII", 0x45, 0, 20 + len(tcp), 0, 0, 64, 6, 0, 0x7f000001, 0x7f000001) + tcp
        sequence += len(payload)


def over(link, client, number, to_server, payload, flags=0x18, port=15000, fragment=0):
    """Of a connection between the client's port and the server's; the number is that of the payload's first byte."""
    ports = (client, port) if to_server else (port, client)
    tcp = struct.pack(">HHIIBBHHHI", *ports, number % 2**32, 1, 0x60, flags, 65535, 0, 0, 0x01010101) + payload
    here = bytes([127, 0, 0, 1])
    if client % 2:
        ip = struct.pack(">IHBB", 0x60000000, len(tcp), 6, 64) + here * 4 + here * 4
        protocol = 0x86dd
    else:
        ip = struct.pack(">BBHHHBBH", 0x46, 0, 24 + len(tcp), 0, fragment, 64, 6, 0) + here * 3
        protocol = 0x0800
    before = {1: bytes(12) + struct.pack(">HHH", 0x8100, 7, protocol), 113: bytes(14) + struct.pack(">H", protocol),
              276: struct.pack(">H", protocol) + bytes(18)}[link]
    return before + ip + tcp + bytes(6)  # which fill the shortest packet of an Ethernet


def dialogue(link):
    """Of two clients, one of them far into its numbers. What is said twice or out of its order is heard once."""
    one, two, begin = 40000, 40001, 2**32 - 20
    stream = message((1, 2, 3), b"first") + message((4, 5, 6), b"second")
    yield over(link, one, begin - 1, True, b"", 2)
    yield over(link, one, 99, False, b"", 0x12)
    yield over(link, one, begin, True, stream[:30])
    yield over(link, one, begin + 40, True, stream[40:])
    yield over(link, two, 5, True, message(number=7, flag=0))
    yield over(link, one, begin + 20, True, stream[20:45])
    yield over(link, one, begin, True, stream[:30])
    yield over(link, one, 100, False, message(rest=b"answer"))
    yield over(link, one, 100 + 34, False, b"noise")
    yield over(link, one, 100 + 39, False, message(length=20)[:20] + message(length=3)[:19] + message()[:17])
    yield over(link, one, 7, True, message(), port=15001)
    yield over(link, one, begin, True, message(), fragment=1)
    yield over(link, one, begin - 1, True, b"", 2)
    yield over(link, one, begin, True, message((7, 8, 9)))


def simulated(protocol, direction, client, content):
    return struct.pack("<BBHII", protocol, direction, 0, client, 77) + content


packets = []
link_type = 147
if kind == "stream":
    link_type = 101
    stream = message() + message((0xffff, 0, 9), b"hello", 7, 0) + message(rest=b"x" * 300)
    packets = segments([stream[:10], stream[10:33], stream[33:60], stream[60:200], stream[200:], b"what is no record at all"])
elif kind in ("ethernet", "any", "any2"):
    link_type = {"ethernet": 1, "any": 113, "any2": 276}[kind]
    packets = dialogue(link_type)
elif kind == "short":
    link_type = 101
    packets = [(bytes([first, 0, 0, 255, 0, 0, 6 * (first == 0x60), 0, 0, 6]) + bytes(70))[:size]
               for first in (0x40, 0x43, 0x45, 0x4f, 0x60) for size in range(70)]
elif kind == "lossy":
    link_type = 1
    packets = [each for number, each in enumerate(dialogue(link_type)) if number not in (5, 8)]
elif kind == "ipc":
    packets = [simulated(3, 0, 1, struct.pack("<IIB", 5, 4000000000, 3) + b"\x01\x02\x03"), simulated(3, 1, 1, b"12345")]
elif kind == "noise":
    chance = random.Random(1)
    packets = [simulated(protocol, 0, 1, bytes([chance.randrange(40), 0, 0, 0]) + chance.randbytes(size))
               for protocol in range(6) for size in range(60)]
    packets += [chance.randbytes(size) for size in range(12)]

with open(path, "wb") as file:
    file.write(struct.pack("<IHHiIII", 0xa1b2c3d4, 2, 4, 0, 0, 65535, link_type))
    for packet in packets:
        file.write(struct.pack("<IIII", 0, 0, len(packet), len(packet)) + packet)
