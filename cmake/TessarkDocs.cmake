# `cmake --build BUILD --target docs`: the API reference from the public
# headers with Doxygen (Debian: doxygen) into BUILD/docs/html/. Every public
# member must be documented: Doxygen's warnings fail the target.
find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND)
    message(STATUS "The docs target is left out: it needs doxygen")
    return()
endif()
set(DOXYGEN_PROJECT_NAME Tessark)
set(DOXYGEN_PROJECT_BRIEF "One uniform way for Qt applications to work with SQLite, PostgreSQL, MySQL and Oracle")
set(DOXYGEN_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/docs)
set(DOXYGEN_GENERATE_LATEX NO)
set(DOXYGEN_STRIP_FROM_PATH ${PROJECT_SOURCE_DIR}/src)
set(DOXYGEN_STRIP_FROM_INC_PATH ${PROJECT_SOURCE_DIR}/src)
set(DOXYGEN_EXTRACT_ALL NO)
set(DOXYGEN_WARN_IF_UNDOCUMENTED YES)
set(DOXYGEN_WARN_NO_PARAMDOC NO)
set(DOXYGEN_WARN_AS_ERROR FAIL_ON_WARNINGS)
set(DOXYGEN_QUIET YES)
set(DOXYGEN_JAVADOC_AUTOBRIEF YES)
set(DOXYGEN_ENABLE_PREPROCESSING YES)
set(DOXYGEN_MACRO_EXPANSION YES)
set(DOXYGEN_EXPAND_ONLY_PREDEF YES)
# Export macros and Qt's meta-object markers are no part of the API text.
set(DOXYGEN_PREDEFINED "BRELVANSHARED_EXPORT=" "Q_OBJECT=" "Q_PROPERTY(x)=" "Q_GADGET=" "signals=public" "slots=")
list(TRANSFORM TESSARK_PUBLIC_HEADERS PREPEND ${PROJECT_SOURCE_DIR}/src/ OUTPUT_VARIABLE tessark_doc_inputs)
doxygen_add_docs(docs ${tessark_doc_inputs}
                 COMMENT "API reference with Doxygen into ${PROJECT_BINARY_DIR}/docs/html")
