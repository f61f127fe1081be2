# varno_add_library(NAME [COMPONENT component] HEADERS file... SOURCES file... [USES library...])
#
# A library of this project, NAME, whose files lie in the current directory and are included as
# <NAME/file>: the targets NAME-static and NAME-shared, as far as they are wanted. With a component
# they are VarnoNetwork::component-static and -shared, and VarnoNetwork::component is the one that
# an application gets; without, VarnoNetwork::static, ::shared and ::VarnoNetwork. USES names every
# library of this project that it is built on, also those below the one that it includes itself;
# PRIVATE_LIBRARIES what its sources alone need.
include(CheckLinkerFlag)
find_package(Threads REQUIRED)

function(varno_add_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "COMPONENT" "HEADERS;SOURCES;USES;PRIVATE_LIBRARIES")
  set(prefix ${arg_COMPONENT})
  set(default VarnoNetwork)
  if(arg_COMPONENT)
    string(APPEND prefix -)
    set(default ${arg_COMPONENT})
  endif()

  # The code is compiled once; both libraries are made of the same objects.
  set(objects ${name}Objects)
  add_library(${objects} OBJECT ${arg_SOURCES})
  varno_target_defaults(${objects})
  target_include_directories(${objects} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${objects} PRIVATE Threads::Threads ${arg_PRIVATE_LIBRARIES})
  set_target_properties(
    ${objects} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
                          POSITION_INDEPENDENT_CODE ON)
  # Nobody replaces a function of the library by one of the same name, so the compiler may inline
  # what is exported; clang always does.
  target_compile_options(${objects} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-semantic-interposition>)

  foreach(kind IN ITEMS static shared)
    string(TOUPPER ${kind} type)
    if(NOT VARNO_BUILD_${type})
      continue()
    endif()
    set(library ${name}-${kind})
    add_library(${library} ${type} $<TARGET_OBJECTS:${objects}>)
    add_library(VarnoNetwork::${prefix}${kind} ALIAS ${library})
    target_sources(
      ${library}
      PUBLIC FILE_SET HEADERS
             BASE_DIRS ${PROJECT_SOURCE_DIR}
             FILES ${arg_HEADERS})
    target_compile_features(${library} PUBLIC cxx_std_20)
    list(TRANSFORM arg_USES APPEND -${kind} OUTPUT_VARIABLE uses)
    target_link_libraries(${library} PUBLIC Threads::Threads ${uses})
    set_target_properties(
      ${library}
      PROPERTIES OUTPUT_NAME ${name}
                 EXPORT_NAME ${prefix}${kind}
                 LINKER_LANGUAGE CXX
                 VERSION ${PROJECT_VERSION}
                 SOVERSION ${PROJECT_VERSION_MAJOR})
  endforeach()

  if(TARGET ${name}-shared)
    # The libraries that it uses lie beside it, wherever the installed tree was moved to.
    if(arg_USES AND NOT APPLE)
      set_property(TARGET ${name}-shared PROPERTY INSTALL_RPATH $ORIGIN)
    endif()
    set(exports ${PROJECT_SOURCE_DIR}/cmake/VarnoNetwork.map)
    check_linker_flag(CXX LINKER:--version-script=${exports} VARNO_LINKER_TAKES_EXPORTS)
    if(VARNO_LINKER_TAKES_EXPORTS)
      target_link_options(${name}-shared PRIVATE LINKER:--version-script=${exports})
      set_property(TARGET ${name}-shared APPEND PROPERTY LINK_DEPENDS ${exports})
    endif()
  endif()

  if(TARGET ${name}-static AND NOT (BUILD_SHARED_LIBS AND TARGET ${name}-shared))
    add_library(VarnoNetwork::${default} ALIAS ${name}-static)
  else()
    add_library(VarnoNetwork::${default} ALIAS ${name}-shared)
  endif()

  # For Install.cmake: the libraries, those that are used before their users.
  set_property(GLOBAL APPEND PROPERTY VARNO_LIBRARIES ${name})
  set_property(GLOBAL PROPERTY VARNO_COMPONENT_OF_${name} ${arg_COMPONENT})
  set_property(GLOBAL PROPERTY VARNO_USES_OF_${name} ${arg_USES})
endfunction()
