/* image_jpeg: JPEG, baseline and progressive, grey, colour and the two kinds of four inks, through
 * libjpeg. */
#include "platform/image/image_codec.h"

#include <algorithm>
#include <bit>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <jpeglib.h>

/* Encoders make about ten scans. Each passes over all coefficients, whatever it changes: a few bytes
 * a scan could otherwise keep a core busy for hours. */
static constexpr int scans_max = 32;
static constexpr size_t buffer_size = 4096;

/* Everything that must survive a longjmp() lives here; the frame that calls setjmp() has no
 * variables of its own and no destructors. */
struct jpeg_job {
    jpeg_decompress_struct jpeg;
    jpeg_error_mgr errors;
    jpeg_source_mgr input;
    jpeg_progress_mgr progress;
    jmp_buf escape;
    image_source *source;
    bool ended; /* the file gave no more bytes */
    bool cut;   /* the picture's data end before the picture */
    image *picture;
    JSAMPLE *row; /* one row as libjpeg delivers it */
    JOCTET buffer[buffer_size];
};

static jpeg_job *job_of(j_common_ptr jpeg)
{
    return static_cast<jpeg_job *>(jpeg->client_data);
}

static void on_error(j_common_ptr jpeg)
{
    longjmp(job_of(jpeg)->escape, 1);
}

/* Damage in the middle is bridged, as every viewer does. A file that stops short is refused, also
 * one that says so itself: a few hundred bytes could otherwise grow to 16 grey megapixels. */
static void on_message(j_common_ptr jpeg, int level)
{
    if (level < 0 && (reinterpret_cast<j_decompress_ptr>(jpeg))->unread_marker == JPEG_EOI)
        job_of(jpeg)->cut = true;
}

static void on_print(j_common_ptr) {}

static void on_progress(j_common_ptr jpeg)
{
    if ((reinterpret_cast<j_decompress_ptr>(jpeg))->input_scan_number > scans_max)
        on_error(jpeg);
}

static void input_nothing(j_decompress_ptr) {}

static boolean input_fill(j_decompress_ptr jpeg)
{
    jpeg_job *job = job_of(reinterpret_cast<j_common_ptr>(jpeg));
    size_t got = job->ended ? 0 : image_source_read(job->source, job->buffer, buffer_size);
    if (got == 0) {
        /* An end marker keeps the decoder from waiting for bytes that never come. */
        job->ended = true;
        job->buffer[0] = 0xFF;
        job->buffer[1] = JPEG_EOI;
        got = 2;
    }
    job->input.next_input_byte = job->buffer;
    job->input.bytes_in_buffer = got;
    return TRUE;
}

static void input_skip(j_decompress_ptr jpeg, long count)
{
    jpeg_job *job = job_of(reinterpret_cast<j_common_ptr>(jpeg));
    while (count > 0 && static_cast<size_t>(count) > job->input.bytes_in_buffer && !job->ended) {
        count -= static_cast<long>(job->input.bytes_in_buffer);
        (void)input_fill(jpeg); /* never fails */
    }
    if (count <= 0 || job->ended)
        return;
    job->input.next_input_byte += count;
    job->input.bytes_in_buffer -= static_cast<size_t>(count);
}

static void set_callbacks(jpeg_job *job)
{
    job->errors.error_exit = on_error;
    job->errors.emit_message = on_message;
    job->errors.output_message = on_print;
    job->input.init_source = input_nothing;
    job->input.fill_input_buffer = input_fill;
    job->input.skip_input_data = input_skip;
    job->input.resync_to_restart = jpeg_resync_to_restart;
    job->input.term_source = input_nothing;
    job->progress.progress_monitor = on_progress;
}

static uint32_t opaque(uint32_t red, uint32_t green, uint32_t blue)
{
    return 0xFF000000u | red << 16 | green << 8 | blue;
}

/* `inverted`: 255 is no ink, as programs that write an Adobe marker store it. */
static void convert_inks(uint32_t *to, const JSAMPLE *from, int32_t count, bool inverted)
{
    const uint32_t flip = inverted ? 0 : 255;
    for (int32_t i = 0; i < count; i++, from += 4) {
        const uint32_t black = from[3] ^ flip;
        to[i] = opaque((from[0] ^ flip) * black / 255, (from[1] ^ flip) * black / 255,
                       (from[2] ^ flip) * black / 255);
    }
}

static void convert_rgb(uint32_t *to, const JSAMPLE *from, int32_t count)
{
    for (int32_t i = 0; i < count; i++, from += 3)
        to[i] = opaque(from[0], from[1], from[2]);
}

/* libjpeg reduces by 2, 4 and 8, in less time than the whole picture takes. */
static unsigned reduction(const image_source *source)
{
    return std::bit_floor(static_cast<unsigned>(std::min(image_source_factor(source), 8)));
}

static bool start(jpeg_job *job)
{
    jpeg_decompress_struct *jpeg = &job->jpeg;
    if (jpeg_read_header(jpeg, TRUE) != JPEG_HEADER_OK)
        return false;
    if (!image_source_accept(job->source, jpeg->image_width, jpeg->image_height))
        return false;
    jpeg->scale_num = 1;
    jpeg->scale_denom = reduction(job->source);
    jpeg->out_color_space = jpeg->num_components == 4 ? JCS_CMYK : JCS_RGB;
    if (!jpeg_start_decompress(jpeg))
        return false;
    job->picture = image_new(static_cast<int32_t>(jpeg->output_width),
                             static_cast<int32_t>(jpeg->output_height));
    job->row = static_cast<JSAMPLE *>(malloc(static_cast<size_t>(jpeg->output_width) *
                                             static_cast<size_t>(jpeg->output_components)));
    return job->picture && job->row;
}

/* May leave by longjmp(): no destructors here or in what it calls. */
static bool decode_steps(jpeg_job *job)
{
    jpeg_decompress_struct *jpeg = &job->jpeg;
    if (!start(job))
        return false;
    while (jpeg->output_scanline < jpeg->output_height && !job->cut) {
        uint32_t *to = job->picture->argb + static_cast<size_t>(jpeg->output_scanline) *
                                                static_cast<size_t>(job->picture->width);
        if (jpeg_read_scanlines(jpeg, &job->row, 1) != 1)
            return false;
        if (jpeg->output_components == 4)
            convert_inks(to, job->row, job->picture->width, jpeg->saw_Adobe_marker);
        else
            convert_rgb(to, job->row, job->picture->width);
    }
    return !job->cut;
}

static bool decode_guarded(jpeg_job *job)
{
    if (setjmp(job->escape))
        return false;
    jpeg_create_decompress(&job->jpeg);
    job->jpeg.client_data = job; /* after creation, which clears the record but not this */
    job->jpeg.src = &job->input;
    job->jpeg.progress = &job->progress;
    /* Needs more only where it holds all coefficients, and gives up there. */
    job->jpeg.mem->max_memory_to_use = static_cast<long>(job->source->budget);
    return decode_steps(job);
}

image *image_jpeg_decode(image_source *source)
{
    jpeg_job *job = static_cast<jpeg_job *>(calloc(1, sizeof *job));
    if (!job)
        return nullptr;
    job->source = source;
    job->jpeg.err = jpeg_std_error(&job->errors);
    job->jpeg.client_data = job;
    set_callbacks(job);
    const bool whole = decode_guarded(job);
    jpeg_destroy_decompress(&job->jpeg); /* accepts a record whose creation failed */
    image *picture = job->picture;
    free(job->row);
    free(job);
    if (!whole) {
        (void)image_free(picture);
        return nullptr;
    }
    picture->has_alpha = false;
    return picture;
}
