#!/bin/bash
# ztsim_way_test.sh ZTSIM CONFINED TEST: devices without namespaces. CONFINED runs a command as in a container
# with Docker's default rules. Each function whose name begins with "ztsim_" is a test.

ztsim=$1 confined=$2
shift
here=$(dirname "$(readlink -f "$0")")
built=$(dirname "$ztsim")
. "$here/support.sh"

# What is left of a device is left there.
mkdir "$scratch/tmp"
export TMPDIR=$scratch/tmp

# expect_nothing_left
expect_nothing_left()
{
    expect_eq "$(ls -A "$scratch/tmp")" ""
}

# install_for_all: ztsim where every user may run it, as $scratch/bin/ztsim
install_for_all()
{
    mkdir -p "$scratch/bin" "$scratch/lib/ztsim"
    cp "$ztsim" "$scratch/bin"
    cp "$built/../lib/ztsim/libztsim_preload.so" "$scratch/lib/ztsim"
    chmod -R a+rX "$scratch"
    chmod 1777 "$scratch/tmp"
}

needs_root()
{
    if [ "$(id -u)" -ne 0 ]; then
        echo "left out: becoming another user needs root"
        exit 77
    fi
}

as_other() { setpriv --reuid=65534 --regid=65534 --clear-groups "$@"; }

missing=": the device has no eth0, and its processes, user and network are those of this machine"

# A program meets the daemons and the EEPROM, and changes the device that it is on.
visit='
    cd /; test -S /var/run/ztpmd_api -a -r /dev/eeprom2 && python3 "$0/power.py" "8?" 9,5 && python3 "$0/health.py" 12
    until [ "$(ztsim ctl power)" = 5 ]; do :; done; echo 3 >/proc/sys/vm/drop_caches
    printf abcd >/sys/bus/i2c/devices/1-0050/app && cat /sys/bus/i2c/devices/1-0050/app
    echo; ztsim ctl show | grep -e eth0 -e eeprom; exit 7'
visited="10
$(answer 13 4131)
abcd
eeprom open
eth0 false"

# expect_visit REASON COMMAND...: in front of bash, COMMAND runs ztsim where it chooses to do without namespaces.
expect_visit()
{
    local output
    output=$("${@:2}" --health-field serial-number=A1 -- bash -c "$visit" "$here" 2>"$scratch/err")
    expect_eq "$?" 7
    expect_eq "$output" "$visited"
    expect_like "$(cat "$scratch/err")" "ztsim: no namespaces here (bwrap: $1)$missing"
    expect_nothing_left
}

# ---------------------------------------------------------------------------- chosen by itself

ztsim_does_without_namespaces_under_the_filter_of_a_container()
{
    expect_visit "No permissions to create new namespace" "$confined" "$ztsim"
}

ztsim_does_without_namespaces_for_an_ordinary_user_of_a_container()
{
    needs_root
    install_for_all
    cp "$here"/*.py "$scratch"
    chmod a+r "$scratch"/*.py
    here=$scratch
    expect_visit "No permissions to create new namespace" as_other "$confined" "$scratch/bin/ztsim"
    expect_visit "No permissions to create new namespace" "$confined" setpriv --reuid=65534 --regid=65534 \
        --clear-groups "$scratch/bin/ztsim"
}

ztsim_does_without_namespaces_where_none_are_left()
{
    # In a user namespace of its own, or the system would have none left.
    local host
    host=$(readlink /proc/self/ns/user)
    expect_visit "Creating new namespace failed: *" unshare --map-root-user sh -c "
        [ \$(readlink /proc/self/ns/user) != '$host' ] && echo 0 >/proc/sys/user/max_user_namespaces &&
        exec '$ztsim' \"\$@\"" sh
}

ztsim_does_without_namespaces_where_proc_is_masked()
{
    # As Docker does it, without its filter.
    expect_visit "Can't mount proc on /newroot/proc: Operation not permitted" \
        unshare --map-root-user --mount --pid --fork --mount-proc bash -c '
        for file in kcore keys timer_list sched_debug latency_stats; do
            [ ! -e /proc/$file ] || mount --bind /dev/null /proc/$file
        done
        for folder in acpi scsi; do
            [ ! -e /proc/$folder ] || mount -t tmpfs -o ro none /proc/$folder
        done
        for folder in bus fs irq sys sysrq-trigger; do
            mount --bind /proc/$folder /proc/$folder && mount -o remount,bind,ro /proc/$folder
        done 2>/dev/null
        exec "$0" "$@"' "$ztsim"
}

ztsim_says_why_there_are_no_namespaces_if_they_are_asked_for()
{
    expect_failure 125 "cannot set up the sandbox: bwrap: No permissions to create new namespace, *" \
        "$confined" "$ztsim" --way namespaces -- echo ran
}

ztsim_says_nothing_if_it_is_asked_to_do_without_namespaces()
{
    expect_eq "$("$ztsim" --way preload -- bash -c 'test -S /var/run/zthmd_api && echo ran' 2>&1)" ran
    expect_failure 125 "--way: *nothing*; see ztsim --help" "$ztsim" --way nothing -- true
}

ztsim_is_on_the_device_that_it_starts()
{
    # A device on another: with namespaces, and without.
    expect_eq "$("$ztsim" --way preload --power-state 1 -- sh -c '
        ztsim --power-state 2 -- ztsim ctl power; ztsim --way preload --power-state 3 -- ztsim ctl power
        ztsim --power-state 4 -- sh -c "echo \$ZTSIM_DEVICE\$ZTSIM_ROOT; '"$built"'/zt power state"
        ztsim ctl power' 2>&1)" $'2\n3\n\nsilent-on\n1'
    expect_nothing_left
}

ztsim_tells_python_which_device_it_is_on()
{
    expect_eq "$(PYTHONPATH=$here/../../testkit/python "$ztsim" --way preload --power-state 1 -- \
        ztsim --way preload --power-state 2 -- /usr/bin/python3 -Bc 'import ztsim; print(ztsim.Device().power_state())')" 2
}

# ---------------------------------------------------------------------------- what is served

ztsim_serves_the_library_without_namespaces()
{
    expect_eq "$("$ztsim" --way preload --power-state 3 --health-field product-type=7 -- sh -c \
        "'$built/zt' power state; '$built/zt' eeprom product-type" 2>&1)" $'3\n7'
    expect_eq "$("$ztsim" --way preload --eeprom locked -- bash -c "ls /dev/eeprom2 2>/dev/null
        printf abcd >/sys/bus/i2c/devices/1-0050/app
        until [ -e /dev/eeprom2 ]; do :; done; ztsim ctl show | grep eeprom" 2>&1)" "eeprom open"
}

ztsim_keeps_the_network_of_the_machine_as_it_is()
{
    local way
    for way in preload machine; do
        # In a network that root might change.
        expect_eq "$(unshare --map-root-user --net --mount bash -c '
            mount -t tmpfs none "$(readlink -f /var/run)"; mount -t tmpfs none /dev
            "$0" --way '$way' -- sh -c "ifconfig lo up; mount -t tmpfs none /mnt" 2>&1' "$ztsim" | grep :)" \
            "SIOCSIFFLAGS: Operation not permitted
mount: /mnt: permission denied."
    done
}

ztsim_leads_the_calls_that_take_a_path()
{
    expect_eq "$("$ztsim" --way preload -- python3 -c '
import os, pathlib, socket, subprocess
device, power = "/dev/eeprom2", "/var/run/ztpmd_api"
with open(device, "w") as file:
    file.write("kept")
print(open(device).read(), os.stat(device).st_size, os.lstat(device).st_size, os.access(device, os.R_OK))
print(os.stat("eeprom2", dir_fd=os.open(os.environ["ZTSIM_ROOT"] + "/dev", os.O_RDONLY)).st_size)
print(subprocess.check_output(["cat", device]), subprocess.check_output(["ls", "-l", device])[-13:])
print(pathlib.Path(power).is_socket(), socket.socket(socket.AF_UNIX).connect_ex(power))
os.unlink(os.environ["ZTSIM_ROOT"] + power)
listener = socket.socket(socket.AF_UNIX)
listener.bind(power)
listener.listen()
print(socket.socket(socket.AF_UNIX).connect_ex(power), socket.socket(socket.AF_UNIX).connect_ex("\0" + power) != 0)
print(open("/dev/null").read() == "", os.path.exists("/dev/eeprom3"), os.stat(os.open(device, os.O_RDONLY)).st_size)')" \
        "kept 4 4 True
4
b'kept' b'/dev/eeprom2\\n'
True 0
0 True
True False 4"
    [ -e /dev/eeprom2 ] && fail "the machine has the device's EEPROM"
}

ztsim_completes_what_is_preloaded_already()
{
    local check=verify_asan_link_order=0
    expect_like "$("$ztsim" --way preload -- sh -c 'echo $LD_PRELOAD $ASAN_OPTIONS
        exec ztsim --way preload -- sh -c "echo \$LD_PRELOAD \$ASAN_OPTIONS"')" \
        "$scratch/tmp/ztsim-*/preload.so $check"$'\n'"$scratch/tmp/ztsim-*/preload.so:$scratch/tmp/ztsim-*/preload.so $check:$check"
}

ztsim_serves_from_folders_with_blanks()
{
    mkdir "$scratch/a b" "$scratch/a b/tmp"
    cp -r "$built/../lib/ztsim" "$scratch/a b/ztsim-lib"
    mkdir "$scratch/a b/bin" "$scratch/a b/lib"
    mv "$scratch/a b/ztsim-lib" "$scratch/a b/lib/ztsim"
    cp "$ztsim" "$scratch/a b/bin"
    expect_like "$(TMPDIR="$scratch/a b/tmp" "$scratch/a b/bin/ztsim" --way preload -- sh -c \
        'test -S /var/run/ztpmd_api && echo $ZTSIM_ROOT' 2>&1)" "/tmp/ztsim-*"
}

# refused COMMAND...: and nothing of it was run
refused() { expect_failure 125 "$1" "$ztsim" --way preload -- "${@:2}"; }

ztsim_refuses_programs_that_it_cannot_serve()
{
    local advice=' (root of a throw-away container may use --way machine)'
    python3 - "$scratch" <<'PROGRAM'
import struct, sys
program = bytearray(open("/bin/true", "rb").read())
wide = program[4] == 2
start, = struct.unpack_from("<Q" if wide else "<I", program, 32 if wide else 28)
size, count = struct.unpack_from("<HH", program, 54 if wide else 42)
def save(name, content):
    with open(sys.argv[1] + "/" + name, "wb") as file:
        file.write(content)
static = bytearray(program)
for place in range(start, start + size * count, size):
    if struct.unpack_from("<I", static, place)[0] == 3:  # PT_INTERP
        struct.pack_into("<I", static, place, 0)
save("static", static)
struct.pack_into("<H", program, 18, 243)  # RISC-V
save("foreign", program)
save("script", f"#! {sys.argv[1]}/static -x\n".encode())
save("wrapper", f"#!{sys.argv[1]}/script\n".encode())
PROGRAM
    chmod +x "$scratch"/{static,foreign,script,wrapper}
    refused "cannot serve $scratch/static without namespaces: it is statically linked$advice" "$scratch/static"
    refused "cannot serve $scratch/static without namespaces: it is statically linked$advice" "$scratch/script"
    refused "cannot serve $scratch/static without namespaces: it is statically linked$advice" "$scratch/wrapper"
    refused "cannot serve $scratch/foreign without namespaces: it is for another processor$advice" "$scratch/foreign"
    PATH=/nonesuch:$scratch:$PATH refused "cannot serve $scratch/static without namespaces: *" static
    expect_nothing_left
    # Chosen by itself, it says both.
    expect_eq "$("$confined" "$ztsim" -- "$scratch/static" 2>&1 | sed 1d)" \
        "ztsim: cannot serve $scratch/static without namespaces: it is statically linked$advice"
}

ztsim_refuses_setuid_programs_that_it_cannot_serve()
{
    needs_root
    if grep -q '^NoNewPrivs:.*1' /proc/self/status; then
        echo "left out: no program gets rights of its own here"
        exit 77
    fi
    install_for_all
    local bit
    for bit in 4755 2755; do
        install -m $bit "$(type -P true)" "$scratch/privileged"
        expect_failure 125 "cannot serve $scratch/privileged without namespaces: it has rights of its own (setuid) *" \
            as_other "$scratch/bin/ztsim" --way preload -- "$scratch/privileged"
        # Where such programs get no rights, and to root, it is one like any other.
        expect_exit 0 as_other setpriv --no-new-privs "$scratch/bin/ztsim" --way preload -- "$scratch/privileged"
        expect_exit 0 "$scratch/bin/ztsim" --way preload -- "$scratch/privileged"
    done
}

ztsim_says_that_its_library_is_missing()
{
    mkdir "$scratch/bin"
    cp "$ztsim" "$scratch/bin"
    expect_failure 125 "there is no $scratch/lib/ztsim/libztsim_preload.so: install it with ztsim" \
        "$scratch/bin/ztsim" --way preload -- true
    expect_nothing_left
}

# ---------------------------------------------------------------------------- the rest of ztsim

# claims_hold SCRIPT CLAIM...: tests of devices with namespaces, on one without.
claims_hold()
{
    printf '#!/bin/sh\n[ "$1" = ctl ] || set -- --way preload "$@"\nexec "%s" "$@"\n' "$ztsim" >"$scratch/ztsim"
    chmod +x "$scratch/ztsim"
    local claim
    for claim in "${@:2}"; do
        bash "$here/$1" "$scratch/ztsim" "ztsim_$claim" || fail "$claim"
    done
    expect_nothing_left
}

ztsim_has_its_daemons_without_namespaces()
{
    claims_hold ztsim_test.sh answers_every_health_request misanswers_health_requests ctl_sets_off_faults \
        ctl_changes_what_clients_see ctl_takes_daemons_away_however_often
}

ztsim_runs_commands_without_namespaces()
{
    claims_hold ztsim_test.sh hands_over_the_exit_code_of_the_command adds_128_to_the_signal_that_killed_the_command \
        says_which_command_was_not_found says_which_command_is_not_executable hands_over_the_arguments_as_they_are \
        leaks_no_file_descriptor replaces_closed_standard_streams starts_the_command_with_default_signal_handling \
        passes_each_signal_on_once loses_no_signal_at_its_start leaves_it_to_the_command_what_ctrl_c_does \
        says_130_after_ctrl_c tells_the_command_that_the_terminal_hung_up runs_an_interactive_shell
}

ztsim_is_controlled_without_namespaces()
{
    claims_hold ztsim_test.sh ctl_changes_the_device_from_within ctl_reaches_the_only_device_from_outside \
        ctl_says_what_is_not_there performs_a_script plays_what_it_has_recorded
    claims_hold ztsim_ctl_test.sh says_when_its_daemons_listen \
        closes_the_descriptor_when_it_has_said_that_it_is_ready ends_with_its_lifeline \
        ctl_reaches_devices_by_their_names refuses_a_name_that_is_taken runs_ten_devices_at_once \
        ctl_watches_up_to_the_end_of_the_device waits_in_a_script_for_what_a_program_says \
        runs_a_script_as_fast_as_the_program_hears_it ctl_makes_a_daemon_deaf ctl_counts_records
}

ztsim_leaves_nothing_without_namespaces()
{
    claims_hold ztsim_test.sh kills_what_the_command_leaves_running killed_leaves_no_process \
        killed_at_its_start_leaves_no_process reaps_what_the_command_orphans
}

# ---------------------------------------------------------------------------- what is left

# Of a device with a name and a busy COMMAND: its processes, by the end of a pipe that all of them hold, its
# addresses and its folder. In the order: ztsim, the inside, COMMAND.
killed='
import os, pathlib, signal, subprocess, sys
ztsim, way, victim = sys.argv[1:4]
def parent(pid):
    try:
        return int(pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[1])
    except OSError:  # it is gone
        return 0
def child(pid):
    return next(int(path.name) for path in pathlib.Path("/proc").glob("[0-9]*") if parent(path.name) == pid)
device = subprocess.Popen([ztsim, "--way", way, "--name", "killed", "--", "bash", "-c", """
    trap "" TERM HUP
    setsid sh -c "sleep infinity & sleep infinity" &
    echo ready; while :; do sleep 1; done"""], stdout=subprocess.PIPE, text=True)
assert device.stdout.readline() == "ready\n"
sys.excepthook = lambda *error: (device.kill(), sys.__excepthook__(*error))
processes = [device.pid]
while len(processes) < 3 + (way == "namespaces"):  # there bubblewrap comes between
    processes.append(child(processes[-1]))
if way == "namespaces":
    del processes[1]
os.kill(processes[["ztsim", "inside", "command"].index(victim)], signal.SIGKILL)
print(repr(device.stdout.read()), device.wait())
print([line for line in open("/proc/net/unix") if "/killed" in line])'

ztsim_leaves_nothing_if_one_of_its_processes_is_killed()
{
    local way victim code
    for way in namespaces preload; do
        for victim in ztsim:-9 inside:125 command:137; do
            code=${victim#*:} victim=${victim%:*}
            expect_eq "$(alone python3 -c "$killed" "$ztsim" $way $victim 2>"$scratch/err")" $'\'\' '"$code"$'\n[]'
            expect_nothing_left
            [ $way-$victim != preload-inside ] ||
                expect_eq "$(cat "$scratch/err")" "ztsim: the device was killed by signal 9"
        done
    done
}

ztsim_kills_no_process_but_those_of_its_device()
{
    expect_eq "$(bash -c '
        sleep infinity >/dev/null 2>&1 & echo $! >"$1"
        exec "$0" --way preload -- bash -c "kill -KILL \$PPID; sleep infinity"' "$ztsim" "$scratch/other" 2>&1)" \
        "ztsim: the device was killed by signal 9"
    kill "$(cat "$scratch/other")" || fail "another process was killed"
}

# ---------------------------------------------------------------------------- on the machine

# on_machine SCRIPT: runs it as root of a machine of its own, whose /run and /dev can be written.
on_machine()
{
    unshare --map-root-user --mount --net bash -c '
        ztsim=$0 here=$1 folder=$2
        mkdir "$folder"
        mount -t tmpfs none "$folder"
        for device in null urandom; do touch "$folder/$device"; mount --bind /dev/$device "$folder/$device"; done
        mount --rbind "$folder" /dev
        mount -t tmpfs none "$(readlink -f /var/run)"
        '"$1" "$ztsim" "$here" "$scratch/dev" 2>&1
    rmdir "$scratch/dev"
}

ztsim_can_have_the_real_paths()
{
    expect_eq "$(on_machine '
        "$ztsim" --way machine --power-state 2 -- sh -c "
            ls -A /var/run/ /dev; env | grep -e PRELOAD -e ZTSIM_ROOT; python3 $here/power.py 9,5 8?
            until [ \$(ztsim ctl power) = 5 ]; do :; done; ztsim ctl show | grep eth0; exit 7"
        echo $?; ls -A /var/run/ /dev')" \
        '/dev:
eeprom2
null
urandom

/var/run/:
zthmd_api
ztpmd_api
11
eth0 false
7
/dev:
null
urandom

/var/run/:'
    expect_nothing_left
}

ztsim_leaves_nothing_at_the_real_paths_if_it_is_killed()
{
    echo "$killed" >"$scratch/killed.py"
    expect_eq "$(on_machine '
        for victim in ztsim inside command; do
            python3 "'"$scratch"'/killed.py" "$ztsim" machine $victim 2>"'"$scratch/err"'"
            ls -A /var/run/; ls /dev | grep eeprom2
        done')" $'\'\' -9\n[]\n\'\' 125\n[]\n\'\' 137\n[]'
}

ztsim_overwrites_nothing_on_the_machine()
{
    expect_eq "$(on_machine '
        touch /dev/eeprom2
        "$ztsim" --way machine -- echo ran; ls /dev/eeprom2; rm /dev/eeprom2
        ln -s /nonesuch /var/run/zthmd_api
        "$ztsim" --way machine -- echo ran; readlink /var/run/zthmd_api; rm /var/run/zthmd_api
        "$ztsim" --way machine -- sh -c "ztsim --way machine -- echo ran; ls -A /var/run/"
        "$ztsim" --way machine --eeprom locked -- echo ran; ls -A /var/run/')" \
        'ztsim: there is /dev/eeprom2 on this machine already: it is not overwritten
/dev/eeprom2
ztsim: there is /var/run/zthmd_api on this machine already: it is not overwritten
/nonesuch
ztsim: another device is on this machine already
zthmd_api
ztpmd_api
ztsim: cannot make /sys/bus/i2c/devices/1-0050/app'
}

$2
[ $failures -eq 0 ]
