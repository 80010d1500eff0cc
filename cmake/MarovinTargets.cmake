# One place for what every Marovin target gets: the language level, warnings as errors,
# hidden symbols by default, and the sanitizer switches.

function(marovin_apply_defaults target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror)
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  if(MAROVIN_SANITIZE)
    target_compile_options(${target} PRIVATE
      -fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    target_link_options(${target} PRIVATE -fsanitize=address,undefined)
  endif()
endfunction()

# marovin_add_library(name SOURCES ... [PUBLIC_LIBS ...] [PRIVATE_LIBS ...])
# The sources are compiled once, into the object library <name>_objects. <name> is a static
# library of those objects that the tests, benchmarks and fuzz targets link (they may use what
# the layer keeps private); marovin_add_shared_library bundles the same objects into the shared
# libraries a host links, which export only what the public headers mark MAROVIN_EXPORT.
function(marovin_add_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC_LIBS;PRIVATE_LIBS" ${ARGN})
  add_library(${name}_objects OBJECT ${ARG_SOURCES})
  add_library(${name} STATIC $<TARGET_OBJECTS:${name}_objects>)
  set_target_properties(${name} PROPERTIES AUTOMOC OFF)
  foreach(target ${name}_objects ${name})
    marovin_apply_defaults(${target})
    target_include_directories(${target}
      PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_BINARY_DIR}/include
      PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
    target_link_libraries(${target} PUBLIC ${ARG_PUBLIC_LIBS} PRIVATE ${ARG_PRIVATE_LIBS})
  endforeach()
  set_property(GLOBAL APPEND PROPERTY MAROVIN_LIBRARY_PRIVATE_LIBS_${name} ${ARG_PRIVATE_LIBS})
endfunction()

# marovin_add_shared_library(name EXPORT_NAME Name OUTPUT_NAME file LAYERS ... [PUBLIC_LIBS ...])
# One installed shared library (SONAME lib<file>.so.<major>) made of the objects of the given
# layers; Marovin::<Name> is its alias. PUBLIC_LIBS are what a host's code needs along with it
# (the other Marovin libraries, Qt, pugixml); the layers' private libraries are linked privately.
function(marovin_add_shared_library name)
  cmake_parse_arguments(ARG "" "EXPORT_NAME;OUTPUT_NAME" "LAYERS;PUBLIC_LIBS" ${ARGN})
  add_library(${name} SHARED)
  set(private_libs)
  foreach(layer IN LISTS ARG_LAYERS)
    target_sources(${name} PRIVATE $<TARGET_OBJECTS:${layer}_objects>)
    get_property(libs GLOBAL PROPERTY MAROVIN_LIBRARY_PRIVATE_LIBS_${layer})
    list(APPEND private_libs ${libs})
  endforeach()
  marovin_apply_defaults(${name})
  set_target_properties(${name} PROPERTIES
    AUTOMOC OFF
    EXPORT_NAME ${ARG_EXPORT_NAME}
    OUTPUT_NAME ${ARG_OUTPUT_NAME}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    # The libraries find each other beside themselves, whoever loaded the first one.
    INSTALL_RPATH "$ORIGIN")
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_LIBS} PRIVATE ${private_libs})
  if(NOT MAROVIN_SANITIZE)
    # A symbol the library uses but nobody defines fails the link, not the host's start.
    target_link_options(${name} PRIVATE LINKER:--no-undefined)
  endif()
  add_library(Marovin::${ARG_EXPORT_NAME} ALIAS ${name})
endfunction()

# marovin_add_executable(name SOURCES ... [LIBS ...])
function(marovin_add_executable name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  marovin_apply_defaults(${name})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS})
endfunction()

# marovin_add_test(name SOURCES ... [LIBS ...] [GUI])
# Pass GTest::gtest_main in LIBS unless the test has its own main(). A GoogleTest program whose cases are registered with CTest one by one. GUI tests run on the
# offscreen platform plugin, so no display is needed.
function(marovin_add_test name)
  cmake_parse_arguments(ARG "GUI" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  marovin_apply_defaults(${name})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gtest GTest::gmock)
  # Test data is found through these, both as compile definitions (test discovery runs the
  # program without the test environment) and in the environment of the run.
  target_compile_definitions(${name} PRIVATE
    MAROVIN_SOURCE_DIR="${PROJECT_SOURCE_DIR}" MAROVIN_BINARY_DIR="${PROJECT_BINARY_DIR}")
  set(env "MAROVIN_SOURCE_DIR=${PROJECT_SOURCE_DIR}" "MAROVIN_BINARY_DIR=${PROJECT_BINARY_DIR}")
  if(ARG_GUI)
    list(APPEND env "QT_QPA_PLATFORM=offscreen")
  endif()
  gtest_discover_tests(${name}
    DISCOVERY_MODE PRE_TEST
    WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}
    TEST_LIST ${name}_TESTS)
  # gtest_discover_tests keeps only the first entry of an ENVIRONMENT list, so the environment is
  # set by a script that CTest reads after the discovered tests.
  set(env_script ${CMAKE_CURRENT_BINARY_DIR}/${name}_environment.cmake)
  file(WRITE ${env_script}
    "if(DEFINED ${name}_TESTS)\n"
    "  set_tests_properties(\${${name}_TESTS} PROPERTIES ENVIRONMENT \"${env}\")\n"
    "endif()\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${env_script})
endfunction()

# marovin_add_benchmark(name SOURCES ... [LIBS ...])
function(marovin_add_benchmark name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  marovin_apply_defaults(${name})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} benchmark::benchmark)
  # The shared pieces of the benchmarks (QtBenchMain.h among them).
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/bench/support)
endfunction()
