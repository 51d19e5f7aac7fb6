/* image_blocks: pixels averaged in blocks, for every strong reduction. */
#include "platform/image/image_codec.h"

#include <algorithm>
#include <cassert>

/* So many channel values can be added up in 16 bits. */
static constexpr int32_t sum_max = 257;

/* Adds `count` pixels to the four channel sums, two channels at a time. */
static void add_pixels(uint32_t *sums, const uint32_t *from, int32_t count)
{
    while (count > 0) {
        const int32_t now = std::min(count, sum_max);
        uint32_t even = 0;
        uint32_t odd = 0;
        for (int32_t i = 0; i < now; i++) {
            even += from[i] & 0x00FF00FF;
            odd += from[i] >> 8 & 0x00FF00FF;
        }
        sums[0] += even & 0xFFFF;
        sums[1] += odd & 0xFFFF;
        sums[2] += even >> 16;
        sums[3] += odd >> 16;
        from += now;
        count -= now;
    }
}

void image_blocks_add(uint32_t *sums, const uint32_t *row, int32_t width, int32_t block)
{
    assert(block > 0);
    for (int32_t x = 0; x < width; x += block, sums += 4)
        add_pixels(sums, row + x, std::min(block, width - x));
}

void image_blocks_average(uint32_t *to, const uint32_t *sums, int32_t width, int32_t block,
                          int32_t rows)
{
    assert(block > 0 && rows > 0);
    for (int32_t x = 0; x < width; x += block, sums += 4) {
        const uint32_t area = static_cast<uint32_t>(rows * std::min(block, width - x));
        const uint32_t half = area / 2;
        *to++ = (sums[3] + half) / area << 24 | (sums[2] + half) / area << 16 |
                (sums[1] + half) / area << 8 | (sums[0] + half) / area;
    }
}
