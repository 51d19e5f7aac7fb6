/* heap: how the allocator keeps what was freed. Process-wide, set once before the first thread. */
#pragma once

#include <cstddef>

/* From this size on a block has pages of its own. A 320 x 240 surface is one of these. */
constexpr size_t heap_large_bytes = 128 * 1024;

/* Freed memory goes back to the system: large blocks at once, the heap's end when so much of it is
 * free; threads that once ran side by side leave no heaps of their own behind. Left alone, the
 * GNU allocator learns from the first large block that is freed to cut blocks of this size out of
 * the heap, where a small one behind them holds their pages for as long as it lives. Does nothing
 * with another C library. */
void heap_begin();
