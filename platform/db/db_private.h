/* db_private: what the files of the database wrapper share. Inside the database wrapper only. */
#pragma once

#include "platform/base/lock.h"
#include "platform/db/db.h"
#include "platform/db/db_literal.h"

#include <cstddef>
#include <cstdint>

struct sqlite3;
struct sqlite3_stmt;

/* A scan repeats eight texts and the screens a few more. */
constexpr uint32_t db_cache_size = 16;

struct db_cached {
    db_pattern pattern; /* its text is null in a free place */
    uint32_t used;      /* when it was last wanted, by handle->uses */
    sqlite3_stmt *statement;
};

/* Never freed: a worker may still hold it when the database has been closed. */
struct db_handle {
    sys_lock lock;
    sqlite3 *sqlite GUARDED_BY(lock); /* null once closed */
    db_cached cache[db_cache_size] GUARDED_BY(lock);
    uint32_t uses GUARDED_BY(lock);
    char *room GUARDED_BY(lock); /* for db_lift() */
    size_t room_size GUARDED_BY(lock);
    db_handle *next; /* all handles ever made */
};

/* Rows as they come; `pub` is what callers see. */
struct db_rows {
    db_result pub;
    uint32_t capacity;
    struct db_block *blocks; /* texts and column arrays */
};

/* Empty rows, null when memory runs out. Ended by db_free_res(&rows->pub). */
db_rows *db_rows_new();
/* Copies the row that the statement stands on. -1 when memory runs out. */
int db_rows_add(db_rows *rows, sqlite3_stmt *statement);

constexpr int db_ran = 0, db_failed = -1, db_unusual = 1;

/* Keep a message, or SQLite's own, for db_err_msg() on this thread. Always db_failed. */
int db_fail(const char *message);
int db_fail_locked(db_handle *handle) REQUIRES(handle->lock);

/* Runs a text through the cache of prepared statements.
 *   rows  null, or receives the rows
 * Returns db_ran, db_failed (message noted), or db_unusual: nothing was run, and the text is to be
 * run as it stands. */
int db_run_cached_locked(db_handle *handle, const char *sql, db_rows *rows) REQUIRES(handle->lock);
/* Steps a statement to its end. db_ran or db_failed (message noted). */
int db_step_locked(db_handle *handle, sqlite3_stmt *statement, db_rows *rows)
    REQUIRES(handle->lock);
/* Whether nothing but blanks and semicolons follows. */
bool db_is_tail_empty(const char *tail);
void db_cache_drop_locked(db_handle *handle) REQUIRES(handle->lock);
