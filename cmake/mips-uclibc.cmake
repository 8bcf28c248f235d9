# SPDX-License-Identifier: Apache-2.0
#
# Builds for MIPS32, big-endian, with uClibc: what ships on a device. There is no C++ library.
set(CMAKE_SYSTEM_PROCESSOR mips)
set(vxp_emulator qemu-mips-static)
include(${CMAKE_CURRENT_LIST_DIR}/Emulated.cmake)
set(CMAKE_C_COMPILER ${VXP_SYSROOT}/bin/mips-uclibc-gcc)
set(CMAKE_CXX_COMPILER ${VXP_SYSROOT}/bin/mips-uclibc-g++)
set(VXP_CXX_LIBRARY OFF CACHE BOOL "There is none for uClibc")
