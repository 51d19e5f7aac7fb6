/* play: one audio file at a time, decoded on the platform's sound thread.
 *
 * A begin, an end and the step from one track to the next run one after the other under a private
 * lock of the engine, which comes before play_lock. So nobody may hold play_lock while calling
 * play_begin, play_end or play_exit; nor a lock that the hook below takes. */
#pragma once

#include "platform/base/lock.h"

#include <atomic>
#include <climits>
#include <cstdint>

struct audio_decoder;
struct audio_stream;

/* Guards the decoder, its stream and play_fpath; file work happens under it. */
extern sys_lock play_lock;
extern const audio_decoder *play_decoder GUARDED_BY(play_lock); /* null: none */
extern audio_stream *play_handle GUARDED_BY(play_lock);         /* null: nothing plays */
extern char play_fpath[512] GUARDED_BY(play_lock);              /* the current or last track, cut */
extern std::atomic<int32_t> play_pos;        /* ms, what the listener hears now */
extern std::atomic<uint8_t> play_paused;     /* also set while nothing is open */
extern std::atomic<uint32_t> play_handle_id; /* grows with every open and close */

/* What follows the end of a track: list_cur_playlist_go, set by start-up. Called on the sound
 * thread, play_lock not held; a begin or end on another thread waits until it returns, so that no
 * track starts behind somebody's back. It may call play_begin and play_end itself. */
extern int (*play_ended)(int32_t delta);

/* What starts, stops and watches tracks. The engine's own, or one that a test of the folders above
 * hangs here before main(). */
struct play_engine {
    int (*begin)(const char *path);
    int (*end)();
    void (*watch)(int32_t first, int32_t last);
};
extern const play_engine *play_engine_hung;

[[nodiscard]] int play_init();
int play_exit();
/* Plays a file from its beginning. 0, or -1 with nothing playing. Any thread, play_lock not held.
 *   path  may be play_fpath itself, or a copy of it: then the last track starts again */
int play_begin(const char *path);
/* Stops. Always 0. Any thread, play_lock not held. */
int play_end();
/* Fills `buffer`. 0 filled or paused, 1 end of stream, -1 error or nothing open. Sound thread.
 *   id  receives play_handle_id as it was under the lock */
int play_next(void *buffer, uint32_t length, uint32_t *id);
/* Wakes the main loop when play_pos leaves `first` to `last`; once, until it is asked again. The
 * beginning and the end of a track wake it always. Any thread. */
void play_watch(int32_t first, int32_t last);
void play_sound_callback(void *user, void *buffer, uint32_t length);
/* The whole path of the current or last track, of which play_fpath may be the beginning only, under
 * the lock; false, and `to` as it was, when nothing was ever played. */
[[nodiscard]] bool play_copy_last_path(char (&to)[PATH_MAX]);
/* A copy of play_fpath under the lock, when a track is loaded: true, else false and "". */
bool play_copy_path(char (&to)[512]);
