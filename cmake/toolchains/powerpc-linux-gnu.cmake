# Cross build for 32-bit PowerPC (big-endian): cmake -DCMAKE_TOOLCHAIN_FILE=this file.
set(VELMORA_CROSS_TRIPLET powerpc-linux-gnu)
set(VELMORA_CROSS_QEMU qemu-ppc)
set(CMAKE_SYSTEM_PROCESSOR powerpc)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
