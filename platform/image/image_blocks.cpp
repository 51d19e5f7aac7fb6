/* image_blocks: pixels averaged in blocks, for every strong reduction. */
#include "platform/image/image_codec.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <iterator>

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

/* Whole blocks of a size that is known here, which most covers have: no loop within them. Returns the
 * pixels that are done. */
template <int32_t block>
static int32_t add_blocks(uint32_t *__restrict sums, const uint32_t *__restrict row, int32_t width)
{
    const int32_t count = width / block;
    for (int32_t at = 0; at < count; at++, sums += 4, row += block) {
        uint32_t even = 0, odd = 0;
        for (int32_t i = 0; i < block; i++) {
            even += row[i] & 0x00FF00FF;
            odd += row[i] >> 8 & 0x00FF00FF;
        }
        sums[0] += even & 0xFFFF;
        sums[1] += odd & 0xFFFF;
        sums[2] += even >> 16;
        sums[3] += odd >> 16;
    }
    return count * block;
}

using block_adder = int32_t (*)(uint32_t *sums, const uint32_t *row, int32_t width);
static constexpr block_adder adders[] = {nullptr,       add_blocks<1>, add_blocks<2>, add_blocks<3>,
                                         add_blocks<4>, add_blocks<5>, add_blocks<6>};

void image_blocks_add(uint32_t *sums, const uint32_t *row, int32_t width, int32_t block)
{
    assert(block > 0);
    int32_t done = 0;
    if (static_cast<size_t>(block) < std::size(adders))
        done = adders[block](sums, row, width);
    for (sums += done / block * 4; done < width; done += block, sums += 4)
        add_pixels(sums, row + done, std::min(block, width - done));
}

/* Divides by multiplying, which is exact as long as 255 and a half times the square of the area fits 32
 * bits: the factor is too large by less than the area in 2^32. */
static constexpr uint32_t factor_area_max = 4096;

/* Whole blocks whose area is a power of two. */
static void average_by_shift(uint32_t *__restrict to, const uint32_t *__restrict sums,
                             int32_t count, uint32_t area)
{
    const int shift = std::countr_zero(area);
    const uint32_t half = area / 2;
    for (int32_t i = 0; i < count; i++)
        to[i] = (sums[i * 4 + 3] + half) >> shift << 24 | (sums[i * 4 + 2] + half) >> shift << 16 |
                (sums[i * 4 + 1] + half) >> shift << 8 | (sums[i * 4] + half) >> shift;
}

/* Whole blocks only. */
static void average_blocks(uint32_t *to, const uint32_t *sums, int32_t count, uint32_t area)
{
    if (std::has_single_bit(area)) {
        average_by_shift(to, sums, count, area);
        return;
    }
    const uint64_t factor = ((uint64_t{1} << 32) + area - 1) / area;
    const uint32_t half = area / 2;
    for (int32_t i = 0; i < count; i++, sums += 4) {
        uint32_t average[4];
        for (int channel = 0; channel < 4; channel++)
            average[channel] = static_cast<uint32_t>((sums[channel] + half) * factor >> 32);
        to[i] = average[3] << 24 | average[2] << 16 | average[1] << 8 | average[0];
    }
}

void image_blocks_average(uint32_t *to, const uint32_t *sums, int32_t width, int32_t block,
                          int32_t rows)
{
    assert(block > 0 && rows > 0);
    int32_t x = 0;
    if (block <= 64 && rows <= 64) {
        static_assert(64 * 64 <= factor_area_max);
        const int32_t count = width / block;
        average_blocks(to, sums, count, static_cast<uint32_t>(rows * block));
        x = count * block;
        to += count;
        sums += count * 4;
    }
    for (; x < width; x += block, sums += 4) {
        const uint32_t area = static_cast<uint32_t>(rows * std::min(block, width - x));
        const uint32_t half = area / 2;
        *to++ = (sums[3] + half) / area << 24 | (sums[2] + half) / area << 16 |
                (sums[1] + half) / area << 8 | (sums[0] + half) / area;
    }
}
