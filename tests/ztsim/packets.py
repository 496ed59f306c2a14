# packets.py FILE KIND: writes a file for Wireshark. KIND is
#   stream    socket messages on TCP port 15000, cut at odd places and joined
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


def simulated(protocol, direction, client, content):
    return struct.pack("<BBHII", protocol, direction, 0, client, 77) + content


packets = []
link_type = 147
if kind == "stream":
    link_type = 101
    stream = message() + message((0xffff, 0, 9), b"hello", 7, 0) + message(rest=b"x" * 300)
    packets = segments([stream[:10], stream[10:33], stream[33:60], stream[60:200], stream[200:], b"what is no record at all"])
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
