#include "core/lang/lang.h"
#include "support/hung.h"
#include "support/scratch.h"

#include "lists/record/list.h"
#include "platform/audio/audio.h"
#include "platform/base/str.h"
#include "play/play.h"

#include <clocale>
#include <cstring>
#include <gtest/gtest.h>
#include <pthread.h>
#include <string>

/* ---- what a language is told to ---- */

static std::string encoding;
static int encodings_set = 0;
static bool encoding_set_locked = false;
static int menu_updates = 0;

constinit sys_lock play_lock;

/* Whether this thread holds play_lock: another one cannot take it then. */
static bool is_play_lock_held()
{
    pthread_t other;
    bool taken = false;
    auto try_it = [](void *result) -> void * {
        const bool got = pthread_mutex_trylock(&play_lock.mutex) == 0;
        if (got)
            pthread_mutex_unlock(&play_lock.mutex);
        *static_cast<bool *>(result) = got;
        return nullptr;
    };
    EXPECT_EQ(pthread_create(&other, nullptr, try_it, &taken), 0);
    pthread_join(other, nullptr);
    return !taken;
}

int decoder_mp3_set_tag_native_encoding(const char *name)
{
    encoding = name;
    encodings_set++;
    encoding_set_locked = is_play_lock_held();
    return 0;
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
        encoding = "";
        encodings_set = 0;
        menu_updates = 0;
    }
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
    const char *wanted[][2] = {{"ko", "CP949"}, {"en", "ISO-8859-1"}, {"ja", "CP932"}};
    for (const auto &each : wanted) {
        EXPECT_EQ(lang_select(each[0]), 0);
        EXPECT_EQ(encoding, each[1]);
        EXPECT_STREQ(lang_selected, each[0]);
    }
}

TEST_F(lang, encoding_is_set_under_the_lock_of_the_engine)
{
    ASSERT_EQ(lang_select("ja"), 0);
    EXPECT_TRUE(encoding_set_locked);
    EXPECT_FALSE(is_play_lock_held());
}

TEST_F(lang, selecting_rebuilds_the_main_menu)
{
    ASSERT_EQ(lang_select("en"), 0);
    EXPECT_EQ(menu_updates, 1);
}

/* Locales that need not be installed: the C library's own under the names of ours. */
TEST_F(lang, selecting_sets_the_locale_where_the_machine_has_it)
{
    const scratch folder;
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
    EXPECT_EQ(encodings_set, 1);
    EXPECT_EQ(menu_updates, 1);
    EXPECT_EQ(locale, setlocale(LC_ALL, nullptr));
}
