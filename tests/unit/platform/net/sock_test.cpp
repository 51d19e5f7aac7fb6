#include "unit/platform/net/sock_fixture.h"

#include "support/run_again.h"

#include <arpa/inet.h>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

static std::string text_of(size_t size)
{
    std::string text;
    for (size_t i = 0; text.size() < size; i++)
        text += std::to_string(i) + ",";
    text.resize(size);
    return text;
}

TEST_F(sock_http, reads_an_answer)
{
    EXPECT_EQ(get_of({.body = "[00:01.00]one\n"}), (outcome{"[00:01.00]one\n", 0}));
    ASSERT_EQ(server.requests().size(), 1u);
    const maker_http_request request = server.requests()[0];
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.target, "/x");
    EXPECT_NE(request.head.find("Host: " + server.host() + "\r\n"), std::string::npos);
}

TEST_F(sock_http, tells_what_was_announced)
{
    const auto length = [this](const maker_http_answer &answer) {
        server.answer("/a", answer);
        sock *from = http_open(server.url("/a").c_str());
        const int64_t announced = sock_length(from);
        EXPECT_EQ(sock_close(from), 0);
        return announced;
    };
    EXPECT_EQ(length({.body = "hello"}), 5);
    EXPECT_EQ(length({.body = ""}), 0);
    EXPECT_EQ(length({.body = "hello", .announce = 5'000'000'000}), 5'000'000'000);
    EXPECT_EQ(length({.body = "hello", .announce = -2}), -1);
    EXPECT_EQ(length({.body = "hello", .chunked = true}), -1);
    EXPECT_EQ(sock_length(nullptr), -1);
}

TEST_F(sock_http, reads_an_empty_answer)
{
    EXPECT_EQ(get_of({.body = ""}), (outcome{"", 0}));
    EXPECT_EQ(get_of({.body = "", .announce = -2}), (outcome{"", 0}));
    EXPECT_EQ(get_of({.body = "", .chunked = true}), (outcome{"", 0}));
}

TEST_F(sock_http, says_the_end_again_and_again)
{
    server.answer("/x", {.body = "ab"});
    sock *from = http_open(server.url("/x").c_str());
    char buffer[8];
    EXPECT_EQ(sock_read(from, buffer, 8), 2);
    EXPECT_EQ(sock_read(from, buffer, 8), 0);
    EXPECT_EQ(sock_read(from, buffer, 8), 0);
    sock_close(from);
}

TEST_F(sock_http, reads_ten_megabytes_in_pieces_of_any_size)
{
    const std::string body = text_of(10 << 20);
    EXPECT_TRUE(get_of({.body = body}) == (outcome{body, 0}));
    EXPECT_TRUE(get_of({.body = body}, 100000) == (outcome{body, 0}));
    EXPECT_TRUE(get_of({.body = body, .chunked = true, .piece = 777}, 999) == (outcome{body, 0}));
    const std::string small = text_of(3000);
    EXPECT_TRUE(get_of({.body = small}, 1) == (outcome{small, 0}));
}

TEST_F(sock_http, reads_a_body_that_ends_with_its_connection)
{
    const std::string body = text_of(100000);
    EXPECT_TRUE(get_of({.body = body, .announce = -2}) == (outcome{body, 0}));
}

TEST_F(sock_http, reads_chunks_with_extensions_and_trailers)
{
    EXPECT_EQ(get_of({.raw = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                             "3;name=value\r\nabc\r\n2\r\nde\r\n0\r\nTrailer: x\r\n\r\n"}),
              (outcome{"abcde", 0}));
}

TEST_F(sock_http, takes_bytes_of_any_value)
{
    std::string body;
    for (int i = 0; i < 1000; i++)
        body.push_back(static_cast<char>(i));
    EXPECT_TRUE(get_of({.body = body}) == (outcome{body, 0}));
}

TEST_F(sock_http, waits_for_a_head_that_comes_slowly)
{
    EXPECT_EQ(get_of({.body = "late", .head_delay_ms = 150, .line_delay_ms = 20}),
              (outcome{"late", 0}));
}

TEST_F(sock_http, opens_before_the_body_comes)
{
    server.answer("/x", {.body = "late", .piece_delay_ms = never_ms});
    sock *from = http_open(server.url("/x").c_str());
    EXPECT_NE(from, nullptr);
    sock_close(from);
}

TEST_F(sock_http, waits_for_a_body_that_drips)
{
    sock_patience_ms = 2000;
    EXPECT_EQ(get_of({.body = "drip drip", .piece = 1, .piece_delay_ms = 20}),
              (outcome{"drip drip", 0}));
}

TEST_F(sock_http, gives_up_on_a_silent_server)
{
    sock_patience_ms = 200;
    EXPECT_EQ(get_of({.silent = true}), not_opened);
}

TEST_F(sock_http, gives_up_on_a_head_without_end)
{
    sock_patience_ms = 300;
    maker_http_answer answer = {.body = "x", .line_delay_ms = 50};
    for (int i = 0; i < 1000; i++)
        answer.headers.push_back({"X-Slow", "x"});
    EXPECT_EQ(get_of(answer), not_opened);
}

TEST_F(sock_http, says_a_failure_again_and_again)
{
    server.answer("/x", {.body = "0123", .announce = 10});
    sock *from = http_open(server.url("/x").c_str());
    ASSERT_NE(from, nullptr);
    EXPECT_EQ(read_rest(from, 8), (outcome{"0123", -1}));
    char byte = 0;
    EXPECT_EQ(sock_read(from, &byte, 1), -1);
    sock_close(from);
}

TEST_F(sock_http, waits_anew_after_each_piece)
{
    sock_patience_ms = 300;
    EXPECT_EQ(get_of({.body = "0123456789", .piece = 2, .piece_delay_ms = 150}),
              (outcome{"0123456789", 0}));
}

TEST_F(sock_http, gives_up_in_the_middle_of_a_body)
{
    sock_patience_ms = 200;
    server.answer("/x", {.body = "0123456789", .piece = 4, .piece_delay_ms = never_ms});
    sock *from = http_open(server.url("/x").c_str());
    ASSERT_NE(from, nullptr);
    EXPECT_EQ(read_rest(from, 8), (outcome{"", -1}));
    sock_close(from);
}

TEST_F(sock_http, reads_no_further_than_it_is_asked)
{
    server.answer("/x", {.body = std::string(65536, 'e'), .endless = true});
    sock *from = http_open(server.url("/x").c_str());
    ASSERT_NE(from, nullptr);
    char buffer[256];
    for (int i = 0; i < 1000; i++)
        ASSERT_GT(sock_read(from, buffer, sizeof(buffer)), 0);
    EXPECT_EQ(sock_close(from), 0);
    EXPECT_TRUE(server.wait_until_idle()) << "the connection stayed open";
}

TEST_F(sock_http, tells_a_body_that_is_shorter_than_announced)
{
    EXPECT_EQ(get_of({.body = "short", .announce = 100}), (outcome{"short", -1}));
}

TEST_F(sock_http, reads_no_more_than_was_announced)
{
    EXPECT_EQ(get_of({.body = "a longer body", .announce = 8}), (outcome{"a longer", 0}));
}

TEST_F(sock_http, tells_a_connection_that_was_cut)
{
    const std::string body = text_of(50000);
    outcome seen = get_of({.body = body, .cut_after = 20000});
    EXPECT_EQ(seen.end, -1);
    EXPECT_EQ(seen.body, body.substr(0, seen.body.size()));
    seen = get_of({.body = body, .chunked = true, .piece = 1000, .cut_after = 20000});
    EXPECT_EQ(seen.end, -1);
    EXPECT_EQ(seen.body, body.substr(0, seen.body.size()));
    seen = get_of({.body = body, .announce = -2, .cut_after = 20000});
    EXPECT_EQ(seen.end, -1);
    EXPECT_EQ(get_of({.raw = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nab"}),
              (outcome{"ab", -1}));
    EXPECT_EQ(get_of({.raw = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nnonsense"}).end,
              -1);
}

TEST_F(sock_http, refuses_every_answer_but_200)
{
    for (int status : {201, 204, 206, 304, 400, 401, 403, 404, 410, 429, 500, 503, 999}) {
        EXPECT_EQ(get_of({.status = status, .body = status == 204 || status == 304 ? "" : "page"}),
                  not_opened)
            << status;
    }
    EXPECT_EQ(get_of({.status = 302, .body = "nowhere to go"}), not_opened);
    EXPECT_EQ(get(server.url("/missing")), not_opened);
}

TEST_F(sock_http, does_not_wait_for_the_page_of_a_refusal)
{
    sock_patience_ms = never_ms;
    EXPECT_EQ(get_of({.status = 500, .body = "slow page", .piece_delay_ms = never_ms}), not_opened);
}

TEST_F(sock_http, skips_an_interim_answer)
{
    EXPECT_EQ(get_of({.raw = "HTTP/1.1 103 Early\r\nLink: x\r\n\r\n"
                             "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"}),
              (outcome{"ok", 0}));
}

TEST_F(sock_http, refuses_what_is_no_http)
{
    EXPECT_EQ(get_of({.raw = "hello\r\n\r\n"}), not_opened);
    EXPECT_EQ(get_of({.raw = "HTTP/9.9 200 OK\r\n\r\nx"}), not_opened);
    EXPECT_EQ(get_of({.raw = std::string(500000, 'x')}), not_opened);
    EXPECT_EQ(get_of({.raw = "HTTP/1.1 200 OK\r\nX: " + std::string(500000, 'x')}), not_opened);
    EXPECT_EQ(get_of({.raw = "HTTP/1.1 200 OK\r\n"}), not_opened);
}

TEST_F(sock_http, refuses_addresses_that_are_none)
{
    const std::string good = server.url("/x");
    server.answer("/x", {.body = "ok"});
    for (const std::string &url :
         {std::string(), std::string("http://"), std::string("HTTP") + good.substr(4),
          "https" + good.substr(4), good.substr(7), " " + good, good + " ", good + "\r\nX: y",
          good + "\n", good + "\x7f", good + "\x01", std::string("file:///etc/hostname"),
          std::string("http://:80/"), std::string("http://127.0.0.1:99999/"),
          std::string("http://127.0.0.1:x/")})
        EXPECT_EQ(get(url), not_opened) << url;
    EXPECT_EQ(http_open(nullptr), nullptr);
    EXPECT_EQ(server.requests().size(), 0u);
}

TEST_F(sock_http, takes_addresses_of_1023_bytes_and_no_more)
{
    const std::string target = "/" + std::string(1023 - server.url("/").size(), 'x');
    server.answer(target, {.body = "long"});
    server.answer(target + "x", {.body = "too long"});
    EXPECT_EQ(get(server.url(target)), (outcome{"long", 0}));
    EXPECT_EQ(get(server.url(target + "x")), not_opened);
}

TEST_F(sock_http, is_told_that_nobody_listens)
{
    sock_patience_ms = never_ms;
    const std::string url = server.url("/x");
    server.stop();
    EXPECT_EQ(get(url), not_opened);
}

TEST_F(sock_http, gives_up_on_a_name_that_nobody_knows)
{
    sock_patience_ms = 3000;
    EXPECT_EQ(get("http://no-such-host.invalid/"), not_opened);
}

TEST_F(sock_http, gives_up_on_a_server_that_does_not_take_the_connection)
{
    /* A full queue of connections that nobody accepts: the next one gets no answer at all. */
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), size), 0);
    ASSERT_EQ(listen(listener, 0), 0);
    ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr *>(&address), &size), 0);
    int waiting[4];
    for (int &fd : waiting) {
        fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        (void)connect(fd, reinterpret_cast<sockaddr *>(&address), size);
    }
    sock_patience_ms = 300;
    EXPECT_EQ(get("http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/"), not_opened);
    for (int fd : waiting)
        close(fd);
    close(listener);
}

TEST_F(sock_http, is_cut_short_by_the_exit_while_it_waits_for_a_head)
{
    sock_patience_ms = never_ms;
    server.answer("/x", {.silent = true});
    std::thread worker([&] { EXPECT_EQ(get(server.url("/x")), not_opened); });
    ASSERT_TRUE(server.wait_for_requests(1));
    EXPECT_EQ(sock_exit(), 0);
    worker.join();
}

TEST_F(sock_http, is_cut_short_by_the_exit_while_it_reads)
{
    sock_patience_ms = never_ms;
    server.answer("/slow", {.body = "ab", .piece = 1, .piece_delay_ms = 500});
    server.answer("/fast", {.body = std::string(1000, 'e'), .endless = true});
    std::atomic<int> opened = 0;
    std::atomic<int> reading = 0;
    auto read_until_cut = [&](const char *target) {
        sock *from = http_open(server.url(target).c_str());
        ASSERT_NE(from, nullptr);
        opened++;
        char byte[16];
        int result = 1;
        while ((result = sock_read(from, byte, sizeof(byte))) > 0)
            reading++;
        EXPECT_EQ(result, -1);
        EXPECT_EQ(sock_read(from, byte, sizeof(byte)), -1);
        EXPECT_EQ(sock_close(from), 0);
    };
    std::thread slow(read_until_cut, "/slow");
    std::thread fast(read_until_cut, "/fast");
    while (opened < 2 || reading < 100)
        std::this_thread::yield();
    EXPECT_EQ(sock_exit(), 0);
    slow.join();
    fast.join();
}

static bool goes_on(void *context)
{
    return *static_cast<std::atomic<bool> *>(context);
}

TEST_F(sock_http, is_cut_short_by_a_reader_that_gives_up_waiting_for_a_head)
{
    sock_patience_ms = never_ms;
    server.answer("/x", {.silent = true});
    std::atomic<bool> wanted = true;
    std::thread worker(
        [&] { EXPECT_EQ(http_open_while(server.url("/x").c_str(), goes_on, &wanted), nullptr); });
    ASSERT_TRUE(server.wait_for_requests(1));
    wanted = false;
    worker.join();
}

TEST_F(sock_http, is_cut_short_by_a_reader_that_gives_up_waiting_for_a_body)
{
    sock_patience_ms = never_ms;
    server.answer("/x", {.body = "ab", .piece = 1, .piece_delay_ms = never_ms});
    std::atomic<bool> wanted = true;
    sock *from = http_open_while(server.url("/x").c_str(), goes_on, &wanted);
    ASSERT_NE(from, nullptr);
    std::thread loses_interest([&] { wanted = false; });
    char byte = 0;
    EXPECT_EQ(sock_read(from, &byte, 1), -1);
    EXPECT_EQ(sock_read(from, &byte, 1), -1);
    loses_interest.join();
    EXPECT_EQ(sock_close(from), 0);
}

TEST_F(sock_http, reads_the_whole_answer_of_a_reader_that_goes_on)
{
    sock_patience_ms = 2000;
    server.answer("/x", {.body = "slow", .head_delay_ms = 500, .piece = 1, .piece_delay_ms = 300});
    std::atomic<bool> wanted = true;
    sock *from = http_open_while(server.url("/x").c_str(), goes_on, &wanted);
    ASSERT_NE(from, nullptr);
    EXPECT_EQ(read_rest(from, 16), (outcome{"slow", 0}));
    EXPECT_EQ(sock_close(from), 0);
}

TEST_F(sock_http, opens_nothing_after_the_exit_until_it_is_initialised_again)
{
    server.answer("/x", {.body = "ok"});
    sock *before = http_open(server.url("/x").c_str());
    ASSERT_NE(before, nullptr);
    ASSERT_EQ(sock_exit(), 0);
    EXPECT_EQ(get(server.url("/x")), not_opened);
    ASSERT_EQ(sock_init(), 0);
    EXPECT_EQ(get(server.url("/x")), (outcome{"ok", 0}));
    char byte = 0;
    EXPECT_EQ(sock_read(before, &byte, 1), -1) << "opened before the exit";
    sock_close(before);
}

TEST_F(sock_http, serves_many_threads_at_once)
{
    server.answer_all([](const maker_http_request &request) {
        return maker_http_answer{.body = text_of(20000) + request.target};
    });
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; t++)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 20; i++) {
                const std::string target = "/" + std::to_string(t) + "/" + std::to_string(i);
                EXPECT_TRUE(get(server.url(target)) == (outcome{text_of(20000) + target, 0}));
            }
        });
    for (std::thread &thread : threads)
        thread.join();
}

TEST_F(sock_http, leaves_no_connection_to_a_program_that_is_executed)
{
    server.answer("/x", {.body = "x", .piece_delay_ms = 100000});
    sock *from = http_open(server.url("/x").c_str());
    ASSERT_NE(from, nullptr);
    int connections = 0;
    for (int fd = 0; fd < 256; fd++) {
        sockaddr_in peer = {};
        socklen_t size = sizeof(peer);
        if (getpeername(fd, reinterpret_cast<sockaddr *>(&peer), &size) != 0 ||
            peer.sin_family != AF_INET)
            continue;
        connections++;
        EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0) << fd;
    }
    EXPECT_GE(connections, 1);
    sock_close(from);
}

TEST_F(sock_http, asks_no_proxy)
{
    setenv("http_proxy", "http://127.0.0.1:1", 1);
    EXPECT_EQ(get_of({.body = "direct"}), (outcome{"direct", 0}));
    unsetenv("http_proxy");
}

TEST_F(sock_http, fails_on_request)
{
    server.answer("/x", {.body = "ok"});
    fault_set("http_open:1");
    EXPECT_EQ(get(server.url("/x")), not_opened);
    EXPECT_EQ(get(server.url("/x")), (outcome{"ok", 0}));
    fault_set("sock_read");
    EXPECT_EQ(get(server.url("/x")), (outcome{"", -1}));
    fault_set("sock_init");
    EXPECT_EQ(sock_init(), -1);
    fault_set("sock_exit:1");
    EXPECT_EQ(sock_exit(), -1);
    EXPECT_EQ(get(server.url("/x")), not_opened);
}

TEST(sock, accepts_null)
{
    char byte = 0;
    EXPECT_EQ(sock_close(nullptr), 0);
    EXPECT_EQ(sock_read(nullptr, &byte, 1), -1);
    EXPECT_EQ(sock_exit(), 0);
}

static bool is_mapped(const char *name)
{
    FILE *maps = fopen("/proc/self/maps", "r");
    char line[4096];
    bool found = false;
    while (maps && fgets(line, sizeof(line), maps))
        found = found || strstr(line, name);
    if (maps)
        fclose(maps);
    return found;
}

/* In a program of its own, because the library stays loaded. */
TEST(sock, loads_the_library_only_when_a_host_is_asked)
{
    if (!can_run_again())
        GTEST_SKIP() << "an emulator's program starts no other one of its kind";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            const bool before = is_mapped("libcurl");
            (void)sock_init();
            (void)http_open("no address");
            const bool idle = is_mapped("libcurl");
            sock_patience_ms = 500;
            (void)http_open("http://127.0.0.1:1/");
            _exit(!before && !idle && is_mapped("libcurl") ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}
