# What holds for every target of the tree: language, visibility, places, warnings, sanitizers.
include_guard()
include(GNUInstallDirs)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# Programs and libraries find each other wherever the build tree is moved to.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

# A shared library that forgets to link what it uses fails to build, not to start. The sanitizers of
# clang come with the program, so there a library may.
if(NOT (KORVANI_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang"))
  add_link_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,SHARED_LIBRARY>:LINKER:--no-undefined>)
endif()

if(KORVANI_SANITIZE)
  add_compile_options(-fsanitize=${KORVANI_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KORVANI_SANITIZE})
  # Instrumented code leads gcc to warn of members that are never read before they are set.
  set(warnings_off $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()

# korvani_warnings(target): our own code compiles without a single warning. A compiler that we do not
# know yet may have more of them, and shall not stop the build of somebody who embeds us.
function(korvani_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                         $<$<BOOL:${korvani_IS_TOP_LEVEL}>:-Werror> ${warnings_off})
endfunction()
