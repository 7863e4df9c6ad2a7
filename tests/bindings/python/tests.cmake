# The Python package as an application meets it: the pytest suite (one test per file, so the
# files run in parallel, each in an interpreter and a printer queue of its own), the examples,
# the type stubs checked against the native module, and the package as installed. Every test but
# the last imports the package from the build tree.
set(VANTO_PYTHON_SUITE ${CMAKE_CURRENT_LIST_DIR})
get_filename_component(VANTO_PYTHON_PATH ${VANTO_PYTHON_PACKAGE_DIR} DIRECTORY)
# Nothing is written next to the sources: no bytecode, no pytest cache, the mypy cache in here.
set(VANTO_PYTHON_ENVIRONMENT "PYTHONPATH=${VANTO_PYTHON_PATH}" "MYPYPATH=${VANTO_PYTHON_PATH}"
    PYTHONDONTWRITEBYTECODE=1)
set(VANTO_PYTEST ${VANTO_TEST_PYTHON} -m pytest -q -p no:cacheprovider)
set(VANTO_PYTHON_TESTS)

file(GLOB VANTO_PYTHON_TEST_FILES CONFIGURE_DEPENDS ${VANTO_PYTHON_SUITE}/*_test.py)
foreach(file ${VANTO_PYTHON_TEST_FILES})
    get_filename_component(name ${file} NAME_WE)
    string(REGEX REPLACE "_test$" "" name ${name})
    add_test(NAME Bindings.Python.${name}
        COMMAND ${VANTO_PYTEST} --rootdir ${VANTO_PYTHON_SUITE} ${file}
        WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
    list(APPEND VANTO_PYTHON_TESTS Bindings.Python.${name})
endforeach()

# How an application tests its own printing with the package's fixture, run as it stands.
add_test(NAME Bindings.Python.example_test_my_pos
    COMMAND ${VANTO_PYTEST} --rootdir ${PROJECT_SOURCE_DIR}/examples/python
        ${PROJECT_SOURCE_DIR}/examples/python/test_my_pos.py
    WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})

# The stubs and annotations as editors and type checkers read them, over the package, the
# examples, this suite and the package's build backend.
add_test(NAME Bindings.Python.types
    COMMAND ${VANTO_TEST_PYTHON} -m mypy --strict --cache-dir ${CMAKE_CURRENT_BINARY_DIR}/mypy-cache
        ${VANTO_PYTHON_PACKAGE_DIR} ${PROJECT_SOURCE_DIR}/examples/python ${VANTO_PYTHON_SUITE}
        ${PROJECT_SOURCE_DIR}/bindings/python/backend
    WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
# The stub of the native module against the module itself: every name it declares exists as the
# same kind of object. pybind11 functions carry no signatures that stubtest can read, so their
# arguments are checked by the suite's calls and by mypy over it instead.
add_test(NAME Bindings.Python.stubs
    COMMAND ${VANTO_TEST_PYTHON} -m mypy.stubtest vantoconnect._native
        --allowlist ${VANTO_PYTHON_SUITE}/stubtest-allowlist.txt
    WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})

list(APPEND VANTO_PYTHON_TESTS Bindings.Python.example_test_my_pos Bindings.Python.types
    Bindings.Python.stubs)
set_tests_properties(${VANTO_PYTHON_TESTS} PROPERTIES
    LABELS bindings TIMEOUT 300 ENVIRONMENT "${VANTO_PYTHON_ENVIRONMENT}")

# The package as cmake --install lays it out (Bindings.Install installs the whole build into
# ${CMAKE_CURRENT_BINARY_DIR}/prefix), imported from there alone.
set(VANTO_PYTHON_INSTALLED ${CMAKE_CURRENT_BINARY_DIR}/prefix/${VANTO_PYTHON_INSTALL_DIR})
add_test(NAME Bindings.Python.installed
    COMMAND ${VANTO_TEST_PYTHON} -c
        "import vantoconnect as vc; assert vc.preview(vc.Receipt())[:4] == b'\\x89PNG'; print(vc.__file__)"
    WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
set_tests_properties(Bindings.Python.installed PROPERTIES
    LABELS bindings TIMEOUT 60 FIXTURES_REQUIRED vanto_installed
    ENVIRONMENT "PYTHONPATH=${VANTO_PYTHON_INSTALLED};PYTHONDONTWRITEBYTECODE=1"
    PASS_REGULAR_EXPRESSION "${VANTO_PYTHON_INSTALLED}/vantoconnect/__init__.py")

# The package as a Python developer installs it: pip in a virtual environment, from a fresh clone
# of the committed checkout, then a wheel on a machine without the checkout. It compiles the core
# once more, optimised (a compiler cache makes a repeat quick), so it starts first and the short
# tests run beside it.
add_test(NAME Bindings.Python.venv_install
    COMMAND ${VANTO_TEST_PYTHON} ${VANTO_PYTHON_SUITE}/venv_install.py ${PROJECT_SOURCE_DIR}
        ${CMAKE_CURRENT_BINARY_DIR}/venv-install)
set_tests_properties(Bindings.Python.venv_install PROPERTIES
    LABELS bindings TIMEOUT 1500 COST 1000)
