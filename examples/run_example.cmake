# Runs an example program and compares its output with the expected text,
# line ends aside (the Windows run-time writes CR LF).
#
#   cmake -DPROGRAM=<exe> [-DARGS=<arguments>] [-DEMULATOR=<runner>]
#         -DEXPECTED=<file> -P run_example.cmake
cmake_minimum_required(VERSION 3.20)
execute_process(COMMAND ${EMULATOR} ${PROGRAM} ${ARGS}
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
string(REPLACE "\r\n" "\n" out "${out}")
file(READ "${EXPECTED}" expected)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${PROGRAM} exited with ${rc}:\n${out}${err}")
endif()
if(NOT out STREQUAL expected)
  message(FATAL_ERROR "output differs from ${EXPECTED}:\n${out}")
endif()
message(STATUS "output as expected:\n${out}")
