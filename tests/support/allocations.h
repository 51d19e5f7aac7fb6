/* allocations: counts what a test program takes from the heap, by any thread, and makes single
 * allocations fail. Include it once in a test program. Under the sanitizers, which bring a heap of
 * their own, nothing is counted and nothing fails. */
#pragma once

#include "support/sanitizer.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>

inline std::atomic<int> allocations{0};
/* Bytes in use, as the heap rounds them up, and the most that they were. What came by other ways
 * than these functions, aligned blocks for one, is missing when it comes and counted when it
 * goes: only differences over a span without any mean something. */
inline std::atomic<int64_t> allocated_bytes{0};
inline std::atomic<int64_t> allocated_peak{0};
/* The allocation of this thread that fails, counted from now: 1 for the next one, 0 for none. Back
 * at 0 once it has failed. */
inline thread_local int allocation_to_fail = 0;

#if defined(__GLIBC__) && !defined(HAS_SANITIZER)
#define ALLOCATIONS_ARE_COUNTED 1
#include <malloc.h>

extern "C" void *__libc_malloc(size_t size);
extern "C" void *__libc_calloc(size_t count, size_t size);
extern "C" void *__libc_realloc(void *old, size_t size);
extern "C" void __libc_free(void *block);

inline void *count_allocation(void *block)
{
    allocations++;
    const int64_t now = allocated_bytes += static_cast<int64_t>(malloc_usable_size(block));
    int64_t peak = allocated_peak;
    while (now > peak && !allocated_peak.compare_exchange_weak(peak, now))
        ;
    return block;
}

inline bool allocation_fails()
{
    if (allocation_to_fail == 0 || --allocation_to_fail > 0)
        return false;
    errno = ENOMEM;
    return true;
}

extern "C" void *malloc(size_t size)
{
    if (allocation_fails())
        return nullptr;
    return count_allocation(__libc_malloc(size));
}

extern "C" void *calloc(size_t count, size_t size)
{
    if (allocation_fails())
        return nullptr;
    return count_allocation(__libc_calloc(count, size));
}

extern "C" void *realloc(void *old, size_t size)
{
    if (allocation_fails())
        return nullptr;
    const int64_t before = static_cast<int64_t>(malloc_usable_size(old));
    void *block = __libc_realloc(old, size);
    if (block || size == 0)
        allocated_bytes -= before; /* a failure leaves the old block */
    return count_allocation(block);
}

extern "C" void free(void *block)
{
    allocated_bytes -= static_cast<int64_t>(malloc_usable_size(block));
    __libc_free(block);
}

/* Runs `work` again and again, each time with a later one of its allocations failing, until none is
 * left that could. Returns how many failed. */
template <typename F> int fail_each_allocation(F work)
{
    for (int n = 1;; n++) {
        allocation_to_fail = n;
        work();
        const bool failed = allocation_to_fail == 0;
        allocation_to_fail = 0;
        if (!failed)
            return n - 1;
    }
}
#endif
