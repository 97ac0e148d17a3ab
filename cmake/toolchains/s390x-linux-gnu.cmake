# Cross build for IBM Z (s390x, 64-bit big-endian): cmake -DCMAKE_TOOLCHAIN_FILE=this file.
set(VELMORA_CROSS_TRIPLET s390x-linux-gnu)
set(VELMORA_CROSS_QEMU qemu-s390x)
set(CMAKE_SYSTEM_PROCESSOR s390x)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
