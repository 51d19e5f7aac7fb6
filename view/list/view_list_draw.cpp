/* view_list_draw: draws the current list through the skin. */
#include "config/cfg.h"
#include "core/services/program.h"
#include "lists/record/list.h"
#include "platform/base/clock.h"
#include "platform/base/str.h"
#include "platform/draw/fb.h"
#include "skin/skin.h"
#include "view/list/view_list.h"
#include "view/list/view_list_state.h"
#include "view/view.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <ctime>

constexpr uint16_t background = 0xFFFF;
constexpr uint16_t outline_colour = 0xF800;
constexpr int64_t never_drawn = -1;

static constinit int64_t minute_drawn = never_drawn; /* since the epoch */

void view_list_forget_minute()
{
    minute_drawn = never_drawn;
}

view_list_model view_list_look(const list *of)
{
    sys_guard guard(list_lock);
    return {of->cursor, of->count};
}

/* ---- slots ---- */

view_list_rows view_list_first_rows(int32_t cursor, uint32_t rows)
{
    const int64_t first = int64_t{cursor} - rows / 2 + (rows % 2 == 0 ? 1 : 0);
    return {first, first};
}

/* Rows far outside the list stay far outside it. */
static int32_t to_index(int64_t row)
{
    return static_cast<int32_t>(std::clamp<int64_t>(row, INT32_MIN, INT32_MAX));
}

bool view_list_next_slot(view_list_rows *walk, const skin_element *element, view_list_slot *slot)
{
    if (strcmp(element->name, "item") == 0) {
        *slot = {to_index(walk->next_item++), false};
        return true;
    }
    if (strcmp(element->name, "item_sel") == 0) {
        *slot = {to_index(walk->next_selected++), true};
        return true;
    }
    return false;
}

/* ---- texts ---- */

/* A text that grows in a fixed array; what does not fit is dropped. */
struct text_buffer {
    char *at;
    size_t left; /* characters, besides the end */
};

static void put(text_buffer *to, const char *text, size_t length)
{
    const size_t taken = std::min(length, to->left);
    memcpy(to->at, text, taken);
    to->at += taken;
    to->left -= taken;
    *to->at = 0;
}

static void put_text(text_buffer *to, const char *text)
{
    put(to, text, strlen(text));
}

static void put_name(text_buffer *to)
{
    put_text(to, PROGRAM_NAME);
}

static void put_version(text_buffer *to)
{
    put_text(to, PROGRAM_VERSION);
}

/* Reads a text that another thread may change. */
static void put_list_text_locked(text_buffer *to, const char *text) REQUIRES(list_lock)
{
    put_text(to, text);
}

static void put_title(text_buffer *to)
{
    sys_guard guard(list_lock);
    put_list_text_locked(to, list_page_selected->title);
}

static void put_subtitle(text_buffer *to)
{
    sys_guard guard(list_lock);
    put_list_text_locked(to, list_page_selected->subtitle);
}

static void put_time(text_buffer *to)
{
    const time_t now = clock_wall();
    tm local = {};
    localtime_r(&now, &local);
    char text[32];
    (void)str_format(text, "%02d:%02d", local.tm_hour, local.tm_min); /* five characters */
    put_text(to, text);
}

static void put_battery(text_buffer *to)
{
    char text[16];
    (void)str_format(text, "%d%%", program_get_battery_level()); /* at most 12 characters */
    put_text(to, text);
}

static void put_time_label(text_buffer *to)
{
    put_text(to, "Time");
}

static void put_battery_label(text_buffer *to)
{
    put_text(to, "Battery");
}

struct token {
    const char *name; /* after the "$" */
    void (*put)(text_buffer *to);
};

/* The first that the text begins with is taken. */
static constexpr token tokens[] = {
    {"program_name", put_name}, {"program_version", put_version},
    {"path", put_subtitle},     {"title", put_title},
    {"time", put_time},         {"battery", put_battery},
    {"Time", put_time_label},   {"Battery", put_battery_label},
};

/* Returns how much of the format the token took, 0 when there is none. */
static size_t put_token(text_buffer *to, const char *format)
{
    for (const token &each : tokens) {
        const size_t length = strlen(each.name);
        if (strncmp(format, each.name, length) != 0)
            continue;
        each.put(to);
        return length;
    }
    return 0;
}

void view_list_expand(const char *format, char *to, size_t size)
{
    text_buffer buffer = {to, size - 1};
    *to = 0;
    while (*format && buffer.left > 0) {
        const size_t plain = strcspn(format, "$");
        put(&buffer, format, plain);
        format += plain;
        if (*format != '$')
            continue;
        format++;
        const size_t taken = put_token(&buffer, format);
        if (taken == 0)
            put(&buffer, "$", 1);
        format += taken;
    }
}

/* The colour stands before the alignment here; both are numbers, so they are named once. */
static void draw_text(fb_surface *to, const skin_element *box, const char *text)
{
    const uint16_t colour = box->font_color;
    const uint32_t align = box->text_align;
    (void)fb_draw_text(to, text, box->x, box->y, box->width, box->height, box->font_size, colour,
                       align);
}

/* ---- elements ---- */

static void set_scroll_value(skin_element *bar, const view_list_model *model)
{
    if (!bar->action)
        return;
    if (strcmp(bar->action, "list") == 0) {
        const int64_t count = model->count, cursor = std::max(model->cursor, 0);
        const int64_t value = count < 2 ? 0 : (cursor * 1000 + count / 2) / (count - 1);
        bar->value = static_cast<int32_t>(std::min<int64_t>(value, INT32_MAX));
    } else if (strcmp(bar->action, "battery") == 0) {
        bar->value = program_get_battery_level() * 10;
    }
}

static void draw_outline(fb_surface *to, const skin_element *box)
{
    const int64_t wide_right = int64_t{box->x} + box->width - 1;
    const int64_t wide_bottom = int64_t{box->y} + box->height - 1;
    if (wide_right > INT32_MAX || wide_bottom > INT32_MAX)
        return; /* far outside every screen */
    const int32_t left = box->x, right = static_cast<int32_t>(wide_right);
    const int32_t top = box->y, bottom = static_cast<int32_t>(wide_bottom);
    (void)fb_draw_line(to, left, top, right, top, outline_colour);
    (void)fb_draw_line(to, right, top, right, bottom, outline_colour);
    (void)fb_draw_line(to, right, bottom, left, bottom, outline_colour);
    (void)fb_draw_line(to, left, bottom, left, top, outline_colour);
}

static bool wants_outline(const skin_page *page, const skin_element *element)
{
    return (cfg_debug > 0 || page->debug > 0) && element->width != 0 && element->height != 0 &&
           strcmp(element->name, "list") != 0;
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
    draw_text(to, slot, text);
}

static void draw_element(fb_surface *to, skin_element *element, const view_list_model *model,
                         view_list_rows *walk)
{
    const skin_page *page = view_list_state.page;
    if (strcmp(element->name, "scroll") == 0)
        set_scroll_value(element, model);
    if (skin_common_behavior(element, to) != 0)
        return;
    view_list_slot slot = {};
    const bool is_slot = view_list_next_slot(walk, element, &slot);
    /* A row is drawn by the slot that fits it: the cursor's by "item_sel", any other by "item". */
    if (is_slot && slot.selected != (slot.index == model->cursor))
        return;
    if (strcmp(element->name, "text") == 0 && element->format) {
        char text[1024];
        view_list_expand(element->format, text, sizeof text);
        draw_text(to, element, text);
    }
    if (wants_outline(page, element))
        draw_outline(to, element);
    if (is_slot)
        draw_row(to, element, slot.index);
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
    const skin_page *page = view_list_state.page;
    const view_list_model model = view_list_look(list_page_selected);
    view_list_rows walk = view_list_first_rows(model.cursor, view_list_state.rows);
    (void)fb_clear(self->frame, background);
    for (uint32_t i = 0; i < page->element_count; i++)
        draw_element(self->frame, &page->elements[i], &model, &walk);
    (void)fb_copy(self->surface, self->frame, 0, 0, self->frame->width, self->frame->height, 0, 0);
    self->updated = 1;
    return 0;
}
