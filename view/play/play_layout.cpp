#include "view/play/play_layout.h"

#include "config/cfg.h"
#include "skin/skin.h"

#include <cstring>

constinit play_layout_want play_layout_want_cover = nullptr;
constinit play_layout_want play_layout_want_lyrics = nullptr;

/* What the condition words ask about, taken once for all elements of a frame. */
struct conditions {
    bool play, pause, album_cover, lyrics;
};

struct condition_word {
    const char *word;
    bool conditions::*holds;
};

static constexpr condition_word condition_words[] = {
    {"play", &conditions::play},
    {"pause", &conditions::pause},
    {"album_cover", &conditions::album_cover},
    {"lyrics", &conditions::lyrics},
};

static conditions read_conditions()
{
    const sys_guard view_guard(play_view_lock);
    const sys_guard play_guard(play_lock);
    return {
        .play = play_handle != nullptr,
        .pause = play_paused != 0,
        .album_cover = play_view.cover_image != nullptr,
        .lyrics = play_view.lyrics_texts != nullptr,
    };
}

/* Null for no word and for one that is not known. */
static const condition_word *find_condition(const char *word)
{
    if (!word)
        return nullptr;
    for (const condition_word &known : condition_words)
        if (strcmp(known.word, word) == 0)
            return &known;
    return nullptr;
}

static void update_element(skin_element *element, const conditions &now)
{
    if (element->show) {
        if (const condition_word *show = find_condition(element->show))
            element->inactive = !(now.*show->holds);
        if (element->inactive)
            return;
    }
    if (const condition_word *hide = find_condition(element->hide))
        element->inactive = now.*hide->holds;
}

/* Asks for a cover or lyrics when the word names one. False when it names neither. */
static bool word_is_held_locked(const char *word, bool *held) REQUIRES(play_view_lock)
{
    if (!word)
        return false;
    if (strcmp(word, "album_cover") == 0) {
        if (play_layout_want_cover)
            play_layout_want_cover();
        *held = play_view.cover_image != nullptr;
        return true;
    }
    if (strcmp(word, "lyrics") == 0) {
        if (play_layout_want_lyrics)
            play_layout_want_lyrics();
        *held = play_view.lyrics_texts != nullptr;
        return true;
    }
    return false;
}

static bool page_is_usable_locked(uint32_t index) REQUIRES(play_view_lock)
{
    const skin_page *page = &play_view.play_part->pages[index];
    bool held = false;
    if (word_is_held_locked(page->show, &held) && !held)
        return false;
    if (word_is_held_locked(page->hide, &held) && held)
        return false;
    return true;
}

static uint32_t find_usable_locked(int32_t start, uint32_t count) REQUIRES(play_view_lock)
{
    uint32_t first = start < 0 ? 0 : (uint32_t)start;
    if (start < 0 && play_view.preferred_layout < count &&
        page_is_usable_locked(play_view.preferred_layout))
        first = play_view.preferred_layout;
    for (uint32_t i = 0; i < count; i++) {
        const uint32_t index = (uint32_t)(((uint64_t)first + i) % count);
        if (page_is_usable_locked(index))
            return index;
    }
    return 0;
}

static skin_part *read_part_with_fallbacks(const char *package_path)
{
    if (skin_part *part = skin_read_part(package_path, "play"))
        return part;
    cfg_set_default_skin_part(cfg_skin_play, sizeof cfg_skin_play, "play");
    if (skin_part *part = skin_read_part(cfg_skin_play, "play"))
        return part;
    if (cfg_find_available_skin_part(cfg_skin_play, sizeof cfg_skin_play, "play") != 0)
        return nullptr;
    return skin_read_part(cfg_skin_play, "play");
}

uint32_t choose_layout(int32_t start)
{
    const sys_guard guard(play_view_lock);
    const uint32_t count = play_view.play_part ? play_view.play_part->count : 0;
    const uint32_t index = count > 0 ? find_usable_locked(start, count) : 0;
    play_view.current_layout_index = index;
    play_view.current_layout = count > 0 ? &play_view.play_part->pages[index] : nullptr;
    play_drop_scaled_locked();
    return index;
}

void play_layout_update_visibility(skin_page *page)
{
    const conditions now = read_conditions();
    for (uint32_t i = 0; i < page->element_count; i++)
        update_element(&page->elements[i], now);
}

skin_page *play_layout_current()
{
    const sys_guard guard(play_view_lock);
    return play_view.current_layout;
}

int play_layout_load_skin(const char *package_path)
{
    skin_part *part = read_part_with_fallbacks(package_path);
    if (!part)
        return -1;
    skin_part *old = nullptr;
    {
        const sys_guard guard(play_view_lock);
        old = play_view.play_part;
        play_view.play_part = part;
        play_view.skin_serial++;
        play_view.preferred_layout = 0;
        (void)choose_layout(0);
    }
    (void)skin_free_part(old);
    play_view_request_redraw();
    return 0;
}

uint32_t play_layout_skin_serial()
{
    const sys_guard guard(play_view_lock);
    return play_view.skin_serial;
}
