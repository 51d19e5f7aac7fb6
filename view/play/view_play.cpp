#include "view/play/view_play.h"

#include "config/cfg.h"
#include "platform/draw/fb.h"
#include "play/play.h"
#include "skin/skin.h"
#include "view/play/play_controls.h"
#include "view/play/play_cover.h"
#include "view/play/play_draw.h"
#include "view/play/play_layout.h"
#include "view/play/play_lyrics.h"
#include "view/view.h"

static int play_view_init();
static int play_view_exit();

constinit view view_play_record = {
    .init = play_view_init,
    .exit = play_view_exit,
    .input = play_input,
    .draw = play_draw,
};

static void forget_tracks()
{
    const sys_guard guard(play_lock);
    cover_loaded_for = 0;
    lyrics_loaded_for = 0;
}

static int play_view_init()
{
    if (!fb_cur)
        return -1;
    play_layout_want_cover = start_cover_loader;
    play_layout_want_lyrics = start_lyrics_loader;
    forget_tracks();
    play_draw_reset();
    play_view_open(true);
    if (play_layout_load_skin(cfg_skin_play) != 0)
        return -1;
    view_play_record.frame = fb_create(fb_cur->width, fb_cur->height);
    view_play_record.surface = fb_create(fb_cur->width, fb_cur->height);
    return view_play_record.frame && view_play_record.surface ? 0 : -1;
}

static void free_surface(fb_surface **surface)
{
    (void)fb_free(*surface);
    *surface = nullptr;
}

/* Workers may still run: they find the screen closed and an empty state under a lock that lives as
 * long as the process. */
static int play_view_exit()
{
    play_view_open(false);
    const sys_guard guard(play_view_lock);
    (void)skin_free_part(play_view.play_part);
    play_view.play_part = nullptr;
    play_view.current_layout = nullptr;
    play_view.current_layout_index = 0;
    play_view.skin_serial++;
    play_drop_scaled_locked();
    play_drop_cover_locked();
    play_drop_lyrics_locked();
    free_surface(&view_play_record.frame);
    free_surface(&view_play_record.surface);
    return 0;
}

int view_play_load_skin(const char *package_path)
{
    return play_layout_load_skin(package_path);
}

int view_play_begin(const char *path)
{
    return play_begin(path);
}
