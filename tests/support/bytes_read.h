/* bytes_read: what a test program has read so far, from files and whatever else. */
#pragma once

#include <cstdint>
#include <cstdio>
#include <gtest/gtest.h>

inline int64_t bytes_read()
{
    FILE *file = fopen("/proc/self/io", "r");
    long long count = -1;
    EXPECT_TRUE(file && fscanf(file, "rchar: %lld", &count) == 1);
    if (file)
        fclose(file);
    return count;
}
