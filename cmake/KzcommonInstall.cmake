# Install rules and the CMake package, so that find_package(kzcommon) works
# from the install prefix with the same target and function as
# add_subdirectory.
include(CMakePackageConfigHelpers)

install(TARGETS kzcommon EXPORT kzcommonTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/kzcommon
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(KZ_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/kzcommon)
install(EXPORT kzcommonTargets NAMESPACE kzcommon::
  DESTINATION ${KZ_PACKAGE_DIR})
configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/kzcommon-config.cmake.in
  ${PROJECT_BINARY_DIR}/kzcommon-config.cmake
  INSTALL_DESTINATION ${KZ_PACKAGE_DIR})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/kzcommon-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/kzcommon-config.cmake
  ${PROJECT_BINARY_DIR}/kzcommon-config-version.cmake
  ${PROJECT_SOURCE_DIR}/cmake/KzcommonCatalog.cmake
  DESTINATION ${KZ_PACKAGE_DIR})
