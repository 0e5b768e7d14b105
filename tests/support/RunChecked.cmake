# run(<command> <args>...): runs a command from a CMake script and stops the
# script, with the command's output, when it fails.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE _result OUTPUT_VARIABLE _out ERROR_VARIABLE _err)
  if(NOT _result EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${_out}\n${_err}")
  endif()
endfunction()
