/* covers: the pictures of the demo music, drawn by formulas. */
#include "demo/covers.h"

#include <algorithm>
#include <cmath>

struct colour {
    double r, g, b; /* 0..1 */
};

/* The colour of a point; both coordinates 0..1, y downwards. */
typedef colour (*scene)(double x, double y);

static colour rgb(uint32_t hex)
{
    return {(hex >> 16 & 255) / 255.0, (hex >> 8 & 255) / 255.0, (hex & 255) / 255.0};
}

static colour blend(colour a, colour b, double part)
{
    part = std::clamp(part, 0.0, 1.0);
    return {a.r + (b.r - a.r) * part, a.g + (b.g - a.g) * part, a.b + (b.b - a.b) * part};
}

/* 1 inside, 0 outside, a soft edge between. */
static double disc(double x, double y, double at_x, double at_y, double radius, double soft)
{
    return std::clamp((radius - hypot(x - at_x, y - at_y)) / soft + 0.5, 0.0, 1.0);
}

static bool box(double x, double y, double left, double top, double right, double bottom)
{
    return x >= left && x < right && y >= top && y < bottom;
}

static colour hills(double x, double y)
{
    colour out = blend(rgb(0xFFF1D6), rgb(0xF6B8A0), 1.2 - 1.6 * y);
    out = blend(out, rgb(0xFFFFFF), 0.5 * disc(x, y, 0.68, 0.34, 0.25, 0.2));
    out = blend(out, rgb(0xFF8A5C), disc(x, y, 0.68, 0.34, 0.13, 0.004));
    static constexpr struct {
        double base, height, waves, shift;
        uint32_t hex;
    } ridges[] = {{0.56, 0.05, 1.3, 0.4, 0xA9CDB0},
                  {0.66, 0.06, 0.9, 2.2, 0x74B08A},
                  {0.78, 0.05, 1.1, 4.0, 0x3F8A6C},
                  {0.90, 0.03, 1.6, 1.0, 0x1F5E55}};
    for (const auto &ridge : ridges)
        if (y > ridge.base + ridge.height * sin(2 * M_PI * ridge.waves * x + ridge.shift))
            out = rgb(ridge.hex);
    /* Petals on the wind. */
    for (int i = 0; i < 26; i++) {
        const double at_x = fmod(i * 0.381966 + 0.07, 1), at_y = fmod(i * 0.127 + 0.05, 0.92);
        const double turn = i * 1.3, dx = x - at_x, dy = y - at_y;
        const double along = dx * cos(turn) + dy * sin(turn),
                     across = dy * cos(turn) - dx * sin(turn);
        if (hypot(along / 0.017, across / 0.008) < 1)
            out = blend(out, rgb(0xFFFFFF), 0.85);
    }
    return out;
}

static colour train(double x, double y)
{
    colour out = blend(rgb(0x0B1030), rgb(0x3B2F6B), y * 1.4);
    out = blend(out, rgb(0xE87F6B), (y - 0.38) * 1.6);
    for (int i = 0; i < 60; i++) {
        const double star_x = fmod(i * 0.618034, 1), star_y = fmod(i * 0.2345 + 0.01, 0.5);
        out = blend(out, rgb(0xFFFFFF), 0.8 * disc(x, y, star_x, star_y, 0.0022, 0.002));
    }
    out = blend(out, rgb(0xFFF3C4), 0.25 * disc(x, y, 0.24, 0.22, 0.16, 0.14));
    out = blend(out, rgb(0xFFF3C4), disc(x, y, 0.24, 0.22, 0.085, 0.004));
    if (y > 0.62 + 0.06 * sin(5 * x + 1) + 0.02 * sin(17 * x))
        out = rgb(0x2A2050);
    /* Three carriages with their windows lit, the rails and their mirror image. */
    const bool mirrored = y > 0.83;
    const double row = mirrored ? 1.66 - y : y;
    if (row < 0.62)
        return mirrored ? rgb(0x16123A) : out;
    colour ground = mirrored ? rgb(0x16123A) : out;
    for (int car = 0; car < 3; car++) {
        const double left = 0.05 + car * 0.315;
        if (box(x, row, left, 0.67, left + 0.29, 0.80))
            ground = row < 0.69 ? rgb(0xC44F4F) : rgb(0x7D2A46);
        for (int window = 0; window < 4; window++) {
            const double at = left + 0.025 + window * 0.063;
            if (box(x, row, at, 0.705, at + 0.045, 0.755))
                ground = blend(rgb(0xFFE9A8), rgb(0xFFB65C), (row - 0.705) * 18);
        }
        for (const double wheel : {0.06, 0.23})
            ground = blend(ground, rgb(0x100C26), disc(x, row, left + wheel, 0.805, 0.02, 0.004));
    }
    if (box(x, row, 0, 0.822, 1, 0.83))
        ground = rgb(0x6A5A8E);
    return mirrored ? blend(rgb(0x16123A), ground, 0.35 - (y - 0.83)) : ground;
}

/* Four looks at each pixel smooth the edges. */
static maker_picture draw(scene what, int size)
{
    maker_picture picture = {size, size, std::vector<uint32_t>(static_cast<size_t>(size * size))};
    for (int y = 0; y < size; y++)
        for (int x = 0; x < size; x++) {
            colour sum = {0, 0, 0};
            for (int look = 0; look < 4; look++) {
                const colour one = what((x + 0.25 + 0.5 * (look & 1)) / size,
                                        (y + 0.25 + 0.5 * (look >> 1)) / size);
                sum = {sum.r + one.r, sum.g + one.g, sum.b + one.b};
            }
            const auto byte = [](double value) {
                return static_cast<uint32_t>(lround(value / 4 * 255));
            };
            picture.argb[static_cast<size_t>(y * size + x)] =
                0xFF000000u | byte(sum.r) << 16 | byte(sum.g) << 8 | byte(sum.b);
        }
    return picture;
}

maker_picture cover_spring_walk(int size)
{
    return draw(hills, size);
}

maker_picture cover_night_train(int size)
{
    return draw(train, size);
}
