#include "view/play/view_play.h"

#include "config/cfg.h"
#include "play/play.h"
#include "skin/skin.h"
#include "view/play/play_controls.h"
#include "view/play/play_cover.h"
#include "view/play/play_draw.h"
#include "view/play/play_layout.h"
#include "view/play/play_lyrics.h"
#include "view/screen/screen.h"
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
    play_layout_want_cover = start_cover_loader;
    play_layout_want_lyrics = start_lyrics_loader;
    forget_tracks();
    play_draw_reset();
    play_view_open(true);
    if (play_layout_load_skin(cfg_skin_play) != 0)
        return -1;
    return screen_open(&view_play_record);
}

/* Workers may still run: they find the screen closed and an empty state under a lock that lives as
 * long as the process. */
static int play_view_exit()
{
    play_view_open(false);
    play_draw_reset();
    const sys_guard guard(play_view_lock);
    (void)skin_free_part(play_view.play_part);
    play_view.play_part = nullptr;
    play_view.current_layout = nullptr;
    play_view.current_layout_index = 0;
    play_view.skin_serial++;
    play_drop_scaled_locked();
    play_drop_cover_locked();
    play_drop_lyrics_locked();
    screen_close(&view_play_record);
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
