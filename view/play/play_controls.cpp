#include "view/play/play_controls.h"

#include "config/cfg.h"
#include "core/services/program.h"
#include "lists/playlist/list_cur_playlist.h"
#include "lists/record/list.h"
#include "platform/audio/audio.h"
#include "platform/base/str.h"
#include "platform/input/touch.h"
#include "platform/sound/sound.h"
#include "play/play.h"
#include "skin/skin_table.h"
#include "view/list/view_list.h"
#include "view/play/play_layout.h"
#include "view/view.h"

#include <array>

constexpr int32_t seek_seconds = 5;
constexpr int32_t restart_after_ms = 3000; /* later, "previous" means this track's beginning */
constexpr int32_t volume_step = 5;

/* The finger that is followed from its press to its release. */
struct touch_state {
    bool touch_captured;
    const skin_element *touch_pressed_element; /* inside the part; null: none */
    const skin_element *bar;                   /* the bar it drags; null: none */
    uint32_t skin_serial;                      /* the part that both pointers belong to */
};

static constinit touch_state touch = {};

/* A key bit and what it does. */
struct key_action {
    uint32_t key_report::*word;
    uint32_t mask;
    int (*act)(view *self); /* -1: input ends here */
};

static void begin_remembered_file()
{
    char path[PATH_MAX];
    if (play_copy_last_path(path))
        (void)play_begin(path);
}

enum class pause_wish { pause, resume, toggle };

/* False without a track. The test and the change are one, because the track may end meanwhile and
 * a stopped player counts as paused. */
static bool change_pause(view *self, pause_wish wish)
{
    const sys_guard guard(play_lock);
    if (!play_handle)
        return false;
    if (wish == pause_wish::toggle)
        play_paused = play_paused ? 0 : 1;
    else
        play_paused = wish == pause_wish::pause ? 1 : 0;
    if (!play_paused)
        sound_wake(); /* the sound thread may have answered the key before the pause ended */
    self->redraw = 1;
    return true;
}

static void seek_locked(int64_t sample) REQUIRES(play_lock)
{
    (void)play_decoder->seek(play_handle, sample);
    sound_wake(); /* a paused track tells its new position */
}

/* A track of unknown length has no last sample: there the decoder knows where it ends. */
static void seek_by(int32_t seconds)
{
    const sys_guard guard(play_lock);
    if (!play_handle)
        return;
    const int64_t length = play_handle->length;
    int64_t sample =
        play_decoder->tell(play_handle) + static_cast<int64_t>(seconds) * play_handle->sample_rate;
    if (sample < 0)
        sample = 0;
    if (length > 0 && sample >= length)
        sample = length - 1;
    seek_locked(sample);
}

static void seek_to_permillage(int32_t permillage)
{
    const sys_guard guard(play_lock);
    if (!play_handle || play_handle->length < 1)
        return;
    seek_locked(((play_handle->length - 1) * permillage + 500) / 1000);
}

static bool restart_track()
{
    const sys_guard guard(play_lock);
    if (!play_handle || play_pos < restart_after_ms)
        return false;
    seek_locked(0);
    return true;
}

static void act_previous(view *)
{
    if (!restart_track())
        (void)list_cur_playlist_go(-1);
}

static void act_next(view *)
{
    (void)list_cur_playlist_go(1);
}

static void act_show_playlist(view *)
{
    (void)view_list_select(list_cur_playlist);
    char cut[512];
    char path[PATH_MAX];
    if (play_copy_path(cut) && play_copy_last_path(path))
        (void)list_cur_playlist_select(path);
    view_select(view_list);
}

static void act_play(view *self)
{
    if (!change_pause(self, pause_wish::resume))
        begin_remembered_file();
}

static void act_pause(view *self)
{
    (void)change_pause(self, pause_wish::pause);
}

static void act_stop(view *)
{
    {
        const sys_guard guard(play_lock);
        if (!play_handle)
            return;
    }
    (void)play_end();
}

static int key_show_playlist(view *self)
{
    act_show_playlist(self);
    return 0;
}

static int key_toggle_pause(view *self)
{
    if (!change_pause(self, pause_wish::toggle))
        begin_remembered_file();
    return 0;
}

static int key_next_layout(view *self)
{
    const sys_guard guard(play_view_lock);
    const uint32_t count = play_view.play_part ? play_view.play_part->count : 0;
    if (count == 0)
        return 0;
    const uint32_t next = (play_view.current_layout_index + 1) % count;
    play_view.preferred_layout = choose_layout(static_cast<int32_t>(next));
    self->redraw = 1;
    return 0;
}

static int key_seek_back(view *)
{
    seek_by(-seek_seconds);
    return 0;
}

static int key_seek_forward(view *)
{
    seek_by(seek_seconds);
    return 0;
}

static int key_previous(view *self)
{
    act_previous(self);
    return 0;
}

static int key_next(view *self)
{
    act_next(self);
    return 0;
}

static int key_leave(view *)
{
    (void)view_list_select(list_main);
    view_select(view_list);
    return -1;
}

static int key_reload_skin(view *)
{
    return play_layout_load_skin(cfg_skin_play) == 0 ? -1 : 0;
}

static int key_louder(view *)
{
    (void)program_change_volume(volume_step);
    return 0;
}

static int key_quieter(view *)
{
    (void)program_change_volume(-volume_step);
    return 0;
}

/* The first that matches acts, alone. Seeking and volume follow the repeats of a held key. */
static constexpr key_action key_actions[] = {
    {&key_report::pressed, key_switch, key_show_playlist},
    {&key_report::pressed, key_select, key_toggle_pause},
    {&key_report::pressed, key_menu, key_next_layout},
    {&key_report::repeat, key_left, key_seek_back},
    {&key_report::repeat, key_right, key_seek_forward},
    {&key_report::pressed, key_page_up, key_previous},
    {&key_report::pressed, key_page_down, key_next},
    {&key_report::pressed, key_back, key_leave},
    {&key_report::pressed, key_reload, key_reload_skin},
    {&key_report::repeat, key_up, key_louder},
    {&key_report::repeat, key_down, key_quieter},
};

struct media_key {
    uint32_t mask;
    void (*act)(view *self);
};

static void act_toggle_pause(view *self)
{
    (void)key_toggle_pause(self);
}

static constexpr media_key media_keys[] = {
    {key_media_play, act_toggle_pause},
    {key_media_stop, act_stop},
    {key_media_prev, act_previous},
    {key_media_next, act_next},
};

typedef void (*press)(view *self);

/* By the element's action; null does nothing. */
static constexpr auto presses = [] {
    std::array<press, skin_press_count> all = {};
    all[skin_press_at("pause")] = act_pause;
    all[skin_press_at("play")] = act_play;
    all[skin_press_at("stop")] = act_stop;
    all[skin_press_at("prev")] = act_previous;
    all[skin_press_at("next")] = act_next;
    all[skin_press_at("list")] = act_show_playlist;
    return all;
}();

typedef void (*drag)(int32_t permillage);

/* By the bar's action; null does nothing. */
static constexpr auto drags = [] {
    std::array<drag, skin_bar_action_count> all = {};
    all[skin_bar_action_at("play")] = seek_to_permillage;
    return all;
}();

static int handle_keys(view *self)
{
    for (const key_action &known : key_actions)
        if (input_key.*known.word & known.mask)
            return known.act(self);
    return 0;
}

static bool holds_finger(const skin_element *element)
{
    return skin_element_holds(element, input_touch_x, input_touch_y);
}

/* A skin that was loaded meanwhile took the elements along that the finger was on. */
static void forget_other_skin()
{
    const uint32_t serial = play_layout_skin_serial();
    if (touch.skin_serial != serial)
        touch = {false, nullptr, nullptr, serial};
}

/* Only a bar that has something to move follows the finger. */
static void touch_bar(const skin_element *bar)
{
    const int32_t permillage = skin_get_scroll_permillage(bar, input_touch_x, input_touch_y);
    const drag act = drags[bar->means.action];
    if (permillage < 0 || !act)
        return;
    touch.bar = bar;
    act(permillage);
}

typedef void (*touch_element)(const skin_element *element);

/* By the element's kind: a finger came down on it, or moves into it, and nobody else gets that
 * finger. Where null, only an action can be pressed. */
static constexpr auto touches = [] {
    std::array<touch_element, skin_kind_count> all = {};
    all[skin_kind_at("scroll")] = touch_bar;
    return all;
}();

static const skin_element *find_touched(const skin_page *page)
{
    for (uint32_t i = 0; i < page->element_count; i++) {
        const skin_element *element = &page->elements[i];
        if (!element->inactive && touches[element->means.kind] && holds_finger(element))
            return element;
    }
    return nullptr;
}

static const skin_element *find_action(const skin_page *page)
{
    for (uint32_t i = 0; i < page->element_count; i++) {
        const skin_element *element = &page->elements[i];
        if (!element->inactive && element->action && holds_finger(element))
            return element;
    }
    return nullptr;
}

static void drag_bar()
{
    if (touch.bar && !touch.bar->inactive)
        touch_bar(touch.bar);
}

/* A press is a new finger. The release of the one before may never have come: it went to another
 * screen, or the display was dark. */
static void follow_finger(const skin_page *page)
{
    if (input_touch_type == touch_type_press)
        touch = {false, nullptr, nullptr, touch.skin_serial};
    if (touch.touch_captured) {
        if (input_touch_type == touch_type_move)
            drag_bar();
        return;
    }
    if (const skin_element *touched = find_touched(page)) {
        touch.touch_captured = true;
        touches[touched->means.kind](touched);
        return;
    }
    if (input_touch_type != touch_type_press)
        return;
    touch.touch_pressed_element = find_action(page);
    touch.touch_captured = touch.touch_pressed_element != nullptr;
}

static void release_finger(view *self)
{
    const skin_element *element = touch.touch_pressed_element;
    touch.touch_captured = false;
    touch.touch_pressed_element = nullptr;
    touch.bar = nullptr;
    if (!element || element->inactive || !holds_finger(element))
        return;
    if (const press act = presses[element->means.action])
        act(self);
}

static void handle_touch(view *self)
{
    skin_page *page = play_layout_current();
    if (!page)
        return;
    play_layout_update_visibility(page);
    if (input_touch_type == touch_type_release)
        release_finger(self);
    else if (input_touch_type == touch_type_press || input_touch_type == touch_type_move)
        follow_finger(page);
}

int play_input(view *self)
{
    if (self->key_checked && handle_keys(self) != 0)
        return -1;
    if (view_selected != self || view_anime_started)
        return -1;
    if (!self->touch_checked)
        return 0;
    forget_other_skin();
    handle_touch(self);
    return view_selected == self ? 0 : -1;
}

void play_controls_media(uint32_t pressed)
{
    for (const media_key &known : media_keys)
        if (pressed & known.mask)
            known.act(view_play);
}
