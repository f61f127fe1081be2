# What Debian's cross compilers have in common. The file that includes this one sets
# CMAKE_SYSTEM_PROCESSOR, and varnoTriplet where that is not PROCESSOR-linux-gnu.
set(CMAKE_SYSTEM_NAME Linux)
if(NOT DEFINED varnoTriplet)
  set(varnoTriplet ${CMAKE_SYSTEM_PROCESSOR}-linux-gnu)
endif()
set(CMAKE_CXX_COMPILER ${varnoTriplet}-g++)

# The programs run here, by qemu's user mode emulation on the target's standard library.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${CMAKE_SYSTEM_PROCESSOR} -L /usr/${varnoTriplet})

set(CMAKE_FIND_ROOT_PATH /usr/${varnoTriplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
