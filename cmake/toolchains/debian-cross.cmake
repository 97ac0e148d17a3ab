# Shared by the cross toolchain files, which set VELMORA_CROSS_TRIPLET, VELMORA_CROSS_QEMU and
# CMAKE_SYSTEM_PROCESSOR first: Debian's cross compiler and libc for that CPU (g++-<triplet>,
# in /usr/<triplet>) and qemu's user-mode emulator, which runs the CPU's programs for ctest.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${VELMORA_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${VELMORA_CROSS_TRIPLET}-g++)

# Started by ctest (and test discovery) in front of every program built here, so nothing relies
# on binfmt_misc. -L gives the program the cross libc's loader, and LD_LIBRARY_PATH that same
# libc: the loader would otherwise take a multiarch libc of the CPU from /lib/<triplet> (listed
# in the host's ld.so.cache), and a loader and libc of two builds abort at start-up.
find_program(VELMORA_CROSS_QEMU_PATH ${VELMORA_CROSS_QEMU} REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${VELMORA_CROSS_QEMU_PATH} -L /usr/${VELMORA_CROSS_TRIPLET}
    -E LD_LIBRARY_PATH=/usr/${VELMORA_CROSS_TRIPLET}/lib)

# pkg-config sees the CPU's own .pc files (multiarch) and, for SDL2, whose headers the platform
# layer needs for its types only, the host's headers (see sdl2/sdl2.pc).
set(ENV{PKG_CONFIG_LIBDIR}
    "/usr/lib/${VELMORA_CROSS_TRIPLET}/pkgconfig:/usr/share/pkgconfig:${CMAKE_CURRENT_LIST_DIR}/sdl2")
set(ENV{PKG_CONFIG_PATH} "")
