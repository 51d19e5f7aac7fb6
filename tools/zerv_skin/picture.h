/* picture: PNG files of what the tool has drawn. */
#pragma once

#include <cstdint>

struct fb_surface;

/* Four bytes a pixel: red, green, blue, alpha. 0, or -1 with errno set. */
[[nodiscard]] int picture_save(const char *path, int32_t width, int32_t height,
                               const uint8_t *rgba);
/* A surface as the screen shows it. */
[[nodiscard]] int picture_save_surface(const char *path, const fb_surface *surface);
