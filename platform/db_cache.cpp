/* db_cache: prepared statements kept between calls that differ in their literals only. */
#include "platform/db_private.h"

#include "platform/db_literal.h"

#include <cstdlib>
#include <cstring>
#include <sqlite3.h>

/* Longer texts are rare, and SQLite refuses very long ones with a message of its own. */
constexpr size_t cache_longest = 65536;

static uint32_t cache_hash(const char *text)
{
    uint32_t hash = 2166136261u;
    for (; *text; text++)
        hash = (hash ^ static_cast<unsigned char>(*text)) * 16777619u;
    return hash;
}

static void cache_forget(db_cached *place)
{
    (void)sqlite3_finalize(place->statement);
    free(place->text);
    *place = {};
}

static db_cached *cache_oldest_locked(db_handle *handle) REQUIRES(handle->lock)
{
    db_cached *oldest = &handle->cache[0];
    for (db_cached &place : handle->cache) {
        if (!place.text)
            return &place;
        if (handle->uses - place.used > handle->uses - oldest->used)
            oldest = &place;
    }
    return oldest;
}

/* Returns db_unusual for a text that cannot be prepared with its literals taken out: it is then run
 * as it stands, for the message that belongs to it. A locked or damaged file says the same to both. */
static int cache_prepare_locked(db_handle *handle, const db_lifted *lifted, sqlite3_stmt **out)
    REQUIRES(handle->lock)
{
    const char *tail = nullptr;
    const int code =
        sqlite3_prepare_v3(handle->sqlite, lifted->rest, -1, SQLITE_PREPARE_PERSISTENT, out, &tail);
    if (code == SQLITE_ERROR)
        return db_unusual;
    if (code != SQLITE_OK) {
        db_note_message(sqlite3_errmsg(handle->sqlite));
        return db_failed;
    }
    if (*out && db_is_tail_empty(tail) &&
        sqlite3_bind_parameter_count(*out) == static_cast<int>(lifted->count))
        return db_ran;
    (void)sqlite3_finalize(*out);
    return db_unusual;
}

static int cache_find_locked(db_handle *handle, const db_lifted *lifted, sqlite3_stmt **out)
    REQUIRES(handle->lock)
{
    const uint32_t hash = cache_hash(lifted->rest);
    handle->uses++;
    for (db_cached &place : handle->cache) {
        if (place.text && place.hash == hash && strcmp(place.text, lifted->rest) == 0) {
            place.used = handle->uses;
            *out = place.statement;
            return db_ran;
        }
    }
    const int result = cache_prepare_locked(handle, lifted, out);
    if (result != db_ran)
        return result;
    char *text = strdup(lifted->rest);
    if (!text) {
        (void)sqlite3_finalize(*out);
        return db_unusual;
    }
    db_cached *place = cache_oldest_locked(handle);
    cache_forget(place);
    *place = {.text = text, .hash = hash, .used = handle->uses, .statement = *out};
    return db_ran;
}

/* Null when the text is too long or memory runs out. */
static char *cache_room_locked(db_handle *handle, const char *sql) REQUIRES(handle->lock)
{
    const size_t length = strnlen(sql, cache_longest);
    const size_t size = 2 * (length + 1);
    if (length == cache_longest)
        return nullptr;
    if (handle->room_size < size) {
        char *room = static_cast<char *>(realloc(handle->room, size));
        if (!room)
            return nullptr;
        handle->room = room;
        handle->room_size = size;
    }
    return handle->room;
}

/* The values stay in the room until the statement has run, so nothing is copied. */
static bool cache_bind(sqlite3_stmt *statement, const db_lifted *lifted)
{
    for (uint32_t i = 0; i < lifted->count; i++)
        if (sqlite3_bind_text(statement, static_cast<int>(i) + 1, lifted->values[i].text,
                              static_cast<int>(lifted->values[i].length),
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
    db_lifted lifted;
    char *room = cache_room_locked(handle, sql);
    if (!room || db_lift(sql, room, &lifted) != 0)
        return db_unusual;
    sqlite3_stmt *statement = nullptr;
    const int found = cache_find_locked(handle, &lifted, &statement);
    if (found != db_ran)
        return found;
    const int result =
        cache_bind(statement, &lifted) ? db_step_locked(handle, statement, rows) : db_unusual;
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
