/* compared: how many texts the program has compared, for what must not look at each with each.
 *
 * Stands before the C library's strcmp. Include it once in a test program. */
#pragma once

#include <atomic>
#include <cstdint>

inline std::atomic<int64_t> compared_texts{0};

inline int64_t texts_compared()
{
    return compared_texts;
}

/* Not inlined into callers, and no library's: each call of the program comes by here. */
extern "C" int strcmp(const char *left, const char *right) noexcept
{
    compared_texts.fetch_add(1, std::memory_order_relaxed);
    while (*left && *left == *right) {
        left++;
        right++;
    }
    return static_cast<unsigned char>(*left) - static_cast<unsigned char>(*right);
}
