#include "view/play/play_lyrics.h"

#include "platform/base/fault.h"
#include "platform/file/file.h"
#include "unit/view/play/play_fixture.h"

using texts = std::vector<std::string>;

struct play_lyrics : play_test {
    void SetUp() override
    {
        play_test::SetUp();
        (void)unsetenv("ZERV_LYRICS_HOST");
    }

    static void move_to(uint32_t position)
    {
        const sys_guard guard(play_view_lock);
        update_lyrics_shown(position);
    }
    static texts shown()
    {
        play_lyrics_shown now;
        if (!play_lyrics_copy_shown(&now))
            return {"(no lyrics)"};
        texts lines;
        for (uint32_t i = 0; i < now.count; i++)
            lines.push_back(now.lines[i]);
        return lines;
    }
    static texts at(uint32_t position)
    {
        move_to(position);
        return shown();
    }
    static void ask()
    {
        start_lyrics_loader();
        ASSERT_EQ(thread_settle(10000), 0);
    }
};

/* ---- the shown lines ---- */

TEST_F(play_lyrics, shows_a_line_from_its_time_on)
{
    set_track();
    hold_lyrics({{1000, "a"}, {2000, "b"}, {3000, "c"}});
    EXPECT_EQ(at(0), texts{});
    EXPECT_EQ(at(999), texts{});
    EXPECT_EQ(at(1000), texts{"a"});
    EXPECT_EQ(at(1999), texts{"a"});
    EXPECT_EQ(at(2000), texts{"b"});
    EXPECT_EQ(at(3000), texts{"c"});
    EXPECT_EQ(at(1000000), texts{"c"});
}

TEST_F(play_lyrics, tells_how_long_the_shown_lines_stay)
{
    set_track();
    hold_lyrics({{1200, "a"}, {1700, "b"}, {1700, "c"}, {UINT32_MAX, "d"}});
    const auto span = [](int32_t position, int32_t first, int32_t last) {
        move_to(static_cast<uint32_t>(position));
        const sys_guard guard(play_view_lock);
        play_lyrics_cut_span(position, &first, &last);
        return std::pair(first, last);
    };
    EXPECT_EQ(span(0, 0, 999), std::pair(0, 999));
    EXPECT_EQ(span(1100, 1000, 1999), std::pair(1000, 1199));
    EXPECT_EQ(span(1200, 1000, 1999), std::pair(1200, 1699));
    EXPECT_EQ(span(1800, 1000, 1999), std::pair(1700, 1999));
    EXPECT_EQ(span(INT32_MAX, INT32_MAX - 7, INT32_MAX), std::pair(INT32_MAX - 7, INT32_MAX));
    EXPECT_EQ(span(1150, 1000, 1999), std::pair(1000, 1199)) << "sought back";
}

TEST_F(play_lyrics, shows_lines_of_one_time_together)
{
    set_track();
    hold_lyrics({{10000, "a"}, {10000, "b"}, {10000, "c"}, {20000, "d"}});
    EXPECT_EQ(at(10000), (texts{"a", "b", "c"}));
    EXPECT_EQ(at(20000), texts{"d"});
}

TEST_F(play_lyrics, shows_at_most_the_last_three)
{
    set_track();
    hold_lyrics({{10000, "a"}, {10000, "b"}, {10000, "c"}, {10000, "d"}});
    EXPECT_EQ(at(10000), (texts{"b", "c", "d"}));
}

TEST_F(play_lyrics, shows_the_last_lines_passed_after_a_jump)
{
    set_track();
    hold_lyrics({{1, "a"}, {2, "b"}, {3, "c"}, {4, "d"}, {5, "e"}, {6, "f"}});
    EXPECT_EQ(at(5), (texts{"c", "d", "e"}));
    EXPECT_EQ(at(6), texts{"f"});
}

TEST_F(play_lyrics, goes_back_with_a_seek)
{
    set_track();
    hold_lyrics({{1000, "a"}, {2000, "b"}, {2000, "B"}, {3000, "c"}, {4000, "d"}});
    EXPECT_EQ(at(4000), (texts{"B", "c", "d"}));
    EXPECT_EQ(at(2500), (texts{"b", "B"})) << "a line and its translation come back together";
    EXPECT_EQ(at(1500), texts{"a"});
    EXPECT_EQ(at(3000), (texts{"b", "B", "c"}));
}

TEST_F(play_lyrics, stay_after_a_seek_to_before_the_first)
{
    set_track();
    hold_lyrics({{1000, "a"}, {2000, "b"}});
    EXPECT_EQ(at(2000), (texts{"a", "b"}));
    EXPECT_EQ(at(0), (texts{"a", "b"}));
    EXPECT_EQ(at(500), (texts{"a", "b"}));
    EXPECT_EQ(at(1000), (texts{"a", "b"})) << "the same first line: nothing is copied";
    EXPECT_EQ(at(2000), texts{"b"});
}

TEST_F(play_lyrics, stay_when_a_seek_back_starts_at_the_same_line)
{
    set_track();
    hold_lyrics({{1000, "a"}, {2000, "b"}, {3000, "c"}});
    EXPECT_EQ(at(3000), (texts{"a", "b", "c"}));
    EXPECT_EQ(at(1500), (texts{"a", "b", "c"}));
}

TEST_F(play_lyrics, follow_the_order_of_the_file)
{
    set_track();
    hold_lyrics({{3000, "c"}, {1000, "a"}, {2000, "b"}});
    EXPECT_EQ(at(1000), texts{}) << "the first line is still to come";
    EXPECT_EQ(at(3000), (texts{"c", "a", "b"}));
}

TEST_F(play_lyrics, compare_times_without_a_sign)
{
    set_track();
    hold_lyrics({{1000, "a"}, {4294907296u, "never"}});
    EXPECT_EQ(at(INT32_MAX), texts{"a"});
}

TEST_F(play_lyrics, are_cut_at_255_bytes)
{
    set_track();
    hold_lyrics({{1000, std::string(300, 'x')}});
    EXPECT_EQ(at(1000), texts{std::string(255, 'x')});
}

TEST_F(play_lyrics, ask_for_a_frame_only_when_they_change)
{
    set_track();
    hold_lyrics({{1000, "a"}, {2000, "b"}});
    play_screen.redraw = 0;
    move_to(999);
    EXPECT_EQ(play_screen.redraw, 0);
    move_to(1000);
    EXPECT_EQ(play_screen.redraw, 1);
    play_screen.redraw = 0;
    move_to(1500);
    EXPECT_EQ(play_screen.redraw, 0);
}

TEST_F(play_lyrics, without_lines_survive_any_position)
{
    set_track();
    move_to(0);
    move_to(UINT32_MAX);
    EXPECT_EQ(shown(), texts{"(no lyrics)"});
}

/* What the steps say, written without a thought for speed. */
struct slow_lyrics {
    std::vector<uint32_t> times;
    size_t cur = 0;
    long first = -1;
    std::vector<size_t> lines;

    void move(uint32_t position)
    {
        if (cur > 0 && position < times[cur - 1]) {
            size_t i = cur - 1;
            for (; i > 0 && times[i] > position; i--) {
            }
            for (; i > 0 && times[i - 1] == times[i]; i--) {
            }
            cur = i;
        }
        if (cur >= times.size() || position < times[cur])
            return;
        size_t begin = cur, end = cur + 1;
        for (; end < times.size() && position >= times[end]; end++) {
        }
        cur = end;
        if (end - begin >= 4)
            begin = end - 3;
        if (static_cast<long>(begin) == first)
            return;
        first = static_cast<long>(begin);
        lines.clear();
        for (size_t i = begin; i < end; i++)
            lines.push_back(i);
    }
};

TEST_F(play_lyrics, agree_with_the_slow_way_on_random_songs)
{
    srand(20260101);
    set_track();
    for (int song = 0; song < 200; song++) {
        slow_lyrics slow;
        std::vector<std::pair<uint32_t, std::string>> lines;
        const int count = 1 + rand() % 12;
        for (int i = 0; i < count; i++) {
            const auto time = static_cast<uint32_t>(1 + rand() % 10);
            slow.times.push_back(time);
            lines.emplace_back(time, std::to_string(i));
        }
        hold_lyrics(lines);
        for (int step = 0; step < 60; step++) {
            const auto position = static_cast<uint32_t>(rand() % 13);
            slow.move(position);
            texts wanted;
            for (const size_t line : slow.lines)
                wanted.push_back(std::to_string(line));
            ASSERT_EQ(at(position), wanted) << "song " << song << " step " << step;
        }
    }
}

/* ---- the file beside the track ---- */

TEST_F(play_lyrics, come_from_the_file_beside_the_track)
{
    ASSERT_EQ(mkdir("a.b", 0755), 0);
    scratch_write("a.b/song.lrc", "[00:01.00]one\n[00:02.00]two\n");
    set_track({.path = "a.b/song.flac"});
    ask();
    EXPECT_EQ(at(1000), texts{"one"});
}

TEST_F(play_lyrics, come_from_the_name_with_an_ending_where_the_track_has_none)
{
    ASSERT_EQ(mkdir("a.b", 0755), 0);
    scratch_write("a.b/song.lrc", "[00:01.00]one\n");
    scratch_write("a.lrc", "[00:01.00]wrong\n");
    set_track({.path = "a.b/song"});
    ask();
    EXPECT_EQ(at(1000), texts{"one"});
}

TEST_F(play_lyrics, stand_where_the_track_is_when_they_arrive)
{
    scratch_write("song.lrc", "[00:01.00]one\n[00:02.00]two\n");
    set_track();
    play_pos = 1500;
    ask();
    EXPECT_EQ(shown(), texts{"one"});
}

TEST_F(play_lyrics, of_a_file_without_a_timed_line_are_none)
{
    load_part({"|<lyrics width=\"200\" height=\"50\"/>"});
    scratch_write("song.lrc", "[ar:Somebody]\nno time\n[00:00.00]Title\n");
    set_track();
    draw();
    ASSERT_EQ(thread_settle(10000), 0);
    play_screen.redraw = 1;
    draw();
    EXPECT_EQ(shown_texts(), texts{"没有找到歌词"});
    EXPECT_EQ(shown(), texts{"(no lyrics)"});
}

TEST_F(play_lyrics, choose_a_layout_that_waited_for_them)
{
    load_part({"show=\"lyrics\"|<text format=\"with\"/>", "|<text format=\"without\"/>"});
    scratch_write("song.lrc", "[00:01.00]one\n");
    set_track();
    play_paused = 1;
    draw();
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(layout_index(), 0u);
    draw();
    EXPECT_EQ(shown_texts(), texts{"with"}) << "also while paused";
    set_track({.path = "other.mp3"});
    draw();
    EXPECT_EQ(layout_index(), 1u);
}

TEST_F(play_lyrics, are_asked_for_by_an_element_too)
{
    load_part({"|<lyrics width=\"200\" height=\"50\"/>"});
    scratch_write("song.lrc", "[00:01.00]one\n");
    set_track();
    play_pos = 1500;
    draw();
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_TRUE(draw());
    EXPECT_EQ(shown_texts(), texts{"one"});
}

TEST_F(play_lyrics, are_loaded_once_a_track)
{
    set_track();
    ask();
    scratch_write("song.lrc", "[00:01.00]one\n");
    ask();
    EXPECT_EQ(shown(), texts{"(no lyrics)"});
    set_track();
    ask();
    EXPECT_EQ(shown(), texts{});
}

TEST_F(play_lyrics, need_a_track)
{
    scratch_write("song.lrc", "[00:01.00]one\n");
    set_track();
    set_no_track();
    ask();
    EXPECT_EQ(shown(), texts{"(no lyrics)"});
}

TEST_F(play_lyrics, of_another_track_are_dropped)
{
    std::string many;
    for (int i = 0; i < 3000; i++)
        many += "[00:01.00]old\n";
    scratch_write("old.lrc", many);
    for (int i = 0; i < 20; i++) {
        set_track({.path = "old.mp3"});
        start_lyrics_loader();
        set_track({.path = "new.mp3"});
        draw();
        ASSERT_EQ(thread_settle(10000), 0);
        EXPECT_EQ(shown(), texts{"(no lyrics)"});
    }
}

TEST_F(play_lyrics, of_a_track_that_changes_before_they_arrive_are_dropped)
{
    scratch_write("song.lrc", "[00:01.00]one\n");
    set_track();
    {
        const sys_guard guard(play_view_lock);
        start_lyrics_loader();
        EXPECT_TRUE(wait_for_waiter(play_view_lock));
        set_track({.path = "new.mp3"});
    }
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(shown(), texts{"(no lyrics)"});
}

TEST_F(play_lyrics, of_a_closed_screen_are_dropped)
{
    scratch_write("song.lrc", "[00:01.00]one\n");
    set_track();
    play_view_open(false);
    ask();
    EXPECT_EQ(shown(), texts{"(no lyrics)"});
}

TEST_F(play_lyrics, are_not_asked_of_anybody_without_a_host)
{
    scratch_write("song.mp3", "sound");
    set_track();
    ask();
    EXPECT_FALSE(scratch_exists("song.lrc"));
}

TEST_F(play_lyrics, try_again_after_a_thread_did_not_start)
{
    scratch_write("song.lrc", "[00:01.00]one\n");
    set_track();
    fault_set("thread_start");
    ask();
    fault_set(nullptr);
    ask();
    EXPECT_EQ(at(1000), texts{"one"});
}

TEST_F(play_lyrics, of_what_is_no_file_are_none_and_hold_up_nobody)
{
    ASSERT_EQ(mkfifo("song.lrc", 0600), 0);
    ASSERT_EQ(symlink("/dev/zero", "zero.lrc"), 0);
    ASSERT_EQ(mkdir("folder.lrc", 0755), 0);
    scratch_write("real.lrc", "[00:01.00]one\n");
    for (const char *path : {"song.mp3", "zero.mp3", "folder.mp3"}) {
        set_track({.path = path});
        ask();
        EXPECT_EQ(shown(), texts{"(no lyrics)"}) << path;
    }
    set_track({.path = "real.mp3"});
    ask();
    EXPECT_EQ(at(1000), texts{"one"});
}

TEST_F(play_lyrics, of_a_path_too_long_for_an_ending_are_none)
{
    set_track({.path = std::string(509, 'x')});
    ask();
    EXPECT_EQ(shown(), texts{"(no lyrics)"});
}
