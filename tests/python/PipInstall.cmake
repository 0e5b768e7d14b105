# pip install --no-build-isolation of the Python module into a fresh venv,
# then imports that find the library through LUMCORE_LIBRARY and beside the
# module.
file(REMOVE_RECURSE ${WORK_DIR})
file(COPY ${SOURCE}/ DESTINATION ${WORK_DIR}/source PATTERN __pycache__ EXCLUDE)

include(${CMAKE_CURRENT_LIST_DIR}/../support/RunChecked.cmake)

run(${PYTHON} -m venv --system-site-packages ${WORK_DIR}/venv)
run(${WORK_DIR}/venv/bin/pip install --quiet --no-build-isolation --no-index ${WORK_DIR}/source)
set(ENV{LUMCORE_LIBRARY} ${LIBRARY})
unset(ENV{PYTHONPATH})
run(${WORK_DIR}/venv/bin/python -c "import lumcore; assert 'venv' in lumcore.__file__; assert lumcore.Variant('ok').item() == 'ok'")

# Then with the library put beside the installed module, and no variable.
execute_process(COMMAND ${WORK_DIR}/venv/bin/python -c
  "import importlib.util, os; print(os.path.dirname(importlib.util.find_spec('lumcore').origin))"
  OUTPUT_VARIABLE _module_dir OUTPUT_STRIP_TRAILING_WHITESPACE)
file(COPY ${LIBRARY} DESTINATION ${_module_dir})
unset(ENV{LUMCORE_LIBRARY})
run(${WORK_DIR}/venv/bin/python -c "import lumcore; assert lumcore.library_path.startswith('${_module_dir}'), lumcore.library_path")
message(STATUS "pip installed lumcore; it found the library through LUMCORE_LIBRARY, then beside itself")
