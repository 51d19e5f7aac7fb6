/* db: SQL texts on an SQLite database. */
#include "platform/db/db.h"

#include "platform/base/fault.h"
#include "platform/db/db_private.h"

#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <sqlite3.h>

/* Another program may hold the file for the moment of its own commit. */
constexpr int db_busy_ms = 2500;

static constinit sys_lock db_lock;
/* Keeps closed handles reachable; see db_handle. */
static constinit db_handle *db_handles GUARDED_BY(db_lock) = nullptr;

/* Runs every statement of the text, as SQLite splits it. */
static int db_run_plain_locked(db_handle *handle, const char *sql, db_rows *rows)
    REQUIRES(handle->lock)
{
    while (*sql) {
        sqlite3_stmt *statement = nullptr;
        if (sqlite3_prepare_v2(handle->sqlite, sql, -1, &statement, &sql) != SQLITE_OK)
            return db_fail_locked(handle);
        const int result = statement ? db_step_locked(handle, statement, rows) : db_ran;
        (void)sqlite3_finalize(statement);
        if (result != db_ran)
            return -1;
    }
    return 0;
}

static int db_run_locked(db_handle *handle, const char *sql, db_rows *rows) REQUIRES(handle->lock)
{
    const int result = db_run_cached_locked(handle, sql, rows);
    return result == db_unusual ? db_run_plain_locked(handle, sql, rows) : result;
}

static int db_run(db_handle *handle, const char *sql, db_rows *rows)
{
    const sys_guard guard(handle->lock);
    if (!handle->sqlite)
        return db_fail("database is closed");
    return db_run_locked(handle, sql, rows);
}

static db_handle *db_handle_new(sqlite3 *sqlite)
{
    db_handle *handle = static_cast<db_handle *>(calloc(1, sizeof(db_handle)));
    if (!handle)
        return nullptr;
    handle->lock = sys_lock{};
    const sys_guard guard(handle->lock);
    handle->sqlite = sqlite;
    const sys_guard all(db_lock);
    handle->next = db_handles;
    db_handles = handle;
    return handle;
}

/* SQLite counts its memory under a lock of its own at every allocation; nobody asks for the
 * count. Refused once SQLite is at work, which changes nothing. */
static void db_set_up()
{
    static constinit std::atomic<bool> done = false;
    if (!done.exchange(true))
        (void)sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
}

db_handle *db_open(const char *path)
{
    if (!path || !*path || fault_hit("db_open"))
        return nullptr;
    db_set_up();
    sqlite3 *sqlite = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX;
    if (sqlite3_open_v2(path, &sqlite, flags, nullptr) == SQLITE_OK) {
        (void)sqlite3_busy_timeout(sqlite, db_busy_ms);
        db_handle *handle = db_handle_new(sqlite);
        if (handle)
            return handle;
    }
    (void)sqlite3_close(sqlite);
    return nullptr;
}

int db_close(db_handle *handle)
{
    if (!handle)
        return 0;
    const sys_guard guard(handle->lock);
    db_cache_drop_locked(handle);
    sqlite3 *sqlite = handle->sqlite;
    handle->sqlite = nullptr;
    return sqlite3_close(sqlite) == SQLITE_OK ? 0 : -1;
}

bool db_is_open(db_handle *handle)
{
    if (!handle)
        return false;
    const sys_guard guard(handle->lock);
    return handle->sqlite != nullptr;
}

bool db_is_in_transaction(db_handle *handle)
{
    if (!handle)
        return false;
    const sys_guard guard(handle->lock);
    return handle->sqlite && !sqlite3_get_autocommit(handle->sqlite);
}

int db_exec(db_handle *handle, const char *sql, db_result **result_out)
{
    if (result_out)
        *result_out = nullptr;
    if (!handle)
        return db_fail("no database is open");
    /* What db_mprintf() gives when there is no memory. */
    if (!sql)
        return db_fail("out of memory");
    if (fault_hit("db_exec"))
        return db_fail("fault on request");
    db_rows *rows = result_out ? db_rows_new() : nullptr;
    if (result_out && !rows)
        return db_fail("out of memory");
    if (db_run(handle, sql, rows) != 0) {
        if (rows)
            (void)db_free_res(&rows->pub);
        return -1;
    }
    if (result_out)
        *result_out = &rows->pub;
    return 0;
}

char *db_mprintf(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    char *text = sqlite3_vmprintf(format, arguments);
    va_end(arguments);
    return text;
}

void db_free(void *text)
{
    sqlite3_free(text);
}
