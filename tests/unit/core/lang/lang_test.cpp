#include "core/lang/lang.h"
#include "makers/maker_audio.h"
#include "support/hung.h"
#include "support/scratch.h"

#include "lists/record/list.h"
#include "platform/audio/audio.h"
#include "platform/base/str.h"
#include "play/play.h"
#include "support/wait_for.h"

#include <clocale>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <thread>

/* ---- what a language is told to ---- */

static int menu_updates = 0;

/* Two bytes that mean something else in each of the encodings, in a tag that does not say which. */
static const std::string bytes_korean = "가";
static const std::string bytes_western = "°¡";
static const std::string bytes_japanese = "ｰ｡";

static void write_track()
{
    ASSERT_EQ(
        maker_track("a.mp3",
                    {.seconds = 0.1, .title = bytes_western, .id3 = {.encoding = "ISO-8859-1"}}),
        0);
}

/* The tag of that track as it is read now. */
static std::string title_read()
{
    const audio_decoder *decoder = audio_get_decoder("a.mp3");
    audio_info *info = decoder->read_info("a.mp3");
    if (!info || !info->tags || !info->tags->title)
        return "(none)";
    const std::string title = info->tags->title;
    EXPECT_EQ(decoder->release_info(info), 0);
    return title;
}

/* True once another thread waits for a lock that the caller holds. This C library marks a lock that
 * is waited for with 2. */
static bool wait_for_waiter(const sys_lock &lock)
{
    return wait_for(
        [&] { return __atomic_load_n(&lock.mutex.__data.__lock, __ATOMIC_RELAXED) == 2; }, 60);
}

static list main_menu = {
    .init = nullptr,
    .exit = nullptr,
    .input = nullptr,
    .select = nullptr,
    .update =
        [](view *, list *) {
            menu_updates++;
            return 0;
        },
};
static const hung hang_list_main(list_main, &main_menu);

class lang : public testing::Test
{
  protected:
    void SetUp() override
    {
        setlocale(LC_ALL, "C");
        str_copy(lang_selected, "");
        menu_updates = 0;
        write_track();
    }

    scratch folder;
};

TEST_F(lang, knows_three_languages_in_this_order)
{
    ASSERT_EQ(lang_count, 3);
    EXPECT_STREQ(lang_list[0], "ko");
    EXPECT_STREQ(lang_list[1], "en");
    EXPECT_STREQ(lang_list[2], "ja");
}

TEST_F(lang, names_each_language_in_itself)
{
    EXPECT_STREQ(lang_get_name("ko"), "한국어");
    EXPECT_STREQ(lang_get_name("en"), "English");
    EXPECT_STREQ(lang_get_name("ja"), "日本語");
    EXPECT_STREQ(lang_get_name("fr"), "未知");
    EXPECT_STREQ(lang_get_name("KO"), "未知");
    EXPECT_STREQ(lang_get_name(""), "未知");
}

TEST_F(lang, each_language_names_the_encoding_of_unmarked_tags)
{
    const std::string wanted[][2] = {
        {"ko", bytes_korean}, {"en", bytes_western}, {"ja", bytes_japanese}};
    for (const auto &each : wanted) {
        EXPECT_EQ(lang_select(each[0].c_str()), 0);
        EXPECT_EQ(title_read(), each[1]);
        EXPECT_EQ(each[0], lang_selected);
    }
}

TEST_F(lang, encoding_is_set_under_the_lock_of_the_engine)
{
    ASSERT_EQ(lang_select("en"), 0);
    std::thread other;
    {
        const sys_guard guard(play_lock);
        other = std::thread([] { EXPECT_EQ(lang_select("ja"), 0); });
        EXPECT_TRUE(wait_for_waiter(play_lock));
        EXPECT_EQ(title_read(), bytes_western);
    }
    other.join();
    EXPECT_EQ(title_read(), bytes_japanese);
}

TEST_F(lang, selecting_rebuilds_the_main_menu)
{
    ASSERT_EQ(lang_select("en"), 0);
    EXPECT_EQ(menu_updates, 1);
}

/* Locales that need not be installed: the C library's own under the names of ours. */
TEST_F(lang, selecting_sets_the_locale_where_the_machine_has_it)
{
    ASSERT_EQ(symlink("/usr/lib/locale/C.utf8", "ja_JP.UTF-8"), 0);
    ASSERT_EQ(setenv("LOCPATH", folder.path.c_str(), 1), 0);
    if (!setlocale(LC_ALL, "ja_JP.UTF-8"))
        GTEST_SKIP() << "the C library has no locale of its own";
    setlocale(LC_ALL, "C");
    ASSERT_EQ(lang_select("ja"), 0);
    EXPECT_STREQ(setlocale(LC_ALL, nullptr), "ja_JP.UTF-8");
    ASSERT_EQ(lang_select("ko"), 0);
    EXPECT_STREQ(setlocale(LC_ALL, nullptr), "ja_JP.UTF-8") << "without Korean the old one stays";
    EXPECT_EQ(unsetenv("LOCPATH"), 0);
}

TEST_F(lang, unknown_code_changes_nothing)
{
    ASSERT_EQ(lang_select("en"), 0);
    const std::string locale = setlocale(LC_ALL, nullptr);
    for (const char *code : {"fr", "", "koko", "en_US"})
        EXPECT_EQ(lang_select(code), -1) << code;
    EXPECT_STREQ(lang_selected, "en");
    EXPECT_EQ(title_read(), bytes_western);
    EXPECT_EQ(menu_updates, 1);
    EXPECT_EQ(locale, setlocale(LC_ALL, nullptr));
}
