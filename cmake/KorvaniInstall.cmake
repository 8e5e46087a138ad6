# What is installed and where: libraries, their headers, what finds them, and packages of it all.
# Components: core (the kit and the simulated phone), qt, web, tools, dev.
include_guard()
include(CMakePackageConfigHelpers)

set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/Korvani")

file(RELATIVE_PATH prefix_of_pkgconfig
     "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
# Programs find the libraries wherever the installed tree is moved to.
file(RELATIVE_PATH libraries_of_programs
     "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")

# korvani_headers(target HEADER...): what users of this library include, named from the root.
function(korvani_headers target)
  list(TRANSFORM ARGN PREPEND "${PROJECT_SOURCE_DIR}/")
  target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}"
                                  FILES ${ARGN})
endfunction()

# korvani_install_library(target NAME name COMPONENT component REQUIRES pkgconfig-module...
#                         SAYS description)
#
# Installs the shared library lib<name>.so.0 with its headers and its pkg-config file, as the target
# Korvani::<the target's name without "korvani_">. Only what is ours is exported, whatever templates
# the library instantiates.
function(korvani_install_library target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "NAME;COMPONENT;SAYS" "REQUIRES")
  string(REGEX REPLACE "^korvani_" "" exported ${target})
  set(exports "${PROJECT_SOURCE_DIR}/cmake/exports.map")
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME ${arg_NAME}
    EXPORT_NAME ${exported}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    INSTALL_RPATH "$ORIGIN"
    LINK_DEPENDS "${exports}")
  target_link_options(${target} PRIVATE "LINKER:--version-script=${exports}")
  install(TARGETS ${target} EXPORT ${target}
    LIBRARY COMPONENT ${arg_COMPONENT} NAMELINK_COMPONENT dev
    FILE_SET HEADERS COMPONENT dev)
  install(EXPORT ${target} DESTINATION "${package_folder}" NAMESPACE Korvani::
          FILE Korvani-${exported}.cmake COMPONENT dev)

  list(JOIN arg_REQUIRES " " requires)
  set(name ${arg_NAME})
  set(says "${arg_SAYS}")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/library.pc.in" ${arg_NAME}.pc @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${arg_NAME}.pc"
          DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT dev)
endfunction()

# korvani_install_program(target SAYS description): with completion for bash, and with a manual page
# where help2man is there to make it. Both are made of what the program says of itself with --help.
find_program(HELP2MAN help2man)
function(korvani_install_program target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "SAYS" "")
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_of_programs}")
  install(TARGETS ${target} RUNTIME COMPONENT tools)
  install(FILES "${PROJECT_SOURCE_DIR}/tools/completion.bash" RENAME ${target}
          DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT tools)
  if(HELP2MAN AND NOT KORVANI_SANITIZE AND NOT CMAKE_CROSSCOMPILING)
    set(page "${CMAKE_CURRENT_BINARY_DIR}/${target}.1")
    add_custom_command(OUTPUT "${page}"
      COMMAND ${HELP2MAN} --no-info --name ${arg_SAYS} --output "${page}" $<TARGET_FILE:${target}>
      DEPENDS ${target} VERBATIM)
    add_custom_target(${target}-page ALL DEPENDS "${page}")
    install(FILES "${page}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT tools)
  endif()
endfunction()

configure_package_config_file(cmake/KorvaniConfig.cmake.in KorvaniConfig.cmake
                              INSTALL_DESTINATION "${package_folder}")
# Until 1.0 a new minor version may break what an earlier one offered.
write_basic_package_version_file(KorvaniConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/KorvaniConfig.cmake"
              "${PROJECT_BINARY_DIR}/KorvaniConfigVersion.cmake"
        DESTINATION "${package_folder}" COMPONENT dev)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples" DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT dev)
