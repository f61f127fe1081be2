# What a build contains. A project that includes this one gets the library and nothing else: the
# kind that BUILD_SHARED_LIBS names, unless it asks for one by name.
if(PROJECT_IS_TOP_LEVEL)
  option(VARNO_BUILD_STATIC "Build the static library" ON)
  option(VARNO_BUILD_SHARED "Build the shared library" ON)
elseif(NOT DEFINED VARNO_BUILD_STATIC AND NOT DEFINED VARNO_BUILD_SHARED)
  # Not in the cache, where they would outlive a change of BUILD_SHARED_LIBS.
  set(VARNO_BUILD_SHARED ${BUILD_SHARED_LIBS})
  if(NOT VARNO_BUILD_SHARED)
    set(VARNO_BUILD_STATIC ON)
  endif()
endif()
if(NOT VARNO_BUILD_STATIC AND NOT VARNO_BUILD_SHARED)
  message(FATAL_ERROR "VARNO_BUILD_STATIC and VARNO_BUILD_SHARED are both off: nothing to build")
endif()

option(VARNO_BUILD_TOOLS "Build the libraries and the command around VarnoNetwork"
       ${PROJECT_IS_TOP_LEVEL})
option(VARNO_BUILD_TESTS "Build the tests (needs GoogleTest's sources)" ${PROJECT_IS_TOP_LEVEL})
option(VARNO_BUILD_EXAMPLES "Build the examples" ${PROJECT_IS_TOP_LEVEL})
option(VARNO_BUILD_BENCH "Build the benchmarks (needs Google Benchmark)" OFF)
option(VARNO_BUILD_FUZZ "Build the fuzz targets (needs clang)" OFF)
option(VARNO_INSTALL "Install the library" ${PROJECT_IS_TOP_LEVEL})
option(VARNO_WARNINGS_AS_ERRORS "Turn the compiler's warnings into errors" OFF)
set(VARNO_SANITIZE "" CACHE STRING "Argument of -fsanitize=, such as address,undefined or thread")
