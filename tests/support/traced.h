/* traced: ends a child at a chosen system call, as a power cut would. Tests only. */
#pragma once

#include <cerrno>
#include <csignal>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <initializer_list>

/* Whether programs can be traced here: a machine that is emulated has no such call. */
inline bool traced_possible()
{
    const pid_t child = fork();
    if (child == 0)
        _exit(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0 && errno == ENOSYS);
    int status = 0;
    return child <= 0 || waitpid(child, &status, 0) != child || status == 0;
}

enum class traced_end { killed, ended, failed };

/* A child that stops before and behind each system call, waiting at its start. */
template <typename work_type> pid_t traced_start(work_type work)
{
    const pid_t child = fork();
    if (child == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0 || raise(SIGSTOP) != 0)
            _exit(101);
        _exit(work());
    }
    return child;
}

/* Runs the work in a child and kills it at its `stops`-th stop; each call has one before and one
 * behind. `ended` when the work was done before that, having returned 0. */
template <typename work_type> traced_end traced_kill(work_type work, int stops)
{
    const pid_t child = traced_start(work);
    int status = 0;
    for (int stop = 0; child > 0 && waitpid(child, &status, 0) == child; stop++) {
        if (WIFEXITED(status))
            return WEXITSTATUS(status) == 0 ? traced_end::ended : traced_end::failed;
        if (WIFSIGNALED(status))
            return WTERMSIG(status) == SIGKILL ? traced_end::killed : traced_end::failed;
        if (stop == stops ? kill(child, SIGKILL) != 0
                          : ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) != 0)
            return traced_end::failed;
    }
    return traced_end::failed;
}

/* The stops of the work, which must return 0: at each of them it can be killed. -1 when it fails. */
template <typename work_type> int traced_stops(work_type work)
{
    const pid_t child = traced_start(work);
    int status = 0, stops = 0;
    while (child > 0 && waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
        stops++;
        if (ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) != 0)
            return -1;
    }
    return child > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0 ? stops : -1;
}

/* How often the work, which must return 0, calls any of the numbers. -1 when it fails. */
template <typename work_type> int traced_count(work_type work, std::initializer_list<long> numbers)
{
    const pid_t child = traced_start(work);
    int status = 0, found = 0;
    while (child > 0 && waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
        (void)ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD);
        __ptrace_syscall_info info = {};
        if (ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info) > 0 &&
            info.op == PTRACE_SYSCALL_INFO_ENTRY)
            found += std::find(numbers.begin(), numbers.end(), static_cast<long>(info.entry.nr)) !=
                     numbers.end();
        if (ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) != 0)
            return -1;
    }
    return child > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0 ? found : -1;
}
