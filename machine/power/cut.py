#!/usr/bin/env python3
"""Cuts the power of the device at each of its writes, while it copies and moves files on ext4 and UBIFS.

The booted machine copies and moves (machine/power/record.cpp), and QEMU logs each write to its disks. Of the log come
the images that a loss of power could have left (machine/power/writelog.py). The machine, booted again, mounts each and
looks at its files (machine/power/look.cpp). It is to be built by script/device before. Files go to build/power.
"""

import pathlib
import subprocess
import sys
import time

import writelog

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
FOLDER = ROOT / "build/power"
DISK_SIZE = 16 * 1024 * 1024
MARKS_SIZE = 4096  # behind the file system
EXT4_BLOCK = 1024
NAND_BLOCKS = 48
CHIP_BLOCK = 4096  # of the file system that holds the flash's content


def run(*command, **options):
    return subprocess.run([str(word) for word in command], cwd=ROOT, check=True, **options)


def make_disk(path, *options):
    path.unlink(missing_ok=True)
    with open(path, "wb") as disk:
        disk.truncate(DISK_SIZE + MARKS_SIZE)
    run("mke2fs", "-q", "-F", "-t", "ext4", *options, path, f"{DISK_SIZE // 1024}k")


def boot(disks, *command):
    """The machine, with these options for its disks."""
    return ["machine/boot", *disks, "--", "machine/power/run.sh", *command]


def record():
    ext4 = FOLDER / "ext4.disk"
    make_disk(ext4, "-b", EXT4_BLOCK)
    before = ext4.read_bytes()[:DISK_SIZE]
    content = FOLDER / "chip"
    content.mkdir(exist_ok=True)
    flash = writelog.Flash(NAND_BLOCKS, FOLDER / "ubifs.record")
    (content / "chip").write_bytes(flash.file)
    chip = FOLDER / "chip.disk"
    make_disk(chip, "-b", CHIP_BLOCK, "-O", "^has_journal", "-d", content)
    logs = [FOLDER / "ext4.log", FOLDER / "chip.log"]
    for log in logs:
        log.write_bytes(b"")
    disks = ["--logged", ext4, logs[0], "--logged", chip, logs[1]]
    dump = FOLDER / "flash"
    run(*boot(disks, "record", DISK_SIZE, NAND_BLOCKS, dump))

    writelog.record_disk(logs[0], before, EXT4_BLOCK, FOLDER / "ext4.record")
    listed = run("debugfs", "-R", "blocks /chip", chip, capture_output=True, text=True).stdout
    flash.replay(logs[1], [int(number) for number in listed.split()], CHIP_BLOCK)
    if dump.read_bytes() != flash.record.image:
        sys.exit("What was read from the flash in the end is not what its writes come to")


def look():
    looks = []
    for kind, size in (("ext4", DISK_SIZE), ("ubifs", NAND_BLOCKS)):
        command = boot(["--disk", FOLDER / f"{kind}.record"], "look", kind, size)
        words = [str(word) for word in command]
        looks.append((kind, subprocess.Popen(words, cwd=ROOT, stdout=subprocess.PIPE, text=True)))
    went_well = True
    for kind, process in looks:
        print(f"{kind}: {process.communicate()[0]}", end="", flush=True)
        went_well = process.returncode == 0 and went_well
    return went_well


def main():
    start = time.monotonic()
    FOLDER.mkdir(exist_ok=True)
    record()
    recorded = time.monotonic()
    went_well = look()
    print(f"{recorded - start:.0f} s to record, {time.monotonic() - recorded:.0f} s to look")
    return 0 if went_well else 1


sys.exit(main())
