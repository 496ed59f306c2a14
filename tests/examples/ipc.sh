# ipc.sh SERVER CLIENT LISTENER: the three print what they should while they talk with each other.
set -eu
folder=$(mktemp -d)
server=
trap '[ -z "$server" ] || kill "$server" || true; rm -r "$folder"' EXIT

prints() {
    diff <(printf '%s\n' "$@") -
}

mkfifo "$folder/output"
"$1" "$folder/server" 3 >"$folder/output" &
server=$!
exec 3<"$folder/output"
IFS= read -r first <&3
prints listening <<<"$first"

"$2" "$folder/server" ann hello "good bye" >"$folder/answers"
prints "hello -> HELLO" "good bye -> GOOD BYE" <"$folder/answers"
"$2" "$folder/server" bob again >"$folder/answers"
prints "again -> AGAIN" <"$folder/answers"
"$3" "$folder/server" eve one two three >"$folder/answers"
prints "one -> ONE" "two -> TWO" "three -> THREE" <"$folder/answers"

prints "ann connected" "ann: hello" "ann: good bye" "ann has left" \
       "bob connected" "bob: again" "bob has left" \
       "eve connected" "eve: one" "eve: two" "eve: three" "eve has left" <&3
wait "$server"
server=

# Nobody listens any more.
if "$2" "$folder/server" ann hello 2>"$folder/errors"; then exit 1; fi
grep -qx "cannot connect" "$folder/errors"
