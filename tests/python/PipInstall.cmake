# pip install --no-build-isolation of the Python module into a fresh venv,
# then an import that finds the library through LUMCORE_LIBRARY.
file(REMOVE_RECURSE ${WORK_DIR})
file(COPY ${SOURCE}/ DESTINATION ${WORK_DIR}/source PATTERN __pycache__ EXCLUDE)

include(${CMAKE_CURRENT_LIST_DIR}/../support/RunChecked.cmake)

run(${PYTHON} -m venv --system-site-packages ${WORK_DIR}/venv)
run(${WORK_DIR}/venv/bin/pip install --quiet --no-build-isolation --no-index ${WORK_DIR}/source)
set(ENV{LUMCORE_LIBRARY} ${LIBRARY})
unset(ENV{PYTHONPATH})
run(${WORK_DIR}/venv/bin/python -c "import lumcore; assert 'venv' in lumcore.__file__; assert lumcore.Variant('ok').item() == 'ok'")
message(STATUS "pip installed lumcore and it found ${LIBRARY}")
