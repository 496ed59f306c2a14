# Tests on the simulated device, by the program ZT_ZTSIM_PROGRAM.
include(GoogleTest)

# Sets the variable to the command, and what emulates its program, behind what runs it on a device.
function(zt_on_device variable options)
    list(POP_FRONT ARGN program)
    set(emulator "")
    if(TARGET ${program})
        # It has had another one if its cases were discovered.
        get_target_property(isDiscovered ${program} ZT_IS_DISCOVERED)
        get_target_property(emulator ${program} CROSSCOMPILING_EMULATOR)
        if(isDiscovered)
            set(emulator ${CMAKE_CROSSCOMPILING_EMULATOR})
        elseif(NOT emulator)
            set(emulator "")
        endif()
        set(program $<TARGET_FILE:${program}>)
    endif()
    set(${variable} ${ZT_ZTSIM_PROGRAM} ${options} -- ${emulator} ${program} ${ARGN} PARENT_SCOPE)
endfunction()

# zt_add_device_test(NAME name [OPTIONS ztsim-options...] COMMAND command...)
#
# A test like that of add_test(): the command, which may be a target, runs on a device of its own, and has the
# label of that name.
function(zt_add_device_test)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" "NAME" "OPTIONS;COMMAND")
    zt_on_device(command "${arg_OPTIONS}" ${arg_COMMAND})
    add_test(NAME ${arg_NAME} COMMAND ${command})
    set_tests_properties(${arg_NAME} PROPERTIES LABELS device)
endfunction()

# zt_discover_device_tests(target [OPTIONS ztsim-options...] [more of gtest_discover_tests()])
#
# Each case of a GoogleTest executable is a test on a device of its own, with the label of that name. A
# CROSSCOMPILING_EMULATOR runs the executable there.
function(zt_discover_device_tests target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "OPTIONS;PROPERTIES")
    zt_on_device(command "${arg_OPTIONS}" ${target})
    list(POP_BACK command)
    set_target_properties(${target} PROPERTIES CROSSCOMPILING_EMULATOR "${command}" ZT_IS_DISCOVERED ON)
    set(mode DISCOVERY_MODE PRE_TEST)
    if(CMAKE_VERSION VERSION_LESS 3.18)
        set(mode "")
    endif()
    gtest_discover_tests(${target} ${mode} ${arg_UNPARSED_ARGUMENTS}
        PROPERTIES LABELS device ${arg_PROPERTIES})
endfunction()
