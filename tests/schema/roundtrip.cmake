# ctest driver for one generated-class round trip (cmake -P):
#  1. tessark-genmodel creates a fresh table and generates the record classes,
#  2. the project in roundtrip/ is configured and built against the library,
#  3. the program inserts and reads back a row; the PostgreSQL table is dropped.
#
# -D inputs: BACKEND, GENMODEL, WORK_DIR, PROJECT_DIR, TESSARK_LIBRARY,
# TESSARK_INCLUDE_DIR, GENERATOR, MAKE_PROGRAM, CXX_COMPILER, BUILD_TYPE,
# QT_MAJOR, QT_DIR, CXX_FLAGS, LINKER_FLAGS (the enclosing build's, e.g. sanitizers).
cmake_minimum_required(VERSION 3.16)

foreach(var BACKEND GENMODEL WORK_DIR PROJECT_DIR TESSARK_LIBRARY TESSARK_INCLUDE_DIR GENERATOR CXX_COMPILER)
    if(NOT DEFINED ${var} OR "${${var}}" STREQUAL "")
        message(FATAL_ERROR "roundtrip.cmake needs -D${var}=...")
    endif()
endforeach()

# A stale build or stale classes must not pass for this run's.
file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")

execute_process(COMMAND "${GENMODEL}" create ${BACKEND} "${WORK_DIR}" RESULT_VARIABLE generated)
if(generated EQUAL 77)
    return() # tessark-genmodel printed the reason the test property matches as skipped
elseif(NOT generated EQUAL 0)
    message(FATAL_ERROR "generating the record classes failed (${generated})")
endif()

set(failure "")
execute_process(
    COMMAND "${CMAKE_COMMAND}" -S "${PROJECT_DIR}" -B "${WORK_DIR}/build"
            -G "${GENERATOR}"
            "-DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM}"
            "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}"
            "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}"
            "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
            "-DCMAKE_EXE_LINKER_FLAGS=${LINKER_FLAGS}"
            "-DQt${QT_MAJOR}_DIR=${QT_DIR}"
            "-DTESSARK_QT_MAJOR=${QT_MAJOR}"
            "-DTESSARK_LIBRARY=${TESSARK_LIBRARY}"
            "-DTESSARK_INCLUDE_DIR=${TESSARK_INCLUDE_DIR}"
            "-DGENERATED_DIR=${WORK_DIR}/gen"
            "-DROUNDTRIP_BACKEND=${BACKEND}"
    RESULT_VARIABLE configured)
if(NOT configured EQUAL 0)
    set(failure "configuring the round-trip project failed")
else()
    execute_process(COMMAND "${CMAKE_COMMAND}" --build "${WORK_DIR}/build" RESULT_VARIABLE built)
    if(NOT built EQUAL 0)
        set(failure "the generated classes did not compile against the library")
    else()
        execute_process(COMMAND "${WORK_DIR}/build/roundtrip" "${WORK_DIR}/connection.ini" RESULT_VARIABLE ran)
        if(NOT ran EQUAL 0)
            set(failure "the round trip failed (${ran})")
        endif()
    endif()
endif()

execute_process(COMMAND "${GENMODEL}" drop "${WORK_DIR}" RESULT_VARIABLE dropped)
if(failure)
    message(FATAL_ERROR "${failure}; generated classes and build in ${WORK_DIR}")
endif()
if(NOT dropped EQUAL 0)
    message(FATAL_ERROR "dropping the round-trip table failed (${dropped})")
endif()
