/* list_files: the file browser, one folder at a time. */
#include "lists/list_files.h"

#include "config/cfg.h"
#include "library/media.h"
#include "lists/lists.h"
#include "lists/playlist/list_cur_playlist.h"
#include "lists/record/list.h"
#include "platform/base/clock.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/file/file.h"
#include "play/play.h"
#include "view/list/view_list.h"
#include "view/play/view_play.h"
#include "view/view.h"

#include <cassert>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

enum class folder_change { enter, up };

/* Main thread, like everything here. */
constinit char list_files_dpath[PATH_MAX] = "";

/* The folder behind the rows. After a folder that could not be opened the rows stay and nothing
 * is behind them: `listing` is zeroed then. */
static constinit file_listing listing = {};

static void release_listing()
{
    (void)file_free_dir(&listing); /* harmless when nothing is held */
}

static void set_cursor(uint32_t cursor)
{
    list_set_cursor(list_files, static_cast<int32_t>(cursor));
}

/* ---- rows ---- */

static char *row_text(uint32_t index)
{
    assert(index < listing.count);
    const char *name = listing.names[index];
    if (index >= listing.dir_count)
        return strdup(name);
    const size_t size = strlen(name) + sizeof "[]";
    char *text = static_cast<char *>(malloc(size));
    if (text)
        (void)snprintf(text, size, "[%s]", name);
    return text;
}

static int update(view *, list *)
{
    char **rows = list_items_new(listing.count);
    for (uint32_t i = 0; rows && i < listing.count; i++)
        rows[i] = row_text(i);
    sys_guard guard(list_lock);
    list_set_rows(list_files, rows, listing.count);
    (void)str_copy(list_files->title, "文件");
    (void)str_copy(list_files->subtitle, list_files_dpath); /* shown: may be cut */
    return 0;
}

/* Makes a listing the shown one; takes its contents over. */
static void show(const file_listing &found)
{
    release_listing();
    listing = found;
    (void)update(nullptr, nullptr);
}

static int init()
{
    return list_files_set_default_dpath();
}

static int exit_list()
{
    release_listing();
    return 0;
}

static int input(view *screen, list *)
{
    if (!screen->key_checked || !(input_key.pressed & key_back))
        return 0;
    (void)view_list_select(list_main);
    return -1;
}

/* ---- choosing ---- */

/* The row of the first folder of that name; 0 when there is none. */
static uint32_t folder_row(const char *name)
{
    for (uint32_t i = 0; i < listing.dir_count; i++)
        if (strcmp(listing.names[i], name) == 0)
            return i;
    return 0;
}

/* -1: nothing changed when the path is too long to be kept, else the old rows stay with nothing
 * behind them. */
static int change_folder(const char *folder, folder_change how)
{
    char target[sizeof list_files_dpath]; /* `folder` may belong to the listing freed below */
    if (!str_copy(target, folder))
        return -1;
    release_listing();
    file_listing found;
    if (file_list_dir(&found, target, media_file_filter) != 0)
        return -1;
    char left[sizeof list_files_dpath];
    (void)str_copy(left, list_files_dpath); /* same size */
    (void)str_copy(list_files_dpath, target);
    show(found);
    set_cursor(how == folder_change::up ? folder_row(file_basename(left)) : 0);
    return 0;
}

static int select_up(view *screen)
{
    if (listing.dir_count == 0)
        return 0;
    char shown[sizeof list_files_dpath];
    (void)str_copy(shown, list_files_dpath); /* same size */
    screen->redraw = 1;
    return change_folder(file_dirname(shown), folder_change::up);
}

static int queue_folder(const char *path)
{
    char first[PATH_MAX] = "";
    (void)list_files_add_dir(path, first, sizeof first); /* an unreadable folder queues nothing */
    (void)list_cur_playlist->update(nullptr, list_cur_playlist);
    if (first[0] != '\0')
        (void)view_play_begin(first);
    return 0;
}

static int select_folder(view *screen, uint32_t row, int32_t mode)
{
    const bool is_parent = strcmp(listing.names[row], "..") == 0;
    if (mode == list_mode_menu && !is_parent)
        return queue_folder(listing.paths[row]);
    screen->redraw = 1;
    return change_folder(listing.paths[row], is_parent ? folder_change::up : folder_change::enter);
}

static void queue_file(const char *path)
{
    (void)list_cur_playlist_add(path, nullptr, nullptr); /* already there: stays once */
    (void)list_cur_playlist->update(nullptr, list_cur_playlist);
}

static int select_audio(const char *path, int32_t mode)
{
    if (mode == list_mode_menu) {
        queue_file(path);
        (void)view_play_begin(path); /* stays in the browser either way */
        return 0;
    }
    if (play_begin(path) != 0)
        return 0;
    queue_file(path);
    view_select(view_play);
    return -1;
}

static int select_playlist(const char *path, int32_t mode)
{
    char first[PATH_MAX] = "";
    if (list_cur_playlist_load(path, 1, first, sizeof first) != 0)
        return 0;
    if (mode == list_mode_menu) {
        (void)view_play_begin(first); /* stays in the browser either way */
        return 0;
    }
    if (play_begin(first) != 0)
        return 0;
    view_select(view_play);
    return -1;
}

/* The menu key queues what the select key plays. */
static int select(view *screen, list *, int32_t index, int32_t mode)
{
    if (mode == list_mode_reload)
        return 0;
    if (index == -1)
        return select_up(screen);
    if (index < 0 || int64_t{index} >= listing.count)
        return 0;
    const uint32_t row = static_cast<uint32_t>(index);
    if (row < listing.dir_count)
        return select_folder(screen, row, mode);
    if (is_audio_file(listing.names[row]))
        return select_audio(listing.paths[row], mode);
    if (is_playlist_file(listing.names[row]))
        return select_playlist(listing.paths[row], mode);
    return 0;
}

constinit list list_files_record = {
    .init = init,
    .exit = exit_list,
    .input = input,
    .select = select,
    .update = update,
};

int list_files_set_default_dpath()
{
    constexpr int32_t retry_ms = 10;
    release_listing();
    set_cursor(0);
    file_listing found;
    if (file_get_absolute_path(cfg_library_path, list_files_dpath, sizeof list_files_dpath) != 0 ||
        file_list_dir(&found, list_files_dpath, media_file_filter) != 0) {
        (void)str_copy(list_files_dpath, "/");
        if (file_list_dir(&found, list_files_dpath, media_file_filter) != 0) {
            clock_msleep(retry_ms); /* whoever asks again at once gets no faster disk */
            return -1;
        }
    }
    show(found);
    return 0;
}

int list_files_select_file(const char *path)
{
    char folder[sizeof list_files_dpath];
    char name[sizeof list_files_dpath];
    char given[sizeof list_files_dpath];
    release_listing();
    /* Absolute, because "up" from "." would never leave it. */
    if (!str_copy(given, path) || !str_copy(name, path) ||
        file_get_absolute_path(file_dirname(given), folder, sizeof folder) != 0)
        return -1;
    file_listing found;
    if (file_list_dir(&found, folder, media_file_filter) != 0)
        return -1;
    const char *base = file_basename(name);
    for (uint32_t i = 0; i < found.count; i++) {
        if (strcmp(found.names[i], base) != 0)
            continue;
        set_cursor(i);
        (void)str_copy(list_files_dpath, folder); /* same size */
        show(found);
        view_list->redraw = 1;
        return 0;
    }
    (void)file_free_dir(&found);
    return -1;
}
