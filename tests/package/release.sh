#!/usr/bin/env bash
# Releases a clone of the present commit twice over, and compares.
set -euo pipefail
cd "$(dirname "$0")/../.."

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
git clone --quiet . "$scratch/clone"
cp script/release "$scratch/clone/script/"
cd "$scratch/clone"
git config user.name tester
git config user.email tester@example.org
printf '#!/bin/sh\necho abi was compared\n' >script/abi # which is a step of its own
git add --all
git commit --quiet --message "Compare no ABI"

# fails TEXT COMMAND...: with that line alone.
fails() {
    local expected=$1 status=0
    shift
    diff <(echo "script/release: $expected") <("$@" 2>&1) || status=1
    ! "$@" 2>/dev/null || status=1
    return $status
}

fails "say which version, as in script/release 1.2.3" script/release
fails "say which version, as in script/release 1.2.3" script/release 1.2
fails "say which version, as in script/release 1.2.3" script/release 01.2.3
touch new
fails "there are changes that are not committed" script/release 9.8.7
rm new

script/release 9.8.7 >"$scratch/said"
grep -qx "abi was compared" "$scratch/said"
grep -q '^project(ZTAPI_OS_ABS VERSION 9.8.7 ' CMakeLists.txt
grep -qx "ZTAPI_OS_ABS_VERSION = 9.8.7" packaging/buildroot/package/ztapi-os-abs/ztapi-os-abs.mk
[ "$(cd packaging/yocto/recipes-support/ztapi-os-abs && echo *.bb)" = ztapi-os-abs_9.8.7.bb ]
grep -Eqx "## 9.8.7, $(date --utc +%Y)-[0-9]{2}-[0-9]{2}" CHANGELOG.md
grep -Eqx " -- @ZT_PACKAGE_MAINTAINER@  [A-Z][a-z]{2}, [0-9]{2} [A-Z][a-z]{2} $(date --utc +%Y) [0-9:]{8} \+0000" \
    packaging/debian/changelog.in
[ "$(git diff HEAD --stat -- packaging/debian/changelog.in)" ]
git commit --quiet --all --message "Release 9.8.7"
fails 'CHANGELOG.md has no heading "..., not yet released"' script/release 9.8.8

script/release 9.8.7 >/dev/null
mv build/dist "$scratch/first"
git clone --quiet . "$scratch/elsewhere"
sleep 1 # another time of day is no other archive
(cd "$scratch/elsewhere" && script/release 9.8.7 >/dev/null)
diff -r "$scratch/first" "$scratch/elsewhere/build/dist"
(cd "$scratch/first" && sha256sum --check --quiet ztapi-os-abs-9.8.7.tar.gz.sha256)
tar --list --file "$scratch/first/ztapi-os-abs-9.8.7.tar.gz" >"$scratch/held"
grep -qx ztapi-os-abs-9.8.7/CMakeLists.txt "$scratch/held"

# The recipes beside the archive name it, and its checksum.
read -r sum _ <"$scratch/first/ztapi-os-abs-9.8.7.tar.gz.sha256"
diff - "$scratch/first/yocto/recipes-support/ztapi-os-abs/ztapi-os-abs_9.8.7.bb" <<EOF
require ztapi-os-abs.inc

SRC_URI =+ "https://ztapi.example/releases/\${BP}.tar.gz"
SRC_URI[sha256sum] = "$sum"
EOF
package=$scratch/first/buildroot/package/ztapi-os-abs/ztapi-os-abs
grep -qx "sha256  $sum  ztapi-os-abs-9.8.7.tar.gz" "$package.hash"
diff <(sed -n 's/^ZTAPI_OS_ABS_//p' "$package.mk" | head -3) - <<EOF
VERSION = 9.8.7
SITE = https://ztapi.example/releases
LICENSE = MIT
EOF
echo "release: all as it should be"
