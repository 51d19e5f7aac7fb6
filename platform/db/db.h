/* db: SQL texts on an SQLite database. One connection, serialised: any thread. */
#pragma once

#include <cstdint>

struct db_handle;

struct db_result {
    uint32_t count; /* rows */
    uint32_t columns;
    char ***rows; /* rows[r][c]; NULL columns are null pointers; owned by the result */
};

/* Opens or makes the file. Null on failure. */
[[nodiscard]] db_handle *db_open(const char *path);
/* Waits for the running statement; an open transaction rolls back. The handle's later calls from
 * other threads return -1. Accepts null. */
int db_close(db_handle *handle);
/* Whether the handle may still be used: a worker asks before it goes on with a long job. */
bool db_is_open(db_handle *handle);
/* Whether a transaction is open. A full disk may end one by itself; a closed handle has none. */
bool db_is_in_transaction(db_handle *handle);
/* Runs one SQL text.
 *   result_out  null, or receives a result for db_free_res(); null after a failure
 * Returns 0, or -1 (also for a null handle or text). */
int db_exec(db_handle *handle, const char *sql, db_result **result_out);
/* Accepts null. */
int db_free_res(db_result *result);
/* SQLite's printf rules; %Q quotes. Freed with db_free(). */
[[nodiscard]] char *db_mprintf(const char *format, ...);
void db_free(void *text);
/* The message of this thread's last failed db_exec(), valid until its next call. */
const char *db_err_msg(db_handle *handle);
