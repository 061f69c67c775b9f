# What `cmake --install` gives: the headers, the versioned shared objects, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

get_property(_libraries GLOBAL PROPERTY NOX_SHARED_LIBRARIES)
set(_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Nox3DDataConvert)
set(_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Nox3D
    FILES_MATCHING PATTERN "*.h")
install(TARGETS ${_libraries} EXPORT Nox3DDataConvertTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT Nox3DDataConvertTargets NAMESPACE Nox3D:: DESTINATION ${_package_dir})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/Nox3DDataConvertConfig.cmake.in
    ${PROJECT_BINARY_DIR}/Nox3DDataConvertConfig.cmake
    INSTALL_DESTINATION ${_package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/Nox3DDataConvertConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/Nox3DDataConvertConfig.cmake
    ${PROJECT_BINARY_DIR}/Nox3DDataConvertConfigVersion.cmake
    ${PROJECT_SOURCE_DIR}/cmake/FindOpenCVCore.cmake
    DESTINATION ${_package_dir})

# The prefix is told relative to the file, so an installed tree may be moved.
file(RELATIVE_PATH _prefix_from_pkgconfig
    ${CMAKE_INSTALL_PREFIX}/${_pkgconfig_dir} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" _prefix_from_pkgconfig ${_prefix_from_pkgconfig})
cmake_path(GET OpenCVCore_core_LIBRARY PARENT_PATH _opencv_dir)
configure_file(${PROJECT_SOURCE_DIR}/cmake/Nox3DDataConvert.pc.in
    ${PROJECT_BINARY_DIR}/Nox3DDataConvert.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/Nox3DDataConvert.pc DESTINATION ${_pkgconfig_dir})

# Programs outside the tree use the installed library. A sanitizer would have to be in them too.
if(NOX_BUILD_TESTS AND NOT NOX_SANITIZE)
    add_test(NAME consumer COMMAND ${PROJECT_SOURCE_DIR}/scripts/check-consumer.sh ${PROJECT_BINARY_DIR})
    set_tests_properties(consumer PROPERTIES LABELS consumer TIMEOUT 300)
endif()
