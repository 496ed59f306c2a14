# Debian packages, one for each component, by cpack. script/package configures a build so that libraries go
# where Debian has them.
find_program(DPKG_ARCHITECTURE dpkg-architecture)
if(NOT DPKG_ARCHITECTURE OR NOT CMAKE_LIBRARY_ARCHITECTURE)
    return()
endif()
execute_process(COMMAND ${DPKG_ARCHITECTURE} --host-type ${CMAKE_LIBRARY_ARCHITECTURE} --query DEB_HOST_ARCH
    OUTPUT_VARIABLE architecture OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET COMMAND_ERROR_IS_FATAL ANY)

set(ZT_PACKAGE_MAINTAINER "ZTAPI OS_ABS maintainers <maintainers@ztapi.example>" CACHE STRING
    "Who answers for the Debian packages, with an address")
set(ZT_PACKAGE_REVISION 1 CACHE STRING "Revision of the Debian packages of this version")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ztapi-os-abs)
set(CPACK_PACKAGE_CONTACT ${ZT_PACKAGE_MAINTAINER})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${architecture})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${ZT_PACKAGE_REVISION})
set(CPACK_DEBIAN_PACKAGE_SOURCE ztapi-os-abs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "net-tools, psmisc") # ifconfig, route, killall
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_LIST_DIR}/depends.cmake) # it reads all CPACK_ZT_
set(CPACK_ZT_ARCHITECTURE ${architecture})
set(CPACK_ZT_SYSROOT ${CMAKE_SYSROOT})
set(CPACK_ZT_BUILD ${PROJECT_BINARY_DIR})

configure_file(${CMAKE_CURRENT_LIST_DIR}/changelog.in ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian @ONLY)
configure_file(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${CMAKE_CURRENT_BINARY_DIR}/changelog COPYONLY)

# zt_package(component name section summary description [of another line]...)
macro(zt_package component name section summary)
    list(APPEND CPACK_COMPONENTS_ALL ${component})
    string(TOUPPER ${component} id)
    set(lines ${ARGN})
    list(JOIN lines "\n" description)
    set(CPACK_COMPONENT_${id}_DESCRIPTION "${summary}\n${description}")
    set(CPACK_DEBIAN_${id}_PACKAGE_NAME ${name})
    set(CPACK_DEBIAN_${id}_PACKAGE_SECTION ${section})

    # Policy asks for these, and no other installation needs them.
    set(doc ${CMAKE_INSTALL_DATADIR}/doc/${name})
    install(FILES ${CMAKE_CURRENT_LIST_DIR}/copyright DESTINATION ${doc} COMPONENT ${component} EXCLUDE_FROM_ALL)
    zt_install_zipped(${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian ${doc} ${component} EXCLUDE_FROM_ALL)
    zt_install_zipped(${CMAKE_CURRENT_BINARY_DIR}/changelog ${doc} ${component} EXCLUDE_FROM_ALL)
endmacro()

# zt_library_package(component library name summary description...)
macro(zt_library_package component library name summary)
    zt_package(${component} ${name} libs "${summary}" ${ARGN})
    set(control ${CMAKE_CURRENT_BINARY_DIR}/${name})
    file(WRITE ${control}/triggers "activate-noawait ldconfig\n")
    file(WRITE ${control}/shlibs "lib${library} ${PROJECT_VERSION_MAJOR} ${name} (>= ${PROJECT_VERSION})\n")
    set(CPACK_DEBIAN_${id}_PACKAGE_CONTROL_EXTRA ${control}/shlibs ${control}/triggers)
    list(APPEND CPACK_ZT_SHLIBS ${control}/shlibs)
    set(CPACK_ZT_${id}_BINARIES lib/lib${library}.so)
endmacro()

set(about
    "ZTAPI OS_ABS gives the applications of an embedded device threads and"
    "locks, message passing, power management, identity data, sockets,"
    "network settings, system queries and file copying."
    ".")
zt_library_package(runtime ZTAPI_OS_ABS libztapi-os-abs${PROJECT_VERSION_MAJOR}
    "operating-system layer of an embedded device"
    ${about}
    "This package contains the shared library.")
zt_library_package(companion ZTAPI_Utility libztapi-utility${PROJECT_VERSION_MAJOR}
    "diagnostics and helpers of ZTAPI OS_ABS"
    ${about}
    "This package contains the shared library of diagnostics and small helpers"
    "that it is built on.")
zt_package(development libztapi-os-abs-dev libdevel
    "operating-system layer of an embedded device (development files)"
    ${about}
    "This package contains the headers, and what CMake and pkg-config need to"
    "find the libraries.")
foreach(id RUNTIME COMPANION)
    list(APPEND CPACK_ZT_DEVELOPMENT_DEPENDS
        "${CPACK_DEBIAN_${id}_PACKAGE_NAME} (= ${PROJECT_VERSION}-${ZT_PACKAGE_REVISION})")
endforeach()
if(ZT_INSTALLED_TOOLS)
    zt_package(tools ztapi-os-abs-tools utils
        "operating-system layer of an embedded device (tools)"
        ${about}
        "This package contains the programs for a shell.")
    list(TRANSFORM ZT_INSTALLED_TOOLS PREPEND bin/ OUTPUT_VARIABLE CPACK_ZT_TOOLS_BINARIES)
    if(ztsim IN_LIST ZT_INSTALLED_TOOLS)
        set(CPACK_ZT_TOOLS_DEPENDS bubblewrap)
        list(APPEND CPACK_ZT_TOOLS_BINARIES lib/ztsim/libztsim_preload.so)
    endif()
    if(ztsim IN_LIST ZT_INSTALLED_TOOLS AND NOT CMAKE_CROSSCOMPILING)
        zt_package(python python3-ztsim python
            "operating-system layer of an embedded device (tests in Python)"
            ${about}
            "This package contains what drives a simulated device from tests in"
            "Python, and a plugin for pytest.")
        set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
        set(CPACK_ZT_PYTHON_DEPENDS "python3 (>= 3.8), ztapi-os-abs-tools (>= ${PROJECT_VERSION})")
    endif()
endif()

include(CPack)
