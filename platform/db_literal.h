/* db_literal: takes the text literals out of an SQL text, so that the rest can be prepared once and
 * run with other values. Inside the database wrapper only. */
#pragma once

#include <cstddef>
#include <cstdint>

constexpr uint32_t db_literal_limit = 16;

struct db_lifted {
    const char *rest; /* the SQL with "?" in place of each literal */
    uint32_t count;
    struct {
        const char *text; /* quotes resolved, ended by 0 */
        size_t length;
    } values[db_literal_limit];
};

/* Lifts the literals of an INSERT or SELECT out of `sql`.
 *   room  2 * (strlen(sql) + 1) bytes, which `out` points into
 * Returns 0, or -1 for a text without literals and for anything out of the ordinary, which is to be
 * run as it stands. */
int db_lift(const char *sql, char *room, db_lifted *out);
