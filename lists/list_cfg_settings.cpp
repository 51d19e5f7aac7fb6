#include "lists/list_cfg_settings.h"

#include "config/cfg.h"
#include "core/lang/lang.h"
#include "core/services/program.h"
#include "lists/list_cfg.h"
#include "platform/base/clock.h"
#include "platform/base/dynamic.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/file/file.h"
#include "skin/skin.h"
#include "view/list/view_list.h"
#include "view/play/view_play.h"

#include <atomic>
#include <cassert>
#include <cstdlib>
#include <cstring>

constexpr char skins_folder[] = "skins";

using listing_owner = owner<file_listing, file_free_dir>;

struct cfg_choice {
    int32_t number;
    char *text; /* owned; null for numbers */
};

/* Main thread. */
static constinit dynamic choices = {};       /* of cfg_choice, row by row */
static constinit bool has_time_left = false; /* row 0 is the auto-off time that is left */

/* ---- choices ---- */

static cfg_choice *choice_at(uint32_t index)
{
    assert(index < choices.count);
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

/* The sound thread reads the playback order. */
static void store_number(int32_t *to, int32_t number)
{
    std::atomic_ref<int32_t>(*to).store(number, std::memory_order_relaxed);
}

/* ---- the table ---- */

constinit const list_cfg_setting list_cfg_settings[] = {
    {
        .label = "播放模式",
        .number = &cfg_playback_order,
        .collect = collect_orders,
        .show = show_order,
    },
    {
        .label = "自动关屏",
        .number = &cfg_display_off_timeout,
        .collect = collect_display_off,
        .show = show_span,
    },
    {
        .label = "播放皮肤",
        .text = cfg_skin_play,
        .text_size = sizeof cfg_skin_play,
        .collect = collect_play_skins,
        .show = show_file_name,
        .apply = apply_play_skin,
    },
    {
        .label = "菜单皮肤",
        .text = cfg_skin_list,
        .text_size = sizeof cfg_skin_list,
        .collect = collect_list_skins,
        .show = show_file_name,
        .apply = apply_list_skin,
    },
    {
        .label = "语言",
        .text = cfg_lang,
        .text_size = sizeof cfg_lang,
        .collect = collect_languages,
        .show = show_language,
        .apply = apply_language,
    },
    {
        .label = "自动关机",
        .number = &main_auto_off_mode,
        .collect = collect_auto_off,
        .show = show_span,
        .apply = apply_auto_off,
    },
};
constinit const list_cfg_setting *const list_cfg_auto_off =
    &list_cfg_settings[list_cfg_setting_count - 1];

/* ---- for the list ---- */

int32_t list_cfg_collect(const list_cfg_setting *setting)
{
    free_choices();
    if (!setting)
        return 0;
    (void)dynamic_init(&choices, sizeof(cfg_choice)); /* allocates nothing yet */
    return setting->collect();
}

uint32_t list_cfg_choice_count()
{
    return choices.count;
}

char *list_cfg_choice_text(const list_cfg_setting *setting, uint32_t row)
{
    return setting->show(choice_at(row));
}

/* The value is stored before anything is called: a skin that does not load changes its setting
 * once more. */
void list_cfg_choose(const list_cfg_setting *setting, uint32_t row)
{
    if (setting->number)
        store_number(setting->number, choice_at(row)->number);
    else
        (void)str_copy_to(setting->text, setting->text_size, choice_at(row)->text);
    cfg_modified = 1;
    if (setting->apply)
        setting->apply();
}

char *list_cfg_count_down()
{
    if (!has_time_left || choices.count == 0)
        return nullptr;
    choice_at(0)->number = time_left();
    return span_text(choice_at(0)->number);
}
