/* db_step: a statement run to its end, and the message of what failed. */
#include "platform/db/db.h"

#include "platform/base/str.h"
#include "platform/db/db_private.h"

#include <sqlite3.h>

/* SQLite keeps one message a connection, which the next call of another thread would replace. */
static constinit thread_local char db_message[1024] = {};

int db_fail(const char *message)
{
    str_copy(db_message, message);
    return db_failed;
}

int db_fail_locked(db_handle *handle)
{
    return db_fail(sqlite3_errmsg(handle->sqlite));
}

int db_step_locked(db_handle *handle, sqlite3_stmt *statement, db_rows *rows)
{
    const int columns = sqlite3_column_count(statement);
    if (rows && rows->pub.count == 0 && columns > 0)
        rows->pub.columns = static_cast<uint32_t>(columns);
    for (;;) {
        const int code = sqlite3_step(statement);
        if (code == SQLITE_DONE)
            return db_ran;
        if (code != SQLITE_ROW)
            return db_fail_locked(handle);
        if (rows && db_rows_add(rows, statement) != 0)
            return db_fail("out of memory");
    }
}

const char *db_err_msg(db_handle *)
{
    return db_message[0] ? db_message : "not an error";
}
