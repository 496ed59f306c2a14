include(CMakeFindDependencyMacro)
find_dependency(ZTAPI_Utility)
include(${CMAKE_CURRENT_LIST_DIR}/ZTAPI_OS_ABSTargets.cmake)
