# server_and_client.sh SERVER CLIENT: runs the client once the server has printed its first line, and
# prints what both do, the client's lines first.
set -o pipefail
"$1" | {
    IFS= read -r line
    echo "$line"
    "$2" && cat
}
