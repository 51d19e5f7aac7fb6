/* image_codec: what the decoders share. Private to image*.cpp. Any thread. */
#pragma once

#include "platform/image.h"

/* Bytes of a picture file, forward only. The first ones are looked at before a decoder is chosen,
 * and handed out again. */
struct image_source {
    image_read_cb read;
    void *handle;
    unsigned char head[8];
    size_t head_count;
    size_t head_used;
};

/* Fills `size` bytes unless the file ends or fails before; returns the bytes delivered. */
size_t image_source_read(image_source *source, void *buffer, size_t size);

/* Whether a picture of this size may be decoded. */
bool image_size_fits(int64_t width, int64_t height);
/* A record and zeroed argb pixels. Null when memory runs out or the size does not fit. */
image *image_new(int32_t width, int32_t height);
/* Turns rows of R, G, B, A bytes, alpha not multiplied, into premultiplied argb in place. Says
 * whether all are opaque. */
bool image_premultiply(uint32_t *pixels, size_t count);

/* Each decodes one format; null for anything broken. */
image *image_png_decode(image_source *source);
image *image_jpeg_decode(image_source *source);
image *image_gif_decode(image_source *source);
