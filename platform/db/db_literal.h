/* db_literal: takes the text literals out of an SQL text, so that the rest can be prepared once and
 * run with other values. Inside the database wrapper only. */
#pragma once

#include <cstddef>
#include <cstdint>

constexpr uint32_t db_literal_limit = 16;

struct db_values {
    uint32_t count;
    struct {
        const char *text; /* quotes resolved; inside the SQL or the room */
        size_t length;
    } values[db_literal_limit];
};

/* The SQL with "?" in place of each literal, and the lengths of what stands between those. */
struct db_pattern {
    char *text; /* owned */
    uint32_t count;
    uint32_t lengths[db_literal_limit + 1];
};

/* Lifts the literals of an INSERT or SELECT out of `sql`.
 *   room    2 * (strlen(sql) + 1) bytes for what the outputs point into
 * Returns the text with "?" in place of the literals, or null for a text without literals and for
 * anything out of the ordinary, which is to be run as it stands. */
const char *db_lift(const char *sql, char *room, db_values *out);
/* Keeps what db_lift() returned. -1 when memory runs out. */
int db_pattern_init(db_pattern *pattern, const char *lifted);
/* Lifts the literals of a text that fits the pattern; much faster than db_lift().
 *   room    strlen(sql) + 1 bytes */
bool db_pattern_match(const db_pattern *pattern, const char *sql, char *room, db_values *out);
void db_pattern_free(db_pattern *pattern);
