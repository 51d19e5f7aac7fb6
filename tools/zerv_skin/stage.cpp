/* stage: the player around a skin, without a device: what its screens would show. */
#include "tools/zerv_skin/stage.h"

#include "core/lang/lang.h"
#include "lists/record/list.h"
#include "platform/audio/audio.h"
#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/base/str.h"
#include "platform/draw/fb.h"
#include "platform/font/font.h"
#include "platform/image/image.h"
#include "play/play.h"
#include "view/list/view_list.h"
#include "view/play/play_layout.h"
#include "view/play/play_state.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

constexpr int32_t sample_rate = 44100;
constexpr int32_t cover_side = 300;
static const char *const font_places[] = {
    "%sQuenlyAquaEJ.ttf",
    "%s../player/QuenlyAquaEJ.ttf",
    "%s../share/zerv-player/QuenlyAquaEJ.ttf", /* where both are installed */
    "/usr/share/fonts/truetype/wqy/wqy-microhei.ttc",
};

struct sample_lyric {
    uint32_t ms;
    const char *text;
};

static const sample_lyric sample_lyrics[] = {
    {0, "Morning comes across the water"},
    {70000, "네가 없는 아침에도 해는 뜨고"},
    {80000, "风从海上来，带着你的名字"},
    {90000, "and the long road bends to the sea"},
    {100000, "We walk on"},
};

/* Main thread, like everything here. */
static constinit int32_t battery_level = 100;
static constinit audio_tags tags = {};
static constinit audio_stream stream = {};
static constinit list rows = {};
static constinit bool has_font = false;

/* ---- a device that shows nothing ---- */

static bool never_fits()
{
    return false;
}

static int succeed()
{
    return 0;
}

static int open_screen(int32_t, int32_t)
{
    return 0;
}

static int show_screen(const fb_surface *)
{
    return 0;
}

static int power_screen(int)
{
    return 0;
}

static void poll_nothing() {}

static int32_t battery()
{
    return battery_level;
}

static int64_t msec()
{
    return clock_real_msec();
}

/* A Friday in January, 14:05 local time: pictures are the same whenever they are made. */
static time_t wall()
{
    tm local = {};
    local.tm_min = 5;
    local.tm_hour = 14;
    local.tm_mday = 9;
    local.tm_year = 2026 - 1900;
    local.tm_isdst = -1;
    return mktime(&local);
}

static void msleep(int32_t ms)
{
    clock_real_msleep(ms);
}

static const device stage_device = {
    .name = "stage",
    .fits = never_fits,
    .open = succeed,
    .close = succeed,
    .screen_open = open_screen,
    .screen_close = succeed,
    .screen_show = show_screen,
    .screen_power = power_screen,
    .key_open = succeed,
    .key_close = succeed,
    .touch_open = succeed,
    .touch_close = succeed,
    .poll = poll_nothing,
    .speaker = nullptr,
    .battery = battery,
    .msec = msec,
    .wall = wall,
    .msleep = msleep,
};

int stage_open()
{
    device_current = &stage_device;
    (void)str_copy(lang_selected, "en"); /* times as every reader knows them */
    play_view_open(true);
    list_page_selected = &rows;
    return fb_open(device_width, device_height);
}

void stage_close()
{
    play_view_open(false);
    (void)fb_close();
    (void)font_close();
    has_font = false;
}

/* The folder of this program, with its "/". */
static void program_folder(char (&to)[PATH_MAX])
{
    const ssize_t length = readlink("/proc/self/exe", to, sizeof(to) - 1);
    to[length > 0 ? length : 0] = '\0';
    char *slash = strrchr(to, '/');
    if (slash)
        slash[1] = '\0';
}

static int open_font(const char *path)
{
    if (path)
        return font_open(path);
    char folder[PATH_MAX];
    program_folder(folder);
    for (const char *place : font_places) {
        const char *const inside = strstr(place, "%s");
        char candidate[PATH_MAX];
        const bool whole =
            inside ? str_format(candidate, "%s%s", folder, place + 2) : str_copy(candidate, place);
        if (whole && access(candidate, R_OK) == 0 && font_open(candidate) == 0)
            return 0;
    }
    return -1;
}

int stage_open_font(const char *path)
{
    has_font = open_font(path) == 0;
    return has_font ? 0 : -1;
}

bool stage_has_font()
{
    return has_font;
}

/* ---- the play screen ---- */

/* A sun over the sea: light and dark, so that a skin's frame can be judged. */
static uint32_t cover_pixel(int32_t x, int32_t y)
{
    const int32_t dx = x - cover_side / 3, dy = y - cover_side * 2 / 5;
    const uint32_t fade = static_cast<uint32_t>(y * 160 / cover_side);
    if (y > cover_side * 3 / 5)
        return 0xFF000000 | (0x10 + fade / 4) << 16 | (0x30 + fade / 4) << 8 | (0x60 + fade / 2);
    if (dx * dx + dy * dy < cover_side * cover_side / 36)
        return 0xFFFFF0C0;
    return 0xFF000000 | (0xF0 - fade / 3) << 16 | (0x70 + fade / 2) << 8 | (0x40 + fade / 2);
}

static play_cover *make_cover()
{
    image *picture = image_create(cover_side, cover_side);
    if (!picture)
        return nullptr;
    for (int32_t y = 0; y < cover_side; y++)
        for (int32_t x = 0; x < cover_side; x++)
            picture->argb[y * cover_side + x] = cover_pixel(x, y);
    picture->has_alpha = false;
    return play_cover_new(picture, cover_side, cover_side);
}

static void set_lyrics_locked() REQUIRES(play_view_lock)
{
    constexpr uint32_t count = sizeof(sample_lyrics) / sizeof(sample_lyrics[0]);
    char **texts = static_cast<char **>(calloc(count, sizeof(char *)));
    uint32_t *times = static_cast<uint32_t *>(calloc(count, sizeof(uint32_t)));
    bool whole = texts && times;
    for (uint32_t i = 0; whole && i < count; i++) {
        times[i] = sample_lyrics[i].ms;
        texts[i] = strdup(sample_lyrics[i].text);
        whole = texts[i] != nullptr;
    }
    play_view.lyrics_texts = texts;
    play_view.lyrics_times = times;
    play_view.lyrics_count = whole ? count : 0;
    play_view.lyrics_first_shown = -1;
}

/* A new track for every state, whose cover and lyrics are there already. */
static void set_track(const stage_play_state *state)
{
    const sys_guard guard(play_lock);
    tags = {const_cast<char *>(state->title), const_cast<char *>(state->artist),
            const_cast<char *>(state->album), nullptr, nullptr};
    stream = {.sample_rate = sample_rate,
              .length = static_cast<int64_t>(state->length_ms) * sample_rate / 1000,
              .tags = &tags,
              .priv = nullptr};
    play_handle = state->loaded ? &stream : nullptr;
    play_paused = state->paused || !state->loaded;
    play_pos = state->loaded ? state->position_ms : 0;
    play_handle_id++;
    cover_loaded_for = lyrics_loaded_for = play_handle_id;
}

void stage_set_play(const stage_play_state *state)
{
    battery_level = state->battery;
    set_track(state);
    const sys_guard guard(play_view_lock);
    play_drop_cover_locked();
    play_drop_lyrics_locked();
    if (state->cover)
        play_view.cover_image = make_cover();
    if (state->lyrics)
        set_lyrics_locked();
    play_view.cover_id = play_view.lyrics_id = play_handle_id;
}

/* ---- the list screen ---- */

void stage_set_list(const stage_list_state *state)
{
    battery_level = state->battery;
    char **items = list_items_new(state->count);
    for (uint32_t i = 0; items && i < state->count; i++)
        items[i] = strdup(state->rows[i % state->row_count]);
    const sys_guard guard(list_lock);
    list_set_rows(&rows, items, items ? state->count : 0);
    (void)str_copy(rows.title, state->title);
    (void)str_copy(rows.subtitle, state->subtitle);
    rows.cursor = state->cursor;
}
