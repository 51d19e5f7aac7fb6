/* list_cur_playlist: the current playlist as a list, kept in "current.m3u". */
#include "lists/playlist/list_cur_playlist.h"

#include "library/library.h"
#include "lists/playlist/list_cur_playlist_entries.h"
#include "lists/playlist/list_cur_playlist_m3u.h"
#include "lists/playlist/list_cur_playlist_names.h"
#include "lists/record/list.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/db/db.h"
#include "platform/file/file.h"
#include "platform/file/file_later.h"
#include "play/play.h"
#include "view/list/view_list.h"
#include "view/view.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

constexpr char saved_path[] = "current.m3u";
constexpr char heading[] = "Current Playlist";

using db_result_owner = owner<db_result, db_free_res>;
using db_text_owner = owner<char, db_free>;
using paths_owner = owner<playlist_paths, list_cur_playlist_paths_free>;
using text_owner = owner<char, free>;

/* What stands on the disk is the user's, although it could not be read: it is kept when it is
 * replaced. */
static constinit std::atomic<bool> saved_is_unread{false};

/* ---- adding ---- */

/* Track name and artist of a file as the library knows them; no row when it does not. */
static db_result_owner ask_library(const char *path)
{
    const db_text_owner sql(
        db_mprintf("SELECT zervp_tracks.name, zervp_artists.name FROM zervp_tracks JOIN "
                   "zervp_artists ON zervp_tracks.artist = zervp_artists.id WHERE url=(SELECT id "
                   "FROM zervp_urls WHERE path=%Q);",
                   path));
    db_result *result = nullptr;
    if (db_exec(library_db, sql.get(), &result) != 0)
        return nullptr;
    return db_result_owner(result);
}

static bool is_queued(const char *path)
{
    sys_guard guard(list_cur_playlist_lock);
    return list_cur_playlist_entries_has_locked(path);
}

int list_cur_playlist_add(const char *path, const char *name, const char *artist)
{
    if (is_queued(path))
        return -1;
    db_result_owner found;
    if (!name || !artist)
        found = ask_library(path); /* unlocked: the scan may keep the database busy */
    if (found && found->count > 0) {
        name = name ? name : found->rows[0][0];
        artist = artist ? artist : found->rows[0][1];
    }
    char display[1024];
    list_cur_playlist_names_format(display, path, name, artist);
    sys_guard guard(list_cur_playlist_lock);
    return list_cur_playlist_entries_append_locked(display, path);
}

/* ---- the list ---- */

/* Rows for the list, null when there are none: the entries' own names, which change on this thread
 * only. */
static char **lend_names(uint32_t *count)
{
    sys_guard guard(list_cur_playlist_lock);
    *count = list_cur_playlist_cur.count;
    char **rows = list_items_new(*count);
    for (uint32_t i = 0; rows && i < *count; i++)
        rows[i] = list_cur_playlist_entries_at_locked(i)->name;
    return rows;
}

static void show_titles(uint32_t count)
{
    sys_guard guard(list_lock);
    (void)str_copy(list_cur_playlist->title, heading);
    (void)str_format(list_cur_playlist->subtitle, "%s (%u 曲目)", heading, count);
}

static void show_rows()
{
    uint32_t count = 0;
    char **rows = lend_names(&count);
    list_lend_rows(list_cur_playlist, rows, count);
    show_titles(count);
}

/* A read-only folder keeps the change in memory only. */
static int save_now()
{
    if (saved_is_unread && file_keep_old(saved_path) != 0)
        return -1;
    saved_is_unread = false;
    return list_cur_playlist_m3u_save(saved_path);
}

static constinit file_later saved = {.save = save_now};

static int update(view *, list *)
{
    show_rows();
    file_later_want(&saved);
    return 0;
}

static void clear_entries()
{
    list_set_rows(list_cur_playlist, nullptr, 0); /* they are the entries' own */
    {
        sys_guard guard(list_cur_playlist_lock);
        list_cur_playlist_entries_clear_locked();
    }
    list_set_cursor(list_cur_playlist, -1);
}

/* ---- loading ---- */

static uint32_t entry_count()
{
    sys_guard guard(list_cur_playlist_lock);
    return list_cur_playlist_cur.count;
}

/* Adds a file under its base name. False when memory ran out; one that is queued stays once. */
static bool append(const char *path)
{
    char name[1024];
    list_cur_playlist_names_format(name, path, nullptr, nullptr);
    sys_guard guard(list_cur_playlist_lock);
    return list_cur_playlist_entries_append_locked(name, path) == 0 ||
           list_cur_playlist_entries_has_locked(path);
}

int list_cur_playlist_add_paths(const playlist_paths *paths)
{
    const uint32_t first = entry_count();
    bool whole = true;
    const char *path = paths->text;
    for (uint32_t i = 0; i < paths->count; i++, path += strlen(path) + 1)
        whole = append(path) && whole;
    list_cur_playlist_names_ask(first);
    return whole ? 0 : -1;
}

static bool replace_entries(const playlist_paths *paths)
{
    clear_entries();
    const bool whole = list_cur_playlist_add_paths(paths) == 0;
    if (entry_count() > 0)
        list_set_cursor(list_cur_playlist, 0);
    return whole;
}

/* A start that changes nothing writes nothing. */
static void load_saved()
{
    playlist_paths paths = {};
    const paths_owner freed(&paths);
    const m3u_reading got = list_cur_playlist_m3u_read(saved_path, true, &paths);
    const bool whole = got == m3u_reading::absent || replace_entries(&paths);
    saved_is_unread = got == m3u_reading::failed || !whole;
    show_rows();
    if (!saved_is_unread && (got != m3u_reading::saved || entry_count() != paths.count))
        file_later_want(&saved);
}

static int init()
{
    list_set_rows(list_cur_playlist, nullptr, 0);
    {
        sys_guard guard(list_cur_playlist_lock);
        if (list_cur_playlist_entries_init_locked() != 0)
            return -1;
    }
    file_replace_sweep(saved_path);
    load_saved();
    return 0;
}

static int exit_list()
{
    file_later_settle(); /* what is on its way to the disk is taken from the entries */
    list_set_rows(list_cur_playlist, nullptr, 0);
    sys_guard guard(list_cur_playlist_lock);
    list_cur_playlist_entries_free_locked();
    return 0;
}

static void go_to_main_menu()
{
    list_set_cursor(list_main, 0);
    (void)view_list_select(list_main);
}

static int input(view *screen, list *)
{
    if (!screen->key_checked || !(input_key.pressed & key_back))
        return 0;
    go_to_main_menu();
    return -1;
}

static void remove_row(uint32_t index)
{
    uint32_t count = 0;
    {
        sys_guard guard(list_cur_playlist_lock);
        list_drop_lent_row(list_cur_playlist, index);
        (void)list_cur_playlist_entries_remove_locked(index);
        count = list_cur_playlist_cur.count;
    }
    if (int64_t{list_cursor(list_cur_playlist)} >= count)
        list_set_cursor(list_cur_playlist, static_cast<int32_t>(count) - 1);
    show_titles(count);
    file_later_want(&saved);
}

static text_owner copy_path(uint32_t index)
{
    sys_guard guard(list_cur_playlist_lock);
    const playlist_entry *entry = list_cur_playlist_entries_at_locked(index);
    return text_owner(entry ? strdup(entry->path) : nullptr);
}

static int select(view *screen, list *self, int32_t index, int32_t mode)
{
    if (index == -1) {
        go_to_main_menu();
        return -1;
    }
    if (index < 0 || int64_t{index} >= list_count(self))
        return 0;
    const uint32_t row = static_cast<uint32_t>(index);
    if (mode == list_mode_menu || mode == list_mode_reload) {
        if (mode == list_mode_menu) {
            remove_row(row);
        } else {
            clear_entries();
            (void)update(nullptr, nullptr);
        }
        screen->redraw = 1;
        return 0;
    }
    const text_owner path = copy_path(row);
    if (!path || play_begin(path.get()) != 0)
        return 0;
    view_select(view_play);
    return -1;
}

constinit list list_cur_playlist_record = {
    .init = init,
    .exit = exit_list,
    .input = input,
    .select = select,
    .update = update,
};

int list_cur_playlist_select(const char *path)
{
    int32_t index = -1;
    {
        sys_guard guard(list_cur_playlist_lock);
        index = list_cur_playlist_entries_find_locked(path);
    }
    if (index < 0)
        return -1;
    list_set_cursor(list_cur_playlist, index);
    return 0;
}

int list_cur_playlist_load(const char *path, uint8_t append, char *first_out, size_t first_out_size)
{
    playlist_paths paths = {};
    const paths_owner freed(&paths);
    const m3u_reading got = list_cur_playlist_m3u_read(path, false, &paths);
    if (got == m3u_reading::absent || got == m3u_reading::failed)
        return -1;
    if (append)
        (void)list_cur_playlist_add_paths(&paths); /* what finds no memory is left out */
    else
        (void)replace_entries(&paths);
    if (first_out && first_out[0] == '\0' && paths.count > 0)
        (void)str_copy_to(first_out, first_out_size, paths.text);
    return update(nullptr, nullptr);
}
