/* library_scan: rebuilds the whole library from the music folder. */
#include "library/library_scan.h"

#include "config/cfg.h"
#include "library/library.h"
#include "library/library_ahead.h"
#include "library/library_tags.h"
#include "library/library_walk.h"
#include "library/media.h"
#include "platform/base/str.h"
#include "platform/db/db.h"
#include "platform/file/file.h"

#include <climits>
#include <cstdio>
#include <cstring>

static const char *const scan_opening[] = {
    "BEGIN TRANSACTION;",         "DELETE FROM zervp_urls;",   "DELETE FROM zervp_dirs;",
    "DELETE FROM zervp_artists;", "DELETE FROM zervp_albums;", "DELETE FROM zervp_genres;",
    "DELETE FROM zervp_years;",   "DELETE FROM zervp_tracks;", "DELETE FROM zervp_playlists;",
};

/* A scan on its way, with one handle from its first statement to its last: the program may close
 * the library meanwhile. The texts are those of the last rows that went in: most files share them
 * with the file before, and a row that is there need not be ignored again. */
struct scan_job {
    db_handle *handle;
    bool whole; /* inside the transaction of library_scan() */
    library_ahead ahead;
    char dir[PATH_MAX];
    char artist[1024], album[1024], album_artist[1024], genre[1024], year[1024];
};

static int scan_exec(db_handle *handle, char *sql)
{
    const int result = db_exec(handle, sql, nullptr);
    db_free(sql);
    return result;
}

/* Runs what makes sure of a row, unless `last` says that it is there. */
template <size_t size>
static int scan_ensure(scan_job *job, char (&last)[size], const char *now, const char *format,
                       const char *more = nullptr)
{
    if (strcmp(last, now) == 0)
        return 0;
    last[0] = '\0';
    if (scan_exec(job->handle, db_mprintf(format, now, more)) != 0)
        return -1;
    if (!str_copy(last, now))
        last[0] = '\0';
    return 0;
}

static int scan_add_playlist(db_handle *handle, const char *path)
{
    return scan_exec(handle, db_mprintf("INSERT INTO zervp_playlists(path) VALUES(%Q);", path));
}

static int scan_add_url(scan_job *job, const char *path, const char *dir)
{
    if (scan_ensure(job, job->dir, dir,
                    "INSERT OR IGNORE INTO zervp_dirs(path, mtime) VALUES(%Q, 0);") != 0)
        return -1;
    return scan_exec(job->handle, db_mprintf("INSERT INTO zervp_urls(path, dir) VALUES(%Q, "
                                             "(SELECT id FROM zervp_dirs WHERE path = %Q));",
                                             path, dir));
}

static int scan_add_names(scan_job *job, const library_tags *tags)
{
    if (scan_ensure(job, job->artist, tags->artist,
                    "INSERT OR IGNORE INTO zervp_artists(name) VALUES(%Q);") != 0)
        return -1;
    /* An album is one of its artist. */
    if (strcmp(job->album_artist, tags->artist) != 0)
        job->album[0] = '\0';
    str_copy(job->album_artist, tags->artist);
    if (scan_ensure(job, job->album, tags->album,
                    "INSERT OR IGNORE INTO zervp_albums(name, artist) VALUES(%Q, "
                    "(SELECT id FROM zervp_artists WHERE name = %Q));",
                    tags->artist) != 0)
        return -1;
    if (scan_ensure(job, job->genre, tags->genre,
                    "INSERT OR IGNORE INTO zervp_genres(name) VALUES(%Q);") != 0)
        return -1;
    return scan_ensure(job, job->year, tags->year,
                       "INSERT OR IGNORE INTO zervp_years(name) VALUES(%Q);");
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

static int scan_insert(scan_job *job, const char *path, const char *dir, const library_tags *tags)
{
    if (tags->kind == library_file_kind::playlist)
        return scan_add_playlist(job->handle, path);
    if (scan_add_url(job, path, dir) != 0)
        return -1;
    if (tags->kind == library_file_kind::bare)
        return 0;
    return scan_add_names(job, tags) == 0 ? scan_add_track(job->handle, path, tags) : -1;
}

static int scan_add(scan_job *job, const char *path, const char *dir, const library_tags *tags)
{
    if (tags->kind == library_file_kind::unreadable)
        return -1;
    if (scan_insert(job, path, dir, tags) == 0)
        return 0;
    (void)fprintf(stderr, "database error: %s\n", db_err_msg(job->handle));
    return -1;
}

/* A library that was closed under the scan ends it at once: each of its files would only add two
 * lines of errors while the program goes down. So does a transaction that a full disk has ended:
 * what followed would be mixed into the old library. */
static bool scan_is_wanted(const scan_job *job)
{
    return job->whole ? db_is_in_transaction(job->handle) : db_is_open(job->handle);
}

static int scan_take(void *user, const char *path, const char *dir, const library_tags *tags)
{
    scan_job *job = static_cast<scan_job *>(user);
    if (!scan_is_wanted(job))
        return -1;
    if (scan_add(job, path, dir, tags) != 0)
        (void)fprintf(stderr, "error scanning file: %s\n", path);
    return 0;
}

static int scan_visit(void *user, const char *path, const char *dir)
{
    return library_ahead_add(&static_cast<scan_job *>(user)->ahead, path, dir);
}

static bool scan_goes_on(void *user)
{
    return scan_is_wanted(static_cast<scan_job *>(user));
}

static library_walk_end scan_folder(db_handle *handle, bool whole, const char *dir)
{
    scan_job job = {};
    job.handle = handle;
    job.whole = whole;
    const library_walk_plan plan = {
        .order = library_walk_order::files_first,
        .filter = media_file_filter,
        .visit = scan_visit,
        .go_on = scan_goes_on,
        .user = &job,
    };
    library_ahead_begin(&job.ahead, scan_take, &job);
    const library_walk_end end = library_walk(dir, &plan);
    library_ahead_end(&job.ahead);
    return end;
}

int library_add_file(const char *path, const char *dir)
{
    library_tags tags;
    if (library_tags_read(path, &tags) != 0)
        return -1;
    scan_job job = {};
    job.handle = library_handle();
    const int result = scan_add(&job, path, dir, &tags);
    library_tags_free(&tags);
    return result;
}

int library_scan_dir(const char *dir)
{
    (void)scan_folder(library_handle(), false, dir);
    return 0;
}

int library_scan()
{
    db_handle *handle = library_handle();
    for (const char *sql : scan_opening)
        if (scan_exec(handle, db_mprintf("%s", sql)) != 0)
            return -1;
    char root[PATH_MAX];
    /* An empty or endless path leaves an empty text, and with it an empty library. */
    (void)file_get_absolute_path(cfg_library_path, root, sizeof(root));
    if (scan_folder(handle, true, root) == library_walk_end::failed) {
        /* A card that was pulled is no reason to forget what is on it. */
        (void)scan_exec(handle, db_mprintf("ROLLBACK TRANSACTION;"));
        return -1;
    }
    return scan_exec(handle, db_mprintf("COMMIT TRANSACTION;"));
}
