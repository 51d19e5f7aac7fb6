/* image_dither: pictures at the screen's depth.
 *
 * Ordered dithering by an 8 x 8 Bayer matrix: an eighth more or less makes no visible pattern at
 * this pixel size, equal pixels stay equal on every machine, and colours that the screen has
 * (skins are full of them) stay flat. */
#include "platform/base/fault.h"
#include "platform/draw/fb_pixel.h"
#include "platform/image/image_codec.h"
#include "platform/image/image_span.h"

#include <algorithm>
#include <cstdlib>

/* Opaque runs shorter than this are blended with their neighbours, and gaps shorter than this are
 * blended too: a run costs as much as blending a few pixels. */
static constexpr int32_t run_min = 4;

static constexpr uint8_t bayer[8][8] = {
    {0, 32, 8, 40, 2, 34, 10, 42},  {48, 16, 56, 24, 50, 18, 58, 26},
    {12, 44, 4, 36, 14, 46, 6, 38}, {60, 28, 52, 20, 62, 30, 54, 22},
    {3, 35, 11, 43, 1, 33, 9, 41},  {51, 19, 59, 27, 49, 17, 57, 25},
    {15, 47, 7, 39, 13, 45, 5, 37}, {63, 31, 55, 23, 61, 29, 53, 21},
};

/* What the two passes over an alpha picture share: the first counts, the second fills. */
struct span_maker {
    const image *picture;
    image_span *spans; /* null while counting */
    uint16_t *runs;
    uint32_t span_count;
    uint32_t run_count; /* pixels of opaque runs */
};

enum pixel_kind { kind_empty, kind_mixed, kind_opaque };

/* What a row adds to red and blue on the one hand, to green on the other, before the low bits are cut
 * off: of the 8 levels that red and blue lose, and of the 4 that green loses. */
struct row_thresholds {
    uint32_t outer[8], green[8];
};

static row_thresholds thresholds_of(size_t y)
{
    row_thresholds row = {};
    for (size_t x = 0; x < 8; x++) {
        row.outer[x] = uint32_t{bayer[y & 7][x]} / 8 * 0x00010001;
        row.green[x] = bayer[y & 7][x] / 16u;
    }
    return row;
}

/* Both sums may reach one level above the highest, which is taken back. */
static uint16_t dithered(uint32_t argb, uint32_t outer_more, uint32_t green_more)
{
    uint32_t outer = ((argb & 0x00FF00FF) + outer_more) >> 3 & 0x003F003F;
    outer -= outer >> 5 & 0x00010001;
    uint32_t green = ((argb >> 8 & 0xFF) + green_more) >> 2;
    green -= green >> 6;
    return static_cast<uint16_t>(outer >> 5 | green << 5 | outer);
}

static void dither_row(uint16_t *to, const uint32_t *from, size_t width, size_t y)
{
    const row_thresholds row = thresholds_of(y);
    size_t x = 0;
    for (; x + 8 <= width; x += 8) /* eight at once, for vectors */
        for (size_t i = 0; i < 8; i++)
            to[x + i] = dithered(from[x + i], row.outer[i], row.green[i]);
    for (; x < width; x++)
        to[x] = dithered(from[x], row.outer[x & 7], row.green[x & 7]);
}

static int dither_opaque(image *picture)
{
    const size_t width = static_cast<size_t>(picture->width);
    uint16_t *to =
        static_cast<uint16_t *>(malloc(width * static_cast<size_t>(picture->height) * sizeof *to));
    if (!to)
        return -1;
    for (size_t y = 0; y < static_cast<size_t>(picture->height); y++)
        dither_row(to + y * width, picture->argb + y * width, width, y);
    picture->rgb565 = to;
    free(picture->argb);
    picture->argb = nullptr;
    return 0;
}

static pixel_kind kind_of(uint32_t argb)
{
    const uint32_t alpha = argb >> 24;
    return alpha == 255 ? kind_opaque : alpha ? kind_mixed : kind_empty;
}

/* Where the run of one kind that starts at x ends. */
static int32_t run_end(const uint32_t *row, int32_t x, int32_t width)
{
    const pixel_kind kind = kind_of(row[x]);
    while (x < width && kind_of(row[x]) == kind)
        x++;
    return x;
}

/* Where the blended stretch that starts at x ends: before the next long opaque or empty run. */
static int32_t mixed_end(const uint32_t *row, int32_t x, int32_t width)
{
    int32_t end = x;
    while (x < width) {
        const int32_t next = run_end(row, x, width);
        const pixel_kind kind = kind_of(row[x]);
        if (kind != kind_mixed && next - x >= run_min)
            break;
        x = next;
        if (kind != kind_empty)
            end = x; /* a short gap at the very end is left out */
    }
    return end;
}

static void add_span(span_maker *maker, int32_t y, int32_t x, int32_t end, bool is_opaque)
{
    if (maker->spans) {
        maker->spans[maker->span_count] = {static_cast<uint16_t>(y), static_cast<uint16_t>(x),
                                           static_cast<uint16_t>(end - x), is_opaque,
                                           is_opaque ? maker->run_count : 0};
        const uint32_t *from = maker->picture->argb +
                               static_cast<size_t>(y) * static_cast<size_t>(maker->picture->width);
        for (int32_t i = x; is_opaque && i < end; i++)
            maker->runs[maker->run_count + static_cast<uint32_t>(i - x)] = fb_pack_argb(from[i]);
    }
    maker->span_count++;
    maker->run_count += is_opaque ? static_cast<uint32_t>(end - x) : 0;
}

static void scan_row(span_maker *maker, int32_t y)
{
    const int32_t width = maker->picture->width;
    const uint32_t *row =
        maker->picture->argb + static_cast<size_t>(y) * static_cast<size_t>(width);
    for (int32_t x = 0; x < width;) {
        int32_t end = run_end(row, x, width);
        const pixel_kind kind = kind_of(row[x]);
        const bool is_opaque = kind == kind_opaque && end - x >= run_min;
        if (kind != kind_empty) {
            if (!is_opaque)
                end = mixed_end(row, x, width);
            add_span(maker, y, x, end, is_opaque);
        }
        x = end;
    }
}

static void scan(span_maker *maker)
{
    maker->span_count = 0;
    maker->run_count = 0;
    for (int32_t y = 0; y < maker->picture->height; y++)
        scan_row(maker, y);
}

static int make_spans(image *picture)
{
    span_maker maker = {};
    maker.picture = picture;
    scan(&maker);
    /* One more of each, so that an empty picture has arrays too and counts as dithered. */
    image_span *spans = static_cast<image_span *>(
        malloc((static_cast<size_t>(maker.span_count) + 1) * sizeof *spans));
    uint16_t *runs =
        static_cast<uint16_t *>(malloc((static_cast<size_t>(maker.run_count) + 1) * sizeof *runs));
    if (!spans || !runs) {
        free(spans);
        free(runs);
        return -1;
    }
    maker.spans = spans;
    maker.runs = runs;
    scan(&maker);
    picture->spans = spans;
    picture->span_count = maker.span_count;
    picture->runs = runs;
    return 0;
}

int image_dither(image *picture)
{
    if (fault_hit("image_dither") || !picture)
        return -1;
    if (picture->rgb565 || picture->spans)
        return 0; /* done before */
    if (!picture->argb)
        return -1;
    picture->has_alpha = picture->has_alpha && !image_is_opaque(picture);
    return picture->has_alpha ? make_spans(picture) : dither_opaque(picture);
}
