# The target: 32-bit ARM with hardware floating point, Debian's libraries of build/sysroot. Programs run here by emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH trelvik_root)
set(CMAKE_SYSROOT "${trelvik_root}/build/sysroot")
if(NOT EXISTS "${CMAKE_SYSROOT}/.recipe")
  message(FATAL_ERROR "There is no ${CMAKE_SYSROOT}: run scripts/sysroot")
endif()

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# What GCC 7 changed in this ABI concerns nobody here.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L "${CMAKE_SYSROOT}")

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR} "${CMAKE_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig")
