#!/bin/bash
# ztsim_test.sh ZTSIM TEST: the command line of ztsim. Each function whose name begins with "ztsim_"
# is a test; "no process is left" is told by the end of a pipe that all of them hold.

ztsim=$1
here=$(dirname "$(readlink -f "$0")")
. "$here/support.sh"

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
    refuse "there is no option --bogus" --bogus -- true
    refuse "there is no option -x" -x true
    local number
    for number in 6 -1 nan inf 1.5 0x1 " 1" "" -18446744073709551615; do
        refuse "--power-state: \"$number\" is not in 0..5" --power-state "$number" -- true
        refuse "--power-timeout: \"$number\" is not in 0..5" --power-timeout "$number=1" -- true
    done
    refuse '--propagation-time: "31" is not in 0..30' --propagation-time 31 -- true
    refuse '--power-timeout: "1" is not of the form NAME=VALUE' --power-timeout 1 -- true
    refuse '--power-timeout: "x" is not in 0..4294967295' --power-timeout 1=x -- true
    refuse '--power-timeout: "1 " is not in 0..4294967295' --power-timeout "1=1 " -- true
    refuse '--power-timeout: "" is not in 0..4294967295' --power-timeout 1= -- true
    refuse '--power-timeout: "4294967296" is not in 0..4294967295' --power-timeout 1=4294967296 -- true
    refuse '--device: *"toaster"' --device toaster=1 -- true
    refuse '--device: "1.5" is not in -2147483648..2147483647' --device touch=1.5 -- true
    refuse "there is no option display=2" --device touch=1 display=2 -- true
    refuse '--power-fault: there is no fault "mishap", but hang-up, *' --power-fault mishap@1 -- true
    refuse '--power-fault: "silence" is not of the form KIND@WHEN' --power-fault silence -- true
    refuse '--power-fault: "silence@0"*' --power-fault silence@0 -- true
    refuse '--power-fault: "hang-up@1"*already' --power-fault silence@1 --power-fault hang-up@1 \
        -- true
    refuse '--power-away: "soon" is not in 0..4294967295' --power-away soon -- true
    refuse '--power-away: "-1" is not in 0..4294967295' --power-away -1 -- true
    refuse '--health-field: there is no field "toaster"' --health-field toaster=1 -- true
    refuse '--health-field: "serial-number" is not of the form NAME=VALUE' --health-field serial-number -- true
    refuse '--health-field: "256" is not in 0..255' --health-field product-type=256 -- true
    refuse '--health-field: "-1" is not in 0..255' --health-field product-type=-1 -- true
    refuse '--health-field: "4294967296" is not in 0..4294967295' --health-field value-32=4294967296 \
        -- true
    refuse '--health-field: "123456789012345678901234567890123" has more than 32 bytes' \
        --health-field part-number=123456789012345678901234567890123 -- true
    refuse '--identity: cannot open /nonesuch: No such file or directory' --identity /nonesuch -- true
    printf '# ours\nserial-number=1\ntoaster=1\n' >"$scratch/fields"
    refuse "--identity: $scratch/fields:3: there is no field \"toaster\"" --identity "$scratch/fields" -- true
    printf '\nserial-number\n' >"$scratch/fields"
    refuse "--identity: $scratch/fields:2: \"serial-number\" is not of the form NAME=VALUE" \
        --identity "$scratch/fields" -- true
    refuse '--health-fault: there is no fault "unknown-device", but hang-up, short-record, unknown-type, unterminated, silence' \
        --health-fault unknown-device@1 -- true
    refuse '--power-fault: there is no fault "unterminated", but *, silence' --power-fault unterminated@1 -- true
    refuse '--script: cannot open /nonesuch: No such file or directory' --script /nonesuch -- true
    refuse '--record: cannot open /nonesuch/record: No such file or directory' --record /nonesuch/record -- true
    refuse "--eeprom: *broken*" --eeprom broken -- true
    local option
    for option in --health-away=1 --health-fault=silence@1 --health-field=field-0=1 \
        --identity=/dev/null; do
        refuse "--no-health-daemon excludes ${option%%=*}" --no-health-daemon $option -- true
    done
    for option in --power-away=1 --power-fault=silence@1 --power-state=1 --power-timeout=1=1 \
        --propagation-time=1 --device=touch=1; do
        refuse "--no-power-daemon excludes ${option%%=*}" --no-power-daemon $option -- true
    done
}

ztsim_says_to_put_two_dashes_before_the_command()
{
    refuse() { expect_failure 125 "$1; see ztsim --help" "$ztsim" "${@:2}"; }
    refuse "put -- before the command: ztsim -- true" true
    refuse "put -- before the command: ztsim -- ls" --no-eth0 ls -la
    refuse "put -- before the command: ztsim -- " ""
    refuse "--power-state: *7*" --power-state 7 true
    refuse "ctl comes first, and takes --pid and --name alone: ztsim ctl --name NAME COMMAND" -v ctl power
}

ztsim_says_that_its_help_cannot_be_written()
{
    local words
    for words in --help --version "ctl --help"; do
        expect_eq "$("$ztsim" $words 2>&1 >/dev/full; echo $?)" $'ztsim: cannot write the output\n125'
    done
}

ztsim_helps()
{
    local help
    help=$("$ztsim" --help 2>&1) || fail "exit code $?"
    for word in "Usage: ztsim*-- COMMAND" "ztsim ctl" --script --record --power-state --power-timeout --device \
        --propagation-time --power-fault --power-away --no-power-daemon --verbose --version \
        --health-field --identity --health-fault --health-away --no-health-daemon --eeprom --no-eth0 \
        serial-number hang-up short-record unknown-type unknown-device unterminated silence cam_output 125 126 127 128; do
        expect_like "$help" "*$word*"
    done
    [[ $help == *--inside* ]] && fail "shows its inside"
    expect_eq "$("$ztsim" --version)" "ztsim $(released)"
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
    expect_failure 125 "cannot set up the sandbox: $reason Try again (*user namespaces*chroot)" \
        env PATH="$scratch:$PATH" "$ztsim" --way namespaces -- true
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
    expect_failure 125 "cannot listen on /var/run/ztpmd_api: Address already in use" \
        env PATH="$scratch:$PATH" "$ztsim" -- true
}

# in_root SCRIPT: runs it, with the programs of this root, where $root is an empty folder to make one of, and
# is removed together with what is mounted on it. "run" runs ztsim there.
in_root()
{
    mkdir "$scratch/root"
    unshare --map-root-user --mount --pid --fork bash -c '
        root=$1 ztsim=$2
        mkdir "$root/usr" "$root/proc" "$root/sys" "$root/run" "$root/dev" "$root/tmp"
        ln -s usr/bin usr/lib usr/lib64 usr/sbin "$root"
        mount --rbind /usr "$root/usr"
        cp "$ztsim" "$root/tmp/ztsim"
        run() { LD_LIBRARY_PATH=$LD_LIBRARY_PATH chroot "$root" /tmp/ztsim "$@" 2>&1; echo "= $?"; }
        '"$1" bash "$scratch/root" "$ztsim"
}

ztsim_says_what_a_root_lacks()
{
    if ldd "$ztsim" | grep -q 'libclang_rt'; then
        echo "left out: a sanitizer does not work without /proc" >&2
        exit 77
    fi
    expect_eq "$(in_root '
        run -- true; run ctl power
        mount -t proc proc "$root/proc"; run -- true
        mkdir "$root/var"; ln -s ../run "$root/var/run"; run -- true')" \
        'ztsim: there is no /proc here: mount it (mount -t proc proc /proc)
= 125
ztsim: there is no /proc here: mount it (mount -t proc proc /proc)
= 125
ztsim: there is no folder /var/run here: make it
= 125
ztsim: there is no folder /sys/bus here: mount /sys (mount -t sysfs sysfs /sys)
= 125'
}

ztsim_says_that_it_is_in_a_chroot()
{
    expect_like "$(in_root '
        mkdir -p "$root/var/run" "$root/sys/bus"
        mount -t proc proc "$root/proc"
        mount --rbind /dev "$root/dev"
        run --way namespaces -- true')" \
        $'ztsim: cannot set up the sandbox in a chroot, where there are no user namespaces: run ztsim outside of it (bwrap: *)\n= 125'
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
    export ZTSIM_TEST=$'with\nnew line' PATH=$PATH:/usr/sbin:/sbin:$(dirname "$ztsim")
    expect_eq "$("$ztsim" -- env -0 | sort -z | sed -z '/^_=/d' | base64)" \
        "$(env -0 | sort -z | sed -z '/^_=/d' | base64)"
}

ztsim_completes_the_path_by_the_folders_of_the_administrator_and_its_own()
{
    local given own
    own=$(dirname "$ztsim")
    for given in /bin:/usr/bin /bin:/usr/bin:/sbin: /sbinx:/usr/bin/sbin:/bin:/usr/bin; do
        expect_eq "$(PATH=$given "$ztsim" -- sh -c 'echo $PATH')" \
            "$given$([[ $given == *:/sbin:* ]] && echo :/usr/sbin || echo :/usr/sbin:/sbin):$own"
    done
    expect_eq "$(PATH=/sbin:/bin:$own:/usr/sbin:/usr/bin "$ztsim" -- sh -c 'echo $PATH')" \
        "/sbin:/bin:$own:/usr/sbin:/usr/bin"
    expect_eq "$(env -u PATH "$ztsim" -- /bin/sh -c 'echo $PATH')" "/bin:/usr/bin:/usr/sbin:/sbin:$own"
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
    expect_eq "$(sed 's/^ztsim: power: //' "$scratch/err")" '<- timeout 2
-> timeout state 2 value 0
<- timeout 4 9
-> timeout state 4 value 9
<- power
fault silence
<- device rs232
-> device "console" state 0
<- device touch -1
-> device "touch" state -1
<- power
-> power state 0
<- power 5
-> new power state 5
<- power 3
-> new power state 3
<- power 6
<- propagation
-> propagation time state 2 value 0
<- propagation 30
-> new propagation time state 2 value 30'
    expect_eq "$("$ztsim" -- python3 "$here/power.py" '8?' 2>&1)" 10
}

ztsim_logs_health_records_if_verbose()
{
    "$ztsim" -v --health-field serial-number=12345678901234567890123456789012 \
        --health-fault unterminated@7 --health-fault short-record@8 -- \
        python3 "$here/health.py" 0 2 12 25,A 20 36 10 10 32,A 99 >/dev/null 2>"$scratch/err"
    expect_eq "$(sed 's/^ztsim: health: //' "$scratch/err")" '<- health field-0
-> field-0 0
<- health product-type
-> product-type 0
<- health serial-number
-> serial-number "12345678901234567890123456789012"
<- health value-20 65
-> value-20 65
<- health value-20
-> value-20 65
<- health value-32
-> value-32 0
<- health part-number
fault unterminated
-> part-number "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx"
<- health part-number
fault short-record
<- health field-17 65
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

# ---------------------------------------------------------------------------- the shell

ztsim_runs_a_shell_without_a_command()
{
    local script='echo $((6 * 7)) $(ls /var/run); exit 3'
    expect_eq "$(SHELL=/bin/sh "$ztsim" <<<"$script" 2>&1; echo $?)" $'42 zthmd_api ztpmd_api\n3'
    expect_eq "$(SHELL='' "$ztsim" --no-power-daemon <<<"$script" 2>&1; echo $?)" $'42 zthmd_api\n3'
    expect_eq "$(env -u SHELL "$ztsim" -- <<<"$script" 2>&1; echo $?)" $'42 zthmd_api ztpmd_api\n3'
    expect_failure 127 "cannot run /nonesuch: No such file or directory" env SHELL=/nonesuch "$ztsim"
}

ztsim_says_on_a_terminal_that_the_shell_is_on_the_device()
{
    local output
    output=$(python3 "$here/terminal.py" $'expect $\ntype exit 4\\n\nexpect out4\ntype hello\\n\nexpect got:hello' \
        sh -c "SHELL=/bin/sh PS1='\$ ' $ztsim; echo out\$?; read -r line; echo got:\$line")
    expect_eq $? 0
    expect_like "$output" $'ztsim: a shell on the simulated device; exit leaves it\n*'
    output=$(python3 "$here/terminal.py" "" "$ztsim" -- echo hello)
    expect_eq "$output" hello
}

# ---------------------------------------------------------------------------- ztsim ctl

# What there is, said on the device.
show='for what in power "timeout 3" propagation "device touch" "health serial-number" "health field-17"; do
        echo "$what: $(ztsim ctl $what)"
    done'

ztsim_ctl_changes_the_device_from_within()
{
    expect_eq "$("$ztsim" -- bash -c '
        ztsim ctl power 4; ztsim ctl timeout 3 4294967295; ztsim ctl propagation 30
        ztsim ctl device touch -5; ztsim ctl health serial-number "A  1"; ztsim ctl health field-17 255
        '"$show"'; ztsim ctl power 6; ztsim ctl power; ztsim ctl device rs232 8; ztsim ctl device console' 2>&1)" \
        'power: 4
timeout 3: 4294967295
propagation: 30
device touch: -5
health serial-number: A  1
health field-17: 255
4
8'
}

ztsim_ctl_takes_decimal_numbers()
{
    expect_eq "$("$ztsim" --power-state 05 --power-timeout 1=010 -- bash -c '
        ztsim ctl power; ztsim ctl timeout 1; ztsim ctl timeout 2 0100; ztsim ctl timeout 2' 2>&1)" $'5\n10\n100'
}

ztsim_ctl_changes_what_clients_see()
{
    expect_eq "$("$ztsim" -- bash -c '
        ztsim ctl health serial-number; ztsim ctl health serial-number 1234; python3 "$0/health.py" 12
        python3 "$0/power.py" "8?" "12?" >'"$scratch/types"' &
        until [ -s '"$scratch/types"' ]; do :; done
        ztsim ctl power 3; wait; cat '"$scratch/types" "$here" 2>&1)" $'\n'"$(answer 13 31323334)"$'\n10\n11'
}

ztsim_ctl_takes_daemons_away()
{
    expect_eq "$("$ztsim" --power-away 0 --health-away 0 -- bash -c '
        cd /var/run
        changes() { stat --format=%z ztpmd_api 2>/dev/null; stat --format=%z zthmd_api 2>/dev/null; }
        for daemon in power health ""; do
            before=$(changes)
            ztsim ctl hang-up $daemon
            now=$(changes)
            until [ $(wc -l <<<"$now") -eq 2 ]; do now=$(changes); done
            paste -d = <(echo "$before") <(echo "$now") | sed -E "s/^(.*)=\1\$/same/; t; s/.*/new/" | xargs
        done
        until python3 "$0/power.py" "8?"; do :; done
        until python3 "$0/health.py" 20; do :; done' "$here" 2>/dev/null)" \
        $'new same\nsame new\nnew new\n10\n'"$(answer 21 "")"
}

ztsim_ctl_takes_daemons_away_however_often()
{
    "$ztsim" --power-away 100 -- bash -c '
        made() { stat --format=%z /var/run/ztpmd_api 2>/dev/null; }
        before=$(made)
        ztsim ctl hang-up power
        until now=$(made) && [ "$now" != "$before" ]; do ztsim ctl hang-up power; done'
    expect_eq $? 0
}

ztsim_ctl_changes_the_device_while_a_daemon_is_away()
{
    expect_eq "$("$ztsim" --power-away 60000 -- bash -c '
        ztsim ctl hang-up power; ztsim ctl power 3; ztsim ctl power' 2>&1)" 3
}

ztsim_ctl_sets_off_faults()
{
    expect_eq "$("$ztsim" --power-fault silence@3 -- bash -c '
        ztsim ctl power-fault unknown-type; ztsim ctl health-fault unterminated
        python3 "$0/power.py" "8?" "8?"; python3 "$0/health.py" 10 10
        ztsim ctl power-fault unknown-type; python3 "$0/power.py" "8?"' "$here" 2>&1)" \
        $'99\n10\n'"$(answer 11 "$(printf '78%.0s' {1..32})"; answer 11 "")"$'\n99'
}

ztsim_ctl_refuses_wrong_usage()
{
    refuse() { expect_failure 125 "$1; see ztsim ctl --help" "$ztsim" ctl "${@:2}"; }
    refuse 'there is no command "", but power, timeout, propagation, device, health, hang-up, power-fault, health-fault, slow, deaf, await, count, records, show and watch'
    refuse 'there is no command "powr", but power, *' powr
    refuse 'there is no command "--bogus", but power, *' --bogus
    refuse "--pid: *" --pid
    refuse '--pid: "x" is not in 1..2147483647' --pid x power
    refuse '--pid: "-1" is not in 1..2147483647' --pid -1 power
    refuse 'power: STATE: "7" is not in 0..6' power 7
    refuse "power: *more" power 1 more
    refuse "timeout: STATE is required" timeout
    refuse 'timeout: STATE: "6" is not in 0..5' timeout 6
    refuse 'timeout: VALUE: "4294967296" is not in 0..4294967295' timeout 1 4294967296
    refuse 'timeout: VALUE: "-18446744073709551615" is not in 0..4294967295' timeout 1 -18446744073709551615
    refuse 'propagation: TIME: "31" is not in 0..30' propagation 31
    refuse 'device: NAME: there is no device "toaster"' device toaster
    refuse 'device: STATE: "x" is not in -2147483648..2147483647' device touch x
    refuse 'health: there is no field "toaster"' health toaster
    refuse 'health: "256" is not in 0..255' health product-type 256
    refuse 'hang-up: *network*' hang-up network
    refuse 'power-fault: there is no fault "unterminated", but hang-up, short-record, unknown-type, unknown-device, silence' \
        power-fault unterminated
    refuse 'health-fault: KIND is required' health-fault
    refuse 'power-fault: "hang-up@0": records are counted from 1' power-fault hang-up@0
    refuse 'power-fault: "101" is not in 0..100' power-fault hang-up@101%
    refuse 'power-fault: "" is not in 0..100' power-fault hang-up@%
    refuse 'power-fault: no record begins with "x", but with power, timeout, propagation, device, health or type' \
        power-fault hang-up@x
    refuse 'power-fault: there is no fault "none", but hang-up, *' power-fault none@3
    refuse 'slow: TIME is required' slow
    refuse 'slow: "200" is no time such as 200ms or 1.5s' slow 200
    refuse 'slow: "x" is not in 0..1000000' slow xms
    refuse 'slow: "1001" is not in 0..1000' slow 1001s
    refuse 'slow: *network*' slow 1s network
    refuse 'deaf: *maybe*' deaf maybe
    refuse 'await: RECORD is required' await
    refuse 'await: no record begins with "powr", but with power, *' await powr
    refuse 'await: --wait: "soon" is not in 0..1000000' await power --wait soon
    refuse 'count: no record begins with "", but with power, *' count ''
    refuse 'show: *more*' show more
    refuse 'list: takes nothing but --json' list more
}

ztsim_ctl_helps()
{
    local help
    help=$("$ztsim" ctl --help) || fail "exit code $?"
    for word in "Usage: ztsim ctl [[]--pid PID|--name NAME] COMMAND" "power [[]STATE]" timeout propagation device health hang-up \
        power-fault health-fault 125; do
        expect_like "$help" "*$word*"
    done
}

ztsim_ctl_says_what_is_not_there()
{
    expect_eq "$("$ztsim" --no-power-daemon --no-health-daemon -- bash -c '
        for command in power "health field-0 1" "hang-up power" "power-fault silence" "hang-up"; do
            ztsim ctl $command 2>&1; echo $?
        done')" \
        'ztsim: there is no power-management daemon
125
ztsim: there is no health-monitor daemon
125
ztsim: there is no power-management daemon
125
ztsim: there is no power-management daemon
125
0'
    expect_like "$("$ztsim" -- bash -c 'ztsim ctl power 2>&1 >/dev/full; echo $?; ztsim ctl --pid 77 power 2>&1')" \
        $'ztsim: cannot write the output\n125\nztsim: no device of process 77 runs here'
}

ztsim_ctl_reaches_the_only_device_from_outside()
{
    local output
    expect_failure 125 "no device runs here: start ztsim in another terminal" alone "$ztsim" ctl power
    output=$(alone bash -c '
        coproc "$0" -- sh -c "echo ready; read -r line"
        read -r line <&${COPROC[0]}
        "$0" ctl power 2; "$0" ctl power; "$0" ctl --pid $COPROC_PID power
        echo >&${COPROC[1]}; wait
        "$0" ctl power' "$ztsim" 2>&1)
    expect_eq "$output" $'2\n2\nztsim: no device runs here: start ztsim in another terminal'
}

ztsim_ctl_is_answered_from_the_start_on()
{
    expect_exit 0 alone python3 -c '
import subprocess, sys, time
ztsim = sys.argv[1]
for round in range(20):
    device = subprocess.Popen([ztsim, "--", "cat"], stdin=subprocess.PIPE)
    time.sleep(round * 0.002)
    ctl = [ztsim, "ctl", "--pid", str(device.pid), "power"]
    while subprocess.run(ctl, stderr=subprocess.DEVNULL, timeout=50).returncode != 0:
        pass
    device.stdin.close()
    assert device.wait() == 0' "$ztsim" >/dev/null
}

ztsim_ctl_asks_which_of_several_devices_is_meant()
{
    local output
    output=$(alone bash -c '
        exec 3> >("$0" --power-state 1 -- sh -c "echo ready; read -r line" >'"$scratch/first"'); first=$!
        exec 4> >("$0" --power-state 2 -- sh -c "echo ready; read -r line" >'"$scratch/second"'); second=$!
        until [ -s '"$scratch/first"' ] && [ -s '"$scratch/second"' ]; do :; done
        "$0" ctl power | sed "s/$first/FIRST/; s/$second/SECOND/"
        "$0" ctl power 2>&1 | sed "s/$first/FIRST/; s/$second/SECOND/; s/: FIRST\(.*\); SECOND\(.*\)/: SECOND\2; FIRST\1/"
        "$0" ctl --pid $first power; "$0" ctl --pid $second power
        "$0" --no-eth0 -- ztsim ctl --pid 1 power 5
        "$0" ctl --pid $second power' "$ztsim" 2>/dev/null)
    expect_eq "$output" "ztsim: several devices run here, choose one with --pid or --name: \
SECOND: $ztsim --power-state 2 -- sh -c echo ready; read -r line; FIRST: $ztsim --power-state 1 -- sh -c echo ready; read -r line
1
2
2"
}

ztsim_ctl_is_for_the_same_user_alone()
{
    if [ "$(id -u)" -ne 0 ]; then
        echo "left out: becoming another user needs root"
        exit 77
    fi
    expect_eq "$(unshare --net bash -c '
        cp "$0" '"$scratch"'/ztsim; chmod 755 '"$scratch"' '"$scratch"'/ztsim
        as_other() { setpriv --reuid=65534 --regid=65534 --clear-groups "$@"; }
        coproc "$0" -- sh -c "echo ready; read -r line"
        read -r line <&${COPROC[0]}
        as_other '"$scratch"'/ztsim ctl power 2 2>&1
        as_other /usr/bin/python3 -c "
import re, socket
name = re.search(\"@(ztsim/.*)\", open(\"/proc/net/unix\").read()).group(1)
device = socket.socket(socket.AF_UNIX)
device.connect(\"\\0\" + name)
try:
    device.sendall(b\"power\\0002\\0\")
    device.shutdown(socket.SHUT_WR)
    print(device.recv(10))
except OSError:
    print(b\"\")"
        "$0" ctl power; echo >&${COPROC[1]}; wait
        coproc as_other '"$scratch"'/ztsim -- sh -c "echo ready; read -r line"
        read -r line <&${COPROC[0]}
        as_other '"$scratch"'/ztsim ctl power 5; as_other '"$scratch"'/ztsim ctl power
        "$0" ctl power 2>&1; echo >&${COPROC[1]}; wait' "$ztsim")" \
        $'ztsim: no device runs here: start ztsim in another terminal\nb\'\'\n0
5\nztsim: no device runs here: start ztsim in another terminal'
}

# Behind the user in an address, but not what ztsim puts there.
no_names=("" x 1 /3 $'4\n5' 99999999999999999999/1 $'\e[31m/9')

ztsim_ctl_passes_over_addresses_that_are_no_devices()
{
    expect_eq "$(alone bash -c '
        coproc exec python3 "$1/impostor.py" $(id -u) "${@:2}"; impostor=$COPROC_PID
        read -r line <&${COPROC[0]}
        "$0" ctl power
        exec 3> >("$0" --power-state 2 -- sh -c "echo ready; read -r line" >'"$scratch/ready"')
        until [ -s '"$scratch/ready"' ]; do :; done
        "$0" ctl power
        kill $impostor' "$ztsim" "$here" "${no_names[@]}" 2>&1)" \
        $'ztsim: no device runs here: start ztsim in another terminal\n2'
}

ztsim_is_not_disturbed_by_another_user()
{
    if [ "$(id -u)" -ne 0 ]; then
        echo "left out: becoming another user needs root"
        exit 77
    fi
    # The numbers of processes to come can be told there.
    expect_eq "$(unshare --net --pid --fork --mount-proc bash -c '
        coproc exec setpriv --reuid=65534 --regid=65534 --clear-groups \
            /usr/bin/python3 - 0 "${@:2}" {2..300} {2..300}/1 <"$1/impostor.py"; impostor=$COPROC_PID
        read -r line <&${COPROC[0]}
        "$0" ctl power
        exec 3> >("$0" --power-state 2 -- sh -c "echo ready; read -r line" >'"$scratch/ready"'); device=$!
        until [ -s '"$scratch/ready"' ] || ! kill -0 $device; do :; done
        "$0" ctl power; "$0" ctl --pid $device power
        kill $impostor' "$ztsim" "$here" "${no_names[@]}" 2>&1)" \
        $'ztsim: no device runs here: start ztsim in another terminal\n2\n2'
}

ztsim_prints_what_is_foreign_with_escapes()
{
    local foreign=$'\e[31m\x7f\xc2\x9b\x9b\xff\xc3\xa4' shown='\x1b[31m\x7f\xc2\x9b\x9b\xff'$'\xc3\xa4' like
    like=${shown//\\/\\\\}
    like=${like/[/[[]}
    expect_eq "$("$ztsim" -v -- ztsim ctl health serial-number "$foreign" 2>&1)" \
        "ztsim: ctl: health serial-number $shown"
    expect_eq "$("$ztsim" --health-field serial-number="$foreign" -- ztsim ctl health serial-number 2>&1)" "$shown"
    expect_like "$("$ztsim" -v --health-field serial-number="$foreign" -- python3 "$here/health.py" 12 2>&1)" \
        "*health: -> serial-number \"$like\"*"
    expect_failure 125 "there is no command \"$like\", but *" "$ztsim" ctl "$foreign"
    expect_failure 127 "cannot run $like: No such file or directory" "$ztsim" -- "$foreign"
    expect_failure 125 'put -- before the command: ztsim -- a\\x0ab; see ztsim --help' "$ztsim" $'a\nb'
    expect_like "$(alone bash -c '
        exec 3> >("$0" -- sh -c "echo ready; read -r line" sh "$1" >'"$scratch/first"')
        exec 4> >("$0" -- sh -c "echo ready; read -r line" sh "$1" >'"$scratch/second"')
        until [ -s '"$scratch/first"' ] && [ -s '"$scratch/second"' ]; do :; done
        "$0" ctl power' "$ztsim" "$foreign" 2>&1)" "*several devices*read -r line sh $like*read -r line sh $like"
}

# ---------------------------------------------------------------------------- scripts and records

ztsim_performs_a_script()
{
    printf '# of our device\n\n0 power 4\n0.05\ttimeout 3  9\n+0 propagation 7\n+0 device touch -2\n+0.02 health serial-number "A  1"\n+0 health field-17 3\n0.08 power 5\n' >"$scratch/script"
    expect_eq "$("$ztsim" --script "$scratch/script" -- bash -c '
        ztsim ctl health serial-number
        until [ "$(ztsim ctl power)" = 5 ]; do :; done
        '"$show" 2>&1 | sed '1s/A  1//')" \
        $'\npower: 5\ntimeout 3: 9\npropagation: 7\ndevice touch: -2\nhealth serial-number: A  1\nhealth field-17: 3'
    expect_eq "$("$ztsim" --script <(echo 0 power 4) -- ztsim ctl power)" 4
}

ztsim_waits_with_each_line_of_a_script_for_its_time()
{
    # Process 1 is started before the script.
    printf '0.4 power 1\n+0.4 propagation 1\n' >"$scratch/script"
    expect_eq "$("$ztsim" --script "$scratch/script" -- python3 -c '
import os, subprocess, time
ticks = int(open("/proc/1/stat").read().rsplit(")", 1)[1].split()[19])
start = ticks / os.sysconf("SC_CLK_TCK")
for what, least in ("power", 0.4), ("propagation", 0.8):
    while subprocess.check_output(["ztsim", "ctl", what]) != b"1\n":
        pass
    print(time.clock_gettime(time.CLOCK_BOOTTIME) - start >= least)')" $'True\nTrue'
}

ztsim_performs_faults_of_a_script()
{
    printf '0 power-fault unknown-type\n0 health-fault unknown-type\n' >"$scratch/script"
    expect_eq "$("$ztsim" --script "$scratch/script" -- bash -c '
        python3 "$0/power.py" "8?" "8?"; python3 "$0/health.py" 20 20' "$here" 2>&1)" \
        $'99\n10\n'"$(answer 99 ""; answer 21 "")"
    printf '0 hang-up\n' >"$scratch/script"
    expect_eq "$("$ztsim" --script "$scratch/script" --power-away 60000 --health-away 60000 -- ls -A /var/run/)" ""
}

ztsim_refuses_wrong_lines_of_a_script()
{
    refuse() # LINE MESSAGE
    {
        printf '# 1\n%s\n' "$1" >"$scratch/script"
        expect_failure 125 "$scratch/script:2: $2; see ztsim --help" "$ztsim" --script "$scratch/script" -- echo ran
    }
    refuse 1 '"1" is not of the form COMMAND or TIME COMMAND'
    refuse watch 'a script does not watch'
    local time
    for time in -1 nan inf 1e7 1e400 0x1; do
        refuse "$time power 2" "time \"$time\" is not in 0..1000000"
    done
    refuse "+ power 2" 'time "" is not in 0..1000000'
    refuse "1 toast" 'there is no command "toast", but power, timeout, *'
    refuse "1 power 7" 'power: STATE: "7" is not in 0..6'
    refuse "1 health serial-number 123456789012345678901234567890123" '*has more than 32 bytes'
    printf '2 power 1\n1 power 2\n' >"$scratch/script"
    expect_failure 125 "$scratch/script:2: time 1 is before that of the line before; *" \
        "$ztsim" --script "$scratch/script" -- echo ran
}

ztsim_says_which_line_of_a_script_cannot_be_performed()
{
    printf '0 power 2\n0 health field-0 4\n' >"$scratch/script"
    expect_eq "$("$ztsim" --no-power-daemon --script "$scratch/script" -- ztsim ctl health field-0 2>&1)" \
        $'ztsim: script: 0 power 2: there is no power-management daemon\n4'
}

ztsim_logs_commands_if_verbose()
{
    printf '0 power 2\n' >"$scratch/script"
    expect_eq "$("$ztsim" -v --script "$scratch/script" -- ztsim ctl device touch 7 2>&1)" \
        $'ztsim: script: 0 power 2\nztsim: ctl: device touch 7'
}

ztsim_logs_the_local_time()
{
    expect_eq "$(TZ=XYZ-5:30 "$ztsim" -v --time -- bash -c '
        date "+%F %T.%3N"; ztsim ctl power 2; date "+%F %T.%3N"' 2>&1 | tee "$scratch/log" | cut -d ' ' -f 3-)" \
        $'\nztsim: ctl: power 2'
    cut -d ' ' -f 1-2 "$scratch/log" | sort -c || fail "$(cat "$scratch/log")"
}

ztsim_logs_into_a_file()
{
    echo old >"$scratch/log"
    expect_eq "$("$ztsim" --log "$scratch/log" --power-fault silence@2 -- bash -c '
        ztsim ctl power 2; python3 "$0/power.py" 8? 99 8?' "$here" 2>&1 >/dev/null | grep ztsim)" ""
    expect_like "$(cat "$scratch/log")" "ztsim: ctl: power 2
ztsim: power: <- power
ztsim: power: -> power state 2
ztsim: power: <- type 99
ztsim: power: fault silence
ztsim: power: <- power
ztsim: power: -> power state 2"
    expect_failure 125 "--log: cannot open $scratch/no/log: No such file or directory; see ztsim --help" \
        "$ztsim" --log "$scratch/no/log" -- true
    expect_eq "$("$ztsim" --log /dev/full -- ztsim ctl power 2 2>&1)" \
        "ztsim: cannot write into the log any more: No space left on device"
    expect_eq "$("$ztsim" --log "$scratch/log" -- sh -c 'ls -l /proc/self/fd | grep -c "$0"' "$scratch/log")" 0
}

# What was recorded, without the times.
recorded()
{
    sed -E '1d; s/^(# )?[0-9]+\.[0-9]{3} /\1/' "$scratch/record"
}

ztsim_records_what_clients_say()
{
    "$ztsim" --record "$scratch/record" --power-fault silence@3 --health-fault unknown-type@3 -- bash -c '
        python3 "$0/power.py" 0,2? 1,4,9? 8 3,rs232,0? 4,touch,-1? 8? 9,5? 13? 12 14,2? 15,2,30? 9,4 3,toaster,0 99 8?
        python3 "$0/health.py" 12 25,A 20 99 32,A' "$here" >/dev/null 2>&1
    expect_eq "$(recorded)" 'timeout 2
timeout 4 9
# power: silence
device rs232
device touch -1
power
power 5
power 3
power 6
propagation
propagation 30
# power 4: state out of range
# device toaster: no such device
# type 99: no request has this type
power
health serial-number
health value-20 65
# health value-20: unknown-type
# type 99: no request has this type
health field-17 65'
    expect_like "$(head -n 1 "$scratch/record")" "# *ztsim --script*"
}

ztsim_plays_what_it_has_recorded()
{
    "$ztsim" --record "$scratch/record" -- bash -c '
        python3 "$0/power.py" 1,3,9? 15,2,7? 4,touch,-2? 9,5? 12 99 8?; python3 "$0/health.py" 32,A' "$here" >/dev/null 2>&1
    sed 's/^[0-9.]* /0 /' "$scratch/record" >"$scratch/script"
    expect_eq "$("$ztsim" --script "$scratch/script" -- bash -c 'until [ "$(ztsim ctl health field-17)" = 65 ]; do :; done
        '"$show" 2>&1)" \
        $'power: 5\ntimeout 3: 9\npropagation: 7\ndevice touch: -2\nhealth serial-number: \nhealth field-17: 65'
}

ztsim_records_at_the_time_it_happens()
{
    "$ztsim" --record "$scratch/record" -- bash -c 'python3 "$0/power.py" "8?"; sleep 0.5; python3 "$0/power.py" "8?"
        cat '"$scratch/record" "$here" >"$scratch/seen"
    expect_eq "$(grep -c 'power$' "$scratch/seen")" 2
    expect_eq "$(awk '/power/ { times[++count] = $1 } END { print count, (times[2] - times[1] >= 0.5) }' "$scratch/record")" "2 1"
}

ztsim_says_when_it_cannot_record_any_more()
{
    expect_eq "$("$ztsim" --record /dev/full -- python3 "$here/power.py" '8?' '8?' 2>&1)" \
        $'ztsim: cannot record any more: No space left on device\n10\n10'
}

ztsim_reads_the_identity_from_a_file()
{
    printf '# of our device\n\nserial-number=1234\nproduct-type=5' >"$scratch/fields"
    expect_eq "$("$ztsim" --identity "$scratch/fields" -- python3 "$here/health.py" 12 2)" \
        "$(answer 13 31323334; answer 3 05)"
    expect_eq "$("$ztsim" --identity <(cat "$scratch/fields") -- python3 "$here/health.py" 12)" \
        "$(answer 13 31323334)"
    expect_eq "$("$ztsim" --health-field product-type=6 --identity "$scratch/fields" -- \
        python3 "$here/health.py" 2)" "$(answer 3 06)"
}

ztsim_logs_what_it_ignores()
{
    "$ztsim" -- python3 "$here/power.py" 0,6 9,4 15,2,31 15,3,5 3,toaster,0 \
        3,sixteen_letters_,1684234849 $'3,T"\\\n-\x7f,0' 2,1,5 99 '8?' \
        >/dev/null 2>"$scratch/err"
    expect_eq "$(cat "$scratch/err")" \
        'ztsim: power: ignored timeout 6: state out of range
ztsim: power: ignored power 4: state out of range
ztsim: power: ignored propagation 31: value out of range
ztsim: power: ignored propagation 5 of state 3: state out of range
ztsim: power: ignored device toaster: no such device
ztsim: power: ignored device sixteen_letters_: no such device
ztsim: power: ignored device "T\x22\x5c\x0a-\x7f": no such device
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

# ---------------------------------------------------------------------------- what comes with it

# complete WORD...: what bash offers for the last of them
complete_words()
{
    bash -c '. "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _ztsim; echo "${COMPREPLY[*]}"' \
        "$here/../../tools/ztsim/ztsim.bash" "$@"
}

# Each of its words on a line.
lines() { tr ' ' '\n' <<<"$*" | sort; }

# options HELP: those that it tells of
options() { sed -nE 's/^  (-[hv],)?(--[a-z0-9-]+).*/\2/p' <<<"$1" | sort; }

ztsim_completes_in_bash()
{
    expect_eq "$(lines "$(complete_words ztsim --)")" "$(lines "-- $(options "$("$ztsim" --help)" | xargs -d '\n')")"
    expect_eq "$(complete_words ztsim c)" ctl
    expect_eq "$(complete_words ztsim -v c)" ""
    expect_eq "$(complete_words ztsim --power-fault s)" "short-record@ silence@"
    expect_eq "$(complete_words ztsim --health-field serial)" serial-number=
    expect_eq "$(complete_words ztsim --device cam)" cam_output=
    expect_eq "$(complete_words ztsim --eeprom l)" locked
    expect_eq "$(cd "$scratch" && touch file && complete_words ztsim --script fi)" file
    expect_like " $(complete_words ztsim -v -- tru) " "* true *"
    expect_eq "$(complete_words ztsim ctl --)" "--pid --name --help"
    expect_eq "$(complete_words ztsim ctl po)" "power power-fault"
    expect_eq "$(complete_words ztsim ctl --name a deaf o)" "on off"
    expect_eq "$(complete_words ztsim ctl slow 1s p)" power
    expect_eq "$(complete_words ztsim ctl await --s)" ""
    expect_eq "$(complete_words ztsim ctl await power --s)" --since-start
    expect_eq "$(complete_words ztsim ctl --pid 5 hang-up h)" health
    # The commands are those that ztsim knows, and so is each name.
    local command name
    for command in $(complete_words ztsim ctl ''); do
        [[ $command == --* || $command == list ]] || expect_like "$("$ztsim" ctl --help)" "*"$'\n'"  $command *"
    done
    for name in $(complete_words ztsim ctl device ''); do
        echo "0 device $name 0"
    done >"$scratch/script"
    for name in $(complete_words ztsim ctl health ''); do
        echo "0 health $name 0"
    done >>"$scratch/script"
    for name in $(complete_words ztsim ctl await ''); do
        echo "0 count $name"
    done >>"$scratch/script"
    for name in $(complete_words ztsim ctl power-fault ''); do
        echo "0 power-fault $name"
    done >>"$scratch/script"
    for name in $(complete_words ztsim ctl health-fault ''); do
        echo "0 health-fault $name"
    done >>"$scratch/script"
    expect_eq "$(wc -l <"$scratch/script")" $((21 + 16 + 6 + 6 + 6))
    expect_eq "$("$ztsim" --script "$scratch/script" -- echo ran 2>&1)" ran
}

ztsim_has_a_manual_page()
{
    local page=$here/../../tools/ztsim/ztsim.1 word
    for word in $(options "$("$ztsim" --help)"); do
        grep -qF -- "${word//-/\\-}" "$page" || fail "nothing about $word"
    done
    for word in $(complete_words ztsim ctl ''); do
        grep -qF -- "${word//-/\\-}" "$page" || fail "nothing about $word"
    done
    if command -v groff >/dev/null; then
        expect_eq "$(groff -man -Tascii -ww "$page" 2>&1 >/dev/null)" ""
    fi
}

$2
[ $failures -eq 0 ]
