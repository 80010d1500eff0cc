# Debian packages of the install components, made by `cpack -G DEB` in the build folder.
set(CPACK_PACKAGE_NAME marovin)
set(CPACK_PACKAGE_VENDOR "Marovin")
set(CPACK_PACKAGE_CONTACT "Marovin developers <marovin@localhost>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL Runtime Development Tools)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
# Debian's own tools work out the libraries each binary needs (Qt, unixODBC, SQLite, pugixml).
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Our own libraries are found in the build; the packages depend on libmarovin0 by component.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libmarovin0)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
  "Marovin query builder - shared libraries\nThe query model, the database layer (SQL Server over ODBC and FreeTDS, SQLite)\nand the Qt 6 widget of the Marovin visual SQL query builder.")
# SQL Server is reached through unixODBC's FreeTDS driver, which no library links.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "tdsodbc, unixodbc")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libmarovin-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
  "Marovin query builder - development files\nHeaders, the CMake package (find_package(Marovin)) and the Qt Designer plugin\nof the Marovin visual SQL query builder.")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS Runtime)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "qt6-base-dev, libpugixml-dev")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME marovin-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION database)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION
  "Marovin query builder - command-line tool and designer\nmarovin renders and checks query documents and talks to databases;\nmarovin-designer edits queries visually. With a sample database.")
set(CPACK_COMPONENT_TOOLS_DEPENDS Runtime)

include(CPack)
