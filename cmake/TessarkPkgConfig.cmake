# tessark_configure_pkgconfig(<output .pc> <libdir relative to the prefix>)
# Writes the pkg-config file from tessark.pc.in. Its prefix is found from the
# file's own folder, so the install can move; libdir may be a multiarch folder
# (lib/x86_64-linux-gnu), which puts the prefix one folder further up.
# Reads TESSARK_LIBRARY_NAME, TESSARK_INCLUDE_NAME, TESSARK_QT_MAJOR,
# CMAKE_INSTALL_INCLUDEDIR and PROJECT_VERSION.
set(TESSARK_PC_TEMPLATE ${CMAKE_CURRENT_LIST_DIR}/tessark.pc.in)
function(tessark_configure_pkgconfig output libdir)
    if(IS_ABSOLUTE "${libdir}")
        set(TESSARK_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
        set(TESSARK_PC_LIBDIR "${libdir}")
    else()
        file(RELATIVE_PATH up "/root/${libdir}/pkgconfig" "/root")
        string(REGEX REPLACE "/$" "" up "${up}")
        set(TESSARK_PC_PREFIX "\${pcfiledir}/${up}")
        set(TESSARK_PC_LIBDIR "\${prefix}/${libdir}")
    endif()
    configure_file(${TESSARK_PC_TEMPLATE} ${output} @ONLY)
endfunction()
