# Shared by the package scripts that build and run a client.
#
# kz_require(<script> <var>...): fails unless each variable is set.
# run_step(<what> <command>...): runs the command, fails with its output if
# it fails, and leaves its standard output in `step_output`.
function(kz_require script)
  foreach(var IN LISTS ARGN)
    if(NOT DEFINED ${var} OR "${${var}}" STREQUAL "")
      message(FATAL_ERROR "${script}: ${var} is not set")
    endif()
  endforeach()
endfunction()

function(run_step what)
  list(JOIN ARGN " " shown)
  message(STATUS "${what}: ${shown}")
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc
    OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${what} failed (${rc}):\n${out}${err}")
  endif()
  set(step_output "${out}" PARENT_SCOPE)
endfunction()
