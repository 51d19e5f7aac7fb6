/* lock: mutexes that are valid from load to process end, and the annotations that let clang check
 * them. */
#pragma once

#include <pthread.h>

#if defined(__clang__)
#define THREAD_ANNOTATION(x) __attribute__((x))
#else
#define THREAD_ANNOTATION(x)
#endif
#define CAPABILITY(x) THREAD_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(x) THREAD_ANNOTATION(guarded_by(x))
#define REQUIRES(...) THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS THREAD_ANNOTATION(no_thread_safety_analysis)

/* A recursive mutex. Statically initialised and never destroyed, because detached workers and the
 * sound thread may still want it while the program goes down. Declare it `constinit`. */
struct CAPABILITY("mutex") sys_lock {
    pthread_mutex_t mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
};

inline void sys_lock_take(sys_lock *lock) ACQUIRE(*lock) NO_THREAD_SAFETY_ANALYSIS
{
    pthread_mutex_lock(&lock->mutex);
}

inline void sys_lock_drop(sys_lock *lock) RELEASE(*lock) NO_THREAD_SAFETY_ANALYSIS
{
    pthread_mutex_unlock(&lock->mutex);
}

/* Holds a lock for the life of a block. */
struct SCOPED_CAPABILITY sys_guard {
    explicit sys_guard(sys_lock &lock) ACQUIRE(lock) : held(&lock) { sys_lock_take(held); }
    ~sys_guard() RELEASE() { sys_lock_drop(held); }
    sys_guard(const sys_guard &) = delete;
    sys_guard &operator=(const sys_guard &) = delete;

  private:
    sys_lock *held;
};
