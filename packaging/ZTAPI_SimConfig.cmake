cmake_policy(VERSION 3.16...3.25)
include(${CMAKE_CURRENT_LIST_DIR}/ZTAPI_SimTargets.cmake)

# One for the device does not run here.
if(CMAKE_CROSSCOMPILING)
    find_program(ZT_ZTSIM_PROGRAM ztsim)
else()
    find_program(ZT_ZTSIM_PROGRAM ztsim HINTS ${CMAKE_CURRENT_LIST_DIR}/../../../bin
        ${CMAKE_CURRENT_LIST_DIR}/../../../../bin)
endif()
include(${CMAKE_CURRENT_LIST_DIR}/ZTDeviceTests.cmake)
