#include "lists/list_cfg.h"
#include "lists/lists.h"
#include "support/hung.h"

#include "config/cfg.h"
#include "core/lang/lang.h"
#include "core/services/program.h"
#include "lists/record/list.h"
#include "platform/base/str.h"
#include "skin/skin.h"
#include "support/one_thread.h"
#include "support/scratch.h"
#include "support/test_device.h"
#include "view/list/view_list.h"
#include "view/list/view_list_state.h"
#include "view/play/play_state.h"
#include "view/play/view_play.h"
#include "view/view.h"

#include <memory>

static const hung hang_list_cfg(list_cfg, &list_cfg_record);
static const hung hang_view_list(view_list, &view_list_record);
static const hung hang_view_play(view_play, &view_play_record);

using texts = std::vector<std::string>;

enum {
    row_order = 0,
    row_display_off = 1,
    row_play_skin = 2,
    row_list_skin = 3,
    row_language = 4,
    row_auto_off = 5,
};

/* ---- the main menu, as far as the settings ask for it ---- */

static int menu_updates = 0;

static int menu_update(view *, list *)
{
    menu_updates++;
    return 0;
}

static list menu = {
    .init = nullptr,
    .exit = nullptr,
    .input = nullptr,
    .select = nullptr,
    .update = menu_update,
    .cursor = 8,
};
static const hung hang_list_main(list_main, &menu);

/* The list that was shown since the last look, or null. */
static list *take_shown()
{
    list *shown = list_page_selected;
    list_page_selected = nullptr;
    return shown;
}

/* ---- the skins that the screens have; each has an element at a place of its own ---- */

static int32_t list_skin_x()
{
    return view_list_state.page ? view_list_state.page->elements[0].x : -1;
}

static int32_t play_skin_x()
{
    const sys_guard guard(play_view_lock);
    return play_view.play_part ? play_view.play_part->pages[0].elements[0].x : -1;
}

static void forget_skins()
{
    (void)skin_free_part(view_list_state.part);
    view_list_state = {};
    EXPECT_EQ(view_play_record.exit(), 0);
}

static view screen = {.init = nullptr, .exit = nullptr, .input = nullptr, .draw = nullptr};

static int choose(int32_t index, int32_t mode = 0)
{
    return list_cfg->select(&screen, list_cfg, index, mode);
}

static texts rows()
{
    texts all;
    for (uint32_t i = 0; list_cfg->items && i < list_cfg->count; i++)
        all.push_back(list_cfg->items[i]);
    return all;
}

static const texts labels = {"播放模式", "自动关屏", "播放皮肤", "菜单皮肤", "语言", "自动关机"};

class settings : public testing::Test
{
  protected:
    void SetUp() override
    {
        folder = std::make_unique<scratch>();
        test_device_open();
        ASSERT_EQ(skin_init(), 0);
        cfg_load_default();
        cfg_modified = 0;
        str_copy(lang_selected, "ko");
        main_auto_off_mode = main_auto_off_started = 0;
        menu_updates = 0;
        list_page_selected = nullptr;
        screen.redraw = 0;
        ASSERT_EQ(list_cfg->init(), 0);
        list_cfg_reset();
        list_cfg->cursor = 0;
        ASSERT_EQ(list_cfg->update(nullptr, list_cfg), 0);
    }
    void TearDown() override
    {
        EXPECT_EQ(list_cfg->exit(), 0);
        EXPECT_EQ(list_cfg->items, nullptr);
        forget_skins();
        skin_exit();
        test_device_close();
        folder.reset();
    }
    static void open(int32_t row)
    {
        list_cfg->cursor = row;
        EXPECT_EQ(choose(row), 0);
        screen.redraw = 0;
    }
    static int pass(uint32_t pressed = 0)
    {
        input_key = {};
        input_key.pressed = pressed;
        screen.key_checked = pressed != 0;
        return list_cfg->input(&screen, list_cfg);
    }
    static void write_skin(const std::string &name, const std::string &part, int32_t x = 0)
    {
        (void)mkdir("skins", 0755);
        (void)mkdir(("skins/" + name).c_str(), 0755);
        scratch_write("skins/" + name + "/" + part + (part == "play" ? "-0.xml" : ".xml"),
                      "<skin version=\"0.1\"><text x=\"" + std::to_string(x) + "\"/></skin>");
    }
    std::unique_ptr<scratch> folder;
};

/* ---- the top level ---- */

TEST_F(settings, top_level_lists_six_settings)
{
    EXPECT_EQ(rows(), labels);
    EXPECT_STREQ(list_cfg->title, "设置");
    EXPECT_STREQ(list_cfg->subtitle, "");
    EXPECT_EQ(list_cfg_cur, nullptr);
}

TEST_F(settings, rows_come_with_the_first_update_only)
{
    EXPECT_EQ(list_cfg->exit(), 0);
    EXPECT_EQ(list_cfg->init(), 0);
    EXPECT_EQ(list_cfg->items, nullptr);
}

TEST_F(settings, moving_the_cursor_redraws_once)
{
    pass();
    screen.redraw = 0;
    list_cfg->cursor = 3;
    EXPECT_EQ(pass(), 0);
    EXPECT_EQ(screen.redraw, 1);
    screen.redraw = 0;
    EXPECT_EQ(pass(), 0);
    EXPECT_EQ(screen.redraw, 0);
    EXPECT_EQ(rows(), labels);
}

TEST_F(settings, cursor_without_a_row_has_no_description)
{
    for (const int32_t cursor : {-1, 6, INT32_MAX}) {
        list_cfg->cursor = cursor;
        EXPECT_EQ(pass(), 0);
        EXPECT_STREQ(list_cfg->subtitle, "");
    }
}

TEST_F(settings, back_request_at_the_top_shows_the_main_menu)
{
    EXPECT_EQ(choose(-1, 1), -1);
    EXPECT_EQ(take_shown(), &menu);
    EXPECT_EQ(menu.cursor, 8);
}

TEST_F(settings, back_request_inside_returns_to_the_old_row)
{
    open(row_language);
    list_cfg->cursor = 2;
    EXPECT_EQ(choose(-1, 1), 0);
    EXPECT_EQ(rows(), labels);
    EXPECT_EQ(list_cfg->cursor, row_language);
    EXPECT_EQ(screen.redraw, 1);
    EXPECT_EQ(take_shown(), nullptr);
    EXPECT_EQ(cfg_modified, 0);
}

TEST_F(settings, back_key_shows_the_main_menu_from_either_level)
{
    EXPECT_EQ(pass(key_back), -1);
    EXPECT_EQ(take_shown(), &menu);
    open(row_order);
    EXPECT_EQ(pass(key_back), -1);
    EXPECT_EQ(take_shown(), &menu);
    EXPECT_EQ(menu.cursor, 8);
}

TEST_F(settings, other_keys_and_keys_of_another_pass_leave_nothing)
{
    for (const bool is_open : {false, true}) {
        if (is_open)
            open(row_order);
        EXPECT_EQ(pass(key_select | key_up), 0);
        input_key.pressed = key_back;
        screen.key_checked = 0;
        EXPECT_EQ(list_cfg->input(&screen, list_cfg), 0);
    }
    EXPECT_EQ(take_shown(), nullptr);
}

TEST_F(settings, modes_above_one_do_nothing)
{
    for (const int32_t row : {-1, 0, 5}) {
        EXPECT_EQ(choose(row, 2), 0);
        EXPECT_EQ(choose(row, 3), 0);
    }
    EXPECT_EQ(rows(), labels);
    open(row_order);
    EXPECT_EQ(choose(1, 2), 0);
    EXPECT_EQ(rows().size(), 3u);
    EXPECT_EQ(take_shown(), nullptr);
}

TEST_F(settings, rows_that_do_not_exist_do_nothing)
{
    for (const int32_t row : {-2, 6, INT32_MAX, INT32_MIN})
        EXPECT_EQ(choose(row), 0);
    EXPECT_EQ(rows(), labels);
    open(row_order);
    for (const int32_t row : {-2, 3, INT32_MAX, INT32_MIN})
        EXPECT_EQ(choose(row), 0);
    EXPECT_EQ(rows().size(), 3u);
    EXPECT_EQ(cfg_modified, 0);
}

TEST_F(settings, reset_returns_to_the_top_without_a_change)
{
    open(row_order);
    list_cfg_reset();
    list_cfg->update(nullptr, list_cfg);
    EXPECT_EQ(rows(), labels);
    EXPECT_EQ(cfg_modified, 0);
}

TEST_F(settings, second_mode_chooses_too)
{
    list_cfg->cursor = row_order;
    EXPECT_EQ(choose(row_order, 1), 0);
    EXPECT_EQ(choose(1, 1), 0);
    EXPECT_EQ(cfg_playback_order, 1);
}

/* ---- playback order ---- */

TEST_F(settings, playback_order_offers_three_with_the_cursor_on_its_own)
{
    for (int32_t order = 0; order < 3; order++) {
        cfg_playback_order = order;
        open(row_order);
        EXPECT_EQ(rows(), (texts{"顺序", "重复", "随机"}));
        EXPECT_EQ(list_cfg->cursor, order);
        EXPECT_STREQ(list_cfg->title, "设置");
        EXPECT_STREQ(list_cfg->subtitle, "播放模式");
        choose(-1, 1);
    }
}

TEST_F(settings, chosen_order_is_kept_and_the_top_level_shown)
{
    cfg_playback_order = 2;
    open(row_order);
    EXPECT_EQ(choose(1), 0);
    EXPECT_EQ(cfg_playback_order, 1);
    EXPECT_EQ(cfg_modified, 1);
    EXPECT_EQ(rows(), labels);
    EXPECT_EQ(list_cfg->cursor, row_order);
    EXPECT_EQ(screen.redraw, 1);
    EXPECT_EQ(take_shown(), nullptr);
}

TEST_F(settings, unknown_order_puts_the_cursor_on_the_first)
{
    cfg_playback_order = 7;
    open(row_order);
    EXPECT_EQ(list_cfg->cursor, 0);
}

/* ---- display off ---- */

TEST_F(settings, display_off_offers_five_times)
{
    cfg_display_off_timeout = 60;
    open(row_display_off);
    EXPECT_EQ(rows(), (texts{"关闭", "10 秒", "30 秒", "1 分钟", "5 分钟"}));
    EXPECT_EQ(list_cfg->cursor, 3);
    EXPECT_EQ(choose(4), 0);
    EXPECT_EQ(cfg_display_off_timeout, 300);
}

TEST_F(settings, display_off_of_its_own_stands_in_front)
{
    cfg_display_off_timeout = 45;
    open(row_display_off);
    EXPECT_EQ(rows(), (texts{"45 秒", "关闭", "10 秒", "30 秒", "1 分钟", "5 分钟"}));
    EXPECT_EQ(list_cfg->cursor, 0);
    EXPECT_EQ(choose(0), 0);
    EXPECT_EQ(cfg_display_off_timeout, 45);
    open(row_display_off);
    EXPECT_EQ(choose(1), 0);
    EXPECT_EQ(cfg_display_off_timeout, 0);
}

TEST_F(settings, negative_display_off_reads_as_off)
{
    cfg_display_off_timeout = -3;
    open(row_display_off);
    EXPECT_EQ(rows()[0], "关闭");
    EXPECT_EQ(rows().size(), 6u);
}

/* ---- skins ---- */

TEST_F(settings, skins_offered_are_those_with_the_screens_part)
{
    write_skin("b", "play");
    write_skin("c", "list");
    write_skin("a.zip", "play");
    write_skin("a.zip", "list");
    str_copy(cfg_skin_play, "skins/b");
    open(row_play_skin);
    EXPECT_EQ(rows(), (texts{"a.zip", "b"}));
    EXPECT_EQ(list_cfg->cursor, 1);
    choose(-1, 1);
    str_copy(cfg_skin_list, "skins/elsewhere");
    open(row_list_skin);
    EXPECT_EQ(rows(), (texts{"a.zip", "c"}));
    EXPECT_EQ(list_cfg->cursor, 0);
}

TEST_F(settings, chosen_skins_are_loaded_at_once)
{
    write_skin("one", "play", 1);
    write_skin("two", "list", 2);
    open(row_play_skin);
    EXPECT_EQ(choose(0), 0);
    EXPECT_STREQ(cfg_skin_play, "skins/one");
    EXPECT_EQ(play_skin_x(), 1);
    EXPECT_EQ(list_skin_x(), -1) << "no list skin was chosen";
    open(row_list_skin);
    EXPECT_EQ(choose(0), 0);
    EXPECT_STREQ(cfg_skin_list, "skins/two");
    EXPECT_EQ(list_skin_x(), 2);
    EXPECT_EQ(cfg_modified, 1);
    EXPECT_EQ(rows(), labels);
    EXPECT_EQ(list_cfg->cursor, row_list_skin);
}

TEST_F(settings, skin_that_falls_back_keeps_what_it_fell_back_to)
{
    write_skin("broken", "list");
    write_skin("sound", "list", 3);
    open(row_list_skin);
    scratch_write("skins/broken/list.xml", "<skin");
    EXPECT_EQ(choose(0), 0);
    EXPECT_STREQ(cfg_skin_list, "skins/sound");
    EXPECT_EQ(list_skin_x(), 3);
}

TEST_F(settings, no_skins_folder_offers_nothing)
{
    open(row_play_skin);
    EXPECT_EQ(rows(), texts{});
    EXPECT_EQ(list_cfg->count, 0u);
    EXPECT_EQ(choose(0), 0);
    EXPECT_EQ(choose(-1, 1), 0);
    EXPECT_EQ(rows(), labels);
}

/* ---- language ---- */

TEST_F(settings, languages_are_offered_in_their_own_names)
{
    str_copy(cfg_lang, "ja");
    open(row_language);
    EXPECT_EQ(rows(), (texts{"한국어", "English", "日本語"}));
    EXPECT_EQ(list_cfg->cursor, 2);
    choose(-1, 1);
    str_copy(cfg_lang, "fr");
    open(row_language);
    EXPECT_EQ(list_cfg->cursor, 0);
}

TEST_F(settings, chosen_language_applies_at_once)
{
    open(row_language);
    EXPECT_EQ(choose(2), 0);
    EXPECT_STREQ(cfg_lang, "ja");
    EXPECT_STREQ(lang_selected, "ja");
    EXPECT_EQ(cfg_modified, 1);
    EXPECT_EQ(menu_updates, 1);
    cfg_display_off_timeout = 90;
    open(row_display_off);
    EXPECT_EQ(rows()[0], "1 分钟30 秒");
}

/* ---- auto power-off ---- */

TEST_F(settings, auto_off_offers_five_times_while_it_is_off)
{
    open(row_auto_off);
    EXPECT_EQ(rows(), (texts{"关闭", "10 分钟", "30 分钟", "1 小时", "3 小时"}));
    EXPECT_EQ(list_cfg->cursor, 0);
}

TEST_F(settings, chosen_period_starts_now)
{
    open(row_auto_off);
    EXPECT_EQ(choose(1), 0);
    EXPECT_EQ(main_auto_off_mode, 600);
    EXPECT_EQ(main_auto_off_started, clock_sec());
    EXPECT_EQ(cfg_modified, 1);
}

TEST_F(settings, running_auto_off_shows_the_time_left_first)
{
    main_auto_off_mode = 600;
    main_auto_off_started = clock_sec() - 100;
    open(row_auto_off);
    EXPECT_EQ(rows(), (texts{"8 分钟 20 秒", "关闭", "10 分钟", "30 分钟", "1 小时", "3 小时"}));
    EXPECT_EQ(list_cfg->cursor, 0);
}

TEST_F(settings, time_left_counts_down_once_a_second)
{
    main_auto_off_mode = 600;
    main_auto_off_started = clock_sec();
    open(row_auto_off);
    EXPECT_EQ(pass(), 0);
    EXPECT_EQ(screen.redraw, 0);
    machine.ms += 1000;
    list_cfg->cursor = 3;
    EXPECT_EQ(pass(), 0);
    EXPECT_EQ(screen.redraw, 1);
    EXPECT_EQ(rows()[0], "9 分钟 59 秒");
    EXPECT_EQ(list_cfg->cursor, 3);
    screen.redraw = 0;
    machine.ms += 999;
    EXPECT_EQ(pass(), 0);
    EXPECT_EQ(screen.redraw, 0);
    machine.ms += 1;
    EXPECT_EQ(pass(), 0);
    EXPECT_EQ(rows()[0], "9 分钟 58 秒");
}

TEST_F(settings, choosing_the_time_left_restarts_with_it)
{
    main_auto_off_mode = 600;
    main_auto_off_started = clock_sec();
    open(row_auto_off);
    machine.ms += 5000;
    pass();
    EXPECT_EQ(choose(0), 0);
    EXPECT_EQ(main_auto_off_mode, 595);
    EXPECT_EQ(main_auto_off_started, clock_sec());
}

TEST_F(settings, running_auto_off_can_be_switched_off)
{
    main_auto_off_mode = 600;
    main_auto_off_started = clock_sec();
    open(row_auto_off);
    EXPECT_EQ(choose(1), 0);
    EXPECT_EQ(main_auto_off_mode, 0);
}

TEST_F(settings, low_battery_that_starts_the_countdown_adds_its_row)
{
    open(row_auto_off);
    machine.ms += 1000;
    main_auto_off_mode = 300;
    main_auto_off_started = clock_sec();
    EXPECT_EQ(pass(), 0);
    EXPECT_EQ(rows(), (texts{"5 分钟", "关闭", "10 分钟", "30 分钟", "1 小时", "3 小时"}));
    EXPECT_EQ(screen.redraw, 1);
    EXPECT_EQ(choose(1), 0); /* still the row that says so */
    EXPECT_EQ(main_auto_off_mode, 0);
}

TEST_F(settings, countdown_leaves_the_other_settings_alone)
{
    main_auto_off_mode = 600;
    main_auto_off_started = clock_sec();
    open(row_display_off);
    const texts before = rows();
    machine.ms += 3000;
    EXPECT_EQ(pass(), 0);
    EXPECT_EQ(rows(), before);
    EXPECT_EQ(screen.redraw, 0);
}

TEST_F(settings, time_that_is_over_counts_below_zero)
{
    main_auto_off_mode = 2;
    main_auto_off_started = clock_sec();
    open(row_auto_off);
    machine.ms += 2000;
    pass();
    EXPECT_EQ(rows()[0], "0 秒");
    machine.ms += 1000;
    pass();
    EXPECT_EQ(rows()[0], "-1 秒");
}

/* ---- every value of every setting, in every language ---- */

TEST_F(settings, every_value_of_every_setting_can_be_chosen_in_every_language)
{
    write_skin("one", "play");
    write_skin("one", "list");
    for (const char *code : lang_list) {
        ASSERT_EQ(lang_select(code), 0);
        for (int32_t row = 0; row < 6; row++) {
            open(row);
            const auto values = static_cast<int32_t>(list_cfg->count);
            EXPECT_GT(values, 0);
            choose(-1, 1);
            for (int32_t value = 0; value < values; value++) {
                open(row);
                EXPECT_EQ(choose(value), 0);
                EXPECT_EQ(rows(), labels);
                EXPECT_EQ(list_cfg->cursor, row);
            }
        }
    }
}
