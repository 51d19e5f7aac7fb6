/* thread: detached workers.
 *
 * Nobody joins a worker: it owns its job from its first line, and touches shared state only under
 * the owner's lock after testing that its result is still wanted. Any thread. */
#pragma once

#include <cstdint>

/* Starts a detached thread with a 256 KiB stack. 0, or -1 and `job` stays the caller's.
 *   name  at most 15 characters, for debuggers */
[[nodiscard]] int thread_start(const char *name, void (*body)(void *job), void *job);
/* Workers that have been started and have not returned. */
int32_t thread_running();
/* Waits until no worker runs, at most `ms`. 0, or -1 when the time ran out. */
int thread_settle(int32_t ms);
/* The same until at most `left` of them run. */
int thread_settle_to(int32_t left, int32_t ms);
