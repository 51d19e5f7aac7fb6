/* image_fixture: pictures in tests. */
#pragma once

#include "platform/image/image.h"
#include "tests/makers/maker_picture.h"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <utility>
#include <vector>

struct image_release {
    void operator()(image *picture) const { (void)image_free(picture); }
};
using image_owner = std::unique_ptr<image, image_release>;

inline image_owner image_of(const maker_bytes &bytes)
{
    return image_owner(image_read_from_memory(".png", bytes.data(), bytes.size()));
}

/* One colour with its alpha multiplied in, rounded. */
inline uint32_t premultiplied(uint32_t argb)
{
    const uint32_t alpha = argb >> 24;
    uint32_t made = alpha << 24;
    for (int shift = 0; shift < 24; shift += 8)
        made |= ((argb >> shift & 0xFF) * alpha * 2 + 255) / 510 << shift;
    return made;
}

/* A picture record straight from colours, no decoder involved. */
inline image_owner image_from(const maker_picture &picture)
{
    image_owner made(image_create(picture.width, picture.height));
    bool opaque = true;
    for (size_t i = 0; made && i < picture.argb.size(); i++) {
        made->argb[i] = premultiplied(picture.argb[i]);
        opaque = opaque && picture.argb[i] >> 24 == 255;
    }
    if (made)
        made->has_alpha = !opaque;
    return made;
}

/* The largest difference of any channel of two colours. */
inline int difference(uint32_t a, uint32_t b)
{
    int largest = 0;
    for (int shift = 0; shift < 32; shift += 8)
        largest = std::max(largest, abs(static_cast<int>(a >> shift & 0xFF) -
                                        static_cast<int>(b >> shift & 0xFF)));
    return largest;
}

/* PNG files of all colour types, depths and orders of rows. */
inline const std::vector<maker_png_options> &every_png()
{
    static std::vector<maker_png_options> all;
    if (!all.empty())
        return all;
    using kind = maker_png_kind;
    const std::pair<kind, std::vector<int>> depths[] = {{kind::grey, {1, 2, 4, 8, 16}},
                                                        {kind::grey_alpha, {8, 16}},
                                                        {kind::palette, {1, 2, 4, 8}},
                                                        {kind::rgb, {8, 16}},
                                                        {kind::rgba, {8, 16}}};
    for (const auto &[type, list] : depths)
        for (const int depth : list)
            for (const bool interlaced : {false, true})
                for (const bool transparent : {false, true})
                    all.push_back({type, depth, interlaced, transparent, ""});
    return all;
}

/* One picture in files of every format. */
inline std::vector<maker_bytes> one_of_each()
{
    const maker_picture picture = maker_gradient(40, 30);
    return {maker_png(picture),
            maker_png(picture, {.kind = maker_png_kind::palette, .interlaced = true}),
            maker_jpeg(picture),
            maker_jpeg(picture, {.progressive = true}),
            maker_jpeg(picture, {.kind = maker_jpeg_kind::cmyk}),
            maker_gif(picture),
            maker_gif(picture, {.interlaced = true, .transparent = true})};
}

/* Whatever came out must be a whole record. */
inline void touch(const image *picture)
{
    if (!picture)
        return;
    ASSERT_GE(picture->width, 1);
    ASSERT_GE(picture->height, 1);
    for (size_t i = 0;
         i < static_cast<size_t>(picture->width) * static_cast<size_t>(picture->height); i++) {
        const uint32_t argb = picture->argb[i];
        const uint32_t largest = std::max({argb >> 16 & 0xFF, argb >> 8 & 0xFF, argb & 0xFF});
        ASSERT_LE(largest, argb >> 24); /* multiplied with its alpha */
    }
}
