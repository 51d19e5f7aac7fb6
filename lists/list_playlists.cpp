/* list_playlists: the M3U files that the last scan found. */
#include "library/library.h"
#include "lists/lists.h"
#include "lists/playlist/list_cur_playlist.h"
#include "lists/record/list.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/db/db.h"
#include "platform/file/file.h"
#include "play/play.h"
#include "view/list/view_list.h"
#include "view/play/view_play.h"
#include "view/view.h"

#include <cassert>
#include <cstdlib>
#include <cstring>

constexpr int32_t main_menu_row = 6;

using db_text_owner = owner<char, db_free>;
using text_owner = owner<char, free>;

/* Row n is row n of the list. Swapped together with the rows, because the scan's thread rebuilds
 * both when it is done. */
static constinit db_result *list_playlists_res GUARDED_BY(list_lock) = nullptr;

static const char *row_path(const db_result *paths, uint32_t row)
{
    assert(row < paths->count);
    return paths->rows[row][0] ? paths->rows[row][0] : "";
}

static char *row_text(const char *path)
{
    char copy[1024];
    (void)str_copy(copy, path); /* a name to look at: may be cut */
    return strdup(file_basename(copy));
}

/* Main thread, or the scan's. */
static db_result *query_paths()
{
    const db_text_owner sql(db_mprintf("SELECT path FROM zervp_playlists;"));
    db_result *paths = nullptr;
    return db_exec(library_handle(), sql.get(), &paths) == 0 ? paths : nullptr;
}

static int update(view *, list *)
{
    db_result *paths = query_paths();
    const uint32_t count = paths ? paths->count : 0;
    char **rows = list_items_new(count);
    for (uint32_t i = 0; rows && i < count; i++)
        rows[i] = row_text(row_path(paths, i));
    db_result *old = nullptr;
    {
        sys_guard guard(list_lock);
        old = list_playlists_res;
        list_playlists_res = paths;
        list_set_rows(list_playlists, rows, count);
        (void)str_copy(list_playlists->title, "播放列表");
        (void)str_copy(list_playlists->subtitle, "");
    }
    (void)db_free_res(old);
    return 0;
}

static int init()
{
    return update(nullptr, nullptr);
}

static int exit_list()
{
    sys_guard guard(list_lock);
    (void)db_free_res(list_playlists_res);
    list_playlists_res = nullptr;
    return 0;
}

static int leave()
{
    list_set_cursor(list_main, main_menu_row);
    (void)view_list_select(list_main);
    return -1;
}

static int input(view *screen, list *)
{
    if (!screen->key_checked || !(input_key.pressed & key_back))
        return 0;
    return leave();
}

/* The path behind a row; null when there is none. */
static text_owner copy_path(int32_t row)
{
    sys_guard guard(list_lock);
    if (!list_playlists_res || row < 0 || int64_t{row} >= list_playlists_res->count)
        return nullptr;
    return text_owner(strdup(row_path(list_playlists_res, static_cast<uint32_t>(row))));
}

/* The menu key queues what the select key plays. */
static int select(view *, list *, int32_t index, int32_t mode)
{
    if (mode == list_mode_reload)
        return 0;
    if (index == -1)
        return mode == list_mode_menu ? 0 : leave();
    const text_owner path = copy_path(index);
    char first[1024] = "";
    if (!path || list_cur_playlist_load(path.get(), 1, first, sizeof first) != 0)
        return 0;
    if (mode == list_mode_menu) {
        (void)view_play_begin(first); /* stays in the list either way */
        return 0;
    }
    if (play_begin(first) != 0)
        return 0;
    view_select(view_play);
    return -1;
}

constinit list list_playlists_record = {
    .init = init,
    .exit = exit_list,
    .input = input,
    .select = select,
    .update = update,
};
