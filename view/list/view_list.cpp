/* view_list: the list screen's record, its skin and the list that it shows. */
#include "view/list/view_list.h"

#include "config/cfg.h"
#include "lists/record/list.h"
#include "skin/skin.h"
#include "view/list/view_list_state.h"
#include "view/screen/screen.h"
#include "view/view.h"

static int list_screen_init();
static int list_screen_exit();

constinit view view_list_record = {
    .init = list_screen_init,
    .exit = list_screen_exit,
    .input = view_list_input,
    .draw = view_list_draw,
};

/* Every list, in the order in which they come up: a later one may ask an earlier one for rows. */
struct every_list {
    list *lists[7];
};

static every_list all_lists()
{
    return {{list_files, list_main, list_library, list_cur_playlist, list_playlists, list_cfg,
             list_run_once}};
}

/* ---- skin ---- */

int view_list_load_skin(const char *package_path)
{
    skin_part *part =
        screen_read_skin(package_path, "list", cfg_skin_list, sizeof cfg_skin_list, skin_read_part);
    if (!part)
        return -1;
    view_list_forget_touch();
    (void)skin_free_part(view_list_state.part);
    view_list_state.part = part;
    view_list_use_page(&part->pages[0]);
    view_list_record.redraw = 1;
    return 0;
}

/* ---- the record ---- */

static int list_screen_init()
{
    if (view_list_load_skin(cfg_skin_list) != 0 || screen_open(&view_list_record) != 0)
        return -1;
    for (list *each : all_lists().lists)
        (void)each->init(); /* a list that cannot fill itself is empty */
    return 0;
}

static int list_screen_exit()
{
    for (list *each : all_lists().lists) {
        (void)view_list_free(each);
        (void)each->exit();
    }
    view_list_forget_touch();
    view_list_draw_reset();
    screen_close(&view_list_record);
    (void)skin_free_part(view_list_state.part);
    view_list_state = {};
    return 0;
}

int view_list_select(list *next)
{
    list_page_selected = next;
    view_list_record.redraw = 1;
    return 0;
}
