# Builds and runs one of the client projects beside this file, the way a
# client would use kzcommon: MODE find_package installs the library to a
# scratch prefix first; MODE add_subdirectory builds it from source inside the
# client.
#
#   cmake -DMODE=find_package|add_subdirectory -DSOURCE_DIR=<kzcommon source>
#         -DBINARY_DIR=<kzcommon build> -DWORK_DIR=<scratch>
#         -DGENERATOR=... -DMAKE_PROGRAM=... -DBUILD_TYPE=...
#         [-DTOOLCHAIN_FILE=...] [-DC_COMPILER=... -DCXX_COMPILER=...]
#         [-DEMULATOR=...] -DEXE_SUFFIX=... -DWINDOWS=ON|OFF
#         -P run_consumer.cmake
cmake_minimum_required(VERSION 3.20)

include("${CMAKE_CURRENT_LIST_DIR}/script_steps.cmake")
kz_require(run_consumer MODE SOURCE_DIR BINARY_DIR WORK_DIR GENERATOR)

set(project_dir "${SOURCE_DIR}/tests/package/${MODE}")
set(build_dir "${WORK_DIR}/build")
set(out_dir "${build_dir}/out")
file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")

set(configure_args -S "${project_dir}" -B "${build_dir}" -G "${GENERATOR}")
if(MAKE_PROGRAM)
  list(APPEND configure_args "-DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM}")
endif()
if(BUILD_TYPE)
  list(APPEND configure_args "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}")
endif()
if(TOOLCHAIN_FILE)
  list(APPEND configure_args "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN_FILE}")
else()
  foreach(lang C CXX)
    if(${lang}_COMPILER)
      list(APPEND configure_args
        "-DCMAKE_${lang}_COMPILER=${${lang}_COMPILER}")
    endif()
  endforeach()
endif()

if(MODE STREQUAL "find_package")
  set(prefix "${WORK_DIR}/prefix")
  run_step("install" "${CMAKE_COMMAND}" --install "${BINARY_DIR}"
    --prefix "${prefix}")
  # The package is found through the prefix alone. A cross build searches
  # only under its find root, so there kzcommon_DIR names the package folder
  # as a cross-compiling client would.
  list(APPEND configure_args "-DCMAKE_PREFIX_PATH=${prefix}")
  if(TOOLCHAIN_FILE)
    file(GLOB_RECURSE config_files "${prefix}/*/kzcommonConfig.cmake")
    list(GET config_files 0 config_file)
    get_filename_component(config_dir "${config_file}" DIRECTORY)
    list(APPEND configure_args "-Dkzcommon_DIR=${config_dir}")
  endif()
elseif(MODE STREQUAL "add_subdirectory")
  list(APPEND configure_args "-DKZCOMMON_SOURCE_DIR=${SOURCE_DIR}")
else()
  message(FATAL_ERROR "run_consumer: MODE must be find_package or "
    "add_subdirectory")
endif()

run_step("configure" "${CMAKE_COMMAND}" ${configure_args})
run_step("build" "${CMAKE_COMMAND}" --build "${build_dir}" -j 2)

if(MODE STREQUAL "add_subdirectory")
  # BUILD_TESTING=OFF: the client's own test list stays empty.
  run_step("list tests" "${CMAKE_CTEST_COMMAND}" --test-dir "${build_dir}" -N)
  if(NOT step_output MATCHES "Total Tests: 0")
    message(FATAL_ERROR "kzcommon registered tests inside a client that "
      "set BUILD_TESTING=OFF:\n${step_output}")
  endif()
  # The client's output folders hold the library, beside the program.
  if(WINDOWS)
    set(module "${out_dir}/kzcommon.dll")
  else()
    set(module "${out_dir}/libkzcommon.so")
  endif()
  if(NOT EXISTS "${module}")
    message(FATAL_ERROR "kzcommon ignored the client's output folders: "
      "no ${module}")
  endif()
endif()

set(program "${out_dir}/kzconsumer${EXE_SUFFIX}")
if(NOT EXISTS "${program}")
  message(FATAL_ERROR "the client's program is not at ${program}")
endif()
run_step("run" ${EMULATOR} "${program}")
message("${step_output}")
if(NOT step_output MATCHES "kzconsumer: ok")
  message(FATAL_ERROR "the client's program did not report success")
endif()
