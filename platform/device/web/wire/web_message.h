/* web_message: what a page and the program say to each other, one message each time. The first byte
 * is its kind; numbers have their low byte first. Any thread. */
#pragma once

#include <cstddef>
#include <cstdint>

/* From the program to a page. */
enum class web_news : uint8_t {
    picture = 1, /* web_picture.h */
    sound = 2,   /* three bytes of 0; then samples, 16 bits, left and right in turn */
    hush = 3,    /* what came of the sound and was not heard is not wanted any more */
    state = 4,   /* web_put_state() */
    title = 5,   /* what plays, as UTF-8 */
    ended = 6,   /* the program has ended */
};

/* From a page to the program. */
enum class web_word : uint8_t {
    key = 1,     /* 8 bits: 1 down, 0 up; 32 bits: a key of key.h */
    finger = 2,  /* 8 bits: a type of touch.h; 16 bits x, 16 bits y */
    battery = 3, /* 8 bits: per cent */
    take = 4,    /* this page wants the keys */
    listen = 5,  /* 8 bits: 1 it plays sound, 0 it does not */
    heard = 6,   /* 32 bits: frames of sound that came so far; 32 bits: of these, not played yet */
    dropped = 7, /* all files of a drop have been sent */
    code = 8,    /* 8 bits: 1 down, 0 up; 16 bits: what was pressed, as in key_code.h */
};

struct web_message {
    web_word word;
    bool on = false; /* key, code: down; listen */
    uint32_t key = 0;
    uint16_t code = 0;
    int32_t touch_type = 0, x = 0, y = 0;
    int32_t percent = 0;
    uint32_t frames_come = 0, frames_left = 0;
};

constexpr size_t web_message_most = 9; /* bytes of the longest one from a page */

/* 0, or -1 for anything that a page of ours does not send; `to` is untouched then. */
int web_read_message(const uint8_t *bytes, size_t length, web_message *to);

enum class web_keys : uint8_t { nobody = 0, this_page = 1, another_page = 2 };

struct web_state {
    web_keys keys;
    bool lit;
    int32_t battery;     /* per cent */
    uint32_t upload_mib; /* a file of a drop may have as many; 0: none is taken */
    bool operator==(const web_state &) const = default;
};
constexpr size_t web_state_bytes = 8;
void web_put_state(const web_state &state, uint8_t (&to)[web_state_bytes]);

inline void web_put_16(uint8_t *to, uint16_t value)
{
    to[0] = static_cast<uint8_t>(value);
    to[1] = static_cast<uint8_t>(value >> 8);
}

inline void web_put_32(uint8_t *to, uint32_t value)
{
    web_put_16(to, static_cast<uint16_t>(value));
    web_put_16(to + 2, static_cast<uint16_t>(value >> 16));
}
