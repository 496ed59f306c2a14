# What every target of ours is built with.
function(zt_target target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Werror)
    target_compile_definitions(${target} PRIVATE _FILE_OFFSET_BITS=64)
endfunction()
