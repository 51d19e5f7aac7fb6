/* image_fixture: pictures in tests. */
#pragma once

#include "platform/image.h"
#include "tests/makers/maker_picture.h"

#include <cstdlib>
#include <memory>

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
        largest = std::max(largest, abs((int)(a >> shift & 0xFF) - (int)(b >> shift & 0xFF)));
    return largest;
}
