/* library_scan: rebuilds the whole library from the music folder. */
#include "library/library_scan.h"

#include "config/cfg.h"
#include "library/library.h"
#include "library/library_ahead.h"
#include "library/library_tags.h"
#include "library/library_walk.h"
#include "platform/db.h"
#include "platform/file.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

static const char *const scan_opening[] = {
    "BEGIN TRANSACTION;",         "DELETE FROM zervp_urls;",   "DELETE FROM zervp_dirs;",
    "DELETE FROM zervp_artists;", "DELETE FROM zervp_albums;", "DELETE FROM zervp_genres;",
    "DELETE FROM zervp_years;",   "DELETE FROM zervp_tracks;", "DELETE FROM zervp_playlists;",
};

/* The handle is fetched once: the program may close the library while a worker scans, and a closed
 * handle answers -1 where a null one would be gone in between. */
static db_handle *scan_handle()
{
    return std::atomic_ref(library_db).load();
}

static int scan_exec(db_handle *handle, char *sql)
{
    const int result = db_exec(handle, sql, nullptr);
    db_free(sql);
    return result;
}

static int scan_add_playlist(db_handle *handle, const char *path)
{
    return scan_exec(handle, db_mprintf("INSERT INTO zervp_playlists(path) VALUES(%Q);", path));
}

static int scan_add_url(db_handle *handle, const char *path, const char *dir)
{
    if (scan_exec(handle, db_mprintf("INSERT OR IGNORE INTO zervp_dirs(path, mtime) "
                                     "VALUES(%Q, 0);",
                                     dir)) != 0)
        return -1;
    return scan_exec(handle, db_mprintf("INSERT INTO zervp_urls(path, dir) VALUES(%Q, "
                                        "(SELECT id FROM zervp_dirs WHERE path = %Q));",
                                        path, dir));
}

static int scan_add_names(db_handle *handle, const library_tags *tags)
{
    if (scan_exec(handle, db_mprintf("INSERT OR IGNORE INTO zervp_artists(name) VALUES(%Q);",
                                     tags->artist)) != 0)
        return -1;
    if (scan_exec(handle, db_mprintf("INSERT OR IGNORE INTO zervp_albums(name, artist) VALUES(%Q, "
                                     "(SELECT id FROM zervp_artists WHERE name = %Q));",
                                     tags->album, tags->artist)) != 0)
        return -1;
    if (scan_exec(handle, db_mprintf("INSERT OR IGNORE INTO zervp_genres(name) VALUES(%Q);",
                                     tags->genre)) != 0)
        return -1;
    return scan_exec(handle,
                     db_mprintf("INSERT OR IGNORE INTO zervp_years(name) VALUES(%Q);", tags->year));
}

static int scan_add_track(db_handle *handle, const char *path, const library_tags *tags)
{
    return scan_exec(
        handle,
        db_mprintf("INSERT INTO zervp_tracks(name, artist, album, genre, url, year) VALUES(%Q, "
                   "(SELECT id FROM zervp_artists WHERE name = %Q), "
                   "(SELECT id FROM zervp_albums WHERE name = %Q AND artist = "
                   "(SELECT id FROM zervp_artists WHERE name = %Q)), "
                   "(SELECT id FROM zervp_genres WHERE name = %Q), "
                   "(SELECT id FROM zervp_urls WHERE path = %Q), "
                   "(SELECT id FROM zervp_years WHERE name = %Q));",
                   tags->title, tags->artist, tags->album, tags->artist, tags->genre, path,
                   tags->year));
}

static int scan_insert(db_handle *handle, const char *path, const char *dir,
                       const library_tags *tags)
{
    if (tags->kind == library_file_kind::playlist)
        return scan_add_playlist(handle, path);
    if (scan_add_url(handle, path, dir) != 0)
        return -1;
    if (tags->kind == library_file_kind::bare)
        return 0;
    return scan_add_names(handle, tags) == 0 ? scan_add_track(handle, path, tags) : -1;
}

static int scan_add(db_handle *handle, const char *path, const char *dir, const library_tags *tags)
{
    if (tags->kind == library_file_kind::unreadable)
        return -1;
    if (scan_insert(handle, path, dir, tags) == 0)
        return 0;
    (void)fprintf(stderr, "database error: %s\n", db_err_msg(handle));
    return -1;
}

/* A library that was closed under the scan ends it at once: each of its files would only add two
 * lines of errors while the program goes down. */
static int scan_take(void *user, const char *path, const char *dir, const library_tags *tags)
{
    db_handle *handle = static_cast<db_handle *>(user);
    if (!db_is_open(handle))
        return -1;
    if (scan_add(handle, path, dir, tags) != 0)
        (void)fprintf(stderr, "error scanning file: %s\n", path);
    return 0;
}

static int scan_visit(void *user, const char *path, const char *dir)
{
    return library_ahead_add(static_cast<library_ahead *>(user), path, dir);
}

static void scan_folder(db_handle *handle, const char *dir)
{
    library_ahead ahead = {};
    library_ahead_begin(&ahead, scan_take, handle);
    library_walk(dir, scan_visit, &ahead);
    library_ahead_end(&ahead);
}

int library_add_file(const char *path, const char *dir)
{
    library_tags tags;
    if (library_tags_read(path, &tags) != 0)
        return -1;
    const int result = scan_add(scan_handle(), path, dir, &tags);
    library_tags_free(&tags);
    return result;
}

int library_scan_dir(const char *dir)
{
    scan_folder(scan_handle(), dir);
    return 0;
}

int library_scan()
{
    db_handle *handle = scan_handle();
    for (const char *sql : scan_opening)
        if (scan_exec(handle, db_mprintf("%s", sql)) != 0)
            return -1;
    char root[512];
    /* An empty or endless path leaves an empty text, and with it an empty library. */
    (void)file_get_absolute_path(cfg_library_path, root, sizeof(root));
    scan_folder(handle, root);
    return scan_exec(handle, db_mprintf("COMMIT TRANSACTION;"));
}
