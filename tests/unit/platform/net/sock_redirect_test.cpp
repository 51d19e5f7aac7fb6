/* Answers that send on to another address, and answers whose pages nobody waits for. */
#include "unit/platform/net/sock_fixture.h"

static maker_http_answer redirect_to(const std::string &where)
{
    return {.status = 302, .headers = {{"Location", where}}, .body = "elsewhere"};
}

TEST_F(sock_http, follows_five_redirects_and_no_more)
{
    server.answer("/0", {.body = "here"});
    for (int i = 1; i <= 6; i++)
        server.answer("/" + std::to_string(i), redirect_to("/" + std::to_string(i - 1)));
    EXPECT_EQ(get(server.url("/5")), (outcome{"here", 0}));
    EXPECT_EQ(get(server.url("/6")), not_opened);
    EXPECT_EQ(server.requests().size(), 6u + 6u);
}

TEST_F(sock_http, follows_every_kind_of_redirect)
{
    server.answer("/y", {.body = "here"});
    for (const int status : {300, 301, 302, 303, 307, 308})
        EXPECT_EQ(get_of({.status = status, .headers = {{"Location", "/y"}}, .body = "elsewhere"}),
                  (outcome{"here", 0}))
            << status;
    EXPECT_EQ(get_of({.status = 400, .headers = {{"Location", "/y"}}, .body = "elsewhere"}),
              not_opened);
}

TEST_F(sock_http, ends_a_circle_of_redirects)
{
    server.answer("/a", redirect_to(server.url("/b")));
    server.answer("/b", redirect_to(server.url("/a")));
    EXPECT_EQ(get(server.url("/a")), not_opened);
    EXPECT_EQ(server.requests().size(), 6u);
}

TEST_F(sock_http, follows_redirects_to_http_only)
{
    for (const char *where : {"file:///etc/hostname", "https://127.0.0.1/", "ftp://127.0.0.1/x",
                              "gopher://127.0.0.1/x", "javascript:1", "http://", "//"})
        EXPECT_EQ(get_of(redirect_to(where)), not_opened) << where;
}

TEST_F(sock_http, waits_for_no_page_of_a_refusal)
{
    sock_patience_ms = never_ms;
    for (const int status : {299, 400, 404})
        EXPECT_EQ(get_of({.status = status, .body = "page", .piece_delay_ms = never_ms}),
                  not_opened)
            << status;
}

TEST_F(sock_http, waits_for_no_page_of_a_redirect_to_nowhere)
{
    sock_patience_ms = never_ms;
    EXPECT_EQ(get_of({.status = 302, .body = std::string(65536, 'p'), .endless = true}),
              not_opened);
}

TEST_F(sock_http, gives_a_head_its_time_and_not_each_line_of_it)
{
    sock_patience_ms = 300;
    maker_http_answer answer = {.body = "late", .line_delay_ms = 50};
    for (int i = 0; i < 30; i++)
        answer.headers.emplace_back("X-" + std::to_string(i), "line");
    EXPECT_EQ(get_of(answer), not_opened);
}

TEST_F(sock_http, gives_up_on_a_redirect_whose_page_never_ends)
{
    sock_patience_ms = 300;
    server.answer("/b", {.body = "x"});
    maker_http_answer answer = redirect_to("/b");
    answer.endless = true;
    answer.piece_delay_ms = 10;
    server.answer("/x", answer);
    const outcome seen = get(server.url("/x"));
    EXPECT_TRUE(seen == (outcome{"x", 0}) || seen == not_opened) << seen.body;
}

TEST_F(sock_http, gives_each_server_on_the_way_its_time)
{
    sock_patience_ms = 400;
    server.answer("/0", {.body = "here", .head_delay_ms = 250});
    maker_http_answer answer = redirect_to("/0");
    answer.head_delay_ms = 250;
    server.answer("/1", answer);
    EXPECT_EQ(get(server.url("/1")), (outcome{"here", 0}));
}
