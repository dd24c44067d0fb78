# The installed package: find_package(Vq) and `pkg-config vq`, both free of absolute paths so that a
# prefix can be moved.
include(CMakePackageConfigHelpers)

set(packageDir "${CMAKE_INSTALL_LIBDIR}/cmake/Vq")
install(EXPORT VqTargets NAMESPACE Vq:: DESTINATION "${packageDir}")
configure_package_config_file(cmake/VqConfig.cmake.in VqConfig.cmake
  INSTALL_DESTINATION "${packageDir}" NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(VqConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  "${CMAKE_CURRENT_BINARY_DIR}/VqConfig.cmake" "${CMAKE_CURRENT_BINARY_DIR}/VqConfigVersion.cmake"
  DESTINATION "${packageDir}")

file(RELATIVE_PATH prefixFromPkgConfig
  "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" prefixFromPkgConfig "${prefixFromPkgConfig}")
foreach(package vq vq-test-platform)
  configure_file(cmake/${package}.pc.in ${package}.pc @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${package}.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endforeach()
