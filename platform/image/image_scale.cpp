/* image_scale: pictures fitted into boxes.
 *
 * A cubic filter in both directions, one after the other, in whole numbers: equal pictures on
 * every machine, and no loss where hundreds of source pixels make one. A strong reduction first
 * averages whole blocks, which costs one addition a source pixel and leaves the cubic filter a
 * small rest. Source rows stream through a few filtered rows; no second picture is made. */
#include "platform/base/fault.h"
#include "platform/image/image_codec.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <cstring>

/* A reduction by blocks leaves at least this many of them to a target pixel, and less than twice
 * as many. */
static constexpr int32_t blocks_per_pixel = 2;
/* The filter reaches 2 target pixels to both sides, less than 4 blocks each, and a cut one. */
static constexpr int32_t taps_max = 18;
/* They are summed up by eights; those beyond the filter weigh nothing. */
static constexpr int32_t taps_room = 24;
/* One block, one unit of the filter. */
static constexpr int64_t one = 1 << 16;
/* Sum of the weights of one target pixel. */
static constexpr int32_t weight_sum = 1 << 14;
/* A filtered row keeps 6 bits of fraction, and overshoots stay within 16 bits. */
static constexpr int row_shift = 8;
static constexpr int column_shift = 20;

/* The blocks that make one target pixel. */
struct taps {
    int32_t first;              /* block, counted from the start of the source part */
    int32_t count;              /* at least 1 */
    int16_t weights[taps_room]; /* zeros behind `count` */
};

/* One direction of the work. */
struct axis {
    int32_t source_start; /* first pixel of the source part */
    int32_t source_size;  /* pixels of the source part */
    int32_t target_start; /* first visible pixel of the target part, in the target picture */
    int32_t target_skip;  /* pixels of the target part before that one */
    int32_t target_count; /* visible pixels */
    int32_t target_size;  /* pixels of the whole target part */
    int32_t block;        /* source pixels averaged into one */
    int32_t blocks;       /* blocks of the source part, the last one maybe incomplete */
    taps *list;           /* target_count of them, owned */
};

struct scaling {
    image *dst;
    const image *src;
    axis x, y;
    uint32_t *sums;   /* 4 a block: channel sums of one row of blocks, owned */
    uint32_t *blocks; /* one row of blocks, averaged, owned */
    int16_t
        *planes;   /* the same by channels, blue first, each with room for taps behind it, owned */
    int16_t *ring; /* taps_max filtered rows, 4 numbers a target pixel, owned */
};

/* The cubic through the pixels themselves (Catmull-Rom): sharp, and a copy at equal size is exact.
 * Distance and result in units of `one`. */
static int64_t cubic(int64_t distance)
{
    const int64_t square = distance * distance / one;
    const int64_t cube = square * distance / one;
    if (distance < one)
        return (3 * cube - 5 * square) / 2 + one;
    if (distance < 2 * one)
        return (5 * square - cube) / 2 - 4 * distance + 2 * one;
    return 0;
}

/* Turns raw weights into whole numbers of an exact sum, so that flat areas and opaque pictures
 * stay what they are. The heaviest takes what rounding left. */
static void fill_weights(taps *pixel, const int64_t *raw, int64_t raw_sum)
{
    int32_t rest = weight_sum;
    int32_t heaviest = 0;
    for (int32_t i = 0; i < pixel->count; i++) {
        pixel->weights[i] = static_cast<int16_t>(raw[i] * weight_sum / raw_sum);
        rest -= pixel->weights[i];
        if (pixel->weights[i] > pixel->weights[heaviest])
            heaviest = i;
    }
    pixel->weights[heaviest] = static_cast<int16_t>(pixel->weights[heaviest] + rest);
}

/* Enlarging, the filter spans 2 blocks to both sides; reducing, 2 target pixels. What lies beyond
 * an edge counts for the pixel at the edge. */
static void fill_taps(const axis *a, taps *pixel, int32_t target)
{
    const int64_t denominator = 2 * static_cast<int64_t>(a->target_size) * a->block;
    const int64_t middle =
        (2 * static_cast<int64_t>(target) + 1) * a->source_size * one / denominator;
    const int64_t scale = std::max(one, 2 * a->source_size * one / denominator);
    const int64_t from = (middle - 2 * scale) / one - 1;
    const int64_t end = (middle + 2 * scale) / one;
    const int64_t last_block = a->blocks - 1;
    pixel->first = static_cast<int32_t>(std::clamp<int64_t>(from, 0, last_block));
    pixel->count = static_cast<int32_t>(std::clamp<int64_t>(end, 0, last_block)) - pixel->first + 1;
    int64_t raw[2 * taps_max] = {};
    int64_t raw_sum = 0;
    for (int64_t i = from; i <= end; i++) {
        const int64_t distance = std::llabs(i * one + one / 2 - middle) * one / scale;
        const int64_t weight = cubic(distance);
        raw[std::clamp<int64_t>(i, 0, last_block) - pixel->first] += weight;
        raw_sum += weight;
    }
    /* Outermost blocks may have no weight. */
    while (pixel->count > 1 && raw[pixel->count - 1] == 0)
        pixel->count--;
    const int64_t *used = raw;
    for (; pixel->count > 1 && *used == 0; used++, pixel->count--)
        pixel->first++;
    fill_weights(pixel, used, raw_sum);
}

/* -1: nothing is visible, or the source part is not within the source. */
static int set_axis(axis *a, int32_t dst_size, int32_t dst_start, int32_t dst_length,
                    int32_t src_size, int32_t src_start, int32_t src_length)
{
    if (src_start < 0 || src_length < 1 || src_length > src_size - src_start || dst_length < 1)
        return -1;
    const int64_t from = std::max<int64_t>(0, dst_start);
    const int64_t end = std::min<int64_t>(dst_size, static_cast<int64_t>(dst_start) + dst_length);
    a->source_start = src_start;
    a->source_size = src_length;
    a->target_start = static_cast<int32_t>(from);
    a->target_skip = static_cast<int32_t>(from - dst_start);
    a->target_count = static_cast<int32_t>(std::max<int64_t>(0, end - from));
    a->target_size = dst_length;
    a->block = std::max<int32_t>(1, src_length / blocks_per_pixel / dst_length);
    a->blocks = image_blocks_count(src_length, a->block);
    return 0;
}

static int make_taps(axis *a)
{
    a->list = static_cast<taps *>(calloc(static_cast<size_t>(a->target_count), sizeof *a->list));
    if (!a->list)
        return -1;
    for (int32_t i = 0; i < a->target_count; i++)
        fill_taps(a, &a->list[i], a->target_skip + i);
    return 0;
}

static const uint32_t *source_row(const scaling *work, int32_t row)
{
    assert(row >= 0 && work->y.source_start + row < work->src->height);
    return work->src->argb +
           static_cast<size_t>(work->y.source_start + row) * static_cast<size_t>(work->src->width) +
           work->x.source_start;
}

/* One row of blocks; the source's own pixels where a block is a pixel. */
static const uint32_t *block_row(const scaling *work, int32_t index)
{
    const axis *x = &work->x;
    const axis *y = &work->y;
    if (x->block == 1 && y->block == 1)
        return source_row(work, index);
    const int32_t first = index * y->block;
    const int32_t rows = std::min(y->block, y->source_size - first);
    memset(work->sums, 0, static_cast<size_t>(x->blocks) * 4 * sizeof *work->sums);
    for (int32_t row = first; row < first + rows; row++)
        image_blocks_add(work->sums, source_row(work, row), x->source_size, x->block);
    image_blocks_average(work->blocks, work->sums, x->source_size, x->block, rows);
    return work->blocks;
}

static size_t plane_size(const scaling *work)
{
    return static_cast<size_t>(work->x.blocks) + taps_room;
}

/* A row of blocks, one channel after the other. */
static void spread(const scaling *work, const uint32_t *from)
{
    const int32_t count = work->x.blocks;
    int16_t *to = work->planes;
    for (int shift = 0; shift < 32; shift += 8, to += plane_size(work))
        for (int32_t i = 0; i < count; i++)
            to[i] = static_cast<int16_t>(from[i] >> shift & 0xFF);
}

/* Always of all taps: a loop of a known length, and too long to be unrolled, becomes vectors. */
static int32_t weighted(const int16_t *from, const int16_t *weights)
{
    int32_t sum = 1 << (row_shift - 1);
    for (int32_t k = 0; k < taps_room; k++)
        sum += from[k] * weights[k];
    return sum >> row_shift;
}

/* One row of blocks, filtered sideways: 4 numbers a target pixel, blue first. */
static void filter_row(const scaling *work, int16_t *to, const uint32_t *from)
{
    spread(work, from);
    for (int32_t i = 0; i < work->x.target_count; i++, to += 4) {
        const taps *pixel = &work->x.list[i];
        const int16_t *channel = work->planes + pixel->first;
        for (int c = 0; c < 4; c++, channel += plane_size(work))
            to[c] = static_cast<int16_t>(weighted(channel, pixel->weights));
    }
}

/* Overshoots of the filter end at the limits; no colour exceeds its alpha. */
static uint32_t to_argb(const int32_t *sum)
{
    const int32_t alpha = std::clamp(sum[3] >> column_shift, 0, 255);
    const uint32_t red = static_cast<uint32_t>(std::clamp(sum[2] >> column_shift, 0, alpha));
    const uint32_t green = static_cast<uint32_t>(std::clamp(sum[1] >> column_shift, 0, alpha));
    const uint32_t blue = static_cast<uint32_t>(std::clamp(sum[0] >> column_shift, 0, alpha));
    return static_cast<uint32_t>(alpha) << 24 | red << 16 | green << 8 | blue;
}

static size_t row_numbers(const scaling *work)
{
    return static_cast<size_t>(work->x.target_count) * 4;
}

static int16_t *ring_row(const scaling *work, int32_t row)
{
    assert(row >= 0);
    return work->ring + static_cast<size_t>(row % taps_max) * row_numbers(work);
}

static void filter_column(const scaling *work, uint32_t *to, const taps *line)
{
    assert(line->count <= taps_max); /* else rows of the ring have gone already */
    const int16_t *rows[taps_max];
    for (int32_t k = 0; k < line->count; k++)
        rows[k] = ring_row(work, line->first + k);
    for (int32_t i = 0; i < work->x.target_count; i++) {
        int32_t sum[4] = {1 << (column_shift - 1), 1 << (column_shift - 1), 1 << (column_shift - 1),
                          1 << (column_shift - 1)};
        for (int32_t k = 0; k < line->count; k++)
            for (int c = 0; c < 4; c++)
                sum[c] += line->weights[k] * rows[k][4 * i + c];
        to[i] = to_argb(sum);
    }
}

static void resample(const scaling *work)
{
    int32_t next = 0; /* row of blocks to be filtered next */
    for (int32_t i = 0; i < work->y.target_count; i++) {
        const taps *line = &work->y.list[i];
        for (next = std::max(next, line->first); next < line->first + line->count; next++)
            filter_row(work, ring_row(work, next), block_row(work, next));
        uint32_t *to =
            work->dst->argb +
            static_cast<size_t>(work->y.target_start + i) * static_cast<size_t>(work->dst->width) +
            work->x.target_start;
        filter_column(work, to, line);
    }
}

static int make_buffers(scaling *work)
{
    if (make_taps(&work->x) || make_taps(&work->y))
        return -1;
    work->ring = static_cast<int16_t *>(malloc(taps_max * row_numbers(work) * sizeof *work->ring));
    work->sums = static_cast<uint32_t *>(
        malloc(static_cast<size_t>(work->x.blocks) * 4 * sizeof *work->sums));
    work->blocks =
        static_cast<uint32_t *>(malloc(static_cast<size_t>(work->x.blocks) * sizeof *work->blocks));
    work->planes = static_cast<int16_t *>(calloc(4 * plane_size(work), sizeof *work->planes));
    return work->ring && work->sums && work->blocks && work->planes ? 0 : -1;
}

static void free_buffers(scaling *work)
{
    free(work->x.list);
    free(work->y.list);
    free(work->ring);
    free(work->sums);
    free(work->blocks);
    free(work->planes);
}

int image_resize_ratio(int32_t *w, int32_t *h, int32_t box_w, int32_t box_h)
{
    if (!w || !h || *w < 1 || *h < 1 || box_w < 1 || box_h < 1)
        return -1;
    const int64_t width = *w;
    const int64_t height = *h;
    if (width * box_h >= height * box_w) {
        *h = static_cast<int32_t>(std::max<int64_t>(1, height * box_w / width));
        *w = box_w;
    } else {
        *w = static_cast<int32_t>(std::max<int64_t>(1, width * box_h / height));
        *h = box_h;
    }
    return 0;
}

int image_copy_resampled(image *dst, const image *src, int32_t dst_x, int32_t dst_y, int32_t dst_w,
                         int32_t dst_h, int32_t src_x, int32_t src_y, int32_t src_w, int32_t src_h)
{
    if (fault_hit("image_copy_resampled") || !dst || !src || dst == src)
        return -1;
    if (!dst->argb || !src->argb || dst->spans || src->spans)
        return -1;
    scaling work = {};
    work.dst = dst;
    work.src = src;
    if (set_axis(&work.x, dst->width, dst_x, dst_w, src->width, src_x, src_w) ||
        set_axis(&work.y, dst->height, dst_y, dst_h, src->height, src_y, src_h))
        return -1;
    if (work.x.target_count < 1 || work.y.target_count < 1)
        return 0;
    const int made = make_buffers(&work);
    if (made == 0)
        resample(&work);
    free_buffers(&work);
    dst->has_alpha = !image_is_opaque(dst);
    return made;
}
