#!/bin/bash
# ztsim_test.sh ZTSIM TEST: the command line of ztsim. Each function whose name begins with "ztsim_"
# is a test; "no process is left" is told by the end of a pipe that all of them hold.

ztsim=$1
here=$(dirname "$(readlink -f "$0")")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failures=0

fail()
{
    echo "line ${BASH_LINENO[1]}: $*"
    failures=$((failures + 1))
}

expect_eq()
{
    [ "$1" == "$2" ] || fail "got \"$1\" instead of \"$2\""
}

expect_like()
{
    [[ $1 == $2 ]] || fail "got \"$1\", which is not like \"$2\""
}

# expect_exit CODE COMMAND...
expect_exit()
{
    local code=$1
    shift
    "$@"
    local got=$?
    [ $got -eq "$code" ] || fail "exit code $got instead of $code: $*"
}

# expect_failure CODE LINE COMMAND...: nothing on stdout, one such line on stderr
expect_failure()
{
    local code=$1 line=$2
    shift 2
    "$@" >"$scratch/out" 2>"$scratch/err" </dev/null
    local got=$?
    [ $got -eq "$code" ] || fail "exit code $got instead of $code: $*"
    [ -s "$scratch/out" ] && fail "stdout has \"$(cat "$scratch/out")\": $*"
    [ "$(wc -l <"$scratch/err")" -eq 1 ] || fail "stderr has not one line: $(cat "$scratch/err")"
    expect_like "$(cat "$scratch/err")" "ztsim: $line"
}

# The next line from the coprocess.
next_line()
{
    local line
    read -r -t 60 line <&"${COPROC[0]}" || line="(nothing)"
    echo "$line"
}

# Once no process holds the coprocess's stdout any more, says what else it had written.
await_end()
{
    local rest
    read -r -t 60 -d '' rest <&"$1"
    [ $? -gt 128 ] && rest="(some process is left)"
    echo "$rest"
}

# answer TYPE HEX: as health.py says it
answer()
{
    local payload=$2
    while [ ${#payload} -lt 64 ]; do
        payload+=0
    done
    echo "$1 $payload"
}

# ---------------------------------------------------------------------------- exit codes

ztsim_hands_over_the_exit_code_of_the_command()
{
    expect_exit 0 "$ztsim" -- true
    expect_exit 3 "$ztsim" -- sh -c 'exit 3'
    expect_exit 1 "$ztsim" -- false
    expect_exit 125 "$ztsim" -- sh -c 'exit 125'
    expect_exit 255 "$ztsim" -- sh -c 'exit 255'
}

ztsim_adds_128_to_the_signal_that_killed_the_command()
{
    expect_exit 137 "$ztsim" -- sh -c 'kill -KILL $$'
    expect_exit 143 "$ztsim" -- sh -c 'kill -TERM $$'
    expect_exit 129 "$ztsim" -- sh -c 'kill -HUP $$'
}

ztsim_says_which_command_was_not_found()
{
    expect_failure 127 "cannot run nonesuch: No such file or directory" "$ztsim" -- nonesuch
    expect_failure 127 "cannot run : No such file or directory" "$ztsim" -- ""
}

ztsim_says_which_command_is_not_executable()
{
    touch "$scratch/data"
    expect_failure 126 "cannot run $scratch/data: Permission denied" "$ztsim" -- "$scratch/data"
    expect_failure 126 "cannot run /: Permission denied" "$ztsim" -- /
}

ztsim_refuses_wrong_usage()
{
    refuse() { expect_failure 125 "$1; see ztsim --help" "$ztsim" "${@:2}"; }
    refuse "-- COMMAND is required"
    refuse "-- COMMAND is required" --
    refuse "*true" true
    refuse "*--bogus" --bogus -- true
    refuse "--power-state: *6*" --power-state 6 -- true
    refuse "*--power-state*-1*" --power-state -1 -- true
    refuse "--propagation-time: *31*" --propagation-time 31 -- true
    refuse "--power-timeout: *power state 6" --power-timeout 6=1 -- true
    refuse '--power-timeout: "1" is not an assignment' --power-timeout 1 -- true
    refuse '--power-timeout: "x" is not a number' --power-timeout 1=x -- true
    refuse '--power-timeout: "1 " is not a number' --power-timeout "1=1 " -- true
    refuse '--power-timeout: "" is not a number' --power-timeout 1= -- true
    refuse '--power-timeout: *4294967296 is out of range' --power-timeout 1=4294967296 -- true
    refuse '--device: *"toaster"' --device toaster=1 -- true
    refuse '--device: "1.5" is not a number' --device touch=1.5 -- true
    refuse "*display=2" --device touch=1 display=2 -- true
    refuse '--power-fault: *"mishap"' --power-fault mishap@1 -- true
    refuse '--power-fault: "silence" is not of the form KIND@N' --power-fault silence -- true
    refuse '--power-fault: "silence@0"*' --power-fault silence@0 -- true
    refuse '--power-fault: "hang-up@1"*already' --power-fault silence@1 --power-fault hang-up@1 \
        -- true
    refuse "*--power-away*" --power-away soon -- true
    refuse '--health-field: there is no field "toaster"' --health-field toaster=1 -- true
    refuse '--health-field: there is no field "field-17"' --health-field field-17=1 -- true
    refuse '--health-field: "serial-number" is not an assignment' --health-field serial-number -- true
    refuse '--health-field: number 256 is out of range' --health-field product-type=256 -- true
    refuse '--health-field: "-1" is not a number' --health-field product-type=-1 -- true
    refuse '--health-field: number 4294967296 is out of range' --health-field value-32=4294967296 \
        -- true
    refuse '--health-field: "123456789012345678901234567890123" has more than 32 bytes' \
        --health-field part-number=123456789012345678901234567890123 -- true
    refuse '--health-file: cannot read /nonesuch' --health-file /nonesuch -- true
    printf 'serial-number=1\ntoaster=1\n' >"$scratch/fields"
    refuse '--health-file: there is no field "toaster"' --health-file "$scratch/fields" -- true
    refuse '--health-fault: there is no fault "unknown-device"' --health-fault unknown-device@1 -- true
    refuse '--power-fault: there is no fault "unterminated"' --power-fault unterminated@1 -- true
    refuse "--eeprom: *broken*" --eeprom broken -- true
    local option
    for option in --health-away=1 --health-fault=silence@1 --health-field=field-0=1 \
        --health-file=/dev/null; do
        refuse "--no-health-daemon excludes ${option%%=*}" --no-health-daemon $option -- true
    done
    for option in --power-away=1 --power-fault=silence@1 --power-state=1 --power-timeout=1=1 \
        --propagation-time=1 --device=touch=1; do
        refuse "--no-power-daemon excludes ${option%%=*}" --no-power-daemon $option -- true
    done
}

ztsim_helps()
{
    local help
    help=$("$ztsim" --help 2>&1) || fail "exit code $?"
    for word in "Usage: ztsim*-- COMMAND" --power-state --power-timeout --device \
        --propagation-time --power-fault --power-away --no-power-daemon --verbose --version \
        --health-field --health-file --health-fault --health-away --no-health-daemon --eeprom --no-eth0 \
        serial-number hang-up short-record unknown-type unknown-device unterminated silence "kill -USR1 1" "kill -USR2 1" 125 126 127 128; do
        expect_like "$help" "*$word*"
    done
    [[ $help == *--inside* ]] && fail "shows its inside"
    expect_eq "$("$ztsim" --version)" "ztsim 1.0.0"
}

# ---------------------------------------------------------------------------- failures

ztsim_says_that_bubblewrap_is_missing()
{
    mkdir "$scratch/empty"
    expect_failure 125 "there is no bwrap on the PATH: install the package bubblewrap" \
        env PATH="$scratch/empty" "$ztsim" -- true
}

# fake_bwrap BODY
fake_bwrap()
{
    printf '#!/bin/sh\n%s\n' "$1" >"$scratch/bwrap"
    chmod +x "$scratch/bwrap"
}

ztsim_says_why_bubblewrap_failed()
{
    local reason='bwrap: No permissions to create a new namespace'
    fake_bwrap "echo '$reason' >&2; echo 'Try again' >&2; exit 1"
    expect_failure 125 "cannot set up the sandbox: $reason Try again (*user namespaces*)" \
        env PATH="$scratch:$PATH" "$ztsim" -- true
}

ztsim_does_not_take_the_exit_code_of_bubblewrap_for_that_of_the_command()
{
    fake_bwrap 'exit 3'
    expect_failure 125 "bwrap ended with exit code 3" env PATH="$scratch:$PATH" "$ztsim" -- true
    fake_bwrap 'kill -KILL $$'
    expect_failure 125 "bwrap was killed by signal 9" env PATH="$scratch:$PATH" "$ztsim" -- true
}

ztsim_says_that_the_daemon_cannot_listen()
{
    fake_bwrap 'while [ "$1" != -- ]; do
            options="$options $1"
            shift
        done
        exec '"$(command -v bwrap)"' $options --dir '"$(readlink -f /var/run)"'/ztpmd_api "$@"'
    expect_failure 125 "bind: Address already in use*" env PATH="$scratch:$PATH" "$ztsim" -- true
}

# ---------------------------------------------------------------------------- the device

ztsim_runs_the_command_as_root_of_its_own_device()
{
    expect_eq "$("$ztsim" -- id -u)" 0
    expect_eq "$("$ztsim" -- id -g)" 0
    expect_exit 0 "$ztsim" -- mount -t tmpfs none /mnt
}

interfaces() { "$ztsim" "$@" -- sed 1,2d /proc/net/dev | cut -d: -f1 | xargs; }

ztsim_gives_a_network_of_its_own()
{
    expect_eq "$(interfaces)" "lo eth0"
    expect_like "$("$ztsim" -- bash -c 'echo </dev/tcp/127.0.0.1/1' 2>&1)" "*Connection refused*"
}

ztsim_gives_eth0_the_settings_of_a_new_device()
{
    local settings
    settings=$("$ztsim" -- ifconfig eth0)
    expect_like "$settings" "*<UP,BROADCAST,RUNNING,MULTICAST>*"
    expect_like "$settings" "*inet 192.168.135.6  netmask 255.255.255.0  broadcast 192.168.135.255*"
    expect_eq "$("$ztsim" -- route -n | sed 1,2d | tr -s ' ')" \
        $'0.0.0.0 192.168.135.1 0.0.0.0 UG 0 0 0 eth0\n192.168.135.0 0.0.0.0 255.255.255.0 U 0 0 0 eth0'
}

ztsim_has_a_gateway_that_answers()
{
    local try='echo </dev/tcp/192.168.135.1/1'
    expect_like "$("$ztsim" -- bash -c "$try" 2>&1)" "*Connection refused*"
    expect_like "$("$ztsim" -- bash -c "ifconfig eth0 192.168.135.77; $try" 2>&1)" \
        "*Connection refused*"
    expect_like "$("$ztsim" -- bash -c "ifconfig eth0 down; $try" 2>&1)" "*Network is unreachable*"
}

ztsim_can_do_without_eth0()
{
    expect_eq "$(interfaces --no-eth0)" lo
    expect_eq "$("$ztsim" --no-eth0 -- route -n | sed 1,2d)" ""
}

ztsim_says_that_eth0_cannot_be_had()
{
    # In a user namespace of its own, which may have the sandbox's network and no other.
    local host
    host=$(readlink /proc/self/ns/user)
    expect_failure 125 "cannot set up eth0: a network namespace: No space left on device (--no-eth0 does without)" \
        unshare --map-root-user sh -c "[ \$(readlink /proc/self/ns/user) != '$host' ] &&
            echo 1 >/proc/sys/user/max_net_namespaces && exec '$ztsim' -- true"
    expect_exit 0 unshare --map-root-user sh -c "[ \$(readlink /proc/self/ns/user) != '$host' ] &&
        echo 1 >/proc/sys/user/max_net_namespaces && exec '$ztsim' --no-eth0 -- true"
}

ztsim_keeps_from_the_kernel_what_is_for_its_memory()
{
    local file
    for file in drop_caches compact_memory; do
        [ -e /proc/sys/vm/$file ] || continue
        expect_eq "$("$ztsim" -- sh -c "cd /proc/sys/vm
            [ \$(stat -fc %T $file) = tmpfs ] && cat $file && echo 3 >$file && cat $file")" 3
    done
}

ztsim_gives_processes_of_its_own()
{
    expect_like "$("$ztsim" -- sh -c 'echo $$ /proc/[0-9]*')" "2 /proc/1 /proc/2"
}

ztsim_leaves_nothing_in_run_but_the_sockets()
{
    expect_eq "$("$ztsim" -- ls -A /var/run/)" $'zthmd_api\nztpmd_api'
    expect_exit 0 "$ztsim" -- test -S /var/run/ztpmd_api -a -S /var/run/zthmd_api
    expect_eq "$("$ztsim" --no-power-daemon -- ls -A /var/run/)" zthmd_api
    expect_eq "$("$ztsim" --no-health-daemon -- ls -A /var/run/)" ztpmd_api
    expect_eq "$("$ztsim" --no-power-daemon --no-health-daemon -- ls -A /var/run/)" ""
}

ztsim_keeps_the_devices_of_the_host()
{
    local names='find /dev -mindepth 1 -maxdepth 1 ! -name eeprom2 -printf "%f %y %l\n" | sort'
    expect_eq "$("$ztsim" -- sh -c "$names")" "$(sh -c "$names")"
    expect_exit 0 "$ztsim" -- sh -c 'head -c 8 /dev/urandom >/dev/null && test -e /dev/pts/ptmx'
}

ztsim_gives_an_eeprom()
{
    local attribute=/sys/bus/i2c/devices/1-0050/app
    expect_eq "$("$ztsim" -- sh -c 'ls /dev/eeprom2; find /sys/bus/ -type f')" \
        $'/dev/eeprom2\n'$attribute
    expect_exit 0 "$ztsim" --eeprom open -- sh -c ': <>/dev/eeprom2'
    expect_eq "$("$ztsim" --eeprom absent -- sh -c 'ls -A /sys/bus; ls /dev/eeprom2 2>&1')" \
        "ls: cannot access '/dev/eeprom2': No such file or directory"
    [ -e /sys/bus/i2c/devices/1-0050 ] && fail "the host has the device's EEPROM"
    [ -e /dev/eeprom2 ] && fail "the host has the device's EEPROM"
}

ztsim_unlocks_the_eeprom_with_a_word_of_4_bytes()
{
    expect_eq "$("$ztsim" --eeprom locked -- bash -c '
        cd /sys/bus/i2c/devices/1-0050
        for word in "" abc abcde; do
            printf "$word" >app
        done
        sleep 0.2
        ls /dev/eeprom2 2>/dev/null
        printf abcd >app
        until [ -e /dev/eeprom2 ]; do :; done
        : <>/dev/eeprom2 && echo open')" open
}

ztsim_writes_no_file_on_the_host()
{
    mkdir "$scratch/tmp"
    export TMPDIR=$scratch/tmp
    coproc "$ztsim" -- sh -c 'touch /var/run/mine; echo ready; read -r line'
    expect_eq "$(next_line)" ready
    [ -e /var/run/mine ] && fail "the host has the device's /var/run"
    [ -e /var/run/ztpmd_api ] && fail "the host has the device's socket"
    expect_eq "$(ls -A "$scratch/tmp")" ""
    echo >&"${COPROC[1]}"
    wait "$COPROC_PID"
    [ -e /var/run/mine ] && fail "the host has the device's /var/run"
    expect_eq "$(ls -A "$scratch/tmp")" ""
}

ztsim_works_for_an_ordinary_user()
{
    local user=()
    [ "$(id -u)" -eq 0 ] && user=(setpriv --reuid=65534 --regid=65534 --clear-groups)
    cp "$ztsim" "$scratch/ztsim"
    chmod 755 "$scratch" "$scratch/ztsim"
    cd / || fail "cannot enter /"
    expect_eq "$("${user[@]}" "$scratch/ztsim" -- sh -c 'id -u; ls /var/run/')" $'0\nzthmd_api\nztpmd_api'
    expect_exit 3 "${user[@]}" "$scratch/ztsim" -- sh -c 'exit 3'
    expect_exit 0 "${user[@]}" "$scratch/ztsim" -- mount -t tmpfs none /mnt
}

# ---------------------------------------------------------------------------- what COMMAND inherits

ztsim_hands_over_the_arguments_as_they_are()
{
    local arguments=(-- --help "" " " "[a,b]" "{}" '%%' $'new\nline' -v)
    expect_eq "$("$ztsim" -- printf '<%s>' "${arguments[@]}" | base64)" \
        "$(printf '<%s>' "${arguments[@]}" | base64)"
}

ztsim_keeps_the_directory_and_the_environment()
{
    mkdir "$scratch/a directory"
    cd "$scratch/a directory" || fail "cannot enter it"
    expect_eq "$("$ztsim" -- pwd)" "$PWD"
    export ZTSIM_TEST=$'with\nnew line' PATH=$PATH:/usr/sbin:/sbin
    expect_eq "$("$ztsim" -- env -0 | sort -z | sed -z '/^_=/d' | base64)" \
        "$(env -0 | sort -z | sed -z '/^_=/d' | base64)"
}

ztsim_completes_the_path_by_the_folders_of_the_administrator()
{
    local given
    for given in /bin:/usr/bin /bin:/usr/bin:/sbin: /sbinx:/usr/bin/sbin:/bin:/usr/bin; do
        expect_eq "$(PATH=$given "$ztsim" -- sh -c 'echo $PATH')" \
            "$given$([[ $given == *:/sbin:* ]] && echo :/usr/sbin || echo :/usr/sbin:/sbin)"
    done
    expect_eq "$(PATH=/sbin:/bin:/usr/sbin:/usr/bin "$ztsim" -- sh -c 'echo $PATH')" \
        /sbin:/bin:/usr/sbin:/usr/bin
    expect_eq "$(env -u PATH "$ztsim" -- /bin/sh -c 'echo $PATH')" /bin:/usr/bin:/usr/sbin:/sbin
}

ztsim_leaks_no_file_descriptor()
{
    exec 7</dev/null
    expect_eq "$("$ztsim" -- ls /proc/self/fd)" "$(ls /proc/self/fd)"
    expect_like "$("$ztsim" -- ls /proc/self/fd)" *7*
}

ztsim_replaces_closed_standard_streams()
{
    "$ztsim" -- sh -c "ls /proc/self/fd >$scratch/fds" <&- >&- 2>&-
    sh -c "ls /proc/self/fd >$scratch/open"
    expect_eq "$(cat "$scratch/fds")" "$(cat "$scratch/open")"
}

ztsim_starts_the_command_with_default_signal_handling()
{
    trap '' INT TERM PIPE CHLD
    local status
    status=$("$ztsim" -- sed -n 's/^Sig//p' /proc/self/status | tr -d '\t')
    expect_like "$status" *Blk:0000000000000000*
    # The C library itself ignores its internal signals 32 and 33 in what it spawns.
    expect_like "$status" *Ign:0000000[01]80000000* || expect_like "$status" *Ign:0000000000000000*
    expect_exit 143 "$ztsim" -- sh -c 'kill -TERM $$'
}

# ---------------------------------------------------------------------------- signals

ztsim_passes_each_signal_on_once()
{
    local signal
    coproc "$ztsim" -- python3 "$here/signals.py"
    local output=${COPROC[0]} pid=$COPROC_PID
    expect_eq "$(next_line)" ready
    for signal in HUP INT QUIT TERM USR1 ALRM WINCH 34 64; do
        kill -$signal "$pid"
        expect_eq "$(next_line)" "SIG$(echo $signal | sed 's/34/RTMIN/; s/64/RTMAX/')"
    done
    kill -USR2 "$pid"
    expect_eq "$(await_end "$output")" SIGUSR2
    wait "$pid"
    expect_eq $? 7
}

ztsim_loses_no_signal_at_its_start()
{
    expect_exit 0 python3 -c '
import subprocess, sys, time
for round in range(60):
    process = subprocess.Popen([sys.argv[1], "--", "sleep", "60"])
    moment = time.monotonic() + round * 0.0002
    while time.monotonic() < moment:
        pass
    process.terminate()
    assert process.wait() in (143, -15), process.returncode' "$ztsim"
}

ztsim_leaves_it_to_the_command_what_ctrl_c_does()
{
    # Two signals of a kind may merge into one on their way, hence the many rounds.
    local script=$'expect ready\n' expected="" output
    for _ in {1..20}; do
        script+=$'type \\x03\nexpect SIGINT\ntype \\x1c\nexpect SIGQUIT\n'
        expected+="SIGINT SIGQUIT "
    done
    script+=$'resize\nexpect SIGWINCH\nkill SIGUSR2'
    expected+="SIGWINCH SIGUSR2"
    output=$(python3 "$here/terminal.py" "$script" "$ztsim" -- python3 "$here/signals.py")
    expect_eq $? 7
    expect_eq "$(grep -o 'SIG.*' <<<"$output" | xargs)" "$expected"
}

ztsim_says_130_after_ctrl_c()
{
    python3 "$here/terminal.py" $'expect ready\ntype \\x03' "$ztsim" -- \
        sh -c 'echo ready; exec sleep infinity' >/dev/null
    expect_eq $? 130
}

ztsim_tells_the_command_that_the_terminal_hung_up()
{
    python3 "$here/terminal.py" $'expect ready\nhang up' "$ztsim" -- \
        sh -c 'echo ready; exec sleep infinity'
    expect_eq $? 129
}

ztsim_runs_an_interactive_shell()
{
    local output
    output=$(python3 "$here/terminal.py" 'expect $
        type sh -c "echo in$((6*7)); exec sleep infinity"\n
        expect in42
        type \x03
        expect $
        type exit 5\n
        expect out5
        type hello\n
        expect got:hello' sh -c "PS1='\$ ' $ztsim -- bash --norc --noprofile -i; echo out\$?
            read -r line; echo got:\$line")
    expect_eq $? 0
    [[ $output == *"job control"* ]] && fail "no job control: $output"
}

ztsim_survives_that_nobody_reads_its_stderr()
{
    mkfifo "$scratch/fifo"
    exec 8<>"$scratch/fifo" 9>"$scratch/fifo" 8<&-
    expect_eq "$("$ztsim" -v -- python3 "$here/power.py" 99 '8?' 2>&9)" 10
    expect_exit 125 "$ztsim" --bogus 2>&9
}

# ---------------------------------------------------------------------------- what is left

ztsim_kills_what_the_command_leaves_running()
{
    coproc "$ztsim" -- bash -c 'trap "" TERM HUP
        setsid sleep infinity &
        sleep infinity &
        echo left'
    local output=${COPROC[0]} pid=$COPROC_PID
    expect_eq "$(await_end "$output")" left
    wait "$pid"
    expect_eq $? 0
}

start_busy_device()
{
    coproc "$ztsim" -- bash -c 'trap "" TERM HUP
        setsid sleep infinity &
        echo ready
        sleep infinity' 2>"$scratch/err"
    output=${COPROC[0]} pid=$COPROC_PID
    expect_eq "$(next_line)" ready
}

ztsim_killed_leaves_no_process()
{
    local output pid
    start_busy_device
    kill -KILL "$pid"
    expect_eq "$(await_end "$output")" ""
}

ztsim_killed_at_its_start_leaves_no_process()
{
    expect_exit 0 python3 -c '
import subprocess, sys, time
for round in range(60):
    process = subprocess.Popen([sys.argv[1], "--", "sleep", "60"], stdout=subprocess.PIPE)
    moment = time.monotonic() + round * 0.0002
    while time.monotonic() < moment:
        pass
    process.kill()
    moment = time.monotonic()
    process.stdout.read()
    assert time.monotonic() < moment + 50, "a process was left"' "$ztsim"
}

ztsim_fails_when_bubblewrap_is_killed()
{
    local output pid
    start_busy_device
    kill -KILL "$(pgrep -P "$pid")"
    expect_eq "$(await_end "$output")" ""
    wait "$pid"
    expect_eq $? 125
    expect_eq "$(cat "$scratch/err")" "ztsim: bwrap was killed by signal 9"
}

ztsim_reaps_what_the_command_orphans()
{
    expect_exit 7 "$ztsim" -- bash -c 'orphan=$( (true & echo $!) )
        while [ -e "/proc/$orphan" ]; do :; done
        exit 7'
}

# ---------------------------------------------------------------------------- what it logs

ztsim_logs_records_if_verbose()
{
    "$ztsim" -v --power-fault silence@3 -- \
        python3 "$here/power.py" '0,2?' '1,4,9?' 8 '3,rs232,0?' '4,touch,-1?' '8?' '9,5?' '13?' 12 \
        '14,2?' '15,2,30?' >/dev/null 2>"$scratch/err"
    expect_eq "$(sed 's/^ztsim: power: //' "$scratch/err")" '<- get timeout state 2
-> timeout state 2 value 0
<- set timeout state 4 value 9
-> timeout state 4 value 9
<- get power state
fault silence
<- get device "rs232"
-> device "console" state 0
<- set device "touch" state -1
-> device "touch" state -1
<- get power state
-> power state 0
<- set power state 5
-> new power state 5
<- set power state 3 (type 13)
-> new power state 3
<- set power state 6 (type 12)
<- get propagation time state 2
-> propagation time state 2 value 0
<- set propagation time state 2 value 30
-> new propagation time state 2 value 30'
    expect_eq "$("$ztsim" -- python3 "$here/power.py" '8?' 2>&1)" 10
}

ztsim_logs_health_records_if_verbose()
{
    "$ztsim" -v --health-field serial-number=12345678901234567890123456789012 \
        --health-fault unterminated@7 --health-fault short-record@8 -- \
        python3 "$here/health.py" 0 2 12 25,A 20 36 10 10 32,A 99 >/dev/null 2>"$scratch/err"
    expect_eq "$(sed 's/^ztsim: health: //' "$scratch/err")" '<- get field-0
-> field-0 0
<- get product-type
-> product-type 0
<- get serial-number
-> serial-number "12345678901234567890123456789012"
<- set value-20 65
-> value-20 65
<- get value-20
-> value-20 65
<- get value-32
-> value-32 0
<- get part-number
fault unterminated
-> part-number "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx"
<- get part-number
fault short-record
<- set field-17 65
-> field-17 65
<- type 99
ignored type 99: no request has this type'
    expect_eq "$("$ztsim" -- python3 "$here/health.py" 2 2>&1)" "$(answer 3 "")"
}

ztsim_answers_every_health_request()
{
    local expected
    expected=$(for type in 1 3 5 7 9 11 13 15 17 19 21 23 28 31 38; do answer $type ""; done
        answer 21 41; answer 28 42; answer 31 43; answer 38 44454647; answer 33 48
        answer 21 41; answer 28 42; answer 31 43; answer 38 44454647)
    expect_eq "$("$ztsim" -- python3 "$here/health.py" 0 2 4 6 8 10 12 14 16 18 20 22 26 29 36 \
        25,Axy 27,Bxy 30,Cxy 37,DEFGxy 32,Hxy 20 26 29 36)" "$expected"
    expect_eq "$("$ztsim" -- python3 "$here/health.py" 1 21 24 28 31 33 34 38 99 128 2>/dev/null)" ""
}

ztsim_misanswers_health_requests()
{
    local letters
    letters=$(printf '78%.0s' {1..32})
    expect_eq "$("$ztsim" --health-field part-number=abcdef --health-fault unknown-type@1 \
        --health-fault unterminated@2 --health-fault short-record@3 --health-fault silence@4 \
        --health-fault hang-up@5 --health-away 0 -- \
        python3 "$here/health.py" 25,A 25,A 10 10 25,A)" \
        "$(answer 99 41; answer 21 "$letters"; echo "11 6162")"
    expect_eq "$("$ztsim" --health-fault unknown-type@1 -- python3 "$here/health.py" 25,A 20)" \
        "$(answer 99 41; answer 21 "")"
}

ztsim_daemons_hang_up_when_process_1_is_told_to()
{
    expect_eq "$("$ztsim" --power-away 0 --health-away 0 -- bash -c '
        for signal in "USR1 ztpmd_api zthmd_api" "USR2 zthmd_api ztpmd_api"; do
            set -- $signal
            cd /var/run
            gone=$(stat --format=%z $2) there=$(stat --format=%z $3)
            kill -$1 1
            until now=$(stat --format=%z $2 2>/dev/null) && [ "$now" != "$gone" ]; do :; done
            [ "$(stat --format=%z $3)" == "$there" ] && echo "only $2"
            python3 "$0/power.py" "8?"
            python3 "$0/health.py" 20
        done' "$here")" \
        "$(for name in ztpmd_api zthmd_api; do echo "only $name"; echo 10; answer 21 ""; done)"
}

ztsim_daemons_come_back_in_time_however_often_process_1_is_told()
{
    "$ztsim" --power-away 100 --health-away 100 -- bash -c '
        for daemon in "USR1 ztpmd_api" "USR2 zthmd_api"; do
            set -- $daemon
            kill -$1 1
            while [ -e /var/run/$2 ]; do :; done
            until [ -e /var/run/$2 ]; do kill -$1 1; done
        done'
    expect_eq $? 0
}

ztsim_bears_to_be_told_what_daemons_it_has_not()
{
    expect_exit 3 "$ztsim" --no-power-daemon --no-health-daemon -- sh -c '
        kill -USR1 1; kill -USR2 1; exit 3'
}

ztsim_reads_health_fields_from_a_file()
{
    printf '# of our device\n\nserial-number=1234\nproduct-type=5' >"$scratch/fields"
    expect_eq "$("$ztsim" --health-file "$scratch/fields" -- python3 "$here/health.py" 12 2)" \
        "$(answer 13 31323334; answer 3 05)"
    expect_eq "$("$ztsim" --health-file <(cat "$scratch/fields") -- python3 "$here/health.py" 12)" \
        "$(answer 13 31323334)"
    expect_eq "$("$ztsim" --health-field product-type=6 --health-file "$scratch/fields" -- \
        python3 "$here/health.py" 2)" "$(answer 3 06)"
}

ztsim_logs_what_it_ignores()
{
    "$ztsim" -- python3 "$here/power.py" 0,6 9,4 15,2,31 3,toaster,0 \
        3,sixteen_letters_,1684234849 2,1,5 99 '8?' \
        >/dev/null 2>"$scratch/err"
    expect_eq "$(cat "$scratch/err")" \
        'ztsim: power: ignored get timeout state 6: state out of range
ztsim: power: ignored set power state 4: state out of range
ztsim: power: ignored set propagation time state 2 value 31: value out of range
ztsim: power: ignored get device "toaster": no such device
ztsim: power: ignored get device "sixteen_letters_": no such device
ztsim: power: ignored timeout state 1 value 5: no request has this type
ztsim: power: ignored type 99: no request has this type'
}

ztsim_outlives_more_clients_than_it_has_descriptors_for()
{
    if grep -q __ubsan "$ztsim"; then
        echo "left out: UndefinedBehaviorSanitizer itself needs file descriptors"
        exit 77
    fi
    expect_eq "$(ulimit -Sn 24; "$ztsim" -- bash -c "ulimit -Sn hard; exec python3 -c '
import socket, subprocess, sys
clients = [socket.socket(socket.AF_UNIX) for _ in range(40)]
for client in clients:
    client.connect(\"/var/run/ztpmd_api\")
for client in clients:
    client.close()
subprocess.run([sys.executable, \"$here/power.py\", \"8?\"])'" 2>"$scratch/err")" 10
    expect_eq "$(sort -u "$scratch/err")" \
        "ztsim: power: no more clients for now: Too many open files"
}

$2
[ $failures -eq 0 ]
