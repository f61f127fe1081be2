# 64-bit Arm, as in phones: char is unsigned, and memory is ordered weakly.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
