/* db_literal: takes the text literals out of an SQL text.
 *
 * A bound value means the same as a literal wherever a plain value may stand: after "=", "(" and
 * ",". Elsewhere (LIKE, AS, X'...') a literal may steer the planner or be no value at all, so such
 * a text is left alone, as is every text with comments, parameters or quoted names. */
#include "platform/db_literal.h"

#include "platform/str.h"

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

static bool lift_is_unusual(const char *at)
{
    return strchr("\"`[?:@$#", at[0]) || (at[0] == '-' && at[1] == '-') ||
           (at[0] == '/' && at[1] == '*');
}

/* Copies a literal without its quotes and steps over it. */
static int lift_value(lift_state *state, db_lifted *out)
{
    if (!strchr("=(,", state->before) || out->count == db_literal_limit)
        return -1;
    char *const start = state->values;
    state->from++;
    for (;;) {
        const char c = *state->from++;
        if (c == '\0')
            return -1;
        if (c == '\'' && *state->from++ != '\'')
            break;
        *state->values++ = c;
    }
    state->from--;
    /* "?1" would be another parameter. */
    if (lift_is_word(*state->from))
        return -1;
    out->values[out->count].text = start;
    out->values[out->count].length = static_cast<size_t>(state->values - start);
    out->count++;
    *state->values++ = '\0';
    *state->rest++ = '?';
    state->before = '?';
    return 0;
}

int db_lift(const char *sql, char *room, db_lifted *out)
{
    if (!lift_is_ordinary_start(sql))
        return -1;
    lift_state state = {.from = sql, .rest = room, .values = room + strlen(sql) + 1, .before = ' '};
    out->rest = room;
    out->count = 0;
    while (*state.from) {
        if (*state.from == '\'') {
            if (lift_value(&state, out) != 0)
                return -1;
            continue;
        }
        if (lift_is_unusual(state.from))
            return -1;
        if (!lift_is_space(*state.from))
            state.before = *state.from;
        *state.rest++ = *state.from++;
    }
    *state.rest = '\0';
    return out->count > 0 ? 0 : -1;
}
