#!/usr/bin/env bash
# with_libraries.sh PRESET OTHER COMMAND...: runs COMMAND where the libraries of build/PRESET are mounted over
# those of build/OTHER, so that every program of that build uses them.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

preset=$1
other=$2
shift 2
mounts=()
for library in "$root/build/$preset"/lib/*.so.*.*.*; do
    mounts+=(--bind "$library" "$root/build/$other/lib/${library##*/}")
done
exec bwrap --dev-bind / / --die-with-parent "${mounts[@]}" "$@"
