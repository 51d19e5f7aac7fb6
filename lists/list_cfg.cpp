/* list_cfg: the settings, each with the values that it may take. */
#include "lists/list_cfg.h"

#include "config/cfg.h"
#include "core/lang.h"
#include "core/program.h"
#include "lists/list.h"
#include "platform/clock.h"
#include "platform/dynamic.h"
#include "platform/file.h"
#include "platform/owner.h"
#include "platform/str.h"
#include "skin/skin.h"
#include "view/view.h"
#include "view/view_list.h"
#include "view/view_play.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

constexpr char heading[] = "设置";
constexpr char skins_folder[] = "skins";
enum { mode_menu = 2 }; /* from here on a choice is ignored */

using listing_owner = owner<file_listing, file_free_dir>;

/* A value that is offered. */
struct cfg_choice {
    int32_t number;
    char *text; /* owned; null for numbers */
};

struct list_cfg_setting {
    const char *label;
    int32_t *number; /* what it edits: a number, or else a text */
    char *text;
    size_t text_size;
    const char *description; /* subtitle while the cursor is on the setting */
    /* Fills the choices; returns the row of the cursor. */
    int32_t (*collect)();
    /* The row of a choice, heap text. */
    char *(*show)(const cfg_choice *choice);
    /* Makes a new value felt at once, where the loop and the playlist do not look themselves. */
    void (*apply)() = nullptr;
};

constinit const list_cfg_setting *list_cfg_cur = nullptr;

static dynamic choices = {};                 /* of cfg_choice, row by row */
static constinit bool has_time_left = false; /* row 0 is the auto-off time that is left */
static constinit int32_t top_cursor = 0;     /* row of the setting that is open */
static constinit int32_t top_cursor_seen = 0;
static constinit int32_t countdown_second = -1; /* clock_sec() of the row's last refresh */

/* ---- choices ---- */

static cfg_choice *choice_at(uint32_t index)
{
    return static_cast<cfg_choice *>(choices.data) + index;
}

static void free_choices()
{
    for (uint32_t i = 0; i < choices.count; i++)
        free(choice_at(i)->text);
    (void)dynamic_free(&choices);
    has_time_left = false;
}

static void offer_number(int32_t number)
{
    const cfg_choice choice = {number, nullptr};
    (void)dynamic_add(&choices, &choice); /* out of memory: one row less */
}

static void offer_text(const char *text)
{
    const cfg_choice choice = {0, strdup(text)};
    if (choice.text && dynamic_add(&choices, &choice) != 0)
        free(choice.text);
}

/* -1 when it is not offered. */
static int32_t find_number(int32_t number)
{
    for (uint32_t i = 0; i < choices.count; i++) {
        if (choice_at(i)->number == number)
            return static_cast<int32_t>(i);
    }
    return -1;
}

static int32_t find_text(const char *text)
{
    for (uint32_t i = 0; i < choices.count; i++) {
        if (strcmp(choice_at(i)->text, text) == 0)
            return static_cast<int32_t>(i);
    }
    return -1;
}

static int32_t or_first(int32_t row)
{
    return row < 0 ? 0 : row;
}

/* ---- what each setting offers ---- */

static constexpr const char *order_names[] = {"顺序", "重复", "随机"};
static constexpr int32_t display_off_seconds[] = {0, 10, 30, 60, 300};
static constexpr int32_t auto_off_seconds[] = {0, 600, 1800, 3600, 10800};

static int32_t collect_orders()
{
    for (int32_t order = 0; order < 3; order++)
        offer_number(order);
    return or_first(find_number(cfg_playback_order));
}

static char *show_order(const cfg_choice *choice)
{
    return strdup(order_names[choice->number]);
}

static bool is_usual_display_off(int32_t seconds)
{
    for (const int32_t each : display_off_seconds) {
        if (each == seconds)
            return true;
    }
    return false;
}

/* A value from the file that is none of ours stays on offer, in front. */
static int32_t collect_display_off()
{
    if (!is_usual_display_off(cfg_display_off_timeout))
        offer_number(cfg_display_off_timeout);
    for (const int32_t each : display_off_seconds)
        offer_number(each);
    return or_first(find_number(cfg_display_off_timeout));
}

static int32_t time_left()
{
    return static_cast<int32_t>(static_cast<uint32_t>(main_auto_off_mode) +
                                static_cast<uint32_t>(main_auto_off_started) -
                                static_cast<uint32_t>(clock_sec()));
}

static int32_t collect_auto_off()
{
    has_time_left = main_auto_off_mode != 0;
    if (has_time_left)
        offer_number(time_left());
    for (const int32_t each : auto_off_seconds)
        offer_number(each);
    return 0;
}

static char *span_text(int32_t seconds)
{
    char text[100];
    (void)list_cfg_span2str(seconds, text, sizeof text);
    return strdup(text);
}

static char *show_span(const cfg_choice *choice)
{
    return choice->number < 1 ? strdup("关闭") : span_text(choice->number);
}

/* A path that the setting cannot hold would name another package. */
static void offer_skins(const char *part_name, size_t text_size)
{
    file_listing listing = {};
    if (file_list_dir(&listing, skins_folder, skin_file_filter) != 0)
        return;
    const listing_owner holder(&listing);
    for (uint32_t i = 0; i < listing.count; i++) {
        const char *path = listing.paths[i];
        if (strcmp(listing.names[i], "..") == 0 || strlen(path) >= text_size)
            continue;
        if (skin_is_part_available(path, part_name))
            offer_text(path);
    }
}

static int32_t collect_play_skins()
{
    offer_skins("play", sizeof cfg_skin_play);
    return or_first(find_text(cfg_skin_play));
}

static int32_t collect_list_skins()
{
    offer_skins("list", sizeof cfg_skin_list);
    return or_first(find_text(cfg_skin_list));
}

static char *show_file_name(const cfg_choice *choice)
{
    char path[512];
    (void)str_copy(path, choice->text); /* longer ones are not offered */
    return strdup(file_basename(path));
}

static int32_t collect_languages()
{
    for (const char *code : lang_list)
        offer_text(code);
    return or_first(find_text(cfg_lang));
}

static char *show_language(const cfg_choice *choice)
{
    return strdup(lang_get_name(choice->text));
}

/* ---- what each setting does ---- */

static void apply_play_skin()
{
    (void)view_play_load_skin(cfg_skin_play); /* the old skin stays */
}

static void apply_list_skin()
{
    (void)view_list_load_skin(cfg_skin_list); /* the old skin stays */
}

static void apply_language()
{
    (void)lang_select(cfg_lang); /* one of ours */
}

static void apply_auto_off()
{
    main_auto_off_started = clock_sec();
}

static constinit const list_cfg_setting settings[] = {
    {
        .label = "播放模式",
        .number = &cfg_playback_order,
        .text = nullptr,
        .text_size = 0,
        .description = "",
        .collect = collect_orders,
        .show = show_order,
    },
    {
        .label = "自动关屏",
        .number = &cfg_display_off_timeout,
        .text = nullptr,
        .text_size = 0,
        .description = "",
        .collect = collect_display_off,
        .show = show_span,
    },
    {
        .label = "播放皮肤",
        .number = nullptr,
        .text = cfg_skin_play,
        .text_size = sizeof cfg_skin_play,
        .description = "",
        .collect = collect_play_skins,
        .show = show_file_name,
        .apply = apply_play_skin,
    },
    {
        .label = "菜单皮肤",
        .number = nullptr,
        .text = cfg_skin_list,
        .text_size = sizeof cfg_skin_list,
        .description = "",
        .collect = collect_list_skins,
        .show = show_file_name,
        .apply = apply_list_skin,
    },
    {
        .label = "语言",
        .number = nullptr,
        .text = cfg_lang,
        .text_size = sizeof cfg_lang,
        .description = "",
        .collect = collect_languages,
        .show = show_language,
        .apply = apply_language,
    },
    {
        .label = "自动关机",
        .number = &main_auto_off_mode,
        .text = nullptr,
        .text_size = 0,
        .description = "",
        .collect = collect_auto_off,
        .show = show_span,
        .apply = apply_auto_off,
    },
};
constexpr uint32_t setting_count = sizeof settings / sizeof settings[0];
constexpr const list_cfg_setting *auto_off = &settings[setting_count - 1];

/* ---- the list ---- */

static void set_cursor(int32_t cursor)
{
    sys_guard guard(list_lock);
    list_cfg->cursor = cursor;
}

static void set_contents(char **items, uint32_t count, const char *subtitle)
{
    sys_guard guard(list_lock);
    list_set_rows(list_cfg, items, items ? count : 0);
    (void)str_copy(list_cfg->title, heading);
    (void)str_copy(list_cfg->subtitle, subtitle);
}

static const char *description_of(int32_t row)
{
    const bool exists = row >= 0 && static_cast<uint32_t>(row) < setting_count;
    return exists ? settings[row].description : "";
}

static void update_settings()
{
    char **items = list_items_new(setting_count);
    for (uint32_t i = 0; items && i < setting_count; i++)
        items[i] = strdup(settings[i].label);
    set_contents(items, setting_count, description_of(list_cfg->cursor));
}

static void update_values()
{
    (void)dynamic_init(&choices, sizeof(cfg_choice));
    const int32_t cursor = list_cfg_cur->collect();
    char **items = list_items_new(choices.count);
    for (uint32_t i = 0; items && i < choices.count; i++)
        items[i] = list_cfg_cur->show(choice_at(i));
    set_contents(items, choices.count, list_cfg_cur->label);
    set_cursor(cursor);
    countdown_second = clock_sec();
}

static int update(view *, list *)
{
    free_choices();
    if (list_cfg_cur)
        update_values();
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
    free_choices();
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
    if (list_cfg->cursor == top_cursor_seen)
        return;
    top_cursor_seen = list_cfg->cursor;
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
    if (!has_time_left || choices.count == 0) {
        (void)update(nullptr, nullptr);
    } else {
        choice_at(0)->number = time_left();
        replace_first_row(span_text(choice_at(0)->number));
    }
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
    else if (list_cfg_cur == auto_off)
        count_down(screen);
    return 0;
}

/* ---- select ---- */

static void open_setting(int32_t row)
{
    top_cursor = list_cfg->cursor;
    list_cfg_cur = &settings[row];
}

static void close_setting()
{
    list_cfg_cur = nullptr;
    set_cursor(top_cursor);
}

/* The sound thread reads the playback order. */
static void store_number(int32_t *to, int32_t number)
{
    std::atomic_ref<int32_t>(*to).store(number, std::memory_order_relaxed);
}

/* Applying may change the setting itself (a skin that does not load) and frees the choices with
 * the next update, so the choice is stored before anything is called. */
static void choose_value(uint32_t row)
{
    const list_cfg_setting *setting = list_cfg_cur;
    if (setting->number)
        store_number(setting->number, choice_at(row)->number);
    else
        (void)str_copy_to(setting->text, setting->text_size, choice_at(row)->text);
    cfg_modified = 1;
    if (setting->apply)
        setting->apply();
}

static int select(view *screen, list *self, int32_t index, int32_t mode)
{
    if (mode >= mode_menu)
        return 0;
    if (index == -1 && !list_cfg_cur) {
        (void)view_list_select(list_main);
        return -1;
    }
    if (index != -1 && (index < 0 || static_cast<uint32_t>(index) >= self->count))
        return 0;
    if (index == -1) {
        close_setting();
    } else if (!list_cfg_cur) {
        open_setting(index);
    } else {
        choose_value(static_cast<uint32_t>(index));
        close_setting();
    }
    (void)update(nullptr, nullptr);
    screen->redraw = 1;
    return 0;
}

static list record = {
    .init = init,
    .exit = exit_list,
    .input = input,
    .select = select,
    .update = update,
    .cursor = 0,
    .items = nullptr,
    .count = 0,
    .title = "",
    .subtitle = "",
    .reserved = 0,
};
constinit list *list_cfg = &record;
