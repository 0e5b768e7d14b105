# Builds the cross-runtime client with clang++ against libc++ and runs it
# against the g++-built library.
# Usage: cmake -DCLANGXX=... -DSOURCE=... -DINCLUDE_DIR=... -DLIBRARY=... -DOUTPUT=... -P this
get_filename_component(_libdir ${LIBRARY} DIRECTORY)
execute_process(
  COMMAND ${CLANGXX} -std=c++17 -stdlib=libc++ -Wall -Wextra -I${INCLUDE_DIR} ${SOURCE}
          ${LIBRARY} -Wl,-rpath,${_libdir} -o ${OUTPUT}
  RESULT_VARIABLE _result OUTPUT_VARIABLE _out ERROR_VARIABLE _err)
if(NOT _result EQUAL 0)
  message(FATAL_ERROR "building the clang++/libc++ client failed:\n${_out}\n${_err}")
endif()
# Make sure the client really runs on libc++ and the library on libstdc++.
execute_process(COMMAND ldd ${OUTPUT} OUTPUT_VARIABLE _ldd)
if(NOT _ldd MATCHES "libc\\+\\+")
  message(FATAL_ERROR "the client is not linked against libc++:\n${_ldd}")
endif()
execute_process(COMMAND ${OUTPUT} RESULT_VARIABLE _result OUTPUT_VARIABLE _out ERROR_VARIABLE _err)
message("${_out}${_err}")
if(NOT _result EQUAL 0)
  message(FATAL_ERROR "the clang++/libc++ client failed")
endif()
