#include "config/cfg.h"
#include "core/lang/lang.h"
#include "lists/list_run_once.h"
#include "lists/lists.h"
#include "lists/record/list.h"
#include "platform/base/str.h"
#include "platform/base/thread.h"
#include "support/hung.h"
#include "support/messages.h"
#include "support/one_thread.h"
#include "view/list/view_list.h"
#include "view/view.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

static const hung hang_list_run_once(list_run_once, &list_run_once_record);

using texts = std::vector<std::string>;

static int menu_update(view *, list *)
{
    return 0;
}

static list menu = {
    .init = nullptr,
    .exit = nullptr,
    .input = nullptr,
    .select = nullptr,
    .update = menu_update,
};
static const hung hang_list_main(list_main, &menu);

/* The list that was shown since the last look, or null. */
static list *take_shown()
{
    list *shown = list_page_selected;
    list_page_selected = nullptr;
    return shown;
}

/* What the scan of a library that is not open says. */
static const texts scan_messages = {"0x001F |更新媒体库中   |", "0xF800 |无法扫描某些文件|"};

static view screen = {.init = nullptr, .exit = nullptr, .input = nullptr, .draw = nullptr};

static int choose(int32_t index, int32_t mode = 0)
{
    return list_run_once->select(&screen, list_run_once, index, mode);
}

static int pass(bool key)
{
    screen.key_checked = key;
    return list_run_once->input(&screen, list_run_once);
}

static texts rows()
{
    texts all;
    for (uint32_t i = 0; list_run_once->items && i < list_run_once->count; i++)
        all.push_back(list_run_once->items[i]);
    return all;
}

class first_run : public testing::Test
{
  protected:
    void SetUp() override
    {
        list_page_selected = nullptr;
        str_copy(lang_selected, "");
        str_copy(cfg_lang, "ko");
        cfg_modified = 0;
        screen.redraw = 0;
        list_run_once->cursor = 0;
        ASSERT_EQ(list_run_once->init(), 0);
    }
    /* The dialogue remembers where it stands: each test leaves it at its first step. */
    void TearDown() override
    {
        choose(-1);
        EXPECT_EQ(rows().size(), 3u);
        EXPECT_EQ(list_run_once->exit(), 0);
        view_list_free(list_run_once);
        messages_forget();
    }
};

TEST_F(first_run, greets_with_the_languages_in_their_own_names)
{
    EXPECT_EQ(rows(), (texts{"한국어", "English", "日本語"}));
    EXPECT_STREQ(list_run_once->title, "Welcome!");
    EXPECT_STREQ(list_run_once->subtitle, "");
}

TEST_F(first_run, may_begin_with_the_library)
{
    list_run_once_ask_library();
    EXPECT_EQ(rows(), (texts{"Yes", "No"}));
    EXPECT_STREQ(list_run_once->subtitle, "Do you want to update the media library now?");
    EXPECT_EQ(pass(true), 0);
    EXPECT_STREQ(lang_selected, "") << "no language is tried";
    EXPECT_EQ(choose(0), 0);
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(messages_shown(), scan_messages);
    EXPECT_EQ(take_shown(), &menu);
}

TEST_F(first_run, language_under_the_cursor_is_tried_at_once)
{
    list_run_once->cursor = 2;
    EXPECT_EQ(pass(true), 0);
    EXPECT_STREQ(lang_selected, "ja");
    EXPECT_STREQ(cfg_lang, "ko");
    EXPECT_EQ(cfg_modified, 0);
    EXPECT_EQ(screen.redraw, 1);
    screen.redraw = 0;
    EXPECT_EQ(pass(true), 0); /* the cursor has not moved since */
    EXPECT_EQ(screen.redraw, 0);
}

TEST_F(first_run, every_language_is_tried_as_the_cursor_comes_to_it)
{
    const char *const codes[] = {"ko", "en", "ja"};
    for (const int32_t row : {1, 0, 2, 0}) {
        list_run_once->cursor = row;
        screen.redraw = 0;
        EXPECT_EQ(pass(true), 0);
        EXPECT_STREQ(lang_selected, codes[row]);
        EXPECT_EQ(screen.redraw, 1);
    }
}

TEST_F(first_run, nothing_is_tried_without_a_key)
{
    list_run_once->cursor = 1;
    EXPECT_EQ(pass(false), 0);
    EXPECT_STREQ(lang_selected, "");
}

TEST_F(first_run, cursor_outside_the_languages_tries_none)
{
    for (const int32_t cursor : {-1, 3, INT32_MAX}) {
        list_run_once->cursor = cursor;
        EXPECT_EQ(pass(true), 0);
    }
    EXPECT_STREQ(lang_selected, "");
}

TEST_F(first_run, chosen_language_is_kept_and_the_library_asked_about)
{
    list_run_once->cursor = 2;
    EXPECT_EQ(choose(2), 0);
    EXPECT_STREQ(cfg_lang, "ja");
    EXPECT_STREQ(lang_selected, "ja");
    EXPECT_EQ(cfg_modified, 1);
    EXPECT_EQ(rows(), (texts{"Yes", "No"}));
    EXPECT_STREQ(list_run_once->title, "Welcome!");
    EXPECT_STREQ(list_run_once->subtitle, "Do you want to update the media library now?");
    EXPECT_EQ(list_run_once->cursor, 0);
    EXPECT_EQ(screen.redraw, 1);
    EXPECT_EQ(take_shown(), nullptr);
}

TEST_F(first_run, cursor_tries_no_language_in_the_second_step)
{
    choose(1);
    list_run_once->cursor = 1;
    EXPECT_EQ(pass(true), 0);
    EXPECT_STREQ(lang_selected, "en");
}

TEST_F(first_run, back_returns_to_the_languages)
{
    choose(1);
    list_run_once->cursor = 1;
    screen.redraw = 0;
    EXPECT_EQ(choose(-1, 1), 0);
    EXPECT_EQ(rows().size(), 3u);
    EXPECT_STREQ(list_run_once->subtitle, "");
    EXPECT_EQ(list_run_once->cursor, 0);
    EXPECT_EQ(screen.redraw, 1);
}

TEST_F(first_run, back_in_the_first_step_stays_there)
{
    list_run_once->cursor = 1;
    EXPECT_EQ(choose(-1, 1), 0);
    EXPECT_EQ(rows().size(), 3u);
    EXPECT_EQ(list_run_once->cursor, 1);
    EXPECT_EQ(screen.redraw, 0);
}

TEST_F(first_run, yes_starts_the_scan_and_shows_the_main_menu)
{
    choose(1);
    EXPECT_EQ(choose(0), 0);
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(messages_shown(), scan_messages);
    EXPECT_EQ(take_shown(), &menu);
}

TEST_F(first_run, no_shows_the_main_menu_without_a_scan)
{
    choose(1);
    EXPECT_EQ(choose(1, 1), 0);
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(messages_shown(), texts{});
    EXPECT_EQ(take_shown(), &menu);
}

TEST_F(first_run, modes_above_one_and_rows_that_do_not_exist_do_nothing)
{
    EXPECT_EQ(choose(0, 2), 0);
    EXPECT_EQ(choose(0, 3), 0);
    EXPECT_EQ(choose(-1, 2), 0);
    for (const int32_t row : {-2, 3, INT32_MAX, INT32_MIN})
        EXPECT_EQ(choose(row), 0);
    EXPECT_EQ(rows().size(), 3u);
    EXPECT_EQ(cfg_modified, 0);
    choose(1);
    EXPECT_EQ(choose(2), 0); /* a third answer */
    EXPECT_EQ(take_shown(), nullptr);
    EXPECT_EQ(messages_shown(), texts{});
}
