# One ctest test per GoogleTest case and per tcltest file; every test carries one label:
# unit, script, integration, fuzz or bench.

set(ZS_TEST_ENV "")
if(ZS_SANITIZE)
  # tclsh itself is not instrumented: the sanitizer runtime must come first.
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libasan.so
                  OUTPUT_VARIABLE ZS_ASAN_RUNTIME OUTPUT_STRIP_TRAILING_WHITESPACE)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libubsan.so
                  OUTPUT_VARIABLE ZS_UBSAN_RUNTIME OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(ZS_TEST_ENV
      "LD_PRELOAD=${ZS_ASAN_RUNTIME}:${ZS_UBSAN_RUNTIME}"
      "ASAN_OPTIONS=detect_leaks=1:abort_on_error=1"
      "LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/lsan.supp:print_suppressions=0"
      "UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1")
endif()

# Test support shared by the unit tests (an interpreter with the package loaded, fixtures).
file(GLOB ZS_TEST_SUPPORT_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/unit/support/*.cpp)
zs_sources_or_empty(ZS_TEST_SUPPORT_SOURCES)
add_library(zs_test_support STATIC ${ZS_TEST_SUPPORT_SOURCES} ${ZS_ENTRY_SOURCE})
target_include_directories(zs_test_support PUBLIC ${CMAKE_SOURCE_DIR}/tests/unit)
target_link_libraries(zs_test_support PUBLIC zs_core zs_backend_memory zs_library
                      GTest::gtest ${TCL_LIBRARY})
target_compile_definitions(zs_test_support PUBLIC
  ZS_FIXTURES_DIR="${CMAKE_SOURCE_DIR}/tests/fixtures")

# Unit tests: tests/unit/<subsystem>/<unit>_test.cpp, one program each. Tests of the
# directory library link only the library (and, under memory/, the in-memory backend);
# tests of the logic link it with the in-memory backend and no Tcl, installing a session of
# their own; only tests under script/ link Tcl and load the package into an interpreter.
file(GLOB_RECURSE ZS_UNIT_TESTS CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/unit/*_test.cpp)
foreach(src ${ZS_UNIT_TESTS})
  file(RELATIVE_PATH rel ${CMAKE_SOURCE_DIR}/tests/unit ${src})
  string(REGEX REPLACE "\\.cpp$" "" name ${rel})
  string(REPLACE "/" "_" name ${name})
  add_executable(${name} ${src})
  if(rel MATCHES "^directory/library/memory/")
    target_link_libraries(${name} PRIVATE zs_backend_memory zs_library GTest::gtest_main)
  elseif(rel MATCHES "^directory/library/")
    target_link_libraries(${name} PRIVATE zs_library GTest::gtest_main)
  elseif(NOT rel MATCHES "^script/")
    target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests/unit)
    target_link_libraries(${name} PRIVATE zs_logic zs_backend_memory zs_library GTest::gtest_main)
  else()
    target_link_libraries(${name} PRIVATE zs_test_support GTest::gtest_main)
  endif()
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests/unit)
  target_compile_definitions(${name} PRIVATE ZS_FIXTURES_DIR="${CMAKE_SOURCE_DIR}/tests/fixtures")
  gtest_discover_tests(${name} PROPERTIES LABELS unit ENVIRONMENT "${ZS_TEST_ENV}"
                       DISCOVERY_TIMEOUT 60)
endforeach()

# Script tests: tcltest files against the in-memory directory, one ctest test per file.
file(GLOB ZS_SCRIPT_TESTS CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/script/*.test)
foreach(t ${ZS_SCRIPT_TESTS})
  get_filename_component(name ${t} NAME_WE)
  add_test(NAME script.${name}
           COMMAND ${TCLSH} ${CMAKE_SOURCE_DIR}/tests/script/all.tcl -file ${name}.test)
  set_tests_properties(script.${name} PROPERTIES LABELS script ENVIRONMENT
    "${ZS_TEST_ENV};ZONESMITH_LIB=$<TARGET_FILE:zonesmith_memory>;ZONESMITH_BUILD=${CMAKE_BINARY_DIR};ZONESMITH_FIXTURES=${CMAKE_SOURCE_DIR}/tests/fixtures")
endforeach()

if(ZS_INTEGRATION AND EXISTS ${CMAKE_SOURCE_DIR}/tests/integration/CMakeLists.txt)
  add_subdirectory(${CMAKE_SOURCE_DIR}/tests/integration ${CMAKE_BINARY_DIR}/tests/integration)
endif()
if(ZS_FUZZ AND EXISTS ${CMAKE_SOURCE_DIR}/tests/fuzz/CMakeLists.txt)
  add_subdirectory(${CMAKE_SOURCE_DIR}/tests/fuzz ${CMAKE_BINARY_DIR}/tests/fuzz)
endif()
if(EXISTS ${CMAKE_SOURCE_DIR}/bench/CMakeLists.txt)
  add_subdirectory(${CMAKE_SOURCE_DIR}/bench ${CMAKE_BINARY_DIR}/bench)
endif()

# The build itself: a second configure leaves every compile line as it was.
add_test(NAME build.reconfigure COMMAND ${CMAKE_SOURCE_DIR}/tests/build/reconfigure ${CMAKE_SOURCE_DIR})
set_tests_properties(build.reconfigure PROPERTIES LABELS unit)

# README's command reference is the one the command table makes (`make reference` mends it).
if(NOT ZS_SANITIZE)
add_test(NAME script.reference
         COMMAND ${TCLSH} ${CMAKE_SOURCE_DIR}/scripts/command-reference $<TARGET_FILE:zonesmith>
                 --check ${CMAKE_SOURCE_DIR}/README.md)
set_tests_properties(script.reference PROPERTIES LABELS script ENVIRONMENT "${ZS_TEST_ENV}")
endif()
