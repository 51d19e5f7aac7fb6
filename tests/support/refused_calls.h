/* refused_calls: makes the kernel refuse system calls of this process, for good. For children. */
#pragma once

#include <cstddef>
#include <cstdlib>
#include <fcntl.h>
#include <initializer_list>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <vector>

/* Whether calls can be refused here: an emulator has no filter for those of its program. */
inline bool can_refuse_calls()
{
    return prctl(PR_GET_SECCOMP, 0, 0, 0, 0) >= 0;
}

inline void refuse_by(std::vector<sock_filter> program)
{
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog filter = {static_cast<unsigned short>(program.size()), program.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0)
        abort();
}

/* Each of the calls fails with the error from now on. */
inline void refuse_calls(std::initializer_list<long> numbers, int error)
{
    std::vector<sock_filter> program = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const long number : numbers) {
        program.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(number), 0, 1));
        program.push_back(
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)));
    }
    refuse_by(program);
}

/* So does opening a file that may have to be made. */
inline void refuse_creating(int error)
{
    refuse_by({BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
               BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat, 0, 3),
               BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[2])),
               BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, O_CREAT, 0, 1),
               BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error))});
}
