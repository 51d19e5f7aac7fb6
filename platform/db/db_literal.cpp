/* db_literal: takes the text literals out of an SQL text.
 *
 * A bound value means the same as a literal wherever a plain value may stand: after "=", "(" and
 * ",". Elsewhere (LIKE, AS, X'...') a literal may steer the planner or be no value at all, so such
 * a text is left alone, as is every text with comments, parameters or quoted names. */
#include "platform/db/db_literal.h"

#include "platform/base/str.h"

#include <cstdlib>
#include <cstring>

struct lift_state {
    const char *from;
    char *rest;   /* grows from the start of the room */
    char *values; /* grows from the middle of the room */
    char before;  /* the last character that was no blank */
};

static bool lift_is_space(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

static bool lift_is_word(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           static_cast<signed char>(c) < 0;
}

static bool lift_is_ordinary_start(const char *sql)
{
    while (lift_is_space(*sql))
        sql++;
    return (str_starts_nocase(sql, "INSERT") || str_starts_nocase(sql, "SELECT")) &&
           !lift_is_word(sql[6]);
}

/* Quoted names, parameters and what begins a comment. */
static bool lift_is_unusual(const char *at)
{
    switch (at[0]) {
    case '"':
    case '`':
    case '[':
    case '?':
    case ':':
    case '@':
    case '$':
    case '#':
        return true;
    case '-':
        return at[1] == '-';
    case '/':
        return at[1] == '*';
    default:
        return false;
    }
}

/* Takes the literal at `from`, which is a quote, and steps over it. Quotes inside are doubled; only
 * then is the value copied to `room`. False when it has no end. */
static bool lift_literal(const char **from, char **room, db_values *out)
{
    const char *at = *from + 1;
    const char *quote = strchr(at, '\'');
    if (!quote || out->count == db_literal_limit)
        return false;
    auto &value = out->values[out->count++];
    value.text = at;
    if (quote[1] == '\'')
        value.text = *room;
    for (; quote && quote[1] == '\''; quote = strchr(at, '\'')) {
        const size_t length = static_cast<size_t>(quote + 1 - at);
        memcpy(*room, at, length);
        *room += length;
        at = quote + 2;
    }
    if (!quote)
        return false;
    const size_t rest = static_cast<size_t>(quote - at);
    if (value.text == at) {
        value.length = rest;
    } else {
        memcpy(*room, at, rest);
        *room += rest;
        value.length = static_cast<size_t>(*room - value.text);
    }
    *from = quote + 1;
    return true;
}

/* A literal that stands where a value may stand, and is not followed by what would make another
 * parameter of "?". */
static bool lift_value(lift_state *state, db_values *out)
{
    const bool is_value = state->before == '=' || state->before == '(' || state->before == ',';
    if (!is_value || !lift_literal(&state->from, &state->values, out) || lift_is_word(*state->from))
        return false;
    *state->rest++ = '?';
    state->before = '?';
    return true;
}

const char *db_lift(const char *sql, char *room, db_values *out)
{
    out->count = 0;
    if (!lift_is_ordinary_start(sql))
        return nullptr;
    lift_state state = {.from = sql, .rest = room, .values = room + strlen(sql) + 1, .before = ' '};
    while (*state.from) {
        if (*state.from == '\'') {
            if (!lift_value(&state, out))
                return nullptr;
            continue;
        }
        if (lift_is_unusual(state.from))
            return nullptr;
        if (!lift_is_space(*state.from))
            state.before = *state.from;
        *state.rest++ = *state.from++;
    }
    *state.rest = '\0';
    return out->count > 0 ? room : nullptr;
}

int db_pattern_init(db_pattern *pattern, const char *lifted)
{
    *pattern = {};
    pattern->text = strdup(lifted);
    if (!pattern->text)
        return -1;
    for (const char *at = lifted;; at++) {
        const size_t length = strcspn(at, "?");
        pattern->lengths[pattern->count] = static_cast<uint32_t>(length);
        at += length;
        if (!*at)
            return 0;
        pattern->count++;
    }
}

bool db_pattern_match(const db_pattern *pattern, const char *sql, char *room, db_values *out)
{
    const char *between = pattern->text;
    out->count = 0;
    for (uint32_t i = 0; i <= pattern->count; i++) {
        const size_t length = pattern->lengths[i];
        if (strncmp(sql, between, length) != 0)
            return false;
        sql += length;
        between += length + 1;
        if (i < pattern->count && (*sql != '\'' || !lift_literal(&sql, &room, out)))
            return false;
    }
    return *sql == '\0';
}

void db_pattern_free(db_pattern *pattern)
{
    free(pattern->text);
    *pattern = {};
}
