/* view_list: the list screen's record, its skin and the list that it shows. */
#include "view/list/view_list.h"

#include "config/cfg.h"
#include "lists/record/list.h"
#include "platform/draw/fb.h"
#include "skin/skin.h"
#include "view/list/view_list_state.h"
#include "view/view.h"

#include <cstring>

constexpr char part_name[] = "list";

constinit view_list_skin view_list_state = {};
constinit list *list_page_selected = nullptr;

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

/* The chosen package, the default one, any that has the part. */
static skin_part *read_skin(const char *package_path)
{
    skin_part *part = skin_read_part(package_path, part_name);
    if (part)
        return part;
    cfg_set_default_skin_part(cfg_skin_list, sizeof cfg_skin_list, part_name);
    part = skin_read_part(cfg_skin_list, part_name);
    if (part)
        return part;
    if (cfg_find_available_skin_part(cfg_skin_list, sizeof cfg_skin_list, part_name) != 0)
        return nullptr;
    return skin_read_part(cfg_skin_list, part_name);
}

static uint32_t count_rows(const skin_page *page)
{
    uint32_t rows = 0;
    for (uint32_t i = 0; i < page->element_count; i++)
        rows += strcmp(page->elements[i].name, "item") == 0;
    return rows;
}

int view_list_load_skin(const char *package_path)
{
    skin_part *part = read_skin(package_path);
    if (!part)
        return -1;
    view_list_forget_touch();
    (void)skin_free_part(view_list_state.part);
    view_list_state.part = part;
    view_list_state.page = &part->pages[0];
    view_list_state.rows = count_rows(view_list_state.page);
    view_list_record.redraw = 1;
    return 0;
}

/* ---- the record ---- */

static int list_screen_init()
{
    if (!fb_cur || view_list_load_skin(cfg_skin_list) != 0)
        return -1;
    view_list_record.frame = fb_create(fb_cur->width, fb_cur->height);
    view_list_record.surface = fb_create(fb_cur->width, fb_cur->height);
    if (!view_list_record.frame || !view_list_record.surface)
        return -1;
    view_list_forget_minute();
    for (list *each : all_lists().lists)
        (void)each->init(); /* a list that cannot fill itself is empty */
    return 0;
}

static void free_surface(fb_surface **surface)
{
    (void)fb_free(*surface);
    *surface = nullptr;
}

static int list_screen_exit()
{
    for (list *each : all_lists().lists) {
        (void)view_list_free(each);
        (void)each->exit();
    }
    view_list_forget_touch();
    free_surface(&view_list_record.frame);
    free_surface(&view_list_record.surface);
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
