/* image_png: PNG of every colour type and depth, with alpha and interlaced, through libpng. */
#include "platform/image/image_codec.h"

#include <algorithm>
#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <endian.h>
#include <png.h>

/* Memory for one chunk beside the pixels: palettes and transparency are far below, a compressed
 * text or profile that unpacks to gigabytes is not. */
static constexpr png_alloc_size_t chunk_max = 256 * 1024;

/* Rows of a picture that is to be shown small, opened: all that 8 bits a sample can need. */
static constexpr int64_t rows_max = 64 * 1024 * 1024;

/* Everything that must survive a longjmp() lives here; the frame that calls setjmp() has no
 * variables of its own and no destructors. */
struct png_job {
    image_source *source;
    png_structp png;
    png_infop info;
    image *picture;
    uint32_t *row;  /* one row of the file, when the picture is reduced */
    uint32_t *sums; /* those of one row of the reduced picture */
    bool is_opaque; /* the file knows no alpha */
    bool is_plain;  /* and its rows, which are reduced, come as three bytes a pixel */
};

static void read_bytes(png_structp png, png_bytep to, size_t size)
{
    if (image_source_read(static_cast<image_source *>(png_get_io_ptr(png)), to, size) != size)
        png_error(png, "file ends early");
}

/* The caller learns of an error by the missing picture; libpng would print a line. */
static void on_error(png_structp png, png_const_charp)
{
    png_longjmp(png, 1);
}

static void on_warning(png_structp, png_const_charp) {}

/* Chunks that say nothing about pixels are skipped unread. */
static void skip_extras(png_structp png)
{
    static constexpr png_byte extras[] =
        "cHRM\0gAMA\0iCCP\0sBIT\0sRGB\0bKGD\0hIST\0pHYs\0sPLT\0tIME\0"
        "tEXt\0zTXt\0iTXt\0eXIf\0oFFs\0pCAL\0sCAL\0sTER";
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, extras,
                                static_cast<int>(sizeof extras / 5));
}

static void ask_for_rgba(png_job *job)
{
    png_set_expand(job->png);
    png_set_scale_16(job->png);
    png_set_gray_to_rgb(job->png);
    if (!job->is_plain)
        png_set_add_alpha(job->png, 0xFF, PNG_FILLER_AFTER);
}

/* A row as it is drawn; whether it is opaque. */
static bool finish_row(const png_job *job, uint32_t *row, size_t width)
{
    if (!job->is_opaque)
        return image_premultiply(row, width);
    image_reorder(row, width);
    return true;
}

static bool read_whole(png_job *job, int passes)
{
    const int32_t width = job->source->width;
    const int32_t height = job->source->height;
    job->picture = image_new(width, height);
    if (!job->picture)
        return false;
    bool is_opaque = true;
    for (int pass = 0; pass < passes; pass++) {
        uint32_t *row = job->picture->argb;
        for (int32_t y = 0; y < height; y++, row += width) {
            png_read_row(job->png, reinterpret_cast<png_bytep>(row), nullptr);
            if (pass == passes - 1)
                is_opaque = finish_row(job, row, static_cast<size_t>(width)) && is_opaque;
        }
    }
    job->picture->has_alpha = !is_opaque;
    return true;
}

/* The bytes end where the pixels will, so that no pixel is written over bytes to come. Each is read with
 * the byte behind it, for the last of which there is room. */
static void read_plain_row(const png_job *job)
{
    const size_t width = static_cast<size_t>(job->source->width);
    uint8_t *from = reinterpret_cast<uint8_t *>(job->row) + width;
    png_read_row(job->png, from, nullptr);
    for (uint32_t *to = job->row, *end = to + width; to < end; to++, from += 3) {
        uint32_t four;
        memcpy(&four, from, sizeof four);
        *to = 0xFF000000u | be32toh(four) >> 8;
    }
}

static void read_row(const png_job *job)
{
    if (job->is_plain) {
        read_plain_row(job);
        return;
    }
    png_read_row(job->png, reinterpret_cast<png_bytep>(job->row), nullptr);
    /* averages tell what is opaque */
    (void)finish_row(job, job->row, static_cast<size_t>(job->source->width));
}

static void read_block_row(png_job *job, uint32_t *to, int32_t factor, int32_t rows)
{
    const int32_t width = job->source->width;
    memset(job->sums, 0, static_cast<size_t>(job->picture->width) * 4 * sizeof *job->sums);
    for (int32_t i = 0; i < rows; i++) {
        read_row(job);
        image_blocks_add(job->sums, job->row, width, factor);
    }
    image_blocks_average(to, job->sums, width, factor, rows);
}

static bool read_reduced(png_job *job, int32_t factor)
{
    const int32_t width = job->source->width;
    const int32_t height = job->source->height;
    const int32_t blocks = image_blocks_count(width, factor);
    job->picture = image_new(blocks, image_blocks_count(height, factor));
    job->row = static_cast<uint32_t *>(malloc((static_cast<size_t>(width) + 1) * sizeof *job->row));
    job->sums =
        static_cast<uint32_t *>(malloc(static_cast<size_t>(blocks) * 4 * sizeof *job->sums));
    if (!job->picture || !job->row || !job->sums)
        return false;
    uint32_t *to = job->picture->argb;
    for (int32_t y = 0; y < height; y += factor, to += blocks)
        read_block_row(job, to, factor, std::min(factor, height - y));
    job->picture->has_alpha = !image_is_opaque(job->picture);
    return true;
}

/* May leave by longjmp(): no destructors here or in what it calls. */
static bool decode_steps(png_job *job)
{
    png_read_info(job->png, job->info);
    const png_uint_32 width = png_get_image_width(job->png, job->info);
    const png_uint_32 height = png_get_image_height(job->png, job->info);
    if (!image_source_accept(job->source, width, height))
        return false;
    if (job->source->side > 0 &&
        static_cast<int64_t>(png_get_rowbytes(job->png, job->info)) * height > rows_max)
        return false;
    job->is_opaque = (png_get_color_type(job->png, job->info) & PNG_COLOR_MASK_ALPHA) == 0 &&
                     png_get_valid(job->png, job->info, PNG_INFO_tRNS) == 0;
    job->is_plain = job->is_opaque && image_source_factor(job->source) > 1 &&
                    png_get_color_type(job->png, job->info) == PNG_COLOR_TYPE_RGB &&
                    png_get_bit_depth(job->png, job->info) == 8 &&
                    png_get_interlace_type(job->png, job->info) == PNG_INTERLACE_NONE;
    ask_for_rgba(job);
    const int passes = png_set_interlace_handling(job->png);
    png_read_update_info(job->png, job->info);
    const size_t pixel_bytes = job->is_plain ? 3 : 4;
    if (png_get_rowbytes(job->png, job->info) != width * pixel_bytes)
        return false;
    /* The passes of an interlaced picture fill all of its rows again and again. */
    const bool is_held = job->source->side > 0 && passes > 1;
    if (is_held && static_cast<int64_t>(width) * height * 4 > job->source->budget)
        return false;
    const int32_t factor = passes == 1 ? image_source_factor(job->source) : 1;
    return factor == 1 ? read_whole(job, passes) : read_reduced(job, factor);
}

static bool decode_guarded(png_job *job)
{
    if (setjmp(png_jmpbuf(job->png)))
        return false;
    png_set_read_fn(job->png, job->source, read_bytes);
    png_set_user_limits(job->png, 4096, 4096);
    png_set_chunk_malloc_max(job->png, chunk_max);
    skip_extras(job->png);
    return decode_steps(job);
}

image *image_png_decode(image_source *source)
{
    png_job job = {};
    job.source = source;
    job.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, on_error, on_warning);
    if (!job.png)
        return nullptr;
    job.info = png_create_info_struct(job.png);
    const bool whole = job.info && decode_guarded(&job);
    png_destroy_read_struct(&job.png, &job.info, nullptr);
    free(job.row);
    free(job.sums);
    if (!whole) {
        (void)image_free(job.picture);
        return nullptr;
    }
    return job.picture;
}
