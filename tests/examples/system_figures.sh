# system_figures.sh ZTSIM EXAMPLE: it prints these figures on the simulated device, whatever the RAM.
set -o pipefail
path=/usr/bin:/bin:/usr/sbin:/sbin:${1%/*} # whole, so that ztsim adds nothing
PATH=$path "$1" -- "$2" ztsim no-such-process |
    sed -E '/ RAM /s/[0-9]+ MiB/N MiB/' |
    diff - <(cat <<END
version    BSP $(uname -r)
total RAM  N MiB
free RAM   N MiB
process    2
PATH       $path
machine    $(uname -m)
ztsim runs
no-such-process does not run
END
)
