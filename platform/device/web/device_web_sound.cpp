/* device_web_sound: samples on their way to the pages.
 *
 * One page keeps the time: it tells how much it has played, and what it is given keeps it as full as a
 * sound card would be. Without such a page the clock of the machine plays, and pages that listen
 * follow it. */
#include "platform/base/clock.h"
#include "platform/base/lock.h"
#include "platform/device/web/device_web.h"
#include "platform/sound/sound.h"
#include "platform/sound/sound_device.h"
#include "platform/sound/sound_ring.h"

#include <algorithm>
#include <cstdint>
#include <pthread.h>

constexpr uint32_t kept_frames = sound_rate; /* a page that falls further behind loses the rest */
/* As much is under way to the page or waits there to be played. */
constexpr int32_t held_most = sound_rate * 110 / 1000;
constexpr int32_t piece_least = sound_rate * 20 / 1000; /* less room is not worth a message */
/* A page whose browser holds it up for longer does not keep the time any more. */
constexpr int32_t stuck_ms = 500;

static constinit sys_lock sound_lock;
static constinit pthread_cond_t sound_news = PTHREAD_COND_INITIALIZER;
static constinit int16_t kept[kept_frames * 2] GUARDED_BY(sound_lock) = {};
static constinit uint64_t made GUARDED_BY(sound_lock) = 0;    /* frames since the start */
static constinit uint64_t dropped GUARDED_BY(sound_lock) = 0; /* of these, the last nobody wants */
static constinit uint32_t hushes GUARDED_BY(sound_lock) = 0;
static constinit bool paced GUARDED_BY(sound_lock) = false;
static constinit uint64_t played GUARDED_BY(sound_lock) = 0; /* by the page that keeps the time */
static constinit int64_t told_ms GUARDED_BY(sound_lock) = 0; /* when it told so */
static constinit bool woken GUARDED_BY(sound_lock) = false;

static constinit bool was_paced = false; /* sound thread: how the last feed kept the time */

static int32_t held_locked() REQUIRES(sound_lock)
{
    return static_cast<int32_t>(made - std::min(made, played));
}

static int32_t room_locked() REQUIRES(sound_lock)
{
    const int32_t room = held_most - held_locked();
    return room < piece_least ? 0 : room;
}

static void keep(const int16_t *samples, uint32_t frames)
{
    const sys_guard guard(sound_lock);
    for (uint32_t done = 0; done < frames;) {
        const auto at = static_cast<uint32_t>(made % kept_frames);
        const uint32_t piece = std::min(frames - done, kept_frames - at);
        std::copy_n(samples + size_t{done} * 2, size_t{piece} * 2, kept + size_t{at} * 2);
        made += piece;
        done += piece;
    }
}

static int32_t room_now()
{
    const sys_guard guard(sound_lock);
    return paced ? room_locked() : -1;
}

/* ---- sound thread ---- */

static void feed_paced()
{
    int16_t samples[2 * sound_period_frames];
    for (int32_t room = room_now(); room > 0 && sound_ring_count() > 0; room = room_now()) {
        const uint32_t most = std::min(static_cast<uint32_t>(room), sound_period_frames);
        keep(samples, sound_pull(samples, std::min(most, sound_ring_count())));
    }
}

/* A page makes its own silence: a period that comes late is heard as it is. */
static void feed_by_clock()
{
    int16_t samples[2 * sound_period_frames];
    const bool heard = web_audience_listens();
    for (uint32_t due = sound_clock_take(); due > 0; due = sound_clock_take()) {
        const uint32_t frames = sound_pull(samples, std::min(due, sound_ring_count()));
        if (heard)
            keep(samples, frames);
    }
}

static void speaker_feed()
{
    const bool by_page = room_now() >= 0;
    if (was_paced && !by_page)
        sound_clock_start();
    was_paced = by_page;
    if (by_page)
        feed_paced();
    else
        feed_by_clock();
    web_audience_wake();
}

static int32_t speaker_room()
{
    return room_now();
}

/* A page that tells nothing has fallen asleep, or the machine between us has. */
static void wait_for_page_locked() REQUIRES(sound_lock)
{
    const timespec until = clock_real_after(stuck_ms);
    (void)pthread_cond_clockwait(&sound_news, &sound_lock.mutex, CLOCK_MONOTONIC, &until);
    paced = paced && clock_real_msec() - told_ms < stuck_ms;
}

static bool speaker_wait()
{
    const sys_guard guard(sound_lock);
    if (!paced || held_locked() == 0)
        return false;
    while (paced && !woken && room_locked() == 0)
        wait_for_page_locked();
    woken = false;
    return true;
}

static void speaker_wake()
{
    const sys_guard guard(sound_lock);
    woken = true;
    pthread_cond_signal(&sound_news);
}

/* Between two reports of the page its clock is taken to go on. */
static uint32_t speaker_pending()
{
    const int64_t now = clock_real_msec();
    const sys_guard guard(sound_lock);
    if (!paced)
        return 0;
    const int64_t gone = (now - told_ms) * int64_t{sound_rate} / 1000;
    return static_cast<uint32_t>(std::max<int64_t>(held_locked() - gone, 0));
}

static void speaker_drop()
{
    {
        const sys_guard guard(sound_lock);
        dropped = made;
        played = made;
        hushes++;
    }
    web_audience_wake();
}

static int speaker_open()
{
    const sys_guard guard(sound_lock);
    paced = woken = was_paced = false;
    sound_clock_start();
    return 0;
}

static int speaker_close()
{
    return 0;
}

static constinit const sound_speaker speaker = {
    .open = speaker_open,
    .close = speaker_close,
    .feed = speaker_feed,
    .pending = speaker_pending,
    .drop = speaker_drop,
    .room = speaker_room,
    .wait = speaker_wait,
    .wake = speaker_wake,
};

const sound_speaker *web_speaker()
{
    return &speaker;
}

/* ---- server's thread ---- */

void web_sound_join(web_listener *listener)
{
    const sys_guard guard(sound_lock);
    *listener = {.next = made, .hushes = hushes};
}

bool web_sound_hushed(web_listener *listener)
{
    const sys_guard guard(sound_lock);
    if (listener->hushes == hushes)
        return false;
    listener->hushes = hushes;
    listener->next = std::max(listener->next, dropped);
    return true;
}

uint32_t web_sound_take(web_listener *listener, int16_t *to, uint32_t most)
{
    const sys_guard guard(sound_lock);
    if (made - listener->next > kept_frames)
        listener->next = made - kept_frames;
    const auto count = static_cast<uint32_t>(std::min<uint64_t>(made - listener->next, most));
    for (uint32_t i = 0; i < count; i++) {
        const auto at = static_cast<uint32_t>(listener->next++ % kept_frames);
        to[i * 2] = kept[at * 2];
        to[i * 2 + 1] = kept[at * 2 + 1];
    }
    return count;
}

void web_sound_paced(const web_listener *listener, uint32_t left)
{
    const sys_guard guard(sound_lock);
    if (left > kept_frames || left > listener->next)
        return;
    played = std::max(listener->next - left, dropped);
    told_ms = clock_real_msec();
    paced = true;
    if (room_locked() > 0)
        pthread_cond_signal(&sound_news);
}

void web_sound_unpaced()
{
    const sys_guard guard(sound_lock);
    paced = false;
    pthread_cond_signal(&sound_news);
}
