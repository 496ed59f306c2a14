# copy_folder.sh COPY_FOLDER: it copies and moves folders, says how far it is, and loses no file on a
# medium that is full or cannot be written.
set -eu
copy_folder=$1
folder=$(mktemp -d)
trap 'rm -r "$folder"' EXIT
cd "$folder"

prints() {
    diff <(printf "$@") -
}

mkdir source source/subfolder copied moved
head -c 4096 /dev/urandom >"source/a name with blanks"

"$copy_folder" source copied | prints '\r 25 %%\r 50 %%\r 75 %%\r100 %%\r100 %%\ndone\n'
diff source/a* copied/a*
mv copied/a* expected
[ -z "$(ls copied)" ]

"$copy_folder" source moved move | prints '\r 25 %%\r 50 %%\r 75 %%\r100 %%\r100 %%\ndone\n'
diff expected moved/a*
[ "$(ls source)" = subfolder ]

if "$copy_folder" source moved >output; then exit 1; fi
prints '\nthere is nothing to copy\n' <output
if "$copy_folder" source missing 2>output; then exit 1; fi
prints 'one of them is no folder\n' <output
