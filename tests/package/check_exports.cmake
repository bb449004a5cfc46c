# Compares the symbols that the built kzcommon module exports with the
# checked-in list, so that an export added or lost by accident fails a test.
# With KZ_UPDATE_EXPORTS=1 in the environment it rewrites the list instead.
#
#   cmake -DMODULE=<file> -DFORMAT=elf|pe -DLIST=<list> -DNM=<nm>
#         -DOBJDUMP=<objdump> -DCXXFILT=<c++filt> -P check_exports.cmake
#
# The list holds demangled names, sorted, one per line; '#' starts a comment.
# A constructor or destructor appears once for each variant that the compiler
# emits (complete and base object), since both demangle to the same text.
cmake_minimum_required(VERSION 3.20)

foreach(var MODULE FORMAT LIST CXXFILT)
  if(NOT DEFINED ${var} OR "${${var}}" STREQUAL "")
    message(FATAL_ERROR "check_exports: ${var} is not set")
  endif()
endforeach()
if(NOT EXISTS "${MODULE}")
  message(FATAL_ERROR "check_exports: no module at ${MODULE}")
endif()

# Mangled names, one per line.
if(FORMAT STREQUAL "elf")
  execute_process(COMMAND "${NM}" -D --defined-only "${MODULE}"
    OUTPUT_VARIABLE table RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "check_exports: ${NM} failed (${rc})")
  endif()
  # "<address> <type> <name>"
  string(REGEX MATCHALL "[^\n]+" lines "${table}")
  set(mangled "")
  foreach(line IN LISTS lines)
    if(line MATCHES "^[0-9a-fA-F]+ [A-Za-z] ([^ ]+)$")
      list(APPEND mangled "${CMAKE_MATCH_1}")
    endif()
  endforeach()
elseif(FORMAT STREQUAL "pe")
  execute_process(COMMAND "${OBJDUMP}" -p "${MODULE}"
    OUTPUT_VARIABLE table RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "check_exports: ${OBJDUMP} failed (${rc})")
  endif()
  # The name table follows "[Ordinal/Name Pointer] Table" as
  # "\t[   N] <name>" lines and ends at the first blank line.
  string(REGEX MATCHALL "[^\n]*\n" lines "${table}")
  set(mangled "")
  set(inside OFF)
  foreach(line IN LISTS lines)
    string(STRIP "${line}" line)
    if(line MATCHES "^\\[Ordinal/Name Pointer\\] Table")
      set(inside ON)
    elseif(inside AND line STREQUAL "")
      break()
    elseif(inside AND line MATCHES "^\\[ *[0-9]+\\] (.+)$")
      list(APPEND mangled "${CMAKE_MATCH_1}")
    endif()
  endforeach()
else()
  message(FATAL_ERROR "check_exports: FORMAT must be elf or pe")
endif()
list(LENGTH mangled count)
if(count EQUAL 0)
  message(FATAL_ERROR "check_exports: found no exports in ${MODULE}")
endif()

# Demangled, in one pass of c++filt.
get_filename_component(list_name "${LIST}" NAME_WE)
set(scratch "${CMAKE_CURRENT_BINARY_DIR}/${list_name}.mangled")
list(JOIN mangled "\n" text)
file(WRITE "${scratch}" "${text}\n")
execute_process(COMMAND "${CXXFILT}" INPUT_FILE "${scratch}"
  OUTPUT_VARIABLE demangled RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "check_exports: ${CXXFILT} failed (${rc})")
endif()
string(REGEX MATCHALL "[^\n]+" actual "${demangled}")
list(SORT actual)

if("$ENV{KZ_UPDATE_EXPORTS}" STREQUAL "1")
  if(FORMAT STREQUAL "pe")
    set(module_name "kzcommon.dll")
  else()
    set(module_name "libkzcommon.so")
  endif()
  list(JOIN actual "\n" body)
  file(WRITE "${LIST}"
    "# Symbols that ${module_name} exports, demangled and sorted; checked by\n"
    "# the package.exports test. A constructor or destructor appears once per\n"
    "# variant the compiler emits. Regenerate with tools/update-exports.sh.\n"
    "${body}\n")
  list(LENGTH actual n)
  message(STATUS "check_exports: wrote ${n} symbols to ${LIST}")
  return()
endif()

if(NOT EXISTS "${LIST}")
  message(FATAL_ERROR "check_exports: no list at ${LIST}; "
    "run tools/update-exports.sh")
endif()
include("${CMAKE_CURRENT_LIST_DIR}/list_difference.cmake")
kz_read_list("${LIST}" expected)

if(NOT actual STREQUAL expected)
  kz_list_difference("${actual}" "${expected}"
    "exported but not listed" "listed but not exported" report)
  if(report STREQUAL "")
    string(APPEND report "\n  the same names, but a different number of "
      "copies of some (constructor or destructor variants)")
  endif()
  message(FATAL_ERROR "The exports of ${MODULE} differ from ${LIST}:"
    "${report}\nIf the change is intended, regenerate the list with "
    "tools/update-exports.sh and review the diff.")
endif()
list(LENGTH actual n)
message(STATUS "check_exports: ${n} exports match ${LIST}")
