# Two components are what a program needs to run, `runtime`, and what it needs to build,
# `development`. The third, `license`, is not packaged: each Debian package has a file of its own.
include(CMakePackageConfigHelpers)

set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/VarnoNetwork)

foreach(kind IN ITEMS static shared)
  if(NOT TARGET VarnoNetwork::${kind})
    continue()
  endif()
  get_target_property(library VarnoNetwork::${kind} ALIASED_TARGET)
  install(
    TARGETS ${library}
    EXPORT VarnoNetwork-${kind}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
            COMPONENT runtime
            NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
  install(
    EXPORT VarnoNetwork-${kind}
    NAMESPACE VarnoNetwork::
    DESTINATION ${packageDir}
    COMPONENT development)
endforeach()

configure_package_config_file(cmake/VarnoNetworkConfig.cmake.in VarnoNetworkConfig.cmake
                              INSTALL_DESTINATION ${packageDir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(VarnoNetworkConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(
  FILES ${PROJECT_BINARY_DIR}/VarnoNetworkConfig.cmake
        ${PROJECT_BINARY_DIR}/VarnoNetworkConfigVersion.cmake
  DESTINATION ${packageDir}
  COMPONENT development)

# The prefix is told relative to the .pc file, so that the installed tree can be moved.
set(pkgconfigDir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(ABSOLUTE_PATH pkgconfigDir BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" OUTPUT_VARIABLE from)
file(RELATIVE_PATH pkgconfigPrefix "${from}" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" pkgconfigPrefix "${pkgconfigPrefix}")
if(VARNO_BUILD_SHARED)
  set(pkgconfigPrivate .private) # the shared library names what it needs itself
endif()
configure_file(cmake/VarnoNetwork.pc.in VarnoNetwork.pc @ONLY)
install(
  FILES ${PROJECT_BINARY_DIR}/VarnoNetwork.pc
  DESTINATION ${pkgconfigDir}
  COMPONENT development)

install(
  FILES ${PROJECT_SOURCE_DIR}/LICENSE
  DESTINATION ${CMAKE_INSTALL_DATADIR}/licenses/VarnoNetwork
  COMPONENT license)

if(PROJECT_IS_TOP_LEVEL)
  include(cmake/Packages.cmake)
endif()
