/* device_web_input: keys, finger, battery and files of the page that holds the keys, on their way to
 * the main thread. */
#include "platform/base/lock.h"
#include "platform/base/str.h"
#include "platform/device/web/device_web.h"
#include "platform/input/drop.h"
#include "platform/input/key.h"
#include "platform/input/key_map.h"
#include "platform/input/touch.h"

#include <atomic>
#include <bitset>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

constexpr uint32_t queue_size = 256;
/* Places that are kept: what went down must come up, and a drop must end. */
constexpr uint32_t room_for_files = 64, room_for_ends = 128;

enum class event_kind { key, code, finger, file, files_end };

struct input_event {
    event_kind kind;
    bool down = false;
    uint32_t key = 0;
    uint16_t code = 0;
    int32_t touch_type = 0, x = 0, y = 0;
    char *path = nullptr; /* owned */
};

static constinit sys_lock input_lock;
static constinit input_event queue[queue_size] GUARDED_BY(input_lock) = {};
static constinit uint32_t queue_count GUARDED_BY(input_lock) = 0;

/* Server's thread. */
static constinit uint32_t keys_down = 0;
static constinit std::bitset<key_code_axis> codes_down = {};
static constinit bool finger_down = false;
static constinit int32_t finger_x = 0, finger_y = 0;

static constinit std::atomic<int32_t> battery{100};
static constinit int wake_event = -1; /* never closed: any thread may call for attention */

static void forget()
{
    const sys_guard guard(input_lock);
    for (uint32_t i = 0; i < queue_count; i++)
        free(queue[i].path);
    queue_count = 0;
}

int web_input_open()
{
    forget();
    keys_down = 0;
    codes_down.reset();
    finger_down = false;
    battery = 100;
    if (wake_event < 0)
        wake_event = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (wake_event < 0)
        fprintf(stderr, "no input for the page: %s\n", strerror(errno));
    return wake_event < 0 ? -1 : 0;
}

int web_input_close()
{
    forget();
    return 0;
}

/* ---- server's thread ---- */

/* False when the program has not looked for so long that there is no room. */
static bool add(const input_event &event, uint32_t room_left)
{
    {
        const sys_guard guard(input_lock);
        if (queue_count + room_left >= queue_size)
            return false;
        queue[queue_count++] = event;
    }
    web_input_wake();
    return true;
}

/* What goes down needs room for what comes up. */
static void take_key(uint32_t key, bool down)
{
    const bool held = (keys_down & key) != 0;
    if (held == down)
        return;
    const input_event event = {.kind = event_kind::key, .down = down, .key = key};
    if (add(event, down ? room_for_ends : room_for_files))
        keys_down ^= key;
}

static void take_code(uint16_t code, bool down)
{
    if (codes_down[code] == down)
        return;
    const input_event event = {.kind = event_kind::code, .down = down, .code = code};
    if (add(event, down ? room_for_ends : room_for_files))
        codes_down[code] = down;
}

/* A press where one is down, and anything else where none is, comes from a page that is confused. */
static void take_finger(const web_message &message)
{
    const bool press = message.touch_type == touch_type_press;
    const bool release = message.touch_type == touch_type_release;
    const input_event event = {.kind = event_kind::finger,
                               .touch_type = message.touch_type,
                               .x = message.x,
                               .y = message.y};
    if (press == finger_down || !add(event, release ? room_for_files : room_for_ends))
        return;
    finger_down = !release;
    finger_x = message.x;
    finger_y = message.y;
}

void web_input_take(const web_message &message)
{
    if (message.word == web_word::key)
        take_key(message.key, message.on);
    else if (message.word == web_word::code)
        take_code(message.code, message.on);
    else if (message.word == web_word::finger)
        take_finger(message);
    else if (message.word == web_word::battery)
        battery = message.percent;
    web_input_wake();
}

void web_input_let_go()
{
    for (uint32_t key = 1; key != 0; key <<= 1) {
        if (keys_down & key)
            take_key(key, false);
    }
    for (uint16_t code = 0; code < key_code_axis; code++) {
        if (codes_down[code])
            take_code(code, false);
    }
    if (finger_down)
        take_finger({.word = web_word::finger,
                     .touch_type = touch_type_release,
                     .x = finger_x,
                     .y = finger_y});
}

void web_input_drop(const char *path)
{
    input_event event = {.kind = event_kind::file};
    event.path = strdup(path);
    if (event.path && !add(event, 1))
        free(event.path);
}

void web_input_drop_end()
{
    (void)add({.kind = event_kind::files_end},
              0); /* without room the next drop ends this one too */
}

/* ---- main thread ---- */

static uint32_t take_all(input_event (&to)[queue_size])
{
    const sys_guard guard(input_lock);
    const uint32_t count = queue_count;
    memcpy(to, queue, count * sizeof *queue);
    queue_count = 0;
    return count;
}

static void report(const input_event &event)
{
    switch (event.kind) {
    case event_kind::key:
        key_event(event.key, event.down);
        break;
    case event_kind::code:
        key_code_event(event.code, event.down);
        break;
    case event_kind::finger:
        touch_event(event.touch_type, event.x, event.y);
        break;
    case event_kind::file:
        drop_event(event.path);
        free(event.path);
        break;
    case event_kind::files_end:
        drop_end();
        break;
    }
}

void web_input_poll()
{
    static constinit input_event taken[queue_size] = {}; /* 10 KiB are much for a stack */
    const uint32_t count = take_all(taken);
    for (uint32_t i = 0; i < count; i++)
        report(taken[i]);
}

void web_input_wait(int32_t ms)
{
    pollfd waiting = {wake_event, POLLIN, 0};
    uint64_t calls = 0;
    if (poll(&waiting, 1, ms) > 0 && read(wake_event, &calls, sizeof calls) < 0)
        return; /* somebody else emptied it: awake all the same */
}

void web_input_wake()
{
    const uint64_t one = 1;
    const int before = errno;
    if (wake_event >= 0 && write(wake_event, &one, sizeof one) < 0)
        errno = before; /* full: as good as one more call */
}

int32_t web_input_battery()
{
    return battery;
}
