/* bench_graphics: what a frame is made of, and what workers do to pictures. */
#include "platform/base/owner.h"
#include "platform/draw/fb.h"
#include "platform/font/font.h"
#include "platform/image/image.h"

#include <benchmark/benchmark.h>
#include <cstdio>

using surface_owner = owner<fb_surface, fb_free>;
using image_owner = owner<image, image_free>;

static constexpr const char *font_path = "/usr/share/fonts/truetype/wqy/wqy-microhei.ttc";

/* Smooth colours; `round`: a disc of them with a soft edge, like a button. */
static image_owner picture(int32_t width, int32_t height, bool round)
{
    image_owner made(image_create(width, height));
    for (int32_t y = 0; made && y < height; y++) {
        for (int32_t x = 0; x < width; x++) {
            const int32_t across = 2 * x - width;
            const int32_t down = 2 * y - height;
            const int32_t inside = width * height - across * across - down * down;
            const int32_t alpha = !round || inside > 4 * width ? 255
                                  : inside > 0                 ? 63 * inside / width
                                                               : 0;
            const uint32_t share = static_cast<uint32_t>(alpha);
            const uint32_t red = static_cast<uint32_t>(x) * share / static_cast<uint32_t>(width);
            const uint32_t green = static_cast<uint32_t>(y) * share / static_cast<uint32_t>(height);
            made->argb[y * width + x] = share << 24 | red << 16 | green << 8 | share / 2;
        }
    }
    return made;
}

static void count_pixels(benchmark::State &state, int64_t pixels)
{
    state.SetItemsProcessed(state.iterations() * pixels);
}

static void copy_screen(benchmark::State &state)
{
    const surface_owner from(fb_create(320, 240));
    const surface_owner to(fb_create(320, 240));
    const int32_t x = static_cast<int32_t>(state.range(0));
    for (auto _ : state) {
        fb_copy(to.get(), from.get(), x, 0, 320, 240, 0, 0);
        benchmark::ClobberMemory();
    }
    count_pixels(state, (320 - x) * 240);
}
BENCHMARK(copy_screen)->Arg(0)->Arg(7);

static void clear_screen(benchmark::State &state)
{
    const surface_owner to(fb_create(320, 240));
    for (auto _ : state) {
        fb_clear(to.get(), 0x1234);
        benchmark::ClobberMemory();
    }
    count_pixels(state, 320 * 240);
}
BENCHMARK(clear_screen);

static void draw(benchmark::State &state, const image *img, int32_t alpha)
{
    const surface_owner to(fb_create(320, 240));
    for (auto _ : state) {
        fb_draw_image(to.get(), img, 0, 0, img->width, img->height, 0, 0, alpha);
        benchmark::ClobberMemory();
    }
    count_pixels(state, img->width * img->height);
}

static void draw_opaque_screen(benchmark::State &state)
{
    const image_owner img = picture(320, 240, false);
    (void)image_dither(img.get());
    draw(state, img.get(), 255);
}
BENCHMARK(draw_opaque_screen);

static void draw_button(benchmark::State &state)
{
    const image_owner img = picture(48, 48, true);
    (void)image_dither(img.get());
    draw(state, img.get(), 255);
}
BENCHMARK(draw_button);

static void draw_disc_screen(benchmark::State &state)
{
    const image_owner img = picture(320, 240, true);
    (void)image_dither(img.get());
    draw(state, img.get(), static_cast<int32_t>(state.range(0)));
}
BENCHMARK(draw_disc_screen)->Arg(255)->Arg(128);

static void draw_text(benchmark::State &state, const char *text, bool fresh)
{
    if (font_open(font_path)) {
        state.SkipWithError("no font");
        return;
    }
    const surface_owner to(fb_create(320, 240));
    char numbered[200];
    int number = 0;
    for (auto _ : state) {
        /* Another text each time, so that no laid-out line is found. */
        snprintf(numbered, sizeof numbered, "%s %d", text, fresh ? number++ % 10000 : 1000);
        fb_draw_text(to.get(), numbered, 4, 4, 312, 16, 16, 0xFFFF, fb_align_center);
    }
    (void)font_close();
}

static void draw_latin(benchmark::State &state)
{
    draw_text(state, "The title of a track", state.range(0));
}
BENCHMARK(draw_latin)->ArgName("fresh")->Arg(0)->Arg(1);

static void draw_han(benchmark::State &state)
{
    draw_text(state, "当前播放列表 媒体库 设置", state.range(0));
}
BENCHMARK(draw_han)->ArgName("fresh")->Arg(0)->Arg(1);

static void draw_arabic(benchmark::State &state)
{
    draw_text(state, "مرحبا بالعالم", state.range(0));
}
BENCHMARK(draw_arabic)->ArgName("fresh")->Arg(0)->Arg(1);

static void shorten_text(benchmark::State &state)
{
    draw_text(state, "A title that is far too long for the line it has to stand in, whatever",
              state.range(0));
}
BENCHMARK(shorten_text)->ArgName("fresh")->Arg(0)->Arg(1);

static void open_font(benchmark::State &state)
{
    for (auto _ : state) {
        if (font_open(font_path)) {
            state.SkipWithError("no font");
            return;
        }
        (void)font_close();
    }
}
BENCHMARK(open_font)->Unit(benchmark::kMicrosecond);

/* From a square of the first side to one of the second. */
static void scale(benchmark::State &state)
{
    const int32_t from_side = static_cast<int32_t>(state.range(0));
    const int32_t to_side = static_cast<int32_t>(state.range(1));
    const image_owner from = picture(from_side, from_side, false);
    const image_owner to(image_create(to_side, to_side));
    for (auto _ : state)
        (void)image_copy_resampled(to.get(), from.get(), 0, 0, to_side, to_side, 0, 0, from_side,
                                   from_side);
    count_pixels(state, int64_t{from_side} * from_side);
}
BENCHMARK(scale)
    ->Args({100, 200})
    ->Args({300, 120})
    ->Args({500, 200})
    ->Args({1400, 120})
    ->Args({4000, 120})
    ->Unit(benchmark::kMicrosecond);

static void dither(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        const image_owner img = picture(320, 240, state.range(0));
        state.ResumeTiming();
        (void)image_dither(img.get());
    }
    count_pixels(state, 320 * 240);
}
BENCHMARK(dither)->ArgName("alpha")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
