#include "view/lyrics/lyrics_fetch.h"

#include "makers/maker_audio.h"
#include "makers/maker_http.h"
#include "platform/base/fault.h"
#include "platform/file/file.h"
#include "platform/net/sock.h"
#include "unit/view/play/play_fixture.h"
#include "view/lyrics/lyrics_key.h"

#include <csignal>
#include <sys/resource.h>

static bool always(void *)
{
    return true;
}

struct lyrics_fetch_test : play_test {
    void SetUp() override
    {
        play_test::SetUp();
        ASSERT_EQ(sock_init(), 0);
        ASSERT_EQ(setenv("ZERV_LYRICS_HOST", server.host().c_str(), 1), 0);
        scratch_write("song.mp3", "abc");
    }
    void TearDown() override
    {
        fault_set(nullptr);
        server.stop();
        play_test::TearDown();
        EXPECT_EQ(sock_exit(), 0);
    }

    void answer(const maker_http_answer &answer) { server.answer(target, answer); }
    void answer_body(const std::string &body)
    {
        maker_http_answer whole;
        whole.body = body;
        answer(whole);
    }
    static int fetch() { return lyrics_fetch("song.mp3", "song.lrc", always, nullptr); }
    static bool held()
    {
        const sys_guard guard(play_view_lock);
        return play_view.lyrics_texts != nullptr;
    }
    static void play(const std::string &path = "song.mp3")
    {
        set_track({.path = path});
        start_lyrics_loader();
    }

    const std::string target = "/live-lyrics/fetch/900150983cd24fb0d6963f7d28e17f72";
    const std::string song = "[00:01.00]one\n[00:02.00]two\n";
    maker_http server;
};

TEST_F(lyrics_fetch_test, asks_for_the_key_and_keeps_the_answer)
{
    answer_body(song);
    EXPECT_EQ(fetch(), 0);
    EXPECT_EQ(scratch_read("song.lrc"), song);
    ASSERT_EQ(server.requests().size(), 1u);
    EXPECT_EQ(server.requests()[0].method, "GET");
    EXPECT_EQ(server.requests()[0].target, target);
}

TEST_F(lyrics_fetch_test, keeps_an_empty_answer_as_an_empty_file)
{
    answer_body("");
    EXPECT_EQ(fetch(), 0);
    EXPECT_EQ(scratch_read("song.lrc"), "");
}

TEST_F(lyrics_fetch_test, understands_chunks_and_redirects)
{
    maker_http_answer chunked;
    chunked.body = song;
    chunked.chunked = true;
    chunked.piece = 5;
    answer(chunked);
    EXPECT_EQ(fetch(), 0);
    EXPECT_EQ(scratch_read("song.lrc"), song);
    maker_http_answer away;
    away.status = 302;
    away.headers = {{"Location", server.url("/elsewhere")}};
    answer(away);
    maker_http_answer there;
    there.body = "[00:03.00]three\n";
    server.answer("/elsewhere", there);
    EXPECT_EQ(fetch(), 0);
    EXPECT_EQ(scratch_read("song.lrc"), "[00:03.00]three\n");
}

TEST_F(lyrics_fetch_test, leaves_no_file_when_no_answer_began)
{
    for (const int status : {204, 404, 500, 301}) {
        maker_http_answer refused;
        refused.status = status;
        refused.body = "an error page";
        answer(refused);
        EXPECT_EQ(fetch(), -1) << status;
        EXPECT_FALSE(scratch_exists("song.lrc")) << status;
    }
    maker_http_answer loop;
    loop.status = 302;
    loop.headers = {{"Location", server.url(target)}};
    answer(loop);
    EXPECT_EQ(fetch(), -1);
    maker_http_answer nonsense;
    nonsense.raw = "this is no HTTP at all\r\n\r\n";
    answer(nonsense);
    EXPECT_EQ(fetch(), -1);
    EXPECT_FALSE(scratch_exists("song.lrc"));
    server.stop();
    EXPECT_EQ(fetch(), -1);
    EXPECT_FALSE(scratch_exists("song.lrc"));
}

TEST_F(lyrics_fetch_test, keeps_what_came_of_an_answer_that_breaks_off)
{
    maker_http_answer cut;
    cut.body = song;
    cut.cut_after = 14;
    answer(cut);
    EXPECT_EQ(fetch(), -1);
    EXPECT_EQ(scratch_read("song.lrc"), song.substr(0, 14));
    maker_http_answer short_body;
    short_body.body = "[00:05.00]five\n";
    short_body.announce = 1000;
    answer(short_body);
    EXPECT_EQ(fetch(), -1);
    EXPECT_EQ(scratch_read("song.lrc"), "[00:05.00]five\n");
}

TEST_F(lyrics_fetch_test, reads_no_more_than_a_mebibyte)
{
    answer_body(song + std::string(10 << 20, 'x'));
    EXPECT_EQ(fetch(), -1);
    const std::string kept = scratch_read("song.lrc");
    EXPECT_GE(kept.size(), size_t{1} << 20);
    EXPECT_LE(kept.size(), (size_t{1} << 20) + 1024);
    maker_http_answer endless;
    endless.body = "[00:01.00]x\n";
    endless.endless = true;
    answer(endless);
    EXPECT_EQ(fetch(), -1);
    EXPECT_TRUE(server.wait_until_idle());
}

TEST_F(lyrics_fetch_test, a_mebibyte_is_a_whole_answer_and_a_byte_more_is_not)
{
    const size_t most = size_t{1} << 20;
    answer_body(song + std::string(most - song.size(), 'x'));
    EXPECT_EQ(fetch(), 0);
    EXPECT_EQ(scratch_read("song.lrc").size(), most);
    answer_body(song + std::string(most + 1 - song.size(), 'x'));
    EXPECT_EQ(fetch(), -1);
}

TEST_F(lyrics_fetch_test, keeps_nothing_that_is_no_lyrics)
{
    for (const char *body : {"<!DOCTYPE html><html><body>Please log in</body></html>",
                             "\xef\xbb\xbf\r\n <HTML>\n[00:01.00]a page\n</HTML>\n",
                             "nothing was found", "\n", "[ar:somebody]\n[1:02.50]no time\n"}) {
        answer_body(body);
        EXPECT_EQ(fetch(), -1) << body;
        EXPECT_FALSE(scratch_exists("song.lrc")) << body;
    }
    answer_body(std::string("\0\0", 2) + song);
    EXPECT_EQ(fetch(), -1);
    EXPECT_FALSE(scratch_exists("song.lrc"));
    answer_body("<3 is no page\n[00:01.00]one\n");
    EXPECT_EQ(fetch(), 0);
}

TEST_F(lyrics_fetch_test, replaces_what_a_kill_left)
{
    scratch_write(".song.lrc.new", "[00:01.00]ha");
    answer_body(song);
    EXPECT_EQ(fetch(), 0);
    EXPECT_EQ(scratch_read("song.lrc"), song);
    EXPECT_FALSE(scratch_exists(".song.lrc.new"));
}

TEST_F(lyrics_fetch_test, is_seen_whole_while_it_is_written)
{
    scratch_write("song.lrc", "[00:09.00]mine\n");
    answer_body(song);
    fault_set("file_replace_commit");
    EXPECT_EQ(fetch(), -1);
    fault_set(nullptr);
    EXPECT_EQ(scratch_read("song.lrc"), "[00:09.00]mine\n");
}

TEST_F(lyrics_fetch_test, asks_nobody_without_a_host)
{
    for (const char *host : {"", static_cast<const char *>(nullptr)}) {
        if (host)
            ASSERT_EQ(setenv("ZERV_LYRICS_HOST", host, 1), 0);
        else
            ASSERT_EQ(unsetenv("ZERV_LYRICS_HOST"), 0);
        EXPECT_FALSE(lyrics_host_is_known());
        EXPECT_EQ(fetch(), -1);
    }
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(lyrics_fetch_test, asks_nobody_about_a_track_that_cannot_be_read)
{
    EXPECT_EQ(lyrics_fetch("gone.mp3", "gone.lrc", always, nullptr), -1);
    scratch_write("damaged.mp3", std::string("ID3\4\0\0\x80\0\0\0abc", 13));
    EXPECT_EQ(lyrics_fetch("damaged.mp3", "damaged.lrc", always, nullptr), -1);
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(lyrics_fetch_test, survives_a_folder_that_takes_no_file)
{
    answer_body(song);
    EXPECT_EQ(lyrics_fetch("song.mp3", "no folder/song.lrc", always, nullptr), -1);
}

TEST_F(lyrics_fetch_test, leaves_no_file_on_a_full_disk)
{
    answer_body(song + std::string(300000, 'x'));
    const auto before = signal(SIGXFSZ, SIG_IGN);
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit small = {100000, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    EXPECT_EQ(fetch(), -1);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    (void)signal(SIGXFSZ, before);
    EXPECT_FALSE(scratch_exists("song.lrc"));
}

TEST_F(lyrics_fetch_test, gives_up_before_the_request_when_nobody_wants_it)
{
    answer_body(song);
    EXPECT_EQ(lyrics_fetch(
                  "song.mp3", "song.lrc", [](void *) { return false; }, nullptr),
              -1);
    EXPECT_TRUE(server.requests().empty());
    EXPECT_FALSE(scratch_exists("song.lrc"));
}

TEST_F(lyrics_fetch_test, gives_up_between_reads_and_leaves_no_file)
{
    maker_http_answer endless;
    endless.body = "[00:01.00]x\n";
    endless.endless = true;
    endless.piece = 16;
    answer(endless);
    int left = 5;
    const auto count_down = [](void *context) { return (*static_cast<int *>(context))-- > 0; };
    EXPECT_EQ(lyrics_fetch("song.mp3", "song.lrc", count_down, &left), -1);
    EXPECT_FALSE(scratch_exists("song.lrc"));
}

/* ---- with the play screen ---- */

TEST_F(lyrics_fetch_test, brings_lyrics_to_the_screen_and_asks_once_a_file)
{
    answer_body(song);
    load_part({"show=\"lyrics\"|<lyrics width=\"200\" height=\"50\"/>", "|"});
    play();
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_TRUE(held());
    EXPECT_EQ(layout_index(), 0u);
    EXPECT_EQ(scratch_read("song.lrc"), song);
    play();
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_TRUE(held());
    EXPECT_EQ(server.requests().size(), 1u);
}

TEST_F(lyrics_fetch_test, does_not_ask_for_a_track_that_has_its_file)
{
    scratch_write("song.lrc", "");
    answer_body(song);
    play();
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_TRUE(server.requests().empty());
    EXPECT_FALSE(held());
}

TEST_F(lyrics_fetch_test, leaves_a_file_that_cannot_be_opened_to_the_user)
{
    scratch_write("song.lrc", "[00:09.00]mine\n");
    answer_body(song);
    fault_set("file_fopen:1");
    play();
    ASSERT_EQ(thread_settle(10000), 0);
    fault_set(nullptr);
    EXPECT_EQ(scratch_read("song.lrc"), "[00:09.00]mine\n");
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(lyrics_fetch_test, asks_again_after_a_refusal)
{
    play();
    ASSERT_EQ(thread_settle(10000), 0);
    answer_body(song);
    play();
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(server.requests().size(), 2u);
    EXPECT_TRUE(held());
}

TEST_F(lyrics_fetch_test, shows_a_partial_file_only_the_next_time)
{
    maker_http_answer cut;
    cut.body = song;
    cut.cut_after = 14;
    answer(cut);
    play();
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_FALSE(held());
    play();
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_TRUE(held());
    EXPECT_EQ(server.requests().size(), 1u);
}

TEST_F(lyrics_fetch_test, keeps_the_file_of_a_track_that_was_left_but_not_its_lines)
{
    maker_http_answer slow;
    slow.body = song;
    slow.head_delay_ms = 300;
    answer(slow);
    play();
    ASSERT_TRUE(server.wait_for_requests(1));
    set_track({.path = "other.mp3"});
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(scratch_read("song.lrc"), song);
    EXPECT_FALSE(held());
}

TEST_F(lyrics_fetch_test, keeps_workers_few_while_a_user_skips_past_a_slow_service)
{
    for (int i = 0; i < 200; i++)
        scratch_write("t" + std::to_string(i) + ".mp3", "sound " + std::to_string(i));
    server.answer_all([](const maker_http_request &) {
        maker_http_answer slow;
        slow.body = "[00:01.00]slow\n";
        slow.head_delay_ms = 20;
        slow.piece = 1;
        slow.piece_delay_ms = 200;
        return slow;
    });
    load_part({"show=\"lyrics\"|<lyrics width=\"200\" height=\"50\"/>", "|"});
    int32_t most = 0;
    for (int i = 0; i < 200; i++) {
        set_track({.path = "t" + std::to_string(i) + ".mp3"});
        draw();
        draw();
        EXPECT_FALSE(held()) << i;
        most = std::max(most, thread_running());
    }
    EXPECT_LE(most, 6) << "a loader, three requests, a cover and its fitting";
    EXPECT_TRUE(wait_for([] { return held(); })) << "the last track gets its lyrics";
    const sys_guard guard(play_view_lock);
    EXPECT_EQ(play_view.lyrics_id, play_handle_id);
}

/* Stands still: no request of a track that was left is told to end after its time. */
static device make_standing_clock()
{
    device made = hand_clock;
    made.msec = [] { return int64_t{1000}; };
    return made;
}
static const device standing_clock = make_standing_clock();

TEST_F(lyrics_fetch_test, gives_the_place_of_endless_requests_to_the_playing_track)
{
    device_current = &standing_clock;
    for (int i = 0; i < 3; i++)
        scratch_write("t" + std::to_string(i) + ".mp3", "sound " + std::to_string(i));
    scratch_write("last.mp3", "abc");
    answer_body(song);
    server.answer_all([](const maker_http_request &) {
        maker_http_answer dripping;
        dripping.body = "[00:01.00]x\n";
        dripping.endless = true;
        dripping.piece = 4;
        dripping.piece_delay_ms = 20;
        return dripping;
    });
    for (size_t i = 0; i < 3; i++) {
        play("t" + std::to_string(i) + ".mp3");
        ASSERT_TRUE(server.wait_for_requests(i + 1));
    }
    play("last.mp3");
    EXPECT_TRUE(wait_for([] { return held(); }));
    EXPECT_FALSE(scratch_exists("t0.lrc"));
}

/* A clock that a test puts forward, and how often it was asked. */
static std::atomic<int32_t> clock_ahead{0}, clock_asked{0};

static device make_forward_clock()
{
    device made = hand_clock;
    made.msec = [] {
        clock_asked++;
        return static_cast<int64_t>(clock_real_msec() + clock_ahead);
    };
    return made;
}
static const device forward_clock = make_forward_clock();

struct stale_fetch : lyrics_fetch_test {
    void SetUp() override
    {
        lyrics_fetch_test::SetUp();
        device_current = &forward_clock;
        clock_ahead = 0;
        maker_http_answer dripping;
        dripping.body = "[00:01.00]x\n";
        dripping.endless = true;
        dripping.piece = 4;
        dripping.piece_delay_ms = 20;
        answer(dripping);
        play();
        ASSERT_TRUE(server.wait_for_requests(1));
        set_track({.path = "other.mp3"});
        /* Only a request of a track that was left asks for the time. */
        clock_asked = 0;
        ASSERT_TRUE(wait_for([] { return clock_asked > 20; }));
        EXPECT_EQ(thread_running(), 1) << "it goes on for the file";
    }
};

TEST_F(stale_fetch, ends_after_five_seconds)
{
    clock_ahead = 4000;
    clock_asked = 0;
    ASSERT_TRUE(wait_for([] { return clock_asked > 5; }));
    EXPECT_EQ(thread_running(), 1);
    clock_ahead = 5000;
    EXPECT_EQ(thread_settle(4000), 0);
    EXPECT_FALSE(scratch_exists("song.lrc"));
}

TEST_F(stale_fetch, ends_with_its_screen)
{
    play_view_open(false);
    EXPECT_EQ(thread_settle(4000), 0);
    EXPECT_FALSE(scratch_exists("song.lrc"));
}

TEST_F(lyrics_fetch_test, ends_soon_when_the_screen_closes)
{
    for (const bool silent : {false, true}) {
        maker_http_answer slow;
        slow.body = "[00:01.00]x\n";
        slow.endless = true;
        slow.piece = 4;
        slow.piece_delay_ms = 50;
        slow.silent = silent;
        answer(slow);
        play();
        ASSERT_TRUE(server.wait_for_requests(silent ? 2 : 1));
        play_view_open(false);
        EXPECT_EQ(sock_exit(), 0);
        EXPECT_EQ(thread_settle(8000), 0) << "left to itself a request waits ten seconds";
        EXPECT_FALSE(scratch_exists("song.lrc")) << "a broken-off song would pass for a whole one";
        ASSERT_EQ(sock_init(), 0);
        play_view_open(true);
    }
}
