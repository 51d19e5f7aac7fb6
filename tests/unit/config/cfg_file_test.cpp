/* The settings' file: what is written, and how every value is read. */
#include "config/cfg.h"

#include "platform/base/fault.h"
#include "platform/base/md5.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

static const char file_name[] = "cfg_file_test.txt";

struct cfg_file : testing::Test {
    void SetUp() override { cfg_load_default(); }
    void TearDown() override
    {
        fault_set(nullptr);
        (void)remove(file_name);
        for (const char *kept : {".old", ".old2", ".old3"})
            (void)remove((std::string(file_name) + kept).c_str());
    }
};

static void write_file(const std::string &content)
{
    FILE *file = fopen(file_name, "wb");
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(fwrite(content.data(), 1, content.size(), file), content.size());
    ASSERT_EQ(fclose(file), 0);
}

static std::string read_file(const std::string &path = file_name)
{
    std::string content;
    FILE *file = fopen(path.c_str(), "rb");
    EXPECT_NE(file, nullptr);
    for (int c = 0; file && (c = fgetc(file)) != EOF;)
        content += static_cast<char>(c);
    if (file)
        fclose(file);
    return content;
}

static int load(const std::string &content)
{
    write_file(content);
    return cfg_load(file_name);
}

static int load_children(const std::string &children)
{
    return load("<cfg version=\"0.1\">" + children + "</cfg>");
}

static int32_t vol_of(const char *text)
{
    cfg_vol = -99;
    EXPECT_EQ(load_children(std::string("<vol>") + text + "</vol>"), 0);
    return cfg_vol;
}

static std::string md5_of(const std::string &content)
{
    md5_state state;
    uint8_t digest[16];
    md5_init(&state);
    md5_append(&state, reinterpret_cast<const uint8_t *>(content.data()), content.size());
    md5_finish(&state, digest);
    std::string text;
    for (uint8_t byte : digest) {
        char two[3];
        snprintf(two, sizeof(two), "%02x", byte);
        text += two;
    }
    return text;
}

TEST_F(cfg_file, writes_the_defaults_to_the_byte)
{
    strcpy(cfg_library_path, "/usr");
    ASSERT_EQ(cfg_save(file_name), 0);
    const std::string content = read_file();
    EXPECT_EQ(content, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
                       "\r\n"
                       "<cfg version=\"0.1\">\r\n"
                       "\t<vol>30</vol>\r\n"
                       "\t<skin_play>skins/Aqua_Ver0.4.zip</skin_play>\r\n"
                       "\t<skin_list>skins/Aqua_Ver0.4.zip</skin_list>\r\n"
                       "\t<display_off_timeout>30</display_off_timeout>\r\n"
                       "\t<lang>ko</lang>\r\n"
                       "\t<playback_order>shuffle</playback_order>\r\n"
                       "\t<font>QuenlyAquaEJ.ttf</font>\r\n"
                       "\t<library_path>/usr</library_path>\r\n"
                       "\t<debug>0</debug>\r\n"
                       "</cfg>\r\n");
    EXPECT_EQ(content.size(), 377u);
    EXPECT_EQ(md5_of(content), "600b0926583532ad2f08cb0309bf5701");
}

TEST_F(cfg_file, reads_back_what_it_wrote)
{
    cfg_vol = -7;
    cfg_display_off_timeout = 0;
    cfg_playback_order = 1;
    cfg_debug = 3;
    strcpy(cfg_skin_play, "skins/\xEC\x8A\xA4\xED\x82\xA8.zip");
    strcpy(cfg_skin_list, "skins/b");
    strcpy(cfg_lang, "ja");
    strcpy(cfg_font, "f.ttf");
    strcpy(cfg_library_path, "/a b");
    ASSERT_EQ(cfg_save(file_name), 0);
    EXPECT_EQ(cfg_modified, 0);
    cfg_load_default();
    ASSERT_EQ(cfg_load(file_name), 0);
    EXPECT_EQ(cfg_modified, 0);
    EXPECT_EQ(cfg_vol, -7);
    EXPECT_EQ(cfg_display_off_timeout, 0);
    EXPECT_EQ(cfg_playback_order, 1);
    EXPECT_EQ(cfg_debug, 3);
    EXPECT_STREQ(cfg_skin_play, "skins/\xEC\x8A\xA4\xED\x82\xA8.zip");
    EXPECT_STREQ(cfg_skin_list, "skins/b");
    EXPECT_STREQ(cfg_lang, "ja");
    EXPECT_STREQ(cfg_font, "f.ttf");
    EXPECT_STREQ(cfg_library_path, "/a b");
}

TEST_F(cfg_file, reads_numbers_and_falls_back_when_anything_follows)
{
    EXPECT_EQ(vol_of("12abc"), 30);
    EXPECT_EQ(vol_of(""), 0);
    EXPECT_EQ(vol_of("-7"), -7);
    EXPECT_EQ(vol_of("12 "), 30);
    EXPECT_EQ(vol_of(" 12"), 12);
    EXPECT_EQ(vol_of("abc"), 30);
    EXPECT_EQ(vol_of("500"), 500);
    EXPECT_EQ(vol_of("99999999999"), INT_MAX);
    EXPECT_EQ(vol_of("-99999999999"), INT_MIN);
    ASSERT_EQ(load_children("<debug>1x</debug><display_off_timeout></display_off_timeout>"), 0);
    EXPECT_EQ(cfg_debug, 0);
    EXPECT_EQ(cfg_display_off_timeout, 0);
    ASSERT_EQ(load_children("<debug>2</debug><display_off_timeout>5s</display_off_timeout>"), 0);
    EXPECT_EQ(cfg_debug, 2);
    EXPECT_EQ(cfg_display_off_timeout, 30);
}

TEST_F(cfg_file, reads_playback_orders)
{
    const struct {
        const char *word;
        int32_t order;
    } cases[] = {{"normal", 0}, {"repeat", 1}, {"shuffle", 2},
                 {"random", 2}, {"", 2},       {"Normal", 2}};
    for (const auto &it : cases) {
        cfg_playback_order = -1;
        ASSERT_EQ(load_children(std::string("<playback_order>") + it.word + "</playback_order>"),
                  0);
        EXPECT_EQ(cfg_playback_order, it.order) << it.word;
    }
}

TEST_F(cfg_file, writes_any_other_order_as_shuffle)
{
    const struct {
        int32_t order;
        const char *text;
    } cases[] = {
        {0, ">normal<"}, {1, ">repeat<"}, {2, ">shuffle<"}, {7, ">shuffle<"}, {-1, ">shuffle<"}};
    for (const auto &it : cases) {
        cfg_playback_order = it.order;
        ASSERT_EQ(cfg_save(file_name), 0);
        EXPECT_NE(read_file().find(it.text), std::string::npos) << it.order;
    }
}

TEST_F(cfg_file, cuts_long_texts)
{
    const std::string text(2000, 'p');
    ASSERT_EQ(load_children("<skin_play>" + text + "</skin_play><skin_list>" + text +
                            "</skin_list><font>" + text + "</font><library_path>" + text +
                            "</library_path><lang>" + text + "</lang>"),
              0);
    const std::string kept(511, 'p');
    EXPECT_EQ(cfg_skin_play, kept);
    EXPECT_EQ(cfg_skin_list, kept);
    EXPECT_EQ(cfg_font, kept);
    EXPECT_EQ(cfg_library_path, kept);
    EXPECT_EQ(cfg_lang, std::string(9, 'p'));
}

TEST_F(cfg_file, drops_what_is_beyond_1023_characters)
{
    EXPECT_EQ(vol_of((std::string(1022, ' ') + "12").c_str()), 1);
    EXPECT_EQ(vol_of((std::string(1021, ' ') + "12").c_str()), 12);
}

TEST_F(cfg_file, reads_texts_of_one_character)
{
    ASSERT_EQ(load_children("<skin_play>p</skin_play><skin_list>l</skin_list><lang>x</lang>"
                            "<font>f</font><library_path>/</library_path>"),
              0);
    EXPECT_STREQ(cfg_skin_play, "p");
    EXPECT_STREQ(cfg_skin_list, "l");
    EXPECT_STREQ(cfg_lang, "x");
    EXPECT_STREQ(cfg_font, "f");
    EXPECT_STREQ(cfg_library_path, "/");
}

TEST_F(cfg_file, reads_empty_texts_as_defaults)
{
    for (char *text : {cfg_skin_play, cfg_skin_list, cfg_lang, cfg_font})
        strcpy(text, "x");
    strcpy(cfg_library_path, "/kept");
    ASSERT_EQ(load_children("<skin_play/><skin_list></skin_list><lang/><font/><library_path/>"), 0);
    EXPECT_STREQ(cfg_skin_play, "skins/Aqua_Ver0.4.zip");
    EXPECT_STREQ(cfg_skin_list, "skins/Aqua_Ver0.4.zip");
    EXPECT_STREQ(cfg_lang, "ko");
    EXPECT_STREQ(cfg_font, "QuenlyAquaEJ.ttf");
    EXPECT_STREQ(cfg_library_path, access("/usr", R_OK | X_OK) == 0 ? "/usr" : "/kept");
}

TEST_F(cfg_file, leaves_what_the_file_does_not_name)
{
    strcpy(cfg_library_path, "/kept");
    cfg_vol = 77;
    ASSERT_EQ(load_children("<other>1</other>"), 0);
    EXPECT_STREQ(cfg_library_path, "/kept");
    EXPECT_EQ(cfg_vol, 77);
    EXPECT_EQ(cfg_modified, 0);
}

TEST_F(cfg_file, refuses_other_versions_and_keeps_their_name)
{
    const struct {
        const char *root, *version;
    } cases[] = {
        {"<cfg version=\"0.2\">", "0.2"},     {"<cfg>", "invalid"},
        {"<cfg version=\"\">", ""},           {"<cfg version=\"0.12345678901\">", "0.1234567"},
        {"<cfg Version=\"0.1\">", "invalid"},
    };
    for (const auto &it : cases) {
        cfg_load_default();
        EXPECT_EQ(load(std::string(it.root) + "<vol>50</vol></cfg>"), -1) << it.root;
        EXPECT_STREQ(cfg_version, it.version);
        EXPECT_EQ(cfg_vol, 30) << "nothing behind the version is read";
        EXPECT_EQ(cfg_modified, 1);
    }
    ASSERT_EQ(cfg_save(file_name), 0);
    EXPECT_NE(read_file().find("<cfg version=\"invalid\">"), std::string::npos);
}

TEST_F(cfg_file, checks_the_version_of_every_root)
{
    EXPECT_EQ(load_children("<vol>5</vol><cfg version=\"0.3\"/><vol>6</vol>"), -1);
    EXPECT_EQ(cfg_vol, 5);
    EXPECT_STREQ(cfg_version, "0.3");
}

TEST_F(cfg_file, applies_nothing_once_it_refused_the_version)
{
    cfg_vol = 1;
    EXPECT_EQ(load_children("<vol>5<cfg version=\"0.3\"/></vol>"), -1);
    EXPECT_EQ(cfg_vol, 1);
}

TEST_F(cfg_file, keeps_what_was_read_before_a_fault)
{
    EXPECT_EQ(load("<cfg version=\"0.1\"><vol>50</vol><x>"), -1);
    EXPECT_EQ(cfg_vol, 50);
    EXPECT_EQ(cfg_modified, 1);
    EXPECT_EQ(load("<cfg version=\"0.1\"><vol>51</vol><lang>a & b</lang></cfg>"), -1);
    EXPECT_EQ(cfg_vol, 51);
    EXPECT_STREQ(cfg_lang, "ko");
}

TEST_F(cfg_file, reads_an_empty_file)
{
    EXPECT_EQ(load(""), 0);
    EXPECT_EQ(cfg_modified, 0);
    EXPECT_EQ(cfg_vol, 30);
}

TEST_F(cfg_file, misses_the_end_of_a_file_cut_at_a_chunk)
{
    std::string text = "<cfg version=\"0.1\"><vol>50</vol>";
    text += std::string(2048 - text.size(), ' ');
    EXPECT_EQ(load(text), 0);
    EXPECT_EQ(load(text + " "), -1);
}

TEST_F(cfg_file, fails_without_a_readable_file)
{
    EXPECT_EQ(cfg_load("missing.txt"), -1);
    EXPECT_EQ(cfg_load("."), -1);
    EXPECT_EQ(cfg_modified, 1);
}

TEST_F(cfg_file, lets_the_innermost_element_take_the_text)
{
    cfg_vol = 1;
    ASSERT_EQ(load_children("<debug>4<vol>5</vol>6</debug>"), 0);
    EXPECT_EQ(cfg_vol, 5);
    EXPECT_EQ(cfg_debug, 0);
    ASSERT_EQ(load_children("<vol><other/>9</vol>"), 0);
    EXPECT_EQ(cfg_vol, 5);
}

TEST_F(cfg_file, joins_text_that_comes_in_pieces)
{
    ASSERT_EQ(load_children("<font>a&amp;b<![CDATA[<c>]]>&#x64;<!-- -->e</font>"), 0);
    EXPECT_STREQ(cfg_font, "a&b<c>de");
}

TEST_F(cfg_file, compares_names_at_thirty_characters)
{
    ASSERT_EQ(load_children("<" + std::string(5000, 'n') + ">1</" + std::string(5000, 'n') + ">"),
              0);
    cfg_vol = 1;
    ASSERT_EQ(load_children("<volume>5</volume><Vol>6</Vol>"), 0);
    EXPECT_EQ(cfg_vol, 1);
}

TEST_F(cfg_file, writes_texts_as_they_are)
{
    strcpy(cfg_font, "a&b<c");
    ASSERT_EQ(cfg_save(file_name), 0);
    EXPECT_NE(read_file().find("\t<font>a&b<c</font>\r\n"), std::string::npos);
    EXPECT_EQ(cfg_load(file_name), -1);
}

TEST_F(cfg_file, stays_unsaved_when_the_file_cannot_be_opened)
{
    EXPECT_EQ(cfg_save("no/such/folder/config.txt"), -1);
    EXPECT_EQ(cfg_modified, 1);
}

TEST_F(cfg_file, keeps_the_old_file_when_the_new_one_cannot_be_put_in_place)
{
    ASSERT_EQ(cfg_save(file_name), 0);
    const std::string before = read_file();
    cfg_vol = 99;
    fault_set("file_replace_commit");
    EXPECT_EQ(cfg_save(file_name), 0);
    fault_set(nullptr);
    EXPECT_EQ(read_file(), before);
}

/* ---- files that could not be read ---- */

static const std::string old_name = std::string(file_name) + ".old";
static const char user_settings[] = "<cfg version=\"0.1\"><vol>71</vol></cfg>";

TEST_F(cfg_file, keeps_a_broken_file_beside_the_one_that_replaces_it)
{
    for (const char *broken : {"<cfg version=\"0.1\"><vol>50</vol><x>", "no settings at all",
                               "<cfg version=\"0.2\"></cfg>"}) {
        EXPECT_EQ(load(broken), -1);
        EXPECT_NE(access(old_name.c_str(), F_OK), 0) << "nothing is replaced yet";
        EXPECT_EQ(cfg_save(file_name), 0);
        EXPECT_EQ(read_file(old_name), broken);
        EXPECT_NE(read_file().find("</cfg>"), std::string::npos);
        ASSERT_EQ(remove(old_name.c_str()), 0);
        cfg_load_default();
    }
    EXPECT_EQ(load(user_settings), 0);
    EXPECT_EQ(cfg_save(file_name), 0);
    EXPECT_NE(access(old_name.c_str(), F_OK), 0) << "a good one is simply replaced";
}

TEST_F(cfg_file, keeps_a_file_that_could_not_be_opened)
{
    write_file(user_settings);
    fault_set("file_fopen:1");
    EXPECT_EQ(cfg_load(file_name), -1);
    EXPECT_EQ(cfg_save(file_name), 0);
    EXPECT_EQ(read_file(old_name), user_settings);
}

TEST_F(cfg_file, replaces_nothing_that_it_kept_before)
{
    EXPECT_EQ(load("first"), -1);
    EXPECT_EQ(cfg_save(file_name), 0);
    EXPECT_EQ(load("second"), -1);
    EXPECT_EQ(cfg_save(file_name), 0);
    EXPECT_EQ(read_file(old_name), "first");
    EXPECT_EQ(read_file(old_name + "2"), "second");
}

TEST_F(cfg_file, writes_nothing_when_the_old_file_cannot_be_kept)
{
    EXPECT_EQ(load("broken"), -1);
    fault_set("file_keep_old");
    EXPECT_EQ(cfg_save(file_name), -1);
    fault_set(nullptr);
    EXPECT_EQ(read_file(), "broken");
    EXPECT_EQ(cfg_modified, 1);
}

TEST_F(cfg_file, keeps_nothing_of_a_file_that_was_not_there)
{
    EXPECT_EQ(cfg_load(file_name), -1);
    EXPECT_EQ(cfg_save(file_name), 0);
    EXPECT_NE(access(old_name.c_str(), F_OK), 0);
}

TEST_F(cfg_file, waits_for_no_pipe)
{
    ASSERT_EQ(mkfifo(file_name, 0600), 0);
    const int silent = open(file_name, O_RDWR | O_CLOEXEC);
    ASSERT_GE(silent, 0);
    EXPECT_EQ(cfg_load(file_name), -1);
    close(silent);
    EXPECT_EQ(cfg_load(file_name), -1);
    EXPECT_EQ(cfg_save(file_name), -1) << "nobody reads it";
}

TEST_F(cfg_file, removes_what_an_interrupted_save_left)
{
    const std::string left = std::string(".") + file_name + ".new";
    for (const std::string &each : {left, left + "7"}) {
        FILE *half = fopen(each.c_str(), "wb");
        ASSERT_NE(half, nullptr);
        ASSERT_EQ(fclose(half), 0);
    }
    EXPECT_EQ(load(user_settings), 0);
    EXPECT_NE(access(left.c_str(), F_OK), 0);
    EXPECT_NE(access((left + "7").c_str(), F_OK), 0);
    EXPECT_EQ(read_file(), user_settings);
}

/* Saves again and again until it is killed. */
[[noreturn]] static void save_until_killed(const char *font, char fill)
{
    for (;; fill = fill == 'a' ? 'b' : 'a') {
        memset(cfg_font, fill, sizeof(cfg_font) - 1);
        cfg_font[0] = font[0];
        (void)cfg_save(file_name);
    }
}

TEST_F(cfg_file, survives_being_killed_at_any_moment)
{
    ASSERT_EQ(cfg_save(file_name), 0);
    for (int round = 0; round < 60; round++) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0)
            save_until_killed("x", 'a');
        for (int i = 0; i < round * 20; i++)
            sched_yield();
        ASSERT_EQ(kill(child, SIGKILL), 0);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_EQ(cfg_load(file_name), 0);
        const std::string content = read_file();
        EXPECT_EQ(content.compare(content.size() - 8, 8, "</cfg>\r\n"), 0);
    }
}
