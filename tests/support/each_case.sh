#!/bin/bash
# each_case.sh PROGRAM COMMAND...: "COMMAND... -- PROGRAM" runs each case of that GoogleTest program by itself.
program=$1
shift
code=1
for case in $("$program" --gtest_list_tests | awk '/^[^ ]/ { suite = $1 } /^ / { print suite $1 }'); do
    "$@" -- "$program" --gtest_brief=1 --gtest_filter="$case" || exit
    code=0
done
exit $code
