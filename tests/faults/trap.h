/* trap: stands between a program and the kernel, from main() on.
 *
 * A library that is loaded in front of a program defines trap_begin() and trap_call(). System calls
 * that the C library makes, also those from inside of it (a stream that is flushed, a font that is
 * mapped), end in trap_call() instead, which lets them through or answers for the kernel.
 *
 * The kernel sends SIGSYS for a call whose number is listed and whose instruction lies in the C
 * library. A call that is let through is made by an instruction of ours, so it is not trapped
 * again. A program that the program starts over itself has its C library at another place: it is
 * free until it has loaded us, too. */
#pragma once

#include <stddef.h>

/* Makes the system call; the kernel's result, -errno for a failure. */
long trap_let(long number, const long *arguments);

/* ---- what the library defines ---- */

/* Before main(). Returns the numbers of the system calls to be trapped, -1 behind the last. */
const int *trap_begin(void);
/* Any thread, in the middle of anything: no allocation, no lock of the C library. */
long trap_call(long number, const long *arguments);
