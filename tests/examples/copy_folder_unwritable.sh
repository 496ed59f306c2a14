# copy_folder_unwritable.sh COPY_FOLDER: a move to a medium that is full, or that cannot be written, keeps
# the file. The media are its own, in a namespace.
set -eu
if [ $# -eq 1 ]; then
    exec unshare --user --map-root-user --mount bash "$0" "$1" inside
fi
copy_folder=$1
folder=$(mktemp -d)
trap 'rm -r "$folder"' EXIT
cd "$folder"
mkdir source full readonly
trap 'umount full readonly; rm -r "$folder"' EXIT
mount -t tmpfs -o size=16k none full
mount -t tmpfs -o ro none readonly
head -c 100000 /dev/urandom >source/a
cp source/a expected

for target in full readonly; do
    if "$copy_folder" source "$target" move >output; then exit 1; fi
    [ "$(tail -n 1 output)" = "a file could not be copied" ]
    cmp source/a expected
done
[ -s full/a ]
[ -z "$(ls readonly)" ]
