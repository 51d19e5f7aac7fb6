/* fuzz_image: pictures of skins and covers: decoded, fitted, dithered and drawn. */
#include "fuzz/fuzz.h"
#include "platform/base/owner.h"
#include "platform/draw/fb.h"
#include "platform/image/image.h"

#include <algorithm>
#include <cstdlib>

/* Premultiplied pixels of a size within the limits. */
static void check(const image *picture)
{
    if (picture->width < 1 || picture->height < 1 || picture->width > 4096 ||
        picture->height > 4096)
        abort();
    for (size_t i = 0;
         i < static_cast<size_t>(picture->width) * static_cast<size_t>(picture->height); i++) {
        const uint32_t argb = picture->argb[i];
        const uint32_t largest = std::max({argb >> 16 & 0xFF, argb >> 8 & 0xFF, argb & 0xFF});
        if (largest > argb >> 24 || (!picture->has_alpha && argb >> 24 != 255))
            abort();
    }
}

static int32_t longer(int32_t width, int32_t height)
{
    return std::max(width, height);
}

/* What decodes whole decodes reduced, to a picture no smaller than was asked for. */
static void read_reduced(const image *whole, const uint8_t *data, size_t size, int32_t side)
{
    int32_t width = -1;
    int32_t height = -1;
    const owner<image, image_free> picture(
        image_read_reduced(".png", data, size, side, &width, &height));
    if (!picture) {
        if (whole || width != -1 || height != -1)
            abort();
        return;
    }
    check(picture.get());
    if (longer(width, height) > 4096 || picture->width > width || picture->height > height)
        abort();
    if (longer(picture->width, picture->height) < std::min(side, longer(width, height)))
        abort();
    if (whole && (whole->width != width || whole->height != height))
        abort();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const owner<image, image_free> picture(image_read_from_memory(".png", data, size));
    for (const int32_t side : {1, 5, 640})
        read_reduced(picture.get(), data, size, side);
    if (!picture)
        return 0;
    check(picture.get());
    int32_t width = picture->width;
    int32_t height = picture->height;
    const owner<fb_surface, fb_free> surface(fb_create(32, 24));
    if (image_resize_ratio(&width, &height, 32, 24) || !surface)
        abort();
    const owner<image, image_free> fitted(image_create(width, height));
    if (!fitted || image_copy_resampled(fitted.get(), picture.get(), 0, 0, width, height, 0, 0,
                                        picture->width, picture->height))
        abort();
    check(fitted.get());
    if (image_dither(fitted.get()) || image_dither(picture.get()))
        abort();
    fb_draw_image(surface.get(), fitted.get(), 0, 0, width, height, 0, 0, 255);
    fb_draw_image(surface.get(), picture.get(), -3, -3, 100, 100, 1, 1, 255);
    return 0;
}
