/* db_rows: results as plain arrays of texts. */
#include "platform/db/db_private.h"

#include <cstdlib>
#include <cstring>
#include <sqlite3.h>

constexpr size_t block_first = 1024;
constexpr size_t block_most = 65536;

/* Texts and arrays are packed into blocks, because a level of fifty thousand rows would otherwise
 * be two hundred thousand allocations. */
struct db_block {
    db_block *next;
    size_t size, used;
    alignas(char *) char bytes[];
};

static void *rows_take(db_rows *rows, size_t size)
{
    size = (size + sizeof(char *) - 1) & ~(sizeof(char *) - 1);
    db_block *block = rows->blocks;
    if (!block || block->size - block->used < size) {
        size_t room = block ? block->size * 2 : block_first;
        if (room > block_most)
            room = block_most;
        if (room < size)
            room = size;
        block = static_cast<db_block *>(malloc(sizeof(db_block) + room));
        if (!block)
            return nullptr;
        *block = {.next = rows->blocks, .size = room, .used = 0};
        rows->blocks = block;
    }
    void *taken = block->bytes + block->used;
    block->used += size;
    return taken;
}

static int rows_reserve(db_rows *rows)
{
    if (rows->pub.count < rows->capacity)
        return 0;
    if (rows->capacity > UINT32_MAX / 2)
        return -1;
    const uint32_t capacity = rows->capacity ? rows->capacity * 2 : 16;
    void *grown = realloc(rows->pub.rows, capacity * sizeof(char **));
    if (!grown)
        return -1;
    rows->pub.rows = static_cast<char ***>(grown);
    rows->capacity = capacity;
    return 0;
}

static int rows_copy_column(db_rows *rows, sqlite3_stmt *statement, int column, char **to)
{
    *to = nullptr;
    if (sqlite3_column_type(statement, column) == SQLITE_NULL)
        return 0;
    const unsigned char *text = sqlite3_column_text(statement, column);
    if (!text)
        return -1;
    const size_t size = static_cast<size_t>(sqlite3_column_bytes(statement, column));
    char *copy = static_cast<char *>(rows_take(rows, size + 1));
    if (!copy)
        return -1;
    memcpy(copy, text, size);
    copy[size] = '\0';
    *to = copy;
    return 0;
}

db_rows *db_rows_new()
{
    return static_cast<db_rows *>(calloc(1, sizeof(db_rows)));
}

int db_rows_add(db_rows *rows, sqlite3_stmt *statement)
{
    const uint32_t columns = static_cast<uint32_t>(sqlite3_column_count(statement));
    /* A text of several statements keeps the shape of its first rows. */
    if (rows_reserve(rows) != 0)
        return -1;
    char **row = static_cast<char **>(rows_take(rows, rows->pub.columns * sizeof(char *)));
    if (!row)
        return -1;
    for (uint32_t c = 0; c < rows->pub.columns; c++) {
        row[c] = nullptr;
        if (c < columns && rows_copy_column(rows, statement, static_cast<int>(c), &row[c]) != 0)
            return -1;
    }
    rows->pub.rows[rows->pub.count++] = row;
    return 0;
}

int db_free_res(db_result *result)
{
    if (!result)
        return 0;
    db_rows *rows = reinterpret_cast<db_rows *>(result);
    for (db_block *block = rows->blocks, *next = nullptr; block; block = next) {
        next = block->next;
        free(block);
    }
    free(rows->pub.rows);
    free(rows);
    return 0;
}
