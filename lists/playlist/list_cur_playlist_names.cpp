/* list_cur_playlist_names: asks the library for many names at once.
 *
 * A few entries are looked up; for a queue that is a good part of the library, reading the library
 * from one end to the other is several times quicker. */
#include "lists/playlist/list_cur_playlist_names.h"

#include "library/library.h"
#include "lists/playlist/list_cur_playlist_entries.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/db/db.h"
#include "platform/file/file.h"

/* Rows in memory at a time, and paths in one question. */
constexpr int32_t page_rows = 2048;
constexpr uint32_t asked_at_once = 64;
/* A row that is read costs a third of one that is looked up. */
constexpr int64_t rows_a_lookup = 3;

using db_result_owner = owner<db_result, db_free_res>;
using db_text_owner = owner<char, db_free>;

static db_result_owner ask(char *sql)
{
    const db_text_owner text(sql);
    db_result *result = nullptr;
    if (db_exec(library_db, text.get(), &result) != 0)
        return nullptr;
    return db_result_owner(result);
}

/* Rows of path, name and artist. A file that is not queued, or was before, is passed over. */
static void take_names(const db_result *found, uint32_t first)
{
    sys_guard guard(list_cur_playlist_lock);
    for (uint32_t i = 0; i < found->count; i++) {
        char **row = found->rows[i];
        const int32_t index = row[0] ? list_cur_playlist_entries_find_locked(row[0]) : -1;
        if (index < 0 || static_cast<uint32_t>(index) < first || !row[1])
            continue;
        char text[1024];
        list_cur_playlist_names_format(text, row[0], row[1], row[2]);
        /* Without memory it keeps its base name. */
        (void)list_cur_playlist_entries_name_locked(static_cast<uint32_t>(index), text);
    }
}

/* ---- all of them ---- */

/* Close to the number of tracks: a scan numbers them from 1. */
static int32_t last_track()
{
    const db_result_owner found = ask(db_mprintf("SELECT max(id) FROM zervp_tracks;"));
    if (!found || found->count == 0 || !found->rows[0][0])
        return 0;
    return str_to_int32(found->rows[0][0], nullptr);
}

static void read_library(uint32_t first)
{
    int32_t behind = 0;
    for (int32_t got = page_rows; got == page_rows;) {
        const db_result_owner page = ask(db_mprintf(
            "SELECT zervp_urls.path, zervp_tracks.name, zervp_artists.name, zervp_tracks.id FROM "
            "zervp_tracks CROSS JOIN zervp_urls ON zervp_urls.id = zervp_tracks.url CROSS JOIN "
            "zervp_artists ON zervp_artists.id = zervp_tracks.artist WHERE zervp_tracks.id > %d "
            "ORDER BY zervp_tracks.id LIMIT %d;",
            behind, page_rows));
        if (!page || page->count == 0)
            return;
        take_names(page.get(), first);
        got = static_cast<int32_t>(page->count);
        behind = str_to_int32(page->rows[page->count - 1][3], nullptr);
    }
}

/* ---- some of them ---- */

/* The paths of the entries from `first` to `end`, quoted for SQL. */
static char *quote_paths(uint32_t first, uint32_t end)
{
    sys_guard guard(list_cur_playlist_lock);
    char *list = nullptr;
    for (uint32_t i = first; i < end && i < list_cur_playlist_cur.count; i++) {
        const char *path = list_cur_playlist_entries_at_locked(i)->path;
        char *longer = list ? db_mprintf("%s, %Q", list, path) : db_mprintf("%Q", path);
        db_free(list);
        list = longer;
        if (!list)
            return nullptr;
    }
    return list;
}

static void look_up(uint32_t first, uint32_t count)
{
    for (uint32_t at = first; at < count; at += asked_at_once) {
        const db_text_owner paths(quote_paths(at, at + asked_at_once));
        if (!paths)
            return;
        const db_result_owner found = ask(db_mprintf(
            "SELECT zervp_urls.path, zervp_tracks.name, zervp_artists.name FROM zervp_urls CROSS "
            "JOIN zervp_tracks ON zervp_tracks.url = zervp_urls.id CROSS JOIN zervp_artists ON "
            "zervp_artists.id = zervp_tracks.artist WHERE zervp_urls.path IN (%s);",
            paths.get()));
        if (found)
            take_names(found.get(), first);
    }
}

void list_cur_playlist_names_format(char (&to)[1024], const char *path, const char *name,
                                    const char *artist)
{
    char base[512];
    if (!name) {
        (void)str_copy(base, path); /* a name to look at: may be cut */
        (void)str_copy(to, file_basename(base));
    } else if (artist) {
        (void)str_format(to, "%s (%s)", name, artist);
    } else {
        (void)str_copy(to, name);
    }
}

void list_cur_playlist_names_ask(uint32_t first)
{
    uint32_t count = 0;
    {
        sys_guard guard(list_cur_playlist_lock);
        count = list_cur_playlist_cur.count;
    }
    if (first >= count)
        return;
    if (int64_t{count - first} * rows_a_lookup >= last_track())
        read_library(first);
    else
        look_up(first, count);
}
