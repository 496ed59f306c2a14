#!/bin/bash
# ztsim_capture_ipc_test.sh ZTSIM ZT TEST: what passes between a server and its clients through ztsim --capture-ipc, and
# what is captured of it. Each function whose name begins with "ztsim_" is a test.

ztsim=$1
zt=$2
here=$(dirname "$(readlink -f "$0")")
. "$here/support.sh"

# captured KIND: runs ipc.py in an empty folder; prints what it says, and then what was captured, without the times
captured()
{
    mkdir "$scratch/$1"
    (cd "$scratch/$1" && "$ztsim" --capture "$scratch/capture" --capture-ipc server -- timeout 60 python3 "$here/ipc.py" "$1" 2>&1)
    "$zt" decode "$scratch/capture" | sed -E 's/^[0-9]+\.[0-9]{9} //'
}

ztsim_capture_ipc_has_each_frame_and_changes_none()
{
    expect_eq "$(captured dialogue)" "a client called one
b'\\x01\\x00\\x00\\x00\\x02\\x00\\x00\\x00\\x05hello'
264
b''
gone
a client called two
b'\\x01\\x00\\x00\\x00\\x02\\x00\\x00\\x00\\x05hello'
264
b''
gone
files .ztsim-server server two
ipc <- client 1: headers 1 and 2, 5 bytes
ipc -> client 1: headers 3 and 4, 255 bytes
ipc <- client 2: headers 1 and 2, 5 bytes
ipc -> client 2: headers 3 and 4, 255 bytes"
    expect_eq "$(ls -A "$scratch/dialogue")" "server
two"
}

ztsim_capture_ipc_puts_the_parts_of_frames_together()
{
    expect_eq "$(captured cuts)" "a client called ''
b'\\x05\\x00\\x00'
b'\\x00\\x06\\x00'
b'\\x00\\x00\\x05'
b'sev'
b'en'
b'\\x01\\x00\\x00\\x00\\x01\\x00\\x00\\x00\\x01a\\x02\\x00\\x00\\x00\\x02\\x00\\x00\\x00\\x01bhalf'
b'\\t\\x00\\x00\\x00\\t\\x00\\x00\\x00\\nthe answer'
ipc <- client 1: headers 5 and 6, 5 bytes
ipc <- client 1: headers 1 and 1, 1 bytes
ipc <- client 1: headers 2 and 2, 1 bytes
ipc <- client 1: the first 4 bytes of a frame
ipc -> client 1: headers 9 and 9, 10 bytes"
}

ztsim_capture_ipc_bears_a_crowd()
{
    captured crowd >"$scratch/read"
    expect_eq "$(head -n 1 "$scratch/read")" "True True"
    expect_eq "$(grep -c '^ipc <- client 1: headers [0-9]* and 0, 255 bytes$' "$scratch/read")" 8000
    expect_eq "$(grep -c '^ipc -> client 1: headers [0-9]* and 0, 255 bytes$' "$scratch/read")" 8000
}

ztsim_capture_ipc_hears_each_server_in_turn()
{
    captured restart >"$scratch/read"
    # How many clients have seen the end of the dead one is chance.
    expect_eq "$(sed -E 's/client [0-9]+/client N/' "$scratch/read")" "b''
files server
refused
four 14
five 14
ipc <- client N: headers 1 and 2, 5 bytes
ipc <- client N: headers 1 and 2, 5 bytes"
}

ztsim_capture_ipc_waits_for_a_slow_server()
{
    expect_eq "$(captured slow | sed -E 's/client [0-9]+/client N/' | sort)" "0 1 2 3 4 5 6 7
$(printf 'ipc <- client N: headers %d and 0, 1 bytes\n' {0..7})"
}

ztsim_capture_ipc_hears_a_device_without_namespaces()
{
    mkdir "$scratch/dialogue"
    (cd "$scratch/dialogue" && "$ztsim" --way preload --capture "$scratch/capture" --capture-ipc "$scratch/dialogue/server" -- \
        timeout 60 bash -c '
        "$0" ipc listen "$1" --count 1 & until [ -e .ztsim-server ]; do sleep 0.1; done
        "$0" ipc send "$1" hello --from me --header1 7; wait' "$zt" "$scratch/dialogue/server" >/dev/null 2>&1)
    expect_eq "$("$zt" decode "$scratch/capture")" "0.000000000 ipc <- client 1: headers 7 and 0, 5 bytes"
}

ztsim_capture_ipc_hears_several_servers()
{
    cd "$scratch"
    "$ztsim" --capture capture --capture-ipc a --capture-ipc b -- timeout 60 bash -c '
        for server in a b; do
            "$0" ipc listen $server --count 1 & until [ -e .ztsim-$server ]; do sleep 0.1; done
            "$0" ipc send $server hello --from me; wait
        done' "$zt" >/dev/null 2>&1
    expect_eq "$("$zt" decode capture | cut -d " " -f 2-)" "ipc <- client 1: headers 0 and 0, 5 bytes
ipc <- client 1: headers 0 and 0, 5 bytes"
}

ztsim_capture_ipc_says_what_is_wrong()
{
    expect_failure 125 "--capture-ipc requires --capture; see ztsim --help" "$ztsim" --capture-ipc server -- true
    expect_failure 125 "--capture-ipc: $scratch/no: No such file or directory" \
        "$ztsim" --capture "$scratch/capture" --capture-ipc "$scratch/no/server" -- true
    # A name that leaves no room for that of the server's own socket.
    cd "$scratch" && mkdir long
    local name=$(printf 'x%.0s' {1..104})
    expect_eq "$(cd long && "$ztsim" --capture "$scratch/capture" --capture-ipc "$name" -- timeout 60 python3 -c '
import socket, sys, time
server = socket.socket(socket.AF_UNIX)
server.bind(sys.argv[1])
server.listen()
time.sleep(0.5)
client = socket.socket(socket.AF_UNIX)
client.connect(sys.argv[1])
print("connected", bool(server.accept()))' "$name" 2>&1)" "ztsim: cannot capture $name: File name too long
connected True"
    expect_eq "$(ls -A long)" "$name"
}

$3
[ $failures -eq 0 ]
