#include "view/screen/screen.h"

#include "config/cfg.h"
#include "core/services/program.h"
#include "platform/base/str.h"
#include "platform/draw/fb.h"
#include "skin/skin.h"
#include "view/view.h"

#include <algorithm>
#include <cassert>
#include <ctime>
#include <utility>

constexpr uint16_t background = 0xFFFF;
constexpr uint16_t outline_colour = 0xF800;

/* ---- surfaces ---- */

int screen_open(view *self)
{
    screen_close(self);
    if (!fb_cur)
        return -1;
    self->frame = fb_create(fb_cur->width, fb_cur->height);
    self->surface = fb_create(fb_cur->width, fb_cur->height);
    return self->frame && self->surface ? 0 : -1;
}

void screen_close(view *self)
{
    (void)fb_free(self->frame);
    (void)fb_free(self->surface);
    self->frame = self->surface = nullptr;
}

void screen_begin_frame(view *self)
{
    (void)fb_clear(self->frame, background);
}

/* The picture before it becomes the room for the next one. */
static void change_places(view *self)
{
    std::swap(self->frame, self->surface);
    self->updated = 1;
}

void screen_finish_frame(view *self)
{
    static constexpr fb_changes all = {};
    fb_mark(self->frame, nullptr, 0, &all);
    change_places(self);
}

/* What has to be drawn so that the room, which holds the picture before the last, becomes the next. */
static fb_changes missing_in_frame(const view *self, const fb_changes &changes)
{
    const fb_surface *frame = self->frame, *last = self->surface;
    if (last->content == 0 || frame->content == 0 || last->before != frame->content)
        return {};
    return fb_changes_add(&changes, &last->changes);
}

static void paint_whole(view *self, screen_painter paint, void *user)
{
    screen_begin_frame(self);
    paint(self->frame, user);
}

/* The texts of the whole picture are kept once. True when what was drawn is what had been noted. */
static bool paint_parts(view *self, const fb_changes &parts, screen_painter paint, void *user)
{
    fb_surface *frame = self->frame;
    fb_trace_draw(frame);
    for (uint32_t i = 0; i < parts.count; i++) {
        frame->clip = parts.rects[i];
        paint_whole(self, paint, user);
        frame->quiet = true;
        if (i == 0 && !fb_trace_end(frame))
            return false;
    }
    return true;
}

void screen_draw_changes(view *self, fb_trace *trace, screen_painter paint, void *user)
{
    const fb_changes whole = {
        .partial = true, .count = 1, .rects = {{0, 0, self->frame->width, self->frame->height}}};
    fb_trace_begin(self->frame, trace);
    paint_whole(self, paint, user);
    fb_changes changes = fb_trace_changes(trace, self->surface->content);
    if (changes.partial && changes.count == 0) {
        (void)fb_trace_end(self->frame);
        self->updated = 1;
        return;
    }
    const fb_changes missing = missing_in_frame(self, changes);
    const bool same = paint_parts(self, missing.partial ? missing : whole, paint, user);
    self->frame->clip = {};
    self->frame->quiet = false;
    self->frame->covered = false;
    self->frame->trace = nullptr;
    if (!same) { /* a worker delivered meanwhile: its picture is drawn whole */
        paint_whole(self, paint, user);
        screen_finish_frame(self);
        return;
    }
    fb_mark(self->frame, trace, self->surface->content, &changes);
    change_places(self);
}

/* ---- skin ---- */

skin_part *screen_read_skin(const char *package_path, const char *part, char *chosen, size_t size,
                            screen_skin_reader read)
{
    if (skin_part *found = read(package_path, part))
        return found;
    cfg_set_default_skin_part(chosen, size, part);
    if (skin_part *found = read(chosen, part))
        return found;
    if (cfg_find_available_skin_part(chosen, size, part) != 0)
        return nullptr;
    return read(chosen, part);
}

/* ---- drawing ---- */

void screen_draw_text(fb_surface *to, const skin_element *element, const char *text)
{
    screen_draw_band(to, element, text, element->y, element->height);
}

/* The colour stands before the alignment here; both are numbers, so they are named once. */
void screen_draw_band(fb_surface *to, const skin_element *element, const char *text, int32_t y,
                      int32_t height)
{
    const uint16_t colour = element->font_color;
    const uint32_t align = element->text_align;
    (void)fb_draw_text(to, text, element->x, y, element->width, height, element->font_size, colour,
                       align);
}

bool screen_wants_outlines(const skin_page *page)
{
    return cfg_debug > 0 || page->debug > 0;
}

/* Where a box ends that a skin may have declared of any size. */
static int32_t last_pixel(int32_t start, int32_t size)
{
    const int64_t last = static_cast<int64_t>(start) + size - 1;
    return static_cast<int32_t>(std::clamp<int64_t>(last, INT32_MIN, INT32_MAX));
}

void screen_draw_outline(fb_surface *to, const skin_element *element)
{
    if (element->width == 0 || element->height == 0)
        return;
    const int32_t left = element->x, right = last_pixel(left, element->width);
    const int32_t top = element->y, bottom = last_pixel(top, element->height);
    (void)fb_draw_line(to, left, top, right, top, outline_colour);
    (void)fb_draw_line(to, right, top, right, bottom, outline_colour);
    (void)fb_draw_line(to, right, bottom, left, bottom, outline_colour);
    (void)fb_draw_line(to, left, bottom, left, top, outline_colour);
}

/* ---- words ---- */

int32_t screen_battery_value()
{
    return program_get_battery_level() * 10;
}

void screen_insert_time(skin_text *out, time_t wall)
{
    tm local = {};
    if (!localtime_r(&wall, &local))
        return;
    char text[32];
    (void)str_format(text, "%02d:%02d", local.tm_hour, local.tm_min); /* five characters */
    skin_text_add(out, text);
}

void screen_insert_battery(skin_text *out)
{
    screen_insert_number(out, program_get_battery_level(), 1);
    skin_text_add(out, "%");
}

void screen_insert_number(skin_text *out, int32_t number, int digits)
{
    assert(digits > 0 && digits <= 10);
    char text[16];
    (void)str_format(text, "%0*d", digits, number); /* at most 11 characters */
    skin_text_add(out, text);
}
