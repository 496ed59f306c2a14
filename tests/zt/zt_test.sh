#!/bin/bash
# zt_test.sh ZTSIM ZT TEST: what zt prints, says and ends with. Each function whose name begins with
# "zt_" is a test; "device" runs a shell script on a simulated device, in which zt is on the PATH.

ztsim=$1
here=$(dirname "$(readlink -f "$0")")
. "$here/../support/claims.sh"
PATH=$(dirname "$2"):$PATH

# device [OPTION...] SCRIPT: runs the script there. In it "try" runs a command with all that it says on
# stdout, and its exit code as a line behind that; "stop" sends a signal to a process that waits, and awaits
# its end. (ThreadSanitizer keeps back a signal that comes just before a wait.)
device()
{
    "$ztsim" "${@:1:$#-1}" -- bash -c '
        try() { "$@" 2>&1; echo "= $?"; }
        stop() { until grep -q "^State:.S" /proc/${!#}/status; do :; done; kill "$@"; wait ${!#}; }
        '"${*: -1}"
}

# refuse MESSAGE ZT-ARGUMENTS...: one line on stderr, nothing on stdout, exit code 2
refuse()
{
    local message=$1
    shift
    zt "$@" >"$scratch/out" 2>"$scratch/err"
    local got=$?
    [ $got -eq 2 ] || fail "exit code $got: zt $*"
    [ -s "$scratch/out" ] && fail "stdout has \"$(cat "$scratch/out")\": zt $*"
    [ "$(wc -l <"$scratch/err")" -eq 1 ] || fail "stderr has not one line: $(cat "$scratch/err")"
    expect_like "$(cat "$scratch/err")" "zt: $message --help"
}

# listening VERB...: starts that in the background, as $listener, and waits until it listens
# peer VERB...: starts peer.py in the background, and waits until it is ready; "leave" lets the last one go
listening='
    listening() { : >errors; "$@" >heard 2>errors & listener=$!; until grep -q listening errors; do kill -0 $! || return; done; }
    peer() { exec {peers}> >(exec python3 '"$here/peer.py"' "$@" >'"$scratch/peer"'); until [ -s '"$scratch/peer"' ]; do :; done
        rm '"$scratch/peer"'; }
    leave() { exec {peers}>&-; }
    cd '"$scratch"

# ---------------------------------------------------------------------------- the command itself

zt_refuses_wrong_usage()
{
    refuse "A verb is required; see zt"
    refuse 'there is no verb "bogus"; see zt' bogus
    refuse "A verb is required; see zt power" power
    refuse "there is no option --bogus; see zt info" info --bogus
    refuse "there is one argument too many: c; see zt copy" copy a b c d
    local verb
    for verb in health net ipc socket; do
        refuse "A verb is required; see zt $verb" $verb
    done
}

zt_suggests_the_verb_that_was_meant()
{
    refuse 'there is no verb "stat" (did you mean zt power state[?]); see zt power' power stat
    refuse 'there is no verb "sate" (did you mean zt power state[?]); see zt power' power sate 3
    refuse 'there is no verb "prop" (did you mean zt power propagation[?]); see zt power' power prop
    refuse 'there is no verb "powr" (did you mean zt power[?]); see zt' powr state
    refuse 'there is no verb "network" (did you mean zt net[?]); see zt' network
    refuse 'there is no verb "watch" (did you mean zt power watch[?]); see zt' watch
    refuse 'there is no verb "x"; see zt' x
    refuse 'there is no verb ""; see zt' ""
    refuse 'there is no verb "help" (did you mean zt --help[?]); see zt' help
    refuse 'there is no verb "help" (did you mean zt power --help[?]); see zt power' help power
    refuse 'there is no verb "help" (did you mean zt power --help[?]); see zt power' power help
    refuse 'there is no verb "version" (did you mean zt --version[?]); see zt' version
}

zt_says_where_an_option_belongs()
{
    refuse '--wait stands behind the verb: zt power state --wait 1; see zt power state' --wait 1 power state
    refuse '--wait stands behind the verb: zt power state --wait 1; see zt power state' power --wait 1 state
    refuse '--json stands behind the verb: zt info --json; see zt info' --json info
    refuse 'a verb is required before --wait; see zt power' power --wait 1
    refuse 'a verb is required before --json; see zt' --json
    refuse 'there is no option --bogus; see zt power state' --bogus power state
    refuse '--wait: 1 required SECONDS missing; see zt power state' power state --wait
}

zt_refuses_what_is_no_number_of_an_option()
{
    local number verb
    for number in nan inf -inf -1 0 1e309 3600.1 "" x " 1" 0x1; do
        refuse "--wait: \"$number\" is not in 0.001..3600; see zt power state" power state --wait "$number"
    done
    for number in nan inf -1 0 1.5 1e3 4294967296 "" " 1" 0x1 -18446744073709551615; do
        for verb in "power watch" "ipc listen" "socket listen"; do
            refuse "--count: \"$number\" is not in 1..4294967295; see zt $verb" $verb --count "$number"
        done
    done
    for number in nan inf -1 1.5 4294967296 "" " 1" 0x1 -18446744073709551615; do
        refuse "--header1: \"$number\" is not in 0..4294967295; see zt ipc send" ipc send a b --header1 "$number"
        refuse "--header2: \"$number\" is not in 0..4294967295; see zt ipc send" ipc send a b --header2 "$number"
        refuse "VALUE: \"$number\" is not in 0..4294967295; see zt power timeout" power timeout 1 "$number"
        refuse "NUMBER: \"$number\" is not in 0..4294967295; see zt health set" health set value-32 "$number"
        refuse "--port: \"$number\" is not in 0..65535; see zt socket listen" socket listen --port "$number"
        refuse "--type: \"$number\" is not in 0..65535; see zt socket send" socket send --type "$number"
        refuse "BYTE: \"$number\" is not in 0..255; see zt eeprom" eeprom field-17 "$number"
        refuse "TIME: \"$number\" is not in 0..30; see zt power propagation" power propagation "$number"
    done
    for number in nan inf 1.5 2147483648 -2147483649 "" " 1" 0x1; do
        refuse "STATE: \"$number\" is not in -2147483648..2147483647; see zt power device" power device 0 "$number"
    done
    expect_eq "$(device 'zt power timeout 1 010; zt power timeout 1')" 10
}

zt_helps()
{
    local help verb
    help=$(zt --help) || fail "exit code $?"
    for verb in info power health eeprom net copy ipc socket run ps "Exit codes:" " 125 " " 130 "; do
        expect_like "$help" "*$verb*"
    done
    expect_eq "$(zt --version)" "zt $(released)"
    help=$(zt power device --help) || fail "exit code $?"
    expect_like "$help" "*[[]DEVICE] [[]STATE]*cam_output*--wait SECONDS*"
}

zt_takes_arguments_that_are_called_like_verbs()
{
    expect_eq "$(device 'cd '"$scratch"'; echo x >info; try zt ps copy; try zt run -- info; try zt run echo ps
        try zt copy info power | tail -n 2; try zt ipc send ipc net' 2>&1 | sed -E 's/^sh: .*: /sh: /')" \
        'copy does not run
= 1
sh: not found
= 127
ps
= 0
copied 1 file, 2 bytes
= 0
zt: cannot connect to ipc: result 14, not reachable
zt: try: see that a server listens there
= 4'
}

zt_fails_when_its_output_cannot_be_written()
{
    expect_like "$(device 'zt power state 2>&1 >/dev/full; echo "= $?"')" \
        $'zt: cannot write the output: No space left on device\nzt: try: *\n= 1'
    expect_like "$(zt --help 2>&1 >/dev/full; echo "= $?")" \
        $'zt: cannot write the output: No space left on device\nzt: try: *\n= 1'
    expect_eq "$(device 'mkfifo '"$scratch/fifo"'; exec 3<>'"$scratch/fifo"' 4>'"$scratch/fifo"' 3<&-
        zt power state >&4; echo $?' 2>/dev/null)" 141
}

zt_escapes_what_a_terminal_would_obey()
{
    local foreign=$'\e[31m\x7f\xc2\x9b\x9b\xff\xc3\xa4' shown='\x1b[31m\x7f\xc2\x9b\x9b\xff'$'\xc3\xa4'
    local like=${shown//\\/\\\\}
    like=${like/[/[[]}
    expect_eq "$(device --health-field part-number="$foreign" 'try zt eeprom part-number; try zt eeprom part-number --json')" \
        "$shown"$'\n= 0\n{"part-number":"\\u001b[31m\\u007f\\u009b\\ufffd\\ufffd\\u00e4"}\n= 0'
    expect_eq "$(device "$listening
        listening zt ipc listen server --count 1; zt ipc send server '$foreign' --from me
        wait \$!; cat heard
        listening zt socket listen --json --count 1; zt socket send '$foreign'
        wait \$!; sed 's/.*\"text\"/text/' heard" | sed 's/,"hex".*//')" \
        "me 0 0 $shown"$'\ntext:"\\u001b[31m\\u007f\\u009b\\ufffd\\ufffd\\u00e4"'
    refuse "DEVICE: there is no device \"$like\"; see zt power device" power device "$foreign"
    refuse "there is no verb \"$like\"; see zt" "$foreign"
    refuse "there is no verb \"a\\\\x0ab\"; see zt" $'a\nb'
    expect_like "$(device "cd $scratch; try zt copy '$foreign' target")" "zt: cannot copy \"$like\" to \"target\": *"
}

# Nothing of the device is there.
off_device=(--no-power-daemon --no-health-daemon --eeprom absent --no-eth0)

zt_says_that_a_simulated_device_would_help()
{
    local verb
    for verb in info "power state 2" "power watch --json" "health get" "health set value-20 1" eeprom \
        "eeprom field-17 1" "net show" "net set --address 192.168.135.9 --netmask 255.255.255.0 --gateway 192.168.135.1"; do
        expect_eq "$verb: $(device "${off_device[@]}" "zt $verb 2>&1 >/dev/null | tail -n 1")" \
            "$verb: zt: or try: ztsim -- zt $verb"
    done
    mkdir "$scratch/bin"
    cp "$(command -v zt)" "$scratch/bin"
    ln -s "$(dirname "$(command -v zt)")/../lib" "$scratch/lib"
    touch "$scratch/bin/ztsim"
    expect_eq "$(device "${off_device[@]}" "zt power device touch -1 2>&1 | tail -n 1
        $scratch/bin/zt info --json 2>&1 | tail -n 1")" \
        $'zt: or try: ztsim -- zt power device touch -1\n'"zt: or try: $scratch/bin/ztsim -- zt info --json"
    # What would fail there, too, and on the device.
    expect_eq "$(device "${off_device[@]}" "$listening"'
        for verb in "eeprom customer-part-number" "ipc send server a" "socket send" "copy a b"; do zt $verb 2>&1; done |
            grep ztsim')" ""
    local option
    for option in --no-power-daemon --no-health-daemon --no-eth0; do
        expect_eq "$(device $option 'for verb in info "power state" "health get" eeprom "net show"; do zt $verb 2>&1; done |
            grep ztsim')" ""
    done
}

zt_says_which_command_is_missing()
{
    local zt
    zt=$(command -v zt)
    [ -z "$(command -v qemu-arm)" ] || ln -s "$(command -v qemu-arm)" "$scratch" # zt itself may need it
    expect_eq "$(device "export PATH=$scratch; try $zt ps sh; try $zt net show
        try $zt net set --address 192.168.135.9 --netmask 255.255.255.0 --gateway 192.168.135.1")" \
        'zt: there is no killall on the PATH
zt: try: the package psmisc, or a PATH with /usr/sbin and /sbin
= 1
zt: there is no route on the PATH
zt: try: the package net-tools, or a PATH with /usr/sbin and /sbin
= 1
zt: there is no ifconfig on the PATH
zt: try: the package net-tools, or a PATH with /usr/sbin and /sbin
= 1'
    expect_like "$(device "PATH=$scratch; try $zt info")" \
        $'*address          -\n*zt: there is no route on the PATH\n*\n= 1'
}

zt_shows_the_lines_of_the_library_if_told_to()
{
    local output
    output=$(device --no-power-daemon 'ZT_DEBUG_LEVEL=1 zt eeprom customer-part-number 2>&1 >/dev/null')
    expect_like "$output" "Customer Part Number read failed*zt: cannot read customer-part-number*"
}

# ---------------------------------------------------------------------------- info

zt_info_shows_the_device()
{
    local output
    output=$(device --health-field product-type=7 --health-field product-variant=2 \
        --health-field serial-number=AB-1 --health-field part-number=PN-4 'try zt info' |
        sed -E '/ram/s/[0-9]+$/N/')
    expect_eq "$output" "version          BSP $(uname -r)
total-ram-mib    N
free-ram-mib     N
product-type     7
product-variant  2
serial-number    AB-1
part-number      PN-4
address          192.168.135.6
netmask          255.255.255.0
gateway          192.168.135.1
= 0"
    output=$(device --health-field serial-number=AB-1 'zt info --json' |
        python3 -c 'import json, sys; print(*sorted(json.load(sys.stdin).items()))')
    expect_like "$output" "('address', '192.168.135.6') ('free-ram-mib', *('serial-number', 'AB-1')*"
}

zt_info_says_what_it_cannot_read()
{
    local output
    output=$(device --no-health-daemon --no-eth0 'try zt info' | tail -n 12)
    expect_eq "$output" 'product-type     -
product-variant  -
serial-number    -
part-number      -
address          -
netmask          -
gateway          -
zt: there is no network interface eth0
zt: try: see the names that ifconfig -a lists
zt: cannot read product-type: result 14, not reachable
zt: try: see that the health-monitor daemon runs; it listens on /var/run/zthmd_api
= 4'
    expect_like "$(device --no-eth0 'try zt info')" $'*zt: there is no network interface eth0\n*\n= 1'
    expect_like "$(device --no-health-daemon 'try zt info')" $'*zt: cannot read product-type: result 14, *\n*\n= 4'
    expect_like "$(device --no-health-daemon 'zt info --json' 2>/dev/null)" \
        '*"serial-number":null,"part-number":null,"address":"192.168.135.6"*'
    refuse "*; see zt info" info more
}

# ---------------------------------------------------------------------------- power

zt_power_state_gets_and_sets()
{
    expect_eq "$(device --power-state 4 'try zt power state; try zt power state --json
        try zt power state 5; try zt power state; try zt power state 3; try zt power state --json
        try zt power state 6')" \
        $'silent-on\n= 0\n{"state":4}\n= 0\n= 0\n5\n= 0\n= 0\n{"state":3}\n= 0\n= 0'
}

zt_power_state_refuses_what_is_no_state()
{
    refuse 'STATE: there is no power state "7"; see zt power state' power state 7
    refuse 'STATE: there is no power state "on"; see zt power state' power state on
    refuse 'STATE: silent-on can be reported, but not be asked for; see zt power state' \
        power state silent-on
    refuse '*more; see zt power state' power state 1 more
}

zt_power_timeout_gets_and_sets()
{
    expect_eq "$(device --power-timeout 1=5 --power-timeout 4=4294967295 \
        'try zt power timeout; try zt power timeout --json; try zt power timeout 1
        try zt power timeout 2 77; try zt power timeout 2 --json; try zt power timeout silent-on')" \
        $'1          5\n2          0\nsilent-on  4294967295\n= 0
{"1":5,"2":0,"silent-on":4294967295}\n= 0\n5\n= 0\n= 0\n{"2":77}\n= 0\n4294967295\n= 0'
    refuse 'STATE: only 1, 2 and silent-on have a time-out; see zt power timeout' power timeout 3
}

zt_power_propagation_gets_and_sets()
{
    expect_eq "$(device --propagation-time 9 'try zt power propagation; try zt power propagation 30
        try zt power propagation --json')" $'9\n= 0\n= 0\n{"propagation":30}\n= 0'
    refuse 'TIME: "31" is not in 0..30; see zt power propagation' power propagation 31
}

zt_power_device_gets_and_sets()
{
    expect_eq "$(device --device touch=7 --device rs232=-2 'try zt power device touch
        try zt power device console --json; try zt power device 8; try zt power device touch -1
        try zt power device touch; try zt power device encoder_bl 1')" \
        $'7\n= 0\n{"console":-2}\n= 0\n7\n= 0\n= 0\n-1\n= 0\n= 0'
    expect_eq "$(device --device status_led2=3 'zt power device' | sed -n '1p;$p')" \
        $'display      0\nstatus_led2  3'
    expect_like "$(device 'zt power device --json')" '{"display":0,"display_bl":0,*"status_led2":0}'
    refuse 'DEVICE: there is no device "toaster"; see zt power device' power device toaster
    refuse 'DEVICE: there is no device "21"; see zt power device' power device 21
    refuse 'DEVICE: encoder_bl can be set, but is never reported; see zt power device' \
        power device encoder_bl
}

zt_power_says_that_there_is_no_daemon()
{
    local verb
    for verb in state "state 2" timeout "timeout 1 2" propagation "device touch" watch; do
        expect_eq "$(device --no-power-daemon "try zt power $verb")" \
            'zt: cannot reach the power-management daemon: result 14, not reachable
zt: try: see that the power-management daemon runs; it listens on /var/run/ztpmd_api
= 4'
    done
}

zt_power_says_that_no_answer_came()
{
    local fault
    for fault in silence short-record unknown-type hang-up; do
        expect_eq "$(device --power-fault $fault@1 'try zt power state --wait 0.3')" \
            'zt: cannot get the power state: result 17, the time is up: the power-management daemon has not answered within 0.3 s
zt: try: see that the daemon is well, or give it longer with --wait SECONDS
= 3'
    done
    expect_eq "$(device --no-power-daemon "$listening"'
        peer full /var/run/ztpmd_api; try zt power state --wait 0.3')" \
        'zt: cannot reach the power-management daemon: result 14, not reachable: the time is up: it has not accepted within 0.3 s
zt: try: see that the daemon is well, or give it longer with --wait SECONDS
= 3'
    expect_like "$(device --power-fault silence@1 --power-fault silence@2 'try zt power state 2 --wait 0.1')" \
        $'zt: cannot set the power state 2: result 17, *\n= 3'
}

zt_power_says_that_the_daemon_has_not_heeded()
{
    expect_eq "$(device --power-state 1 --power-fault silence@1 'try zt power state 2')" \
        'zt: cannot set the power state 2: the daemon reports 1 instead
zt: try: see whether it takes such a change later, or give it longer with --wait
= 1'
}

zt_power_watch_says_when_it_listens()
{
    expect_eq "$(device "$listening
        listening zt power watch --json --count 1
        zt power state 2; wait \$!; echo = \$?; cat errors heard" | sed -E 's/"time":[0-9]+/"time":N/')" \
        '= 0
zt: listening to the power-management daemon
{"event":"new-state","time":N,"state":2}'
}

zt_power_watch_prints_each_event()
{
    expect_eq "$(device "$listening"'
        listening zt power watch
        zt power timeout silent-on 8; zt power device touch -3; zt power propagation 4
        zt power state 2; until grep -q 2 heard; do :; done
        stop $!; echo "= $?"; cat heard')" \
        $'= 0\ntimeout silent-on 8\ndevice touch -3\nnew-propagation 4\nnew-state 2'
}

zt_power_watch_prints_json()
{
    expect_eq "$(device "$listening"'
        listening zt power watch --json
        zt power timeout 1 8; zt power device touch -3; zt power propagation 4
        until grep -q new-propagation heard; do :; done
        stop -HUP $!; echo "= $?"; cat heard' | sed -E 's/"time":[0-9]+/"time":N/')" \
        '= 0
{"event":"timeout","time":N,"state":1,"value":8}
{"event":"device","time":N,"device":"touch","state":-3}
{"event":"new-propagation","time":N,"state":2,"value":4}'
}

zt_power_watch_prints_the_local_time()
{
    expect_eq "$(TZ=XYZ-5:30 device "$listening"'
        before=$(date "+%F %T.%3N")
        listening zt power watch --time --count 2
        zt power watch --time --json --count 2 >json 2>err & until [ -s err ]; do :; done
        zt power state 5; zt power state 3
        wait; after=$(date "+%F %T.%3N")
        { echo "$before"; sed -n "s/ new-state.*//p" heard; echo "$after"; } | sort -c && cut -d " " -f 3- heard
        { echo "$before"; sed -n "s/.*wall-clock\":\"\([^\"]*\)\"}/\1/p" json; echo "$after"; } | sort -c && wc -l <json')" \
        $'new-state 5\nnew-state 3\n2'
}

zt_power_watch_ends_during_half_a_record()
{
    expect_eq "$(device --no-power-daemon 'mkfifo '"$scratch/ready"'
        python3 -c "
import socket
server = socket.socket(socket.AF_UNIX)
server.bind(\"/var/run/ztpmd_api\")
server.listen()
open(\"'"$scratch/ready"'\", \"w\").close()
client, _ = server.accept()
client.send(bytes(20))
open(\"'"$scratch/ready"'\", \"w\").close()
client.recv(1)" & : <'"$scratch/ready"'
        zt power watch >/dev/null 2>&1 & : <'"$scratch/ready"'
        while kill $! 2>/dev/null; do sleep 0.1; done
        wait $!; [ $? -eq 0 -o $? -eq 143 ] || echo "exit code $?"')" ""
}

# ---------------------------------------------------------------------------- health

zt_health_gets_and_sets()
{
    expect_eq "$(device --health-field value-26=200 --health-field value-32=4294967295 \
        'try zt health get; try zt health get --json; try zt health get value-26
        try zt health set value-29 255; try zt health get value-29 --json
        try zt health set value-32 70000; try zt health get value-32')" \
        $'value-20  0\nvalue-26  200\nvalue-29  0\nvalue-32  4294967295\n= 0
{"value-20":0,"value-26":200,"value-29":0,"value-32":4294967295}\n= 0\n200\n= 0
= 0\n{"value-29":255}\n= 0\n= 0\n70000\n= 0'
}

zt_health_refuses_wrong_usage()
{
    refuse 'NAME: there is no value "value-21"; see zt health get' health get value-21
    refuse 'NAME: there is no value "x"; see zt health set' health set x 1
    refuse 'NAME is required; see zt health set' health set
    refuse 'NUMBER is required; see zt health set' health set value-20
    refuse 'NUMBER: 256 is not in 0..255; see zt health set' health set value-20 256
}

zt_health_says_what_failed()
{
    expect_eq "$(device --no-health-daemon 'try zt health get value-20')" \
        'zt: cannot get value-20: result 14, not reachable
zt: try: see that the health-monitor daemon runs; it listens on /var/run/zthmd_api
= 4'
    expect_eq "$(device --health-fault silence@1 'try zt health set value-20 1 --wait 1')" \
        'zt: cannot set value-20: result 8, it could not be received: the time is up: the health-monitor daemon has not answered within 1 s
zt: try: see that the daemon is well, or give it longer with --wait SECONDS
= 3'
    expect_like "$(device --health-fault unknown-type@1 'try zt health get')" \
        $'zt: cannot get value-20: result 1, the exchange with the other side failed\n*\n= 1'
    expect_like "$(device --health-fault hang-up@1 'try zt health get value-32')" \
        $'zt: cannot get value-32: result 1, the exchange with the other side failed\n*\n= 1'
}

# ---------------------------------------------------------------------------- eeprom

zt_eeprom_reads_the_identity()
{
    local fields=(--health-field product-type=7 --health-field "serial-number=A 1"
        --health-field field-25=4294967295 --health-field $'part-number=a\tb\\c')
    expect_eq "$(device "${fields[@]}" 'try zt eeprom')" 'field-0          0
product-type     7
product-variant  0
field-6          0
field-8
part-number      a\x09b\\c
serial-number    A 1
field-16         0
field-19         0
field-21         0
field-23         0
field-25         4294967295
= 0'
    expect_eq "$(device "${fields[@]}" 'try zt eeprom serial-number; try zt eeprom part-number --json
        try zt eeprom product-type; try zt eeprom field-25 --json')" \
        $'A 1\n= 0\n{"part-number":"a\\tb\\\\c"}\n= 0\n7\n= 0\n{"field-25":4294967295}\n= 0'
    expect_like "$(device "${fields[@]}" 'zt eeprom --json')" \
        '{"field-0":0,"product-type":7,*"serial-number":"A 1",*}'
    expect_eq "$(device --health-field $'field-8=\xff' 'zt eeprom field-8 --json')" '{"field-8":"\ufffd"}'
}

zt_eeprom_writes_one_field()
{
    local output
    output=$("$ztsim" -v -- zt eeprom field-17 255 2>&1) || fail "exit code $?"
    expect_like "$output" "*<- health field-17 255*"
    refuse 'NAME: field-17 can only be written; see zt eeprom' eeprom field-17
    refuse 'NAME: product-type is read-only (field-17 is not); see zt eeprom' eeprom product-type 1
    refuse 'NAME: serial-number is read-only (field-17 is not); see zt eeprom' eeprom serial-number XX
    refuse 'NAME: there is no field "x"; see zt eeprom' eeprom x
    refuse 'BYTE: "256" is not in 0..255; see zt eeprom' eeprom field-17 256
}

zt_eeprom_says_what_failed()
{
    expect_eq "$(device 'try zt eeprom customer-part-number')" \
        'zt: cannot read customer-part-number: result 11, not supported
zt: try: take another field: the health-monitor daemon does not have this one
= 1'
    local arguments
    for arguments in serial-number "field-17 1"; do
        expect_eq "$(device --no-health-daemon "try zt eeprom $arguments" | sed 's/zt: cannot [a-z]* [a-z0-9-]*: //')" \
            'result 14, not reachable
zt: try: see that the health-monitor daemon runs; it listens on /var/run/zthmd_api
= 4'
    done
    expect_like "$(device --health-fault silence@1 'try zt eeprom --wait 0.2')" \
        $'zt: cannot read field-0: result 1, *: the time is up: the health-monitor daemon has not answered within 0.2 s\n*\n= 3'
    # One that is there, and resets the connection.
    expect_eq "$(device --no-health-daemon 'coproc python3 -c "
import socket
daemon = socket.socket(socket.AF_UNIX)
daemon.bind(\"/var/run/zthmd_api\")
daemon.listen()
print(\"ready\", flush=True)
client, _ = daemon.accept()
client.recv(1)
client.close()
daemon.accept()"; read -r line <&${COPROC[0]}
        try zt eeprom serial-number')" \
        'zt: cannot read serial-number: result 1, the exchange with the other side failed
zt: try: see that the health-monitor daemon runs; it listens on /var/run/zthmd_api
= 1'
}

# ---------------------------------------------------------------------------- net

zt_net_shows_and_sets()
{
    expect_eq "$(device 'try zt net show; try zt net set --address 192.168.135.9
        try zt net show --json; try zt net set --netmask 255.255.0.0 --gateway 192.168.1.1
        try zt net show --interface eth0')" \
        'address  192.168.135.6
netmask  255.255.255.0
gateway  192.168.135.1
= 0
= 0
{"address":"192.168.135.9","netmask":"255.255.255.0","gateway":"192.168.135.1"}
= 0
= 0
address  192.168.135.9
netmask  255.255.0.0
gateway  192.168.1.1
= 0'
}

zt_net_refuses_wrong_usage()
{
    refuse '*--address,--netmask,--gateway*required; see zt net set' net set
    refuse '--address: "1.2.3" is not four numbers with dots between them; see zt net set' \
        net set --address 1.2.3
    refuse '--gateway: "1.2.3.4;true" is not *; see zt net set' net set --gateway '1.2.3.4;true'
    refuse '--interface: *wlan0*; see zt net show' net show --interface wlan0
}

zt_net_says_what_failed()
{
    expect_eq "$(device --no-eth0 'try zt net show; try zt net set --address 192.168.135.9')" \
        'zt: there is no network interface eth0
zt: try: see the names that ifconfig -a lists
= 1
zt: there is no network interface eth0
zt: try: see the names that ifconfig -a lists
= 1'
    expect_like "$(device 'ifconfig eth0 0.0.0.0; try zt net show')" \
        $'zt: cannot read the settings of eth0: result 5, it could not be read\nzt: try: *\n= 1'
    expect_eq "$(device 'try zt net set --gateway 10.0.0.1; zt net show; try zt net set --address 192.168.135.9')" \
        'zt: cannot set eth0 to 192.168.135.6 netmask 255.255.255.0 gateway 10.0.0.1: SIOCADDRT: Network is unreachable
zt: try: see what zt net show says now, whether the gateway lies in the new network, and that you are root
= 1
address  192.168.135.6
netmask  255.255.255.0
gateway  -
zt: there is no gateway that could stay
zt: try: give one with --gateway
= 1'
}

# ---------------------------------------------------------------------------- run, ps

zt_run_ends_with_the_exit_code_of_the_command()
{
    expect_eq "$(device 'try zt run exit 7; try zt run echo "a  b"; try zt run echo -n x
        try zt run -- echo -n -- x
        try zt run "(echo one; echo two)" "|" tac; try zt run nonesuch 2>/dev/null | tail -n 1')" \
        $'= 7\na b\n= 0\nx= 0\n-- x= 0\ntwo\none\n= 0\n= 127'
    expect_eq "$(device 'try zt run "kill -9 \$\$"')" \
        'zt: "kill -9 $$" was ended by a signal, or could not be run: result -1, the system refused it
zt: try: the command in a shell, to see what becomes of it
= 125'
    refuse "COMMAND is required; see zt run" run
    refuse "COMMAND is required; see zt run" run --
}

zt_ps_says_what_runs()
{
    expect_eq "$(device 'try zt ps bash; try zt ps bash nonesuch; try zt ps nonesuch bash --json')" \
        $'bash runs\n= 0\nbash runs\nnonesuch does not run\n= 1\n{"nonesuch":false,"bash":true}\n= 1'
    refuse "NAME is required; see zt ps" ps
    refuse 'NAME: "$(reboot)" is no name of a program; see zt ps' ps '$(reboot)'
    refuse 'NAME: "" is no name of a program; see zt ps' ps ""
}

# ---------------------------------------------------------------------------- copy

# A folder of five files and a subfolder, and an empty one.
make_folders()
{
    mkdir "$scratch/source" "$scratch/source/sub" "$scratch/target"
    local name
    for name in a b c d "e e"; do
        head -c 2000 /dev/urandom >"$scratch/source/$name"
    done
    cp -r "$scratch/source" "$scratch/expected"
}

zt_copy_copies_a_folder()
{
    make_folders
    local output
    output=$(device "cd $scratch; try zt copy source target") || fail "exit code $?"
    expect_like "$output" $'* %\n*100 %\ncopied 5 files, 10000 bytes\nzt: left out, for they are no regular files: 1\n= 0'
    expect_eq "$(grep -vxE '([1-9]|10)0 %' <<<"$output" | wc -l)" 3
    rmdir "$scratch/expected/sub"
    expect_eq "$(diff -r "$scratch/expected" "$scratch/target")" ""
}

zt_copy_copies_a_file()
{
    make_folders
    expect_like "$(device "cd $scratch; try zt copy source/a b")" $'*100 %\ncopied 1 file, 2000 bytes\n= 0'
    cmp "$scratch/source/a" "$scratch/b" || fail "b is another"
    expect_like "$(device "cd $scratch; try zt copy 'source/e e' target")" $'*copied 1 file, 2000 bytes\n= 0'
    cmp "$scratch/source/e e" "$scratch/target/e e" || fail "target/e e is another"
}

zt_copy_moves()
{
    make_folders
    expect_like "$(device "cd $scratch; try zt copy --move source/a b; try zt copy source target --move")" \
        $'*moved 1 file, 2000 bytes\n= 0\n*moved 4 files, 8000 bytes\n*\n= 0'
    expect_eq "$(ls "$scratch/source")" sub
    cmp "$scratch/expected/a" "$scratch/b" || fail "b is another"
    expect_eq "$(ls "$scratch/target")" $'b\nc\nd\ne e'
}

zt_copy_keeps_what_would_be_lost()
{
    make_folders
    ln "$scratch/source/a" "$scratch/target/a"
    expect_eq "$(device "cd $scratch; try zt copy --move source/b source/b; try zt copy --move source target
        rm target/a; head -c 2001 /dev/zero >target/d; try zt copy source target")" \
        'zt: "source/b" is the source itself
zt: try: give another target
= 1
zt: "target/a" is the source itself
zt: try: give another target
= 1
zt: "target/d" is longer than its source and would keep its end
zt: try: remove it first
= 1'
    expect_eq "$(diff -r "$scratch/expected" "$scratch/source")" ""
}

zt_copy_says_what_failed()
{
    make_folders
    expect_eq "$(device "cd $scratch; try zt copy nonesuch b; try zt copy source nonesuch
        try zt copy source/sub target; try zt copy source/a nonesuch/b")" \
        'zt: cannot copy "nonesuch" to "b": result 16, a file could not be opened or written
zt: try: see that SOURCE is there and may be read
= 1
zt: cannot copy "source" to "nonesuch": result 41, it is no folder
zt: try: copy a folder into a folder that is there: mkdir TARGET
= 1
zt: cannot copy "source/sub": result 42, there is nothing to copy
zt: try: take a SOURCE with files that are not empty; subfolders are left out
= 1
zt: cannot copy "source/a": result 16, a file could not be opened or written
zt: try: see whether TARGET may be written and has room; the source is kept
= 1'
    expect_like "$(device "cd $scratch; mount -t tmpfs -o size=4k none target; try zt copy --move source target")" \
        $'*zt: cannot move "source": result 16, a file could not be opened or written\n*\n= 1'
    refuse "SOURCE is required; see zt copy" copy
    refuse "TARGET is required; see zt copy" copy a
    refuse "*c; see zt copy" copy a b c
}

# on_terminal SCRIPT COMMAND...: see terminal.py
on_terminal()
{
    python3 "$here/../ztsim/terminal.py" "$@"
}

# bars COLUMNS COMMAND...: what it draws on a terminal of so many, each state of the bar on a line
bars()
{
    TERM=xterm on_terminal "" "$ztsim" -- sh -c "stty cols $1; \"\$@\"" sh "${@:2}" | sed $'s/\e\\[K/\\n/g'
}

# The lengths of the bars, newline included.
lengths()
{
    grep -E '^ *[0-9]+ %' <<<"$1" | sed 's/./x/g' | sort -u | wc -c
}

zt_copy_draws_a_bar_on_a_terminal()
{
    make_folders
    local output
    output=$(bars 80 zt copy "$scratch/source" "$scratch/target")
    expect_like "$output" $'  0 % [[]> * ] ?:??\n*% [[]==*> * ] ?:??\n*100 % [[]==*==] ?:??\n\ncopied 5 files, 10000 bytes\n*'
    expect_eq "$(lengths "$output")" 78 # there is room for the "^C"
    output=$(bars 40 zt copy "$scratch/source/a" "$scratch/b")
    expect_like "$output" $'*100 % [[]==*==] ?:??\n\ncopied 1 file, 2000 bytes'
    expect_eq "$(lengths "$output")" 38
    output=$(bars 12 zt copy "$scratch/source/a" "$scratch/c")
    expect_like "$output" $'*100 %\n\ncopied 1 file, 2000 bytes'
    output=$(bars 0 zt copy "$scratch/source/a" "$scratch/d") # nobody knows how many
    expect_eq "$(lengths "$output")" 78
}

zt_copy_draws_nothing_on_a_dumb_terminal()
{
    make_folders
    local kind output
    for kind in TERM=dumb TERM= --unset=TERM; do
        output=$(on_terminal "" env $kind "$ztsim" -- zt copy "$scratch/source/a" "$scratch/b$kind")
        expect_eq "$(grep -vxE '[1-9]0 %' <<<"$output")" $'100 %\ncopied 1 file, 2000 bytes'
    done
}

# It takes 6 seconds.
make_long_folder()
{
    make_folders
    local name
    for name in {1..30}; do
        cp "$scratch/source/a" "$scratch/source/$name"
    done
}

zt_copy_stops_at_ctrl_c()
{
    make_long_folder
    local output
    output=$(TERM=xterm on_terminal $'expect %\ntype \\x03' "$ztsim" -- zt copy --move "$scratch/source" "$scratch/target")
    expect_eq $? 130
    expect_like "$output" *$'\e[K\nzt: stopping after the file that is being copied; Ctrl-C again ends at once
zt: stopped at * %\nzt: try: the same again, which begins anew with what is left in SOURCE'*
    [ -e "$scratch/source/sub" ] || fail "the source is gone"
    # Every file is whole, and in one of the two places.
    expect_eq "$(ls "$scratch/source" "$scratch/target" | grep -x '[a-d]\|e e' | sort)" $'a\nb\nc\nd\ne e'
    local name
    for name in a b c d "e e"; do
        cmp "$scratch/expected/$name" "$scratch/source/$name" 2>/dev/null ||
            cmp "$scratch/expected/$name" "$scratch/target/$name" || fail "$name is broken"
    done
}

zt_copy_stops_at_sigterm()
{
    make_long_folder
    expect_like "$(device "cd $scratch; zt copy source target >out 2>&1 & until grep -q % out; do :; done
        stop \$!; echo = \$?; tail -n 2 out")" $'= 143\nzt: stopped at * %\nzt: try: *'
}

# ---------------------------------------------------------------------------- ipc

zt_ipc_sends_and_listens()
{
    expect_eq "$(device "$listening
        listening zt ipc listen server --count 3
        try zt ipc send server one $'two\\n\\\\' --from me
        try zt ipc send server three --from /tmp/you --header1 7 --header2 4294967295
        wait \$!; echo = \$?; cat heard; ls -A")" \
        $'= 0\n= 0\n= 0\nme 0 0 one\nme 0 0 two\\x0a\\\\\n/tmp/you 7 4294967295 three\nerrors\nheard'
}

zt_ipc_listens_until_a_signal()
{
    expect_eq "$(device "$listening
        listening zt ipc listen server --json
        try zt ipc send server $'\\xff' --from me
        until [ -s heard ]; do :; done; stop \$!; echo = \$?; cat heard errors; ls -A")" \
        $'= 0\n= 0\n{"peer":"me","header1":0,"header2":0,"text":"\\ufffd","hex":"ff"}\nzt: listening on server\nerrors\nheard'
}

zt_ipc_listens_while_half_a_message_has_come()
{
    expect_eq "$(device "$listening
        listening zt ipc listen server --count 1
        peer half server 1; peer half server 8; peer half server 9; peer half server 12
        try zt ipc send server hello --from me
        wait \$listener; echo = \$?; cat heard")" $'= 0\n= 0\nme 0 0 hello'
    # Its peer leaves.
    expect_eq "$(device "$listening
        listening zt ipc listen server
        python3 $here/peer.py half server 12 </dev/null >/dev/null
        try zt ipc send server hello --from me
        until [ -s heard ]; do :; done; stop \$listener; echo = \$?; cat heard")" $'= 0\n= 0\nme 0 0 hello'
}

zt_ipc_puts_the_parts_of_a_message_together()
{
    expect_eq "$(device "$listening
        listening zt ipc listen server --count 1; peer split server; wait \$listener; echo = \$?; cat heard")" \
        $'= 0\nsplit 1 2 text'
}

zt_ipc_hears_all_that_one_has_sent_before_it_left()
{
    expect_eq "$(device "$listening
        listening zt ipc listen server --count 4
        kill -STOP \$!
        zt ipc send server one two three --from me; zt ipc send server four --from you
        kill -CONT \$!; wait \$!; echo = \$?; sort heard")" $'= 0\nme 0 0 one\nme 0 0 three\nme 0 0 two\nyou 0 0 four'
}

zt_ipc_listens_to_all_and_to_signals_while_one_floods()
{
    expect_eq "$(device "$listening"'
        : >errors >heard
        zt ipc listen server > >(grep --line-buffered "^me" >heard) 2>errors & listener=$!
        until grep -q listening errors; do :; done
        peer flood server; peer flood server
        try zt ipc send server hello --from me
        until [ -s heard ]; do :; done
        kill $listener; wait $listener; echo = $?; cat heard')" $'= 0\n= 0\nme 0 0 hello'
}

zt_ends_its_line_before_it_heeds_a_signal()
{
    expect_eq "$(device "$listening"'
        mkfifo pipe; exec {pipe}<>pipe
        : >errors; zt ipc listen server >pipe 2>errors & listener=$!
        until grep -q listening errors; do :; done
        peer flood server
        python3 -c "
import fcntl, struct, sys, termios
while struct.unpack(\"i\", fcntl.ioctl(int(sys.argv[1]), termios.FIONREAD, bytes(4)))[0] < 60000:
    pass" $pipe
        kill $listener
        cat <&$pipe >printed & reader=$!
        wait $listener; echo = $?; kill $reader; cat errors; grep -vc "^flood 1 2 x\{255\}\$" printed')" \
        $'= 0\nzt: listening on server\n0'
}

# Sanitizers need some descriptors themselves, and one of them does not bear that none is left.
few="ulimit -n 60"
use_up_descriptors()
{
    if grep -q __ubsan "$(dirname "$(command -v zt)")/../lib/libZTAPI_OS_ABS.so"; then
        echo "left out: UndefinedBehaviorSanitizer itself needs file descriptors"
        exit 77
    fi
}

zt_ipc_goes_on_after_a_crowd()
{
    use_up_descriptors
    expect_eq "$(device "$listening
        listening sh -c '$few; exec zt ipc listen server'
        peer crowd server
        until grep -q 'no more clients' errors; do :; done
        leave
        until zt ipc send server hello --from me; do :; done 2>/dev/null # as long as they are in its queue
        until [ -s heard ]; do :; done; stop \$listener; echo = \$?; cat heard; sort -u errors")" \
        $'= 0\nme 0 0 hello\nzt: listening on server\nzt: no more clients for now: Too many open files'
}

zt_ipc_turns_away_who_has_no_name()
{
    expect_eq "$(device "$listening
        listening sh -c '$few; exec zt ipc listen server --count 1'
        peer nameless server 200
        try zt ipc send server hello --from me
        wait \$listener; echo = \$?; cat heard errors")" \
        $'= 0\n= 0\nme 0 0 hello\nzt: listening on server'
}

zt_ipc_waits_for_an_answer()
{
    local server='
import socket
server = socket.socket(socket.AF_UNIX)
server.bind("server")
server.listen()
print("listening", flush=True)
client, name = server.accept()
client.send(client.recv(100).replace(b"hello", b"HELLO"))
client.recv(100)
client.recv(100)'
    echo "$server" >"$scratch/server.py"
    expect_eq "$(device "$listening
        listening sh -c 'exec python3 server.py >&2'
        try zt ipc send server hello again --answer --header1 3")" \
        'server 3 0 HELLO
zt: cannot receive an answer: result 17, the time is up
zt: try: see that the server answers, or give it longer with --wait SECONDS
= 3'
    expect_like "$(device "$listening
        rm server; listening sh -c 'exec python3 server.py >&2'
        zt ipc send server hello --answer --json")" \
        '{"peer":"server","header1":0,"header2":0,"text":"HELLO","hex":"48454c4c4f"}'
}

zt_ipc_says_what_failed()
{
    expect_eq "$(device "$listening
        touch server.txt mine
        try zt ipc listen server; try zt ipc listen nonesuch/server; try zt ipc send server hello
        try zt ipc send server hello --from mine
        rm server.txt; listening zt ipc listen server; try zt ipc listen server; kill \$!; ls mine")" \
        'zt: cannot listen: "./server.txt" begins with the same name and would be removed
zt: try: another PATH, or move that away
= 1
zt: cannot listen on nonesuch/server: result 3, it could not be set up
zt: try: see that the folder is there and may be written
= 1
zt: cannot connect to server: result 14, not reachable
zt: try: see that a server listens there
= 4
zt: mine is a file that would be replaced
zt: try: another name with --from
= 1
zt: cannot listen: a server listens on server already
zt: try: another PATH, or end that server
= 1
mine'
}

zt_ipc_refuses_wrong_usage()
{
    refuse 'PATH is required; see zt ipc listen' ipc listen
    refuse 'PATH: a path has letters, digits*; see zt ipc listen' ipc listen 'a;b'
    refuse 'PATH: a path has 1 to 107 characters; see zt ipc listen' ipc listen "$(printf 'a%.0s' {1..108})"
    refuse 'TEXT is required; see zt ipc send' ipc send server
    refuse 'TEXT: a text has 1 to 255 bytes; see zt ipc send' ipc send server ""
    refuse 'TEXT: a text has 1 to 255 bytes; see zt ipc send' ipc send server "$(printf 'a%.0s' {1..256})"
}

# ---------------------------------------------------------------------------- socket

zt_socket_sends_and_listens()
{
    expect_eq "$(device "$listening
        listening zt socket listen --count 4
        try zt socket send hello
        try zt socket send
        try zt socket send --type 65535 --flag --parameters 1,2,65535 $'a b\\n'
        try zt socket send \"\$(printf 'a%.0s' {1..5000})\"
        wait \$!; echo = \$?; sed -E 's/:[0-9]+ /:N /; s/a{5000}/5000/' heard; cat errors")" \
        $'= 0\n= 0\n= 0\n= 0\n= 0
127.0.0.1:N 200 false 0 0 0 hello
127.0.0.1:N 200 false 0 0 0
127.0.0.1:N 65535 true 1 2 65535 a b\\x0a
127.0.0.1:N 200 false 0 0 0 5000
zt: listening on 127.0.0.1:15000'
}

zt_socket_listens_until_a_signal()
{
    expect_eq "$(device "$listening
        listening zt socket listen --json --address 192.168.135.6 --port 16000
        try zt socket send --address 192.168.135.6 --port 16000 hi
        until [ -s heard ]; do :; done; stop -HUP \$!; echo = \$?; sed -E 's/:[0-9]+\"/:N\"/' heard")" \
        $'= 0\n= 0\n{"peer":"192.168.135.6:N","type":200,"flag":false,"parameters":[0,0,0],"text":"hi","hex":"6869"}'
}

zt_socket_listens_while_half_a_message_has_come()
{
    expect_eq "$(device "$listening
        listening zt socket listen
        peer half 15000 10; peer half 15000 20; peer half 15000 30
        try zt socket send hello
        until [ -s heard ]; do :; done; stop \$listener; echo = \$?; sed -E 's/:[0-9]+ /:N /' heard")" \
        $'= 0\n= 0\n127.0.0.1:N 200 false 0 0 0 hello'
}

zt_socket_listens_to_all_and_to_signals_while_one_floods()
{
    expect_eq "$(device "$listening"'
        : >errors >heard
        zt socket listen > >(grep --line-buffered hello >heard) 2>errors & listener=$!
        until grep -q listening errors; do :; done
        peer flood 15000; peer flood 15000
        try zt socket send hello
        until [ -s heard ]; do :; done
        kill $listener; wait $listener; echo = $?; sed -E "s/:[0-9]+ /:N /" heard')" \
        $'= 0\n= 0\n127.0.0.1:N 200 false 0 0 0 hello'
}

zt_socket_goes_on_after_a_crowd()
{
    use_up_descriptors
    expect_eq "$(device "$listening
        listening sh -c '$few; exec zt socket listen'
        peer crowd 15000
        until grep -q 'no more clients' errors; do :; done
        leave
        try zt socket send --wait 60 hello
        until [ -s heard ]; do :; done; stop \$listener; echo = \$?; sed -E 's/:[0-9]+ /:N /' heard; sort -u errors")" \
        $'= 0\n= 0\n127.0.0.1:N 200 false 0 0 0 hello
zt: listening on 127.0.0.1:15000\nzt: no more clients for now: Too many open files'
}

zt_socket_prints_the_answer()
{
    expect_eq "$(device "$listening"'
        peer answer 16000 "hello back"; try zt socket send --port 16000 --answer hello
        peer answer 16001 hi; try zt socket send --port 16001 --answer --json hello')" \
        $'127.0.0.1:16000 200 false 0 0 0 hello back\n= 0
{"peer":"127.0.0.1:16001","type":200,"flag":false,"parameters":[0,0,0],"text":"hi","hex":"6869"}\n= 0'
}

zt_socket_says_that_the_time_is_up()
{
    expect_eq "$(device "$listening"'
        peer quiet 16000; try zt socket send --port 16000 --answer --wait 0.3 hello
        peer full 16001; try zt socket send --port 16001 --wait 0.3
        echo 4096 4096 4096 >/proc/sys/net/ipv4/tcp_wmem
        peer quiet 16002; try zt socket send --port 16002 --wait 0.3 $(printf %065536d 0)')" \
        'zt: cannot receive an answer from 127.0.0.1:16000: the time is up: none has come within 0.3 s
zt: try: see that the server is well, or give it longer with --wait SECONDS
= 3
zt: cannot connect to 127.0.0.1:16001: the time is up: it has not accepted within 0.3 s
zt: try: see that the server is well, or give it longer with --wait SECONDS
= 3
zt: cannot send to 127.0.0.1:16002: the time is up: the server has not read all of it within 0.3 s
zt: try: see that the server is well, or give it longer with --wait SECONDS
= 3'
}

zt_socket_says_what_failed()
{
    expect_eq "$(device "$listening
        try zt socket send; try zt socket listen --address 10.1.2.3
        listening zt socket listen; try zt socket listen; kill \$listener
        peer close 16000; try zt socket send --port 16000 --answer")" \
        'zt: cannot connect to 127.0.0.1:15000: result -1, Connection refused
zt: try: see that a server listens there
= 4
zt: cannot listen on 10.1.2.3:15000: Cannot assign requested address
zt: try: see whether another program listens there, or take another --port
= 1
zt: cannot listen on 127.0.0.1:15000: Address already in use
zt: try: see whether another program listens there, or take another --port
= 1
zt: cannot receive an answer from 127.0.0.1:16000: result 14, it was closed
zt: try: see that the server answers, and still runs
= 1'
}

zt_socket_refuses_wrong_usage()
{
    refuse '--port: "65536" is not in 0..65535; see zt socket listen' socket listen --port 65536
    refuse '--address: *; see zt socket listen' socket listen --address localhost
    refuse '--type: "65536" is not in 0..65535; see zt socket send' socket send --type 65536
    local numbers
    for numbers in 1,2 1,2,65536 1,2,-1 1,2,3,4 1,2,x 1,2,nan 1,2,0x3 "1,2, 3" 1,2, ""; do
        refuse "--parameters: \"$numbers\" is not three numbers 0..65535; see zt socket send" \
            socket send --parameters "$numbers"
    done
    refuse 'TEXT: a text has up to 65536 bytes; see zt socket send' socket send "$(printf '%065537d' 0)"
}

# ---------------------------------------------------------------------------- what comes with it

# complete WORD...: what bash offers for the last of them
complete_words()
{
    bash -c '. "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _zt; echo "${COMPREPLY[*]}"' \
        "$here/../../tools/zt/zt.bash" "$@"
}

# ---------------------------------------------------------------------------- decode

# capture COMMAND: what the command says to the daemons is in the file $scratch/capture.
capture()
{
    "$ztsim" --capture "$scratch/capture" -- bash -c "$1" >/dev/null 2>&1
}

zt_decode_prints_what_was_captured()
{
    capture 'zt power state 2; zt eeprom serial-number'
    expect_eq "$(zt decode "$scratch/capture" | sed -E 's/^[0-9]+\.[0-9]{9} //')" 'power <- client 1: power 2
power -> client 1: new power state 2
power <- client 1: power
power -> client 1: power state 2
health <- client 1: health serial-number
health -> client 1: serial-number ""'
    expect_eq "$(zt decode --json "$scratch/capture" | sed -nE '1s/"(time":"|process":)[0-9.]+/"\1N/gp')" \
        '{"time":"N","server":"power","direction":"from-client","client":1,"process":N,"text":"power 2","bytes":"'"0900000000000000020$(printf '0%.0s' {1..77})"'"}'
}

zt_decode_draws_a_sequence_chart()
{
    capture 'exec zt power state 2'
    expect_eq "$(zt decode --mermaid "$scratch/capture")" 'sequenceDiagram
    participant p0 as power
    participant p1 as process 2
    p1->>p0: power 2
    p0->>p1: new power state 2
    p1->>p0: power
    p0->>p1: power state 2'
    expect_eq "$(zt decode --svg "$scratch/capture" | python3 -c '
import sys, xml.etree.ElementTree as tree
print([text.text for text in tree.parse(sys.stdin).iter("{http://www.w3.org/2000/svg}text") if text.get("class") != "when"])')" \
        "['power', 'process 2', 'power 2', 'new power state 2', 'power', 'power state 2']"
}

zt_decode_reads_what_was_recorded()
{
    device --record "$scratch/recorded" --power-fault silence@2 'zt power state 2; zt eeprom serial-number' >/dev/null 2>&1
    expect_eq "$(zt decode "$scratch/recorded" | sed -E 's/^[0-9]+\.[0-9]{9} //')" 'power <- clients: power 2
power <- clients: power: silence
health <- clients: health serial-number'
    expect_eq "$(zt decode --mermaid "$scratch/recorded")" 'sequenceDiagram
    participant p0 as power
    participant p1 as clients
    participant p2 as health
    p1->>p0: power 2
    p1->>p0: power: silence
    p1->>p2: health serial-number'
    printf '# What the clients said to the daemons\n1.5 power\n3.000000001 power 3\n' >"$scratch/script"
    expect_eq "$(zt decode "$scratch/script")" '0.000000000 power <- clients: power
1.500000001 power <- clients: power 3'
    expect_eq "$(zt decode --json "$scratch/script" | head -n 1)" \
        '{"time":"1.500000000","server":"power","direction":"from-client","client":0,"process":0,"text":"power","bytes":""}'
    local line
    for line in power "" 1 "1 " "-1 power" "nan power" "1e99 power" "1000000001 power"; do
        printf '# What the clients said to the daemons\n1 power\n%s\n' "$line" >"$scratch/script"
        expect_eq "$(zt decode "$scratch/script" 2>&1; echo "= $?")" \
            "zt: cannot decode $scratch/script: line 3 is no record
zt: try: give it a file of ztsim --capture or --record, or of tcpdump
= 1"
    done
}

# packets KIND: what a network has carried is in the file $scratch/packets.
packets()
{
    python3 "$here/../ztsim/packets.py" "$scratch/packets" "$1"
}

zt_decode_reads_socket_messages_that_tcpdump_has_captured()
{
    local kind
    for kind in ethernet any any2; do
        packets $kind
        expect_eq "$(zt decode "$scratch/packets" | cut -d ' ' -f 2-)" 'socket <- client 1: type 200, flag 1, parameters 1 2 3, 5 bytes more
socket <- client 1: type 200, flag 1, parameters 4 5 6, 6 bytes more
socket -> client 1: type 200, flag 1, parameters 1 2 3, 6 bytes more
socket -> client 1: no record
socket -> client 1: a record of 20 bytes
socket -> client 1: a record of 3 bytes
socket -> client 1: the first 17 bytes of a record
socket <- client 2: type 7, flag 0, parameters 1 2 3, 0 bytes more
socket <- client 3: type 200, flag 1, parameters 7 8 9, 0 bytes more'
        expect_eq "$(zt decode --port 15001 "$scratch/packets")" \
            '0.000000000 socket <- client 1: type 200, flag 1, parameters 1 2 3, 0 bytes more'
    done
    expect_eq "$(zt decode --json "$scratch/packets" | sed -n 8p)" \
        '{"time":"0.000000000","server":"socket","direction":"from-client","client":2,"process":0,"text":"type 7, flag 0, parameters 1 2 3, 0 bytes more","bytes":"5a54534f434b45544d4553534147451c000000070000010002000300"}'
    expect_like "$(zt decode --mermaid "$scratch/packets")" 'sequenceDiagram
    participant p0 as socket
    participant p1 as client 1
    participant p2 as client 2
    participant p3 as client 3
    p1->>p0: type 200, flag 1, parameters 1 2 3, 5 bytes more*'
}

zt_decode_bears_headers_that_are_too_short()
{
    packets short
    expect_eq "$(zt decode "$scratch/packets" 2>&1; echo "= $?")" "= 0"
}

zt_decode_goes_on_behind_packets_that_lack()
{
    packets lossy
    expect_eq "$(zt decode "$scratch/packets" | cut -d ' ' -f 2- | head -n 3)" 'socket <- client 1: the first 30 bytes of a record
socket <- client 1: no record
socket -> client 1: type 200, flag 1, parameters 1 2 3, 6 bytes more'
}

zt_decode_reads_the_times_of_tcpdump()
{
    local magic
    for magic in d4c3b2a1/000007000 4d3cb2a1/000000007; do
        python3 -c '
import struct, sys
with open(sys.argv[1], "wb") as file:
    file.write(bytes.fromhex(sys.argv[2]) + struct.pack("<HHiIII", 2, 4, 0, 0, 65535, 147))
    file.write(struct.pack("<IIII", 5, 7, 13, 13) + bytes([3]) + bytes(12))' "$scratch/packets" "${magic%/*}"
        expect_eq "$(zt decode --json "$scratch/packets")" '{"time":"5.'"${magic#*/}"'","server":"ipc","direction":"from-client","client":0,"process":0,"text":"the first 1 bytes of a frame","bytes":"00"}'
    done
    head -c 40 "$scratch/packets" >"$scratch/cut"
    expect_like "$(zt decode "$scratch/cut" 2>&1)" "zt: cannot decode $scratch/cut: it ends in the middle of a block
*"
}

zt_decode_makes_no_markup_of_what_was_said()
{
    capture 'python3 -c "
import socket, struct
client = socket.socket(socket.AF_UNIX)
client.connect(\"/var/run/ztpmd_api\")
client.sendall(struct.pack(\"<II 16s i 20x\", 3, 0, b\"<b>;#&\\x1b\\n\", 1))
client.sendall(struct.pack(\"<I 44x\", 8))
client.recv(48)"'
    expect_like "$(zt decode "$scratch/capture")" '*client 1: device "<b>;#&\\x1b\\x0a"'$'\n*'
    expect_like "$(zt decode --mermaid "$scratch/capture")" '*: device #quot;#lt;b#gt;#59;#35;#amp;\\x1b\\x0a#quot;'$'\n*'
    expect_like "$(zt decode --svg "$scratch/capture")" '*>device &quot;&lt;b&gt;;#&amp;\\x1b\\x0a&quot;</text>*'
}

zt_decode_says_what_is_wrong_with_a_file()
{
    local cut advice='zt: try: give it a file of ztsim --capture or --record, or of tcpdump'
    expect_eq "$(zt decode "$scratch/none" 2>&1; echo "= $?")" "zt: cannot read $scratch/none: No such file or directory
zt: try: see that the file is there
= 1"
    echo text that is long enough >"$scratch/text"
    expect_eq "$(zt decode "$scratch/text" 2>&1; echo "= $?")" "zt: cannot decode $scratch/text: it is no pcap or pcapng file
$advice
= 1"
    : >"$scratch/empty"
    expect_eq "$(zt decode "$scratch/empty" 2>&1; echo "= $?")" "= 0"
    capture 'exec zt power state 2'
    for cut in 43 45 60 87 89 100 191; do
        head -c $cut "$scratch/capture" >"$scratch/cut"
        expect_eq "$(zt decode "$scratch/cut" 2>&1; echo "= $?")" \
            "zt: cannot decode $scratch/cut: it ends in the middle of a block
$advice
= 1"
    done
    head -c 192 "$scratch/capture" >"$scratch/cut"
    expect_eq "$(zt decode "$scratch/cut")" "0.000000000 power <- client 1: power 2"
    refuse "--json excludes --mermaid; see zt decode" decode --json --mermaid x
    refuse "FILE is required; see zt decode" decode
    refuse "--port: \"0\" is not in 1..65535; see zt decode" decode --port 0 x
}

# ---------------------------------------------------------------------------- explain

zt_explain_says_what_a_result_means()
{
    expect_eq "$(zt explain 17)" 'code         17
meaning      the time is up: or nothing has come yet
returned-by  ZTEndPointManager, ZTIPCEndPoint; ZTSocket::getNextSocketBuffer(), ZTSocketLinux::receiveRecords()
try          ask again, or wait longer'
    local page=$here/../../docs/guide/result-codes.md codes
    codes=$(sed -nE 's/^\| ([0-9]+) \|.*/\1/p' "$page")
    expect_eq "$(wc -w <<<$codes)" 22
    expect_eq "$(for code in $codes; do zt explain --json "$code"; done | python3 -c '
import json, sys
for line in sys.stdin:
    print("|", " | ".join(str(cell) for cell in json.loads(line).values()), "|")')" \
        "$(grep -E '^\| [0-9]+ \|' "$page" | tr -d \`)"
    # The manual page has the words of each failure.
    expect_eq "$(sed -nE '/^The results are$/,/^and /s/^([0-9]+ .*),$/\1/p' "$here/../../tools/zt/zt.1")" \
        "$(sed -nE 's/^\| ([1-9][0-9]*) \| ([^|:]*[^ |:])(:[^|]*)? \|.*/\1 \2/p' "$page")"
    expect_eq "$(zt explain 2 2>&1; echo "= $?")" "zt: the library has no result 2
zt: try: it may be an error number of the system, or a command's exit code
= 1"
    refuse "CODE is required; see zt explain" explain
    refuse "CODE: \"x\" is not in -2147483648..2147483647; see zt explain" explain x
}

zt_completes_in_bash()
{
    expect_eq "$(complete_words zt p)" "power ps"
    expect_eq "$(complete_words zt power '')" "state timeout propagation device watch --help"
    expect_eq "$(complete_words zt power device cam)" cam_output
    expect_eq "$(complete_words zt eeprom ser)" serial-number
    expect_eq "$(complete_words zt health get value-2)" "value-20 value-26 value-29"
    expect_eq "$(complete_words zt net set --interface eth)" "eth0 eth1 eth2 eth3"
    expect_eq "$(complete_words zt copy --m)" --move
    expect_eq "$(cd "$scratch" && touch file && complete_words zt copy fi)" file
    local verb
    for verb in info eeprom copy "power state" "power timeout" "power propagation" "power device" "power watch" \
        "health get" "health set" "net show" "net set" "ipc listen" "ipc send" "socket listen" "socket send" decode explain; do
        expect_eq "$verb $(complete_words zt $verb -- | tr ' ' '\n' | sort | paste -sd ' ')" \
            "$verb $(zt $verb --help | sed -nE 's/^ +(-h,)?(--[a-z0-9]+).*/\2/p' | sort | paste -sd ' ')"
    done
}

zt_has_a_manual_page()
{
    local page=$here/../../tools/zt/zt.1 verb
    for verb in info "power state" "power timeout" "power propagation" "power device" "power watch" "health get" \
        "health set" eeprom "net show" "net set" copy "ipc listen" "ipc send" "socket listen" "socket send" decode \
        explain run ps; do
        grep -q "^\.B zt $verb" "$page" || fail "nothing about $verb"
    done
    if command -v groff >/dev/null; then
        expect_eq "$(groff -man -Tascii -ww "$page" 2>&1 >/dev/null)" ""
    fi
}

$3
[ $failures -eq 0 ]
