# ctest driver for one generated-class round trip (cmake -P):
#  1. tessark-genmodel creates a fresh table and generates the record classes,
#  2. the project in roundtrip/ is configured and built against the library:
#     the build tree's, or with STAGE_DIR an installed package found the way an
#     application finds it (find_package(Tessark) or find_package(TessarkQt6)):
#     - BUILD_DIR installed with cmake --install, and SIBLING_BUILD_DIR (a build
#       against the other Qt major) into the same prefix, built against each;
#     - with DEB, BUILD_DIR's Debian packages (cpack) unpacked with dpkg -x,
#  3. the program inserts and reads back a row; the PostgreSQL table is dropped.
#
# -D inputs: BACKEND, GENMODEL, WORK_DIR, PROJECT_DIR, TESSARK_LIBRARY,
# TESSARK_INCLUDE_DIR, GENERATOR, MAKE_PROGRAM, CXX_COMPILER, BUILD_TYPE,
# QT_MAJOR, QT_DIR, CXX_FLAGS, LINKER_FLAGS (the enclosing build's, e.g. sanitizers);
# for an installed package STAGE_DIR and BUILD_DIR (optional SIBLING_BUILD_DIR,
# DEB) instead of TESSARK_LIBRARY and TESSARK_INCLUDE_DIR.
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

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        string(REPLACE ";" " " command "${ARGN}")
        message(FATAL_ERROR "${command} failed (${result}):\n${output}")
    endif()
    set(output "${output}" PARENT_SCOPE)
endfunction()

# Checks what an installed build put under prefix, by the names it gives
# (tessark-build.cmake in its build folder); adds it to `builds`.
macro(check_install prefix build_dir libdir)
    include("${build_dir}/tessark-build.cmake")
    foreach(installed_file include/${TESSARK_INCLUDE_NAME}/Model/objectmodel.h
                           include/${TESSARK_INCLUDE_NAME}/brelvan_global.h
                           ${libdir}/cmake/${TESSARK_PACKAGE}/${TESSARK_PACKAGE}ConfigVersion.cmake
                           ${libdir}/pkgconfig/${TESSARK_PC_NAME}.pc)
        if(NOT EXISTS "${prefix}/${installed_file}")
            message(FATAL_ERROR "the install lacks ${installed_file}")
        endif()
    endforeach()
    # Widgets is the library's own business: not in the CMake package's
    # interface or dependencies, not in the .pc file. (CMake does record the
    # library's own shared dependencies, for the linker's -rpath-link only.)
    file(GLOB package_files "${prefix}/${libdir}/cmake/${TESSARK_PACKAGE}/*.cmake")
    foreach(package_file ${package_files} "${prefix}/${libdir}/pkgconfig/${TESSARK_PC_NAME}.pc")
        file(STRINGS "${package_file}" text REGEX "Widgets")
        list(FILTER text EXCLUDE REGEX "IMPORTED_LINK_DEPENDENT_LIBRARIES")
        if(text)
            message(FATAL_ERROR "${package_file} names Qt Widgets")
        endif()
    endforeach()
    # pkg-config finds the prefix from the file's own folder.
    set(ENV{PKG_CONFIG_PATH} "${prefix}/${libdir}/pkgconfig")
    run(pkg-config --variable=prefix ${TESSARK_PC_NAME})
    string(STRIP "${output}" pc_prefix)
    get_filename_component(pc_prefix "${pc_prefix}" REALPATH)
    get_filename_component(real_prefix "${prefix}" REALPATH)
    if(NOT pc_prefix STREQUAL real_prefix)
        message(FATAL_ERROR "${TESSARK_PC_NAME}.pc gives the prefix ${pc_prefix}, not ${real_prefix}")
    endif()
    list(APPEND builds "${TESSARK_QT_MAJOR}|${TESSARK_QT_DIR}|${TESSARK_PACKAGE}")
endmacro()

set(builds "")
if(STAGE_DIR)
    file(REMOVE_RECURSE "${STAGE_DIR}")
    if(DEB)
        run(cpack -G DEB -B "${WORK_DIR}/debs" --config "${BUILD_DIR}/CPackConfig.cmake")
        file(GLOB debs "${WORK_DIR}/debs/*.deb")
        include("${BUILD_DIR}/tessark-build.cmake")
        set(expected 2) # the library, its development files
        if(TESSARK_BUILT_TOOL)
            set(expected 3) # and the tool
        endif()
        list(LENGTH debs count)
        if(NOT count EQUAL expected)
            message(FATAL_ERROR "cpack made ${count} packages, not ${expected}: ${debs}")
        endif()
        foreach(deb ${debs})
            run(dpkg-deb --field "${deb}" Package Depends)
            message(STATUS "${deb}: ${output}")
            run(dpkg -x "${deb}" "${STAGE_DIR}")
        endforeach()
        check_install("${STAGE_DIR}/usr" "${BUILD_DIR}" lib)
        if(TESSARK_BUILT_TOOL)
            run("${STAGE_DIR}/usr/bin/${TESSARK_TOOL_NAME}" --version)
        endif()
        set(prefix_path "${STAGE_DIR}/usr")
        # A multiarch library folder puts the prefix one folder further up.
        set(CMAKE_INSTALL_INCLUDEDIR include)
        set(PROJECT_VERSION 0)
        include("${CMAKE_CURRENT_LIST_DIR}/../../cmake/TessarkPkgConfig.cmake")
        tessark_configure_pkgconfig("${WORK_DIR}/multiarch/usr/lib/x86_64-linux-gnu/pkgconfig/${TESSARK_PC_NAME}.pc"
                                    lib/x86_64-linux-gnu)
        set(ENV{PKG_CONFIG_PATH} "${WORK_DIR}/multiarch/usr/lib/x86_64-linux-gnu/pkgconfig")
        run(pkg-config --variable=libdir ${TESSARK_PC_NAME})
        string(STRIP "${output}" libdir)
        get_filename_component(libdir "${libdir}" REALPATH)
        if(NOT libdir STREQUAL "${WORK_DIR}/multiarch/usr/lib/x86_64-linux-gnu")
            message(FATAL_ERROR "a multiarch ${TESSARK_PC_NAME}.pc gives the library folder ${libdir}")
        endif()
    else()
        foreach(build_dir ${BUILD_DIR} ${SIBLING_BUILD_DIR})
            run("${CMAKE_COMMAND}" --install "${build_dir}" --prefix "${STAGE_DIR}")
            check_install("${STAGE_DIR}" "${build_dir}" lib)
        endforeach()
        set(prefix_path "${STAGE_DIR}")
    endif()
else()
    list(APPEND builds "${QT_MAJOR}|${QT_DIR}|")
endif()

set(failure "")
set(fresh TRUE)
foreach(build ${builds})
    if(NOT fresh)
        # Each program expects the table as tessark-genmodel creates it.
        execute_process(COMMAND "${GENMODEL}" drop "${WORK_DIR}" RESULT_VARIABLE dropped)
        execute_process(COMMAND "${GENMODEL}" create ${BACKEND} "${WORK_DIR}" RESULT_VARIABLE generated)
        if(NOT dropped EQUAL 0 OR NOT generated EQUAL 0)
            set(failure "recreating the round-trip table failed (${dropped}, ${generated})")
            break()
        endif()
    endif()
    set(fresh FALSE)
    string(REPLACE "|" ";" build "${build}")
    list(GET build 0 major)
    list(GET build 1 qt_dir)
    list(GET build 2 package)
    if(package)
        set(library_args "-DCMAKE_PREFIX_PATH=${prefix_path}" "-DTESSARK_PACKAGE=${package}")
    else()
        set(library_args "-DTESSARK_LIBRARY=${TESSARK_LIBRARY}" "-DTESSARK_INCLUDE_DIR=${TESSARK_INCLUDE_DIR}")
    endif()
    set(build_dir "${WORK_DIR}/build-qt${major}")
    execute_process(
        COMMAND "${CMAKE_COMMAND}" -S "${PROJECT_DIR}" -B "${build_dir}"
                -G "${GENERATOR}"
                "-DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM}"
                "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}"
                "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}"
                "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
                "-DCMAKE_EXE_LINKER_FLAGS=${LINKER_FLAGS}"
                "-DQt${major}_DIR=${qt_dir}"
                "-DTESSARK_QT_MAJOR=${major}"
                ${library_args}
                "-DGENERATED_DIR=${WORK_DIR}/gen"
                "-DROUNDTRIP_BACKEND=${BACKEND}"
        RESULT_VARIABLE configured)
    if(NOT configured EQUAL 0)
        set(failure "configuring the round-trip project against Qt ${major} failed")
        break()
    endif()
    execute_process(COMMAND "${CMAKE_COMMAND}" --build "${build_dir}" RESULT_VARIABLE built)
    if(NOT built EQUAL 0)
        set(failure "the generated classes did not compile against the Qt ${major} library")
        break()
    endif()
    execute_process(COMMAND "${build_dir}/roundtrip" "${WORK_DIR}/connection.ini" RESULT_VARIABLE ran)
    if(NOT ran EQUAL 0)
        set(failure "the round trip against the Qt ${major} library failed (${ran})")
        break()
    endif()
endforeach()

execute_process(COMMAND "${GENMODEL}" drop "${WORK_DIR}" RESULT_VARIABLE dropped)
if(failure)
    message(FATAL_ERROR "${failure}; generated classes and build in ${WORK_DIR}")
endif()
if(NOT dropped EQUAL 0)
    message(FATAL_ERROR "dropping the round-trip table failed (${dropped})")
endif()
