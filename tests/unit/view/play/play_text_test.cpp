#include "view/play/play_text.h"

#include "unit/view/play/play_fixture.h"

static std::string expand(const std::string &text)
{
    char to[1024];
    memset(to, 'X', sizeof to);
    play_text_expand(text.c_str(), wall_seconds, to);
    return to;
}

struct play_text : testing::Test {
    void SetUp() override
    {
        ASSERT_EQ(setenv("TZ", "UTC", 1), 0);
        tzset();
        set_no_track();
        the_engine = {};
        battery_level = 57;
        device_current = &hand_clock;
        str_copy(lang_selected, "ko");
    }
};

TEST_F(play_text, says_nothing_of_a_track_that_is_not_there)
{
    EXPECT_EQ(expand("$title - $artist"), " - ");
    EXPECT_EQ(expand("$stopped"), "Stopped");
    EXPECT_EQ(expand("$02mins:$02secs"), ":");
    EXPECT_EQ(expand("$mins"), "");
    EXPECT_EQ(expand("$secs$album"), "");
}

TEST_F(play_text, tells_the_tags_of_the_track)
{
    set_track({.title = "Song", .artist = "Singer", .album = "Record"});
    EXPECT_EQ(expand("$title/$artist/$album/$stopped"), "Song/Singer/Record/");
}

TEST_F(play_text, calls_missing_and_empty_tags_unknown)
{
    set_track({.title = nullptr, .artist = "", .album = nullptr});
    EXPECT_EQ(expand("$title $artist $album"), "(未知) (未知) (未知)");
    set_track({.tagged = false});
    EXPECT_EQ(expand("$title"), "(未知)");
}

TEST_F(play_text, tells_the_elapsed_time)
{
    set_track();
    play_pos = 187999;
    EXPECT_EQ(expand("$mins $secs $02mins $02secs"), "3 7 03 07");
    play_pos = 6000000;
    EXPECT_EQ(expand("$mins:$02secs"), "100:00");
}

TEST_F(play_text, writes_minutes_and_seconds_in_korean_for_koreans_only)
{
    set_track();
    play_pos = 187000;
    EXPECT_EQ(expand("$mins분 $secs초"), "3분 7초");
    for (const char *other : {"en", "ja", ""}) {
        str_copy(lang_selected, other);
        EXPECT_EQ(expand("$mins분 $secs초"), "03:07") << other;
        EXPECT_EQ(expand("$mins분 $secs초 "), "3분 7초 ") << other;
    }
}

TEST_F(play_text, copies_labels)
{
    EXPECT_EQ(expand("$Album $Time $Battery"), "Album Time Battery");
    EXPECT_EQ(expand("$Albums"), "Albums");
    EXPECT_EQ(expand("$Timetable"), "Timetable");
}

TEST_F(play_text, compares_the_chinese_labels_over_fixed_counts)
{
    EXPECT_EQ(expand("$标题"), "标题");
    EXPECT_EQ(expand("$艺术家"), "艺术家");
    EXPECT_EQ(expand("$艺术X"), "艺术X");
    EXPECT_EQ(expand("$标"), "$标");
    EXPECT_EQ(expand("$艺"), "$艺");
    /* Five bytes of the first label match whatever the sixth is. */
    EXPECT_EQ(expand("$\xE6\xA0\x87\xE9\xA2!"), "\xE6\xA0\x87\xE9\xA2!");
}

TEST_F(play_text, tells_clock_and_battery)
{
    wall_seconds = 9 * 3600 + 5 * 60 + 59;
    EXPECT_EQ(expand("$time"), "09:05");
    wall_seconds = 23 * 3600 + 59 * 60;
    EXPECT_EQ(expand("$time $battery"), "23:59 57%");
    battery_level = 0;
    EXPECT_EQ(expand("$battery"), "0%");
    battery_level = 100;
    EXPECT_EQ(expand("$battery"), "100%");
}

TEST_F(play_text, keeps_a_dollar_that_begins_no_keyword)
{
    set_track({.title = "Song"});
    EXPECT_EQ(expand("$x $"), "$x $");
    EXPECT_EQ(expand("$$title"), "$Song");
    EXPECT_EQ(expand("$ title"), "$ title");
    EXPECT_EQ(expand("$Title $TITLE $titl"), "$Title $TITLE $titl");
    EXPECT_EQ(expand("$02"), "$02");
    EXPECT_EQ(expand(""), "");
}

TEST_F(play_text, does_not_expand_what_a_tag_says)
{
    set_track({.title = "$artist $"});
    EXPECT_EQ(expand("$title"), "$artist $");
}

TEST_F(play_text, is_cut_at_1023_bytes)
{
    EXPECT_EQ(expand(std::string(2000, 'a')), std::string(1023, 'a'));
    const std::string title(2000, 't');
    set_track({.title = title.c_str()});
    EXPECT_EQ(expand("[$title]"), "[" + std::string(1022, 't'));
    EXPECT_EQ(expand(std::string(1022, 'a') + "$Time"), std::string(1022, 'a') + "T");
    EXPECT_EQ(expand(std::string(1023, 'a') + "$"), std::string(1023, 'a'));
    EXPECT_EQ(expand(std::string(1020, 'a') + "$battery"), std::string(1020, 'a') + "57%");
}

TEST_F(play_text, keeps_bytes_that_are_no_text)
{
    EXPECT_EQ(expand("\xff\xfe$Time\x80"), "\xff\xfeTime\x80");
}
