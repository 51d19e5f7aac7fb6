# Toolchain of `./dev cross ARCH`: the compiler of Debian's package for that machine, a sysroot of
# its libraries, and user-mode emulation for what is built. The build gives:
#   ZERV_CROSS_TRIPLE    mipsel-linux-gnu
#   ZERV_CROSS_QEMU      the emulator of that machine
#   ZERV_CROSS_SYSROOT   folder made by tools/cross.sh
set(CMAKE_SYSTEM_NAME Linux)
string(REGEX REPLACE "-.*" "" CMAKE_SYSTEM_PROCESSOR ${ZERV_CROSS_TRIPLE})
set(CMAKE_SYSROOT ${ZERV_CROSS_SYSROOT})
set(CMAKE_C_COMPILER ${ZERV_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${ZERV_CROSS_TRIPLE}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${ZERV_CROSS_TRIPLE})
set(CMAKE_CROSSCOMPILING_EMULATOR ${ZERV_CROSS_QEMU};-L;${ZERV_CROSS_SYSROOT})
# CMake repeats this file for each of its trials of the compiler.
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZERV_CROSS_TRIPLE ZERV_CROSS_QEMU ZERV_CROSS_SYSROOT)

# Programs are the host's, all else is the machine's.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
  ${CMAKE_SYSROOT}/usr/lib/${ZERV_CROSS_TRIPLE}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)
