#!/bin/bash
# ztsim_ctl_test.sh ZTSIM TEST: what finds a device, waits for what a program says to it, and disturbs it. Each
# function whose name begins with "ztsim_" is a test.

ztsim=$1
here=$(dirname "$(readlink -f "$0")")
. "$here/support.sh"

# ---------------------------------------------------------------------------- ready and named

ztsim_says_when_its_daemons_listen()
{
    printf '0 power 3\n' >"$scratch/script"
    expect_eq "$("$ztsim" --script "$scratch/script" --ready-fd 7 -- sh -c '
        read -r line <"$0"; echo "$line"; ztsim ctl power; [ -e /proc/self/fd/7 ] && echo left' "$scratch/ready" \
        7<>"$scratch/ready")" $'ready\n3'
}

ztsim_closes_the_descriptor_when_it_has_said_that_it_is_ready()
{
    expect_eq "$(python3 -c '
import os, subprocess, sys
reading, writing = os.pipe()
device = subprocess.Popen([sys.argv[1], "--ready-fd", str(writing), "--", "cat"], stdin=subprocess.PIPE,
                          pass_fds=[writing])
os.close(writing)
print(os.read(reading, 100), os.read(reading, 100), device.poll())
device.stdin.close()
print(device.wait())' "$ztsim")" $'b\'ready\\n\' b\'\' None\n0'
}

ztsim_says_nothing_of_being_ready_where_it_fails()
{
    expect_eq "$("$ztsim" --ready-fd 7 --script <(echo 0 toast) -- true 7>&1 2>/dev/null)" ""
    expect_failure 125 "--ready-fd: 9: Bad file descriptor; see ztsim --help" "$ztsim" --ready-fd 9 -- true
    expect_failure 125 '--ready-fd: "2" is not in 3..2147483647; see ztsim --help' "$ztsim" --ready-fd 2 -- true
    expect_failure 125 "cannot set up the sandbox: *" env PATH="$scratch:$PATH" bash -c '
        printf "#!/bin/sh\necho no >&2; exit 1" >"$1/bwrap"; chmod +x "$1/bwrap"
        "$0" --way namespaces --ready-fd 7 -- true 7>/dev/null' "$ztsim" "$scratch"
    expect_eq "$("$ztsim" --ready-fd 7 -- echo ran 7</dev/null 2>&1)" \
        $'ztsim: cannot say that the device is ready: Bad file descriptor\nran'
}

ztsim_ends_with_its_lifeline()
{
    expect_eq "$(python3 -c '
import os, subprocess, sys
for end in os.close, lambda writing: os.write(writing, b"end"):
    reading, writing = os.pipe()
    device = subprocess.Popen([sys.argv[1], "--lifeline-fd", str(reading), "--", "sh", "-c",
                               "echo ready $(ls /proc/self/fd | wc -l); exec sleep infinity"],
                              stdout=subprocess.PIPE, text=True, pass_fds=[reading])
    os.close(reading)
    print(device.stdout.readline(), device.poll())
    end(writing)
    print(device.wait(), device.stdout.read())' "$ztsim")" $'ready 4\n None\n125 \nready 4\n None\n125 '
}

ztsim_refuses_wrong_names()
{
    local name
    for name in "" "a b" a/b $'a\nb' 123456789012345678901234567890123; do
        expect_failure 125 "--name: \"*\" is not of 1 to 32 letters, digits, -, _ and .; see ztsim --help" \
            "$ztsim" --name "$name" -- true
    done
    expect_exit 0 alone "$ztsim" --name 12345678901234567890123456789-_. -- true
}

ztsim_takes_names_that_look_like_something_else()
{
    local name
    for name in -x --wait --json - . .. .hidden -1; do
        expect_eq "$(alone "$ztsim" --name "$name" -- sh -c 'ztsim ctl --name "$0" power 3; ztsim ctl --name "$0" show | head -n 1
            ztsim ctl --name="$0" power; ztsim ctl list | cut -d " " -f 2' "$name")" "name $name
3
$name"
    done
    expect_eq "$(alone "$ztsim" --name=-- -- ztsim ctl --name=-- power)" 0
    expect_failure 125 "--name: *; see ztsim --help" "$ztsim" --name -- true
}

# two_devices SCRIPT: with the devices left and right, of power states 1 and 2, where no other can be reached.
two_devices()
{
    rm -f "$scratch/left" "$scratch/right"
    alone bash -c '
        ztsim=$0
        exec 3> >("$0" --name left --power-state 1 -- sh -c "echo ready; read -r line" >'"$scratch/left"'); left=$!
        exec 4> >("$0" --name right --power-state 2 -- sh -c "echo ready; read -r line" >'"$scratch/right"'); right=$!
        until [ -s '"$scratch/left"' ] && [ -s '"$scratch/right"' ]; do :; done
        '"$1" "$ztsim"
}

ztsim_ctl_reaches_devices_by_their_names()
{
    expect_eq "$(two_devices '
        "$0" ctl --name left power; "$0" ctl --name right power; "$0" ctl --name right --pid $right power
        "$0" ctl --name right --pid $left power; "$0" ctl --name both power' 2>&1)" \
        $'1\n2\n2\nztsim: no device named right runs here\nztsim: no device named both runs here'
    expect_eq "$(alone "$ztsim" --name mine -- sh -c 'ztsim ctl --name mine power; ztsim ctl --name other power 2>&1')" \
        $'0\nztsim: no device named other runs here'
}

ztsim_ctl_lists_devices()
{
    local script='ready; read -r line'
    expect_eq "$(two_devices '"$0" ctl list | sed "s/^$left /LEFT /; s/^$right /RIGHT /" | sort')" \
        "LEFT left $ztsim --name left --power-state 1 -- sh -c echo $script
RIGHT right $ztsim --name right --power-state 2 -- sh -c echo $script"
    expect_eq "$(two_devices '"$0" ctl list --json' | python3 -c '
import json, sys
print([(type(device["pid"]), device["name"], device["command"][1:5]) for device in
       sorted(json.load(sys.stdin), key=lambda device: device["name"])])')" \
        "[(<class 'int'>, 'left', ['--name', 'left', '--power-state', '1']), (<class 'int'>, 'right', ['--name', 'right', '--power-state', '2'])]"
    expect_eq "$(alone "$ztsim" ctl list; alone "$ztsim" ctl list --json)" "[]"
    expect_like "$("$ztsim" -- sh -c 'ztsim ctl list; ztsim ctl list --json')" \
        $'1 - *ztsim --inside *\n[[]{"pid":1,"name":null,"command":[[]"*'
}

ztsim_refuses_a_name_that_is_taken()
{
    expect_eq "$(two_devices '
        "$0" --name left -- echo ran 2>&1 | sed "s/$left/LEFT/"; "$0" --name third -- echo ran')" \
        $'ztsim: there is a device named left already, of process LEFT\nran'
}

ztsim_completes_the_names_of_devices()
{
    expect_eq "$(two_devices '
        . '"$here/../../tools/ztsim/ztsim.bash"'
        complete_words() { COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _ztsim; echo "${COMPREPLY[*]}"; }
        complete_words "$0" ctl --name l; complete_words "$0" ctl --pid $left | sed "s/$left/LEFT/"
        complete_words "$0" ctl --name "" | xargs -n 1 | sort | xargs')" $'left\nLEFT\nleft right'
}

ztsim_runs_ten_devices_at_once()
{
    expect_eq "$(alone python3 -c '
import subprocess, sys
ztsim = sys.argv[1]
devices = [subprocess.Popen([ztsim, "--name", f"d{n}", "--power-timeout", f"1={n}", "--", "sh", "-c", "echo ready; cat"],
                            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) for n in range(10)]
print(all(device.stdout.readline() == "ready\n" for device in devices))
print(*(subprocess.check_output([ztsim, "ctl", "--name", f"d{n}", "timeout", "1"], text=True).strip() for n in range(10)))
for device in devices:
    device.kill()
for device in devices:
    device.stdout.read()
    device.wait()
print(subprocess.check_output([ztsim, "ctl", "list"]))' "$ztsim")" $'True\n0 1 2 3 4 5 6 7 8 9\nb\'\''
}

# ---------------------------------------------------------------------------- show and watch

ztsim_ctl_shows_all_that_there_is()
{
    expect_eq "$(alone "$ztsim" --name mine --power-state 2 --power-timeout 5=9 --device touch=-3 --no-eth0 --eeprom locked \
        --health-field serial-number="A  1" --power-fault silence@7 --power-fault hang-up@timeout -- bash -c '
        python3 "$0/power.py" "8?" >/dev/null
        ztsim ctl slow 1.5s power; ztsim ctl deaf on health; ztsim ctl hang-up health
        ztsim ctl show | grep -v -e "device [^t]" -e "field-" -e "value-" -e product' "$here")" 'name mine
eeprom locked
eth0 false
power state 2
power timeout 0 0
power timeout 1 0
power timeout 2 0
power timeout 3 0
power timeout 4 0
power timeout 5 9
power propagation 0
power device touch -3
power clients 0
power records 1
power away false
power deaf false
power slow 1500ms
power faults 0 silence@7
power faults 1 hang-up@timeout
health field part-number
health field serial-number A  1
health clients 0
health records 0
health away true
health deaf true
health slow 0ms'
    expect_eq "$("$ztsim" --no-power-daemon --no-health-daemon --eeprom absent -- ztsim ctl show)" 'name -
eeprom absent
eth0 true
power -
health -'
}

ztsim_ctl_shows_all_in_json()
{
    expect_eq "$("$ztsim" --eeprom locked --health-field serial-number=$'\e\xff' --no-power-daemon -- sh -c '
        ztsim ctl show --json
        printf abcd >/sys/bus/i2c/devices/1-0050/app; until [ -e /dev/eeprom2 ]; do :; done
        until ztsim ctl show | grep -x "eeprom open"; do :; done')" \
        '{"name":null,"eeprom":"locked","eth0":true,"power":null,"health":{"field":{"field-0":0,"product-type":0,"product-variant":0,"field-6":0,"field-8":"","part-number":"","serial-number":"\u001b\ufffd","field-16":0,"field-17":0,"field-19":0,"field-21":0,"value-20":0,"field-25":0,"value-26":0,"value-29":0,"value-32":0},"clients":0,"records":0,"away":false,"deaf":false,"slow":"0ms","faults":[]}}
eeprom open'
}

ztsim_ctl_watches_what_happens()
{
    printf 'await device toaster\n+0.1 propagation 4\n' >"$scratch/script"
    local option
    for option in "" --json; do
        alone "$ztsim" --name watched -- bash -c '
            ztsim ctl watch '$option' >'"$scratch/seen$option"' & watcher=$!
            until [ -s '"$scratch/seen$option"' ]; do python3 "$0/power.py" "8?"; done
            python3 "$0/power.py" 3,toaster,0 "8?"; ztsim ctl power-fault silence; python3 "$0/health.py" 12
            ztsim ctl power; python3 "$0/power.py" 12 "8?"
            until grep -q "power 6" '"$scratch/seen$option"'; do true; done
            kill $watcher' "$here" >/dev/null 2>&1
    done
    expect_eq "$(sed -E 's/^[0-9]+\.[0-9]{3} //; 1d' "$scratch/seen" | grep -v -x -e "client: power")" \
        'client: device toaster: no such device
ctl: power-fault silence
client: health serial-number
client: power 6: silence'
    expect_eq "$(sed -E '1d; s/"time":[0-9.]+/"time":T/' "$scratch/seen--json" | grep -v '"power"')" \
        '{"time":T,"by":"client","said":"device toaster","mishap":"no such device"}
{"time":T,"by":"ctl","said":"power-fault silence","mishap":null}
{"time":T,"by":"client","said":"health serial-number","mishap":null}
{"time":T,"by":"client","said":"power 6","mishap":"silence"}'
    "$ztsim" --script "$scratch/script" -- bash -c 'ztsim ctl watch >'"$scratch/heard"' &
        until [ -s '"$scratch/heard"' ]; do python3 "$0/power.py" "8?"; done
        python3 "$0/power.py" 3,toaster,0 "8?"
        until grep propagation '"$scratch/heard"'; do true; done' "$here" >/dev/null 2>&1
    expect_like "$(grep propagation "$scratch/heard")" "* script: +0.1 propagation 4"
}

ztsim_ctl_watches_up_to_the_end_of_the_device()
{
    expect_eq "$(alone bash -c '
        coproc "$0" --name watched -- sh -c "echo ready; read -r line"; read -r line <&${COPROC[0]}
        "$0" ctl watch >'"$scratch/seen"' & watcher=$!
        until [ -s '"$scratch/seen"' ]; do "$0" ctl power 1; done
        echo >&${COPROC[1]}; wait $watcher; echo $?' "$ztsim" 2>&1)" 0
    expect_like "$(head -n 1 "$scratch/seen")" "* ctl: power 1"
}

ztsim_leaves_a_watcher_that_does_not_read()
{
    expect_eq "$("$ztsim" -- python3 -c '
import re, socket, subprocess
name = re.search("@(ztsim/.*)", open("/proc/net/unix").read()).group(1)
watcher = socket.socket(socket.AF_UNIX)
watcher.settimeout(60)
watcher.connect("\0" + name)
watcher.sendall(b"1\0watch\0")
watcher.shutdown(socket.SHUT_WR)
daemon = socket.socket(socket.AF_UNIX)
daemon.connect("/var/run/ztpmd_api")
for _ in range(3000):
    daemon.sendall(b"\x0c".ljust(48, b"\0") * 100)
daemon.sendall(b"\x08".ljust(48, b"\0"))
daemon.recv(48)
size = 0
while data := watcher.recv(65536):
    size += len(data)
print(0 < size < 3000000)')" True
}

# ---------------------------------------------------------------------------- await and count

ztsim_ctl_awaits_a_record()
{
    expect_eq "$("$ztsim" -- bash -c '
        for record in "timeout 2" "timeout 2 9" "any 2" "power ." "power any" "device rs232" "type 99" "health serial-number"; do
            ztsim ctl await $record & waiter=$!
            while kill -0 $waiter 2>/dev/null; do
                python3 "$0/power.py" 1,2,9 "8?" 9,1 99 3,rs232,0; python3 "$0/health.py" 12
            done >/dev/null
            wait $waiter; echo "$record: $?"
        done' "$here" 2>/dev/null)" 'timeout 2: 0
timeout 2 9: 0
any 2: 0
power .: 0
power any: 0
device rs232: 0
type 99: 0
health serial-number: 0'
}

ztsim_ctl_ends_with_3_when_the_time_is_up()
{
    expect_eq "$("$ztsim" -- bash -c '
        python3 "$0/power.py" 1,2,9 "8?" >/dev/null
        for record in "timeout 2" timeout "power" "power ." "timeout 2 9 ." "timeout any 9"; do
            ztsim ctl await $record --wait 0; echo $?
            ztsim ctl await --since-start $record --wait 0; echo $?
        done
        for record in "timeout 3" "timeout 2 ." "power any" "timeout 2 9 any"; do
            ztsim ctl await --since-start $record --wait 0.01; echo $?
        done' "$here" 2>"$scratch/err")" \
        $'3\n0\n3\n0\n3\n0\n3\n0\n3\n0\n3\n0\n3\n3\n3\n3'
    expect_eq "$(sed -n '7,$p' "$scratch/err")" 'ztsim: no client has said "timeout 3" in time
ztsim: no client has said "timeout 2 ." in time
ztsim: no client has said "power any" in time
ztsim: no client has said "timeout 2 9 any" in time'
}

ztsim_ctl_forgets_a_wait_that_was_given_up()
{
    expect_eq "$("$ztsim" -- bash -c '
        for round in {1..20}; do
            timeout -s KILL 0.05 ztsim ctl await power
        done 2>/dev/null
        ls /proc/1/fd | wc -l >'"$scratch/before"'
        for round in {1..20}; do
            timeout -s KILL 0.05 ztsim ctl await power
            timeout -s KILL 0.05 ztsim ctl watch
        done 2>/dev/null
        until [ $(ls /proc/1/fd | wc -l) -le $(cat '"$scratch/before"') ]; do :; done
        python3 "$0/power.py" "8?"' "$here" 2>/dev/null)" 10
}

ztsim_ctl_says_that_the_device_ended_while_it_waited()
{
    expect_eq "$(alone bash -c '
        coproc "$0" -- sh -c "echo ready; read -r line"; read -r line <&${COPROC[0]}; pid=$COPROC_PID
        "$0" ctl await power >'"$scratch/said"' 2>&1 & waiter=$!
        until grep -q "State:.S" /proc/$waiter/status && ls -l /proc/$waiter/fd | grep -q socket; do :; done
        kill -KILL $pid; wait $waiter; echo $?' "$ztsim" 2>/dev/null)" 125
    expect_like "$(cat "$scratch/said")" "ztsim: the device has ended"
}

ztsim_ctl_counts_records()
{
    expect_eq "$("$ztsim" --power-fault silence@2 -- bash -c '
        ztsim ctl count; ztsim ctl records
        python3 "$0/power.py" 1,2,9 0,2 "8?" 3,toaster,0 "8?" >/dev/null 2>&1
        for record in "" timeout "timeout 2" "timeout 2 ." power device propagation; do
            echo "$record: $(ztsim ctl count $record)"
        done
        ztsim ctl records; ztsim ctl records timeout' "$here" 2>/dev/null)" '0
: 5
timeout: 2
timeout 2: 2
timeout 2 .: 1
power: 2
device: 1
propagation: 0
timeout 2 9
timeout 2
power
device toaster
power
timeout 2 9
timeout 2'
}

ztsim_keeps_the_last_100000_records()
{
    expect_eq "$("$ztsim" -- python3 -c '
import socket, struct, subprocess
daemon = socket.socket(socket.AF_UNIX)
daemon.connect("/var/run/ztpmd_api")
daemon.sendall(struct.pack("=III36x", 14, 0, 2))
daemon.recv(48)
for _ in range(1000):
    daemon.sendall(b"\x0c".ljust(48, b"\0") * 100)
daemon.sendall(b"\x08".ljust(48, b"\0"))
daemon.recv(48)
for record in "", "propagation", "power 6":
    print(subprocess.check_output(["ztsim", "ctl", "count", *record.split()], text=True).strip())')" $'100000\n0\n99999'
}

ztsim_waits_in_a_script_for_what_a_program_says()
{
    printf 'power 1\nawait timeout 2\n+0.1 power 2\nawait power 5\npropagation 9\n' >"$scratch/script"
    expect_eq "$("$ztsim" --script "$scratch/script" -- bash -c '
        ztsim ctl power; python3 "$0/power.py" 0,2 1,3,1 "8?" >/dev/null
        until [ "$(ztsim ctl power)" = 2 ]; do :; done
        ztsim ctl propagation; python3 "$0/power.py" 9,5 "8?" >/dev/null
        until [ "$(ztsim ctl propagation)" = 9 ]; do :; done; ztsim ctl power' "$here")" $'1\n0\n5'
}

ztsim_counts_the_time_of_a_script_from_the_end_of_a_wait()
{
    printf 'await power 5\n+0.4 power 2\n' >"$scratch/script"
    expect_eq "$("$ztsim" --script "$scratch/script" -- python3 -c '
import subprocess, sys, time
def state():
    return subprocess.check_output(["ztsim", "ctl", "power"])
start = time.monotonic()
while time.monotonic() < start + 0.5:
    state()
start = time.monotonic()
subprocess.run(["python3", sys.argv[1], "9,5", "8?"], stdout=subprocess.DEVNULL)
while state() != b"2\n":
    pass
print(time.monotonic() - start >= 0.4)' "$here/power.py")" True
}

ztsim_ends_a_script_when_the_time_of_a_wait_is_up()
{
    printf '# 1\n0 await timeout 2 --wait 0.05\npower 2\n' >"$scratch/script"
    expect_eq "$("$ztsim" --script "$scratch/script" -- bash -c '
        until [ -s "'"$scratch/err"'" ]; do :; done; python3 "$0/power.py" 0,2 "8?" >/dev/null; ztsim ctl power' \
        "$here" 2>"$scratch/err")" 0
    expect_eq "$(cat "$scratch/err")" \
        'ztsim: script: 0 await timeout 2 --wait 0.05: no client has said "timeout 2" in time: this script ends here'
    printf '0 power-fault silence\n0 await power --wait 60 --since-start\n0 power 2\n' >"$scratch/script"
    expect_eq "$("$ztsim" --script "$scratch/script" -- bash -c '
        python3 "$0/power.py" 12; until [ "$(ztsim ctl power)" = 2 ]; do :; done; ztsim ctl records' "$here")" "power 6"
}

ztsim_ctl_answers_in_json()
{
    expect_eq "$("$ztsim" --power-state 2 --power-timeout 1=9 --health-field serial-number='A "1' -- bash -c '
        python3 "$0/power.py" 1,2,9 "8?" >/dev/null
        for question in power "timeout 1" propagation "device touch" "health serial-number" "health field-0" count \
            "count timeout" records "records propagation"; do
            ztsim ctl $question --json
        done
        ztsim ctl power 3 --json; ztsim ctl power --json' "$here")" \
        $'2\n9\n0\n0\n"A \\"1"\n0\n2\n1\n["timeout 2 9","power"]\n[]\n3'
    expect_failure 125 "await: *--json*" "$ztsim" ctl await power --json
    expect_failure 125 "hang-up: *--json*" "$ztsim" ctl hang-up --json
}

# ---------------------------------------------------------------------------- speed

ztsim_runs_a_script_at_another_speed()
{
    printf '1000 power 3\n+1000 propagation 3\n' >"$scratch/script"
    expect_eq "$("$ztsim" --speed 1000 --script "$scratch/script" -- python3 -c '
import os, subprocess, time
ticks = int(open("/proc/1/stat").read().rsplit(")", 1)[1].split()[19])
start = ticks / os.sysconf("SC_CLK_TCK")
for what, least in ("power", 1), ("propagation", 2):
    while subprocess.check_output(["ztsim", "ctl", what]) != b"3\n":
        pass
    print(time.clock_gettime(time.CLOCK_BOOTTIME) - start >= least)')" $'True\nTrue'
    expect_failure 125 '--speed: "-1" is not in 0..1000; see ztsim --help' "$ztsim" --speed -1 -- true
}

ztsim_runs_a_script_as_fast_as_the_program_hears_it()
{
    printf '0 power 1\n10 power 2\n+20 power 3\n+0 power 4\n5000 power 5\n' >"$scratch/script"
    expect_eq "$("$ztsim" --speed 0 --script "$scratch/script" -- python3 -c '
import socket, struct, subprocess, time
def state():
    return int(subprocess.check_output(["ztsim", "ctl", "power"]))
print(state())
daemon = socket.socket(socket.AF_UNIX)
daemon.settimeout(60)
daemon.connect("/var/run/ztpmd_api")
for expected in 2, 3, 4, 5:
    while state() != expected:
        pass
    print(state(), struct.unpack_from("=III", daemon.recv(48))[2])')" $'1\n2 2\n3 3\n4 4\n5 5'
}

ztsim_waits_for_records_at_each_speed()
{
    printf '0 power 1\nawait timeout 2\npower 2\n+3600 power 3\nawait power 5 --wait 60\n7200 propagation 9\n' \
        >"$scratch/script"
    expect_eq "$("$ztsim" --speed 0 --script "$scratch/script" -- bash -c '
        until_is() { until [ "$(ztsim ctl $1)" = $2 ]; do :; done; }
        python3 "$0/power.py" "8?" >/dev/null; ztsim ctl power # no record that is waited for
        python3 "$0/power.py" 0,2 "8?" >/dev/null; until_is power 3
        ztsim ctl propagation; python3 "$0/power.py" 9,5 "8?" >/dev/null; until_is propagation 9
        ztsim ctl power' "$here")" $'1\n0\n5'
    printf '0 await power 5 --wait 0.05\n+0 power 2\n' >"$scratch/script"
    expect_eq "$("$ztsim" --speed 0 --script "$scratch/script" -- bash -c '
        until [ -s "'"$scratch/err"'" ]; do :; done; python3 "$0/power.py" 9,5 "8?" >/dev/null; ztsim ctl power' \
        "$here" 2>"$scratch/err")" 5
    expect_like "$(cat "$scratch/err")" 'ztsim: script: *no client has said "power 5" in time: this script ends here'
}

# ---------------------------------------------------------------------------- faults

ztsim_disturbs_records_of_a_kind()
{
    local daemon=power expected=$'10\n99\n10\n99\n99\n10\n10'
    expect_eq "$("$ztsim" --power-fault "unknown-type@timeout 2" -- \
        python3 "$here/power.py" '8?' '0,2?' '0,3?' '1,2,9?' '0,2?' '8?' '0,2?' 2>&1 | head -n 3)" $'10\n99\n2'
    expect_eq "$("$ztsim" --health-fault unknown-type@health -- python3 "$here/health.py" 12 20)" \
        "$(answer 99 ""; answer 99 "")"
    expect_eq "$("$ztsim" -- bash -c '
        ztsim ctl power-fault unknown-type@timeout 2; python3 "$0/power.py" "0,2?" "0,3?" "0,2?"
        ztsim ctl power-fault none; python3 "$0/power.py" "0,2?"
        ztsim ctl power-fault unknown-type@6; python3 "$0/power.py" "8?" "8?" "8?"' "$here")" \
        $'99\n2\n99\n2\n10\n99\n10'
    printf '0 power-fault unknown-type@power .\n' >"$scratch/script"
    expect_eq "$("$ztsim" --script "$scratch/script" -- python3 "$here/power.py" '8?' '9,5?' '8?')" $'99\n11\n99'
}

# disturbed OPTION...: how many of 1000 records are, and which
disturbed()
{
    "$ztsim" "$@" -- python3 "$here/power.py" $(printf '8? %.0s' {1..1000}) | grep -n 99
}

ztsim_disturbs_records_by_chance()
{
    local some same other
    some=$(disturbed --power-fault unknown-type@10%)
    same=$(disturbed --power-fault unknown-type@10% --seed 1)
    other=$(disturbed --power-fault unknown-type@10% --seed 2)
    expect_eq "$some" "$same"
    [ "$some" != "$other" ] || fail "the same for each seed"
    expect_exit 0 test "$(wc -l <<<"$some")" -gt 50 -a "$(wc -l <<<"$some")" -lt 150
    expect_eq "$(disturbed --power-fault unknown-type@100% | wc -l)" 1000
    expect_eq "$(disturbed --power-fault unknown-type@0% | wc -l)" 0
    expect_eq "$("$ztsim" --power-fault silence@2 --power-fault unknown-type@100% -- \
        python3 "$here/power.py" '8?' 12 '8?')" $'99\n99'
}

ztsim_ctl_slows_a_daemon_down()
{
    expect_eq "$("$ztsim" -- bash -c '
        took() { python3 -c "
import subprocess, sys, time
start = time.monotonic()
subprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL)
print(time.monotonic() - start >= 0.6)" python3 "$@"; }
        ztsim ctl slow 300ms power
        took "$0/power.py" "8?" "8?"
        ztsim ctl slow 0s; ztsim ctl slow 0.6s health
        took "$0/health.py" 12; ztsim ctl show | grep slow; ztsim ctl slow 0ms
        ztsim ctl show | grep slow' "$here")" $'True\nTrue\npower slow 0ms\nhealth slow 600ms\npower slow 0ms\nhealth slow 0ms'
}

ztsim_ctl_makes_a_daemon_deaf()
{
    expect_eq "$("$ztsim" -- python3 -c '
import socket, struct, subprocess
def ctl(*words):
    return subprocess.check_output(["ztsim", "ctl", *words], text=True).strip()
def client():
    daemon = socket.socket(socket.AF_UNIX)
    daemon.settimeout(60)
    daemon.connect("/var/run/ztpmd_api")
    return daemon
question = struct.pack("=I44x", 8)
before, deaf = client(), None
before.sendall(question); before.recv(48)
ctl("deaf", "on", "power")
deaf = client()
for one in before, deaf:
    one.sendall(question * 3)
    one.setblocking(False)
    try:
        while one.send(question * 1000): pass
    except BlockingIOError:
        print("full")
    one.settimeout(60)
print(ctl("power"), ctl("count"))
ctl("power", "3")
print(deaf.recv(48)[0], before.recv(48)[0])
ctl("deaf", "off")
print(deaf.recv(48)[0], before.recv(48)[0])')" $'full\nfull\n0 1\n11 11\n10 10'
}

ztsim_outlives_a_hang_up_while_it_is_deaf_or_slow()
{
    local how
    for how in "deaf on" "slow 300ms"; do
        expect_eq "$("$ztsim" --power-away 0 -- bash -c '
            ztsim ctl '"$how"' power
            python3 "$0/power.py" "8?" >/dev/null 2>&1 & waiter=$! # on a slow machine it is answered before
            until ztsim ctl show | grep -q "power clients 1" || ! kill -0 $waiter; do :; done
            ztsim ctl hang-up power; wait $waiter
            ztsim ctl deaf off; ztsim ctl slow 0ms; ztsim ctl show | grep "power clients"
            until python3 "$0/power.py" "8?" 2>/dev/null; do :; done' "$here")" $'power clients 0\n10'
    done
}

# ---------------------------------------------------------------------------- the protocol

# speak HEX...: sends the bytes, on a connection each, and says what is answered.
speak='
import re, socket, sys
name = re.search("@(ztsim/.*)", open("/proc/net/unix").read()).group(1)
for text in sys.argv[1:]:
    device = socket.socket(socket.AF_UNIX)
    device.settimeout(60)
    device.connect("\0" + name)
    device.sendall(text.encode().decode("unicode_escape").encode("latin-1"))
    device.shutdown(socket.SHUT_WR)
    answer = b""
    while data := device.recv(65536):
        answer += data
    print(answer)
'

ztsim_speaks_version_1_of_its_protocol()
{
    expect_eq "$("$ztsim" -- python3 -c "$speak" '1\0power\0' '1\0power\0005\0' '1\0power' '1\0power\0007\0' \
        '1\0await\0power\0--wait\0000\0' '1\0records\0')" \
        "b'00\\x00'
b'0'
b'05\\x00'
b'1power: STATE: \"7\" is not in 0..6\\x00'
b'3no client has said \"power\" in time\\x00'
b'0'"
    expect_eq "$("$ztsim" -- python3 -c "$speak" '2\0power\0' 'power\0' '\0' '1' '')" \
        "b'1this device speaks version 1 of the protocol, and not \"2\"\\x00'
b'1this device speaks version 1 of the protocol, and not \"power\"\\x00'
b'1this device speaks version 1 of the protocol, and not \"\"\\x00'
b'1there is no command \"\", but power, timeout, propagation, device, health, hang-up, power-fault, health-fault, slow, deaf, await, count, records, show and watch\\x00'
b''"
}

$2
[ $failures -eq 0 ]
