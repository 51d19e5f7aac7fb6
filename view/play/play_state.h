/* play_state: what the play screen holds of the playing track, and the lock around it.
 *
 * Order of locks: play_view_lock before play_lock, never the reverse. Nobody draws text, reads a
 * file or decodes while holding play_view_lock, because the main thread takes it in every pass. */
#pragma once

#include "platform/base/lock.h"
#include "play/play.h"

#include <atomic>
#include <cstdint>

struct image;
struct skin_element;
struct skin_page;
struct skin_part;

/* A decoded cover. The screen and a scaling worker may both hold it; the last one frees it. */
struct play_cover {
    image *picture;        /* owned; not dithered */
    int32_t width, height; /* of the picture inside the file: `picture` may be reduced */
    std::atomic<uint32_t> holders;
};

constexpr uint32_t play_lyrics_lines = 3; /* at most so many are shown */

struct play_view_state {
    skin_part *play_part;      /* owned; null before init and after exit */
    uint32_t skin_serial;      /* grows with every part, so that a kept element can be told
                                      from one that was freed with its part */
    uint32_t preferred_layout; /* the variant the user last asked for */
    uint32_t current_layout_index;
    skin_page *current_layout; /* inside play_part; null without one. Its elements change only
                                      on the main thread */
    play_cover *cover_image;   /* held; null when the track has none, or none yet */
    uint32_t cover_id;         /* the track it belongs to */
    image *cover_scaled;       /* owned; fitted and dithered */
    const skin_element *cover_scaled_for; /* whose scaling was asked for last; only compared */
    uint32_t cover_serial;                /* grows whenever cover_scaled is dropped */
    char **lyrics_texts;                  /* owned, `lyrics_count` owned texts; null: no lyrics */
    uint32_t *lyrics_times;               /* owned; ms */
    uint32_t lyrics_count;
    uint32_t lyrics_id;         /* the track they belong to */
    uint32_t lyrics_cur;        /* the first line whose time is still to come */
    int32_t lyrics_first_shown; /* -1: none */
    uint32_t lyrics_shown_count;
    char lyrics_shown[play_lyrics_lines][256];
};

extern sys_lock play_view_lock;
extern play_view_state play_view GUARDED_BY(play_view_lock);
/* The tracks for which the loaders were last started. */
extern uint32_t cover_loaded_for GUARDED_BY(play_lock);
extern uint32_t lyrics_loaded_for GUARDED_BY(play_lock);

/* Between init and exit of the screen; workers give up once it is closed. Any thread. */
void play_view_open(bool open);
bool play_view_is_open();
/* Whether a result for this track is still wanted. Any thread. */
bool play_track_is_current(uint32_t id);
/* Asks for a full redraw and wakes the main loop. Any thread. */
void play_view_request_redraw();

/* Takes ownership of `picture`, with one holder. Null when memory runs out (picture freed). */
[[nodiscard]] play_cover *play_cover_new(image *picture, int32_t width, int32_t height);
void play_cover_hold(play_cover *cover);
/* Accepts null. */
void play_cover_release(play_cover *cover);

void play_drop_scaled_locked() REQUIRES(play_view_lock);
void play_drop_cover_locked() REQUIRES(play_view_lock);
void play_drop_lyrics_locked() REQUIRES(play_view_lock);
