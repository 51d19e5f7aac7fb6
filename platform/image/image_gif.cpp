/* image_gif: the first frame of a GIF on its canvas, through giflib. Frame by frame reading: the
 * library's own "read everything" would unpack a film. */
#include "platform/image/image_codec.h"

#include "platform/base/owner.h"

#include <algorithm>
#include <cstdlib>
#include <gif_lib.h>

/* Extensions before the first frame; real files have three or four. */
static constexpr int extensions_max = 1000;

static int close_gif(GifFileType *gif)
{
    return DGifCloseFile(gif, nullptr);
}

static int read_bytes(GifFileType *gif, GifByteType *to, int size)
{
    if (size <= 0)
        return 0;
    return static_cast<int>(image_source_read(static_cast<image_source *>(gif->UserData), to,
                                              static_cast<size_t>(size)));
}

/* Reads one extension; a graphics control block names the transparent colour, -1 = none. */
static bool read_extension(GifFileType *gif, int *transparent)
{
    int code = 0;
    GifByteType *block = nullptr;
    if (DGifGetExtension(gif, &code, &block) == GIF_ERROR)
        return false;
    GraphicsControlBlock control = {};
    if (code == GRAPHICS_EXT_FUNC_CODE && block &&
        DGifExtensionToGCB(block[0], block + 1, &control) == GIF_OK)
        *transparent = control.TransparentColor;
    while (block)
        if (DGifGetExtensionNext(gif, &block) == GIF_ERROR)
            return false;
    return true;
}

static bool find_first_frame(GifFileType *gif, int *transparent)
{
    for (int i = 0; i < extensions_max; i++) {
        GifRecordType type = UNDEFINED_RECORD_TYPE;
        if (DGifGetRecordType(gif, &type) == GIF_ERROR)
            return false;
        if (type == IMAGE_DESC_RECORD_TYPE)
            return DGifGetImageDesc(gif) == GIF_OK;
        if (type != EXTENSION_RECORD_TYPE || !read_extension(gif, transparent))
            return false;
    }
    return false;
}

static void convert_row(uint32_t *to, const GifPixelType *from, int count,
                        const ColorMapObject *colours, int transparent)
{
    for (int i = 0; i < count; i++) {
        if (from[i] == transparent || from[i] >= colours->ColorCount)
            continue; /* the canvas is transparent already */
        const GifColorType &colour = colours->Colors[from[i]];
        to[i] = 0xFF000000u | static_cast<uint32_t>(colour.Red) << 16 |
                static_cast<uint32_t>(colour.Green) << 8 | static_cast<uint32_t>(colour.Blue);
    }
}

/* The frame's rows, in the order of the file: straight, or in four passes. */
static bool read_rows(GifFileType *gif, image *picture, GifPixelType *row, int transparent)
{
    static constexpr int starts[] = {0, 4, 2, 1};
    static constexpr int steps[] = {8, 8, 4, 2};
    const GifImageDesc &frame = gif->Image;
    const ColorMapObject *colours = frame.ColorMap ? frame.ColorMap : gif->SColorMap;
    if (!colours)
        return false;
    for (int pass = 0; pass < (frame.Interlace ? 4 : 1); pass++) {
        const int step = frame.Interlace ? steps[pass] : 1;
        for (int y = frame.Interlace ? starts[pass] : 0; y < frame.Height; y += step) {
            if (DGifGetLine(gif, row, frame.Width) == GIF_ERROR)
                return false;
            uint32_t *to = picture->argb +
                           static_cast<size_t>(frame.Top + y) * static_cast<size_t>(picture->width);
            convert_row(to + frame.Left, row, frame.Width, colours, transparent);
        }
    }
    return true;
}

/* A frame that hangs over the canvas makes it larger. */
static image *new_canvas(const GifFileType *gif)
{
    const GifImageDesc &frame = gif->Image;
    if (frame.Width < 1 || frame.Height < 1 || frame.Left < 0 || frame.Top < 0)
        return nullptr;
    const int64_t width =
        std::max<int64_t>(gif->SWidth, static_cast<int64_t>(frame.Left) + frame.Width);
    const int64_t height =
        std::max<int64_t>(gif->SHeight, static_cast<int64_t>(frame.Top) + frame.Height);
    return image_source_accept(static_cast<image_source *>(gif->UserData), width, height)
               ? image_new(static_cast<int32_t>(width), static_cast<int32_t>(height))
               : nullptr;
}

image *image_gif_decode(image_source *source)
{
    owner<GifFileType, close_gif> gif(DGifOpen(source, read_bytes, nullptr));
    int transparent = NO_TRANSPARENT_COLOR;
    if (!gif || !find_first_frame(gif.get(), &transparent))
        return nullptr;
    owner<image, image_free> picture(new_canvas(gif.get()));
    if (!picture)
        return nullptr;
    owner<GifPixelType, free> row(
        static_cast<GifPixelType *>(malloc(static_cast<size_t>(gif->Image.Width))));
    if (!row || !read_rows(gif.get(), picture.get(), row.get(), transparent))
        return nullptr;
    picture->has_alpha = !image_is_opaque(picture.get());
    return picture.release();
}
