#include "platform/base/heap.h"

#ifdef __GLIBC__
#include <malloc.h>

constexpr int step_bytes = 32 * 1024; /* that the heap grows by: some tens of times at the start */
constexpr int spare_end_bytes = 2 * step_bytes;
#endif

void heap_begin()
{
#ifdef __GLIBC__
    (void)mallopt(M_MMAP_THRESHOLD, heap_large_bytes); /* these numbers are in its range */
    (void)mallopt(M_TRIM_THRESHOLD, spare_end_bytes);
    (void)mallopt(M_TOP_PAD, step_bytes);
    (void)mallopt(M_ARENA_MAX, 1);
#endif
}
