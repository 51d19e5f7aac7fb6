/* picture: PNG files of what the tool has drawn. */
#pragma once

#include <cstdint>
#include <vector>

struct fb_surface;

/* Bytes a pixel: red, green, blue and, where it is asked for, alpha. */
enum class picture_bytes { rgb = 3, rgba = 4 };

/* 0, or -1 with errno set. */
[[nodiscard]] int picture_save(const char *path, int32_t width, int32_t height, picture_bytes kind,
                               const uint8_t *bytes);
/* A surface as the screen shows it. */
[[nodiscard]] int picture_save_surface(const char *path, const fb_surface *surface);
/* The same file in memory; empty when memory runs out. */
std::vector<uint8_t> picture_encode_surface(const fb_surface *surface);
