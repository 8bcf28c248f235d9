# SPDX-License-Identifier: Apache-2.0
#
# What the toolchain files of the emulated targets share: the libraries are where script/sysroot puts them, and what was
# built runs in a user-mode emulator. The toolchain file's name is the target's.
set(CMAKE_SYSTEM_NAME Linux)
cmake_path(GET CMAKE_PARENT_LIST_FILE STEM vxp_target)
cmake_path(SET VXP_SYSROOT NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot/${vxp_target})
if(NOT EXISTS ${VXP_SYSROOT}/.done)
    message(FATAL_ERROR "The libraries for ${vxp_target} are missing. Get them:  script/sysroot ${vxp_target}")
endif()
set(CMAKE_FIND_ROOT_PATH ${VXP_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Not CMAKE_SYSROOT: the cross compiler's own C library would be looked for in there too.
set(vxp_headers "-isystem ${VXP_SYSROOT}/usr/include")
set(vxp_rpath "-Wl,-rpath-link,${VXP_SYSROOT}/lib")
if(CMAKE_LIBRARY_ARCHITECTURE)
    string(APPEND vxp_headers " -isystem ${VXP_SYSROOT}/usr/include/${CMAKE_LIBRARY_ARCHITECTURE}")
    string(APPEND vxp_rpath ":${VXP_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}:${VXP_SYSROOT}/lib/${CMAKE_LIBRARY_ARCHITECTURE}")
endif()
set(CMAKE_C_FLAGS_INIT "${vxp_headers}")
set(CMAKE_CXX_FLAGS_INIT "${vxp_headers}")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${vxp_rpath}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${vxp_rpath}")

set(CMAKE_CROSSCOMPILING_EMULATOR ${vxp_emulator} -L ${VXP_SYSROOT})
