#!/bin/bash
# ztsim_capture_test.sh ZTSIM TEST: what ztsim --capture writes, and how Wireshark reads it. Each function whose name
# begins with "ztsim_" is a test.

ztsim=$1
here=$(dirname "$(readlink -f "$0")")
. "$here/support.sh"
dissector=$here/../../tools/wireshark/ztapi.lua

need_tshark()
{
    command -v tshark >/dev/null || exit 77
}

# read_by_tshark FILE [FIELD...]: a line for each packet, with the fields between bars
read_by_tshark()
{
    local file=$1 fields=() field
    for field in "${@:2}"; do
        fields+=(-e "$field")
    done
    HOME=$scratch tshark -X "lua_script:$dissector" -r "$file" -T fields -E separator='|' "${fields[@]}" 2>&1 |
        grep -v '^Running as user'
}

ztsim_capture_has_each_record_of_the_power_daemon()
{
    need_tshark
    "$ztsim" --capture "$scratch/capture" --power-fault short-record@12 -- python3 "$here/power.py" \
        0,2? 1,4,9? 8? 3,rs232,0? 4,touch,-1? 9,5? 13? 12 14,2? 15,2,30? 99 8? >/dev/null 2>&1
    expect_eq "$(read_by_tshark "$scratch/capture" _ws.col.Source _ws.col.Destination ztpmd.type ztpmd.state ztpmd.value \
        ztpmd.device ztpmd.device_state _ws.col.Info)" 'client 1|ztpmd|0|2||||get time-out, state 2
ztpmd|client 1|2|2|0|||time-out, state 2, value 0
client 1|ztpmd|1|4|9|||set time-out, state 4, value 9
ztpmd|client 1|2|4|9|||time-out, state 4, value 9
client 1|ztpmd|8|||||get power state
ztpmd|client 1|10|0||||power state, state 0
client 1|ztpmd|3|||rs232||get device rs232
ztpmd|client 1|5|||console|0|device console, state 0
client 1|ztpmd|4|||touch|-1|set device touch, state -1
ztpmd|client 1|5|||touch|-1|device touch, state -1
client 1|ztpmd|9|5||||set power state, state 5
ztpmd|client 1|11|5||||new power state, state 5
client 1|ztpmd|13|||||set power state 3
ztpmd|client 1|11|3||||new power state, state 3
client 1|ztpmd|12|||||set power state 6
client 1|ztpmd|14|2||||get propagation time, state 2
ztpmd|client 1|16|2|0|||propagation time, state 2, value 0
client 1|ztpmd|15|2|30|||set propagation time, state 2, value 30
ztpmd|client 1|17|2|30|||new propagation time, state 2, value 30
client 1|ztpmd|99|||||type 99
client 1|ztpmd|8|||||get power state
ztpmd|client 1||||||the first 20 bytes of a record'
}

ztsim_capture_has_each_record_of_the_health_daemon()
{
    need_tshark
    "$ztsim" --capture "$scratch/capture" --health-field serial-number=12345678901234567890123456789012 \
        --health-field field-0=4000000000 -- python3 "$here/health.py" 0 12 25,A 20 37,B 36 >/dev/null 2>&1
    expect_eq "$(read_by_tshark "$scratch/capture" ztsim.client ztsim.direction zthmd.type zthmd.byte zthmd.number zthmd.text \
        _ws.col.Info)" '1|0|0||||get field-0
1|1|1||4000000000||field-0 4000000000
2|0|12||||get serial-number
2|1|13|||12345678901234567890123456789012|serial-number "12345678901234567890123456789012"
3|0|25|65|||set value-20 65
3|1|21|65|||value-20 65
4|0|20||||get value-20
4|1|21|65|||value-20 65
5|0|37||66||set value-32 66
5|1|38||66||value-32 66
6|0|36||||get value-32
6|1|38||66||value-32 66'
}

ztsim_capture_has_the_time_the_direction_and_the_process()
{
    need_tshark
    local before after
    before=$(date +%s%N)
    "$ztsim" --capture "$scratch/capture" -- bash -c 'python3 "$0/power.py" 8? >/dev/null; echo' "$here" >/dev/null
    after=$(date +%s%N)
    read_by_tshark "$scratch/capture" frame.time_epoch frame.packet_flags_direction ztsim.protocol ztsim.process >"$scratch/read"
    expect_eq "$(cut -d '|' -f 2- "$scratch/read")" $'0x00000001|1|3\n0x00000002|1|3'
    cut -d '|' -f 1 "$scratch/read" | tr -d . >"$scratch/times"
    { echo "$before"; cat "$scratch/times"; echo "$after"; } | sort -c || fail "$before $(cat "$scratch/times") $after"
}

# Without Wireshark: the blocks of the file, their sizes at both ends, and what is in a packet.
ztsim_capture_writes_whole_blocks()
{
    "$ztsim" --capture "$scratch/capture" -- python3 "$here/power.py" 8? >/dev/null
    expect_eq "$(python3 -c '
import struct, sys
content = open(sys.argv[1], "rb").read()
while content:
    kind, size = struct.unpack_from("<II", content)
    assert size % 4 == 0 and struct.unpack_from("<I", content, size - 4)[0] == size
    print(hex(kind), size)
    if kind == 6:
        length = struct.unpack_from("<I", content, 20)[0]
        print(content[28:36].hex(), content[40:28 + length].hex())
    content = content[size:]' "$scratch/capture")" "0xa0d0d0a 44
0x1 44
0x6 104
0100000001000000 08$(printf '0%.0s' {1..94})
0x6 104
0101000001000000 0a$(printf '0%.0s' {1..94})"
}

ztsim_capture_says_what_is_wrong_with_the_file()
{
    expect_failure 125 "--capture: cannot open $scratch/no/file: No such file or directory; see ztsim --help" \
        "$ztsim" --capture "$scratch/no/file" -- true
    expect_eq "$("$ztsim" --capture /dev/full -- echo ran 2>&1)" \
        $'ztsim: cannot capture any more: No space left on device\nran'
    expect_eq "$("$ztsim" --capture "$scratch/capture" -- sh -c 'ls -l /proc/self/fd | grep -c "$0"' "$scratch/capture")" 0
}

ztsim_capture_dissector_puts_socket_messages_together()
{
    need_tshark
    python3 "$here/packets.py" "$scratch/capture" stream
    expect_eq "$(read_by_tshark "$scratch/capture" ztsocket.length ztsocket.type ztsocket.flag ztsocket.parameter1 \
        ztsocket.parameter2 ztsocket.parameter3 ztsocket.rest _ws.expert.message)" '|||||||
28|200|1|1|2|3||
|||||||
33|7|0|65535|0|9|68656c6c6f|
328|200|1|1|2|3|'"$(printf '78%.0s' {1..300})"'|
|||||||No marker where a record begins'
}

ztsim_capture_dissector_reads_frames_between_processes()
{
    need_tshark
    python3 "$here/packets.py" "$scratch/capture" ipc
    expect_eq "$(read_by_tshark "$scratch/capture" ztipc.header1 ztipc.header2 ztipc.length ztipc.data _ws.col.Info)" \
        '5|4000000000|3|010203|headers 5 and 4000000000, 3 bytes
||||the first 5 bytes of a frame'
}

ztsim_capture_dissector_bears_noise()
{
    need_tshark
    python3 "$here/packets.py" "$scratch/capture" noise
    HOME=$scratch tshark -X "lua_script:$dissector" -r "$scratch/capture" -V >"$scratch/read" 2>&1 || fail "exit code $?"
    expect_eq "$(grep -c ^Frame "$scratch/read")" 372
    expect_eq "$(grep -i 'lua error' "$scratch/read")" ""
}

$2
[ $failures -eq 0 ]
