/* device_linux_sound: keeps the sound card full. The card's own clock paces: the sound thread
 * writes all that fits and sleeps until the card wants more. */
#include "platform/base/clock.h"
#include "platform/device/linux/device_linux.h"
#include "platform/sound/sound.h"
#include "platform/sound/sound_device.h"
#include "platform/sound/sound_ring.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <sys/eventfd.h>
#include <unistd.h>

constexpr int32_t piece_least = 64; /* less room than this is not worth a call of the decoder */

/* A card that is as empty after each of so many periods as before does not play: it swallows, and
 * would race through the playlist. */
constexpr int32_t swallowed_most = 4;
constinit int32_t linux_card_look_again_ms = 5000;
constexpr int32_t stuck_ms = 500; /* a card that plays wakes us long before */

static constinit linux_card_plan plan = {}; /* sound thread, while that runs */
static constinit int wake_event = -1;       /* never closed: any thread may call for attention */

/* Sound thread. */
static constinit bool swallows = false;
static constinit bool lost = false;      /* unplugged, or never ready again */
static constinit bool closed = false;    /* lost, and closed: there is nothing to ask */
static constinit bool never = false;     /* closed since the start */
static constinit int64_t look_at_ms = 0; /* for a card that is plugged in; clock_real_msec() */
static constinit std::atomic<bool> looks_now{false};
static constinit bool wrote = false; /* since the last wait for the card */
static constinit int32_t held = 0;
static constinit int32_t swallowed = 0;

/* When the card will have played all that it was given, in clock_real_msec() cut to 32 bits: one
 * word, so that a reader never meets half a change. */
static constinit std::atomic<uint32_t> dry_at_ms{0};

static void note_delay(int32_t frames)
{
    const int64_t ms = static_cast<int64_t>(frames) * 1000 / sound_rate;
    dry_at_ms = static_cast<uint32_t>(clock_real_msec() + ms);
}

/* Looks at what the card holds. After an underrun it is made ready again and holds nothing. False
 * when there was one. */
static bool look()
{
    const linux_card *card = linux_card_current;
    int32_t room = card->room();
    const bool played_on = room >= 0;
    if (!played_on) {
        sound_volume_rest();
        room = card->recover() == 0 ? card->room() : -1;
    }
    lost = room < 0;
    held = lost ? 0 : std::max(0, card->size() - room);
    return played_on;
}

static void write_all(const int16_t *samples, uint32_t frames)
{
    const linux_card *card = linux_card_current;
    bool recovered = false;
    for (uint32_t done = 0; done < frames;) {
        const int32_t taken = card->write(samples + done * 2, frames - done);
        if (taken > 0) {
            done += static_cast<uint32_t>(taken);
            continue;
        }
        if (taken == 0 || recovered || card->recover() != 0)
            return; /* the next look at the card tells what is wrong; this piece is lost */
        recovered = true;
    }
}

static void watch_pace(uint32_t written)
{
    const bool gone = look() && !lost && held == 0 && written > 0;
    swallowed = gone ? swallowed + 1 : 0;
    if (swallowed < swallowed_most)
        return;
    swallows = true;
    fprintf(stderr, "the sound card does not keep time: playing to a silent clock\n");
}

static int32_t room_now()
{
    const int32_t room = plan.fill - held;
    return room < piece_least ? 0 : room;
}

/* False when there is nothing more to write, or no room for it. */
static bool write_piece()
{
    int16_t samples[2 * sound_period_frames];
    const uint32_t most = std::min(static_cast<uint32_t>(room_now()), sound_period_frames);
    const uint32_t frames = sound_pull(samples, std::min(most, sound_ring_count()));
    write_all(samples, frames);
    watch_pace(frames);
    wrote = true;
    return frames > 0;
}

static bool keeps_time()
{
    return !swallows && !lost;
}

/* The one that was lost, or another one: whatever opens now. */
static void look_for_card()
{
    const bool at_once = looks_now.exchange(false);
    if (!lost || swallows || (!at_once && clock_real_msec() < look_at_ms))
        return;
    look_at_ms = clock_real_msec() + linux_card_look_again_ms;
    linux_card_current->close();
    closed = linux_card_current->open() != 0;
    if (closed)
        return;
    plan = linux_card_plan_of(linux_card_current->size(), linux_card_current->period());
    lost = never = false;
    held = swallowed = 0;
}

static void speaker_feed()
{
    look_for_card();
    if (!swallows && !closed)
        (void)look(); /* an underrun here is mended by what follows */
    bool added = false;
    while (keeps_time() && room_now() > 0 && sound_ring_count() > 0)
        added = write_piece() || added;
    if (!keeps_time()) {
        sound_clock_feed(nullptr); /* the player goes on without the card */
        return;
    }
    /* A feed that adds nothing ends a round: what is there is all there is. */
    if (held > 0 && (!added || room_now() == 0))
        (void)linux_card_current->start(); /* the next round tells whether it plays */
    note_delay(held > 0 ? std::max(linux_card_current->delay(), 0) : 0);
    sound_clock_start();
}

static int32_t speaker_room()
{
    return keeps_time() ? room_now() : -1;
}

static void drain_wake()
{
    uint64_t count = 0;
    while (read(wake_event, &count, sizeof count) > 0)
        ;
}

static bool speaker_wait()
{
    /* A card that woke us for nothing must not keep the processor: our clock has the next turn. */
    const bool for_nothing = !wrote;
    wrote = for_nothing;
    if (!keeps_time() || held == 0 || for_nothing)
        return false;
    const bool woken = linux_card_current->wait(wake_event, stuck_ms);
    drain_wake();
    if (!woken) {
        linux_card_current->drop();
        (void)linux_card_current->recover(); /* the next round tells whether it did */
    }
    return true;
}

static void speaker_wake()
{
    const uint64_t one = 1;
    (void)!write(wake_event, &one, sizeof one); /* full: it is awake anyway */
}

void linux_speaker_look()
{
    looks_now = true;
    if (wake_event >= 0)
        speaker_wake();
}

static uint32_t speaker_pending()
{
    const int32_t left = static_cast<int32_t>(dry_at_ms - static_cast<uint32_t>(clock_real_msec()));
    return left <= 0 || left > 1000 ? 0 : static_cast<uint32_t>(left) * sound_rate / 1000;
}

static void speaker_drop()
{
    if (!closed) {
        linux_card_current->drop();
        (void)linux_card_current->recover(); /* the next round tells whether it did */
    }
    held = 0;
    note_delay(0);
}

static void speaker_rest()
{
    linux_card_current->close();
    held = 0;
    note_delay(0);
}

static int speaker_rouse()
{
    lost = closed = wrote = false;
    held = swallowed = 0;
    note_delay(0);
    sound_clock_start();
    if (swallows)
        return 0; /* it would again */
    if (linux_card_current->open() != 0) {
        lost = closed = never; /* a machine that never had one goes on looking without a word */
        look_at_ms = clock_real_msec() + linux_card_look_again_ms;
        return never ? 0 : -1;
    }
    never = false;
    plan = linux_card_plan_of(linux_card_current->size(), linux_card_current->period());
    return 0;
}

static int speaker_open()
{
    if (wake_event < 0)
        wake_event = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    swallows = never = false;
    if (wake_event < 0)
        return -1;
    if (speaker_rouse() == 0)
        return 0;
    fprintf(stderr, "there is no sound card: playing to a silent clock\n");
    never = lost = closed = true; /* one may be plugged in */
    return 0;
}

static int speaker_close()
{
    linux_card_current->close();
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
    .rest = speaker_rest,
    .rouse = speaker_rouse,
};

const sound_speaker *linux_speaker()
{
    return &speaker;
}
