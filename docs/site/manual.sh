# manual.sh DOXYGEN PYTHON VERSION FOLDER: the manual pages of the classes in FOLDER/man3, each zipped, the same bytes each
# time. Runs in the root of the project.
set -eu
rm -rf "$4"
mkdir -p "$4"
{ cat docs/Doxyfile && echo "OUTPUT_DIRECTORY = $4"; } | "$1" -
PYTHONDONTWRITEBYTECODE=1 "$2" docs/site/manual.py "$4/xml" "$3" "$4/man3"
gzip --best --no-name "$4"/man3/*
touch "$4/made"
