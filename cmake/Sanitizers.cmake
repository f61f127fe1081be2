# VARNO_SANITIZE holds for everything built below this directory, GoogleTest included, since a
# sanitizer sees only what was compiled with it. A project that includes this one and wants a
# sanitizer sets it for its whole build, through CMAKE_CXX_FLAGS.
if(NOT VARNO_SANITIZE)
  return()
endif()

add_compile_options(
  -fsanitize=${VARNO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
add_link_options(-fsanitize=${VARNO_SANITIZE})

# The sanitizers' fixed memory layout collides with kernels that randomize addresses more widely
# (vm.mmap_rnd_bits above 28). Tests are started without randomization where the system allows it.
if(VARNO_SANITIZE MATCHES "address|thread" AND NOT CMAKE_CROSSCOMPILING)
  find_program(VARNO_SETARCH setarch)
  mark_as_advanced(VARNO_SETARCH)
  if(VARNO_SETARCH)
    execute_process(
      COMMAND ${VARNO_SETARCH} -R true
      RESULT_VARIABLE setarchFailed
      OUTPUT_QUIET ERROR_QUIET)
    if(NOT setarchFailed)
      set(CMAKE_CROSSCOMPILING_EMULATOR ${VARNO_SETARCH} -R)
    endif()
  endif()
endif()
