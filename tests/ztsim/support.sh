# What the tests of ztsim share.

. "$here/../support/claims.sh"

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

# alone COMMAND...: where no other device can be reached
alone()
{
    unshare --map-root-user --net "$@"
}
