/* play: opens, closes and reads the one stream, and steps on at its end. */
#include "play/play.h"

#include "platform/audio/audio.h"
#include "platform/base/clock.h"
#include "platform/base/fault.h"
#include "platform/base/str.h"
#include "platform/sound/sound.h"

#include <cassert>
#include <cstring>
#include <limits>

/* A file that breaks this early would make a playlist of broken files race through itself. */
constexpr int32_t early_error_ms = 3000;
constexpr int32_t idle_ms = 1;

/* Why play_next() had nothing more. */
enum class track_end { natural, error };

constinit sys_lock play_lock;
constinit const audio_decoder *play_decoder = nullptr;
constinit audio_stream *play_handle = nullptr;
constinit char play_fpath[512] = "";
constinit std::atomic<int32_t> play_pos{0};
constinit std::atomic<uint8_t> play_paused{1};
constinit std::atomic<uint32_t> play_handle_id{0};
int (*play_ended)(int32_t delta) = nullptr;
/* What play_fpath is the beginning of. */
static constinit char whole_path[PATH_MAX] GUARDED_BY(play_lock) = "";

/* What play_watch() was told; nobody asks at first. */
static constinit std::atomic<int32_t> watch_first{INT32_MIN}, watch_last{INT32_MAX};

/* Held from the closing of one stream until the next one plays. Without it two begins could meet
 * between their two looks at play_lock and lose a stream, and a stop could come between the end
 * of a track and the start of the next and be forgotten. Recursive: the step to the next track
 * begins it while holding it. Before play_lock. */
static constinit sys_lock begin_lock;

/* Two words that a play_watch() may change in between: at worst the main loop looks for nothing, or
 * with the next period. */
static void tell_position()
{
    const int32_t position = play_pos;
    if (position >= watch_first && position <= watch_last)
        return;
    watch_first = INT32_MIN;
    watch_last = INT32_MAX;
    clock_wake();
}

static void tell_change()
{
    ++play_handle_id;
    clock_wake();
}

static void close_locked() REQUIRES(play_lock)
{
    if (play_handle) {
        (void)play_decoder->close(play_handle); /* nothing to do about a file that closes badly */
        play_decoder = nullptr;
        play_handle = nullptr;
        tell_change();
    }
    play_paused = 1;
    play_pos = 0;
}

static int open_locked(const char *path) REQUIRES(play_lock)
{
    assert(!play_handle);
    /* Whoever starts the last track again may have the cut copy of its path only. */
    const bool is_cut = strlen(play_fpath) == sizeof play_fpath - 1;
    const char *whole = path && is_cut && strcmp(path, play_fpath) == 0 ? whole_path : path;
    if (!whole || strlen(whole) >= sizeof whole_path)
        return -1;
    const audio_decoder *decoder = audio_get_decoder(whole);
    audio_stream *stream = decoder ? decoder->open(whole) : nullptr;
    if (!stream)
        return -1;
    play_decoder = decoder;
    play_handle = stream;
    tell_change();
    if (path != play_fpath && whole != whole_path) {
        (void)str_copy(whole_path, whole); /* fits, see above */
        (void)str_copy(play_fpath, whole); /* cut */
    }
    play_paused = 0;
    return 0;
}

/* What the listener hears now: what was decoded less what still waits in the queue. */
static int32_t heard_ms_locked(int32_t queued_ms) REQUIRES(play_lock)
{
    assert(play_handle && play_decoder);
    const int64_t rate = play_handle->sample_rate;
    if (rate == 0)
        return 0;
    const int64_t samples = play_decoder->tell(play_handle);
    /* Split, so that no count of samples overflows. */
    const int64_t ms = samples / rate * 1000 + samples % rate * 1000 / rate - queued_ms;
    constexpr int64_t longest = std::numeric_limits<int32_t>::max();
    return ms < 0 ? 0 : static_cast<int32_t>(ms < longest ? ms : longest);
}

/* 0 when the buffer is full, 1 at the end of the stream, -1 on an error. */
static int fill_locked(uint8_t *buffer, uint32_t length) REQUIRES(play_lock)
{
    assert(play_handle && play_decoder);
    uint32_t filled = 0;
    while (filled < length) {
        const int32_t got = play_decoder->read(play_handle, buffer + filled, length - filled);
        if (got == 0)
            return 1;
        if (got < 0)
            return got == -1 ? -1 : 0;
        filled += static_cast<uint32_t>(got);
    }
    return 0;
}

/* Closes the track that play_next() gave up on and goes on to the next. Does nothing when another
 * thread has stopped or replaced that track meanwhile: its wish came later. */
static void finish(uint32_t id, track_end why)
{
    sys_guard turn(begin_lock);
    bool advance = false;
    {
        sys_guard guard(play_lock);
        if (!play_handle || play_handle_id != id)
            return;
        advance = why == track_end::natural || play_pos >= early_error_ms;
        close_locked();
    }
    if (advance && play_ended)
        (void)play_ended(1); /* without a next track playback stays stopped */
}

int play_init()
{
    /* The lock is valid since the program was loaded, because the sound thread runs already. */
    return fault_hit("play_init") ? -1 : 0;
}

int play_exit()
{
    (void)play_end();
    return fault_hit("play_exit") ? -1 : 0;
}

static int begin(const char *path)
{
    sys_guard turn(begin_lock);
    {
        sys_guard guard(play_lock);
        close_locked();
    }
    (void)sound_reset(); /* without play_lock: the sound thread may be waiting for it */
    {
        sys_guard guard(play_lock);
        if (open_locked(path) != 0)
            return -1;
    }
    sound_wake(); /* the reset may have woken a sound thread that still found nothing to play */
    return 0;
}

static int end()
{
    sys_guard turn(begin_lock);
    sys_guard guard(play_lock);
    close_locked();
    return 0;
}

int play_next(void *buffer, uint32_t length, uint32_t *id)
{
    {
        sys_guard guard(play_lock);
        *id = play_handle_id;
        if (!play_handle)
            return -1;
        const bool paused = play_paused != 0;
        play_pos = heard_ms_locked(paused ? 0 : sound_get_buffer_remaining());
        tell_position();
        if (!paused)
            return length == 0 ? -1 : fill_locked(static_cast<uint8_t *>(buffer), length);
    }
    clock_msleep(idle_ms);
    return 0;
}

static void watch(int32_t first, int32_t last)
{
    watch_first = first;
    watch_last = last;
    tell_position(); /* it may have left while nobody watched */
}

static constexpr play_engine engine = {.begin = begin, .end = end, .watch = watch};
constinit const play_engine *play_engine_hung = &engine;

int play_begin(const char *path)
{
    return play_engine_hung->begin(path);
}

int play_end()
{
    return play_engine_hung->end();
}

void play_watch(int32_t first, int32_t last)
{
    play_engine_hung->watch(first, last);
}

void play_sound_callback(void *user, void *buffer, uint32_t length)
{
    (void)user;
    bool open = false;
    {
        sys_guard guard(play_lock);
        open = play_handle != nullptr;
    }
    if (!open) {
        clock_msleep(idle_ms);
        return;
    }
    uint32_t id = 0;
    const int result = play_next(buffer, length, &id);
    if (result != 0)
        finish(id, result == 1 ? track_end::natural : track_end::error);
}

bool play_copy_last_path(char (&to)[PATH_MAX])
{
    sys_guard guard(play_lock);
    if (play_fpath[0] == '\0')
        return false;
    const bool is_cut = strlen(play_fpath) == sizeof play_fpath - 1;
    (void)str_copy(to, is_cut ? whole_path : play_fpath); /* fits */
    return true;
}

bool play_copy_path(char (&to)[512])
{
    sys_guard guard(play_lock);
    (void)str_copy(to, play_handle ? play_fpath : ""); /* same size */
    return play_handle != nullptr;
}
