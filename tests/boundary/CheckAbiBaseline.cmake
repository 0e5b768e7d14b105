# Reads the library's ABI and compares it with the checked-in baseline;
# fails on any difference that abidiff reports, with its report.
execute_process(COMMAND ${ABIDW} --out-file ${CURRENT} ${LIBRARY} RESULT_VARIABLE _read ERROR_VARIABLE _read_errors)
if(NOT _read EQUAL 0)
  message(FATAL_ERROR "abidw could not read ${LIBRARY}:\n${_read_errors}")
endif()
execute_process(COMMAND ${ABIDIFF} ${BASELINE} ${CURRENT} RESULT_VARIABLE _diff OUTPUT_VARIABLE _report
  ERROR_VARIABLE _report)
if(NOT _diff EQUAL 0)
  message(FATAL_ERROR "The exported ABI differs from the baseline (abidiff status ${_diff}):\n${_report}\n"
    "If the change is meant, rewrite the baseline in the same commit: "
    "cmake --build <build dir> --target lumcore_update_abi_baseline")
endif()
message(STATUS "ABI as in the baseline")
