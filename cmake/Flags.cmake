# SPDX-License-Identifier: Apache-2.0
#
# Two interface targets carry every compile and link flag:
#   vxp_flags    warnings, hardening and sanitizers; everything links it
#   vxp_bare     vxp_flags and C++ without exceptions, RTTI and a C++ runtime library; the daemon and the store link it
include(CheckCXXCompilerFlag)
include(CheckFunctionExists)
include(CheckPIESupported)
check_pie_supported(LANGUAGES C CXX)

# A target with LINKER_LANGUAGE C must not get the C++ runtime back through CMake's list of implicit libraries.
set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")

add_library(vxp_flags INTERFACE)
target_include_directories(vxp_flags INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(vxp_flags INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
target_compile_definitions(vxp_flags INTERFACE _GNU_SOURCE)

if(VXP_SANITIZE)
    # These two checks need RTTI and the C++ runtime library; only clang++ has the second.
    set(unfit vptr)
    if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
        set(unfit vptr,function)
    endif()
    target_compile_options(vxp_flags INTERFACE -fsanitize=${VXP_SANITIZE} -fno-sanitize-recover=all
        -fno-omit-frame-pointer -fno-sanitize=${unfit})
    target_link_options(vxp_flags INTERFACE -fsanitize=${VXP_SANITIZE} -fno-sanitize=${unfit})
else()
    foreach(flag -fstack-protector-strong -fstack-clash-protection)
        string(MAKE_C_IDENTIFIER "HAVE${flag}" have)
        check_cxx_compiler_flag(${flag} ${have})
        if(${have})
            target_compile_options(vxp_flags INTERFACE ${flag})
        endif()
    endforeach()
    # FORTIFY needs an optimiser; some distributions' compilers define it already.
    target_compile_options(vxp_flags INTERFACE $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
    target_link_options(vxp_flags INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
endif()

add_library(vxp_bare INTERFACE)
target_link_libraries(vxp_bare INTERFACE vxp_flags)
target_compile_options(vxp_bare INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
    -ffunction-sections -fdata-sections)

# uClibc has no checked calls, whatever _FORTIFY_SOURCE says.
check_function_exists(__snprintf_chk VXP_HAVE_CHECKED_CALLS)

# The most that text and read-only data may take on a device, bytes; looked at when built for size. vxpd has to fit.
set(VXP_SIZE_LIMIT 131072)

# vxp_bare_program(TARGET [LIBRARIES...]): link TARGET with the C driver, and look at the finished file: hardened, no C++
# runtime library, and none but those named, which are without "lib" and ".so".
function(vxp_bare_program target)
    set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C)
    target_link_libraries(${target} PRIVATE vxp_bare)
    if(VXP_SANITIZE)
        return()
    endif()
    target_link_options(${target} PRIVATE -Wl,--gc-sections -Wl,--as-needed -Wl,-Map=${CMAKE_BINARY_DIR}/${target}.map)
    list(JOIN ARGN , libraries)
    set(checks --libraries "${libraries}")
    if(VXP_HAVE_CHECKED_CALLS AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
        list(APPEND checks --fortify)
    endif()
    if(CMAKE_BUILD_TYPE STREQUAL "MinSizeRel")
        list(APPEND checks --limit ${VXP_SIZE_LIMIT})
    endif()
    add_custom_command(TARGET ${target} POST_BUILD VERBATIM
        COMMAND ${PROJECT_SOURCE_DIR}/script/check-binary --readelf ${CMAKE_READELF} ${checks} $<TARGET_FILE:${target}>)
endfunction()
