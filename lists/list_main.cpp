/* list_main: the main menu, and the library update that it starts. */
#include "lists/list_main.h"

#include "config/cfg.h"
#include "core/services/overlay.h"
#include "core/services/program.h"
#include "library/library_scan.h"
#include "lists/list_cfg.h"
#include "lists/list_files.h"
#include "lists/list_library.h"
#include "lists/lists.h"
#include "lists/playlist/list_cur_playlist.h"
#include "lists/record/list.h"
#include "platform/base/str.h"
#include "platform/base/thread.h"
#include "play/play.h"
#include "view/list/view_list.h"
#include "view/view.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

constexpr uint16_t progress_colour = 0x001F;
constexpr uint16_t failure_colour = 0xF800;
constexpr int32_t failure_shown_ms = 3000;

struct menu_row {
    const char *text;
    void (*choose)();
};

/* A running scan. The thread owns it. */
struct menu_scan {
    std::atomic<uint8_t> *running;
    int32_t message_id; /* shown until the scan has succeeded */
};

/* Raised by nobody, so that a second request starts a second scan beside the first. */
static constinit std::atomic<uint8_t> scan_running{0};

static void show(list *next)
{
    (void)view_list_select(next); /* always 0 */
}

/* ---- library update ---- */

static void scan(void *started)
{
    auto *job = static_cast<menu_scan *>(started);
    if (library_scan() == 0) {
        (void)overlay_msg_remove(job->message_id); /* gone already while the program ends */
        (void)list_playlists->update(nullptr, list_playlists);
        view_request_redraw();
    } else {
        (void)overlay_msg_add("无法扫描某些文件", failure_shown_ms, failure_colour);
    }
    *job->running = 0;
    free(job);
}

static int start_scan(int32_t message_id)
{
    auto *job = static_cast<menu_scan *>(calloc(1, sizeof(menu_scan)));
    if (!job)
        return -1;
    job->running = &scan_running;
    job->message_id = message_id;
    const int result = thread_start("library-scan", scan, job);
    if (result != 0)
        free(job);
    return result;
}

int list_main_on_update_library()
{
    (void)play_end(); /* always 0 */
    const int32_t message_id = overlay_msg_add("更新媒体库中   ", 0, progress_colour);
    if (scan_running)
        return message_id;
    const int result = start_scan(message_id);
    if (result != 0)
        (void)overlay_msg_remove(message_id); /* nobody is left to take it down */
    return result;
}

/* ---- rows ---- */

/* False when nothing plays. */
static bool copy_playing(char (&to)[PATH_MAX])
{
    char cut[512];
    return play_copy_path(cut) && play_copy_last_path(to);
}

static void choose_cur_playlist()
{
    char playing[PATH_MAX];
    if (!copy_playing(playing))
        list_set_cursor(list_cur_playlist, 0);
    else
        (void)list_cur_playlist_select(playing); /* not queued: the cursor stays */
    show(list_cur_playlist);
}

static void choose_files()
{
    char playing[PATH_MAX];
    if (copy_playing(playing))
        (void)list_files_select_file(playing); /* its folder may be gone: the rows stay */
    else
        (void)list_files_set_default_dpath();
    show(list_files);
}

static void open_library(const char *key, const char *title)
{
    (void)list_library_reset_conds();
    (void)list_library_add_cond_key(key, title); /* the first of five always fits */
    list_set_cursor(list_library, 0);
    show(list_library);
}

static void choose_artists()
{
    open_library("artist", "Artists");
}

static void choose_albums()
{
    open_library("album", "Albums");
}

static void choose_genres()
{
    open_library("genre", "Genres");
}

static void choose_tracks()
{
    open_library("track", "Tracks");
}

static void choose_playlists()
{
    list_set_cursor(list_playlists, 0);
    show(list_playlists);
}

static void choose_update()
{
    (void)list_main_on_update_library(); /* its message tells */
}

static void choose_settings()
{
    list_cfg_reset();
    (void)list_cfg->update(nullptr, list_cfg);
    list_set_cursor(list_cfg, 0);
    show(list_cfg);
}

static constexpr menu_row rows[] = {
    {"当前播放列表", choose_cur_playlist},
    {"打开", choose_files},
    {"艺术家", choose_artists},
    {"专辑", choose_albums},
    {"流派", choose_genres},
    {"曲目", choose_tracks},
    {"播放列表", choose_playlists},
    {"更新媒体库", choose_update},
    {"设置", choose_settings},
};
constexpr uint32_t row_count = sizeof rows / sizeof rows[0];

/* ---- the list ---- */

static int update(view *, list *)
{
    char **items = list_items_new(row_count);
    for (uint32_t i = 0; items && i < row_count; i++)
        items[i] = strdup(rows[i].text);
    sys_guard guard(list_lock);
    list_set_rows(list_main, items, items ? row_count : 0);
    (void)str_copy(list_main->title, "主菜单");
    (void)str_format(list_main->subtitle, "%s %s <..TOVAK..汉化..>", PROGRAM_NAME, PROGRAM_VERSION);
    return 0;
}

static int init()
{
    return update(nullptr, nullptr);
}

static int exit_list()
{
    return 0;
}

/* At the top there is nowhere to go back to: the cursor goes home. */
static int go_home(view *screen)
{
    list_set_cursor(list_main, 0);
    screen->redraw = 1;
    return -1;
}

static int input(view *screen, list *)
{
    if (!screen->key_checked)
        return 0;
    if (input_key.pressed & key_back)
        return go_home(screen);
    if (input_key.pressed & key_reload)
        return view_list_load_skin(cfg_skin_list) == 0 ? -1 : 0;
    return 0;
}

/* The menu key and those behind it do nothing here. */
static int select(view *screen, list *, int32_t index, int32_t mode)
{
    if (mode >= list_mode_menu)
        return 0;
    if (index == -1)
        return go_home(screen);
    if (index >= 0 && static_cast<uint32_t>(index) < row_count)
        rows[index].choose();
    return 0;
}

constinit list list_main_record = {
    .init = init,
    .exit = exit_list,
    .input = input,
    .select = select,
    .update = update,
};
