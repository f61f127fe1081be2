# Debian packages, by `cpack` in a build directory of the preset `package`: of each library the
# runtime, and what is needed to build against it; and the command.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "VarnoNetwork developers" CACHE STRING "Maintainer of the packages")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(VarnoNetwork_about "Head-up display packet protocol")
set(VarnoTraffic_about "Recorded head-up display traffic")
set(VarnoLink_about "Links to a head-up display")
set(VarnoDisplay_about "Simulated head-up display")

set(CPACK_COMPONENTS_ALL)
foreach(library IN LISTS libraries)
  string(TOLOWER lib${library} package)
  get_property(uses GLOBAL PROPERTY VARNO_USES_OF_${library})
  set(runtimeNeeds)
  set(developmentNeeds "${package}${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
  foreach(used IN LISTS uses)
    string(TOLOWER lib${used} usedPackage)
    list(APPEND runtimeNeeds "${usedPackage}${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
    list(APPEND developmentNeeds "${usedPackage}-dev (= ${PROJECT_VERSION})")
  endforeach()

  varno_install_component(${library} runtime component)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  string(TOUPPER ${component} name)
  set(CPACK_COMPONENT_${name}_DESCRIPTION "${${library}_about} - shared library")
  set(CPACK_DEBIAN_${name}_PACKAGE_NAME ${package}${PROJECT_VERSION_MAJOR})
  set(CPACK_DEBIAN_${name}_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_${name}_PACKAGE_SHLIBDEPS ON)
  list(JOIN runtimeNeeds ", " CPACK_DEBIAN_${name}_PACKAGE_DEPENDS)
  list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/${library})

  varno_install_component(${library} development component)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  string(TOUPPER ${component} name)
  set(CPACK_COMPONENT_${name}_DESCRIPTION "${${library}_about} - development files")
  set(CPACK_DEBIAN_${name}_PACKAGE_NAME ${package}-dev)
  set(CPACK_DEBIAN_${name}_PACKAGE_SECTION libdevel)
  list(JOIN developmentNeeds ", " CPACK_DEBIAN_${name}_PACKAGE_DEPENDS)
endforeach()

# The command, which is linked to the shared libraries where there are any.
if(TARGET varno)
  list(APPEND CPACK_COMPONENTS_ALL varno)
  set(CPACK_COMPONENT_VARNO_DESCRIPTION "Head-up display packets at the shell")
  set(CPACK_DEBIAN_VARNO_PACKAGE_NAME varno)
  set(CPACK_DEBIAN_VARNO_PACKAGE_SECTION utils)
  set(CPACK_DEBIAN_VARNO_PACKAGE_SHLIBDEPS ON)
  if(TARGET VarnoTraffic-shared)
    foreach(library IN LISTS libraries)
      string(TOLOWER lib${library}${PROJECT_VERSION_MAJOR} package)
      list(APPEND commandNeeds "${package} (= ${PROJECT_VERSION})")
    endforeach()
    list(JOIN commandNeeds ", " CPACK_DEBIAN_VARNO_PACKAGE_DEPENDS)
  endif()
endif()

# Each package's copyright file, in the form that machines read, from the text of the license.
file(READ ${PROJECT_SOURCE_DIR}/LICENSE licenseText)
if(NOT licenseText MATCHES "^MIT License\n\nCopyright \\(c\\) ([^\n]+)\n\n(.*[^\n])\n$")
  message(FATAL_ERROR "LICENSE is not as cmake/Packages.cmake takes it apart")
endif()
set(copyrightHolders "${CMAKE_MATCH_1}")
string(REPLACE "\n" "\n " licenseText "${CMAKE_MATCH_2}")
string(REPLACE "\n \n" "\n .\n" licenseText "${licenseText}")
configure_file(cmake/copyright.in copyright @ONLY)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} name)
  install(
    FILES ${PROJECT_BINARY_DIR}/copyright
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${name}_PACKAGE_NAME}
    COMPONENT ${component}
    EXCLUDE_FROM_ALL)
endforeach()

include(CPack)
