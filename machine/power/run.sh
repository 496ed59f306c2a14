#!/bin/bash
# Runs on the device, of which /dev/vdb and /dev/vdc are logged disks with an end that no file system uses, from OFFSET:
#
#   run.sh record OFFSET BLOCKS CHIP   records on ext4, on the first, and on UBIFS, on a NAND flash of so many blocks
#                                      whose content is a file on the second; copies what that holds to CHIP
#   run.sh look ext4 SIZE              looks at what /dev/vdb has recorded of a disk of that size
#   run.sh look ubifs BLOCKS           looks at what /dev/vdb has recorded of a flash
set -euo pipefail
bin=$PWD/build/armhf/bin
medium=/run/medium
chip=/run/chip
mkdir $medium $chip

# has_nand BLOCKS [CACHE]: a flash with pages of 2 KiB and blocks of 128 KiB.
has_nand() {
    modprobe nandsim first_id_byte=0x20 second_id_byte=0xa2 third_id_byte=0x00 fourth_id_byte=0x15 parts="$1" \
        ${2:+cache_file="$2"}
}

record() {
    local offset=$1 blocks=$2 dump=$3
    mount -t ext4 /dev/vdb $medium
    "$bin/power_record.elf" $medium /dev/vdb "$offset"
    umount $medium

    # What the flash does is on the disk when it is done, in its order.
    mount -t ext4 -o sync,noatime /dev/vdc $chip
    has_nand "$blocks" $chip/chip
    modprobe ubi mtd=0,2048
    ubimkvol /dev/ubi0 --name=data --maxavsize >/dev/null
    mount -t ubifs ubi0_0 $medium
    "$bin/power_record.elf" $medium /dev/vdc "$offset"
    umount $medium
    cat /dev/mtd0 >"$dump"
}

look_ext4() {
    modprobe loop
    truncate --size="$1" /dev/shm/image
    "$bin/power_look.elf" ext4 /dev/vdb $medium /dev/shm/image "$(losetup --find --show /dev/shm/image)"
}

look_ubifs() {
    has_nand "$1"
    modprobe ubi
    modprobe ubifs
    "$bin/power_look.elf" ubifs /dev/vdb $medium
}

case $1 in
record) record "$2" "$3" "$4" ;;
look) "look_$2" "$3" ;;
esac
