/* ask: a person shows one key after the other by pressing it. */
#pragma once

#include "platform/input/key_map.h"
#include "platform/input/key_name.h"

#include <bitset>
#include <cstdint>
#include <string>

constexpr uint32_t ask_names_most = 32;
constexpr int64_t ask_hold_ms = 2500; /* so long a press goes back to the key before */

/* What was shown for a key; count 0: nothing, it keeps its usual meaning. */
struct ask_answer {
    uint16_t codes[key_binding_codes_most];
    uint8_t count;
};

struct ask_session {
    ask_answer answers[ask_names_most]; /* by the place in key_names */
    uint32_t at;                        /* key that is asked for; key_name_count: all were */
    ask_answer now;                     /* what is being pressed */
    std::bitset<key_code_count> down;
    int64_t since_ms; /* of the first press of it */
    bool draining;    /* what is down counts no more */
};

enum class ask_outcome {
    waiting, /* nothing is settled yet */
    taken,   /* the key before `at` is known now */
    known,   /* that is another key already, `other` */
    back,    /* a long press: the key before is asked for again */
};

struct ask_result {
    ask_outcome outcome;
    uint32_t other; /* place in key_names */
};

/* A code went down or up. Several that are down at a time are a chord. */
ask_result ask_code(ask_session *session, uint16_t code, bool down, int64_t now_ms);
/* Time went by. */
ask_result ask_time(ask_session *session, int64_t now_ms);
/* The key keeps what it has. */
void ask_skip(ask_session *session);
void ask_back(ask_session *session);

/* "BTN_SELECT + BTN_DPAD_UP" */
std::string ask_chord_text(const ask_answer &answer);
/* The key map that the answers make, "" when there are none. */
std::string ask_text(const ask_session &session);
