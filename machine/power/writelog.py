"""Reads what QEMU's blklogwrites has logged of a disk, and makes of it the images that a loss of power can leave.

An image is made in the machine, by machine/power/look.cpp, which describes the records that are written here."""

import random
import struct

SECTOR = 512
MARK = b"MARK "
FLUSH = 1
DISCARD = 4
MAGIC = 0x6A736677736872


def entries(path):
    """The logged writes in their order, as pairs of offset and bytes; None for a flush."""
    with open(path, "rb") as log:
        magic, version, count, sector = struct.unpack("<QQQI", log.read(28))
        assert (magic, version, sector) == (MAGIC, 1, SECTOR), path
        log.seek(SECTOR)
        for _ in range(count):
            start, sectors, flags, _ = struct.unpack("<QQQQ", log.read(32))
            log.seek(SECTOR - 32, 1)
            assert not flags & DISCARD, "nothing here discards"
            if sectors:
                yield start * SECTOR, log.read(sectors * SECTOR)
            if flags & FLUSH:
                yield None


def mark_of(entry):
    """What machine/power/record.cpp has noted by this write, if it is its."""
    return entry[1][len(MARK) :].split(b"\0")[0] if entry and entry[1].startswith(MARK) else None


class Record:
    """Writes the images of a medium and when the power is lost."""

    def __init__(self, path, image):
        self.file = open(path, "wb")
        self.file.write(struct.pack("=I", len(image)))
        self._bytes(0, image)
        self.image = bytearray(image)
        self.started = False
        self.images = 0

    def _bytes(self, offset, content):
        self.file.write(struct.pack("=II", offset, len(content)))
        self.file.write(content)

    def mark(self, text):
        """The power is lost when this has happened, too."""
        self.started = True
        self.file.write(b"M" + struct.pack("=I", len(text)) + text)
        self.cut()

    def write(self, offset, content):
        self.image[offset : offset + len(content)] = content
        self.file.write(b"W")
        self._bytes(offset, content)

    def cut(self):
        """The power is lost. What came before the first mark is not looked at."""
        if self.started:
            self.images += 1
            self.file.write(b"P")

    def cut_without(self, unflushed, chance):
        """The same, and each of these blocks holds what it held before, by chance."""
        lost = {offset: content for offset, content in unflushed.items() if chance.random() < 0.5}
        if self.started and lost:
            self.images += 1
            self.file.write(b"V" + struct.pack("=I", len(lost)))
            for offset, content in lost.items():
                self._bytes(offset, content)

    def close(self):
        self.file.write(b"E")
        self.file.write(bytes(-self.file.tell() % SECTOR))
        self.file.close()


def record_disk(log, image, block, path):
    """The power is lost after each write; once as the writes came, and once with each block that was written since the
    last flush there or not, by chance."""
    chance = random.Random(1)
    record = Record(path, image)
    unflushed = {}  # what the blocks held before
    for entry in entries(log):
        if entry is None:
            unflushed.clear()
        elif mark_of(entry) is not None:
            record.mark(mark_of(entry))
            record.cut_without(unflushed, chance)
        else:
            offset, content = entry
            for start in range(offset - offset % block, offset + len(content), block):
                unflushed.setdefault(start, bytes(record.image[start : start + block]))
            record.write(offset, content)
            record.cut()
            record.cut_without(unflushed, chance)
    record.close()
    return record.images


class Flash:
    """The NAND flash whose pages, each with its spare bytes, nandsim keeps in a file. That does not tell of erasing.
    But UBI writes the first page of a block after each time it has erased that, and then only."""

    PAGE = 2048
    RAW_PAGE = PAGE + 64
    PAGES_EACH = 64
    FILL = b"\xa5"  # what the file holds to begin with, which no page does

    def __init__(self, blocks, path):
        pages = blocks * self.PAGES_EACH
        self.file = bytearray(self.FILL * (pages * self.RAW_PAGE))
        self.pages = [b"\xff" * self.RAW_PAGE] * pages
        self.record = Record(path, b"\xff" * (pages * self.PAGE))

    def replay(self, log, blocks, size):
        """The file has these blocks of the disk, each of that size. The power is lost after each block that is erased,
        after each page that is programmed, and when that is half done."""
        offsets = {number * size: index * size for index, number in enumerate(blocks)}
        for entry in entries(log):
            if mark_of(entry) is not None:
                self.record.mark(mark_of(entry))
            elif entry is not None:
                self._write_pieces(offsets, size, *entry)
        self.record.close()

    def _write_pieces(self, offsets, size, start, content):
        pieces = []
        for at in range(0, len(content), size):
            offset = offsets.get(start + at)
            if offset is None:
                continue
            if pieces and pieces[-1][0] + len(pieces[-1][1]) == offset:
                pieces[-1][1] += content[at : at + size]
            else:
                pieces.append([offset, content[at : at + size]])
        for offset, piece in pieces:
            self._write(offset, piece[: len(self.file) - offset])

    def _write(self, offset, content):
        end = offset + len(content)
        for number in range(offset // self.RAW_PAGE, (end - 1) // self.RAW_PAGE + 1):
            first = max(offset, number * self.RAW_PAGE)
            part = content[first - offset : (number + 1) * self.RAW_PAGE - offset]
            # The kernel writes whole blocks of the file, with pages that it has not touched.
            if self.file[first : first + len(part)] != part:
                self._program(number, first - number * self.RAW_PAGE, part)
        self.file[offset:end] = content

    def _program(self, number, at, part):
        is_first = number % self.PAGES_EACH == 0
        if is_first and self.pages[number][at : at + len(part)].strip(b"\xff"):
            self._erase(number)
        old = self.pages[number]
        self.pages[number] = old[:at] + part + old[at + len(part) :]
        new = self.pages[number][: self.PAGE]
        half = self.PAGE // 2
        if not old.strip(b"\xff"):
            self.record.write(number * self.PAGE, new[:half] + old[half : self.PAGE])
            self.record.cut()
        self.record.write(number * self.PAGE, new)
        self.record.cut()

    def _erase(self, first):
        self.pages[first : first + self.PAGES_EACH] = [b"\xff" * self.RAW_PAGE] * self.PAGES_EACH
        self.record.write(first * self.PAGE, b"\xff" * (self.PAGE * self.PAGES_EACH))
        self.record.cut()
