# prints.sh FILE COMMAND...: COMMAND ends with 0, having printed what FILE holds.
set -o pipefail
"${@:2}" | diff "$1" -
