# GoogleTest from its sources, so that it is built with the same standard library, sanitizer and
# target as the tests; a prebuilt one fits a single combination. Debian: package googletest.
set(VARNO_GOOGLETEST_DIR "/usr/src/googletest" CACHE PATH "GoogleTest's sources")
if(NOT EXISTS "${VARNO_GOOGLETEST_DIR}/CMakeLists.txt")
  message(
    FATAL_ERROR
      "No GoogleTest sources in ${VARNO_GOOGLETEST_DIR}. Install the package googletest, set "
      "VARNO_GOOGLETEST_DIR, or leave the tests out with -DVARNO_BUILD_TESTS=OFF.")
endif()

block()
  set(CMAKE_POLICY_DEFAULT_CMP0077 NEW) # the variables below decide, and leave no cache entries
  set(CMAKE_WARN_DEPRECATED OFF)
  set(BUILD_SHARED_LIBS OFF)
  set(INSTALL_GTEST OFF)
  set(CMAKE_CXX_STANDARD 20)
  string(APPEND CMAKE_CXX_FLAGS " -w") # its warnings are not ours to mend
  add_subdirectory("${VARNO_GOOGLETEST_DIR}" googletest EXCLUDE_FROM_ALL SYSTEM)
endblock()
include(GoogleTest)
