/* watch_window: a window that shows one scene of a skin and follows its changes. */
#include "tools/zerv_skin/watch.h"
#include "tools/zerv_skin/watch_choice.h"

#include "platform/base/device.h"
#include "tools/zerv_skin/cli.h"

#ifdef ZERV_SDL

#include "platform/draw/fb.h"
#include "tools/zerv_skin/scene.h"
#include "tools/zerv_skin/stage.h"

#include <SDL.h>
#include <cstdio>
#include <cstdlib>
#include <string>

constexpr int poll_ms = 100; /* how soon a change is seen */
constexpr int first_scale = 2;
constexpr int status_error = 2;

struct window_state {
    const cli_options *options;
    SDL_Window *window;
    SDL_Renderer *renderer;
    SDL_Texture *texture;
    scene_package package;
    size_t shown; /* index of the scene; behind the last one while there is none to show */
    watch_choice choice;
    bool outlines, names, leaves;
    uint64_t fingerprint;
};

static bool has_display()
{
    return getenv("DISPLAY") || getenv("WAYLAND_DISPLAY") || getenv("SDL_VIDEODRIVER");
}

static const scene *current(const window_state *state)
{
    return state->shown < state->package.scenes.size() ? &state->package.scenes[state->shown]
                                                       : nullptr;
}

static void present(window_state *state)
{
    const scene *of = current(state);
    const std::string title =
        std::string(of ? of->name : "the player refuses this skin") + " - zerv-skin";
    SDL_SetWindowTitle(state->window, title.c_str());
    const fb_surface *surface = of ? scene_draw(*of, state->outlines, state->names) : nullptr;
    if (surface)
        SDL_UpdateTexture(state->texture, nullptr, surface->pixels,
                          surface->stride * static_cast<int>(sizeof(uint16_t)));
    SDL_RenderClear(state->renderer);
    if (surface)
        SDL_RenderCopy(state->renderer, state->texture, nullptr, nullptr);
    SDL_RenderPresent(state->renderer);
}

static int reload(window_state *state)
{
    watch_tell(state->options);
    if (scene_open(state->options->subject, &state->package) != 0)
        return -1;
    state->shown = watch_choose(&state->choice, state->package);
    present(state);
    return 0;
}

static void step(window_state *state, scene_axis axis, int direction)
{
    if (current(state))
        state->shown = scene_step(&state->package, state->shown, axis, direction);
    else if (axis == scene_axis::part)
        state->shown = 0; /* the part that was looked at is refused, the other one may be not */
    if (const scene *of = current(state))
        watch_note(&state->choice, *of);
}

struct window_key {
    SDL_Keycode key;
    void (*act)(window_state *state);
};

static const window_key keys[] = {
    {SDLK_RIGHT, [](window_state *s) { step(s, scene_axis::variant, 1); }},
    {SDLK_LEFT, [](window_state *s) { step(s, scene_axis::variant, -1); }},
    {SDLK_DOWN, [](window_state *s) { step(s, scene_axis::state, 1); }},
    {SDLK_UP, [](window_state *s) { step(s, scene_axis::state, -1); }},
    {SDLK_PAGEDOWN, [](window_state *s) { step(s, scene_axis::data, 1); }},
    {SDLK_PAGEUP, [](window_state *s) { step(s, scene_axis::data, -1); }},
    {SDLK_TAB, [](window_state *s) { step(s, scene_axis::part, 1); }},
    {SDLK_o, [](window_state *s) { s->outlines = !s->outlines; }},
    {SDLK_n, [](window_state *s) { s->names = !s->names; }},
    {SDLK_ESCAPE, [](window_state *s) { s->leaves = true; }},
    {SDLK_q, [](window_state *s) { s->leaves = true; }},
};

static void handle(window_state *state, const SDL_Event &event)
{
    if (event.type == SDL_QUIT)
        state->leaves = true;
    if (event.type == SDL_KEYDOWN)
        for (const window_key &each : keys)
            if (each.key == event.key.keysym.sym)
                each.act(state);
    if (event.type == SDL_KEYDOWN || event.type == SDL_WINDOWEVENT)
        present(state);
}

static int open_window(window_state *state)
{
    SDL_SetHint(SDL_HINT_FRAMEBUFFER_ACCELERATION, "0"); /* a picture now and then needs no GPU */
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    if (!has_display() || SDL_Init(SDL_INIT_VIDEO) != 0)
        return -1;
    state->window = SDL_CreateWindow("zerv-skin", SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED,
                                     device_width * first_scale, device_height * first_scale,
                                     SDL_WINDOW_RESIZABLE);
    if (state->window)
        state->renderer = SDL_CreateRenderer(state->window, -1, SDL_RENDERER_SOFTWARE);
    if (state->renderer)
        state->texture =
            SDL_CreateTexture(state->renderer, SDL_PIXELFORMAT_RGB565, SDL_TEXTUREACCESS_STREAMING,
                              device_width, device_height);
    if (!state->texture)
        return -1;
    SDL_RenderSetLogicalSize(state->renderer, device_width, device_height);
    SDL_RenderSetIntegerScale(state->renderer, SDL_TRUE);
    return 0;
}

static void close_window(window_state *state)
{
    if (state->texture)
        SDL_DestroyTexture(state->texture);
    if (state->renderer)
        SDL_DestroyRenderer(state->renderer);
    if (state->window)
        SDL_DestroyWindow(state->window);
    SDL_Quit();
}

static int run(window_state *state)
{
    while (!state->leaves && !watch_ends()) {
        const uint64_t fingerprint = watch_fingerprint(state->options->subject);
        if (fingerprint != state->fingerprint) {
            state->fingerprint = fingerprint;
            if (reload(state) != 0)
                return status_error;
        }
        SDL_Event event;
        if (!SDL_WaitEventTimeout(&event, poll_ms))
            continue;
        do
            handle(state, event);
        while (SDL_PollEvent(&event));
    }
    return 0;
}

int watch_window(const cli_options *options)
{
    window_state state = {};
    state.options = options;
    state.fingerprint = ~uint64_t{0};
    const int status = open_window(&state) == 0 ? run(&state) : -1;
    close_window(&state);
    return status;
}

#else

int watch_window(const cli_options *)
{
    return -1; /* this build has no window */
}

#endif
