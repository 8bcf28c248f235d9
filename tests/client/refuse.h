// SPDX-License-Identifier: Apache-2.0
#ifndef VXP_TESTS_CLIENT_REFUSE_H
#define VXP_TESTS_CLIENT_REFUSE_H

#include "tests/support/support.h"

#include <cstddef>
#include <iterator>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

// From now on, the kernel refuses this process a system call, SYS_..., with an error.
inline void refuse(std::uint32_t call, std::uint32_t error)
{
    sock_filter steps[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)), BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error), BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    sock_fprog filter{std::size(steps), steps};
    check(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), "no_new_privs");
    check(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), "seccomp");
}

#endif
