/* A card of an older kernel: a pipe that is played by whoever reads it. Stands before the C library's open
 * and ioctl. */
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#include "platform/device/linux/device_linux.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/soundcard.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

constexpr int fragment = 4096, fragments = 8;

struct test_dsp {
    std::string place = "/dev/dsp"; /* the one that opens */
    int open_error = ENOENT;        /* of the others */
    int play = -1, fd = -1;         /* ends of the pipe: the card's, the program's */
    int rate = 44100, channels = 2, format = AFMT_S16_NE; /* that it does */
    int fragment = ::fragment;
    bool gone = false;
    std::vector<unsigned long> calls;
};
static test_dsp dsp;

static int dsp_open(const char *path, int flags)
{
    if (dsp.place != path) {
        errno = dsp.open_error;
        return -1;
    }
    EXPECT_EQ(flags & (O_WRONLY | O_NONBLOCK), O_WRONLY | O_NONBLOCK);
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_NONBLOCK), 0);
    EXPECT_EQ(fcntl(ends[1], F_SETPIPE_SZ, fragment * fragments), fragment * fragments);
    dsp.play = ends[0];
    dsp.fd = ends[1];
    return dsp.fd;
}

static int pending()
{
    int bytes = 0;
    EXPECT_EQ(syscall(SYS_ioctl, dsp.play, FIONREAD, &bytes), 0);
    return bytes;
}

static int dsp_call(unsigned long what, int *value)
{
    dsp.calls.push_back(what);
    if (dsp.gone) {
        errno = ENODEV;
        return -1;
    }
    switch (what) {
    case SNDCTL_DSP_SETFMT:
        *value = dsp.format;
        break;
    case SNDCTL_DSP_CHANNELS:
        *value = dsp.channels;
        break;
    case SNDCTL_DSP_SPEED:
        *value = dsp.rate;
        break;
    case SNDCTL_DSP_GETODELAY:
        *value = pending();
        break;
    case SNDCTL_DSP_GETOSPACE: {
        const audio_buf_info space = {0, fragments, dsp.fragment, fragment * fragments - pending()};
        memcpy(value, &space, sizeof space);
        break;
    }
    }
    return 0;
}

static int kernel_ioctl(int fd, unsigned long request, void *to)
{
    if (fd >= 0 && fd == dsp.fd)
        return dsp_call(request, static_cast<int *>(to));
    return static_cast<int>(syscall(SYS_ioctl, fd, request, to));
}

extern "C" {

int __ioctl_time64(int fd, unsigned long request, ...) noexcept;

int open(const char *path, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = flags & (O_CREAT | O_TMPFILE) ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return strncmp(path, "/dev/dsp", 8) == 0
               ? dsp_open(path, flags)
               : static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

int open64(const char *path, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = flags & (O_CREAT | O_TMPFILE) ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return open(path, flags, mode);
}

int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list rest;
    va_start(rest, request);
    void *to = va_arg(rest, void *);
    va_end(rest);
    return kernel_ioctl(fd, request, to);
}

/* As ioctl() is called where times of 64 bits have to be asked for. */
int __ioctl_time64(int fd, unsigned long request, ...) noexcept
{
    va_list rest;
    va_start(rest, request);
    void *to = va_arg(rest, void *);
    va_end(rest);
    return kernel_ioctl(fd, request, to);
}
}

static const linux_card &card = linux_card_oss;

struct linux_oss : testing::Test {
    void SetUp() override { dsp = {}; }
    void TearDown() override
    {
        card.close();
        card.close(); /* a second time it is closed already */
        EXPECT_TRUE(dsp.fd < 0 || fcntl(dsp.fd, F_GETFD) < 0) << "left open";
        if (dsp.play >= 0)
            close(dsp.play);
    }
    static std::vector<int16_t> play(int32_t frames)
    {
        std::vector<int16_t> heard(static_cast<size_t>(frames) * 2);
        const ssize_t got = read(dsp.play, heard.data(), heard.size() * 2);
        heard.resize(static_cast<size_t>(std::max<ssize_t>(got, 0)) / 2);
        return heard;
    }
    static std::string refusal()
    {
        testing::internal::CaptureStderr();
        EXPECT_EQ(card.open(), -1);
        return testing::internal::GetCapturedStderr();
    }
};

TEST_F(linux_oss, a_card_is_filled_and_plays_what_it_was_given)
{
    ASSERT_EQ(card.open(), 0);
    EXPECT_EQ(card.size(), 8192);
    EXPECT_EQ(card.period(), 1024);
    EXPECT_EQ(card.room(), 8192);
    std::vector<int16_t> samples(2 * 9000);
    for (size_t i = 0; i < samples.size(); i++)
        samples[i] = static_cast<int16_t>(i);
    EXPECT_EQ(card.write(samples.data(), 1500), 1500);
    EXPECT_EQ(card.room(), 8192 - 1500);
    EXPECT_EQ(card.delay(), 1500);
    const std::vector<int16_t> heard = play(1500);
    EXPECT_EQ(heard, std::vector<int16_t>(samples.begin(), samples.begin() + 3000));
    EXPECT_EQ(card.write(samples.data(), 9000), 8192) << "no more than it holds";
    EXPECT_EQ(card.write(samples.data(), 10), 0) << "full is no error";
    EXPECT_EQ(card.room(), 0);
}

TEST_F(linux_oss, a_wait_ends_when_there_is_room_or_somebody_calls)
{
    int stop[2];
    ASSERT_EQ(pipe(stop), 0);
    ASSERT_EQ(card.open(), 0);
    const std::vector<int16_t> silence(2 * 8192);
    EXPECT_TRUE(card.wait(stop[0], 1000000)) << "empty";
    ASSERT_EQ(card.write(silence.data(), 8192), 8192);
    EXPECT_FALSE(card.wait(stop[0], 1)) << "a card that stands";
    ASSERT_EQ(write(stop[1], "x", 1), 1);
    EXPECT_TRUE(card.wait(stop[0], 1000000));
    close(stop[0]);
    close(stop[1]);
}

TEST_F(linux_oss, a_short_sound_is_started_and_a_dropped_one_silenced)
{
    ASSERT_EQ(card.open(), 0);
    dsp.calls.clear();
    EXPECT_EQ(card.start(), 0);
    card.drop();
    EXPECT_EQ(card.recover(), 0);
    EXPECT_EQ(dsp.calls, (std::vector<unsigned long>{SNDCTL_DSP_POST, SNDCTL_DSP_RESET,
                                                     SNDCTL_DSP_GETOSPACE}));
}

TEST_F(linux_oss, a_card_that_goes_is_told)
{
    ASSERT_EQ(card.open(), 0);
    dsp.gone = true;
    EXPECT_EQ(card.room(), -1);
    EXPECT_EQ(card.delay(), -1);
    EXPECT_EQ(card.recover(), -1);
    EXPECT_EQ(card.start(), -1);
}

TEST_F(linux_oss, the_next_card_is_tried_and_the_first_one_s_reason_told_once)
{
    dsp.place = "/dev/dsp2";
    ASSERT_EQ(card.open(), 0);
    card.close();
    close(dsp.play);
    dsp.play = -1;
    dsp.place = "";
    dsp.open_error = EACCES;
    EXPECT_EQ(refusal(), "no sound from /dev/dsp: Permission denied\n");
    EXPECT_EQ(refusal(), "");
    dsp.open_error = EBUSY;
    EXPECT_EQ(refusal(), "no sound from /dev/dsp: Device or resource busy\n");
}

TEST_F(linux_oss, a_card_of_another_kind_is_not_played_to)
{
    const std::string unknown = "no sound from /dev/dsp: Operation not supported\n";
    for (int *what : {&dsp.rate, &dsp.channels, &dsp.format}) {
        const int good = *what;
        *what = good == 44100 ? 22050 : 1;
        (void)refusal(); /* said before, but for the first time */
        EXPECT_LT(fcntl(dsp.fd, F_GETFD), 0) << "left open";
        close(dsp.play);
        dsp.play = -1;
        *what = good;
    }
    dsp.rate = 44300; /* a crystal that is a little off */
    EXPECT_EQ(card.open(), 0);
    card.close();
    close(dsp.play);
    dsp.play = -1;
    dsp.rate = 8000;
    EXPECT_EQ(refusal(), unknown);
    close(dsp.play);
    dsp.play = -1;
    dsp.rate = 44100;
    dsp.fragment = 0;
    EXPECT_EQ(refusal(), "no sound from /dev/dsp: Invalid argument\n");
}
