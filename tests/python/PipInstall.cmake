# `pip install` of the module from the source tree into a fresh venv, as a
# user runs it: build isolation on, no package index, no variable set. The
# wheel carries the library, and the build folder is gone by the import.
file(REMOVE_RECURSE ${WORK_DIR})
include(${CMAKE_CURRENT_LIST_DIR}/../support/RunChecked.cmake)

unset(ENV{PYTHONPATH})
unset(ENV{LUMCORE_LIBRARY})
set(ENV{CMAKE_BUILD_PARALLEL_LEVEL} 2)
run(${PYTHON} -m venv ${WORK_DIR}/venv)
run(${WORK_DIR}/venv/bin/pip install --quiet --no-index ${SOURCE})
run(${WORK_DIR}/venv/bin/python -c "import lumcore, os, pickle
here = os.path.dirname(lumcore.__file__)
assert here.startswith('${WORK_DIR}/venv'), here
assert lumcore.library_path.startswith(here), lumcore.library_path
v = lumcore.Variant([[1, 2], [3, 4]])
assert pickle.loads(pickle.dumps(v, protocol=5)) == v and v[1, -1] == 4")
message(STATUS "pip installed lumcore into a fresh venv; it runs on the library it carries")
