#include "view/play/play_draw.h"

#include "config/cfg.h"
#include "core/services/program.h"
#include "platform/audio/audio.h"
#include "platform/base/clock.h"
#include "platform/draw/fb.h"
#include "platform/image/image.h"
#include "skin/skin.h"
#include "view/play/play_cover.h"
#include "view/play/play_layout.h"
#include "view/play/play_lyrics.h"
#include "view/play/play_text.h"
#include "view/view.h"

#include <cstring>

constexpr uint16_t background = 0xffff;
constexpr uint16_t outline_colour = 0xf800;

/* The playing track and the time, as one frame sees them. */
struct frame_state {
    bool loaded;
    int64_t length; /* samples, 0 when nothing is loaded */
    int64_t rate;   /* Hz, 0 when nothing is loaded */
    uint32_t track_id;
    time_t now;
};

/* What the last pass saw; main thread. */
static constinit int64_t draw_seen_track = -1;
static constinit int32_t draw_seen_second = -1;
static constinit int64_t draw_seen_minute = -1;

static frame_state read_frame_state()
{
    const sys_guard guard(play_lock);
    return {
        .loaded = play_handle != nullptr,
        .length = play_handle ? play_handle->length : 0,
        .rate = play_handle ? (int64_t)play_handle->sample_rate : 0,
        .track_id = play_handle_id,
        .now = clock_wall(),
    };
}

/* Drops what belongs to another track. A quick worker may have delivered for this one already,
 * and its loader would not be started again. */
static void change_track(uint32_t track_id)
{
    const sys_guard guard(play_view_lock);
    if (play_view.lyrics_id != track_id)
        play_drop_lyrics_locked();
    if (play_view.cover_id != track_id)
        play_drop_cover_locked();
    (void)choose_layout(-1);
}

/* Raises `redraw` for whatever changed since the last pass. */
static void notice_changes(view *self, const frame_state &frame)
{
    if (frame.track_id != draw_seen_track) {
        draw_seen_track = frame.track_id;
        change_track(frame.track_id);
        self->redraw = 1;
    }
    if (frame.loaded) {
        const int32_t position = play_pos;
        if (position / 1000 != draw_seen_second) {
            draw_seen_second = position / 1000;
            self->redraw = 1;
        }
        const sys_guard guard(play_view_lock);
        if (play_view.lyrics_texts)
            update_lyrics_shown((uint32_t)position);
    }
    if (frame.now / 60 != draw_seen_minute) {
        draw_seen_minute = frame.now / 60;
        self->redraw = 1;
    }
}

static void draw_text(fb_surface *to, const skin_element *element, const char *text, int32_t y,
                      int32_t height)
{
    (void)fb_draw_text(to, text, element->x, y, element->width, height, element->font_size,
                       element->font_color, element->text_align);
}

static int32_t saturate(int64_t value)
{
    if (value > INT32_MAX)
        return INT32_MAX;
    return value < INT32_MIN ? INT32_MIN : (int32_t)value;
}

/* The position in thousandths; 0 for a track too short, or not known, to be divided. */
static int32_t position_value(const frame_state &frame)
{
    if (frame.length < 2)
        return 0;
    return saturate((frame.length / 2 + (int64_t)play_pos * frame.rate) / (frame.length - 1));
}

static void set_scroll_value(skin_element *element, const frame_state &frame)
{
    if (strcmp(element->name, "scroll") != 0 || !element->action)
        return;
    if (strcmp(element->action, "play") == 0)
        element->value = position_value(frame);
    else if (strcmp(element->action, "battery") == 0)
        element->value = program_get_battery_level() * 10;
}

/* Equal bands with half a letter between them. */
static void draw_lyrics_lines(fb_surface *to, const skin_element *element,
                              const play_lyrics_shown &shown)
{
    const int64_t lines = shown.count;
    const int64_t gap = element->font_size / 2;
    const int64_t height = element->height - gap * (lines - 1);
    for (int64_t i = 0; i < lines; i++)
        draw_text(to, element, shown.lines[i], saturate(element->y + i * height / lines + i * gap),
                  saturate(height / lines));
}

static void draw_lyrics(fb_surface *to, const skin_element *element, const frame_state &frame)
{
    start_lyrics_loader();
    if (!frame.loaded)
        return;
    play_lyrics_shown shown;
    if (play_lyrics_copy_shown(&shown))
        draw_lyrics_lines(to, element, shown);
    else
        draw_text(to, element, "没有找到歌词", element->y, element->height);
}

static void draw_template(fb_surface *to, const skin_element *element, const frame_state &frame)
{
    char text[1024];
    play_text_expand(element->format ? element->format : "", frame.now, text);
    draw_text(to, element, text, element->y, element->height);
}

/* Where something of this size begins in the middle of a box. A skin may declare any box. */
static int32_t centred(int32_t start, int64_t length, int64_t size)
{
    return saturate(start + (length - size) / 2);
}

/* The lock stays held while the picture is drawn, because a worker may replace it. */
static void draw_cover(fb_surface *to, const skin_element *element, const frame_state &frame)
{
    start_cover_loader();
    const sys_guard guard(play_view_lock);
    play_cover_fit_locked(element, frame.track_id);
    if (const image *picture = play_view.cover_scaled)
        (void)fb_draw_image(to, picture, centred(element->x, element->width, picture->width),
                            centred(element->y, element->height, picture->height), picture->width,
                            picture->height, 0, 0, 255);
}

static void draw_element(fb_surface *to, skin_element *element, const frame_state &frame)
{
    set_scroll_value(element, frame);
    if (skin_common_behavior(element, to) != 0)
        return;
    if (strcmp(element->name, "lyrics") == 0)
        draw_lyrics(to, element, frame);
    else if (strcmp(element->name, "text") == 0)
        draw_template(to, element, frame);
    else if (strcmp(element->name, "album_cover") == 0)
        draw_cover(to, element, frame);
}

static void draw_outline(fb_surface *to, const skin_element *element)
{
    if (element->inactive || element->width == 0 || element->height == 0)
        return;
    const int32_t left = element->x, top = element->y;
    const int32_t right = saturate((int64_t)left + element->width - 1);
    const int32_t bottom = saturate((int64_t)top + element->height - 1);
    (void)fb_draw_line(to, left, top, right, top, outline_colour);
    (void)fb_draw_line(to, right, top, right, bottom, outline_colour);
    (void)fb_draw_line(to, right, bottom, left, bottom, outline_colour);
    (void)fb_draw_line(to, left, bottom, left, top, outline_colour);
}

static void draw_page(fb_surface *to, skin_page *page, const frame_state &frame)
{
    play_layout_update_visibility(page);
    for (uint32_t i = 0; i < page->element_count; i++)
        if (!page->elements[i].inactive)
            draw_element(to, &page->elements[i], frame);
    if (cfg_debug <= 0 && page->debug <= 0)
        return;
    for (uint32_t i = 0; i < page->element_count; i++)
        draw_outline(to, &page->elements[i]);
}

int play_draw(view *self, fb_surface *)
{
    const frame_state frame = read_frame_state();
    notice_changes(self, frame);
    /* Taken before anything is read, so that a worker's wish during this frame gets the next. */
    if (self->redraw.exchange(0) == 0)
        return 0;
    (void)fb_clear(self->frame, background);
    /* A worker may choose another layout meanwhile; this frame keeps to one. */
    if (skin_page *page = play_layout_current())
        draw_page(self->frame, page, frame);
    (void)fb_copy(self->surface, self->frame, 0, 0, self->frame->width, self->frame->height, 0, 0);
    self->updated = 1;
    return 0;
}

void play_draw_reset()
{
    draw_seen_track = -1;
    draw_seen_second = -1;
    draw_seen_minute = -1;
}
