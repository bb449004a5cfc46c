# CPack: what `cpack` in a build folder makes of the install rules.
#   Linux    a .deb that installs under /usr
#   Windows  a .zip of the install tree: kzcommon.dll and kzmsg.exe in bin/,
#            the import library, headers, CMake and pkg-config files in
#            include/ and lib/
# `cpack` in the build folder leaves the package there (-B <folder> puts it
# elsewhere). package.cpack (tests/package) builds it and compares its
# contents with a checked-in list.
set(CPACK_PACKAGE_NAME kzcommon)
set(CPACK_PACKAGE_VENDOR kzcommon)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
  "Strings, message catalogs and composite messages for components")
set(CPACK_PACKAGE_DESCRIPTION
  "A reference-counted wide/multibyte string type, message catalogs read \
from the string tables of loadable modules, composite message strings, and \
kzmsg, a tool to read, compose and check them.")
set(CPACK_PACKAGE_CONTACT "kzcommon maintainers <maintainers@kzcommon.invalid>")
set(CPACK_RESOURCE_FILE_README ${PROJECT_SOURCE_DIR}/README.md)
set(CPACK_PACKAGE_CHECKSUM SHA256)

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_SYSTEM_NAME win64)
  set(CPACK_PACKAGE_FILE_NAME
    ${CPACK_PACKAGE_NAME}-${CPACK_PACKAGE_VERSION}-${CPACK_SYSTEM_NAME})
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
  # Fixed rather than computed by dpkg-shlibdeps, so that the package is
  # the same on every machine that builds it.
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libgcc-s1, libstdc++6")
endif()

include(CPack)
