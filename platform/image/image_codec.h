/* image_codec: what the decoders share. Private to image*.cpp. Any thread. */
#pragma once

#include "platform/image/image.h"

/* Bytes of a picture file, forward only. The first ones are looked at before a decoder is chosen,
 * and handed out again. */
struct image_source {
    image_read_cb read;
    void *handle;
    int32_t side;   /* the picture may be reduced while its longer side keeps this; 0: not at all */
    int64_t budget; /* bytes that a decoder may hold beside the picture it makes */
    int32_t width, height; /* of the picture in the file, once a decoder has accepted it */
    unsigned char head[8];
    size_t head_count;
    size_t head_used;
};

/* Fills `size` bytes unless the file ends or fails before; returns the bytes delivered. */
size_t image_source_read(image_source *source, void *buffer, size_t size);

/* Whether a picture of this size may be decoded. Notes the size in the source then. */
bool image_source_accept(image_source *source, int64_t width, int64_t height);
/* The largest whole factor by which the accepted picture may be reduced, at least 1. */
int32_t image_source_factor(const image_source *source);
/* A record and zeroed argb pixels. Null when memory runs out or the size does not fit. */
image *image_new(int32_t width, int32_t height);
/* Turns rows of R, G, B, A bytes, alpha not multiplied, into premultiplied argb in place. Says
 * whether all are opaque. */
bool image_premultiply(uint32_t *pixels, size_t count);
/* The same for pixels that are known to be opaque. */
void image_reorder(uint32_t *pixels, size_t count);
/* Whether every pixel is opaque. */
bool image_is_opaque(const image *picture);
/* Averages of blocks of pixels, one row of blocks at a time. Rows are added to sums that start at
 * zero, 4 a block. A last block may be incomplete; the average is rounded to the nearest.
 *   width  pixels of a row, at least 1
 *   block  pixels of a block sideways, at least 1
 *   rows   as many as were added, at least 1 */
void image_blocks_add(uint32_t *sums, const uint32_t *row, int32_t width, int32_t block);
void image_blocks_average(uint32_t *to, const uint32_t *sums, int32_t width, int32_t block,
                          int32_t rows);
/* Blocks that cover `width` pixels. */
constexpr int32_t image_blocks_count(int32_t width, int32_t block)
{
    return (width + block - 1) / block;
}

/* Each decodes one format, of a size that image_source_accept() takes; null for anything broken. */
image *image_png_decode(image_source *source);
image *image_jpeg_decode(image_source *source);
image *image_gif_decode(image_source *source);
