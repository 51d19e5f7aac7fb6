#include "view/play/play_draw.h"

#include "platform/audio/audio.h"
#include "platform/base/clock.h"
#include "platform/draw/fb.h"
#include "platform/image/image.h"
#include "skin/skin_table.h"
#include "view/play/play_cover.h"
#include "view/play/play_layout.h"
#include "view/play/play_lyrics.h"
#include "view/play/play_text.h"
#include "view/screen/screen.h"
#include "view/view.h"

#include <array>

/* The playing track and the time, as one frame sees them. */
struct play_frame {
    bool loaded;
    int64_t length; /* samples, 0 when nothing is loaded */
    int64_t rate;   /* Hz, 0 when nothing is loaded */
    uint32_t track_id;
    time_t now;
};

/* What the screen does with a kind of element, besides what every screen draws of it. */
struct play_kind_drawing {
    void (*prepare)(const play_frame &frame, skin_element *element) = nullptr;
    void (*draw)(fb_surface *to, const skin_element *element, const play_frame &frame) = nullptr;
};

/* What the last pass saw; main thread. */
static constinit int64_t draw_seen_track = -1;
static constinit int32_t draw_seen_second = -1;
static constinit int64_t draw_seen_minute = -1;
/* While the position is in here, neither seconds nor lyrics change; empty where nobody has looked. */
static constinit int32_t draw_watched_first = 0, draw_watched_last = -1;

/* What the last picture is made of; owned, null before the first one. Main thread. */
static constinit fb_trace *draw_trace = nullptr;

static play_frame read_frame()
{
    const sys_guard guard(play_lock);
    return {
        .loaded = play_handle != nullptr,
        .length = play_handle ? play_handle->length : 0,
        .rate = play_handle ? static_cast<int64_t>(play_handle->sample_rate) : 0,
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

/* Shows the lyrics of a position, and is woken when they or the seconds change. */
static void watch_position(int32_t position)
{
    int32_t first = position - position % 1000;
    int32_t last = first > INT32_MAX - 999 ? INT32_MAX : first + 999;
    const sys_guard guard(play_view_lock);
    if (play_view.lyrics_texts) {
        update_lyrics_shown(static_cast<uint32_t>(position));
        play_lyrics_cut_span(position, &first, &last);
    }
    draw_watched_first = first;
    draw_watched_last = last;
    play_watch(first, last);
}

/* Most passes find everything as the last one did, and look at nothing else. */
static bool is_as_before(const view *self)
{
    const int32_t position = play_pos;
    return self->redraw == 0 && play_handle_id == draw_seen_track &&
           position >= draw_watched_first && position <= draw_watched_last &&
           int64_t{clock_wall()} / 60 == draw_seen_minute;
}

/* Raises `redraw` for whatever changed since the last pass. */
static void notice_changes(view *self, const play_frame &frame)
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
        watch_position(position);
    }
    if (frame.now / 60 != draw_seen_minute) {
        draw_seen_minute = frame.now / 60;
        self->redraw = 1;
    }
}

/* A line that is too long stands in two where its band has room for them. */
static void draw_lyric(fb_surface *to, const skin_element *element, const char *text, int32_t y,
                       int32_t height)
{
    (void)fb_draw_text(to, text, element->x, y, element->width, height, element->font_size,
                       element->font_color, element->text_align | fb_align_two_lines);
}

static int32_t saturate(int64_t value)
{
    if (value > INT32_MAX)
        return INT32_MAX;
    return value < INT32_MIN ? INT32_MIN : static_cast<int32_t>(value);
}

/* The position in thousandths; 0 for a track too short, or not known, to be divided. */
static int32_t position_value(const play_frame &frame)
{
    if (frame.length < 2)
        return 0;
    return saturate((frame.length / 2 + static_cast<int64_t>(play_pos) * frame.rate) /
                    (frame.length - 1));
}

static int32_t battery_value(const play_frame &)
{
    return screen_battery_value();
}

typedef int32_t (*bar_value)(const play_frame &frame);

/* By the bar's action; null leaves the bar where it is. */
static constexpr auto bar_values = [] {
    std::array<bar_value, skin_bar_action_count> all = {};
    all[skin_bar_action_at("play")] = position_value;
    all[skin_bar_action_at("battery")] = battery_value;
    return all;
}();

static void set_bar(const play_frame &frame, skin_element *bar)
{
    if (const bar_value value = bar_values[bar->means.action])
        bar->value = value(frame);
}

/* Equal bands with half a letter between them. */
static void draw_lyrics_lines(fb_surface *to, const skin_element *element,
                              const play_lyrics_shown &shown)
{
    const int64_t lines = shown.count;
    const int64_t gap = element->font_size / 2;
    const int64_t height = element->height - gap * (lines - 1);
    for (int64_t i = 0; i < lines; i++)
        draw_lyric(to, element, shown.lines[i], saturate(element->y + i * height / lines + i * gap),
                   saturate(height / lines));
}

static void draw_lyrics(fb_surface *to, const skin_element *element, const play_frame &frame)
{
    start_lyrics_loader();
    if (!frame.loaded)
        return;
    play_lyrics_shown shown;
    if (play_lyrics_copy_shown(&shown))
        draw_lyrics_lines(to, element, shown);
    else
        screen_draw_text(to, element, "没有找到歌词");
}

static void draw_text(fb_surface *to, const skin_element *element, const play_frame &frame)
{
    char text[1024];
    play_text_expand(element->format ? element->format : "", frame.now, text);
    screen_draw_text(to, element, text);
}

/* Where something of this size begins in the middle of a box. A skin may declare any box. */
static int32_t centred(int32_t start, int64_t length, int64_t size)
{
    return saturate(start + (length - size) / 2);
}

/* The lock stays held while the picture is drawn, because a worker may replace it. */
static void draw_cover(fb_surface *to, const skin_element *element, const play_frame &frame)
{
    start_cover_loader();
    const sys_guard guard(play_view_lock);
    play_cover_fit_locked(element, frame.track_id);
    if (const image *picture = play_view.cover_scaled)
        (void)fb_draw_image(to, picture, centred(element->x, element->width, picture->width),
                            centred(element->y, element->height, picture->height), picture->width,
                            picture->height, 0, 0, 255);
}

static constexpr auto kinds = [] {
    std::array<play_kind_drawing, skin_kind_count> all = {};
    all[skin_kind_at("scroll")] = {.prepare = set_bar};
    all[skin_kind_at("text")] = {.draw = draw_text};
    all[skin_kind_at("lyrics")] = {.draw = draw_lyrics};
    all[skin_kind_at("album_cover")] = {.draw = draw_cover};
    return all;
}();

static void draw_element(fb_surface *to, skin_element *element, const play_frame &frame)
{
    const play_kind_drawing &kind = kinds[element->means.kind];
    if (kind.prepare)
        kind.prepare(frame, element);
    if (skin_common_behavior(element, to) == 0 && kind.draw)
        kind.draw(to, element, frame);
}

static void draw_page(fb_surface *to, skin_page *page, const play_frame &frame)
{
    play_layout_update_visibility(page);
    for (uint32_t i = 0; i < page->element_count; i++)
        if (!page->elements[i].inactive)
            draw_element(to, &page->elements[i], frame);
    if (!screen_wants_outlines(page))
        return;
    for (uint32_t i = 0; i < page->element_count; i++)
        if (!page->elements[i].inactive)
            screen_draw_outline(to, &page->elements[i]);
}

/* What paint_page() needs. */
struct page_drawing {
    skin_page *page; /* null without a skin */
    const play_frame &frame;
};

static void paint_page(fb_surface *to, void *user)
{
    const page_drawing *drawing = static_cast<page_drawing *>(user);
    if (drawing->page)
        draw_page(to, drawing->page, drawing->frame);
}

int play_draw(view *self, fb_surface *)
{
    if (is_as_before(self))
        return 0;
    const play_frame frame = read_frame();
    notice_changes(self, frame);
    /* Taken before anything is read, so that a worker's wish during this frame gets the next. */
    if (self->redraw.exchange(0) == 0)
        return 0;
    /* A worker may choose another layout meanwhile; this frame keeps to one. */
    page_drawing drawing = {play_layout_shown(), frame};
    if (!draw_trace)
        draw_trace = fb_trace_new();
    if (draw_trace) {
        screen_draw_changes(self, draw_trace, paint_page, &drawing);
        return 0;
    }
    screen_begin_frame(self);
    paint_page(self->frame, &drawing);
    screen_finish_frame(self);
    return 0;
}

void play_draw_reset()
{
    fb_trace_free(draw_trace);
    draw_trace = nullptr;
    draw_seen_track = -1;
    draw_seen_second = -1;
    draw_seen_minute = -1;
    draw_watched_first = 0;
    draw_watched_last = -1;
}
