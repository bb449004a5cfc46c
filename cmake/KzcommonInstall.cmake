# Install rules and the packages: the CMake package, so that
# find_package(kzcommon) works from the install prefix with the same target
# and function as add_subdirectory, and a pkg-config file. The version comes
# from project() in the top CMakeLists.txt and nowhere else.
include(CMakePackageConfigHelpers)

install(TARGETS kzcommon EXPORT kzcommonTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
# kzmsg goes with the library when kzcommon is a project of its own; inside
# a client's tree it is built only when a catalog check needs it.
if(TARGET kzmsg AND KZ_TOP_LEVEL)
  install(TARGETS kzmsg EXPORT kzcommonTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  # The catalog of `kzmsg demo`: a module to load, not to link, so neither
  # an import library nor an export of its own.
  if(WIN32)
    install(FILES $<TARGET_FILE:kzmsg_demo_messages>
      DESTINATION ${CMAKE_INSTALL_BINDIR})
  else()
    install(FILES $<TARGET_FILE:kzmsg_demo_messages>
      DESTINATION ${CMAKE_INSTALL_LIBDIR})
  endif()
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/kzcommon
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(KZ_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/kzcommon)
install(EXPORT kzcommonTargets NAMESPACE kzcommon::
  DESTINATION ${KZ_PACKAGE_DIR})
configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/kzcommonConfig.cmake.in
  ${PROJECT_BINARY_DIR}/kzcommonConfig.cmake
  INSTALL_DESTINATION ${KZ_PACKAGE_DIR})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/kzcommonConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/kzcommonConfig.cmake
  ${PROJECT_BINARY_DIR}/kzcommonConfigVersion.cmake
  ${PROJECT_SOURCE_DIR}/cmake/KzcommonCatalog.cmake
  DESTINATION ${KZ_PACKAGE_DIR})

# pkg-config. The prefix is found from the .pc file's own folder, so the
# file is right wherever the prefix is installed or unpacked to.
set(KZ_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE "${KZ_PC_DIR}")
  set(KZ_PC_PREFIX_FROM_PCFILEDIR "")
  set(kz_pc_prefix "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH KZ_PC_PREFIX_FROM_PCFILEDIR "/prefix/${KZ_PC_DIR}"
       "/prefix")
  string(REGEX REPLACE "/$" "" KZ_PC_PREFIX_FROM_PCFILEDIR
         "${KZ_PC_PREFIX_FROM_PCFILEDIR}")
  set(kz_pc_prefix "\${prefix}")
endif()
foreach(kind LIBDIR INCLUDEDIR BINDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}}")
    set(KZ_PC_${kind} "${CMAKE_INSTALL_${kind}}")
  else()
    set(KZ_PC_${kind} "${kz_pc_prefix}/${CMAKE_INSTALL_${kind}}")
  endif()
endforeach()
# On Windows a client calls the system's BSTR and COM functions itself, so
# their import libraries are part of the link; on POSIX the library
# implements those names and its own dependencies stay private.
set(KZ_PC_LIBS "")
set(KZ_PC_LIBS_PRIVATE "")
if(WIN32)
  foreach(lib IN LISTS KZ_SYSTEM_LIBS)
    string(APPEND KZ_PC_LIBS " -l${lib}")
  endforeach()
else()
  if(CMAKE_DL_LIBS)
    string(APPEND KZ_PC_LIBS_PRIVATE " -l${CMAKE_DL_LIBS}")
  endif()
  string(APPEND KZ_PC_LIBS_PRIVATE " -pthread")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/kzcommon.pc.in
  ${PROJECT_BINARY_DIR}/kzcommon.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kzcommon.pc DESTINATION ${KZ_PC_DIR})
