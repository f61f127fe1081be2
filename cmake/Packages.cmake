# Debian packages, by `cpack` in a build directory of the preset `package`: the runtime, and what
# is needed to build against it.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "VarnoNetwork developers" CACHE STRING "Maintainer of the packages")
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Head-up display packet protocol - shared library")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvarnonetwork${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Head-up display packet protocol - development files")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvarnonetwork-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libvarnonetwork${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")

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
