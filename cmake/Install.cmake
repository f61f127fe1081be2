# Two components for each library: its runtime is what a program needs to run, its development what
# it needs to build. One more, `license`, is not packaged: each Debian package has a file of its own.
include(CMakePackageConfigHelpers)

set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/VarnoNetwork)

# The prefix is told relative to the .pc files, so that the installed tree can be moved.
set(pkgconfigDir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(ABSOLUTE_PATH pkgconfigDir BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" OUTPUT_VARIABLE from)
file(RELATIVE_PATH pkgconfigPrefix "${from}" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" pkgconfigPrefix "${pkgconfigPrefix}")
if(VARNO_BUILD_SHARED)
  set(pkgconfigPrivate .private) # the shared library names what it needs itself
endif()

# The name of a library's install component, `runtime` for the core.
function(varno_install_component library kind result)
  get_property(component GLOBAL PROPERTY VARNO_COMPONENT_OF_${library})
  if(component)
    string(TOLOWER ${component}_${kind} kind)
  endif()
  set(${result} ${kind} PARENT_SCOPE)
endfunction()

get_property(libraries GLOBAL PROPERTY VARNO_LIBRARIES)
foreach(library IN LISTS libraries)
  varno_install_component(${library} runtime runtime)
  varno_install_component(${library} development development)
  foreach(kind IN ITEMS static shared)
    if(NOT TARGET ${library}-${kind})
      continue()
    endif()
    install(
      TARGETS ${library}-${kind}
      EXPORT ${library}-${kind}
      RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${runtime}
      LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
              COMPONENT ${runtime}
              NAMELINK_COMPONENT ${development}
      ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${development}
      INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
      FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT ${development})
    install(
      EXPORT ${library}-${kind}
      NAMESPACE VarnoNetwork::
      DESTINATION ${packageDir}
      COMPONENT ${development})
  endforeach()

  get_property(uses GLOBAL PROPERTY VARNO_USES_OF_${library})
  list(JOIN uses " " pkgconfigRequires)
  configure_file(cmake/Library.pc.in ${library}.pc @ONLY)
  install(
    FILES ${PROJECT_BINARY_DIR}/${library}.pc
    DESTINATION ${pkgconfigDir}
    COMPONENT ${development})

  get_property(component GLOBAL PROPERTY VARNO_COMPONENT_OF_${library})
  if(component)
    set(usedComponents)
    foreach(used IN LISTS uses)
      get_property(usedComponent GLOBAL PROPERTY VARNO_COMPONENT_OF_${used})
      list(APPEND usedComponents ${usedComponent})
    endforeach()
    list(APPEND components ${component})
    string(APPEND componentUses "set(_VarnoNetwork_${component}_uses ${usedComponents})\n")
  endif()
endforeach()

configure_package_config_file(cmake/VarnoNetworkConfig.cmake.in VarnoNetworkConfig.cmake
                              INSTALL_DESTINATION ${packageDir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(VarnoNetworkConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(
  FILES ${PROJECT_BINARY_DIR}/VarnoNetworkConfig.cmake
        ${PROJECT_BINARY_DIR}/VarnoNetworkConfigVersion.cmake
  DESTINATION ${packageDir}
  COMPONENT development)

install(
  FILES ${PROJECT_SOURCE_DIR}/LICENSE
  DESTINATION ${CMAKE_INSTALL_DATADIR}/licenses/VarnoNetwork
  COMPONENT license)

if(PROJECT_IS_TOP_LEVEL)
  include(cmake/Packages.cmake)
endif()
