find_package(GTest REQUIRED)
include(GoogleTest)

option(ZT_DEVICE_TESTS "Run the tests that need the simulated device" ON)

# zt_test(name [DEVICE [ztsim options...]] SOURCES files... [LIBRARIES libraries...])
#
# One test executable, each of its cases a test of its own. DEVICE gives every case a fresh simulated device,
# never that of less than namespaces: tests change the network.
#
# The label is [device/]FOLDER/NAME: a property that goes with discovered tests has one value.
function(zt_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "DEVICE;SOURCES;LIBRARIES")
    cmake_path(GET CMAKE_CURRENT_SOURCE_DIR FILENAME folder)
    set(label ${folder}/${name})
    add_executable(${name} ${arg_SOURCES})
    zt_target(${name})
    zt_built_unoptimised(${name})
    zt_exporting(${name})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gmock GTest::gtest_main)
    target_precompile_headers(${name} REUSE_FROM test_support)
    if("DEVICE" IN_LIST ARGN)
        if(NOT ZT_DEVICE_TESTS OR NOT TARGET ztsim)
            message(STATUS "Left out, for it needs the simulated device: ${name}")
            return()
        endif()
        set(label device/${label})
        set(device $<TARGET_FILE:ztsim> --way namespaces ${arg_DEVICE} --)
        set_target_properties(${name} PROPERTIES CROSSCOMPILING_EMULATOR "${device}")
        add_dependencies(${name} ztsim)
    endif()
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT 120 LABELS ${label})
endfunction()

# zt_test_confined(name [ztsim options...]): runs a test executable of zt_test() once more, each of its cases on
# a device in what is like a container with Docker's default rules.
function(zt_test_confined name)
    if(NOT ZT_DEVICE_TESTS)
        return()
    endif()
    cmake_path(GET CMAKE_CURRENT_SOURCE_DIR FILENAME folder)
    add_test(NAME ${name}_confined COMMAND bash ${PROJECT_SOURCE_DIR}/tests/support/each_case.sh
        $<TARGET_FILE:${name}> $<TARGET_FILE:confined> $<TARGET_FILE:ztsim> ${ARGN})
    set_tests_properties(${name}_confined PROPERTIES LABELS device/${folder} TIMEOUT 120)
endfunction()

# zt_claims(script prefix arguments...): each function of the script whose name begins with the prefix is a
# test of the tools on the simulated device. The script gets the arguments and the function's name.
function(zt_claims script prefix)
    if(NOT ZT_DEVICE_TESTS)
        return()
    endif()
    cmake_path(GET CMAKE_CURRENT_SOURCE_DIR FILENAME folder)
    set(path ${CMAKE_CURRENT_SOURCE_DIR}/${script})
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${path})
    file(STRINGS ${path} claims REGEX "^${prefix}[a-z0-9_]+\\(\\)")
    foreach(claim IN LISTS claims)
        string(REPLACE "()" "" claim ${claim})
        add_test(NAME ${claim} COMMAND bash ${path} ${ARGN} ${claim})
        set_tests_properties(${claim} PROPERTIES LABELS device/${folder} TIMEOUT 120 SKIP_RETURN_CODE 77)
    endforeach()
endfunction()
