/* device_virtual_screen: the frame shown last, in memory, and the texts that stand on it. */
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/device/virtual/device_virtual.h"
#include "platform/draw/fb.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <png.h>

static constinit uint16_t *pixels = nullptr; /* shown_width x shown_height, ours */
static constinit int32_t shown_width = 0, shown_height = 0;
static constinit uint32_t flips = 0;
static constinit fb_text *texts =
    nullptr; /* text_count records in one block with their strings, ours */
static constinit uint32_t text_count = 0;
static constinit char title[1024] = "";

static void drop_texts()
{
    free(texts);
    texts = nullptr;
    text_count = 0;
}

static void keep_texts(const fb_surface *frame)
{
    drop_texts();
    const uint32_t count = fb_text_count(frame);
    size_t bytes = count * sizeof(fb_text);
    for (uint32_t i = 0; i < count; i++)
        bytes += strlen(fb_text_at(frame, i)->text) + 1;
    texts = bytes ? static_cast<fb_text *>(malloc(bytes)) : nullptr;
    if (!texts)
        return;
    char *room = reinterpret_cast<char *>(texts + count);
    for (uint32_t i = 0; i < count; i++) {
        texts[i] = *fb_text_at(frame, i);
        const size_t length = strlen(texts[i].text) + 1;
        memcpy(room, texts[i].text, length);
        texts[i].text = room;
        room += length;
    }
    text_count = count;
}

int virtual_screen_open(int32_t width, int32_t height)
{
    pixels = static_cast<uint16_t *>(
        calloc(static_cast<size_t>(width) * static_cast<size_t>(height), sizeof *pixels));
    if (!pixels)
        return -1;
    shown_width = width;
    shown_height = height;
    flips = 0;
    title[0] = '\0';
    return 0;
}

void virtual_screen_title(const char *text)
{
    (void)str_copy(title, text); /* may be cut */
}

const char *virtual_screen_title_now()
{
    return title;
}

int virtual_screen_close()
{
    free(pixels);
    pixels = nullptr;
    shown_width = shown_height = 0;
    drop_texts();
    return 0;
}

int virtual_screen_show(const fb_surface *frame)
{
    if (!pixels || frame->width != shown_width || frame->height != shown_height)
        return -1;
    for (int32_t y = 0; y < shown_height; y++) {
        if (!fb_row_changes(frame, y))
            continue;
        memcpy(pixels + static_cast<size_t>(y) * static_cast<size_t>(shown_width),
               frame->pixels + static_cast<size_t>(y) * static_cast<size_t>(frame->stride),
               static_cast<size_t>(shown_width) * sizeof *pixels);
    }
    keep_texts(frame);
    flips++;
    return 0;
}

uint32_t virtual_screen_flips()
{
    return flips;
}

const uint16_t *virtual_screen_pixel(int32_t x, int32_t y)
{
    if (x < 0 || y < 0 || x >= shown_width || y >= shown_height)
        return nullptr;
    return pixels + static_cast<size_t>(y) * static_cast<size_t>(shown_width) + x;
}

uint32_t virtual_screen_text_count()
{
    return text_count;
}

const fb_text *virtual_screen_text(uint32_t index)
{
    return index < text_count ? &texts[index] : nullptr;
}

bool virtual_screen_has_text(const char *part)
{
    for (uint32_t i = 0; i < text_count; i++) {
        if (strstr(texts[i].text, part))
            return true;
    }
    return false;
}

/* The full range of 5 and 6 bits becomes the full range of 8: white stays white. */
static void expand_row(const uint16_t *from, int32_t count, uint8_t *to)
{
    for (int32_t i = 0; i < count; i++) {
        const uint32_t red = from[i] >> 11, green = (from[i] >> 5) & 63, blue = from[i] & 31;
        to[i * 3] = static_cast<uint8_t>(red << 3 | red >> 2);
        to[i * 3 + 1] = static_cast<uint8_t>(green << 2 | green >> 4);
        to[i * 3 + 2] = static_cast<uint8_t>(blue << 3 | blue >> 2);
    }
}

/* Holds no C++ object: an error of the library leaves by a long jump. */
static int write_png(png_structp png, png_infop info, FILE *file, uint8_t *row)
{
    if (setjmp(png_jmpbuf(png)))
        return -1;
    png_init_io(png, file);
    png_set_IHDR(png, info, static_cast<uint32_t>(shown_width), static_cast<uint32_t>(shown_height),
                 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int32_t y = 0; y < shown_height; y++) {
        expand_row(pixels + static_cast<size_t>(y) * static_cast<size_t>(shown_width), shown_width,
                   row);
        png_write_row(png, row);
    }
    png_write_end(png, info);
    return 0;
}

int virtual_screen_save_png(const char *path)
{
    owner<uint8_t, free> row(
        static_cast<uint8_t *>(malloc(static_cast<size_t>(shown_width) * 3 + 1)));
    FILE *file = pixels && row ? fopen(path, "wbe") : nullptr;
    if (!file)
        return -1;
    int result = -1;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (info)
        result = write_png(png, info, file, row.get());
    png_destroy_write_struct(&png, &info);
    return fclose(file) == 0 ? result : -1;
}
