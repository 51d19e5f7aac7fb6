#include "platform/sound/sound.h"

#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/base/fault.h"
#include "platform/base/lock.h"
#include "platform/sound/sound_device.h"
#include "platform/sound/sound_ring.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

constexpr uint32_t full_frames = sound_rate * 110 / 1000; /* never more is queued */
/* Down to here nobody wakes: nine periods are 104 ms, so the thread sleeps 42 ms at a time. */
constexpr uint32_t low_frames = sound_rate * 62 / 1000;

constexpr int32_t for_ever = -1;
/* A pause between two tracks leaves the card open; a player that lies in a drawer does not. */
constexpr int64_t rest_after_ms = 3000;
/* Between two tries to open a card that somebody else has taken meanwhile. */
constexpr int64_t rouse_again_ms = 10000;

constexpr size_t stack_bytes = 1024 * 1024; /* decoders and the file names of a playlist */
/* Held for a look or a change, never while the callback runs; the lock of the ring is below it. */
static constinit sys_lock queue_lock;
static constinit pthread_cond_t thread_work = PTHREAD_COND_INITIALIZER;
static constinit pthread_cond_t step_done = PTHREAD_COND_INITIALIZER;
static constinit bool closing GUARDED_BY(queue_lock) = false;
static constinit bool woken GUARDED_BY(queue_lock) = false;
static constinit bool drop_pending GUARDED_BY(queue_lock) = false;
static constinit bool thread_idle GUARDED_BY(queue_lock) = false;
static constinit int64_t idle_since_ms GUARDED_BY(queue_lock) = 0; /* clock_real_msec() */
static constinit uint32_t steps_wanted GUARDED_BY(queue_lock) = 0;
static constinit uint32_t steps_done GUARDED_BY(queue_lock) = 0;

/* Sound thread. */
static constinit bool resting = false; /* the speaker: nothing to play, or it could not be roused */
static constinit int64_t rouse_at_ms = 0; /* not before; clock_real_msec() */

static constinit std::atomic<const sound_speaker *> speaker{
    nullptr}; /* null while closed; set on main */

/* Main thread; set before the sound thread starts, which then only reads them. */
static constinit sound_callback callback = nullptr;
static constinit void *callback_user = nullptr;
static constinit pthread_t thread = {};

static constinit thread_local bool on_sound_thread = false;

static uint32_t total_frames()
{
    const sound_speaker *open = speaker;
    const uint32_t pending = open && open->pending ? open->pending() : 0;
    return sound_ring_count() + pending;
}

/* All frames are as the first one, compared as fast as the machine can. */
static bool is_silent(const int16_t *samples, uint32_t frames)
{
    const size_t others = (size_t{frames} - 1) * sound_frame_bytes;
    return samples[0] == 0 && samples[1] == 0 && memcmp(samples, samples + 2, others) == 0;
}

/* Asks the callback for at most one period. False when it had nothing to play. */
static bool fill_period(uint32_t frames, bool *sleeps)
{
    alignas(8) int16_t samples[sound_period_frames * 2] = {};
    const uint32_t turn = sound_ring_turn();
    *sleeps = false;
    callback(callback_user, samples, frames * sound_frame_bytes);
    if (*sleeps && is_silent(samples, frames))
        return false;
    sound_ring_put(samples, frames, turn);
    return true;
}

static bool is_closing()
{
    sys_guard guard(queue_lock);
    return closing;
}

static bool take_drop()
{
    sys_guard guard(queue_lock);
    const bool wanted = drop_pending;
    drop_pending = false;
    return wanted;
}

/* Between a reset and this drop the speaker gets nothing, so none of the new track is dropped. */
static void feed(const sound_speaker *to)
{
    const bool drop = take_drop();
    if (resting) {
        sound_clock_feed(nullptr); /* where it could not be roused the player goes on without */
        return;
    }
    if (drop && to->drop)
        to->drop();
    if (to->feed)
        to->feed();
}

/* -1: the machine's clock says how much is wanted. */
static int32_t room_of(const sound_speaker *to)
{
    return to->room && !resting ? to->room() : -1;
}

static uint32_t wanted_frames(const sound_speaker *to)
{
    const int32_t room = room_of(to);
    if (room >= 0)
        return std::min(static_cast<uint32_t>(room), sound_period_frames);
    return total_frames() + sound_period_frames <= full_frames ? sound_period_frames : 0;
}

static void rouse(const sound_speaker *of)
{
    const int64_t now = clock_real_msec();
    if (!resting || now < rouse_at_ms)
        return;
    resting = of->rouse() != 0;
    if (!resting)
        return;
    fprintf(stderr, "the sound card cannot be used now: playing to a silent clock\n");
    rouse_at_ms = now + rouse_again_ms;
    sound_clock_start();
}

/* Each period reaches the speaker before the next is decoded: a slow decoder then has all that
 * the speaker holds for one period, not for many. False when the callback had nothing to play. */
static bool fill(const sound_speaker *to, bool *sleeps)
{
    uint32_t frames = wanted_frames(to);
    for (; frames > 0 && !is_closing(); frames = wanted_frames(to)) {
        if (!fill_period(frames, sleeps))
            return false;
        rouse(to);
        if (to->drives && !resting)
            return true; /* its own thread asks for the rest */
        feed(to);
    }
    return true;
}

static int32_t busy_ms()
{
    const uint32_t total = total_frames();
    return total <= low_frames ? 1
                               : static_cast<int32_t>((total - low_frames) * 1000 / sound_rate) + 1;
}

/* True when that is a change. */
static bool set_idle(bool idle)
{
    sys_guard guard(queue_lock);
    const bool change = thread_idle != idle;
    thread_idle = idle;
    if (change)
        idle_since_ms = clock_real_msec();
    return change;
}

/* While there is nothing to play and nothing left to be heard. */
static int32_t rest_ms(const sound_speaker *of)
{
    if (resting || !of->rest)
        return for_ever;
    {
        sys_guard guard(queue_lock);
        const int64_t left = idle_since_ms + rest_after_ms - clock_real_msec();
        if (!thread_idle || left > 0)
            return thread_idle ? static_cast<int32_t>(left) : for_ever;
    }
    of->rest();
    resting = true;
    rouse_at_ms = 0;
    return 0; /* a track may have begun meanwhile, on the speaker's own thread */
}

static int32_t idle_ms(const sound_speaker *to)
{
    const uint32_t queued = sound_ring_count();
    return queued > 0 ? static_cast<int32_t>(queued * 1000 / sound_rate) + 1 : rest_ms(to);
}

/* Returns the milliseconds until the next round is due. */
static int32_t play_round(const sound_speaker *to, bool *sleeps)
{
    if (to->drives && !resting)
        return rest_ms(to);
    feed(to);
    const bool enough = room_of(to) < 0 && total_frames() > low_frames;
    const bool busy = enough || fill(to, sleeps);
    feed(to);
    set_idle(!busy);
    return busy ? busy_ms() : idle_ms(to);
}

/* False when the thread has to end. */
static bool wait_for_time(int32_t ms)
{
    const timespec until = clock_real_after(ms);
    sys_guard guard(queue_lock);
    while (!closing && !woken) {
        if (ms == for_ever)
            pthread_cond_wait(&thread_work, &queue_lock.mutex);
        else if (pthread_cond_clockwait(&thread_work, &queue_lock.mutex, CLOCK_MONOTONIC, &until))
            break;
    }
    woken = false;
    return !closing;
}

static bool may_wait_for_speaker()
{
    sys_guard guard(queue_lock);
    return !thread_idle && !woken && !closing;
}

/* A speaker that keeps time says itself when it wants more. */
static bool wait_for_round(const sound_speaker *to, int32_t ms)
{
    const bool waited = to->wait && !resting && may_wait_for_speaker() && to->wait();
    return wait_for_time(waited ? 0 : ms);
}

static bool wait_for_step()
{
    sys_guard guard(queue_lock);
    while (!closing && steps_done == steps_wanted)
        pthread_cond_wait(&thread_work, &queue_lock.mutex);
    return !closing;
}

/* Handing a step to the thread costs more than all else that a scripted millisecond does. */
static bool step_is_due_locked() REQUIRES(queue_lock)
{
    return woken || drop_pending || (!thread_idle && total_frames() <= low_frames);
}

static void finish_step()
{
    sys_guard guard(queue_lock);
    steps_done = steps_wanted;
    pthread_cond_broadcast(&step_done);
}

/* Before programs that keep the processor busy: a period that comes late is heard. Where we may
 * not, all threads stay equal. */
static void go_first()
{
    constexpr int niceness = -11; /* ten times the share of an ordinary thread */
    (void)setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), niceness);
}

static void *thread_main(void *)
{
    go_first();
    bool sleeps = false;
    on_sound_thread = true;
    clock_note_sleeps(&sleeps);
    (void)pthread_setname_np(pthread_self(), "sound"); /* a debugger's comfort only */
    const sound_speaker *to = speaker;
    int32_t next_ms = 0;
    while (to->stepped ? wait_for_step() : wait_for_round(to, next_ms)) {
        next_ms = play_round(to, &sleeps);
        if (to->stepped)
            finish_step();
    }
    return nullptr;
}

static int start_thread()
{
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0)
        return -1;
    sigset_t all, before;
    sigfillset(&all); /* signals belong to the main thread */
    pthread_sigmask(SIG_BLOCK, &all, &before);
    const bool started = pthread_attr_setstacksize(&attributes, stack_bytes) == 0 &&
                         pthread_create(&thread, &attributes, thread_main, nullptr) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    return started ? 0 : -1;
}

static const sound_speaker *open_speaker()
{
    const sound_speaker *found =
        device_current && device_current->speaker ? device_current->speaker() : nullptr;
    if (found && found->open() == 0)
        return found;
    fprintf(stderr, "there is no sound card: playing to a silent clock\n");
    return sound_speaker_silent.open() == 0 ? &sound_speaker_silent : nullptr;
}

static void forget()
{
    sys_guard guard(queue_lock);
    sound_ring_clear();
    closing = woken = drop_pending = thread_idle = false;
    steps_wanted = steps_done = 0;
    rouse_at_ms = 0;
}

int sound_open(sound_callback to_call, void *user)
{
    if (fault_hit("sound_open") || speaker)
        return -1;
    forget();
    callback = to_call;
    callback_user = user;
    sound_volume_rest();
    const sound_speaker *found = open_speaker();
    if (!found)
        return -1;
    resting = found->opens_resting;
    speaker = found;
    if (start_thread() == 0)
        return 0;
    (void)found->close(); /* the missing thread is what gets reported */
    speaker = nullptr;
    return -1;
}

static void end_wait(const sound_speaker *of)
{
    if (of && of->wake)
        of->wake();
}

int sound_close()
{
    int result = 0;
    if (const sound_speaker *open = speaker) {
        {
            sys_guard guard(queue_lock);
            closing = true;
            pthread_cond_broadcast(&thread_work);
            pthread_cond_broadcast(&step_done);
        }
        end_wait(open);
        pthread_join(thread, nullptr);
        result = open->close();
        speaker = nullptr;
        forget();
    }
    return fault_hit("sound_close") ? -1 : result;
}

int sound_reset()
{
    if (on_sound_thread)
        return 0;
    {
        sys_guard guard(queue_lock);
        sound_ring_clear();
        drop_pending = true;
        woken = true;
        pthread_cond_signal(&thread_work);
    }
    end_wait(speaker);
    return 0;
}

/* Also while the thread is busy: it may just have found nothing to play, and be about to say so. A
 * stepped one is not: whoever wakes it waits for its steps. */
void sound_wake()
{
    const sound_speaker *open = speaker;
    sys_guard guard(queue_lock);
    if (open && open->stepped && !thread_idle)
        return;
    woken = true;
    pthread_cond_signal(&thread_work);
}

int32_t sound_get_buffer_remaining()
{
    return static_cast<int32_t>(total_frames() * 1000 / sound_rate);
}

uint32_t sound_at_once()
{
    const sound_speaker *open = speaker;
    return open ? open->at_once : 0;
}

uint32_t sound_drive(int16_t *to, uint32_t frames)
{
    bool sleeps = false, busy = true;
    on_sound_thread = true;
    clock_note_sleeps(&sleeps);
    for (uint32_t got = sound_ring_count(); busy && got < frames && !is_closing();
         got = sound_ring_count())
        busy = fill_period(std::min(frames - got, sound_period_frames), &sleeps);
    clock_note_sleeps(nullptr);
    if (set_idle(!busy) && !busy)
        sound_wake(); /* the sound thread sees to the rest */
    return sound_pull(to, frames);
}

void sound_step()
{
    sys_guard guard(queue_lock);
    if (closing || !speaker || !step_is_due_locked())
        return;
    woken = false;
    steps_wanted++;
    pthread_cond_signal(&thread_work);
    while (!closing && steps_done != steps_wanted)
        pthread_cond_wait(&step_done, &queue_lock.mutex);
}
