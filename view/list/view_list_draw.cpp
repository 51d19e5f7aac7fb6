/* view_list_draw: draws the current list through the skin. */
#include "core/services/program.h"
#include "lists/record/list.h"
#include "platform/base/clock.h"
#include "platform/base/str.h"
#include "platform/draw/fb.h"
#include "skin/skin_text.h"
#include "view/list/view_list.h"
#include "view/list/view_list_state.h"
#include "view/screen/screen.h"
#include "view/view.h"

#include <algorithm>
#include <array>

constexpr int64_t never_drawn = -1;

static constinit int64_t minute_drawn = never_drawn; /* since the epoch */
static constinit fb_trace *draw_trace = nullptr;     /* of the last picture; null: none */

void view_list_draw_reset()
{
    minute_drawn = never_drawn;
    fb_trace_free(draw_trace);
    draw_trace = nullptr;
}

/* ---- texts ---- */

static void insert_name(skin_text *out, const void *)
{
    skin_text_add(out, PROGRAM_NAME);
}

static void insert_version(skin_text *out, const void *)
{
    skin_text_add(out, PROGRAM_VERSION);
}

/* Reads a text that another thread may change. */
static void insert_list_text_locked(skin_text *out, const char *text) REQUIRES(list_lock)
{
    skin_text_add(out, text);
}

static void insert_title(skin_text *out, const void *)
{
    sys_guard guard(list_lock);
    insert_list_text_locked(out, list_page_selected->title);
}

static void insert_subtitle(skin_text *out, const void *)
{
    sys_guard guard(list_lock);
    insert_list_text_locked(out, list_page_selected->subtitle);
}

static void insert_time(skin_text *out, const void *)
{
    screen_insert_time(out, clock_wall());
}

static void insert_battery(skin_text *out, const void *)
{
    screen_insert_battery(out);
}

static constexpr skin_inserts inserts = [] {
    skin_inserts all = {};
    all[skin_token_at("program_name")] = insert_name;
    all[skin_token_at("program_version")] = insert_version;
    all[skin_token_at("path")] = insert_subtitle;
    all[skin_token_at("title")] = insert_title;
    all[skin_token_at("time")] = insert_time;
    all[skin_token_at("battery")] = insert_battery;
    return all;
}();
static_assert(skin_inserts_fit(inserts, skin_on_list));

void view_list_expand(const char *format, char *to, size_t size)
{
    skin_text_expand(format, skin_on_list, inserts, nullptr, to, size);
}

/* ---- elements ---- */

static int32_t cursor_value(const view_list_model &model)
{
    const int64_t count = model.count, cursor = std::max(model.cursor, 0);
    const int64_t value = count < 2 ? 0 : (cursor * 1000 + count / 2) / (count - 1);
    return static_cast<int32_t>(std::min<int64_t>(value, INT32_MAX));
}

static int32_t battery_value(const view_list_model &)
{
    return screen_battery_value();
}

typedef int32_t (*bar_value)(const view_list_model &model);

/* By the bar's action; null leaves the bar where it is. */
static constexpr auto bar_values = [] {
    std::array<bar_value, skin_bar_action_count> all = {};
    all[skin_bar_action_at("list")] = cursor_value;
    all[skin_bar_action_at("battery")] = battery_value;
    return all;
}();

static void set_bar(const view_list_model &model, skin_element *bar)
{
    if (const bar_value value = bar_values[bar->means.action])
        bar->value = value(model);
}

static void draw_text(fb_surface *to, const skin_element *element)
{
    if (!element->format)
        return;
    char text[1024];
    view_list_expand(element->format, text, sizeof text);
    screen_draw_text(to, element, text);
}

/* The row's text may be rebuilt by a worker at any moment, so it is drawn from a copy. */
static void draw_row(fb_surface *to, const skin_element *slot, int32_t index)
{
    char text[1024];
    {
        sys_guard guard(list_lock);
        const list *shown = list_page_selected;
        if (index < 0 || static_cast<uint32_t>(index) >= shown->count || !shown->items)
            return;
        (void)str_copy(text, shown->items[index]); /* no screen shows more of it */
    }
    screen_draw_text(to, slot, text);
}

/* What the screen does with a kind of element, besides what every screen draws of it. */
struct list_kind_drawing {
    void (*prepare)(const view_list_model &model, skin_element *element) = nullptr;
    void (*draw)(fb_surface *to, const skin_element *element) = nullptr;
    bool has_no_outline = false;
};

static constexpr auto kinds = [] {
    std::array<list_kind_drawing, skin_kind_count> all = {};
    all[skin_kind_at("scroll")] = {.prepare = set_bar};
    all[skin_kind_at("text")] = {.draw = draw_text};
    all[skin_kind_at("list")] = {.has_no_outline = true}; /* its rows have theirs */
    return all;
}();

static void draw_element(fb_surface *to, skin_element *element, const view_list_model &model,
                         view_list_rows *walk)
{
    const list_kind_drawing &kind = kinds[element->means.kind];
    if (kind.prepare)
        kind.prepare(model, element);
    if (skin_common_behavior(element, to) != 0)
        return;
    view_list_slot slot = {};
    const bool is_slot = view_list_next_slot(walk, element, &slot);
    /* A row is drawn by the slot that fits it: the cursor's by "item_sel", any other by "item". */
    if (is_slot && slot.selected != (slot.index == model.cursor))
        return;
    if (kind.draw)
        kind.draw(to, element);
    if (!kind.has_no_outline && screen_wants_outlines(view_list_state.page))
        screen_draw_outline(to, element);
    if (is_slot)
        draw_row(to, element, slot.index);
}

/* What paint_page() needs. */
struct list_drawing {
    const skin_page *page;
    view_list_model model;
};

static void paint_page(fb_surface *to, void *user)
{
    const list_drawing *drawing = static_cast<list_drawing *>(user);
    view_list_rows walk = view_list_first_rows(drawing->model.cursor, view_list_state.rows);
    for (uint32_t i = 0; i < drawing->page->element_count; i++)
        draw_element(to, &drawing->page->elements[i], drawing->model, &walk);
}

int view_list_draw(view *self, fb_surface *)
{
    const int64_t minute = int64_t{clock_wall()} / 60;
    /* Lowered before anything is read: what a worker changes from here on asks again. */
    const bool wanted = self->redraw.exchange(0) != 0;
    if (!wanted && minute == minute_drawn)
        return 0;
    minute_drawn = minute;
    if (!view_list_state.page || !list_page_selected || !self->frame || !self->surface)
        return 0;
    list_drawing drawing = {view_list_state.page, view_list_look(list_page_selected)};
    if (!draw_trace)
        draw_trace = fb_trace_new();
    if (draw_trace) {
        screen_draw_changes(self, draw_trace, paint_page, &drawing);
        return 0;
    }
    screen_begin_frame(self); /* no memory to note what is drawn */
    paint_page(self->frame, &drawing);
    screen_finish_frame(self);
    return 0;
}
