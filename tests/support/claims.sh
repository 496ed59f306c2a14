# For a script whose functions are tests: what it sources first.

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failures=0
# Debian's python3, which has started before one that a version manager puts in front of it has found itself.
PATH=/usr/bin:$PATH

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

# The version that is built.
released()
{
    sed -n 's/^project(.* VERSION \([0-9.]*\) .*/\1/p' "$(dirname "${BASH_SOURCE[0]}")/../../CMakeLists.txt"
}
