# Builds one target of a build tree and passes if the build fails with the
# expected text in its output.
#
#   cmake -DBINARY_DIR=<build> -DTARGET=<target> -DEXPECT=<text>
#         -P expect_build_failure.cmake
execute_process(
  COMMAND ${CMAKE_COMMAND} --build "${BINARY_DIR}" --target "${TARGET}"
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
if(rc EQUAL 0)
  message(FATAL_ERROR "${TARGET} built, but its check should fail it:\n${out}")
endif()
string(FIND "${out}" "${EXPECT}" at)
if(at EQUAL -1)
  message(FATAL_ERROR "${TARGET} failed without \"${EXPECT}\":\n${out}")
endif()
message(STATUS "${TARGET} failed as it should")
