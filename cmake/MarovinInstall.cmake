# What `cmake --install` puts where, the CMake package a host finds with find_package(Marovin),
# and the Debian packages CPack makes of it:
#   libmarovin0     (component Runtime)      the shared libraries
#   libmarovin-dev  (component Development)  headers, CMake package, Qt Designer plugin
#   marovin-tools   (component Tools)        marovin, marovin-designer, sample database, man pages
include(CMakePackageConfigHelpers)

set(MAROVIN_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Marovin)

if(MAROVIN_SHARED)
  install(TARGETS ${MAROVIN_SHARED_TARGETS}
    EXPORT MarovinTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
      COMPONENT Runtime
      NAMELINK_COMPONENT Development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

  install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/marovin
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT Development
    FILES_MATCHING PATTERN "*.h")
  install(FILES ${PROJECT_BINARY_DIR}/include/marovin/Version.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/marovin
    COMPONENT Development)

  install(EXPORT MarovinTargets
    NAMESPACE Marovin::
    DESTINATION ${MAROVIN_CMAKE_DIR}
    COMPONENT Development)
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/MarovinConfig.cmake.in
    ${PROJECT_BINARY_DIR}/MarovinConfig.cmake
    INSTALL_DESTINATION ${MAROVIN_CMAKE_DIR})
  # 0.x releases keep their interface within one minor version.
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/MarovinConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
  install(FILES
      ${PROJECT_BINARY_DIR}/MarovinConfig.cmake
      ${PROJECT_BINARY_DIR}/MarovinConfigVersion.cmake
    DESTINATION ${MAROVIN_CMAKE_DIR}
    COMPONENT Development)
endif()

install(TARGETS marovin RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Tools)
install(FILES ${PROJECT_SOURCE_DIR}/docs/man/marovin.1
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT Tools)
if(TARGET marovin-designer)
  install(TARGETS marovin-designer RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Tools)
  install(FILES ${PROJECT_SOURCE_DIR}/docs/man/marovin-designer.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT Tools)
endif()
if(TARGET marovin_sample_db)
  install(FILES ${CMAKE_BINARY_DIR}/sample/northwind.sqlite
    DESTINATION ${CMAKE_INSTALL_DATADIR}/marovin COMPONENT Tools)
endif()

include(MarovinPackaging)
