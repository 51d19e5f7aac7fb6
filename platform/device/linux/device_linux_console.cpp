/* device_linux_console: what the player takes away from the machine's console while it draws, and gives
 * back at every end: its text, its picture, its light. */
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/device/linux/device_linux.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <iterator>
#include <linux/fb.h>
#include <linux/kd.h>
#include <sys/ioctl.h>
#include <unistd.h>

constexpr char console_path[] = "/dev/tty0";
constexpr char light_folder[] = "/sys/class/backlight";
/* Ends that nobody has a chance to prepare. */
constexpr int crashes[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGSYS, SIGTRAP, SIGQUIT};

/* Main thread, and any handler of a signal: changed only while nothing is there to be given back. */
static constinit volatile int console_fd = -1;    /* open while the console does not draw */
static constinit volatile int panel_fd = -1;      /* not ours */
static constinit volatile int power_fd = -1;      /* of the light: takes the numbers of FBIOBLANK */
static constinit volatile int brightness_fd = -1; /* where it has no power switch */
static constinit char brightness[16] = "";        /* before the light went out; "" while it is on */
static constinit struct sigaction crashed_before[std::size(crashes)] = {};
static constinit char crash_stack[32 * 1024] = {}; /* the usual one may be what has run out */

static bool write_text(int fd, const char *text)
{
    const size_t length = strlen(text);
    return fd >= 0 && pwrite(fd, text, length, 0) == static_cast<ssize_t>(length);
}

/* ---- light ---- */

static int open_light(const char *name, const char *file, int flags)
{
    char path[400];
    if (!str_format(path, "%s/%s/%s", light_folder, name, file))
        return -1;
    return open(path, flags | O_CLOEXEC);
}

/* The first light: handhelds have one. */
static void find_light()
{
    const owner<DIR, closedir> folder(opendir(light_folder));
    while (const dirent *entry =
               folder && power_fd < 0 && brightness_fd < 0 ? readdir(folder.get()) : nullptr) {
        if (entry->d_name[0] == '.')
            continue;
        power_fd = open_light(entry->d_name, "bl_power", O_WRONLY);
        brightness_fd = open_light(entry->d_name, "brightness", O_RDWR);
    }
}

static void put_light_out()
{
    if (write_text(power_fd, "4")) /* FB_BLANK_POWERDOWN */
        return;
    char now[sizeof brightness] = "";
    if (!brightness[0] && pread(brightness_fd, now, sizeof now - 1, 0) > 0)
        memcpy(brightness, now, sizeof now);
    if (brightness[0])
        (void)write_text(brightness_fd, "0"); /* one that stays lit shows black */
}

/* Safe in a signal handler. */
static void light_up()
{
    (void)write_text(power_fd, "0"); /* FB_BLANK_UNBLANK */
    if (brightness[0])
        (void)write_text(brightness_fd, brightness);
    brightness[0] = '\0';
}

void linux_console_light(bool on)
{
    if (panel_fd < 0)
        return;
    if (on)
        light_up();
    (void)ioctl(panel_fd, FBIOBLANK, on ? FB_BLANK_UNBLANK : FB_BLANK_POWERDOWN);
    if (!on)
        put_light_out();
}

/* ---- text ---- */

void linux_console_rescue()
{
    const int before = errno;
    if (panel_fd >= 0)
        linux_console_light(true);
    if (console_fd >= 0)
        (void)ioctl(console_fd, KDSETMODE, KD_TEXT); /* there is nobody to tell */
    errno = before;
}

/* The fault repeats, or the signal comes again, once the handler is back: whoever had it before gets it
 * then. */
static void on_crash(int number)
{
    linux_console_rescue();
    for (size_t i = 0; i < std::size(crashes); i++) {
        if (crashes[i] == number)
            (void)sigaction(number, &crashed_before[i], nullptr);
    }
    (void)raise(number);
}

static void catch_crashes()
{
    stack_t stack = {};
    stack.ss_sp = crash_stack;
    stack.ss_size = sizeof crash_stack;
    struct sigaction action = {};
    action.sa_handler = on_crash;
    /* A sanitizer has a stack of its own for this. */
    stack_t had = {};
    if (sigaltstack(nullptr, &had) == 0 && (had.ss_flags & SS_DISABLE))
        (void)sigaltstack(&stack, nullptr);
    action.sa_flags = SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (size_t i = 0; i < std::size(crashes); i++)
        (void)sigaction(crashes[i], &action, &crashed_before[i]);
}

static void leave_crashes()
{
    for (size_t i = 0; i < std::size(crashes); i++)
        (void)sigaction(crashes[i], &crashed_before[i], nullptr);
}

/* The text console would draw its cursor over the picture. A machine without one is fine. */
static void silence_console()
{
    const int fd = open(console_path, O_RDWR | O_CLOEXEC);
    if (fd >= 0 && ioctl(fd, KDSETMODE, KD_GRAPHICS) == 0)
        console_fd = fd;
    else if (fd >= 0)
        close(fd);
}

void linux_console_take(int panel)
{
    panel_fd = panel;
    find_light();
    catch_crashes();
    silence_console();
}

static void close_and_forget(volatile int *fd)
{
    if (*fd >= 0)
        close(*fd);
    *fd = -1;
}

void linux_console_give_back()
{
    if (panel_fd < 0)
        return;
    linux_console_rescue();
    leave_crashes();
    panel_fd = -1;
    close_and_forget(&console_fd);
    close_and_forget(&power_fd);
    close_and_forget(&brightness_fd);
}
