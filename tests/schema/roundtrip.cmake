# ctest driver for one generated-class round trip (cmake -P):
#  1. tessark-genmodel creates a fresh table and generates the record classes,
#  2. the project in roundtrip/ is configured and built against the library:
#     the build tree's, or with STAGE_DIR the installed package, found the way
#     an application finds it (find_package(Tessark) after cmake --install),
#  3. the program inserts and reads back a row; the PostgreSQL table is dropped.
#
# -D inputs: BACKEND, GENMODEL, WORK_DIR, PROJECT_DIR, TESSARK_LIBRARY,
# TESSARK_INCLUDE_DIR, GENERATOR, MAKE_PROGRAM, CXX_COMPILER, BUILD_TYPE,
# QT_MAJOR, QT_DIR, CXX_FLAGS, LINKER_FLAGS (the enclosing build's, e.g. sanitizers);
# for the installed package STAGE_DIR and BUILD_DIR instead of TESSARK_LIBRARY
# and TESSARK_INCLUDE_DIR.
cmake_minimum_required(VERSION 3.16)

if(STAGE_DIR)
    set(required BUILD_DIR)
else()
    set(required TESSARK_LIBRARY TESSARK_INCLUDE_DIR)
endif()
foreach(var BACKEND GENMODEL WORK_DIR PROJECT_DIR GENERATOR CXX_COMPILER ${required})
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

set(library_args "-DTESSARK_LIBRARY=${TESSARK_LIBRARY}" "-DTESSARK_INCLUDE_DIR=${TESSARK_INCLUDE_DIR}")
if(STAGE_DIR)
    file(REMOVE_RECURSE "${STAGE_DIR}")
    execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${STAGE_DIR}"
                    OUTPUT_QUIET RESULT_VARIABLE installed)
    if(NOT installed EQUAL 0)
        message(FATAL_ERROR "installing into ${STAGE_DIR} failed")
    endif()
    foreach(installed_file include/tessark/Model/objectmodel.h include/tessark/brelvan_global.h
                           lib/cmake/Tessark/TessarkConfigVersion.cmake lib/pkgconfig/tessark.pc)
        if(NOT EXISTS "${STAGE_DIR}/${installed_file}")
            message(FATAL_ERROR "the install lacks ${installed_file}")
        endif()
    endforeach()
    set(library_args "-DCMAKE_PREFIX_PATH=${STAGE_DIR}")
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
            ${library_args}
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
