# 32-bit Arm with floating point: size_t and long have 32 bits.
set(CMAKE_SYSTEM_PROCESSOR arm)
set(varnoTriplet arm-linux-gnueabihf)
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi) # no notes on what g++ 7 passed otherwise
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
