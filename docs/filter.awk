# What Doxygen reads in place of a header: a comment there is about all declarations up to the next empty
# line, so each of them gets it.
/^ *\/\/\/( |$)/ {
    comment = (used ? "" : comment) $0 "\n"
    used = 0
    print
    next
}
/^$/ || /[{:]$/ {
    comment = ""
}
comment != "" && !within {
    if (used) {
        printf "%s", comment
    }
    used = 1
}
{
    print
    code = $0
    sub(/ *\/\/.*/, "", code)
    within = code != "" && code !~ /[;{}:]$/
}
