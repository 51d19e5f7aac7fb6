#include "tools/zerv_keys/ask.h"

#include <algorithm>
#include <iterator>

static bool is_switch(uint16_t code)
{
    return code >= key_code_switch;
}

/* Both ends of an axis cannot be pressed together: the stick has jumped. */
static bool is_other_end(uint16_t left, uint16_t right)
{
    return left >= key_code_axis && left < key_code_switch && (left ^ right) == 1;
}

static void forget_press(ask_session *session)
{
    session->now = {};
    session->draining = session->down.any();
}

/* As the key map sees it: in whatever order a chord begins, its last code presses. */
static bool is_same(const ask_answer &left, const ask_answer &right)
{
    return left.count > 0 && left.count == right.count &&
           left.codes[left.count - 1] == right.codes[left.count - 1] &&
           std::is_permutation(left.codes, left.codes + left.count, right.codes);
}

static ask_result settle(ask_session *session)
{
    const ask_answer made = session->now;
    forget_press(session);
    for (uint32_t i = 0; i < key_name_count; i++) {
        if (i != session->at && is_same(session->answers[i], made))
            return {ask_outcome::known, i};
    }
    session->answers[session->at++] = made;
    return {ask_outcome::taken, 0};
}

static void add(ask_session *session, uint16_t code, int64_t now_ms)
{
    ask_answer *now = &session->now;
    const uint16_t *end = now->codes + now->count;
    if (now->count == std::size(now->codes) ||
        std::any_of(now->codes, now->codes + now->count,
                    [=](uint16_t each) { return each == code || is_other_end(each, code); }))
        return;
    if (end == now->codes)
        session->since_ms = now_ms;
    now->codes[now->count++] = code;
}

ask_result ask_code(ask_session *session, uint16_t code, bool down, int64_t now_ms)
{
    if (code >= key_code_count || session->at >= key_name_count)
        return {ask_outcome::waiting, 0};
    if (is_switch(code)) {
        if (session->now.count > 0)
            return {ask_outcome::waiting, 0};
        session->now = {{code}, 1}; /* whichever way it is moved */
        return settle(session);
    }
    session->down[code] = down;
    if (down && !session->draining)
        add(session, code, now_ms);
    if (session->down.any())
        return {ask_outcome::waiting, 0};
    session->draining = false;
    return session->now.count > 0 ? settle(session) : ask_result{ask_outcome::waiting, 0};
}

ask_result ask_time(ask_session *session, int64_t now_ms)
{
    if (session->now.count == 0 || now_ms - session->since_ms < ask_hold_ms)
        return {ask_outcome::waiting, 0};
    ask_back(session);
    return {ask_outcome::back, 0};
}

void ask_skip(ask_session *session)
{
    forget_press(session);
    if (session->at < key_name_count)
        session->answers[session->at++] = {};
}

void ask_back(ask_session *session)
{
    forget_press(session);
    if (session->at > 0)
        session->answers[--session->at] = {};
}

std::string ask_chord_text(const ask_answer &answer)
{
    std::string text;
    for (uint32_t i = 0; i < answer.count; i++) {
        key_code_text name;
        key_code_write(answer.codes[i], name);
        text += (i > 0 ? " + " : "") + std::string(name);
    }
    return text;
}

std::string ask_text(const ask_session &session)
{
    std::string text;
    for (uint32_t i = 0; i < key_name_count; i++) {
        if (session.answers[i].count > 0)
            text +=
                std::string(key_names[i].name) + " = " + ask_chord_text(session.answers[i]) + "\n";
    }
    return text.empty() ? text
                        : "# The keys of this machine, as zerv-keys was shown them.\n" + text;
}
