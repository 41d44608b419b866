# Helpers shared by every folder: warnings, libraries, tests and benchmarks.

find_package(PkgConfig REQUIRED)
find_package(GTest REQUIRED)

function(tw_defaults target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror)
endfunction()

# tw_library(<folder> SOURCES ... DEPS ...): the static library tw_<folder>.
function(tw_library folder)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  if(NOT ARG_SOURCES)
    return() # a folder whose first unit is still to come
  endif()
  add_library(tw_${folder} STATIC ${ARG_SOURCES})
  target_include_directories(tw_${folder} PUBLIC ${CMAKE_SOURCE_DIR}/src)
  target_link_libraries(tw_${folder} PUBLIC ${ARG_DEPS})
  tw_defaults(tw_${folder})
endfunction()

# tw_test(<folder> <Unit> [SERIAL] [LIBS ...] [LABELS ...] [SOURCES ...]):
# tests/<folder>/<Unit>_test.cpp. SERIAL runs its cases alone (they share a sound server).
function(tw_test folder unit)
  cmake_parse_arguments(ARG "SERIAL" "" "LIBS;LABELS;SOURCES" ${ARGN})
  set(name ${folder}_${unit}_test)
  add_executable(${name} ${CMAKE_SOURCE_DIR}/tests/${folder}/${unit}_test.cpp ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gtest GTest::gmock GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE TW_SOURCE_DIR="${CMAKE_SOURCE_DIR}"
                                             TW_BINARY_DIR="${CMAKE_BINARY_DIR}")
  tw_defaults(${name})
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 TEST_LIST ${name}_TESTS)
  # Set after discovery: a list passed through gtest_discover_tests' PROPERTIES loses all but
  # its first label.
  set(serial "")
  if(ARG_SERIAL)
    set(serial "RUN_SERIAL TRUE")
  endif()
  set(properties ${CMAKE_CURRENT_BINARY_DIR}/${name}_properties.cmake)
  file(WRITE ${properties} "if(${name}_TESTS)\n  set_tests_properties(\${${name}_TESTS} "
                           "PROPERTIES LABELS \"${folder};${ARG_LABELS}\" ${serial})\nendif()\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${properties})
endfunction()

# tw_bench(<name> SOURCES ... LIBS ...): a Google Benchmark program run by `make bench`.
function(tw_bench name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  find_package(benchmark REQUIRED)
  add_executable(bench_${name} ${ARG_SOURCES})
  target_include_directories(bench_${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests ${CMAKE_SOURCE_DIR}/bench)
  target_link_libraries(bench_${name} PRIVATE ${ARG_LIBS} benchmark::benchmark)
  tw_defaults(bench_${name})
  set_target_properties(bench_${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bench)
endfunction()

include(GoogleTest)
