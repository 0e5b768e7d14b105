# The coverage report, a test of its own that the coverage workflow runs
# after all the others, with its output shown: a table of the library's
# files (lines, and the line numbers never run) and the line and branch
# totals. Throw branches and those the compiler proves unreachable are left
# out of the branch figure.
find_program(LUMCORE_GCOVR gcovr)
if(NOT LUMCORE_GCOVR)
  message(WARNING "gcovr not found: the coverage run prints no report (Debian: gcovr)")
  return()
endif()
# The library's own code: its sources and the headers compiled into callers.
set(_lum_covered "${PROJECT_SOURCE_DIR}/(boundary|strings|types|variant|addressing|property|format|exchange|include/LumCore)/")
add_test(NAME coverage.report
  COMMAND ${LUMCORE_GCOVR} --root ${PROJECT_SOURCE_DIR} --object-directory ${PROJECT_BINARY_DIR}
    --filter ${_lum_covered} --exclude-throw-branches --exclude-unreachable-branches -j 2 --print-summary
    # gcov prints a negative count for a few branches of header templates
    # that many test programs instantiate; gcovr cannot read those lines and
    # would stop. They are skipped, and the rest of the file counts.
    --gcov-ignore-parse-errors)
set_tests_properties(coverage.report PROPERTIES LABELS coverage_report TIMEOUT 900)
