# Builds the CPack package of a kzcommon build tree and compares the files
# it holds with a checked-in list.
#
#   cmake -DBINARY_DIR=<kzcommon build> -DWORK_DIR=<scratch>
#         -DGENERATOR=DEB|ZIP -DLIST=<expected list>
#         [-DDEMO_OUTPUT=<expected output> [-DEMULATOR=<runner>]]
#         -P check_package.cmake
#
# With DEMO_OUTPUT, the package is unpacked and its kzmsg runs `kzmsg demo`
# from there, which must say what DEMO_OUTPUT says: the program, the
# library and the demo's catalog find one another in the package's layout.
#
# The list holds one path per line, sorted, as the package stores them
# (folders end in '/'); '#' starts a comment. The build type in the name of
# the CMake targets file reads <config>. KZ_UPDATE_PACKAGE_LISTS=1 in the
# environment rewrites the list instead.
cmake_minimum_required(VERSION 3.20)

foreach(var BINARY_DIR WORK_DIR GENERATOR LIST)
  if(NOT DEFINED ${var} OR "${${var}}" STREQUAL "")
    message(FATAL_ERROR "check_package: ${var} is not set")
  endif()
endforeach()

file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")
execute_process(
  COMMAND cpack -G "${GENERATOR}" --config "${BINARY_DIR}/CPackConfig.cmake"
          -B "${WORK_DIR}"
  WORKING_DIRECTORY "${WORK_DIR}"
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "cpack failed (${rc}):\n${out}")
endif()

if(GENERATOR STREQUAL "DEB")
  file(GLOB packages "${WORK_DIR}/*.deb")
elseif(GENERATOR STREQUAL "ZIP")
  file(GLOB packages "${WORK_DIR}/*.zip")
else()
  message(FATAL_ERROR "check_package: GENERATOR must be DEB or ZIP")
endif()
list(LENGTH packages count)
if(NOT count EQUAL 1)
  message(FATAL_ERROR "expected one package in ${WORK_DIR}:\n${out}")
endif()
message(STATUS "package: ${packages}")

if(GENERATOR STREQUAL "DEB")
  find_program(DPKG_DEB dpkg-deb REQUIRED)
  execute_process(COMMAND "${DPKG_DEB}" --contents "${packages}"
    RESULT_VARIABLE rc OUTPUT_VARIABLE table ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "dpkg-deb --contents failed:\n${err}")
  endif()
  # "<mode> <owner> <size> <date> <time> ./<path>[ -> <target>]"
  string(REGEX MATCHALL "[^\n]+" lines "${table}")
  set(actual "")
  foreach(line IN LISTS lines)
    if(line MATCHES " \\./([^ ]*)( -> .*)?$")
      if(NOT CMAKE_MATCH_1 STREQUAL "")
        list(APPEND actual "${CMAKE_MATCH_1}")
      endif()
    endif()
  endforeach()
  # The control fields that a user sees.
  foreach(field Package Version Architecture Depends)
    execute_process(COMMAND "${DPKG_DEB}" --field "${packages}" ${field}
      OUTPUT_VARIABLE value OUTPUT_STRIP_TRAILING_WHITESPACE)
    message(STATUS "  ${field}: ${value}")
    if(value STREQUAL "")
      message(FATAL_ERROR "the package has no ${field} field")
    endif()
  endforeach()
else()
  execute_process(COMMAND "${CMAKE_COMMAND}" -E tar tf "${packages}"
    RESULT_VARIABLE rc OUTPUT_VARIABLE table ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "listing ${packages} failed:\n${err}")
  endif()
  string(REGEX MATCHALL "[^\n]+" actual "${table}")
endif()

set(normalised "")
foreach(path IN LISTS actual)
  string(REGEX REPLACE "kzcommonTargets-[a-z]+\\.cmake$"
         "kzcommonTargets-<config>.cmake" path "${path}")
  list(APPEND normalised "${path}")
endforeach()
list(SORT normalised)

if("$ENV{KZ_UPDATE_PACKAGE_LISTS}" STREQUAL "1")
  list(JOIN normalised "\n" body)
  file(WRITE "${LIST}"
    "# What the ${GENERATOR} package holds, sorted; checked by package.cpack.\n"
    "# Regenerate with KZ_UPDATE_PACKAGE_LISTS=1 ctest -R package.cpack.\n"
    "${body}\n")
  message(STATUS "check_package: wrote ${LIST}")
  return()
endif()

include("${CMAKE_CURRENT_LIST_DIR}/list_difference.cmake")
kz_read_list("${LIST}" expected)
if(NOT normalised STREQUAL expected)
  kz_list_difference("${normalised}" "${expected}"
    "in the package but not listed" "listed but not in the package" report)
  message(FATAL_ERROR "${packages} differs from ${LIST}:${report}")
endif()
list(LENGTH normalised n)
message(STATUS "check_package: ${n} entries match ${LIST}")

if(NOT DEMO_OUTPUT)
  return()
endif()
set(root "${WORK_DIR}/unpacked")
file(MAKE_DIRECTORY "${root}")
if(GENERATOR STREQUAL "DEB")
  execute_process(COMMAND "${DPKG_DEB}" -x "${packages}" "${root}"
    RESULT_VARIABLE rc ERROR_VARIABLE err)
  set(kzmsg "${root}/usr/bin/kzmsg")
else()
  execute_process(COMMAND "${CMAKE_COMMAND}" -E tar xf "${packages}"
    WORKING_DIRECTORY "${root}" RESULT_VARIABLE rc ERROR_VARIABLE err)
  file(GLOB kzmsg "${root}/*/bin/kzmsg.exe")
endif()
if(NOT rc EQUAL 0 OR NOT EXISTS "${kzmsg}")
  message(FATAL_ERROR "unpacking ${packages} gave no kzmsg (${rc}):\n${err}")
endif()
execute_process(COMMAND ${EMULATOR} "${kzmsg}" demo
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
string(REPLACE "\r\n" "\n" out "${out}")
file(READ "${DEMO_OUTPUT}" expected_output)
if(NOT rc EQUAL 0 OR NOT out STREQUAL expected_output)
  message(FATAL_ERROR "kzmsg demo from the package exited with ${rc}; "
    "its output differs from ${DEMO_OUTPUT}:\n${out}${err}")
endif()
message(STATUS "check_package: kzmsg demo runs from the package")
