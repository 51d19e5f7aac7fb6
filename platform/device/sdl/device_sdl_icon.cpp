/* device_sdl_icon: the picture by which a desktop knows the window. */
#include "platform/device/sdl/device_sdl.h"

#include <SDL.h>
#include <cstdlib>
#include <png.h>

constexpr char icon_path[] = "icon.png"; /* in the program folder */
constexpr uint32_t side_most = 256;
constexpr int pixel_bytes = 4;

/* The pixels, red first, or null; the caller frees them. */
static void *read_icon(png_image *icon)
{
    icon->version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(icon, icon_path))
        return nullptr;
    icon->format = PNG_FORMAT_RGBA;
    const bool fits = icon->width <= side_most && icon->height <= side_most;
    void *pixels = fits ? malloc(PNG_IMAGE_SIZE(*icon)) : nullptr;
    if (pixels && png_image_finish_read(icon, nullptr, pixels, 0, nullptr))
        return pixels;
    png_image_free(icon);
    free(pixels);
    return nullptr;
}

void sdl_show_icon(SDL_Window *window)
{
    png_image icon = {};
    void *pixels = read_icon(&icon);
    if (!pixels)
        return;
    SDL_Surface *surface = SDL_CreateRGBSurfaceWithFormatFrom(
        pixels, static_cast<int>(icon.width), static_cast<int>(icon.height), pixel_bytes * 8,
        static_cast<int>(icon.width) * pixel_bytes, SDL_PIXELFORMAT_RGBA32);
    if (surface)
        SDL_SetWindowIcon(window, surface); /* copies it */
    SDL_FreeSurface(surface);
    free(pixels);
}
