# SPDX-License-Identifier: Apache-2.0
#
# Builds for s390x, a 64-bit big-endian machine that the distribution has packages for.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(CMAKE_LIBRARY_ARCHITECTURE s390x-linux-gnu)
set(CMAKE_C_COMPILER s390x-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER s390x-linux-gnu-g++)
set(vxp_emulator qemu-s390x-static)
include(${CMAKE_CURRENT_LIST_DIR}/Emulated.cmake)
