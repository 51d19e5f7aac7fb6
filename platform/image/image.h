/* image: pictures from files, memory or a read callback; scaling and reduction to the screen.
 *
 * Any thread; one image belongs to one thread at a time. Pictures above 4096 x 4096 or 16
 * megapixels do not decode, nor a progressive JPEG whose coefficients need more than 20 MiB.
 * Functions return 0 or -1, pointers null on failure. */
#pragma once

#include <cstddef>
#include <cstdint>

struct image_span;

/* A picture holds 32-bit pixels until image_dither(), 16-bit pixels (and alpha) afterwards. */
struct image {
    int32_t width;  /* pixels, at least 1 */
    int32_t height; /* pixels, at least 1 */
    uint32_t
        *argb; /* premultiplied a8r8g8b8, rows contiguous; null once an opaque one is dithered */
    uint16_t *rgb565; /* rows contiguous; null before image_dither(), and where alpha remains */
    bool has_alpha;   /* some pixel is not opaque: `argb` stays after image_dither() */
    image_span
        *spans; /* runs of opaque and mixed pixels, made by image_dither() for alpha images */
    uint32_t span_count;
    uint16_t *runs;  /* RGB565 pixels of the opaque runs, one after the other; with `spans` only */
    uint32_t serial; /* tells pictures apart */
};

/* Reads up to `length` bytes: > 0 bytes read, 0 at the end, < 0 on error. */
typedef int (*image_read_cb)(void *handle, void *buffer, unsigned length);

/* PNG, JPEG or GIF (its first frame), told by signature. A file that ends before its picture does
 * gives null, and so does what is no regular file. */
[[nodiscard]] image *image_read(const char *path);
/* Reads forward only. `name` is for the extension; the content's signature decides. */
[[nodiscard]] image *image_read_with_cb(const char *name, image_read_cb read, void *handle);
/*   ext   ".jpg", ".png" or ".gif": a hint, the signature decides
 *   data  not kept */
[[nodiscard]] image *image_read_from_memory(const char *ext, const void *data, size_t size);
/* The same for a picture that is shown small: it may come reduced by a whole factor, a last block
 * that is cut short averaged by what there is of it, and then never needs the pixels of its full
 * size in memory. Only baseline and progressive JPEG and PNG that is not interlaced do so; what has
 * to be held whole all the same, the coefficients of a progressive JPEG and the pixels of an
 * interlaced PNG, must fit into 20 MiB together with `data`, or the picture does not decode.
 *   side           pixels, at least 1: the longer side is never reduced below it, and a picture
 *                  whose longer side is less than twice as long comes as it is
 *   width, height  of the picture in the file: the ratio of a reduced one is only near it.
 *                  Untouched on failure */
[[nodiscard]] image *image_read_reduced(const char *ext, const void *data, size_t size,
                                        int32_t side, int32_t *width, int32_t *height);
/* Whether this is a PNG file that lacks nothing: every part of it agrees with its checksum, so that only
 * one that its maker wrote wrong does not decode. Costs a look at each byte, no decoding. Its size, where
 * it is. Of other files, and of damaged ones, it says no. */
[[nodiscard]] bool image_is_whole_png(const void *data, size_t size, int32_t *width,
                                      int32_t *height);
/* A transparent picture. Null for a size below 1 or above the limits. */
[[nodiscard]] image *image_create(int32_t width, int32_t height);
/* Fits *w x *h into a box, ratio kept, enlarging or reducing; each result at least 1.
 * -1 (outputs untouched) when the size or the box is below 1. */
int image_resize_ratio(int32_t *w, int32_t *h, int32_t box_w, int32_t box_h);
/* Resamples a part of `src` onto a part of `dst` with a filter fit for both directions. Neither
 * may have been dithered. The part of `src` must lie within it; that of `dst` is clipped. */
int image_copy_resampled(image *dst, const image *src, int32_t dst_x, int32_t dst_y, int32_t dst_w,
                         int32_t dst_h, int32_t src_x, int32_t src_y, int32_t src_w, int32_t src_h);
/* Reduces to the screen's depth in place. A picture with alpha keeps 32 bits. Twice is harmless. */
int image_dither(image *picture);
/* Accepts null. */
int image_free(image *picture);
