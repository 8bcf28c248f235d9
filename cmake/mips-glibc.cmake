# SPDX-License-Identifier: Apache-2.0
#
# Builds for MIPS32, big-endian, with the GNU C library: the daemon, its store and their tests.
set(CMAKE_SYSTEM_PROCESSOR mips)
set(CMAKE_C_COMPILER mips-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER mips-linux-gnu-g++)
set(vxp_emulator qemu-mips-static)
include(${CMAKE_CURRENT_LIST_DIR}/Emulated.cmake)
