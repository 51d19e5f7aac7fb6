/* device_linux_oss: the sound card of a kernel without ALSA: /dev/dsp. */
#include "platform/device/linux/device_linux.h"
#include "platform/sound/sound.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/soundcard.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

constexpr const char *places[] = {"/dev/dsp", "/dev/dsp1", "/dev/dsp2", "/dev/dsp3"};

/* Asked for; a card takes what is nearest. Five fragments of 23 ms: see device_linux_card.cpp. */
constexpr int fragments_wanted = 5 << 16 | 12; /* how many, and the power of two of their bytes */
constexpr int rate_apart = sound_rate / 100;   /* a crystal that is a little off is fine */

static constinit int dsp_fd = -1; /* sound thread, while that runs */
static constinit int32_t dsp_size = 0, dsp_period = 0;

/* What a card says it has set must be what was asked for: it may change the value. */
static bool set(int fd, unsigned long what, int wanted, int apart)
{
    int value = wanted;
    if (ioctl(fd, what, &value) < 0)
        return false;
    if (abs(value - wanted) <= apart)
        return true;
    errno = ENOTSUP;
    return false;
}

static int set_up(int fd)
{
    int fragments = fragments_wanted;
    (void)ioctl(fd, SNDCTL_DSP_SETFRAGMENT, &fragments); /* its own measures will do */
    audio_buf_info space = {};
    if (!set(fd, SNDCTL_DSP_SETFMT, AFMT_S16_NE, 0) || !set(fd, SNDCTL_DSP_CHANNELS, 2, 0) ||
        !set(fd, SNDCTL_DSP_SPEED, sound_rate, rate_apart) ||
        ioctl(fd, SNDCTL_DSP_GETOSPACE, &space) < 0)
        return -1;
    dsp_period = space.fragsize / static_cast<int32_t>(sound_frame_bytes);
    dsp_size = dsp_period * std::clamp(space.fragstotal, 0, 1 << 12);
    if (dsp_period > 0 && dsp_period <= int{sound_rate} && dsp_size > 0)
        return 0;
    errno = EINVAL;
    return -1;
}

static int try_card(const char *place)
{
    dsp_fd = open(place, O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (dsp_fd >= 0 && set_up(dsp_fd) == 0)
        return 0;
    const int error = errno;
    if (dsp_fd >= 0)
        close(dsp_fd);
    dsp_fd = -1;
    return error;
}

static int oss_open()
{
    static constinit int told = 0; /* nobody wants to read the same twice */
    int reason = 0;
    for (const char *place : places) {
        const int error = try_card(place);
        if (error == 0) {
            told = 0;
            return 0;
        }
        if (reason == 0)
            reason = error; /* the others may just not be there */
    }
    if (told != reason)
        fprintf(stderr, "no sound from %s: %s\n", places[0], strerror(reason));
    told = reason;
    return -1;
}

static void oss_drop()
{
    if (dsp_fd >= 0)
        (void)ioctl(dsp_fd, SNDCTL_DSP_RESET, nullptr); /* one that cannot plays to the end */
}

static void oss_close()
{
    if (dsp_fd < 0)
        return;
    oss_drop();
    close(dsp_fd);
    dsp_fd = -1;
}

/* A card that runs dry is silent and goes on: there is no underrun to tell. */
static int32_t oss_room()
{
    audio_buf_info space = {};
    if (ioctl(dsp_fd, SNDCTL_DSP_GETOSPACE, &space) < 0)
        return -1;
    return std::clamp(space.bytes / static_cast<int32_t>(sound_frame_bytes), 0, dsp_size);
}

static int32_t oss_size()
{
    return dsp_size;
}

static int32_t oss_period()
{
    return dsp_period;
}

static int32_t oss_delay()
{
    int bytes = 0;
    if (ioctl(dsp_fd, SNDCTL_DSP_GETODELAY, &bytes) < 0)
        return -1;
    return std::clamp(bytes / static_cast<int32_t>(sound_frame_bytes), 0, int{sound_rate});
}

static int32_t oss_write(const int16_t *samples, uint32_t frames)
{
    const ssize_t done = write(dsp_fd, samples, size_t{frames} * sound_frame_bytes);
    if (done < 0)
        return errno == EAGAIN || errno == EINTR ? 0 : -1;
    return static_cast<int32_t>(done / static_cast<ssize_t>(sound_frame_bytes));
}

/* After a reset it takes sound again at once. */
static int oss_recover()
{
    return oss_room() < 0 ? -1 : 0;
}

/* It plays by itself once a fragment is full, and this way when none will be. */
static int oss_start()
{
    return ioctl(dsp_fd, SNDCTL_DSP_POST, nullptr) < 0 ? -1 : 0;
}

/* Milliseconds until there is as much room as planned, as the card plays now; 0: there is. */
static int32_t time_to_room()
{
    const int32_t missing = linux_card_plan_of(dsp_size, dsp_period).wake_room - oss_room();
    return missing <= 0 ? 0 : missing * 1000 / static_cast<int32_t>(sound_rate) + 1;
}

static bool oss_wait(int stop, int32_t ms)
{
    pollfd both[] = {{.fd = stop, .events = POLLIN, .revents = 0},
                     {.fd = dsp_fd, .events = POLLOUT, .revents = 0}};
    if (poll(both, 2, ms) <= 0)
        return false; /* signals never reach this thread */
    if (both[0].revents || (both[1].revents & ~POLLOUT))
        return true;
    /* It woke us for the first fragment that is free. */
    const int32_t left = time_to_room();
    if (left > 0)
        (void)poll(both, 1, std::min(left, ms)); /* the card's time, or the stop */
    return true;
}

constinit const linux_card linux_card_oss = {
    .open = oss_open,
    .close = oss_close,
    .room = oss_room,
    .size = oss_size,
    .period = oss_period,
    .delay = oss_delay,
    .write = oss_write,
    .recover = oss_recover,
    .start = oss_start,
    .drop = oss_drop,
    .wait = oss_wait,
};

#ifdef ZERV_OSS
constinit const linux_card *linux_card_current = &linux_card_oss;
#endif
