/* device_linux_sleep: notices that the machine slept, or that its clock was set. */
#include "platform/base/device.h"
#include "platform/device/linux/device_linux.h"
#include "platform/device/power/battery.h"

#include <cstdint>
#include <ctime>
#include <sys/timerfd.h>
#include <unistd.h>

constexpr int64_t shortest_ms = 100; /* two clocks are not read at the same moment */

static constinit int watch_fd = -1;
static constinit int64_t noticed_ms = 0; /* of sleep */

/* A timer that never comes: the kernel calls it off when the clock jumps, as it does when a machine
 * resumes. */
static bool arm(int fd)
{
    itimerspec far = {};
    far.it_value.tv_sec = INT32_MAX;
    return timerfd_settime(fd, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &far, nullptr) == 0;
}

static int kernel_watch()
{
    const int fd = timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC);
    if (fd < 0 || arm(fd))
        return fd;
    close(fd);
    return -1;
}

static void kernel_watch_again(int fd)
{
    uint64_t count = 0;
    (void)!read(fd, &count, sizeof count); /* ECANCELED: that is the news */
    (void)arm(fd);                         /* it was accepted before */
}

static int64_t milliseconds(clockid_t clock)
{
    timespec now = {};
    (void)clock_gettime(clock, &now); /* an older kernel has no such clock: it never sleeps */
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

/* One clock stands still while the machine sleeps. */
static int64_t kernel_slept_ms()
{
    return milliseconds(CLOCK_BOOTTIME) - milliseconds(CLOCK_MONOTONIC);
}

static constinit const linux_sleep kernel_sleep = {
    .watch = kernel_watch,
    .watch_again = kernel_watch_again,
    .slept_ms = kernel_slept_ms,
};

constinit const linux_sleep *linux_sleep_current = &kernel_sleep;

void linux_sleep_open()
{
    watch_fd = linux_sleep_current->watch();
    noticed_ms = linux_sleep_current->slept_ms();
}

void linux_sleep_close()
{
    if (watch_fd >= 0)
        close(watch_fd);
    watch_fd = -1;
}

int linux_sleep_watch()
{
    return watch_fd;
}

/* The panel may have lost its picture, the card its buffer; nobody knows what the battery has. */
void linux_sleep_look(bool watch_rang)
{
    if (watch_rang)
        linux_sleep_current->watch_again(watch_fd);
    else if (watch_fd >= 0)
        return;
    const int64_t now_ms = linux_sleep_current->slept_ms();
    const bool slept = now_ms - noticed_ms >= shortest_ms;
    noticed_ms = now_ms;
    if (!slept && !watch_rang)
        return;
    battery_forget();
    if (slept) {
        linux_screen_lost();
        linux_speaker_look();
    }
    if (device_woke)
        device_woke(slept);
}
