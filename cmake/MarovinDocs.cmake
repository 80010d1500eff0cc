# The reference documentation of the public headers: `cmake --build <build> --target api-docs`
# writes HTML to <build>/docs/api (index.html), with the embedding guide as its first page.
find_package(Doxygen QUIET)
if(DOXYGEN_FOUND)
  set(DOXYGEN_PROJECT_NAME Marovin)
  set(DOXYGEN_PROJECT_NUMBER ${PROJECT_VERSION})
  set(DOXYGEN_PROJECT_BRIEF "Embeddable visual SQL query builder for Microsoft SQL Server")
  set(DOXYGEN_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/docs)
  set(DOXYGEN_HTML_OUTPUT api)
  set(DOXYGEN_GENERATE_LATEX NO)
  set(DOXYGEN_USE_MDFILE_AS_MAINPAGE ${PROJECT_SOURCE_DIR}/docs/embedding.md)
  set(DOXYGEN_STRIP_FROM_INC_PATH ${PROJECT_SOURCE_DIR}/include)
  set(DOXYGEN_FULL_PATH_NAMES YES)
  set(DOXYGEN_STRIP_FROM_PATH ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/docs)
  set(DOXYGEN_EXTRACT_ALL YES)
  set(DOXYGEN_EXTRACT_PRIVATE NO)
  set(DOXYGEN_HIDE_UNDOC_RELATIONS NO)
  set(DOXYGEN_JAVADOC_AUTOBRIEF YES)
  set(DOXYGEN_MACRO_EXPANSION YES)
  set(DOXYGEN_EXPAND_ONLY_PREDEF YES)
  set(DOXYGEN_PREDEFINED "MAROVIN_EXPORT=")
  set(DOXYGEN_EXCLUDE_SYMBOLS "Q_OBJECT" "marovin::detail")
  set(DOXYGEN_QUIET YES)
  # A broken reference or a malformed comment fails the target.
  set(DOXYGEN_WARN_AS_ERROR FAIL_ON_WARNINGS)
  set(DOXYGEN_WARN_IF_UNDOCUMENTED NO)
  doxygen_add_docs(api-docs
    ${PROJECT_SOURCE_DIR}/docs/embedding.md
    ${PROJECT_SOURCE_DIR}/include/marovin
    COMMENT "Writing the API reference to ${PROJECT_BINARY_DIR}/docs/api")
endif()
