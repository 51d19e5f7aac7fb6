/* guarded_surface: a surface inside a larger one, to see that drawing stays within. */
#pragma once

#include "platform/draw/fb.h"

#include <cstdint>
#include <memory>
#include <vector>

constexpr uint16_t guard_colour = 0xA5C3;

/* Rows have guard pixels on both sides, and guard rows stand above and below. */
struct guarded_surface {
    guarded_surface(int32_t width, int32_t height, uint16_t colour = 0)
        : margin(8),
          memory(static_cast<size_t>(width + 16) * static_cast<size_t>(height + 16), guard_colour)
    {
        surface.width = width;
        surface.height = height;
        surface.stride = width + 2 * margin;
        surface.pixels = memory.data() + margin * surface.stride + margin;
        for (int32_t y = 0; y < height; y++)
            for (int32_t x = 0; x < width; x++)
                surface.pixels[y * surface.stride + x] = colour;
    }
    guarded_surface(const guarded_surface &) = delete;
    guarded_surface &operator=(const guarded_surface &) = delete;

    uint16_t at(int32_t x, int32_t y) const { return surface.pixels[y * surface.stride + x]; }

    bool guards_hold() const
    {
        for (int32_t y = -margin; y < surface.height + margin; y++)
            for (int32_t x = -margin; x < surface.width + margin; x++)
                if ((x < 0 || y < 0 || x >= surface.width || y >= surface.height) &&
                    at(x, y) != guard_colour)
                    return false;
        return true;
    }

    /* The pixels without the guards. */
    std::vector<uint16_t> pixels() const
    {
        std::vector<uint16_t> all;
        for (int32_t y = 0; y < surface.height; y++)
            for (int32_t x = 0; x < surface.width; x++)
                all.push_back(at(x, y));
        return all;
    }

    int32_t margin;
    std::vector<uint16_t> memory;
    fb_surface surface = {};
};

struct surface_free {
    void operator()(fb_surface *surface) const { (void)fb_free(surface); }
};
using surface_owner = std::unique_ptr<fb_surface, surface_free>;
