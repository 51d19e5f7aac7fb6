#include "core/services/overlay.h"

#include "platform/base/clock.h"
#include "platform/base/linked.h"
#include "platform/base/lock.h"
#include "platform/draw/fb.h"
#include "view/view.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <cstring>

constexpr int32_t text_size = 12;
constexpr int32_t text_margin = 6;
constexpr uint32_t text_option = 0;

struct overlay_message {
    int32_t id;
    char *text;          /* owned */
    int32_t duration_ms; /* 0: until removed */
    int32_t started_ms;  /* clock_msec() */
    uint16_t colour;
    int32_t size;
    uint32_t option;
    int32_t margin;
};

/* Workers add and remove messages while the main thread draws them. Texts are drawn under the
 * lock: a worker that waits here for the few microseconds of a line holds nothing else. */
static constinit sys_lock overlay_lock;
static constinit linked
    messages GUARDED_BY(overlay_lock) = {}; /* of overlay_message, oldest first */
static constinit int32_t next_id GUARDED_BY(overlay_lock) = 0;

static void free_message(overlay_message *message)
{
    if (message)
        free(message->text);
    free(message);
}

static overlay_message *make_message(const char *text, int32_t duration_ms, uint16_t colour)
{
    auto *made = static_cast<overlay_message *>(calloc(1, sizeof(overlay_message)));
    if (!made)
        return nullptr;
    made->text = strdup(text ? text : "");
    made->duration_ms = duration_ms;
    made->started_ms = clock_msec();
    made->colour = colour;
    made->size = text_size;
    made->option = text_option;
    made->margin = text_margin;
    if (made->text)
        return made;
    free_message(made);
    return nullptr;
}

static overlay_message *message_of(linked_node *node)
{
    assert(node && node->data);
    return static_cast<overlay_message *>(node->data);
}

static void drop_locked(linked_node *node) REQUIRES(overlay_lock)
{
    free_message(message_of(node));
    (void)linked_remove(&messages, node);
}

static int add_locked(overlay_message *message) REQUIRES(overlay_lock)
{
    message->id = next_id;
    if (!linked_add(&messages, message))
        return -1;
    next_id++;
    return 0;
}

/* The clock wraps after 24 days, a difference does not. */
static int64_t left_ms(const overlay_message *message, int32_t now)
{
    const auto age = static_cast<int32_t>(static_cast<uint32_t>(now) -
                                          static_cast<uint32_t>(message->started_ms));
    return int64_t{message->duration_ms} - age;
}

/* True when it has gone; else it asks to be looked at when it will. */
static bool is_over(const overlay_message *message, int32_t now)
{
    if (message->duration_ms == 0)
        return false;
    const int64_t left = left_ms(message, now);
    if (left >= 0)
        clock_look_in(static_cast<int32_t>(std::min<int64_t>(left + 1, INT32_MAX)));
    return left < 0;
}

/* ---- the view ---- */

static int forget_messages()
{
    sys_guard guard(overlay_lock);
    for (linked_node *node = messages.head; node; node = node->next)
        free_message(message_of(node));
    return linked_clear(&messages);
}

static int overlay_init()
{
    return forget_messages(); /* none, unless a worker of an earlier life was late */
}

static int overlay_exit()
{
    (void)forget_messages();
    return 0;
}

/* Expires what has been shown long enough. */
static int overlay_input(view *shown)
{
    sys_guard guard(overlay_lock);
    if (!messages.head)
        return 0;
    const int32_t now = clock_msec();
    for (linked_node *node = messages.head, *next = nullptr; node; node = next) {
        next = node->next;
        if (!is_over(message_of(node), now))
            continue;
        drop_locked(node);
        shown->redraw = 1;
    }
    return 0;
}

/* The oldest message on the bottom line, younger ones above it. */
static int overlay_draw(view *shown, fb_surface *screen)
{
    if (!shown->frame)
        return 0;
    const int32_t width = shown->frame->width;
    int32_t y = shown->frame->height;
    sys_guard guard(overlay_lock);
    for (linked_node *node = messages.head; node; node = node->next) {
        const overlay_message *each = message_of(node);
        y -= each->size + each->margin;
        (void)fb_draw_text(screen, each->text, each->margin, y, width, each->size, each->size,
                           each->colour, each->option);
    }
    return 0;
}

constinit view overlay_msg_record = {
    .init = overlay_init,
    .exit = overlay_exit,
    .input = overlay_input,
    .draw = overlay_draw,
};

/* ---- messages ---- */

int32_t overlay_msg_add(const char *text, int32_t duration_ms, uint16_t colour)
{
    overlay_message *message = make_message(text, duration_ms, colour);
    if (!message)
        return -1;
    int32_t id = -1;
    {
        sys_guard guard(overlay_lock);
        if (add_locked(message) == 0)
            id = message->id;
    }
    if (id < 0) {
        free_message(message);
        return -1;
    }
    view_request_redraw();
    return id;
}

int overlay_msg_remove(int32_t id)
{
    {
        sys_guard guard(overlay_lock);
        linked_node *node = messages.head;
        while (node && message_of(node)->id < id)
            node = node->next; /* ids grow along the list */
        if (!node || message_of(node)->id != id)
            return -1;
        drop_locked(node);
    }
    view_request_redraw();
    return 0;
}
