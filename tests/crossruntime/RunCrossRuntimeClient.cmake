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
# The headers that hand the library's C++ objects across refuse this
# runtime at compile time, pointing to ZVariantAbi, unless told otherwise.
file(WRITE ${OUTPUT}_same_runtime.cpp "#include \"LumCore/PropertyTree.hpp\"\nint main() { return 0; }\n")
execute_process(COMMAND ${CLANGXX} -std=c++17 -stdlib=libc++ -fsyntax-only -I${INCLUDE_DIR} ${OUTPUT}_same_runtime.cpp
  RESULT_VARIABLE _result ERROR_VARIABLE _err)
if(_result EQUAL 0 OR NOT _err MATCHES "ZVariantAbi")
  message(FATAL_ERROR "a same-runtime header compiled against libc++ without a word:\n${_err}")
endif()
execute_process(COMMAND ${CLANGXX} -std=c++17 -stdlib=libc++ -fsyntax-only -DLUMCORE_ALLOW_OTHER_CXX_RUNTIME
  -I${INCLUDE_DIR} ${OUTPUT}_same_runtime.cpp RESULT_VARIABLE _result ERROR_VARIABLE _err)
if(NOT _result EQUAL 0)
  message(FATAL_ERROR "the opt-out of the runtime check did not compile:\n${_err}")
endif()
execute_process(COMMAND ${OUTPUT} RESULT_VARIABLE _result OUTPUT_VARIABLE _out ERROR_VARIABLE _err)
message("${_out}${_err}")
if(NOT _result EQUAL 0)
  message(FATAL_ERROR "the clang++/libc++ client failed")
endif()
