# loop.sh EXAMPLE IPC_CLIENT MESSAGE_CLIENT: a main loop serves local clients and TCP clients, and hears of
# the power state again each time that the daemon has gone and come back.
set -eu
folder=$(mktemp -d)
loop=
trap '[ -z "$loop" ] || kill "$loop" || true; rm -r "$folder"' EXIT

expect() {
    IFS= read -r -t 300 line <&3
    diff <(echo "$1") - <<<"$line"
}

mkfifo "$folder/output"
"$1" "$folder/server" >"$folder/output" 2>"$folder/errors" &
loop=$!
exec 3<"$folder/output"
expect listening

"$2" "$folder/server" ann hello again >"$folder/answers"
diff <(printf '%s\n' "hello -> HELLO" "again -> AGAIN") "$folder/answers"

for hearing in {1..8}; do
    until IFS= read -r -t 0.2 line <&3; do
        "$2" "$folder/server" bob hello >/dev/null
    done
    [ "$line" = "power state 0" ]
done

"$3" >"$folder/answers"
diff - "$folder/answers" <<END
answer 1: your text has 5 bytes
answer 2: your text has 0 bytes
answer 3: your text has 37 bytes
END

"$2" "$folder/server" eve stop >/dev/null
wait "$loop"
loop=
