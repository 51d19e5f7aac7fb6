/* maker_picture: real picture files with known content, for tests and the demo.
 *
 *     maker_save("a.png", maker_png(maker_gradient(30, 10)));
 *     maker_save("b.jpg", maker_jpeg(maker_plain(64, 64, 0xFFFF0000), {.progressive = true}));
 *
 * Any thread. A mistake of the caller ends the program. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

using maker_bytes = std::vector<uint8_t>;

/* Colours as 0xAARRGGBB, alpha not multiplied in; rows contiguous, top row first. */
struct maker_picture {
    int width = 0;
    int height = 0;
    std::vector<uint32_t> argb;

    uint32_t at(int x, int y) const
    {
        return argb[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
    }
};

maker_picture maker_plain(int width, int height, uint32_t argb);
/* Opaque; red grows to the right, green downwards, blue along the diagonal. */
maker_picture maker_gradient(int width, int height);
/* Squares of `side` pixels in two colours, the first one in the corner. */
maker_picture maker_squares(int width, int height, int side, uint32_t first, uint32_t second);
/* A disc with a soft edge on nothing, like the buttons of a skin. */
maker_picture maker_disc(int width, int height, uint32_t argb);
/* Any colour and alpha anywhere, other for each seed. */
maker_picture maker_speckles(int width, int height, uint32_t seed = 1);

enum class maker_png_kind { grey, grey_alpha, palette, rgb, rgba };

struct maker_png_options {
    maker_png_kind kind = maker_png_kind::rgba;
    int depth = 8; /* bits a sample: grey 1, 2, 4, 8, 16; palette 1, 2, 4, 8; others 8, 16 */
    bool interlaced = false;
    /* Without an alpha channel: the colour of the first pixel is transparent wherever it stands;
     * a palette then keeps the alpha of each of its colours. */
    bool transparent = false;
    std::string text = ""; /* compressed into a comment */
};

/* A palette holds the first colours found; later ones take the nearest. */
maker_bytes maker_png(const maker_picture &picture, const maker_png_options &options = {});
/* What a decoder must see in it. */
maker_picture maker_png_seen(const maker_picture &picture, const maker_png_options &options = {});

enum class maker_jpeg_kind { colour, grey, cmyk, ycck };

struct maker_jpeg_options {
    maker_jpeg_kind kind = maker_jpeg_kind::colour;
    bool progressive = false;
    int quality = 95;
    bool adobe = true;       /* of the four-ink kinds: with the marker, and so inverted */
    bool full_chroma = true; /* colours at full resolution */
    int restart_every = 0;   /* rows of blocks between restart markers */
};

/* Alpha is left out. */
maker_bytes maker_jpeg(const maker_picture &picture, const maker_jpeg_options &options = {});

struct maker_gif_options {
    bool interlaced = false;
    bool transparent = false; /* the first pixel's colour is transparent */
    int left = 0, top = 0;    /* of the frame on its canvas */
    int canvas_width = 0;     /* 0: as large as the frame needs */
    int canvas_height = 0;
    int frames = 1; /* further ones are black */
};

/* At most 256 colours; later ones take the nearest. Alpha is left out. */
maker_bytes maker_gif(const maker_picture &picture, const maker_gif_options &options = {});

/* Writes a whole file. */
void maker_save(const std::string &path, const maker_bytes &bytes);
