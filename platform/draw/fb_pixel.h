/* fb_pixel: arithmetic on RGB565 pixels. Private to the platform's drawing code. */
#pragma once

#include <cstdint>

/* Products of two values up to 255, divided by 255 and rounded; exact for the whole range. */
constexpr uint32_t fb_div255(uint32_t product)
{
    return (product + 128 + ((product + 128) >> 8)) >> 8;
}

constexpr uint32_t fb_red8(uint16_t pixel)
{
    return (pixel >> 8 & 0xF8u) | pixel >> 13;
}

constexpr uint32_t fb_green8(uint16_t pixel)
{
    return (pixel >> 3 & 0xFCu) | (pixel >> 9 & 0x03u);
}

constexpr uint32_t fb_blue8(uint16_t pixel)
{
    return (pixel << 3 & 0xF8u) | (pixel >> 2 & 0x07u);
}

/* Drops the low bits, as colours of skin files are reduced too, so that a picture's flat area and
 * a rectangle of the same colour meet without an edge. */
constexpr uint16_t fb_pack(uint32_t red, uint32_t green, uint32_t blue)
{
    return static_cast<uint16_t>((red & 0xF8) << 8 | (green & 0xFC) << 3 | blue >> 3);
}

/* An opaque a8r8g8b8 pixel at the screen's depth. */
constexpr uint16_t fb_pack_argb(uint32_t argb)
{
    return static_cast<uint16_t>((argb >> 8 & 0xF800) | (argb >> 5 & 0x07E0) |
                                 (argb >> 3 & 0x001F));
}
