# SPDX-License-Identifier: Apache-2.0
#
# Builds for s390x, a big-endian machine that the distribution has packages for, and runs what was built in an emulator.
# The libraries are where script/lib/sysroot-s390x puts them.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(CMAKE_LIBRARY_ARCHITECTURE s390x-linux-gnu)
set(CMAKE_C_COMPILER s390x-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER s390x-linux-gnu-g++)

cmake_path(SET VXP_SYSROOT NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../build/s390x-sysroot)
if(NOT EXISTS ${VXP_SYSROOT}/.packages)
    message(FATAL_ERROR "The s390x libraries are missing. Fetch them:  script/lib/sysroot-s390x ${VXP_SYSROOT}")
endif()
set(CMAKE_FIND_ROOT_PATH ${VXP_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Not CMAKE_SYSROOT: the cross compiler's own C library would be looked for in there too.
set(vxp_headers "-isystem ${VXP_SYSROOT}/usr/include -isystem ${VXP_SYSROOT}/usr/include/s390x-linux-gnu")
set(CMAKE_C_FLAGS_INIT "${vxp_headers}")
set(CMAKE_CXX_FLAGS_INIT "${vxp_headers}")
set(vxp_rpath "-Wl,-rpath-link,${VXP_SYSROOT}/usr/lib/s390x-linux-gnu:${VXP_SYSROOT}/lib/s390x-linux-gnu")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${vxp_rpath}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${vxp_rpath}")

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x-static -L ${VXP_SYSROOT})
