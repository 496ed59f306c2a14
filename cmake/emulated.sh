#!/bin/sh
# emulated.sh PROGRAM EMULATOR...: moves PROGRAM to PROGRAM.elf and puts a script in its place that runs it
# in the emulator. So it is started by its name like any other program, by itself too.
set -eu
program=$1
shift
mv "$program" "$program.elf"
cat >"$program" <<EOF
#!/bin/sh
ZT_EMULATED=1 exec $* -0 "\$0" "$program.elf" "\$@"
EOF
chmod +x "$program"
