# Configures, builds and runs the consumer project in one of two modes:
#   find_package     - install the library built in BINARY_DIR to a scratch prefix first
#   add_subdirectory - add SOURCE_DIR to the consumer's own build
file(REMOVE_RECURSE ${WORK_DIR})
set(flags "")
if(SANITIZE)
    set(flags "-DCMAKE_CXX_FLAGS=-fsanitize=${SANITIZE}" "-DCMAKE_C_FLAGS=-fsanitize=${SANITIZE}"
        "-DCMAKE_EXE_LINKER_FLAGS=-fsanitize=${SANITIZE}")
endif()

if(MODE STREQUAL "find_package")
    execute_process(COMMAND ${CMAKE_COMMAND} --install ${BINARY_DIR} --prefix ${WORK_DIR}/prefix
        RESULT_VARIABLE rc OUTPUT_QUIET)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "installing the library failed")
    endif()
    set(configure ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/consumer -B ${WORK_DIR}/build
        -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix ${flags})
else()
    set(configure ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/consumer -B ${WORK_DIR}/build
        -DVANTO_CONSUMER_MODE=add_subdirectory -DVANTO_SOURCE_DIR=${SOURCE_DIR}
        -DCMAKE_BUILD_TYPE=Release)
endif()

execute_process(COMMAND ${configure} RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "configuring the consumer (${MODE}) failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR}/build -j 2 RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
    message(FATAL_ERROR "building the consumer (${MODE}) failed")
endif()
execute_process(COMMAND ${WORK_DIR}/build/consumer RESULT_VARIABLE rc OUTPUT_VARIABLE out)
if(NOT rc EQUAL 0 OR NOT out MATCHES "ok")
    message(FATAL_ERROR "the consumer (${MODE}) did not run: ${out}")
endif()
if(EXISTS ${WORK_DIR}/build/consumer_c)
    execute_process(COMMAND ${WORK_DIR}/build/consumer_c RESULT_VARIABLE rc OUTPUT_VARIABLE out)
    if(NOT rc EQUAL 0 OR NOT out MATCHES "ok")
        message(FATAL_ERROR "the C consumer (${MODE}) did not run: ${out}")
    endif()
elseif(MODE STREQUAL "find_package" AND EXISTS ${BINARY_DIR}/bindings/c)
    message(FATAL_ERROR "the installed package has no vantoconnect::c target")
endif()
