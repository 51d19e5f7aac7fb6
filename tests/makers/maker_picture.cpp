/* maker_picture: pictures drawn by formula, and PNG files of them. */
#include "tests/makers/maker_picture.h"

#include "tests/makers/maker_picture_private.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <png.h>

[[noreturn]] void maker_picture_fail(const char *what)
{
    fprintf(stderr, "maker_picture: %s\n", what);
    abort();
}

maker_picture maker_plain(int width, int height, uint32_t argb)
{
    return {width, height,
            std::vector<uint32_t>(static_cast<size_t>(width) * static_cast<size_t>(height), argb)};
}

/* A picture from a formula of the place. */
template <typename formula> static maker_picture drawn(int width, int height, formula colour)
{
    maker_picture made = maker_plain(width, height, 0);
    for (int y = 0; y < height; y++)
        for (int x = 0; x < width; x++)
            made.argb[static_cast<size_t>(y * width + x)] = colour(x, y);
    return made;
}

static uint32_t share(int position, int size)
{
    return size > 1 ? static_cast<uint32_t>(position * 255 / (size - 1)) : 0;
}

maker_picture maker_gradient(int width, int height)
{
    return drawn(width, height, [=](int x, int y) {
        return 0xFF000000u | share(x, width) << 16 | share(y, height) << 8 |
               share(x + y, width + height - 1);
    });
}

maker_picture maker_squares(int width, int height, int side, uint32_t first, uint32_t second)
{
    return drawn(width, height,
                 [=](int x, int y) { return (x / side + y / side) % 2 ? second : first; });
}

maker_picture maker_disc(int width, int height, uint32_t argb)
{
    const double radius = std::min(width, height) / 2.0 - 1;
    return drawn(width, height, [=](int x, int y) {
        const double distance = hypot(x + 0.5 - width / 2.0, y + 0.5 - height / 2.0);
        const double cover = std::clamp(radius - distance + 0.5, 0.0, 1.0);
        return static_cast<uint32_t>(lround(cover * (argb >> 24))) << 24 | (argb & 0xFFFFFF);
    });
}

maker_picture maker_speckles(int width, int height, uint32_t seed)
{
    uint32_t state = seed * 2654435761u + 1;
    return drawn(width, height, [&state](int, int) {
        state = state * 1664525u + 1013904223u;
        const uint32_t high = state & 0xFFFF0000u;
        state = state * 1664525u + 1013904223u;
        return high | state >> 16;
    });
}

static int distance(uint32_t a, uint32_t b)
{
    int sum = 0;
    for (int shift = 0; shift < 32; shift += 8)
        sum += abs(static_cast<int>(a >> shift & 0xFF) - static_cast<int>(b >> shift & 0xFF));
    return sum;
}

maker_palette maker_palette_of(const maker_picture &picture, size_t colours_max)
{
    maker_palette made;
    for (const uint32_t argb : picture.argb) {
        const auto known = std::find(made.colours.begin(), made.colours.end(), argb);
        if (known != made.colours.end() || made.colours.size() < colours_max) {
            made.indices.push_back(static_cast<uint8_t>(known - made.colours.begin()));
            if (known == made.colours.end())
                made.colours.push_back(argb);
            continue;
        }
        const auto nearest = std::min_element(
            made.colours.begin(), made.colours.end(),
            [argb](uint32_t a, uint32_t b) { return distance(a, argb) < distance(b, argb); });
        made.indices.push_back(static_cast<uint8_t>(nearest - made.colours.begin()));
    }
    return made;
}

static uint32_t grey_of(uint32_t argb)
{
    return ((argb >> 16 & 0xFF) * 77 + (argb >> 8 & 0xFF) * 150 + (argb & 0xFF) * 29) >> 8;
}

/* A value of 8 bits at another depth. */
static uint32_t at_depth(uint32_t value, int depth)
{
    return depth == 16 ? value * 257 : value >> (8 - depth);
}

/* And back, as decoders widen it. */
static uint32_t from_depth(uint32_t value, int depth)
{
    return depth == 16 ? value / 257 : value * 255 / ((1u << depth) - 1);
}

static bool has_colour(maker_png_kind kind)
{
    return kind == maker_png_kind::rgb || kind == maker_png_kind::rgba;
}

static bool has_alpha(maker_png_kind kind)
{
    return kind == maker_png_kind::grey_alpha || kind == maker_png_kind::rgba;
}

/* The samples of one pixel, in the order of the file. */
static std::vector<uint32_t> samples_of(uint32_t argb, const maker_png_options &options)
{
    std::vector<uint32_t> samples;
    if (has_colour(options.kind))
        samples = {argb >> 16 & 0xFF, argb >> 8 & 0xFF, argb & 0xFF};
    else
        samples = {grey_of(argb)};
    if (has_alpha(options.kind))
        samples.push_back(argb >> 24);
    for (uint32_t &sample : samples)
        sample = at_depth(sample, options.depth);
    return samples;
}

/* All samples, one or two bytes each; libpng packs the small ones. */
static std::vector<maker_bytes> rows_of(const maker_picture &picture,
                                        const maker_png_options &options)
{
    std::vector<maker_bytes> rows(static_cast<size_t>(picture.height));
    for (int y = 0; y < picture.height; y++) {
        for (int x = 0; x < picture.width; x++) {
            for (const uint32_t sample : samples_of(picture.at(x, y), options)) {
                if (options.depth == 16)
                    rows[static_cast<size_t>(y)].push_back(static_cast<uint8_t>(sample >> 8));
                rows[static_cast<size_t>(y)].push_back(static_cast<uint8_t>(sample));
            }
        }
    }
    return rows;
}

static void on_png_error(png_structp, png_const_charp what)
{
    maker_picture_fail(what);
}

static void append(png_structp png, png_bytep bytes, size_t size)
{
    maker_bytes *to = static_cast<maker_bytes *>(png_get_io_ptr(png));
    to->insert(to->end(), bytes, bytes + size);
}

static int colour_type(maker_png_kind kind)
{
    switch (kind) {
    case maker_png_kind::grey:
        return PNG_COLOR_TYPE_GRAY;
    case maker_png_kind::grey_alpha:
        return PNG_COLOR_TYPE_GRAY_ALPHA;
    case maker_png_kind::palette:
        return PNG_COLOR_TYPE_PALETTE;
    case maker_png_kind::rgb:
        return PNG_COLOR_TYPE_RGB;
    case maker_png_kind::rgba:
        break;
    }
    return PNG_COLOR_TYPE_RGBA;
}

static void set_palette(png_structp png, png_infop info, const maker_palette &palette,
                        bool transparent)
{
    std::vector<png_color> colours;
    std::vector<png_byte> alphas;
    for (const uint32_t argb : palette.colours) {
        colours.push_back({static_cast<png_byte>(argb >> 16), static_cast<png_byte>(argb >> 8),
                           static_cast<png_byte>(argb)});
        alphas.push_back(static_cast<png_byte>(argb >> 24));
    }
    png_set_PLTE(png, info, colours.data(), static_cast<int>(colours.size()));
    if (transparent)
        png_set_tRNS(png, info, alphas.data(), static_cast<int>(alphas.size()), nullptr);
}

static void set_transparent_colour(png_structp png, png_infop info, uint32_t argb,
                                   const maker_png_options &options)
{
    const std::vector<uint32_t> samples = samples_of(argb, options);
    png_color_16 colour = {};
    colour.gray = static_cast<png_uint_16>(samples[0]);
    colour.red = static_cast<png_uint_16>(samples[0]);
    colour.green = static_cast<png_uint_16>(samples[samples.size() > 2 ? 1 : 0]);
    colour.blue = static_cast<png_uint_16>(samples[samples.size() > 2 ? 2 : 0]);
    png_set_tRNS(png, info, nullptr, 0, &colour);
}

static void set_comment(png_structp png, png_infop info, const std::string &comment)
{
    std::string key = "Comment";
    std::string value = comment;
    png_text text = {};
    text.compression = PNG_TEXT_COMPRESSION_zTXt;
    text.key = key.data();
    text.text = value.data();
    text.text_length = value.size();
    png_set_text(png, info, &text, 1);
}

maker_bytes maker_png(const maker_picture &picture, const maker_png_options &options)
{
    maker_bytes bytes;
    png_structp png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, on_png_error, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(png, &bytes, append, nullptr);
    png_set_IHDR(png, info, static_cast<png_uint_32>(picture.width),
                 static_cast<png_uint_32>(picture.height), options.depth, colour_type(options.kind),
                 options.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    std::vector<maker_bytes> rows;
    if (options.kind == maker_png_kind::palette) {
        const maker_palette palette = maker_palette_of(picture, size_t{1} << options.depth);
        set_palette(png, info, palette, options.transparent);
        for (auto from = palette.indices.begin(); from != palette.indices.end();
             from += picture.width)
            rows.emplace_back(from, from + picture.width);
    } else {
        rows = rows_of(picture, options);
        if (options.transparent && !has_alpha(options.kind))
            set_transparent_colour(png, info, picture.at(0, 0), options);
    }
    if (!options.text.empty())
        set_comment(png, info, options.text);
    png_write_info(png, info);
    png_set_packing(png);
    std::vector<png_bytep> pointers;
    for (maker_bytes &row : rows)
        pointers.push_back(row.data());
    png_write_image(png, pointers.data());
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return bytes;
}

static uint32_t seen_pixel(uint32_t argb, const maker_png_options &options, uint32_t first)
{
    std::vector<uint32_t> samples = samples_of(argb, options);
    const bool blank =
        options.transparent && !has_alpha(options.kind) && samples == samples_of(first, options);
    for (uint32_t &sample : samples)
        sample = from_depth(sample, options.depth);
    const uint32_t alpha = has_alpha(options.kind) ? samples.back() : blank ? 0 : 255;
    if (has_colour(options.kind))
        return alpha << 24 | samples[0] << 16 | samples[1] << 8 | samples[2];
    return alpha << 24 | samples[0] * 0x010101u;
}

maker_picture maker_png_seen(const maker_picture &picture, const maker_png_options &options)
{
    maker_picture seen = picture;
    if (options.kind == maker_png_kind::palette) {
        const maker_palette palette = maker_palette_of(picture, size_t{1} << options.depth);
        for (size_t i = 0; i < seen.argb.size(); i++)
            seen.argb[i] =
                palette.colours[palette.indices[i]] | (options.transparent ? 0 : 0xFF000000u);
        return seen;
    }
    for (uint32_t &argb : seen.argb)
        argb = seen_pixel(argb, options, picture.at(0, 0));
    return seen;
}

void maker_save(const std::string &path, const maker_bytes &bytes)
{
    FILE *file = fopen(path.c_str(), "wb");
    const bool written =
        file && (bytes.empty() || fwrite(bytes.data(), bytes.size(), 1, file) == 1);
    if (!written || fclose(file))
        maker_picture_fail(path.c_str());
}
