# Installs kzcommon to a scratch prefix and builds the consumer program with
# nothing but the compiler and what `pkg-config --cflags --libs kzcommon`
# says, then runs it.
#
#   cmake -DBINARY_DIR=<kzcommon build> -DWORK_DIR=<scratch>
#         -DSOURCE_DIR=<kzcommon source> -DCXX_COMPILER=<c++>
#         -DPKG_CONFIG=<pkg-config> [-DLINK_FLAGS=...] [-DEMULATOR=...]
#         -DEXE_SUFFIX=... -DWINDOWS=ON|OFF -P run_pkg_config.cmake
cmake_minimum_required(VERSION 3.20)

include("${CMAKE_CURRENT_LIST_DIR}/script_steps.cmake")
kz_require(run_pkg_config BINARY_DIR WORK_DIR SOURCE_DIR CXX_COMPILER PKG_CONFIG)

file(REMOVE_RECURSE "${WORK_DIR}")
# The prefix is installed in one place and used from another: the .pc file
# must follow it.
set(installed "${WORK_DIR}/installed")
set(prefix "${WORK_DIR}/moved")
run_step("install" "${CMAKE_COMMAND}" --install "${BINARY_DIR}"
  --prefix "${installed}")
file(RENAME "${installed}" "${prefix}")

file(GLOB_RECURSE pc_files "${prefix}/*/kzcommon.pc")
list(LENGTH pc_files count)
if(NOT count EQUAL 1)
  message(FATAL_ERROR "expected one kzcommon.pc under ${prefix}: ${pc_files}")
endif()
get_filename_component(pc_dir "${pc_files}" DIRECTORY)
# Only this prefix's files: nothing of the machine's own.
set(ENV{PKG_CONFIG_LIBDIR} "${pc_dir}")
set(ENV{PKG_CONFIG_PATH} "")
run_step("pkg-config" "${PKG_CONFIG}" --cflags --libs kzcommon)
string(STRIP "${step_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
set(include_dir "")
foreach(flag IN LISTS flags)
  if(flag MATCHES "^-I(.*)")
    get_filename_component(include_dir "${CMAKE_MATCH_1}" ABSOLUTE)
  endif()
endforeach()
if(NOT include_dir STREQUAL "${prefix}/include")
  message(FATAL_ERROR "pkg-config's include folder is not ${prefix}/include: "
    "${flags}")
endif()
run_step("version" "${PKG_CONFIG}" --modversion kzcommon)

set(program "${WORK_DIR}/kzconsumer${EXE_SUFFIX}")
separate_arguments(link_flags UNIX_COMMAND "${LINK_FLAGS}")
run_step("compile" "${CXX_COMPILER}" -std=c++17
  "${SOURCE_DIR}/tests/package/consumer.cpp" ${flags} ${link_flags}
  -o "${program}")

# The program finds the library where the platform looks: beside it on
# Windows, through the library path elsewhere.
if(WINDOWS)
  file(GLOB dlls "${prefix}/bin/*.dll")
  file(COPY ${dlls} DESTINATION "${WORK_DIR}")
else()
  get_filename_component(lib_dir "${prefix}/lib" ABSOLUTE)
  foreach(flag IN LISTS flags)
    if(flag MATCHES "^-L(.*)")
      set(lib_dir "${CMAKE_MATCH_1}")
    endif()
  endforeach()
  set(ENV{LD_LIBRARY_PATH} "${lib_dir}")
endif()
run_step("run" ${EMULATOR} "${program}")
message("${step_output}")
if(NOT step_output MATCHES "kzconsumer: ok")
  message(FATAL_ERROR "the pkg-config client did not report success")
endif()
