/* device_linux_input: buttons, pads and touch panels, as records of the kernel's event devices. */
#include "platform/base/device.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/device/linux/device_linux.h"
#include "platform/input/key.h"
#include "platform/input/key_map.h"
#include "platform/input/touch.h"

#include <algorithm>
#include <bitset>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <linux/input.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

constexpr int sources_most = 32;
constexpr int32_t no_slot = -1; /* more fingers than the first are not followed */

struct source {
    int fd;
    int32_t number; /* of /dev/input/eventN; -1: of a test */
    linux_axes axes;
    std::bitset<key_code_count> held; /* codes that it holds down */
    std::bitset<linux_sticks> spoken; /* axes that have said something */
    bool pulled[2];                   /* its triggers, which hold codes of buttons down as well */
    int32_t raw_x, raw_y;
    int32_t slot;          /* finger that the records speak of; the first is 0 */
    bool down, shown_down; /* the finger: now, and as reported */
    bool moved;
    bool lost; /* the kernel dropped records: skip up to the end of a report */
};

/* Main thread. */
static constinit source sources[sources_most] = {};
static constinit int source_count = 0;

static constinit bool came_nothing = false; /* from any source, while the last wait lasted */
static constinit bool clock_jumped = false; /* as the last wait saw */

constinit const char *linux_input_folder = "/dev/input";
static constinit int32_t touch_turn = -1; /* as the user wishes; -1: as it seems right */
static constinit int arrivals = -1;       /* tells of devices that are plugged in; main thread */

/* Never closed: a worker may call for attention while the program goes down. */
static constinit int wake_event = -1;

static void hold(source *from, uint16_t code, bool down)
{
    if (from->held[code] == down)
        return;
    from->held[code] = down;
    key_code_event(code, down);
}

/* An axis that nobody has touched reads as 0. What jumps to the middle with its first word is a stick
 * that rests there. */
static void on_first_word(source *from, uint16_t axis, int32_t value)
{
    if (axis >= linux_sticks || from->spoken[axis])
        return;
    from->spoken[axis] = true;
    for (linux_trigger &each : from->axes.triggers) {
        if (each.axis == axis && each.unsure && linux_is_middle(&each.range, value))
            each = {};
    }
    const linux_range *stick = &from->axes.sticks[axis];
    if (stick->least != stick->most && linux_is_middle(stick, value))
        from->axes.resting[axis] = 0;
}

static bool on_trigger(source *from, uint16_t axis, int32_t value)
{
    static constexpr uint16_t codes[] = {BTN_TL2, BTN_TR2};
    for (int i = 0; i < 2; i++) {
        const linux_trigger *trigger = &from->axes.triggers[i];
        if (trigger->range.least == trigger->range.most || trigger->axis != axis)
            continue;
        const bool down = linux_trigger_is_down(trigger, value, from->pulled[i]);
        if (down != from->pulled[i])
            key_code_event(codes[i], down);
        from->pulled[i] = down;
        return true;
    }
    return false;
}

/* A stick or a direction hat: each end is a code. */
static void on_stick(source *from, uint16_t axis, int32_t value)
{
    const uint16_t low = static_cast<uint16_t>(key_code_axis + 2 * axis);
    const uint16_t high = static_cast<uint16_t>(low + 1);
    if (axis >= linux_sticks)
        return;
    int32_t side =
        linux_stick_side(&from->axes.sticks[axis], value, from->held[low] ? -1 : from->held[high]);
    if (side == from->axes.resting[axis])
        side = 0;
    hold(from, low, side < 0); /* first what comes up: a hat may jump from end to end */
    hold(from, high, side > 0);
}

static int32_t scaled(int32_t raw, const linux_range &range, int32_t size)
{
    const int64_t span = static_cast<int64_t>(range.most) - range.least;
    if (span == 0)
        return 0;
    const int64_t at = (static_cast<int64_t>(raw) - range.least) * (size - 1) / span;
    return static_cast<int32_t>(std::clamp<int64_t>(at, 0, size - 1));
}

static bool has_panel(const source *from)
{
    return from->axes.panel.x.least != from->axes.panel.x.most &&
           from->axes.panel.y.least != from->axes.panel.y.most;
}

static int64_t span_of(const linux_range &range)
{
    return std::abs(static_cast<int64_t>(range.most) - range.least);
}

/* The panel as the source sees it, with the picture on it: turned as the user says; where its longer
 * side is the picture's although the panel stands, it tells points of the picture; else they are the
 * panel's. */
static linux_panel panel_seen_by(const source *from)
{
    static constexpr linux_panel none = {nullptr, device_width, device_height, 0, 0, {}, {}, {}};
    linux_panel seen = linux_panel_open ? *linux_panel_open : none;
    const bool lies = span_of(from->axes.panel.x) * 4 > span_of(from->axes.panel.y) * 5;
    const bool is_turned = seen.turn % 2 != 0;
    const int32_t turn = touch_turn >= 0 ? touch_turn : is_turned && lies ? 0 : seen.turn;
    if ((turn + seen.turn) % 2 != 0)
        std::swap(seen.width, seen.height);
    seen.turn = turn;
    return seen;
}

/* A finger that comes down beside the picture is none until it reaches it. */
static void end_report(source *from)
{
    if (!has_panel(from) || (!from->moved && from->down == from->shown_down))
        return;
    const linux_panel seen = panel_seen_by(from);
    int32_t x = scaled(from->raw_x, from->axes.panel.x, seen.width);
    int32_t y = scaled(from->raw_y, from->axes.panel.y, seen.height);
    if (!linux_panel_point(&seen, &x, &y) && from->down && !from->shown_down)
        return;
    if (from->down != from->shown_down)
        touch_event(from->down ? touch_type_press : touch_type_release, x, y);
    else if (from->down)
        touch_event(touch_type_move, x, y);
    from->shown_down = from->down;
    from->moved = false;
}

static void on_axis(source *from, uint16_t code, int32_t value)
{
    const bool first_finger = from->slot == 0;
    on_first_word(from, code, value);
    if (on_trigger(from, code, value))
        return;
    on_stick(from, code, value);
    switch (code) {
    case ABS_MT_SLOT:
        from->slot = value == 0 ? 0 : no_slot;
        break;
    case ABS_MT_TRACKING_ID:
        if (first_finger)
            from->down = value >= 0;
        break;
    case ABS_X:
    case ABS_MT_POSITION_X:
        if (code == ABS_X || first_finger)
            from->raw_x = value;
        from->moved = true;
        break;
    case ABS_Y:
    case ABS_MT_POSITION_Y:
        if (code == ABS_Y || first_finger)
            from->raw_y = value;
        from->moved = true;
        break;
    }
}

/* Values: 0 released, 1 pressed, 2 repeated by the kernel, whose pace is not ours. */
static void on_key(source *from, uint16_t code, int32_t value)
{
    if (code == (from->axes.panel.by_button ? BTN_LEFT : BTN_TOUCH))
        from->down = value != 0;
    else if (code < key_code_axis && (value == 0 || value == 1))
        hold(from, code, value == 1);
}

static void on_switch(source *from, uint16_t code, int32_t value)
{
    if (code < key_code_count - key_code_switch)
        hold(from, static_cast<uint16_t>(key_code_switch + code), value != 0);
}

/* How the switches stand, for nobody may have moved them since the device came, or since the kernel
 * dropped a record. A source that has none says so. */
static void look_at_switches(source *from)
{
    unsigned char set[SW_MAX / 8 + 1] = {};
    if (ioctl(from->fd, EVIOCGSW(sizeof set), set) < 0)
        return;
    for (uint16_t code = 0; code <= SW_MAX; code++)
        on_switch(from, code, set[code / 8] >> (code % 8) & 1);
}

/* What the kernel dropped may have been a release. */
static void let_go(source *from, uint16_t codes_below)
{
    for (uint16_t code = 0; code < codes_below; code++) {
        if (from->held[code])
            key_code_forget(code);
        from->held[code] = false;
    }
    for (int i = 0; i < 2; i++) {
        if (from->pulled[i])
            key_code_forget(i == 0 ? BTN_TL2 : BTN_TR2);
        from->pulled[i] = false;
    }
    from->down = false;
    end_report(from);
}

static void on_record(source *from, const input_event *record)
{
    if (record->type == EV_SYN && record->code == SYN_DROPPED) {
        let_go(from, key_code_switch);
        from->lost = true;
    } else if (record->type == EV_SYN && record->code == SYN_REPORT) {
        if (from->lost)
            look_at_switches(from);
        else
            end_report(from);
        from->lost = false;
    } else if (from->lost) {
        return;
    } else if (record->type == EV_KEY) {
        on_key(from, record->code, record->value);
    } else if (record->type == EV_ABS) {
        on_axis(from, record->code, record->value);
    } else if (record->type == EV_SW) {
        on_switch(from, record->code, record->value);
    }
}

/* False when the source is gone. */
static bool read_source(source *from)
{
    for (;;) {
        input_event records[32];
        const ssize_t got = read(from->fd, records, sizeof records);
        if (got < 0)
            return errno == EAGAIN || errno == EINTR;
        if (got == 0)
            return false;
        for (size_t i = 0; i < static_cast<size_t>(got) / sizeof *records; i++)
            on_record(from, &records[i]);
    }
}

static void remove_source(int index)
{
    let_go(&sources[index], key_code_count);
    close(sources[index].fd);
    sources[index] = sources[--source_count];
}

static bool is_open(int32_t number)
{
    return std::any_of(sources, sources + source_count,
                       [=](const source &each) { return each.number == number; });
}

static void open_source(const char *name)
{
    char path[300];
    const char *rest = nullptr;
    if (strncmp(name, "event", 5) != 0 || name[5] < '0' || name[5] > '9')
        return;
    const int32_t number = str_to_int32(name + 5, &rest);
    if (*rest || is_open(number) || !str_format(path, "%s/%s", linux_input_folder, name))
        return;
    const int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return; /* one that is not ours to read, or not yet: its rights may follow */
    const linux_axes axes = linux_axes_of(fd);
    (void)ioctl(fd, EVIOCGRAB, 1); /* so that a shell behind the picture does not type along */
    if (linux_input_add(fd, &axes) != 0)
        close(fd);
    else
        sources[source_count - 1].number = number;
}

/* A folder that cannot be watched keeps the devices that it has. */
static void watch_folder()
{
    arrivals = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (arrivals >= 0 &&
        inotify_add_watch(arrivals, linux_input_folder, IN_CREATE | IN_ATTRIB) >= 0)
        return;
    if (arrivals >= 0)
        close(arrivals);
    arrivals = -1;
}

static void open_folder()
{
    owner<DIR, closedir> folder(opendir(linux_input_folder));
    while (const dirent *entry = folder ? readdir(folder.get()) : nullptr)
        open_source(entry->d_name);
}

static void open_arrivals()
{
    alignas(inotify_event) char events[4096];
    bool any = false;
    while (arrivals >= 0 && read(arrivals, events, sizeof events) > 0)
        any = true;
    if (any)
        open_folder(); /* names in the events may be gone again: the folder itself is right */
}

int linux_input_add(int fd, const linux_axes *axes)
{
    if (source_count == sources_most)
        return -1;
    const int flags = fcntl(fd, F_GETFL);
    if (flags < 0 || fcntl(fd, F_SETFL, flags | O_NONBLOCK) != 0)
        return -1;
    sources[source_count] = {};
    sources[source_count].fd = fd;
    sources[source_count].number = -1;
    sources[source_count].raw_x = axes->panel.x_now;
    sources[source_count].raw_y = axes->panel.y_now;
    sources[source_count].axes = *axes;
    for (uint16_t hat = ABS_HAT0X; hat <= ABS_HAT3Y; hat++) {
        linux_range *range = &sources[source_count].axes.sticks[hat];
        if (range->least == range->most)
            *range = {-1, 1}; /* a hat is known by its number */
    }
    look_at_switches(&sources[source_count++]);
    return 0;
}

/* A machine without a single button starts too; it can be ended from outside. */
int linux_input_open()
{
    if (wake_event < 0)
        wake_event = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (wake_event < 0)
        return -1;
    touch_turn = linux_turn_wished(getenv("ZERV_TOUCH_TURN"));
    watch_folder(); /* first: what arrives in between is found twice and opened once */
    open_folder();
    linux_sleep_open();
    return 0;
}

int linux_input_close()
{
    while (source_count > 0)
        close(sources[--source_count].fd);
    if (arrivals >= 0)
        close(arrivals);
    arrivals = -1;
    linux_sleep_close();
    return 0;
}

/* What comes after a wait that brought nothing ends the next one at once. */
void linux_input_poll()
{
    if (came_nothing) {
        came_nothing = false;
        return;
    }
    linux_sleep_look(clock_jumped);
    clock_jumped = false;
    open_arrivals();
    for (int i = source_count - 1; i >= 0; i--) {
        if (!read_source(&sources[i]))
            remove_source(i);
    }
}

void linux_input_wait(int32_t ms)
{
    pollfd waiting[sources_most + 3] = {};
    for (int i = 0; i < source_count; i++)
        waiting[i] = {sources[i].fd, POLLIN, 0};
    waiting[source_count] = {wake_event, POLLIN, 0};
    waiting[source_count + 1] = {arrivals, POLLIN, 0}; /* -1 is passed over */
    waiting[source_count + 2] = {linux_sleep_watch(), POLLIN, 0};
    const int came = poll(waiting, static_cast<nfds_t>(source_count) + 3, ms);
    const bool called = came > 0 && waiting[source_count].revents;
    uint64_t calls = 0;
    if (called)
        (void)!read(wake_event, &calls, sizeof calls); /* empty again: awake all the same */
    clock_jumped = came > 0 && waiting[source_count + 2].revents;
    came_nothing = came == (called ? 1 : 0);
}

void linux_input_wake()
{
    const uint64_t one = 1;
    const int before = errno;
    if (wake_event >= 0 && write(wake_event, &one, sizeof one) < 0)
        errno = before; /* full: as good as one more call */
}
