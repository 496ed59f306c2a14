# loop.sh EXAMPLE IPC_CLIENT MESSAGE_CLIENT: a main loop serves local clients and TCP clients, and hears of
# the power state before the daemon has gone and after it has come back. The daemon hangs up at the second
# question and stays away for a while.
set -eu
folder=$(mktemp -d)
loop=
trap '[ -z "$loop" ] || kill "$loop" || true; rm -r "$folder"' EXIT

expect() {
    IFS= read -r -t 60 line <&3
    diff <(echo "$1") - <<<"$line"
}

mkfifo "$folder/output"
"$1" "$folder/server" >"$folder/output" 2>"$folder/errors" &
loop=$!
exec 3<"$folder/output"
expect listening

"$2" "$folder/server" ann hello again-before-it-goes >"$folder/answers"
diff <(printf '%s\n' "hello -> HELLO" "again-before-it-goes -> AGAIN-BEFORE-IT-GOES") "$folder/answers"
expect "power state 0"

"$3" >"$folder/answers"
diff - "$folder/answers" <<END
answer 1: your text has 5 bytes
answer 2: your text has 0 bytes
answer 3: your text has 37 bytes
END

until IFS= read -r -t 0.2 line <&3; do
    "$2" "$folder/server" bob hello >/dev/null
done
[ "$line" = "power state 0" ]

"$2" "$folder/server" eve stop >/dev/null
wait "$loop"
loop=
