/* device_sdl_wait: sleeps until the window system, a controller or the program itself has something
 * to say. SDL's own wait looks every millisecond as soon as a controller is there, and nothing that
 * ends it may be called by a signal handler. */
#include "platform/device/sdl/device_sdl.h"

#include <SDL.h>
#include <SDL_syswm.h>
#include <algorithm>
#include <cerrno>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

constexpr int pads_most = 4;
/* Where something can be asked but not waited for. */
constexpr int32_t unseen_ms = 10;

/* A controller's device file, opened a second time: SDL keeps its own to itself. */
struct pad {
    SDL_JoystickID id;
    int fd;    /* -1: cannot be waited for */
    bool gone; /* unplugged; SDL will say so */
};

/* Main thread. */
static constinit pad pads[pads_most] = {};
static constinit int pad_count = 0;
static constinit int display_fd = -1;

/* Never closed: workers may call while the program goes down. */
static constinit int wake_event = -1;

#ifdef SDL_VIDEO_DRIVER_WAYLAND
/* Of the library that SDL has loaded, if it has. */
static int wayland_fd(wl_display *of)
{
    void *library = dlopen("libwayland-client.so.0", RTLD_LAZY | RTLD_NOLOAD);
    if (!library)
        return -1;
    const auto get = reinterpret_cast<int (*)(wl_display *)>(dlsym(library, "wl_display_get_fd"));
    const int fd = get ? get(of) : -1;
    (void)dlclose(library);
    return fd;
}
#endif

#ifdef SDL_VIDEO_DRIVER_X11
static constinit Display *x_display = nullptr; /* SDL's own connection, while there is one */
#endif

/* Events that Xlib has read while it waited for an answer: SDL asks for the keyboard's state when the
 * focus comes, after it has emptied the queue. No descriptor tells of them any more. */
static bool has_read_ahead()
{
#ifdef SDL_VIDEO_DRIVER_X11
    return x_display && QLength(x_display) > 0;
#else
    return false;
#endif
}

static int fd_of_display(SDL_Window *window)
{
    SDL_SysWMinfo about = {};
    SDL_VERSION(&about.version);
    if (!SDL_GetWindowWMInfo(window, &about))
        return -1;
#ifdef SDL_VIDEO_DRIVER_X11
    if (about.subsystem == SDL_SYSWM_X11) {
        x_display = about.info.x11.display;
        return ConnectionNumber(x_display);
    }
#endif
#ifdef SDL_VIDEO_DRIVER_WAYLAND
    if (about.subsystem == SDL_SYSWM_WAYLAND)
        return wayland_fd(about.info.wl.display);
#endif
    return -1;
}

void sdl_wait_watch(SDL_Window *window)
{
#ifdef SDL_VIDEO_DRIVER_X11
    x_display = nullptr;
#endif
    display_fd = window ? fd_of_display(window) : -1;
}

void sdl_wait_add_pad(int32_t id, const char *path)
{
    if (pad_count == pads_most)
        return;
    const int fd = path ? open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC) : -1;
    pads[pad_count++] = {id, fd, false};
}

static void close_pad(pad *of)
{
    if (of->fd >= 0)
        close(of->fd);
    of->fd = -1;
}

void sdl_wait_remove_pad(int32_t id)
{
    for (int i = pad_count - 1; i >= 0; i--) {
        if (pads[i].id != id)
            continue;
        close_pad(&pads[i]);
        pads[i] = pads[--pad_count];
    }
}

/* What it reports SDL reads for itself. */
static void drain_pad(pad *of)
{
    char reports[1024];
    ssize_t got = 0;
    while ((got = read(of->fd, reports, sizeof reports)) > 0) {
    }
    if (got < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    of->gone = true;
    close_pad(of);
}

static int32_t longest_ms(int32_t ms)
{
    const bool blind = std::any_of(pads, pads + pad_count,
                                   [](const pad &each) { return each.fd < 0 && !each.gone; });
    return blind || display_fd < 0 ? std::min(ms, unseen_ms) : ms;
}

void sdl_wait(int32_t ms)
{
    /* What the libraries have read already makes no descriptor readable any more. */
    SDL_PumpEvents();
    if (SDL_HasEvents(SDL_FIRSTEVENT, SDL_POLLSENTINEL - 1) || has_read_ahead())
        return;
    pollfd waiting[pads_most + 2] = {};
    waiting[0] = {.fd = wake_event, .events = POLLIN, .revents = 0};
    waiting[1] = {.fd = display_fd, .events = POLLIN, .revents = 0}; /* -1 is passed over */
    for (int i = 0; i < pad_count; i++)
        waiting[i + 2] = {.fd = pads[i].fd, .events = POLLIN, .revents = 0};
    if (poll(waiting, static_cast<nfds_t>(pad_count) + 2, longest_ms(ms)) <= 0)
        return;
    uint64_t calls = 0;
    if (waiting[0].revents)
        (void)!read(wake_event, &calls, sizeof calls); /* one wake for all of them */
    for (int i = 0; i < pad_count; i++) {
        if (waiting[i + 2].revents)
            drain_pad(&pads[i]);
    }
}

void sdl_wake()
{
    const uint64_t one = 1;
    const int before = errno;
    if (wake_event >= 0 && write(wake_event, &one, sizeof one) < 0)
        errno = before; /* full: as good as one more call */
}

int sdl_wait_open()
{
    if (wake_event < 0)
        wake_event = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    return wake_event < 0 ? -1 : 0;
}

void sdl_wait_close()
{
    for (int i = 0; i < pad_count; i++)
        close_pad(&pads[i]);
    pad_count = 0;
    sdl_wait_watch(nullptr);
}
