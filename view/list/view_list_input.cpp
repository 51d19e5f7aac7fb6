/* view_list_input: moves the cursor and hands keys and rows to the current list. */
#include "lists/record/list.h"
#include "platform/input/touch.h"
#include "skin/skin_table.h"
#include "view/list/view_list.h"
#include "view/list/view_list_state.h"
#include "view/view.h"

#include <algorithm>
#include <array>

/* One finger at a time. */
struct finger {
    bool captured;               /* it did something; moves are ignored until it lifts */
    int32_t index;               /* row pressed */
    const skin_element *element; /* slot pressed, null for none */
};
static constinit finger touch = {};

void view_list_forget_touch()
{
    touch = {};
}

/* ---- keys ---- */

struct step {
    uint32_t key;
    /* The new cursor of a list of `count` rows, `page` of them on the screen. */
    int64_t (*from)(int64_t cursor, int64_t count, int64_t page);
};

static int64_t step_up(int64_t cursor, int64_t count, int64_t)
{
    return cursor - 1 < 0 ? count - 1 : cursor - 1;
}

static int64_t step_down(int64_t cursor, int64_t count, int64_t)
{
    return cursor + 1 >= count ? 0 : cursor + 1;
}

static int64_t step_page_up(int64_t cursor, int64_t, int64_t page)
{
    return std::max<int64_t>(cursor - page, 0);
}

static int64_t step_page_down(int64_t cursor, int64_t count, int64_t page)
{
    return cursor + page >= count ? count - 1 : cursor + page;
}

/* The first key that is down counts. */
static constexpr step steps[] = {
    {key_up, step_up},
    {key_down, step_down},
    {key_page_up, step_page_up},
    {key_page_down, step_page_down},
};

static void set_cursor(view *self, list *shown, int64_t cursor)
{
    list_set_cursor(shown, static_cast<int32_t>(std::clamp<int64_t>(cursor, -1, INT32_MAX)));
    self->redraw = 1;
}

static void move_cursor(view *self, list *shown)
{
    const view_list_model model = view_list_look(shown);
    if (!self->key_checked || model.cursor == -1)
        return;
    for (const step &each : steps) {
        if (!(input_key.repeat & each.key))
            continue;
        set_cursor(self, shown, each.from(model.cursor, model.count, view_list_state.rows));
        return;
    }
}

struct choice {
    uint32_t key;
    int32_t mode;
};

static constexpr choice choices[] = {
    {key_select, list_mode_select},
    {key_right, list_mode_right},
    {key_menu, list_mode_menu},
    {key_reload, list_mode_reload},
};

/* An operation of a list may have shown another list or another screen. */
static bool has_changed(const view *self, const list *shown)
{
    return view_selected != self || list_page_selected != shown;
}

/* Calls the list's select. True when this event is done with. */
static bool select_row(view *self, list *shown, int32_t index, int32_t mode)
{
    return shown->select(self, shown, index, mode) != 0 || has_changed(self, shown);
}

/* True when the event is done with. */
static bool choose_row(view *self, list *shown)
{
    const int32_t cursor = view_list_look(shown).cursor;
    if (cursor == -1)
        return false;
    for (const choice &each : choices) {
        if (input_key.pressed & each.key)
            return select_row(self, shown, cursor, each.mode);
    }
    return false;
}

static bool handle_keys(view *self, list *shown)
{
    if (!self->key_checked)
        return false;
    if (choose_row(self, shown))
        return true;
    if (input_key.pressed & key_left)
        return select_row(self, shown, -1, list_mode_right);
    if (input_key.pressed & key_switch) {
        view_select(view_play);
        return true;
    }
    return false;
}

/* ---- touch ---- */

static bool is_inside(const skin_element *element)
{
    return skin_element_holds(element, input_touch_x, input_touch_y);
}

typedef void (*drag)(view *self, list *shown, int32_t permillage);

static void drag_cursor(view *self, list *shown, int32_t permillage)
{
    const uint32_t count = view_list_look(shown).count;
    if (count == 0)
        return; /* no row to go to */
    /* A bar of two pixels may ask for the row behind the last one: no slot shows it, and the keys
     * lead back from there. */
    set_cursor(self, shown, (int64_t{permillage} * (count - 1) + 500) / 1000);
}

/* By the bar's action; null does nothing. */
static constexpr auto drags = [] {
    std::array<drag, skin_bar_action_count> all = {};
    all[skin_bar_action_at("list")] = drag_cursor;
    return all;
}();

static void touch_bar(view *self, list *shown, const skin_element *bar)
{
    const int32_t permillage = skin_get_scroll_permillage(bar, input_touch_x, input_touch_y);
    const drag act = drags[bar->means.action];
    if (permillage != -1 && act)
        act(self, shown, permillage);
}

typedef void (*touch_element)(view *self, list *shown, const skin_element *element);

/* By the element's kind: a finger came down on it, or moves into it, and no row gets that finger. */
static constexpr auto touches = [] {
    std::array<touch_element, skin_kind_count> all = {};
    all[skin_kind_at("scroll")] = touch_bar;
    return all;
}();

/* Bars may lie over each other: each of them gets the touch. */
static void press_bars(view *self, list *shown)
{
    const skin_page *page = view_list_state.page;
    for (uint32_t i = 0; i < page->element_count; i++) {
        const skin_element *element = &page->elements[i];
        const touch_element act = touches[element->means.kind];
        if (!act || element->inactive || !is_inside(element))
            continue;
        touch.captured = true;
        act(self, shown, element);
    }
}

static void press_row(const list *shown)
{
    const skin_page *page = view_list_state.page;
    const view_list_model model = view_list_look(shown);
    view_list_rows walk = view_list_first_rows(model.cursor, view_list_state.rows);
    for (uint32_t i = 0; i < page->element_count; i++) {
        const skin_element *element = &page->elements[i];
        view_list_slot slot = {};
        if (!view_list_next_slot(&walk, element, &slot))
            continue;
        const bool fits = slot.selected == (slot.index == model.cursor);
        const bool exists = slot.index >= 0 && static_cast<uint32_t>(slot.index) < model.count;
        if (!fits || !exists || !is_inside(element))
            continue;
        touch = {true, slot.index, element};
        return;
    }
}

static void touch_down(view *self, list *shown)
{
    /* The release of an earlier touch may have gone to another screen. */
    if (input_touch_type == touch_type_press)
        touch = {};
    if (touch.captured)
        return;
    press_bars(self, shown);
    if (input_touch_type == touch_type_press && !touch.captured)
        press_row(shown);
}

static void touch_up(view *self, list *shown)
{
    /* select may load another skin, so nothing of the touch is looked at after it. */
    const finger lifted = touch;
    touch = {};
    if (!lifted.element || !is_inside(lifted.element))
        return;
    if (static_cast<uint32_t>(lifted.index) >= view_list_look(shown).count)
        return; /* the rows have changed under the finger */
    set_cursor(self, shown, lifted.index);
    (void)shown->select(self, shown, lifted.index,
                        list_mode_select); /* what changed is seen below */
}

static void handle_touch(view *self, list *shown)
{
    if (input_touch_type == touch_type_release)
        touch_up(self, shown);
    else if (input_touch_type == touch_type_press || input_touch_type == touch_type_move)
        touch_down(self, shown);
}

int view_list_input(view *self)
{
    list *shown = list_page_selected;
    if (!shown || !view_list_state.page)
        return 0;
    move_cursor(self, shown);
    if (shown->input(self, shown) != 0 || has_changed(self, shown))
        return -1;
    if (handle_keys(self, shown))
        return -1;
    if (view_anime_started != 0)
        return -1;
    if (!self->touch_checked)
        return 0;
    handle_touch(self, shown);
    return has_changed(self, shown) ? -1 : 0;
}
