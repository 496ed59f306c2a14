include(${CMAKE_CURRENT_LIST_DIR}/ZTAPI_UtilityTargets.cmake)
