# gateway.sh GATEWAY IPC_CLIENT MESSAGE_CLIENT: it says which device it is, and serves everybody while a copy
# goes on, also after the daemon was away.
set -eu
folder=$(mktemp -d)
gateway=
trap '[ -z "$gateway" ] || kill "$gateway" || true; rm -r "$folder"' EXIT

expect() {
    IFS= read -r -t 60 line <&3
    diff <(echo "$1") - <<<"$line"
}

mkfifo "$folder/output"
mkdir "$folder/source" "$folder/target"
head -c 4096 /dev/urandom >"$folder/source/file"
"$1" "$folder/server" "$folder/source" "$folder/target" >"$folder/output" 2>"$folder/errors" &
gateway=$!
exec 3<"$folder/output"
expect "device AB-000123"

"$2" "$folder/server" ann copy >"$folder/answers"
diff <(echo "copy -> COPY") "$folder/answers"
"$3" >"$folder/answers"
diff - "$folder/answers" <<END
answer 1: your text has 5 bytes
answer 2: your text has 0 bytes
answer 3: your text has 37 bytes
END
for percent in 25 50 75 100 100; do
    expect "copied $percent %"
done
expect "the copy has ended with 0"
cmp "$folder/source/file" "$folder/target/file"

"$2" "$folder/server" bob hello hello >/dev/null
expect "power state 0"
until IFS= read -r -t 0.2 line <&3; do
    "$2" "$folder/server" bob hello >/dev/null
done
[ "$line" = "power state 0" ]

"$2" "$folder/server" eve stop >/dev/null
wait "$gateway"
gateway=
