include(${CMAKE_CURRENT_LIST_DIR}/asan.cmake)
# ThreadSanitizer has to be ready before the C++ library is, which calls it. Of the two compilers only g++ sees to that.
execute_process(COMMAND g++ -print-file-name=libtsan_preinit.o
    OUTPUT_VARIABLE preinit OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " ${preinit}")
