#include "trap.h"

#include <dlfcn.h>
#include <errno.h>
#include <link.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#ifndef __x86_64__
#error "Tests of this machine only: the registers of a system call are named here."
#endif

#define TRAP_MOST 64 /* system calls listed */

typedef int (*main_function)(int, char **, char **);

static main_function real_main;

long trap_let(long number, const long *a)
{
    long result;
    register long r10 __asm__("r10") = a[3];
    register long r8 __asm__("r8") = a[4];
    register long r9 __asm__("r9") = a[5];
    __asm__ volatile("syscall"
                     : "=a"(result)
                     : "a"(number), "D"(a[0]), "S"(a[1]), "d"(a[2]), "r"(r10), "r"(r8), "r"(r9)
                     : "rcx", "r11", "memory");
    return result;
}

static void on_call(int number, siginfo_t *about, void *context)
{
    (void)number;
    greg_t *registers = ((ucontext_t *)context)->uc_mcontext.gregs;
    const int before = errno;
    const long arguments[6] = {registers[REG_RDI], registers[REG_RSI], registers[REG_RDX],
                               registers[REG_R10], registers[REG_R8],  registers[REG_R9]};
    registers[REG_RAX] = trap_call(about->si_syscall, arguments);
    errno = before;
}

/* The range of the C library's instructions. */
static int find_code(struct dl_phdr_info *object, size_t size, void *user)
{
    (void)size;
    unsigned long *range = user;
    if (!strstr(object->dlpi_name, "/libc.so."))
        return 0;
    for (int i = 0; i < object->dlpi_phnum; i++) {
        const ElfW(Phdr) *part = &object->dlpi_phdr[i];
        if (part->p_type == PT_LOAD && (part->p_flags & PF_X)) {
            range[0] = object->dlpi_addr + part->p_vaddr;
            range[1] = range[0] + part->p_memsz;
        }
    }
    return 1;
}

static void die(const char *why)
{
    fprintf(stderr, "trap: %s\n", why);
    _exit(99);
}

#define LOAD(field) BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, field))
#define LOAD_HIGH(field)                                                                           \
    BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, field) + 4)

/* Lets through what is not listed, and what does not come from [from, to) of one 4 GiB window. */
static void install(const int *numbers, unsigned long from, unsigned long to)
{
    if (from >> 32 != (to - 1) >> 32)
        die("the C library lies across 4 GiB");
    const struct sock_filter head[] = {
        LOAD_HIGH(instruction_pointer),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, (unsigned)(from >> 32), 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        LOAD(instruction_pointer),
        BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, (unsigned)from, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_JUMP(BPF_JMP | BPF_JGT | BPF_K, (unsigned)(to - 1), 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        LOAD(nr),
    };
    struct sock_filter program[sizeof head / sizeof *head + 2 * TRAP_MOST + 1];
    unsigned short length = sizeof head / sizeof *head;
    memcpy(program, head, sizeof head);
    for (int i = 0; i < TRAP_MOST && numbers[i] >= 0; i++) {
        program[length++] =
            (struct sock_filter)BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, (unsigned)numbers[i], 0, 1);
        program[length++] = (struct sock_filter)BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP);
    }
    program[length++] = (struct sock_filter)BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    const struct sock_fprog filter = {length, program};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0)
        die("the kernel takes no filter");
}

static int begin_main(int argc, char **argv, char **environment)
{
    const int *numbers = trap_begin();
    unsigned long code[2] = {0, 0};
    dl_iterate_phdr(find_code, code);
    if (code[1] == 0)
        die("there is no C library");
    struct sigaction action = {.sa_sigaction = on_call,
                               .sa_flags = SA_SIGINFO | SA_NODEFER | SA_RESTART};
    if (sigaction(SIGSYS, &action, NULL) != 0)
        die("no handler for SIGSYS");
    if (numbers[0] >= 0)
        install(numbers, code[0], code[1]);
    return real_main(argc, argv, environment);
}

__attribute__((visibility("default"))) int
__libc_start_main(main_function main, int argc, char **argv, void (*init)(void), void (*fini)(void),
                  void (*loader_fini)(void), void *stack_end)
{
    int (*next)(main_function, int, char **, void (*)(void), void (*)(void), void (*)(void),
                void *) = dlsym(RTLD_NEXT, "__libc_start_main");
    real_main = main;
    return next(begin_main, argc, argv, init, fini, loader_fini, stack_end);
}

/* A thread that blocks SIGSYS would be ended by it. */
__attribute__((visibility("default"))) int pthread_sigmask(int how, const sigset_t *set,
                                                           sigset_t *old)
{
    int (*next)(int, const sigset_t *, sigset_t *) = dlsym(RTLD_NEXT, "pthread_sigmask");
    sigset_t without;
    if (set && how != SIG_UNBLOCK) {
        without = *set;
        sigdelset(&without, SIGSYS);
        set = &without;
    }
    return next(how, set, old);
}
