#include "core/desktop.h"

#include "config/cfg.h"
#include "core/key_watch.h"
#include "core/loop.h"
#include "core/services/program.h"
#include "library/media.h"
#include "lists/list_files.h"
#include "lists/playlist/list_cur_playlist.h"
#include "lists/record/list.h"
#include "platform/audio/audio.h"
#include "platform/base/clock.h"
#include "platform/base/str.h"
#include "platform/draw/fb.h"
#include "platform/input/drop.h"
#include "play/play.h"
#include "view/list/view_list.h"
#include "view/play/play_controls.h"
#include "view/play/view_play.h"
#include "view/view.h"

#include <atomic>
#include <climits>
#include <cstring>
#include <sys/stat.h>

using path_text = char[PATH_MAX];

static constinit uint32_t titled_id = 0; /* play_handle_id of the track that the title names */

/* ---- skins ---- */

static constinit std::atomic<bool> skins_wanted{false};

void desktop_ask_for_skins()
{
    skins_wanted = true;
    clock_wake();
}

/* One that cannot be read is replaced as at the start. */
static void load_skins()
{
    if (!skins_wanted.exchange(false))
        return;
    (void)view_list_load_skin(cfg_skin_list);
    (void)view_play_load_skin(cfg_skin_play);
}

/* ---- dropped files ---- */

/* Queues what is behind one path; `first` is what to play of it, "" where that is nothing. */
static void queue_path(const char *path, path_text &first)
{
    struct stat about = {};
    first[0] = '\0';
    if (stat(path, &about) != 0)
        return;
    if (S_ISDIR(about.st_mode)) {
        (void)list_files_add_dir(path, first, sizeof first); /* what cannot be read is left out */
    } else if (is_playlist_file(path)) {
        (void)list_cur_playlist_load(path, 1, first, sizeof first); /* as above */
    } else if (is_audio_file(path)) {
        (void)list_cur_playlist_add(path, nullptr, nullptr); /* queued before: fine */
        (void)str_copy(first, path);
    }
}

/* Like files on the command line: all are queued, the last one plays. */
static void take_drop()
{
    if (drop_count() == 0)
        return;
    loop_light_display();
    static path_text first, last; /* two of 4 KiB are much for a stack */
    last[0] = '\0';
    for (uint32_t i = 0; i < drop_count(); i++) {
        queue_path(drop_path(i), first);
        if (first[0] != '\0')
            (void)str_copy(last, first); /* same size */
    }
    drop_forget();
    if (last[0] == '\0')
        return;
    (void)list_cur_playlist->update(nullptr, list_cur_playlist);
    (void)play_begin(last); /* the play screen shows what became of it */
    view_select(view_play);
}

/* ---- the window's title ---- */

static const char *or_null(const char *text)
{
    return text && *text ? text : nullptr;
}

/* "title - artist", the file's name where there is no title, "" where nothing plays. */
static void name_track(char (&to)[512])
{
    const sys_guard guard(play_lock);
    to[0] = '\0';
    if (!play_handle)
        return;
    const audio_tags *tags = play_handle->tags;
    const char *title = tags ? or_null(tags->title) : nullptr;
    const char *artist = tags ? or_null(tags->artist) : nullptr;
    const char *slash = strrchr(play_fpath, '/');
    const char *file = slash ? slash + 1 : play_fpath;
    (void)str_format(to, "%s%s%s", title ? title : file, artist ? " - " : "", artist ? artist : "");
}

static void update_title()
{
    const uint32_t id = play_handle_id;
    if (id == titled_id)
        return;
    titled_id = id;
    char track[512], title[600];
    name_track(track);
    (void)str_format(title, "%s%s%s", track, track[0] ? " - " : "", PROGRAM_NAME); /* fits */
    fb_set_title(title);
}

void desktop_pass()
{
    if (input_key_checked && (input_key.pressed & key_media))
        play_controls_media(input_key.pressed);
    key_watch_pass();
    load_skins();
    take_drop();
    update_title();
}
