# Debian packages of this build (`cpack -G DEB` in the build folder), one per
# install component, named so that the Qt 5 and Qt 6 packages install together:
#   runtime      lib<name><soversion>    the shared library
#   development  lib<name>-dev           headers, CMake package, pkg-config file
#   cli          <tool name>             the tessark tool
# The library's dependencies on Qt and the C library come from dpkg-shlibdeps;
# the tool needs nothing beyond the library's (dpkg-shlibdeps cannot see a
# library in a sibling package, so the tool names it).
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tessark)
set(CPACK_PACKAGE_VENDOR Tessark)
set(CPACK_PACKAGE_CONTACT "Tessark developers <tessark@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "One uniform way for Qt ${TESSARK_QT_MAJOR} applications to work with SQLite, PostgreSQL, MySQL and Oracle")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development)
if(TARGET tessark)
    list(APPEND CPACK_COMPONENTS_ALL cli)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)

string(TOLOWER "lib${TESSARK_LIBRARY_NAME}" tessark_deb_lib)
# Debian appends the soversion, with a dash when the name ends in a digit.
if(tessark_deb_lib MATCHES "[0-9]$")
    set(tessark_deb_runtime ${tessark_deb_lib}-${PROJECT_VERSION_MAJOR})
else()
    set(tessark_deb_runtime ${tessark_deb_lib}${PROJECT_VERSION_MAJOR})
endif()
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${tessark_deb_runtime})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${tessark_deb_lib}-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_CLI_PACKAGE_NAME ${TESSARK_TOOL_NAME})
set(CPACK_DEBIAN_CLI_PACKAGE_SECTION database)
set(CPACK_DEBIAN_CLI_PACKAGE_SHLIBDEPS OFF)
if(TESSARK_QT_MAJOR EQUAL 5)
    set(tessark_qt_dev qtbase5-dev)
    set(tessark_qt_drivers "libqt5sql5-sqlite, libqt5sql5-psql, libqt5sql5-mysql")
else()
    set(tessark_qt_dev qt6-base-dev)
    set(tessark_qt_drivers "libqt6sql6-sqlite, libqt6sql6-psql, libqt6sql6-mysql")
endif()
set(tessark_runtime_dep "${tessark_deb_runtime} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${tessark_runtime_dep}, ${tessark_qt_dev}")
set(CPACK_DEBIAN_CLI_PACKAGE_DEPENDS "${tessark_runtime_dep}")
# Qt's SQL drivers are plugins: nothing links them, so shlibdeps cannot see them.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "${tessark_qt_drivers}")
set(CPACK_DEBIAN_CLI_PACKAGE_RECOMMENDS "${tessark_qt_drivers}")
include(CPack)
