/* allocations: counts what a test program takes from the heap, by any thread. Include it once in a
 * test program. Under the sanitizers, which bring a heap of their own, nothing is counted. */
#pragma once

#include <atomic>
#include <cstddef>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define HAS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define HAS_SANITIZER 1
#endif
#endif

inline std::atomic<int> allocations{0};

#if defined(__GLIBC__) && !defined(HAS_SANITIZER)
#define ALLOCATIONS_ARE_COUNTED 1
extern "C" void *__libc_malloc(size_t size);
extern "C" void *__libc_calloc(size_t count, size_t size);
extern "C" void *__libc_realloc(void *old, size_t size);

extern "C" void *malloc(size_t size)
{
    allocations++;
    return __libc_malloc(size);
}

extern "C" void *calloc(size_t count, size_t size)
{
    allocations++;
    return __libc_calloc(count, size);
}

extern "C" void *realloc(void *old, size_t size)
{
    allocations++;
    return __libc_realloc(old, size);
}
#endif
