/* list_cfg: the settings as a list, and the values of the one that is open. */
#include "lists/list_cfg.h"

#include "core/services/program.h"
#include "lists/list_cfg_settings.h"
#include "lists/lists.h"
#include "lists/record/list.h"
#include "platform/base/clock.h"
#include "platform/base/str.h"
#include "view/list/view_list.h"
#include "view/view.h"

#include <cstdlib>
#include <cstring>

constexpr char heading[] = "设置";
/* Main thread, like everything here but the rows. */
constinit const list_cfg_setting *list_cfg_cur = nullptr;
static constinit int32_t top_cursor = 0; /* row of the setting that is open */
static constinit int32_t top_cursor_seen = 0;
static constinit int32_t countdown_second = -1; /* clock_sec() of the row's last refresh */

static void set_contents(char **items, uint32_t count, const char *subtitle)
{
    sys_guard guard(list_lock);
    list_set_rows(list_cfg, items, items ? count : 0);
    (void)str_copy(list_cfg->title, heading);
    (void)str_copy(list_cfg->subtitle, subtitle);
}

static const char *description_of(int32_t row)
{
    const bool exists = row >= 0 && static_cast<uint32_t>(row) < list_cfg_setting_count;
    return exists ? list_cfg_settings[row].description : "";
}

static void update_settings()
{
    char **items = list_items_new(list_cfg_setting_count);
    for (uint32_t i = 0; items && i < list_cfg_setting_count; i++)
        items[i] = strdup(list_cfg_settings[i].label);
    set_contents(items, list_cfg_setting_count, description_of(list_cursor(list_cfg)));
}

static void update_values(int32_t cursor)
{
    const uint32_t count = list_cfg_choice_count();
    char **items = list_items_new(count);
    for (uint32_t i = 0; items && i < count; i++)
        items[i] = list_cfg_choice_text(list_cfg_cur, i);
    set_contents(items, count, list_cfg_cur->label);
    list_set_cursor(list_cfg, cursor);
    countdown_second = clock_sec();
}

static int update(view *, list *)
{
    const int32_t cursor = list_cfg_collect(list_cfg_cur);
    if (list_cfg_cur)
        update_values(cursor);
    else
        update_settings();
    return 0;
}

/* The rows come with the first visit: the main menu builds them. */
static int init()
{
    return 0;
}

static int exit_list()
{
    list_cfg_cur = nullptr;
    (void)list_cfg_collect(nullptr);
    return view_list_free(list_cfg);
}

void list_cfg_reset()
{
    list_cfg_cur = nullptr;
}

/* ---- input ---- */

/* The description follows the cursor. */
static void follow_cursor(view *screen)
{
    const int32_t cursor = list_cursor(list_cfg);
    if (cursor == top_cursor_seen)
        return;
    top_cursor_seen = cursor;
    (void)update(nullptr, nullptr);
    screen->redraw = 1;
}

static void replace_first_row(char *text)
{
    char *old = text;
    {
        sys_guard guard(list_lock);
        if (list_cfg->items && list_cfg->count > 0) {
            old = list_cfg->items[0];
            list_cfg->items[0] = text;
        }
    }
    free(old);
}

/* Row 0 shows the time left, second by second. A low battery may start the countdown while the
 * list without that row is open. */
static void count_down(view *screen)
{
    const int32_t now = clock_sec();
    if (main_auto_off_mode == 0 || now == countdown_second)
        return;
    countdown_second = now;
    char *text = list_cfg_count_down();
    if (text)
        replace_first_row(text);
    else
        (void)update(nullptr, nullptr);
    screen->redraw = 1;
}

static int input(view *screen, list *)
{
    if (screen->key_checked && (input_key.pressed & key_back)) {
        (void)view_list_select(list_main);
        return -1;
    }
    if (!list_cfg_cur)
        follow_cursor(screen);
    else if (list_cfg_cur == list_cfg_auto_off)
        count_down(screen);
    return 0;
}

/* ---- select ---- */

static void open_setting(int32_t row)
{
    top_cursor = list_cursor(list_cfg);
    list_cfg_cur = &list_cfg_settings[row];
}

static void close_setting()
{
    list_cfg_cur = nullptr;
    list_set_cursor(list_cfg, top_cursor);
}

/* The menu key and those behind it do nothing here. */
static int select(view *screen, list *self, int32_t index, int32_t mode)
{
    if (mode >= list_mode_menu)
        return 0;
    if (index == -1 && !list_cfg_cur) {
        (void)view_list_select(list_main);
        return -1;
    }
    if (index != -1 && (index < 0 || static_cast<uint32_t>(index) >= list_count(self)))
        return 0;
    if (index == -1) {
        close_setting();
    } else if (!list_cfg_cur) {
        open_setting(index);
    } else {
        list_cfg_choose(list_cfg_cur, static_cast<uint32_t>(index));
        close_setting();
    }
    (void)update(nullptr, nullptr);
    screen->redraw = 1;
    return 0;
}

constinit list list_cfg_record = {
    .init = init,
    .exit = exit_list,
    .input = input,
    .select = select,
    .update = update,
};
