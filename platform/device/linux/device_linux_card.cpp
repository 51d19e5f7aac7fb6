/* device_linux_card: the library calls that open a sound card, fill it and wait for it. */
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/device/linux/device_linux.h"
#include "platform/sound/sound.h"

#include <algorithm>
#include <alsa/asoundlib.h>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <poll.h>

/* Asked for; a card takes what is nearest. Five periods of 22 ms, of which two pass between our
 * wake-ups: 23 of them a second, each with 65 ms still to be heard. */
constexpr snd_pcm_uframes_t period_wanted = 960;
constexpr snd_pcm_uframes_t size_wanted = 5 * period_wanted;
constexpr nfds_t descriptors_most = 16; /* of a card; more than any plugin has */

static constinit snd_pcm_t *pcm = nullptr; /* sound thread, while that runs */
static constinit int32_t pcm_size = 0, pcm_period = 0;

/* While cards are being opened, on the thread that does it. */
static constinit char reasons[1024] = ""; /* a line for each name that was tried */
static constinit char told[sizeof reasons] =
    ""; /* the last ones: nobody wants to read them twice */
static constinit char complaint[160] = "";

static void add_reason(const char *name, int error)
{
    const size_t used = strlen(reasons);
    (void)snprintf(reasons + used, sizeof reasons - used, "no sound from %s: %s%s%s\n", name,
                   snd_strerror(error), complaint[0] ? ": " : "", complaint);
}

/* The library's own words are kept for the case that nothing opens. The first says most. */
__attribute__((format(printf, 5, 6))) static void keep_complaint(const char *, int, const char *,
                                                                 int, const char *format, ...)
{
    if (complaint[0])
        return;
    va_list arguments;
    va_start(arguments, format);
    (void)str_vformat_to(complaint, sizeof complaint, format, arguments); /* cut is enough */
    va_end(arguments);
}

static int set_hardware(snd_pcm_t *of)
{
    snd_pcm_hw_params_t *made = nullptr;
    int error = snd_pcm_hw_params_malloc(&made);
    if (error < 0)
        return error;
    const owner<snd_pcm_hw_params_t, snd_pcm_hw_params_free> to(made);
    snd_pcm_uframes_t period = period_wanted, size = size_wanted;
    error = snd_pcm_hw_params_any(of, made);
    if (error >= 0)
        error = snd_pcm_hw_params_set_access(of, made, SND_PCM_ACCESS_RW_INTERLEAVED);
    if (error >= 0)
        error = snd_pcm_hw_params_set_format(of, made, SND_PCM_FORMAT_S16);
    if (error >= 0)
        error = snd_pcm_hw_params_set_channels(of, made, 2);
    if (error >= 0)
        error = snd_pcm_hw_params_set_rate(of, made, sound_rate, 0);
    if (error >= 0)
        error = snd_pcm_hw_params_set_period_size_near(of, made, &period, nullptr);
    if (error >= 0)
        error = snd_pcm_hw_params_set_buffer_size_near(of, made, &size);
    return error >= 0 ? snd_pcm_hw_params(of, made) : error;
}

/* It starts when we say so, stops when it runs dry, and plays silence behind the last sample
 * instead of what lay there before. */
static int set_software(snd_pcm_t *of, int32_t wake_frames)
{
    snd_pcm_sw_params_t *made = nullptr;
    int error = snd_pcm_sw_params_malloc(&made);
    if (error < 0)
        return error;
    const owner<snd_pcm_sw_params_t, snd_pcm_sw_params_free> to(made);
    snd_pcm_uframes_t boundary = 0;
    error = snd_pcm_sw_params_current(of, made);
    if (error >= 0)
        error = snd_pcm_sw_params_get_boundary(made, &boundary);
    if (error >= 0)
        error = snd_pcm_sw_params_set_start_threshold(of, made, boundary);
    if (error >= 0)
        error =
            snd_pcm_sw_params_set_avail_min(of, made, static_cast<snd_pcm_uframes_t>(wake_frames));
    if (error >= 0)
        error = snd_pcm_sw_params_set_silence_threshold(of, made, 0);
    if (error >= 0)
        error = snd_pcm_sw_params_set_silence_size(of, made, boundary);
    return error >= 0 ? snd_pcm_sw_params(of, made) : error;
}

static int set_up(snd_pcm_t *of)
{
    int error = set_hardware(of);
    snd_pcm_uframes_t size = 0, period = 0;
    if (error >= 0)
        error = snd_pcm_get_params(of, &size, &period);
    if (error < 0)
        return error;
    pcm_size = static_cast<int32_t>(size);
    pcm_period = static_cast<int32_t>(period);
    return set_software(of, linux_card_plan_of(pcm_size, pcm_period).wake_room);
}

static int try_card(const char *name)
{
    complaint[0] = '\0';
    int error = snd_pcm_open(&pcm, name, SND_PCM_STREAM_PLAYBACK, SND_PCM_NONBLOCK);
    if (error >= 0) {
        error = set_up(pcm);
        if (error >= 0)
            return 0;
        snd_pcm_close(pcm);
    }
    pcm = nullptr;
    add_reason(name, error);
    return -1;
}

static int alsa_open()
{
    reasons[0] = '\0';
    (void)snd_lib_error_set_handler(keep_complaint);
    /* Where the configuration is incomplete the card itself still plays. */
    if (try_card("default") == 0 || try_card("plughw:0,0") == 0)
        return 0;
    for (int card = -1; snd_card_next(&card) == 0 && card >= 0;) {
        char name[32];
        (void)str_format(name, "plughw:%d", card); /* fits */
        if (card > 0 && try_card(name) == 0)
            return 0;
    }
    if (strcmp(reasons, told) != 0)
        fputs(reasons, stderr);
    memcpy(told, reasons, sizeof told);
    return -1;
}

static void alsa_close()
{
    if (!pcm)
        return;
    snd_pcm_drop(pcm);
    snd_pcm_close(pcm);
    pcm = nullptr;
}

static int32_t alsa_room()
{
    const snd_pcm_sframes_t room = snd_pcm_avail(pcm);
    return room < 0 ? -1 : static_cast<int32_t>(std::min<snd_pcm_sframes_t>(room, pcm_size));
}

static int32_t alsa_size()
{
    return pcm_size;
}

static int32_t alsa_period()
{
    return pcm_period;
}

static int32_t alsa_delay()
{
    snd_pcm_sframes_t delay = 0;
    if (snd_pcm_delay(pcm, &delay) < 0)
        return -1;
    return static_cast<int32_t>(std::clamp<snd_pcm_sframes_t>(delay, 0, sound_rate));
}

static int32_t alsa_write(const int16_t *samples, uint32_t frames)
{
    const snd_pcm_sframes_t done = snd_pcm_writei(pcm, samples, frames);
    return done == -EAGAIN ? 0 : done < 0 ? -1 : static_cast<int32_t>(done);
}

static int alsa_recover()
{
    return snd_pcm_prepare(pcm) < 0 ? -1 : 0;
}

static int alsa_start()
{
    if (snd_pcm_state(pcm) != SND_PCM_STATE_PREPARED)
        return 0;
    return snd_pcm_start(pcm) < 0 ? -1 : 0;
}

static void alsa_drop()
{
    (void)snd_pcm_drop(pcm); /* a card that is gone fails at the next write */
}

/* What the card's descriptors reported; 0: it woke us for less than we want. */
static unsigned short card_events(pollfd *of, nfds_t count)
{
    unsigned short events = 0;
    return snd_pcm_poll_descriptors_revents(pcm, of, static_cast<unsigned>(count), &events) < 0
               ? POLLERR
               : events;
}

static bool alsa_wait(int stop, int32_t ms)
{
    pollfd all[descriptors_most + 1] = {};
    all[0] = {.fd = stop, .events = POLLIN, .revents = 0};
    const nfds_t count =
        static_cast<nfds_t>(std::max(snd_pcm_poll_descriptors(pcm, all + 1, descriptors_most), 0));
    while (poll(all, count + 1, ms) > 0) {
        if (all[0].revents || card_events(all + 1, count))
            return true;
    }
    return false; /* signals never reach this thread */
}

static constinit const linux_card alsa_card = {
    .open = alsa_open,
    .close = alsa_close,
    .room = alsa_room,
    .size = alsa_size,
    .period = alsa_period,
    .delay = alsa_delay,
    .write = alsa_write,
    .recover = alsa_recover,
    .start = alsa_start,
    .drop = alsa_drop,
    .wait = alsa_wait,
};

constinit const linux_card *linux_card_current = &alsa_card;
