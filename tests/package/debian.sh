#!/usr/bin/env bash
# Makes the packages in a bare Debian, those for this machine twice over, in other folders and at other times, and
# compares; installs those of both architectures beside each other in another bare Debian, and uses and removes them.
# Needs root, for debootstrap.
#
# It leaves build/bare, which the next run begins with.
set -euo pipefail
cd "$(dirname "$0")/../.."

root=$PWD/build/bare
scratch=$(mktemp -d "$PWD/build/debian.XXXXXX")
trap 'rm -rf "$scratch"' EXIT

# inside ROOT COMMAND...: as root there.
inside() {
    local folder=$1
    shift
    bwrap --bind "$folder" / --dev /dev --proc /proc --tmpfs /run --bind-try /sys /sys --unshare-pid --die-with-parent \
        --ro-bind /etc/resolv.conf /etc/resolv.conf --cap-add ALL --clearenv --setenv PATH /usr/sbin:/usr/bin:/sbin:/bin \
        --setenv HOME /root --setenv DEBIAN_FRONTEND noninteractive --setenv LC_ALL C "$@"
}

# source FOLDER: what git knows here, changed or not.
source_to() {
    mkdir -p "$1"
    git ls-files -z --cached --others --exclude-standard |
        tar --create --null --files-from - --ignore-failed-read | tar --extract --directory "$1"
}

# packs ROOT FOLDER [--armhf]
packs() {
    inside "$1" "$2/script/package" "${@:3}" >"$scratch/log" 2>&1 || {
        cat "$scratch/log"
        return 1
    }
}

installed() { inside "$1" dpkg-query --show --showformat '${Package}:${Architecture}\n' | sort; }
files() { (cd "$1" && find etc usr var/lib/dpkg/info -not -type d -not -path '*/__pycache__/*' | sort); }
size() { inside "$1" dpkg-query --show --showformat '${Installed-Size}\n' | awk '{ sum += $1 } END { print sum }'; }

# What packing needs is what bootstrap installs for it, and none of what tests do.
check_packing() {
    local before count room
    cp -a "$root" "$scratch/maker"
    before=$(size "$scratch/maker")
    count=$(installed "$scratch/maker" | wc -l)
    source_to "$scratch/maker/one"
    packs "$scratch/maker" /one
    room=$((($(size "$scratch/maker") - before) / 1000))
    echo "debian: script/package brings $(($(installed "$scratch/maker" | wc -l) - count)) packages, $room MB"
    ! installed "$scratch/maker" | grep -E '^(libgtest-dev|libbenchmark-dev|libglib2.0-dev|libuv1-dev|lintian|clang.*|qemu-.*):' ||
        return 1
    packs "$scratch/maker" /one --armhf

    source_to "$scratch/maker/home/another/folder"
    packs "$scratch/maker" /home/another/folder
    diff -r "$scratch/maker/one/build/release/packages" "$scratch/maker/home/another/folder/build/release/packages"
    echo "debian: built twice, the same bytes"
}

# The packages do their work where nothing else of the project is, and leave nothing behind.
check_installed() {
    local ours user=$scratch/user made=$scratch/maker/one/build
    cp -a "$root" "$user"
    inside "$user" dpkg --add-architecture armhf
    inside "$user" apt-get update -qq
    inside "$user" apt-get install -qq --yes --no-install-recommends cmake g++ ninja-build pkg-config libgtest-dev procps \
        python3-pytest net-tools psmisc iproute2 libboost-thread1.74.0 libboost-thread1.74.0:armhf zlib1g zlib1g:armhf \
        libstdc++6:armhf bubblewrap >/dev/null
    mkdir "$user/packages" "$user/consumer"
    cp "$made"/release/packages/*.deb "$made"/release/packages/debug/*.deb "$user/packages"
    cp "$made"/armhf/packages/lib*.deb "$made"/armhf/packages/debug/lib*.deb "$user/packages"
    cp tests/package/*.cpp tests/package/CMakeLists.txt "$user/consumer"
    (cd tests && cp --parents testkit/python/test_own_device.py ztsim/*.py "$user/consumer")
    installed "$user" >"$scratch/before"
    files "$user" >"$scratch/files"
    inside "$user" sh -c 'apt-get install -qq --yes --no-install-recommends /packages/*.deb >/dev/null'
    diff <(printf '%s\n' libztapi-os-abs-dev:{amd64,armhf} libztapi-os-abs-doc:all libztapi-os-abs1{,-dbgsym}:{amd64,armhf} \
        libztapi-utility1{,-dbgsym}:{amd64,armhf} python3-ztsim:all ztapi-os-abs-tools{,-dbgsym}:amd64 \
        ztsim{,-dbgsym}:amd64 | sort) <(installed "$user" | comm -13 "$scratch/before" -)
    inside "$user" dpkg --verify

    inside "$user" sh -euc '
        cd /consumer
        g++ consumer.cpp $(pkg-config --cflags --libs ztapi-os-abs) -o /tmp/consumer
        test "$(/tmp/consumer)" = "0 Z"
        cmake -G Ninja -B /tmp/build >/dev/null
        cmake --build /tmp/build >/dev/null
        test "$(/tmp/build/consumer)" = "0 Z"
        ctest --test-dir /tmp/build --no-tests=error --output-on-failure
        ztsim --power-state 2 -- zt power state
        # No namespace can be made in there, so there is no eth0.
        python3 -m pytest -q -p no:cacheprovider testkit/python/test_own_device.py -k "not of_the_fixture"
        g++ -std=c++17 /usr/share/doc/ztapi-os-abs/examples/wake_up.cpp $(pkg-config --cflags --libs ztapi-os-abs) -o /tmp/up
        test "$(/tmp/up | tail -1)" = done
        test -f /usr/lib/arm-linux-gnueabihf/libZTAPI_OS_ABS.so.1' >"$scratch/log" 2>&1 || {
        cat "$scratch/log"
        return 1
    }

    mapfile -t ours < <(installed "$user" | comm -13 "$scratch/before" -)
    inside "$user" apt-get purge -qq --yes "${ours[@]/%:all/}" >/dev/null
    diff "$scratch/before" <(installed "$user")
    diff "$scratch/files" <(files "$user")
    echo "debian: installed for two architectures, used and removed"
}

if [ ! -e "$root/done" ]; then
    rm -rf "$root"
    debootstrap --variant=minbase bookworm "$root" >"$scratch/log" || {
        cat "$scratch/log"
        exit 1
    }
    inside "$root" apt-get update -qq
    touch "$root/done"
fi
check_packing
check_installed
