/* run_again: whether a test can begin anew as a program of its own. */
#pragma once

#include <cerrno>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

/* False where the system cannot start it: a program of another machine that an emulator runs. */
inline bool can_run_again()
{
    const pid_t child = fork();
    if (child == 0) {
        (void)dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        execl("/proc/self/exe", "test", "--gtest_list_tests", nullptr);
        _exit(errno == ENOEXEC ? 101 : 0);
    }
    int status = 0;
    return child <= 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status) ||
           WEXITSTATUS(status) != 101;
}
