# Cross builds with Debian's cross toolchains (crossbuild-essential-<arch>) against the
# <arch> dev packages, tests run under qemu-user. Set FAL_CROSS_TRIPLE (aarch64-linux-gnu,
# arm-linux-gnueabihf) and FAL_CROSS_QEMU (qemu-aarch64, qemu-arm); scripts/cross.sh does.
set(CMAKE_SYSTEM_NAME Linux)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES FAL_CROSS_TRIPLE FAL_CROSS_QEMU)
if(FAL_CROSS_TRIPLE MATCHES "^aarch64")
  set(CMAKE_SYSTEM_PROCESSOR aarch64)
else()
  set(CMAKE_SYSTEM_PROCESSOR arm)
endif()
set(CMAKE_C_COMPILER ${FAL_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${FAL_CROSS_TRIPLE}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${FAL_CROSS_TRIPLE})
set(CMAKE_FIND_ROOT_PATH /usr/${FAL_CROSS_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
# Only the target's .pc files.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${FAL_CROSS_TRIPLE}/pkgconfig:/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")
# The target's own libc6:<arch> (a dependency of the dev packages) gives qemu the loader and the
# libraries under /lib/<triple>. No -L prefix: the cross toolchain's loader with the target's
# libc (two builds of glibc) hangs threaded programs.
set(CMAKE_CROSSCOMPILING_EMULATOR ${FAL_CROSS_QEMU})
