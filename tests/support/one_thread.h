/* one_thread: for tests that look at shared records while no other thread runs.
 *
 * Such a test reads rows between two calls; a lock around each look would hide what it says. */
#pragma once

#if defined(__clang__)
#pragma clang diagnostic ignored "-Wthread-safety-analysis"
#pragma clang diagnostic ignored "-Wthread-safety-reference"
#endif
