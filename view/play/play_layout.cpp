#include "view/play/play_layout.h"

#include "config/cfg.h"
#include "skin/skin.h"
#include "skin/skin_table.h"
#include "view/screen/screen.h"

#include <array>
#include <cassert>

constinit play_layout_want play_layout_want_cover = nullptr;
constinit play_layout_want play_layout_want_lyrics = nullptr;

/* What holds at a moment, by the condition's place; taken once for all elements of a frame. */
using conditions = std::array<bool, skin_condition_count>;

static conditions read_conditions()
{
    const sys_guard view_guard(play_view_lock);
    const sys_guard play_guard(play_lock);
    conditions now = {};
    now[skin_condition_at("play")] = play_handle != nullptr;
    now[skin_condition_at("pause")] = play_paused != 0;
    now[skin_condition_at("album_cover")] = play_view.cover_image != nullptr;
    now[skin_condition_at("lyrics")] = play_view.lyrics_texts != nullptr;
    return now;
}

/* A word that is not known changes nothing. */
static void update_element(skin_element *element, const conditions &now)
{
    const skin_meaning &means = element->means;
    if (means.show)
        element->inactive = !now[means.show];
    if (element->show && element->inactive)
        return;
    if (means.hide)
        element->inactive = now[means.hide];
}

/* What a variant may ask about: it starts the search, and tells what was found so far. The lock is
 * recursive, and held already while a layout is chosen. */
struct variant_condition {
    play_layout_want *want;
    bool (*is_held)();
};

static bool cover_is_held()
{
    const sys_guard guard(play_view_lock);
    return play_view.cover_image != nullptr;
}

static bool lyrics_are_held()
{
    const sys_guard guard(play_view_lock);
    return play_view.lyrics_texts != nullptr;
}

static constexpr auto variant_conditions = [] {
    std::array<variant_condition, skin_condition_count> all = {};
    all[skin_condition_at("album_cover")] = {&play_layout_want_cover, cover_is_held};
    all[skin_condition_at("lyrics")] = {&play_layout_want_lyrics, lyrics_are_held};
    return all;
}();

static bool ask_for(uint8_t condition, const void *)
{
    const variant_condition &asked = variant_conditions[condition];
    if (*asked.want)
        (*asked.want)();
    return asked.is_held();
}

static bool page_is_usable_locked(uint32_t index) REQUIRES(play_view_lock)
{
    assert(play_view.play_part && index < play_view.play_part->count);
    return skin_page_fits(&play_view.play_part->pages[index], ask_for, nullptr);
}

static uint32_t find_usable_locked(int32_t start, uint32_t count) REQUIRES(play_view_lock)
{
    uint32_t first = start < 0 ? 0 : static_cast<uint32_t>(start);
    if (start < 0 && play_view.preferred_layout < count &&
        page_is_usable_locked(play_view.preferred_layout))
        first = play_view.preferred_layout;
    for (uint32_t i = 0; i < count; i++) {
        const uint32_t index = static_cast<uint32_t>((static_cast<uint64_t>(first) + i) % count);
        if (page_is_usable_locked(index))
            return index;
    }
    return 0;
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

static int load_skin(const char *package_path, screen_skin_reader read)
{
    skin_part *part =
        screen_read_skin(package_path, "play", cfg_skin_play, sizeof cfg_skin_play, read);
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

int play_layout_load_skin(const char *package_path)
{
    return load_skin(package_path, skin_read_part_sparing);
}

/* The part is replaced on this thread only, and its images are nobody else's. */
static skin_part *current_part()
{
    const sys_guard guard(play_view_lock);
    return play_view.play_part;
}

skin_page *play_layout_shown()
{
    skin_page *page = play_layout_current();
    if (!page || skin_show_page(current_part(), page) == 0)
        return page;
    /* Read whole, it is refused at once; without any other skin what there is of it is shown. */
    (void)load_skin(cfg_skin_play, skin_read_part);
    return play_layout_current();
}

uint32_t play_layout_skin_serial()
{
    const sys_guard guard(play_view_lock);
    return play_view.skin_serial;
}
