# Some toolchains for devices have a g++ without it.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    include(CheckCXXCompilerFlag)
    check_cxx_compiler_flag(-flto ZT_HAS_LTO)
endif()

# What every target of ours is built with.
function(zt_target target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion $<$<BOOL:${ZT_WERROR}>:-Werror>)
    target_compile_definitions(${target} PRIVATE _FILE_OFFSET_BITS=64)
    get_target_property(type ${target} TYPE)
    if(ZT_BUILD_FUZZERS AND type MATCHES "SHARED|STATIC")
        target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
    endif()
    if(ZT_EMULATOR AND type STREQUAL EXECUTABLE)
        add_custom_command(TARGET ${target} POST_BUILD
            COMMAND ${PROJECT_SOURCE_DIR}/cmake/emulated.sh $<TARGET_FILE:${target}> ${ZT_EMULATOR})
    endif()
endfunction()

# Hides all that is not the library's own, and binds its calls of itself, but for the factories: no table entry and no
# relocation for each.
function(zt_exports library)
    set(exports ${PROJECT_SOURCE_DIR}/cmake/exports.map)
    target_link_options(${library} PRIVATE -Wl,--version-script=${exports} -Wl,--dynamic-list-data
        -Wl,--dynamic-list=${PROJECT_SOURCE_DIR}/cmake/replaceable.list)
    set_target_properties(${library} PROPERTIES LINK_DEPENDS "${exports};${PROJECT_SOURCE_DIR}/cmake/replaceable.list")
endfunction()

# What such an executable defines takes the place of the libc call of that name, in the libraries too.
function(zt_exporting target)
    set_target_properties(${target} PROPERTIES ENABLE_EXPORTS ON CXX_VISIBILITY_PRESET default)
endfunction()

# For what need not be fast itself: with less optimisation it is built in two thirds of the time, and with
# sanitizers in one. Hardening needs some.
function(zt_built_fast target)
    target_compile_options(${target} PRIVATE $<IF:$<CONFIG:Debug>,-O0,-O1>)
endfunction()

# For what ships: -O3, which CMake takes for a release, makes it larger and no faster. What waits for programs or
# for a medium in any case, the sources given, is made as small as it can be. As the library binds its calls of itself,
# they can be inlined, from one source into another, too.
function(zt_built_small target)
    target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O2> -fno-semantic-interposition)
    set_property(SOURCE ${ARGN} APPEND PROPERTY COMPILE_OPTIONS $<$<CONFIG:Release>:-Os>)
    if(ZT_HAS_LTO)
        set_target_properties(${target} PROPERTIES INTERPROCEDURAL_OPTIMIZATION_RELEASE ON)
        get_target_property(sources ${target} SOURCES)
        foreach(source ${sources}) # lest names of symbols be chosen at random
            set_property(SOURCE ${source} APPEND PROPERTY COMPILE_OPTIONS -frandom-seed=${source})
        endforeach()
    endif()
endfunction()

# For the sources of factories, which cmake/replaceable.list names: a call of one is never inlined.
function(zt_replaceable)
    set_property(SOURCE ${ARGN} APPEND PROPERTY COMPILE_OPTIONS -fsemantic-interposition)
endfunction()

# For what does not ship and need not be fast. Hardening needs some optimisation, so it goes as well.
function(zt_built_unoptimised target)
    target_compile_options(${target} PRIVATE -O0 -U_FORTIFY_SOURCE)
endfunction()

# For programs whose files all read the same large headers: compiled as a few, they take a third of the time.
function(zt_built_together target files_each)
    if(ZT_BUILD_TOGETHER)
        set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${files_each})
    endif()
endfunction()

# zt_embedded(variable text name header): sets the variable to a source that defines `name`, of a namespace, as the text
# of that file. The header declares it.
function(zt_embedded variable text name header)
    get_filename_component(text ${text} ABSOLUTE)
    get_filename_component(stem ${text} NAME_WE)
    set(source ${CMAKE_CURRENT_BINARY_DIR}/${stem}.cpp)
    set(script ${PROJECT_SOURCE_DIR}/cmake/embed.cmake)
    add_custom_command(OUTPUT ${source}
        COMMAND ${CMAKE_COMMAND} -DTEXT=${text} -DNAME=${name} -DHEADER=${header} -DSOURCE=${source} -P ${script}
        DEPENDS ${text} ${script})
    set(${variable} ${source} PARENT_SCOPE)
endfunction()
