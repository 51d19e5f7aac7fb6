/* library: the database of tracks. */
#include "library/library.h"

#include "platform/base/str.h"
#include "platform/db/db.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string_view>

constexpr int32_t schema_version = 1;

/* A statement with "%s" is run once for each column, which fills both places. */
struct schema_step {
    const char *sql;
    const char *columns[6]; /* null-ended when shorter */
};

static const schema_step schema_steps[] = {
    {"CREATE TABLE zervp_tracks( id INTEGER PRIMARY KEY, name TEXT NOT NULL COLLATE NOCASE, "
     "comment TEXT, track_no INTEGER, disc_no INTEGER, length INTEGER, url INTEGER, "
     "artist INTEGER, album INTEGER, genre INTEGER, year INTEGER );",
     {}},
    {"CREATE UNIQUE INDEX zervp_tracks_url ON zervp_tracks(url) ;", {}},
    {"CREATE INDEX zervp_tracks_%s ON zervp_tracks(%s) ;",
     {"artist", "album", "genre", "year", "name", "length"}},
    {"CREATE TABLE zervp_urls( id INTEGER PRIMARY KEY, path TEXT NOT NULL, dir INTEGER );", {}},
    {"CREATE UNIQUE INDEX zervp_urls_path ON zervp_urls(path) ;", {}},
    {"CREATE TABLE zervp_dirs( id INTEGER PRIMARY KEY, path TEXT NOT NULL, "
     "mtime INTEGER NOT NULL );",
     {}},
    {"CREATE UNIQUE INDEX zervp_dirs_path ON zervp_dirs(path) ;", {}},
    {"CREATE TABLE zervp_artists( id INTEGER PRIMARY KEY, name TEXT NOT NULL COLLATE NOCASE );",
     {}},
    {"CREATE UNIQUE INDEX zervp_artists_name ON zervp_artists(name) ;", {}},
    {"CREATE TABLE zervp_albums( id INTEGER PRIMARY KEY, name TEXT NOT NULL COLLATE NOCASE, "
     "artist INTEGER );",
     {}},
    {"CREATE UNIQUE INDEX zervp_albums_name_artist ON zervp_albums(name, artist) ;", {}},
    {"CREATE INDEX zervp_albums_%s ON zervp_albums(%s) ;", {"name", "artist"}},
    {"CREATE TABLE zervp_genres( id INTEGER PRIMARY KEY, name TEXT NOT NULL COLLATE NOCASE );", {}},
    {"CREATE UNIQUE INDEX zervp_genres_name ON zervp_genres(name) ;", {}},
    {"CREATE TABLE zervp_years( id INTEGER PRIMARY KEY, name TEXT NOT NULL COLLATE NOCASE );", {}},
    {"CREATE UNIQUE INDEX zervp_years_name ON zervp_years(name) ;", {}},
    {"CREATE TABLE zervp_playlists( id INTEGER PRIMARY KEY, path TEXT NOT NULL );", {}},
    {"CREATE UNIQUE INDEX zervp_playlists_path ON zervp_playlists(path) ;", {}},
};

static const char schema_version_table[] = "CREATE TABLE zervp_version( version INTEGER );";

/* How the file is kept: a rebuild is one transaction with a rollback journal, so a killed one
 * leaves the old library whole. The page cache holds the indexes of a middling library, because
 * pages that do not fit are written more than once; sorting stays off the flash. */
static const char *const open_pragmas[] = {
    "PRAGMA cache_size=-4096;",
    "PRAGMA temp_store=MEMORY;",
};

enum class schema_state { current, missing, refused };

constinit db_handle *library_db = nullptr;

static schema_state schema_judge(const char *version)
{
    const char *rest = nullptr;
    if (!version)
        return schema_state::refused;
    const int32_t number = str_to_int32(version, &rest);
    if (*rest || number < 0 || number > schema_version)
        return schema_state::refused;
    return number == schema_version ? schema_state::current : schema_state::missing;
}

static schema_state schema_look()
{
    db_result *result = nullptr;
    if (db_exec(library_db, "SELECT version from zervp_version;", &result) != 0)
        return schema_state::missing;
    const schema_state state =
        result->count == 0 ? schema_state::missing : schema_judge(result->rows[0][0]);
    (void)db_free_res(result);
    return state;
}

/* Whether this is the text that makes one of our tables; SQLite keeps it without its end. */
static bool schema_is_own(const char *made_by)
{
    const std::string_view text = made_by ? made_by : "";
    const auto is_text = [text](const char *sql) {
        return std::string_view(sql).starts_with(text) && strcmp(sql + text.size(), ";") == 0;
    };
    return is_text(schema_version_table) ||
           std::any_of(std::begin(schema_steps), std::end(schema_steps),
                       [is_text](const schema_step &step) { return is_text(step.sql); });
}

static bool schema_is_empty(const char *table)
{
    db_result *rows = nullptr;
    char *sql = db_mprintf("SELECT 1 FROM %s LIMIT 1;", table);
    const bool is_empty = db_exec(library_db, sql, &rows) == 0 && rows->count == 0;
    (void)db_free_res(rows);
    db_free(sql);
    return is_empty;
}

/* Tables without a version in which nothing has ever been kept are what a failure has left in the
 * middle of making them, for want of memory or room: they make way, and true is returned. Others
 * stay, and are refused. */
static bool schema_drop_unfinished()
{
    db_result *tables = nullptr;
    if (db_exec(library_db, "SELECT name, sql FROM sqlite_master WHERE type = 'table';", &tables) !=
        0)
        return false;
    bool drops = tables->count > 0;
    for (uint32_t i = 0; drops && i < tables->count; i++)
        drops = schema_is_own(tables->rows[i][1]) && schema_is_empty(tables->rows[i][0]);
    for (uint32_t i = 0; drops && i < tables->count; i++) {
        char *sql = db_mprintf("DROP TABLE %s;", tables->rows[i][0]);
        drops = db_exec(library_db, sql, nullptr) == 0;
        db_free(sql);
    }
    (void)db_free_res(tables);
    return drops;
}

static int schema_run_step(const schema_step *step)
{
    if (!step->columns[0])
        return db_exec(library_db, step->sql, nullptr);
    for (const char *column : step->columns) {
        if (!column)
            break;
        char *sql = db_mprintf(step->sql, column, column);
        const int result = db_exec(library_db, sql, nullptr);
        db_free(sql);
        if (result != 0)
            return -1;
    }
    return 0;
}

static int schema_write_version()
{
    const char *format = db_exec(library_db, schema_version_table, nullptr) == 0
                             ? "INSERT INTO zervp_version( version ) VALUES( %d );"
                             : "UPDATE zervp_version SET version = %d ;";
    char *sql = db_mprintf(format, schema_version);
    const int result = db_exec(library_db, sql, nullptr);
    db_free(sql);
    return result;
}

static int schema_create()
{
    for (const schema_step &step : schema_steps)
        if (schema_run_step(&step) != 0 &&
            (&step != schema_steps || !schema_drop_unfinished() || schema_run_step(&step) != 0))
            return -1;
    return schema_write_version();
}

/* One transaction, because slow flash takes a good part of a second for each. What was made before
 * a failure is kept. */
static int schema_create_at_once()
{
    const bool begun = db_exec(library_db, "BEGIN TRANSACTION;", nullptr) == 0;
    const int result = schema_create();
    if (begun && db_exec(library_db, "COMMIT TRANSACTION;", nullptr) != 0)
        return -1;
    return result;
}

int library_init_schema()
{
    switch (schema_look()) {
    case schema_state::current:
        return 0;
    case schema_state::missing:
        return schema_create_at_once();
    case schema_state::refused:
        break;
    }
    return -1;
}

db_handle *library_handle()
{
    return std::atomic_ref(library_db).load();
}

int library_open()
{
    (void)library_close();
    std::atomic_ref(library_db).store(db_open(library_file_name));
    if (!library_db)
        return -1;
    /* A file that is no database refuses these as well; the schema check tells. */
    for (const char *pragma : open_pragmas)
        (void)db_exec(library_db, pragma, nullptr);
    return library_init_schema();
}

int library_close()
{
    db_handle *handle = std::atomic_ref(library_db).exchange(nullptr);
    (void)db_close(handle);
    return 0;
}
