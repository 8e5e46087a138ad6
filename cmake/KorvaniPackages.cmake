# Debian packages of what is installed: `cpack` in the build folder makes them.
include_guard()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME korvani)
set(CPACK_PACKAGE_VENDOR Korvani)
set(CPACK_PACKAGE_CONTACT "Korvani maintainers <maintainers@korvani.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
set(CPACK_COMPONENTS_ALL "")

# korvani_package(COMPONENT NAME name SECTION section SAYS text [NEEDS package...] [ALSO package...]
#                 [RECOMMENDS package...]): NEEDS are packages of ours, in the same version; ALSO
#                 are others that are loaded by name.
macro(korvani_package component)
  cmake_parse_arguments(arg "" "NAME;SECTION;SAYS" "NEEDS;ALSO;RECOMMENDS" ${ARGN})
  string(TOUPPER ${component} upper)
  list(TRANSFORM arg_NEEDS APPEND " (= ${PROJECT_VERSION})")
  set(all_needed ${arg_NEEDS} ${arg_ALSO})
  list(JOIN all_needed ", " needs)
  list(JOIN arg_RECOMMENDS ", " recommends)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${arg_NAME})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${arg_SECTION})
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${needs}")
  set(CPACK_DEBIAN_${upper}_PACKAGE_RECOMMENDS "${recommends}")
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${arg_SAYS}")
endmacro()

korvani_package(core NAME libkorvani0 SECTION libs
  SAYS "The kit, and a phone in memory for the tests of hosts")
if(KORVANI_BUILD_TOOLS)
  korvani_package(tools NAME korvani-tools SECTION utils NEEDS libkorvani0
    SAYS "Replays scripts, serves scenarios, lists the beacons in range, simulates fleets of phones")
endif()
set(needed_to_build libkorvani0)
if(KORVANI_BUILD_QT)
  korvani_package(qt NAME libkorvani-qt0 SECTION libs NEEDS libkorvani0
    ALSO libcurl4 libqt6positioning6-plugins
    RECOMMENDS libkorvani-web0
    SAYS "The Linux phone that the kit runs on")
  list(APPEND needed_to_build libkorvani-qt0)
  set(recommended_to_build qt6-base-dev)
endif()
if(KORVANI_BUILD_WEB)
  korvani_package(web NAME libkorvani-web0 SECTION libs NEEDS libkorvani-qt0
    SAYS "The plug-in of the Linux phone that shows web pages")
endif()
korvani_package(dev NAME libkorvani-dev SECTION libdevel NEEDS ${needed_to_build}
  RECOMMENDS ${recommended_to_build}
  SAYS "What hosts of the kit are built with")
include(CPack)
