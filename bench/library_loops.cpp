/* library_loops: what a library does by itself where the player does the same work through it.
 *
 *     library_loops decode FILE SECONDS   16-bit samples of the start of a track
 *     library_loops cover FILE            a picture decoded and averaged down to 200 pixels
 *     library_loops our-cover FILE        the same by the player's own code
 *     library_loops tags LIST             title, artist, album, genre, year of the files named in LIST
 *
 * Somebody counts from outside what it costs. */
#include "platform/base/owner.h"
#include "platform/image/image.h"

#include <FLAC/stream_decoder.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <jpeglib.h>
#include <mpg123.h>
#include <png.h>
#include <string>
#include <taglib/fileref.h>
#include <taglib/tag.h>
#include <vector>
#include <vorbis/vorbisfile.h>

constexpr int frame_bytes = 4;
constexpr int rate = 44100;
constexpr int side = 200; /* pixels of a cover on the play screen */
constexpr int kept = 640; /* and of what the player keeps of it */

static bool ends_with(const std::string &text, const char *ending)
{
    const size_t length = strlen(ending);
    return text.size() > length && text.compare(text.size() - length, length, ending) == 0;
}

/* ---- Sound ---- */

static int decode_mp3(const char *path, int64_t bytes)
{
    static unsigned char room[16384];
    if (mpg123_init() != MPG123_OK)
        return -1;
    mpg123_handle *handle = mpg123_new(nullptr, nullptr);
    int result = handle && mpg123_open(handle, path) == MPG123_OK ? 0 : -1;
    while (result == 0 && bytes > 0) {
        size_t got = 0;
        const int said = mpg123_read(handle, room, sizeof(room), &got);
        if (said != MPG123_OK && said != MPG123_NEW_FORMAT)
            result = -1;
        bytes -= static_cast<int64_t>(got);
    }
    mpg123_delete(handle);
    return result;
}

static int decode_ogg(const char *path, int64_t bytes)
{
    static char room[16384];
    OggVorbis_File file;
    if (ov_fopen(path, &file) != 0)
        return -1;
    long got = 1;
    for (int link = 0; got > 0 && bytes > 0; bytes -= got)
        got = ov_read(&file, room, sizeof(room), 0, 2, 1, &link);
    ov_clear(&file);
    return got > 0 ? 0 : -1;
}

static int64_t flac_bytes_left;
static int16_t flac_room[65536 * 2];

/* The player needs 16-bit frames, so the loop makes them, too. */
static FLAC__StreamDecoderWriteStatus take_block(const FLAC__StreamDecoder *,
                                                 const FLAC__Frame *frame,
                                                 const FLAC__int32 *const samples[], void *)
{
    for (unsigned i = 0; i < frame->header.blocksize; i++)
        for (unsigned channel = 0; channel < 2; channel++)
            flac_room[i * 2 + channel] = static_cast<int16_t>(samples[channel][i]);
    flac_bytes_left -= static_cast<int64_t>(frame->header.blocksize) * frame_bytes;
    return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
}

static void ignore_error(const FLAC__StreamDecoder *, FLAC__StreamDecoderErrorStatus, void *) {}

static int decode_flac(const char *path, int64_t bytes)
{
    flac_bytes_left = bytes;
    FLAC__StreamDecoder *decoder = FLAC__stream_decoder_new();
    bool good =
        decoder && FLAC__stream_decoder_init_file(decoder, path, take_block, nullptr, ignore_error,
                                                  nullptr) == FLAC__STREAM_DECODER_INIT_STATUS_OK;
    while (good && flac_bytes_left > 0)
        good = FLAC__stream_decoder_process_single(decoder);
    FLAC__stream_decoder_delete(decoder);
    printf("%d\n", flac_room[0]); /* keeps the compiler from leaving the work out */
    return good ? 0 : -1;
}

static int decode(const char *path, const char *seconds)
{
    const int64_t bytes = static_cast<int64_t>(atof(seconds) * rate) * frame_bytes;
    if (ends_with(path, ".mp3"))
        return decode_mp3(path, bytes);
    return ends_with(path, ".ogg") ? decode_ogg(path, bytes) : decode_flac(path, bytes);
}

/* ---- Covers ---- */

/* Averages rows of three bytes a pixel as they come. */
struct shrinker {
    int factor = 1, row = 0;
    std::vector<uint32_t> sums = {};
    uint32_t check = 0;
};

static void start_shrinking(shrinker *to, int width)
{
    to->factor = width / side > 0 ? width / side : 1;
    to->sums.assign(static_cast<size_t>(width / to->factor * 3), 0);
}

static void add_row(shrinker *to, const uint8_t *pixels)
{
    uint32_t *sum = to->sums.data();
    for (size_t x = 0; x < to->sums.size() / 3; x++, sum += 3)
        for (int i = 0; i < to->factor; i++, pixels += 3) {
            sum[0] += pixels[0];
            sum[1] += pixels[1];
            sum[2] += pixels[2];
        }
    if (++to->row % to->factor != 0)
        return;
    for (uint32_t &each : to->sums) {
        to->check += each / static_cast<uint32_t>(to->factor * to->factor);
        each = 0;
    }
}

static int read_jpeg(FILE *file, shrinker *to)
{
    jpeg_decompress_struct picture = {};
    jpeg_error_mgr errors;
    picture.err = jpeg_std_error(&errors); /* ends the program */
    jpeg_create_decompress(&picture);
    jpeg_stdio_src(&picture, file);
    (void)jpeg_read_header(&picture, TRUE);
    (void)jpeg_start_decompress(&picture);
    start_shrinking(to, static_cast<int>(picture.output_width));
    std::vector<uint8_t> row(picture.output_width * 3);
    for (uint8_t *rows[] = {row.data()}; picture.output_scanline < picture.output_height;) {
        (void)jpeg_read_scanlines(&picture, rows, 1);
        add_row(to, row.data());
    }
    (void)jpeg_finish_decompress(&picture);
    jpeg_destroy_decompress(&picture);
    return 0;
}

static int read_png(FILE *file, shrinker *to)
{
    png_structp picture = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(picture);
    png_init_io(picture, file);
    png_read_info(picture, info);
    start_shrinking(to, static_cast<int>(png_get_image_width(picture, info)));
    std::vector<uint8_t> row(png_get_rowbytes(picture, info));
    for (uint32_t y = 0; y < png_get_image_height(picture, info); y++) {
        png_read_row(picture, row.data(), nullptr);
        add_row(to, row.data());
    }
    png_destroy_read_struct(&picture, &info, nullptr);
    return 0;
}

static int read_cover(const char *path)
{
    const owner<FILE, fclose> file(fopen(path, "rb"));
    shrinker small;
    if (!file ||
        (ends_with(path, ".png") ? read_png(file.get(), &small) : read_jpeg(file.get(), &small)))
        return -1;
    printf("%u\n", small.check);
    return 0;
}

static std::vector<uint8_t> load(const char *path)
{
    std::vector<uint8_t> bytes;
    const owner<FILE, fclose> file(fopen(path, "rb"));
    uint8_t room[65536];
    for (size_t got = 1; file && got > 0;) {
        got = fread(room, 1, sizeof(room), file.get());
        bytes.insert(bytes.end(), room, room + got);
    }
    return bytes;
}

static int read_our_cover(const char *path)
{
    const std::vector<uint8_t> bytes = load(path);
    int32_t width = 0, height = 0;
    const owner<image, image_free> picture(
        image_read_reduced(strrchr(path, '.'), bytes.data(), bytes.size(), kept, &width, &height));
    const owner<image, image_free> fitted(image_create(side, side));
    if (!picture || !fitted ||
        image_copy_resampled(fitted.get(), picture.get(), 0, 0, side, side, 0, 0, picture->width,
                             picture->height) != 0)
        return -1;
    return image_dither(fitted.get());
}

/* ---- Tags ---- */

static int read_tags(const char *list)
{
    const owner<FILE, fclose> names(fopen(list, "r"));
    char path[4096];
    size_t bytes = 0;
    while (names && fgets(path, sizeof(path), names.get())) {
        path[strcspn(path, "\n")] = '\0';
        const TagLib::FileRef file(path, false);
        if (file.isNull() || !file.tag())
            continue;
        const TagLib::Tag *tag = file.tag();
        bytes += tag->title().to8Bit(true).size() + tag->artist().to8Bit(true).size() +
                 tag->album().to8Bit(true).size() + tag->genre().to8Bit(true).size() + tag->year();
    }
    return bytes > 0 ? 0 : -1;
}

int main(int count, char **arguments)
{
    const std::string what = count > 2 ? arguments[1] : "";
    int result = -1;
    if (what == "decode" && count == 4)
        result = decode(arguments[2], arguments[3]);
    else if (what == "cover")
        result = read_cover(arguments[2]);
    else if (what == "our-cover")
        result = read_our_cover(arguments[2]);
    else if (what == "tags")
        result = read_tags(arguments[2]);
    if (result != 0)
        fprintf(stderr, "library_loops: nothing done\n");
    return result == 0 ? 0 : 1;
}
