/* db_cache: prepared statements kept between calls that differ in their literals only. */
#include "platform/db/db_private.h"

#include "platform/db/db_literal.h"

#include <cstdlib>
#include <cstring>
#include <sqlite3.h>

/* Longer texts are rare, and SQLite refuses very long ones with a message of its own. */
constexpr size_t cache_longest = 65536;

static void cache_forget(db_cached *place)
{
    (void)sqlite3_finalize(place->statement);
    db_pattern_free(&place->pattern);
    *place = {};
}

static db_cached *cache_oldest_locked(db_handle *handle) REQUIRES(handle->lock)
{
    db_cached *oldest = &handle->cache[0];
    for (db_cached &place : handle->cache) {
        if (!place.pattern.text)
            return &place;
        if (handle->uses - place.used > handle->uses - oldest->used)
            oldest = &place;
    }
    return oldest;
}

/* Returns db_unusual for a text that cannot be prepared with its literals taken out: it is then run
 * as it stands, for the message that belongs to it. A locked or damaged file says the same to
 * both. */
static int cache_prepare_locked(db_handle *handle, const char *lifted, uint32_t count,
                                sqlite3_stmt **out) REQUIRES(handle->lock)
{
    const char *tail = nullptr;
    const int code =
        sqlite3_prepare_v3(handle->sqlite, lifted, -1, SQLITE_PREPARE_PERSISTENT, out, &tail);
    if (code == SQLITE_ERROR)
        return db_unusual;
    if (code != SQLITE_OK)
        return db_fail_locked(handle);
    if (*out && db_is_tail_empty(tail) &&
        sqlite3_bind_parameter_count(*out) == static_cast<int>(count))
        return db_ran;
    (void)sqlite3_finalize(*out);
    return db_unusual;
}

static sqlite3_stmt *cache_find_locked(db_handle *handle, const char *sql, db_values *values)
    REQUIRES(handle->lock)
{
    handle->uses++;
    for (db_cached &place : handle->cache) {
        if (!place.pattern.text || !db_pattern_match(&place.pattern, sql, handle->room, values))
            continue;
        place.used = handle->uses;
        return place.statement;
    }
    return nullptr;
}

/* Prepares a text that is not remembered, and remembers it. */
static int cache_learn_locked(db_handle *handle, const char *sql, db_values *values,
                              sqlite3_stmt **out) REQUIRES(handle->lock)
{
    const char *lifted = db_lift(sql, handle->room, values);
    const int result =
        lifted ? cache_prepare_locked(handle, lifted, values->count, out) : db_unusual;
    if (result != db_ran)
        return result;
    db_pattern pattern;
    if (db_pattern_init(&pattern, lifted) != 0) {
        (void)sqlite3_finalize(*out);
        return db_unusual;
    }
    db_cached *place = cache_oldest_locked(handle);
    cache_forget(place);
    *place = {.pattern = pattern, .used = handle->uses, .statement = *out};
    return db_ran;
}

/* Makes room for the literals. False when the text is too long or memory runs out. */
static bool cache_room_locked(db_handle *handle, const char *sql) REQUIRES(handle->lock)
{
    const size_t length = strnlen(sql, cache_longest);
    const size_t size = 2 * (length + 1);
    if (length == cache_longest)
        return false;
    if (handle->room_size < size) {
        char *room = static_cast<char *>(realloc(handle->room, size));
        if (!room)
            return false;
        handle->room = room;
        handle->room_size = size;
    }
    return true;
}

/* The values stay where they are until the statement has run, so nothing is copied. */
static bool cache_bind(sqlite3_stmt *statement, const db_values *values)
{
    for (uint32_t i = 0; i < values->count; i++)
        if (sqlite3_bind_text(statement, static_cast<int>(i) + 1, values->values[i].text,
                              static_cast<int>(values->values[i].length),
                              SQLITE_STATIC) != SQLITE_OK)
            return false;
    return true;
}

bool db_is_tail_empty(const char *tail)
{
    return !tail || tail[strspn(tail, " \t\n\v\f\r;")] == '\0';
}

int db_run_cached_locked(db_handle *handle, const char *sql, db_rows *rows)
{
    if (!cache_room_locked(handle, sql))
        return db_unusual;
    db_values values;
    sqlite3_stmt *statement = cache_find_locked(handle, sql, &values);
    const int found = statement ? db_ran : cache_learn_locked(handle, sql, &values, &statement);
    if (found != db_ran)
        return found;
    const int result =
        cache_bind(statement, &values) ? db_step_locked(handle, statement, rows) : db_unusual;
    /* An open statement would keep a transaction from ending. Its own error has been noted. */
    (void)sqlite3_reset(statement);
    (void)sqlite3_clear_bindings(statement);
    return result;
}

void db_cache_drop_locked(db_handle *handle)
{
    for (db_cached &place : handle->cache)
        cache_forget(&place);
    free(handle->room);
    handle->room = nullptr;
    handle->room_size = 0;
}
