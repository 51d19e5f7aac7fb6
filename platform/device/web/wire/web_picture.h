/* web_picture: what changed between two frames, and how it travels to a page. Any thread. */
#pragma once

#include "platform/base/device.h"

#include <cstddef>
#include <cstdint>

constexpr uint32_t web_pixels = device_width * device_height;

struct web_rect {
    int32_t x, y, w, h; /* pixels, inside the frame, never empty */
};

/* Changes are found in squares of this side, which divides both sides of a frame. */
constexpr int32_t web_tile = 16;
/* Every other square of every row. */
constexpr uint32_t web_rects_most = (device_width / web_tile + 1) / 2 * (device_height / web_tile);

/* Where two frames of `web_pixels` pixels differ: rectangles that do not overlap, from the top down.
 * Returns how many there are. */
uint32_t web_find_changes(const uint16_t *before, const uint16_t *now,
                          web_rect (&to)[web_rects_most]);

/* A whole message: its kind, 0, the count of rectangles (16 bits); then for each x, y, w, h (16 bits
 * each), the length of its pixels in bytes (32 bits) and the pixels, row by row, RGB565. All numbers
 * have their low byte first.
 *
 * Pixels of w * h * 2 bytes stand as they are. A shorter text packs them: a byte n below 128 is
 * followed by n + 1 pixels, any other byte by one pixel that stands n - 126 times. */
constexpr size_t web_picture_head = 4, web_rect_head = 12;
constexpr size_t web_picture_most =
    web_picture_head + web_rects_most * web_rect_head + size_t{web_pixels} * 2;

/* Writes the message for `count` rectangles of `frame`; returns its length in bytes. */
size_t web_put_picture(const uint16_t *frame, const web_rect *rects, uint32_t count,
                       uint8_t (&to)[web_picture_most]);
