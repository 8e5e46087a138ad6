# How a test program is declared, and the promise that every test source is part of one.
include_guard()

# korvani_test(NAME SOURCES a_test.cpp ... LIBS target ... [LABELS label] [LOCK name] [MAIN])
#
# Builds the GoogleTest program NAME and makes each of its cases a ctest test, "NAME.Suite.Case",
# which runs in a process of its own. The cases are listed when ctest runs, not when we build.
# The label web marks what needs the web engine: it is left out where the engine's plug-in is not built.
# LOCK names a resource that only one test may hold at a time. MAIN: the sources have a main().
function(korvani_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "MAIN" "LABELS;LOCK" "SOURCES;LIBS")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "korvani_test(${name}) knows no ${arg_UNPARSED_ARGUMENTS}")
  endif()
  foreach(source IN LISTS arg_SOURCES)
    cmake_path(ABSOLUTE_PATH source)
    set_property(GLOBAL APPEND PROPERTY KORVANI_TEST_SOURCES "${source}")
  endforeach()
  if(arg_LABELS STREQUAL "web" AND NOT KORVANI_BUILD_WEB)
    return()
  endif()

  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LIBS} GTest::gmock
                                        $<IF:$<BOOL:${arg_MAIN}>,GTest::gtest,GTest::gtest_main>)
  set_target_properties(${name} PROPERTIES
                        RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/tests/bin")
  korvani_warnings(${name})
  # A test is compiled more often than it runs.
  target_compile_options(${name} PRIVATE -O0)

  set(properties "")
  if(arg_LABELS)
    list(APPEND properties LABELS ${arg_LABELS})
  endif()
  if(arg_LOCK)
    list(APPEND properties RESOURCE_LOCK ${arg_LOCK})
  endif()
  gtest_discover_tests(${name} TEST_PREFIX ${name}. DISCOVERY_MODE PRE_TEST
                       PROPERTIES ${properties})
endfunction()

# korvani_check_registered([FOLDER ...]): fails when a *_test.cpp below the current folder belongs to
# no test program. The named folders are left out of this build on purpose.
function(korvani_check_registered)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*_test.cpp")
  foreach(folder IN LISTS ARGN)
    list(FILTER sources EXCLUDE REGEX "^${CMAKE_CURRENT_SOURCE_DIR}/${folder}/")
  endforeach()
  get_property(registered GLOBAL PROPERTY KORVANI_TEST_SOURCES)
  list(REMOVE_ITEM sources ${registered})
  if(sources)
    list(JOIN sources "\n  " sources)
    message(FATAL_ERROR "No korvani_test() names these sources:\n  ${sources}")
  endif()
endfunction()
