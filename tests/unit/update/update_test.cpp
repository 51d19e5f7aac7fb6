#include "support/wait_for.h"
#include "update/update.h"

#include "core/services/program.h"
#include "makers/maker_http.h"
#include "makers/maker_signature.h"
#include "makers/maker_zip.h"
#include "platform/base/fault.h"
#include "platform/base/thread.h"
#include "platform/net/sock.h"
#include "support/scratch.h"
#include "update/update_download.h"

#include <atomic>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>

static const char ask[] = "/zerv-player/update/zerv-player-dingoo/" PROGRAM_VERSION;

struct update_test : testing::Test {
    void SetUp() override
    {
        ASSERT_EQ(sock_init(), 0);
        ASSERT_EQ(setenv("ZERV_UPDATE_HOST", server.host().c_str(), 1), 0);
        ASSERT_EQ(unsetenv("ZERV_UPDATE_INSTALLED"), 0);
        program_running = 1;
        program_restarting = 0;
        program_stay_tuned = 0;
    }
    void TearDown() override
    {
        fault_set(nullptr);
        server.stop();
        EXPECT_EQ(thread_settle(10000), 0);
        EXPECT_EQ(sock_exit(), 0);
    }

    void answer_check(const std::string &body)
    {
        maker_http_answer answer;
        answer.body = body;
        server.answer(ask, answer);
    }
    void serve(const std::string &target, const std::string &body)
    {
        maker_http_answer answer;
        answer.body = body;
        server.answer(target, answer);
    }
    /* Offers a package of one new player. */
    void offer_player(const std::string &content = "new program")
    {
        serve("/p.zip", package({{"zerv-player", content}}));
        answer_check(server.url("/p.zip"));
    }
    using members = std::vector<std::pair<std::string, std::string>>;
    static std::string package(const members &files)
    {
        maker_zip *zip = maker_zip_open("made.zip");
        for (const auto &[name, content] : files)
            EXPECT_EQ(
                maker_zip_add(zip, name.c_str(), content.data(), content.size(), maker_zip_deflate),
                0);
        EXPECT_EQ(maker_zip_close(zip), 0);
        const std::string bytes = scratch_read("made.zip");
        EXPECT_EQ(remove("made.zip"), 0);
        return bytes;
    }
    static void run()
    {
        ASSERT_EQ(update_check(), 0);
        ASSERT_EQ(thread_settle(10000), 0);
    }
    static bool installed()
    {
        EXPECT_EQ(program_running == 0, program_restarting != 0);
        EXPECT_EQ(program_stay_tuned, 0);
        return program_restarting != 0;
    }

    scratch folder;
    maker_http server;
};

TEST_F(update_test, asks_nobody_without_a_host)
{
    for (const char *host : {"", static_cast<const char *>(nullptr)}) {
        if (host)
            ASSERT_EQ(setenv("ZERV_UPDATE_HOST", host, 1), 0);
        else
            ASSERT_EQ(unsetenv("ZERV_UPDATE_HOST"), 0);
        ASSERT_EQ(mkdir("_tmp", 0755), 0);
        EXPECT_EQ(update_check(), 0);
        EXPECT_EQ(thread_running(), 0);
        EXPECT_TRUE(scratch_exists("_tmp")) << "no file is touched";
        ASSERT_EQ(rmdir("_tmp"), 0);
    }
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(update_test, tells_when_no_thread_started)
{
    fault_set("thread_start");
    EXPECT_EQ(update_check(), -1);
    fault_set(nullptr);
    answer_check("none");
    run();
    EXPECT_EQ(server.requests().size(), 1u);
}

TEST_F(update_test, asks_by_build_and_version)
{
    answer_check("none");
    run();
    ASSERT_EQ(server.requests().size(), 1u);
    EXPECT_EQ(server.requests()[0].target, ask);
    EXPECT_FALSE(installed());
}

TEST_F(update_test, takes_any_other_answer_for_no_update)
{
    for (const std::string &answer :
         {std::string(), std::string("none"), std::string("HTTP://127.0.0.1/p.zip"),
          std::string("https://127.0.0.1/p.zip"), std::string(" \r\n\t"), std::string(5000, 'x'),
          std::string("\0http://x/", 10)}) {
        answer_check(answer);
        run();
        EXPECT_FALSE(installed()) << answer;
        EXPECT_FALSE(scratch_exists("_tmp")) << answer;
    }
}

TEST_F(update_test, installs_what_is_offered_and_asks_for_a_restart)
{
    scratch_write("zerv-player", "old program");
    offer_player();
    testing::internal::CaptureStderr();
    run();
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(installed());
    EXPECT_EQ(scratch_read("zerv-player"), "new program");
    EXPECT_NE(said.find(server.url("/p.zip")), std::string::npos) << said;
}

TEST_F(update_test, strips_white_space_around_the_address)
{
    serve("/p.zip", package({{"zerv-player", "new"}}));
    answer_check("  \t" + server.url("/p.zip") + "\r\n");
    run();
    EXPECT_TRUE(installed());
}

TEST_F(update_test, cuts_the_answer_at_255_bytes)
{
    const std::string base = server.url("/");
    const std::string kept = base + std::string(255 - base.size(), 'p');
    serve(kept.substr(server.url("").size()), package({{"zerv-player", "new"}}));
    answer_check(kept + std::string(45, 'q'));
    run();
    EXPECT_TRUE(installed());
    program_running = 1;
    program_restarting = 0;
    answer_check(std::string(300, ' ') + server.url("/p.zip"));
    run();
    EXPECT_FALSE(installed()) << "cut first, stripped then";
}

TEST_F(update_test, takes_the_beginning_of_a_very_long_answer)
{
    serve("/p.zip", package({{"zerv-player", "new"}}));
    answer_check(server.url("/p.zip") + std::string(300000, ' '));
    run();
    EXPECT_TRUE(installed());
}

TEST_F(update_test, does_not_read_an_endless_answer)
{
    maker_http_answer endless;
    endless.body = server.url("/p.zip");
    endless.endless = true;
    server.answer(ask, endless);
    run();
    EXPECT_FALSE(installed());
    EXPECT_TRUE(server.wait_until_idle());
}

TEST_F(update_test, stops_at_an_answer_that_breaks_off)
{
    offer_player();
    maker_http_answer cut;
    cut.announce = 1000;
    /* A zero byte would end the address for whoever took what came. */
    for (const char end : {' ', '\0'}) {
        cut.body = server.url("/p.zip") + end;
        server.answer(ask, cut);
        run();
        EXPECT_FALSE(installed());
    }
    EXPECT_EQ(server.requests().size(), 2u);
}

TEST_F(update_test, removes_the_scratch_folder_before_it_asks)
{
    ASSERT_EQ(mkdir("_tmp", 0755), 0);
    ASSERT_EQ(mkdir("_tmp/deep", 0755), 0);
    scratch_write("_tmp/deep/player.3", "parked");
    answer_check("none");
    run();
    EXPECT_FALSE(scratch_exists("_tmp"));
    EXPECT_EQ(server.requests().size(), 1u);
}

TEST_F(update_test, removes_a_link_in_place_of_the_scratch_folder_but_not_its_target)
{
    ASSERT_EQ(mkdir("mine", 0755), 0);
    scratch_write("mine/song", "dear");
    for (const char *to : {"mine", "nowhere"}) {
        ASSERT_EQ(symlink(to, "_tmp"), 0);
        answer_check("none");
        run();
        EXPECT_FALSE(scratch_exists("_tmp"));
        EXPECT_EQ(scratch_read("mine/song"), "dear");
    }
}

TEST_F(update_test, asks_nothing_when_the_scratch_folder_cannot_be_removed)
{
    ASSERT_EQ(mkdir("_tmp", 0755), 0);
    offer_player();
    fault_set("file_remove");
    run();
    EXPECT_TRUE(server.requests().empty());
    EXPECT_FALSE(installed());
}

TEST_F(update_test, stops_when_the_package_cannot_be_fetched)
{
    answer_check(server.url("/gone.zip"));
    run();
    EXPECT_FALSE(installed());
    EXPECT_FALSE(scratch_exists("_tmp"));
    for (const char *operation : {"file_mkdir", "file_fopen"}) {
        offer_player();
        fault_set(operation);
        run();
        fault_set(nullptr);
        EXPECT_FALSE(installed()) << operation;
    }
}

TEST_F(update_test, installs_nothing_of_a_download_that_breaks_off)
{
    scratch_write("zerv-player", "old");
    const std::string whole = package({{"zerv-player", "new"}});
    for (const size_t size : {size_t{0}, size_t{10}, whole.size() / 2, whole.size() - 30}) {
        maker_http_answer cut;
        cut.body = whole;
        cut.cut_after = static_cast<int64_t>(size);
        server.answer("/p.zip", cut);
        answer_check(server.url("/p.zip"));
        run();
        EXPECT_FALSE(installed());
        serve("/p.zip", whole.substr(0, size));
        run();
        EXPECT_FALSE(installed());
        EXPECT_EQ(scratch_read("zerv-player"), "old");
    }
    serve("/p.zip", whole);
    run();
    EXPECT_TRUE(installed());
    EXPECT_EQ(scratch_read("zerv-player"), "new");
}

TEST_F(update_test, installs_nothing_of_a_package_that_is_bad_anywhere)
{
    scratch_write("first", "old");
    maker_zip *zip = maker_zip_open("made.zip");
    ASSERT_EQ(maker_zip_add_text(zip, "first", "new"), 0);
    ASSERT_EQ(maker_zip_add_bad_crc(zip, "last", "12345", 5), 0);
    ASSERT_EQ(maker_zip_close(zip), 0);
    serve("/p.zip", scratch_read("made.zip"));
    answer_check(server.url("/p.zip"));
    run();
    EXPECT_FALSE(installed());
    EXPECT_EQ(scratch_read("first"), "old");
    serve("/p.zip", package({{"first", "new"}, {"../outside", "new"}}));
    run();
    EXPECT_FALSE(installed());
    EXPECT_EQ(scratch_read("first"), "old");
    EXPECT_FALSE(scratch_exists("../outside"));
}

TEST_F(update_test, asks_for_no_restart_when_unpacking_fails)
{
    scratch_write("zerv-player", "old");
    offer_player();
    fault_set("file_fopen:3"); /* behind the download and the key */
    run();
    fault_set(nullptr);
    EXPECT_TRUE(scratch_exists("_tmp/update.zip")) << "it was there to be unpacked";
    EXPECT_FALSE(installed());
    EXPECT_EQ(scratch_read("zerv-player"), "old");
    run(); /* the next check starts from the beginning */
    EXPECT_TRUE(installed());
    EXPECT_EQ(scratch_read("zerv-player"), "new program");
}

TEST_F(update_test, wants_the_space_that_the_server_announces)
{
    maker_http_answer large;
    large.body = std::string(1000, 'x');
    for (const int64_t announced : {int64_t{1} << 60, (int64_t{256} << 20) + 1}) {
        large.announce = announced;
        server.answer("/p.zip", large);
        answer_check(server.url("/p.zip"));
        run();
        EXPECT_FALSE(installed());
        EXPECT_FALSE(scratch_exists("_tmp")) << "nothing was fetched";
    }
    fault_set("update_free_space"); /* there is none */
    offer_player();
    run();
    EXPECT_FALSE(installed());
    EXPECT_FALSE(scratch_exists("_tmp"));
}

TEST_F(update_test, does_not_fill_the_disk)
{
    maker_http_answer open_end;
    open_end.body = std::string(5 << 20, 'x');
    open_end.announce = -2;
    server.answer("/p.zip", open_end);
    answer_check(server.url("/p.zip"));
    fault_set("update_free_space:2"); /* asked at each MiB */
    run();
    EXPECT_FALSE(installed());
    EXPECT_GT(scratch_read("_tmp/update.zip").size(), 1u << 20);
    EXPECT_LT(scratch_read("_tmp/update.zip").size(), 3u << 20);
}

static std::atomic<int> times_asked;

static bool go_on_and_count()
{
    times_asked++;
    return true;
}

TEST_F(update_test, fetches_no_more_than_a_package_may_be)
{
    maker_http_answer endless;
    endless.body = std::string(65536, 'x');
    endless.endless = true;
    server.answer("/p.zip", endless);
    times_asked = 0;
    /* Nothing has to be kept to be counted. */
    EXPECT_EQ(update_download(server.url("/p.zip").c_str(), "_tmp", "/dev/null", go_on_and_count),
              -1);
    EXPECT_GE(times_asked, (256 << 20) / 1024);
}

TEST_F(update_test, stops_at_a_write_that_fails)
{
    serve("/p.zip", std::string(300000, 'x'));
    ASSERT_EQ(update_download(server.url("/p.zip").c_str(), "_tmp", "whole", go_on_and_count), 0);
    EXPECT_EQ(scratch_read("whole").size(), 300000u);
    EXPECT_EQ(update_download(server.url("/p.zip").c_str(), "_tmp", "/dev/full", go_on_and_count),
              -1);
    serve("/p.zip", "x"); /* so little that only the end of the file writes it */
    EXPECT_EQ(update_download(server.url("/p.zip").c_str(), "_tmp", "/dev/full", go_on_and_count),
              -1);
}

TEST_F(update_test, installs_nothing_once_the_program_waits_to_end)
{
    maker_http_answer slow;
    slow.body = package({{"zerv-player", "new"}});
    slow.head_delay_ms = 200;
    server.answer("/p.zip", slow);
    answer_check(server.url("/p.zip"));
    ASSERT_EQ(update_check(), 0);
    ASSERT_TRUE(server.wait_for_requests(2));
    update_wait(1000);
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(program_restarting, 0);
    EXPECT_FALSE(scratch_exists("zerv-player"));
}

TEST_F(update_test, gives_a_download_up_when_the_program_ends)
{
    maker_http_answer endless;
    endless.body = "PK";
    endless.endless = true;
    endless.piece = 100;
    endless.piece_delay_ms = 10;
    server.answer("/p.zip", endless);
    answer_check(server.url("/p.zip"));
    ASSERT_EQ(update_check(), 0);
    ASSERT_TRUE(server.wait_for_requests(2));
    program_running = 0;
    EXPECT_EQ(thread_settle(2000), 0);
    EXPECT_EQ(program_restarting, 0);
}

TEST_F(update_test, is_waited_for_while_files_are_replaced)
{
    members many;
    for (int i = 0; i < 200; i++)
        many.emplace_back("file" + std::to_string(i), std::string(20000, 'n'));
    serve("/p.zip", package(many));
    answer_check(server.url("/p.zip"));
    ASSERT_EQ(update_check(), 0);
    ASSERT_TRUE(wait_for([] { return scratch_exists("file0"); }));
    EXPECT_EQ(program_stay_tuned, program_restarting ? 0 : 1);
    update_wait(30000);
    EXPECT_EQ(program_restarting, 1) << "known when the wait is over";
    for (int i = 0; i < 200; i++)
        EXPECT_EQ(scratch_read("file" + std::to_string(i)).size(), 20000u) << i;
}

/* A link to a pipe holds the replacing up until somebody reads. */
TEST_F(update_test, does_not_start_again_what_was_ended_meanwhile)
{
    ASSERT_EQ(mkfifo("pipe", 0666), 0);
    ASSERT_EQ(symlink("pipe", "hold"), 0);
    serve("/p.zip", package({{"first", "new"}, {"hold", "x"}, {"last", "new"}}));
    answer_check(server.url("/p.zip"));
    ASSERT_EQ(update_check(), 0);
    ASSERT_TRUE(wait_for([] { return scratch_exists("first"); }));
    EXPECT_EQ(program_stay_tuned, 1);
    program_running = 0;
    const int reader = open("pipe", O_RDONLY);
    ASSERT_GE(reader, 0);
    update_wait(30000);
    EXPECT_EQ(program_restarting, 0);
    EXPECT_EQ(scratch_read("last"), "new") << "the files are whole";
    EXPECT_EQ(close(reader), 0);
}

TEST_F(update_test, begins_to_replace_nothing_once_the_program_ends)
{
    scratch_write("zerv-player", "old");
    maker_http_answer slow;
    slow.body = package({{"zerv-player", "new"}});
    slow.head_delay_ms = 200;
    server.answer("/p.zip", slow);
    answer_check(server.url("/p.zip"));
    ASSERT_EQ(update_check(), 0);
    ASSERT_TRUE(server.wait_for_requests(2));
    program_running = 0;
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(program_restarting, 0);
    EXPECT_EQ(scratch_read("zerv-player"), "old");
}

TEST_F(update_test, installs_nothing_that_the_program_before_has_installed)
{
    offer_player();
    const std::string address = server.url("/p.zip");
    for (const std::string &before : {address, "http://x/a " + address, address + " http://x/a"}) {
        ASSERT_EQ(setenv("ZERV_UPDATE_INSTALLED", before.c_str(), 1), 0);
        testing::internal::CaptureStderr();
        run();
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        EXPECT_FALSE(installed()) << before;
        EXPECT_FALSE(scratch_exists("_tmp")) << "nothing was fetched";
    }
    ASSERT_EQ(setenv("ZERV_UPDATE_INSTALLED", (address + "x http://x/a").c_str(), 1), 0);
    run();
    EXPECT_TRUE(installed()) << "it was another";
    update_hand_over();
    EXPECT_EQ(getenv("ZERV_UPDATE_INSTALLED"), address + "x http://x/a " + address);
}

TEST_F(update_test, ends_a_chain_of_ever_new_addresses)
{
    offer_player();
    ASSERT_EQ(setenv("ZERV_UPDATE_INSTALLED", "a b c d e f g", 1), 0);
    run();
    EXPECT_TRUE(installed());
    program_running = 1;
    program_restarting = 0;
    ASSERT_EQ(setenv("ZERV_UPDATE_INSTALLED", "a b c d e f g h", 1), 0);
    run();
    EXPECT_FALSE(installed());
    ASSERT_EQ(setenv("ZERV_UPDATE_INSTALLED", std::string(100000, 'x').c_str(), 1), 0);
    run();
    EXPECT_TRUE(installed()) << "none of ours";
    update_hand_over();
}

TEST_F(update_test, takes_with_a_key_only_what_its_owner_signed)
{
    const maker_key key = maker_key_from(1);
    const std::string plain = package({{"zerv-player", "new"}});
    scratch_write("zerv-player", "old");
    scratch_write("update.key", maker_key_text(key));
    answer_check(server.url("/p.zip"));
    for (const std::string &bad : {plain, maker_signed(plain, key, PROGRAM_VERSION),
                                   maker_signed(plain, maker_key_from(2), "0.5")}) {
        serve("/p.zip", bad);
        testing::internal::CaptureStderr();
        run();
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_NE(said.find("is not signed with our key"), std::string::npos) << said;
        EXPECT_FALSE(installed());
        EXPECT_FALSE(scratch_exists("_tmp")) << "nothing is left of it";
        EXPECT_EQ(scratch_read("zerv-player"), "old");
    }
    serve("/p.zip", maker_signed(plain, key, "0.5"));
    run();
    EXPECT_TRUE(installed());
    EXPECT_EQ(scratch_read("zerv-player"), "new");
}

TEST_F(update_test, takes_nothing_with_a_key_that_is_none)
{
    scratch_write("update.key", "no key");
    const maker_key key = maker_key_from(1);
    serve("/p.zip", maker_signed(package({{"zerv-player", "new"}}), key, "0.5"));
    answer_check(server.url("/p.zip"));
    testing::internal::CaptureStderr();
    run();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "update: update.key holds no key, so no package is good\n");
    EXPECT_FALSE(installed());
    EXPECT_FALSE(scratch_exists("_tmp"));
}

TEST_F(update_test, takes_without_a_key_what_anybody_signed)
{
    serve("/p.zip", maker_signed(package({{"zerv-player", "new"}}), maker_key_from(1), "0.1"));
    answer_check(server.url("/p.zip"));
    run();
    EXPECT_TRUE(installed());
}

TEST_F(update_test, is_not_waited_for_when_nothing_is_replaced)
{
    update_wait(0);
    maker_http_answer silent;
    silent.silent = true;
    server.answer(ask, silent);
    ASSERT_EQ(update_check(), 0);
    ASSERT_TRUE(server.wait_for_requests(1));
    update_wait(1000000); /* longer than the limit of the test program */
    EXPECT_EQ(sock_exit(), 0);
    EXPECT_EQ(thread_settle(2000), 0);
    ASSERT_EQ(sock_init(), 0);
}

TEST_F(update_test, runs_one_check_at_a_time)
{
    maker_http_answer slow;
    slow.body = "none";
    slow.head_delay_ms = 200;
    server.answer(ask, slow);
    EXPECT_EQ(update_check(), 0);
    EXPECT_EQ(update_check(), 0);
    ASSERT_EQ(thread_settle(10000), 0);
    EXPECT_EQ(server.requests().size(), 1u);
    run();
    EXPECT_EQ(server.requests().size(), 2u);
}
