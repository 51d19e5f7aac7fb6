/* library_rows: what a library file holds, read past the code under test. Tests only. */
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <sqlite3.h>
#include <string>
#include <vector>

typedef std::vector<std::string> rows;

/* The rows of a query, columns joined by "|", null as "(null)". */
inline rows library_rows(const std::string &sql, const char *path = "library.db")
{
    rows found;
    sqlite3 *plain = nullptr;
    EXPECT_EQ(sqlite3_open_v2(path, &plain, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
    sqlite3_busy_timeout(plain, 10000);
    sqlite3_stmt *statement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(plain, sql.c_str(), -1, &statement, nullptr), SQLITE_OK)
        << sql << ": " << sqlite3_errmsg(plain);
    while (sqlite3_step(statement) == SQLITE_ROW) {
        std::string line;
        for (int c = 0; c < sqlite3_column_count(statement); c++) {
            const unsigned char *text = sqlite3_column_text(statement, c);
            line += (c ? "|" : "") +
                    std::string(text ? reinterpret_cast<const char *>(text) : "(null)");
        }
        found.push_back(line);
    }
    EXPECT_EQ(sqlite3_finalize(statement), SQLITE_OK) << sql;
    sqlite3_close(plain);
    return found;
}

inline void library_run(const std::string &sql, const char *path = "library.db")
{
    sqlite3 *plain = nullptr;
    ASSERT_EQ(sqlite3_open(path, &plain), SQLITE_OK);
    char *message = nullptr;
    EXPECT_EQ(sqlite3_exec(plain, sql.c_str(), nullptr, nullptr, &message), SQLITE_OK)
        << sql << ": " << message;
    sqlite3_free(message);
    sqlite3_close(plain);
}

/* Every table with every column, in the order of the ids. */
inline std::map<std::string, rows> library_tables(const char *path = "library.db")
{
    std::map<std::string, rows> tables;
    for (const char *name :
         {"urls", "dirs", "artists", "albums", "genres", "years", "tracks", "playlists", "version"})
        tables[name] =
            library_rows("SELECT * FROM zervp_" + std::string(name) + " ORDER BY rowid", path);
    return tables;
}
