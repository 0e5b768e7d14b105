# Installs the library from LUMCORE_BUILD_DIR into a scratch prefix, then
# builds and runs a consumer project against it twice: through
# find_package(LumCore) and through pkg-config.
file(REMOVE_RECURSE ${WORK_DIR})
set(_prefix ${WORK_DIR}/prefix)

include(${CMAKE_CURRENT_LIST_DIR}/../support/RunChecked.cmake)

run(${CMAKE_COMMAND} --install ${LUMCORE_BUILD_DIR} --prefix ${_prefix})

# 1. CMake package.
run(${CMAKE_COMMAND} -S ${CONSUMER_SOURCE_DIR} -B ${WORK_DIR}/cmake-build
    -DCMAKE_PREFIX_PATH=${_prefix} -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
run(${WORK_DIR}/cmake-build/consumer)

# 2. pkg-config.
find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  set(ENV{PKG_CONFIG_PATH} "${_prefix}/lib/pkgconfig:${_prefix}/lib64/pkgconfig:${_prefix}/lib/x86_64-linux-gnu/pkgconfig")
  execute_process(COMMAND ${PKG_CONFIG} --cflags --libs lumcore
    OUTPUT_VARIABLE _flags RESULT_VARIABLE _result OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT _result EQUAL 0)
    message(FATAL_ERROR "pkg-config does not know lumcore")
  endif()
  separate_arguments(_flags UNIX_COMMAND "${_flags}")
  string(REGEX MATCH "-L[^ ;]+" _libdir_flag "${_flags}")
  string(SUBSTRING "${_libdir_flag}" 2 -1 _libdir)
  run(${CMAKE_CXX_COMPILER} -std=c++17 ${CONSUMER_SOURCE_DIR}/main.cpp ${_flags}
      -Wl,-rpath,${_libdir} -o ${WORK_DIR}/pkgconfig-consumer)
  run(${WORK_DIR}/pkgconfig-consumer)
endif()
# 3. The Python module, finding the installed library on its own.
if(PYTHON)
  file(GLOB_RECURSE _module ${_prefix}/*/python3/dist-packages/lumcore/__init__.py)
  get_filename_component(_module_dir ${_module} DIRECTORY)
  get_filename_component(_site_dir ${_module_dir} DIRECTORY)
  set(ENV{PYTHONPATH} ${_site_dir})
  unset(ENV{LUMCORE_LIBRARY})
  run(${PYTHON} -c "import lumcore, sys; v = lumcore.Variant([1, 2]); assert lumcore.library_path.startswith('${_prefix}'), lumcore.library_path; assert v.tolist() == [1, 2]")
endif()
message(STATUS "consumer built and ran against the installed tree")
