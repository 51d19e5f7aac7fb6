/* device_sdl_window: the window, and the last frame in it. */
#include "platform/device/sdl/device_sdl.h"

#include "platform/draw/fb.h"

#include <SDL.h>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

constexpr char window_title[] = "Zerv Player";
constexpr int32_t scale_most = 4;

/* Main thread. */
static constinit SDL_Window *window = nullptr;
static constinit SDL_Renderer *renderer = nullptr; /* knows where the picture is in the window */
static constinit SDL_Surface *kept = nullptr;      /* the last frame */
static constinit const void *painted = nullptr;    /* pixels of the surface that holds it whole */
static constinit bool lit = false;

/* The largest whole factor that leaves room for the rest of the desktop. */
static int32_t choose_scale(int32_t width, int32_t height)
{
    SDL_Rect usable = {};
    if (SDL_GetDisplayUsableBounds(0, &usable) != 0)
        return 1;
    const int32_t across = usable.w * 3 / 4 / width, down = usable.h * 3 / 4 / height;
    return std::clamp(std::min(across, down), 1, scale_most);
}

int sdl_screen_close()
{
    sdl_wait_watch(nullptr);
    SDL_FreeSurface(kept);
    SDL_DestroyRenderer(renderer);
    SDL_DestroyWindow(window);
    kept = nullptr;
    painted = nullptr;
    renderer = nullptr;
    window = nullptr;
    return 0;
}

static int open_window(int32_t width, int32_t height)
{
    const int32_t scale = choose_scale(width, height);
    window =
        SDL_CreateWindow(window_title, SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED,
                         width * scale, height * scale, SDL_WINDOW_RESIZABLE | SDL_WINDOW_SHOWN);
    if (!window)
        return -1;
    sdl_wait_watch(window);
    SDL_SetWindowMinimumSize(window, width, height);
    sdl_show_icon(window);
    renderer = SDL_CreateRenderer(window, -1, SDL_RENDERER_SOFTWARE);
    if (!renderer || SDL_RenderSetLogicalSize(renderer, width, height) != 0 ||
        SDL_RenderSetIntegerScale(renderer, SDL_TRUE) != 0)
        return -1;
    kept = SDL_CreateRGBSurfaceWithFormat(0, width, height, 16, SDL_PIXELFORMAT_RGB565);
    return kept ? 0 : -1;
}

int sdl_screen_open(int32_t width, int32_t height)
{
    if (open_window(width, height) == 0)
        return 0;
    fprintf(stderr, "there is no window: %s\n", SDL_GetError());
    (void)sdl_screen_close();
    return -1;
}

/* Where a part of the picture is in the window. */
static SDL_Rect in_window(const SDL_Rect &part)
{
    SDL_Rect to = {};
    int right = 0, bottom = 0;
    SDL_RenderLogicalToWindow(renderer, static_cast<float>(part.x), static_cast<float>(part.y),
                              &to.x, &to.y);
    SDL_RenderLogicalToWindow(renderer, static_cast<float>(part.x + part.w),
                              static_cast<float>(part.y + part.h), &right, &bottom);
    to.w = right - to.x;
    to.h = bottom - to.y;
    return to;
}

/* All of the window, which has another surface after each change of its size. */
static int present()
{
    SDL_Surface *to = window ? SDL_GetWindowSurface(window) : nullptr;
    if (!to || !kept)
        return -1;
    const SDL_Rect whole = {0, 0, kept->w, kept->h}, at = in_window(whole);
    int result = 0;
    if (!lit || at.w != to->w || at.h != to->h)
        result |= SDL_FillRect(to, nullptr, SDL_MapRGB(to->format, 0, 0, 0));
    if (lit)
        result |= sdl_paint(kept, whole, to, at);
    result |= SDL_UpdateWindowSurface(window);
    painted = to->pixels;
    return result ? -1 : 0;
}

void sdl_screen_repeat()
{
    if (window)
        (void)present(); /* the next frame tells whether the window still works */
}

void sdl_screen_toggle_full()
{
    if (!window)
        return;
    const bool full = (SDL_GetWindowFlags(window) & SDL_WINDOW_FULLSCREEN_DESKTOP) != 0;
    /* A window system that refuses leaves the window as it is. */
    (void)SDL_SetWindowFullscreen(window, full ? 0 : SDL_WINDOW_FULLSCREEN_DESKTOP);
}

/* Tags and file names may hold anything; some window systems end a program that hands them bytes
 * which are no UTF-8. */
void sdl_screen_title(const char *text)
{
    char *clean = SDL_iconv_string("UTF-8", "UTF-8", text, SDL_strlen(text) + 1);
    if (window)
        SDL_SetWindowTitle(window, clean ? clean : window_title);
    SDL_free(clean);
}

/* A hundred times what changes in a second is in a whole window. */
static int present_parts(const fb_changes &changes)
{
    SDL_Rect parts[std::size(changes.rects)];
    SDL_Surface *to = SDL_GetWindowSurface(window);
    if (!to || to->pixels != painted)
        return present();
    int result = 0;
    for (uint32_t i = 0; i < changes.count; i++) {
        const fb_rect &each = changes.rects[i];
        const SDL_Rect part = {each.x, each.y, each.w, each.h};
        parts[i] = in_window(part);
        result |= sdl_paint(kept, part, to, parts[i]);
    }
    if (changes.count > 0 && result == 0)
        result = SDL_UpdateWindowSurfaceRects(window, parts, static_cast<int>(changes.count));
    return result == 0 ? 0 : -1;
}

static void keep(const fb_surface *frame, const fb_rect &part)
{
    auto *to = static_cast<uint8_t *>(kept->pixels) + part.x * ptrdiff_t{2};
    for (int32_t y = part.y; y < part.y + part.h; y++)
        memcpy(to + static_cast<ptrdiff_t>(y) * kept->pitch,
               frame->pixels + static_cast<ptrdiff_t>(y) * frame->stride + part.x,
               static_cast<size_t>(part.w) * sizeof *frame->pixels);
}

int sdl_screen_show(const fb_surface *frame)
{
    const fb_changes &changes = frame->changes;
    if (!kept || frame->width != kept->w || frame->height != kept->h)
        return -1;
    if (!changes.partial)
        keep(frame, {0, 0, frame->width, frame->height});
    for (uint32_t i = 0; changes.partial && i < changes.count; i++)
        keep(frame, changes.rects[i]);
    return changes.partial && lit ? present_parts(changes) : present();
}

int sdl_screen_power(int on)
{
    lit = on != 0;
    return present();
}
