#!/usr/bin/env bash
# Installs what build/release and build/armhf hold, and the Debian packages made of it, into empty folders,
# and builds and runs a consumer against each, found by CMake, by pkg-config and by Meson.
set -euo pipefail
cd "$(dirname "$0")/../.."

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
here=$PWD/build/release/bin # its ztsim runs what is for the device, too
emulator=(qemu-arm -L build/armhf-sysroot)
cross=(--toolchain "$PWD/cmake/armhf.cmake")

# prints COMMAND...: it prints what the consumer has to.
prints() {
    diff <(echo "0 Z") <("$@")
}

# by_cmake INSTALLED [CMAKE-OPTION...]: leaves the consumer in $scratch/cmake.
by_cmake() {
    local installed=$1
    shift
    rm -rf "$scratch/cmake"
    cmake -S tests/package -B "$scratch/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$installed" \
        -DCMAKE_FIND_ROOT_PATH="$installed" "$@" >/dev/null
    cmake --build "$scratch/cmake" >/dev/null
}

# by_pkg_config INSTALLED COMPILER...: leaves the consumer in $scratch/pkg-config.
by_pkg_config() {
    local installed=$1 flags
    shift
    PKG_CONFIG_LIBDIR=$(dirname "$(find "$installed" -name ztapi-os-abs.pc)")
    export PKG_CONFIG_LIBDIR
    read -ra flags <<<"$(pkg-config --cflags --libs ztapi-os-abs)"
    "$@" -std=c++11 -Wall -Wextra -Werror tests/package/consumer.cpp "${flags[@]}" \
        -Wl,-rpath,"$(pkg-config --variable=libdir ztapi-os-abs)" -o "$scratch/pkg-config"
}

# by_meson INSTALLED pkg-config|cmake: leaves the consumer in $scratch/meson.
by_meson() {
    rm -rf "$scratch/meson"
    meson setup "$scratch/meson" tests/package -Dby="$2" --cmake-prefix-path "$1" \
        --pkg-config-path "$(dirname "$(find "$1" -name ztapi-os-abs.pc)")" >/dev/null
    meson compile -C "$scratch/meson" >/dev/null
}

check_meson() {
    local libraries
    by_meson "$1" pkg-config
    prints "$scratch/meson/consumer"
    by_meson "$1" cmake
    libraries=$(dirname "$(find "$1" -name libZTAPI_OS_ABS.so.1)")
    prints env LD_LIBRARY_PATH="$libraries" "$scratch/meson/consumer" # Meson takes no run path from CMake
}

# install PRESET: into a folder that is moved afterwards.
install() {
    cmake --install "build/$1" --prefix "$scratch/unmoved" >/dev/null
    mv "$scratch/unmoved" "$scratch/$1"
}

# Each file that is installed belongs to one component, as packagers take them, and none to two.
check_components() {
    local component
    for component in runtime companion development doc tools simulator python; do
        cmake --install build/release --component $component --prefix "$scratch/components/$component" >/dev/null
    done
    diff <(cd "$scratch/release" && find . -not -type d | sort) \
        <(cd "$scratch/components" && find . -mindepth 2 -not -type d | sed 's,^\./[a-z]*/,./,' | sort)
}

# unpack PRESET: its packages.
unpack() {
    local package
    rm -rf "${scratch:?}/$1"
    for package in "build/$1/packages"/*.deb "build/$1/packages/debug"/*.deb; do
        dpkg-deb --extract "$package" "$scratch/$1"
    done
}

# What two architectures may have installed beside each other has the same bytes where it has the same path.
check_side_by_side() {
    local package preset name beside=()
    mkdir "$scratch/beside"
    for package in build/release/packages/*.deb; do
        [ "$(dpkg-deb --field "$package" Multi-Arch)" = same ] || continue
        name=$(dpkg-deb --field "$package" Package)
        beside+=("$name")
        for preset in release armhf; do
            dpkg-deb --extract build/$preset/packages/"$name"_*.deb "$scratch/beside/$preset"
        done
    done
    diff <(printf '%s\n' libztapi-os-abs-dev libztapi-os-abs1 libztapi-utility1) <(printf '%s\n' "${beside[@]}" | sort)
    diff <(cd "$scratch/beside/release" && find usr/include usr/share -type f -exec md5sum {} + | sort) \
        <(cd "$scratch/beside/armhf" && find usr/include usr/share -type f -exec md5sum {} + | sort)
    diff <(echo usr/lib) <(cd "$scratch/beside" && comm -12 <(cd release && find . -path './usr/lib*' -printf '%P\n' | sort) \
        <(cd armhf && find . -path './usr/lib*' -printf '%P\n' | sort))
}

# check_symbols PRESET: the packages of symbols have, by the number in it, those of each library, with lines.
check_symbols() {
    local library id
    for library in "$scratch/$1"/usr/lib/*-linux-*/libZTAPI_*.so.1; do
        id=$(readelf --notes "$library" | sed -n 's/.*Build ID: //p')
        readelf --debug-dump=decodedline "$scratch/$1/usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug" >"$scratch/lines"
        grep -Eq '^(\./|\.\./\.\./)(src|utility)/.*\.cpp:' "$scratch/lines" # ccache makes it the second
        ! grep -F "$PWD" "$scratch/lines" || return 1
    done
}

# Of the same build at another time; of another build elsewhere script/check debian tells.
check_same_bytes() {
    mv build/release/packages "$scratch/before"
    script/package >/dev/null
    diff -r "$scratch/before" build/release/packages
}

# The examples in the package need nothing that is not installed.
check_examples() {
    local flags example
    flags=$(pkg-config --cflags --libs ztapi-os-abs)
    for example in wake_up power_events; do
        # shellcheck disable=SC2086
        g++ -std=c++17 "$1/share/doc/ztapi-os-abs/examples/$example.cpp" $flags -o "$scratch/$example"
    done
}

check_here() {
    local libraries
    libraries=$(dirname "$(find "$1" -name libZTAPI_OS_ABS.so.1)")
    by_cmake "$1"
    ctest --test-dir "$scratch/cmake" --no-tests=error --output-on-failure >/dev/null
    prints "$scratch/cmake/consumer"
    by_pkg_config "$1" g++
    prints "$scratch/pkg-config"
    # Unpacked packages are not where the loader looks.
    LD_LIBRARY_PATH=$libraries "$1/bin/ztsim" --way preload -- "$1/bin/zt" power state >/dev/null
    # Finds the plugin by itself.
    PATH=$1/bin:$PATH PYTHONPATH=$1/lib/python3/dist-packages PYTHONDONTWRITEBYTECODE=1 \
        /usr/bin/python3 -m pytest -q -p no:cacheprovider tests/testkit/python/test_own_device.py >/dev/null
}

check_device() {
    PATH=$here:$PATH by_cmake "$1" "${cross[@]}" "-DCMAKE_CROSSCOMPILING_EMULATOR=qemu-arm;-L;$PWD/build/armhf-sysroot"
    ctest --test-dir "$scratch/cmake" --no-tests=error --output-on-failure >/dev/null
    prints "${emulator[@]}" "$scratch/cmake/consumer"
    by_pkg_config "$1" arm-linux-gnueabihf-g++ --sysroot=build/armhf-sysroot
    prints "${emulator[@]}" "$scratch/pkg-config"
}

# The recipes have the version in their names or texts, for they are read without CMake.
check_recipes() {
    local version
    version=$(sed -n 's/^project(.* VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
    [ -e "packaging/yocto/recipes-support/ztapi-os-abs/ztapi-os-abs_$version.bb" ]
    grep -qx "ZTAPI_OS_ABS_VERSION = $version" packaging/buildroot/package/ztapi-os-abs/ztapi-os-abs.mk
    /usr/bin/python3 tests/package/recipes.py
    # Without its consumer, for nothing is installed yet.
    cp packaging/yocto/recipes-support/ztapi-os-abs/files/run-ptest "$scratch"
    diff <(printf '%s\n' "FAIL: consumer" "PASS: ifconfig" "PASS: route" "PASS: killall") \
        <(PATH=$PATH:/usr/sbin:/sbin "$scratch/run-ptest" 2>/dev/null)
}

# Of a part of another project only the libraries are built, here as few large files, and nothing is installed or
# tested.
check_part() {
    cmake -S tests/package/subproject -B "$scratch/part" -G Ninja -DCMAKE_UNITY_BUILD=ON \
        -DCMAKE_UNITY_BUILD_BATCH_SIZE=100 >/dev/null
    cmake --build "$scratch/part" >/dev/null
    prints "$scratch/part/consumer"
    diff <(printf '%s\n' consumer libZTAPI_OS_ABS libZTAPI_Utility) \
        <(find "$scratch/part" -type f \( -executable -o -name '*.a' \) -not -path '*/CMakeFiles/*' -printf '%f\n' |
            cut -d . -f 1 | sort)
    cmake --install "$scratch/part" --prefix "$scratch/part/installed" >/dev/null
    diff <(echo bin/consumer) <(cd "$scratch/part/installed" && find . -type f -printf '%P\n')
    [ "$(ctest --test-dir "$scratch/part" -N | tail -1)" = "Total Tests: 0" ]
    cmake -S tests/package/subproject -B "$scratch/fetched" -G Ninja -DFETCH=ON >/dev/null
    diff <(echo "  BUILD_SHARED_LIBS=OFF: ZTAPI OS_ABS is a shared library only") \
        <(cmake -S tests/package/subproject -B "$scratch/static" -DBUILD_SHARED_LIBS=OFF 2>&1 | grep BUILD_SHARED)
}

tests/package/cmake_age.py
check_recipes
check_part
tests/package/release.sh
for preset in release armhf; do
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" --target installed
    install "$preset"
done
# What Yocto packs; a cross build has nothing of Python.
mkdir "$scratch/yocto"
cp -a "$scratch/release" "$scratch/yocto/usr"
rm -r "$scratch/yocto/usr/lib/python3"
/usr/bin/python3 tests/package/recipes.py FILES "$scratch/yocto"
check_components
check_here "$scratch/release"
"$scratch/release/bin/ztsim" -- "$scratch/release/bin/zt" power state >/dev/null
check_device "$scratch/armhf"
"${emulator[@]}" "$scratch/armhf/bin/zt" --version >/dev/null

script/package --armhf
# They are not for the archive of Debian, where a first upload closes a bug that asks for it.
lintian --pedantic --fail-on error,warning,pedantic --suppress-tags initial-upload-closes-no-bugs \
    build/{release,armhf}/packages/{,debug/}*.deb
check_side_by_side
check_same_bytes
unpack release
unpack armhf
[ -e "$scratch/release/usr/share/man/man3/ZTPipe.3.gz" ]
check_here "$scratch/release/usr"
check_meson "$scratch/release/usr"
check_examples "$scratch/release/usr"
check_device "$scratch/armhf/usr"
check_symbols release
check_symbols armhf
