# Helpers shared by every folder: warnings, libraries, tests and benchmarks.

find_package(PkgConfig REQUIRED)

# Warnings are errors in the project's own builds (the Makefile and CI turn this on), never in
# someone else's: a newer compiler's new warning must not stop a packager's build.
function(tw_defaults target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  if(TAPEWRIGHT_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
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
# tests/<folder>/<Unit>_test.cpp joins the folder's one test program, <folder>_tests, and ctest
# runs it as the test <folder>_<Unit>_test (the program with --unit=<Unit>), labelled with the
# folder and LABELS. SERIAL runs it alone (its cases share a sound server). The build target
# <folder>_<Unit>_test builds the folder's program.
function(tw_test folder unit)
  cmake_parse_arguments(ARG "SERIAL" "" "LIBS;LABELS;SOURCES" ${ARGN})
  set(program ${folder}_tests)
  if(NOT TARGET ${program})
    set(main ${CMAKE_SOURCE_DIR}/tests/support/TestMain.cpp)
    add_executable(${program} ${main})
    target_include_directories(${program} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
    target_link_libraries(${program} PRIVATE GTest::gtest GTest::gmock)
    # Only the main knows the checkout's folders (support/BuildFolders.hpp): a path in every
    # object's flags would make each checkout compile all tests anew instead of taking them from
    # the compiler cache.
    set_source_files_properties(${main} PROPERTIES COMPILE_DEFINITIONS
      "TW_SOURCE_DIR=\"${CMAKE_SOURCE_DIR}\";TW_BINARY_DIR=\"${CMAKE_BINARY_DIR}\"")
    tw_defaults(${program})
    # Tests write treatments and options with designated initializers; GCC 12 would warn about
    # every member they leave at its default.
    target_compile_options(${program} PRIVATE -Wno-missing-field-initializers)
  endif()
  if("Qt6::Test" IN_LIST ARG_LIBS)
    # Qt Test's own path flags serve QFINDTESTDATA, which no test uses.
    get_target_property(definitions Qt6::Test INTERFACE_COMPILE_DEFINITIONS)
    list(FILTER definitions EXCLUDE REGEX "^QT_TESTCASE_")
    set_target_properties(Qt6::Test PROPERTIES INTERFACE_COMPILE_DEFINITIONS "${definitions}")
  endif()
  target_sources(${program} PRIVATE ${CMAKE_SOURCE_DIR}/tests/${folder}/${unit}_test.cpp
                                    ${ARG_SOURCES})
  get_target_property(linked ${program} LINK_LIBRARIES)
  foreach(library IN LISTS ARG_LIBS)
    if(NOT library IN_LIST linked)
      target_link_libraries(${program} PRIVATE ${library})
    endif()
  endforeach()

  set(name ${folder}_${unit}_test)
  add_custom_target(${name})
  add_dependencies(${name} ${program})
  add_test(NAME ${name} COMMAND ${program} --unit=${unit})
  set_tests_properties(${name} PROPERTIES LABELS "${folder};${ARG_LABELS}")
  if(ARG_SERIAL)
    set_tests_properties(${name} PROPERTIES RUN_SERIAL TRUE)
  endif()
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
