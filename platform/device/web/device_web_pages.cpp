/* device_web_pages: each page that looks on, what it has been told, and which one holds the keys. */
#include "platform/base/str.h"
#include "platform/device/web/device_web.h"
#include "platform/sound/sound.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <libwebsockets.h>

constexpr uint32_t pages_most = 8;
constexpr uint32_t piece_most = sound_rate / 10; /* frames of sound in one message */

struct page {
    lws *connection;
    uint16_t seen[web_pixels]; /* the frame that it shows */
    uint32_t seen_serial, title_serial;
    bool told_state, listens, told_end;
    web_state state; /* as it was told */
    web_listener listener;
    uint64_t sent; /* frames of sound, since it listens */
};

/* Server's thread. */
static constinit page *pages[pages_most] = {};
static constinit page *holder = nullptr; /* of the keys; null: nobody */
static constinit page *pacer = nullptr;  /* keeps the time of the sound */
static constinit bool closing = false;
static constinit uint16_t frame[web_pixels] = {}; /* the newest one */
static constinit uint32_t frame_serial = 0;
alignas(8) static constinit uint8_t out[LWS_PRE + web_picture_most] = {};

/* ---- who is who ---- */

static web_state state_for(const page *of)
{
    return {.keys = !holder        ? web_keys::nobody
                    : holder == of ? web_keys::this_page
                                   : web_keys::another_page,
            .lit = web_screen_lit(),
            .battery = web_input_battery(),
            .upload_mib = web_upload_taken() ? web_upload_mib : 0};
}

static void set_holder(page *to)
{
    if (holder == to)
        return;
    web_input_let_go();
    holder = to;
    web_pages_call();
}

/* The page with the keys is the one somebody sits at. */
static void choose_pacer()
{
    page *chosen = holder && holder->listens ? holder : nullptr;
    for (page *each : pages) {
        if (!chosen && each && each->listens)
            chosen = each;
    }
    if (chosen == pacer)
        return;
    pacer = chosen;
    web_sound_unpaced(); /* until the new one tells where it is */
}

static void set_listening(page *of, bool listens)
{
    if (of->listens == listens)
        return;
    of->listens = listens;
    web_audience_count_listener(listens);
    of->sent = 0;
    web_sound_join(&of->listener);
    choose_pacer();
}

static page *add_page(lws *connection)
{
    for (page *&place : pages) {
        if (place)
            continue;
        place = static_cast<page *>(calloc(1, sizeof(page)));
        if (!place)
            return nullptr;
        place->connection = connection;
        web_audience_count_page(true);
        if (!holder)
            holder = place;
        return place;
    }
    return nullptr;
}

static void remove_page(page *gone)
{
    for (page *&place : pages) {
        if (place == gone)
            place = nullptr; /* nobody calls its connection any more */
    }
    set_listening(gone, false);
    if (holder == gone)
        set_holder(nullptr);
    web_audience_count_page(false);
    free(gone);
}

/* ---- what a page says ---- */

static void take_report(page *from, const web_message &message)
{
    if (from != pacer)
        return;
    const uint32_t under_way = static_cast<uint32_t>(from->sent) - message.frames_come;
    if (under_way <= sound_rate && message.frames_left <= sound_rate)
        web_sound_paced(&from->listener, under_way + message.frames_left);
}

/* Whoever touches keys that nobody holds, holds them. */
static void take_input(page *from, const web_message &message)
{
    if (!holder)
        set_holder(from);
    if (holder == from)
        web_input_take(message);
    web_pages_call(); /* the battery shows on every page */
}

static void take_message(page *from, const web_message &message)
{
    switch (message.word) {
    case web_word::take:
        set_holder(from);
        choose_pacer();
        break;
    case web_word::listen:
        set_listening(from, message.on);
        break;
    case web_word::heard:
        take_report(from, message);
        break;
    case web_word::dropped:
        web_input_drop_end();
        break;
    default:
        take_input(from, message);
    }
}

/* -1 ends the connection: no page of ours sends that. */
static int receive(lws *connection, page *from, const void *in, size_t length)
{
    web_message message;
    if (!from || !lws_is_first_fragment(connection) || !lws_is_final_fragment(connection) ||
        !lws_frame_is_binary(connection) || lws_remaining_packet_payload(connection) > 0 ||
        web_read_message(static_cast<const uint8_t *>(in), length, &message) != 0)
        return -1;
    take_message(from, message);
    return 0;
}

/* ---- what a page is told ---- */

static int say(page *to, size_t length)
{
    return lws_write(to->connection, out + LWS_PRE, length, LWS_WRITE_BINARY) < 0 ? -1 : 1;
}

static int say_word(page *to, web_news word)
{
    out[LWS_PRE] = static_cast<uint8_t>(word);
    return say(to, 1);
}

/* Each of these returns 1 when it sent something, 0 when there was nothing, -1 when the page is gone. */

static int send_state(page *to)
{
    const web_state state = state_for(to);
    if (to->told_state && state == to->state)
        return 0;
    uint8_t bytes[web_state_bytes];
    web_put_state(state, bytes);
    memcpy(out + LWS_PRE, bytes, sizeof bytes);
    to->state = state;
    to->told_state = true;
    return say(to, sizeof bytes);
}

static int send_title(page *to)
{
    web_title title;
    if (!web_screen_look_title(&to->title_serial, title))
        return 0;
    out[LWS_PRE] = static_cast<uint8_t>(web_news::title);
    const size_t length = strlen(title);
    memcpy(out + LWS_PRE + 1, title, length);
    return say(to, length + 1);
}

static int send_hush(page *to)
{
    return to->listens && web_sound_hushed(&to->listener) ? say_word(to, web_news::hush) : 0;
}

static int send_sound(page *to)
{
    int16_t samples[size_t{piece_most} * 2];
    const uint32_t count = to->listens ? web_sound_take(&to->listener, samples, piece_most) : 0;
    if (count == 0)
        return 0;
    uint8_t *message = out + LWS_PRE;
    web_put_32(message, static_cast<uint32_t>(web_news::sound));
    for (size_t i = 0; i < size_t{count} * 2; i++)
        web_put_16(message + 4 + i * 2, static_cast<uint16_t>(samples[i]));
    to->sent += count;
    return say(to, 4 + size_t{count} * sound_frame_bytes);
}

static int send_picture(page *to)
{
    web_rect rects[web_rects_most];
    (void)web_screen_look(&frame_serial, frame);
    if (to->seen_serial == frame_serial)
        return 0;
    const uint32_t count = web_find_changes(to->seen, frame, rects);
    to->seen_serial = frame_serial;
    if (count == 0)
        return 0;
    memcpy(to->seen, frame, sizeof frame);
    auto &message = *reinterpret_cast<uint8_t(*)[web_picture_most]>(out + LWS_PRE);
    return say(to, web_put_picture(frame, rects, count, message));
}

static int send_end(page *to)
{
    if (!closing || to->told_end)
        return 0;
    to->told_end = true;
    return say_word(to, web_news::ended);
}

/* One message a call, what is most urgent first; a page that is slow misses frames, nothing else. */
static constexpr int (*senders[])(page *to) = {
    send_end, send_state, send_hush, send_sound, send_picture, send_title,
};

static int write_news(page *to)
{
    for (const auto &each : senders) {
        const int sent = to ? each(to) : -1;
        if (sent < 0)
            return -1;
        if (sent > 0) {
            lws_callback_on_writable(to->connection);
            return 0;
        }
    }
    return 0;
}

void web_pages_call()
{
    for (page *each : pages) {
        if (each)
            lws_callback_on_writable(each->connection);
    }
}

bool web_pages_end()
{
    closing = true;
    bool all_told = true;
    for (page *each : pages)
        all_told = all_told && (!each || each->told_end);
    if (!all_told)
        web_pages_call();
    return all_told;
}

void web_pages_forget()
{
    closing = false;
    frame_serial = 0;
}

/* ---- the socket ---- */

static int establish(lws *connection, page **session)
{
    static constexpr char full[] = "too many pages look on";
    *session = add_page(connection);
    if (*session) {
        web_pages_call();
        return 0;
    }
    uint8_t reason[sizeof full];
    memcpy(reason, full, sizeof full);
    lws_close_reason(connection, LWS_CLOSE_STATUS_UNEXPECTED_CONDITION, reason, sizeof full - 1);
    return -1;
}

int web_pages_callback(lws *connection, int reason, void *session, void *in, size_t length)
{
    auto **own = static_cast<page **>(session);
    switch (reason) {
    case LWS_CALLBACK_FILTER_PROTOCOL_CONNECTION:
        return web_http_page_is_ours(&web_audience_gate, connection) ? 0 : -1;
    case LWS_CALLBACK_ESTABLISHED:
        return establish(connection, own);
    case LWS_CALLBACK_RECEIVE:
        return receive(connection, *own, in, length);
    case LWS_CALLBACK_SERVER_WRITEABLE:
        return write_news(*own);
    case LWS_CALLBACK_EVENT_WAIT_CANCELLED:
        web_pages_call();
        return 0;
    case LWS_CALLBACK_CLOSED:
        if (*own)
            remove_page(*own);
        *own = nullptr;
        return 0;
    default:
        return 0;
    }
}
