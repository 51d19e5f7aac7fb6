/* Requests while the library's own calls fail: nothing opens, nothing stays behind. */
#include "platform/net/sock.h"

#include "makers/maker_http.h"
#include "platform/net/sock_curl.h"
#include "support/allocations.h"

#include <cstdarg>
#include <gtest/gtest.h>

static sock_curl real;
static int made, freed; /* handles */
static CURLoption refused_option = CURLOPT_LASTENTRY;

static CURL *count_easy_init()
{
    made++;
    return real.easy_init();
}
static CURLM *count_multi_init()
{
    made++;
    return real.multi_init();
}
static void count_easy_cleanup(CURL *easy)
{
    freed++;
    real.easy_cleanup(easy);
}
static CURLMcode count_multi_cleanup(CURLM *multi)
{
    freed++;
    return real.multi_cleanup(multi);
}
/* The library's own type for it names an enumeration last, which clang warns of. */
#ifdef __clang__
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wvarargs"
#endif
static CURLcode refuse_option(CURL *easy, CURLoption option, ...)
{
    va_list arguments;
    va_start(arguments, option);
    void *value = va_arg(arguments, void *); /* all that are set fit into it */
    va_end(arguments);
    return option == refused_option ? CURLE_UNKNOWN_OPTION : real.easy_setopt(easy, option, value);
}
#ifdef __clang__
#pragma clang diagnostic pop
#endif

static CURLcode tell_nothing(CURL *, CURLINFO, ...)
{
    return CURLE_UNKNOWN_OPTION;
}

static CURLMcode goes_on(CURLM *, int *running)
{
    *running = 1;
    return CURLM_OK;
}

struct sock_library : testing::Test {
    maker_http server;
    sock_curl *calls = nullptr;

    void SetUp() override
    {
        ASSERT_EQ(sock_init(), 0);
        ASSERT_NE(sock_curl_get(), nullptr);
        calls = const_cast<sock_curl *>(sock_curl_get()); /* the record is no constant */
        real = *calls;
        calls->easy_init = count_easy_init;
        calls->multi_init = count_multi_init;
        calls->easy_cleanup = count_easy_cleanup;
        calls->multi_cleanup = count_multi_cleanup;
        made = freed = 0;
        server.answer("/x", {.body = "body"});
    }
    void TearDown() override
    {
        *calls = real;
        EXPECT_EQ(freed, made) << "nothing stays behind";
        EXPECT_EQ(sock_exit(), 0);
    }
    /* "(null)" when it does not open, "(failed)" when reading does. */
    std::string get()
    {
        sock *from = http_open(server.url("/x").c_str());
        if (!from)
            return "(null)";
        char text[64];
        const int length = sock_read(from, text, sizeof text);
        EXPECT_EQ(sock_close(from), 0);
        return length < 0 ? "(failed)" : std::string(text, static_cast<size_t>(length));
    }
};

TEST_F(sock_library, that_works_gives_a_body)
{
    EXPECT_EQ(get(), "body");
    EXPECT_EQ(made, 2);
}

TEST_F(sock_library, without_a_handle_opens_nothing)
{
    calls->easy_init = +[]() -> CURL * { return nullptr; };
    EXPECT_EQ(get(), "(null)");
    calls->easy_init = count_easy_init;
    calls->multi_init = +[]() -> CURLM * { return nullptr; };
    EXPECT_EQ(get(), "(null)");
}

TEST_F(sock_library, that_refuses_an_option_opens_nothing)
{
    calls->easy_setopt = refuse_option;
    for (const CURLoption option :
         {CURLOPT_URL, CURLOPT_HTTPGET, CURLOPT_NOSIGNAL, CURLOPT_PROXY, CURLOPT_PROTOCOLS_STR,
          CURLOPT_REDIR_PROTOCOLS_STR, CURLOPT_FOLLOWLOCATION, CURLOPT_MAXREDIRS,
          CURLOPT_HTTP_VERSION, CURLOPT_CONNECTTIMEOUT_MS, CURLOPT_HEADERFUNCTION,
          CURLOPT_HEADERDATA, CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA,
          CURLOPT_OPENSOCKETFUNCTION}) {
        refused_option = option;
        EXPECT_EQ(get(), "(null)") << option;
    }
    EXPECT_TRUE(server.requests().empty());
    refused_option = CURLOPT_QUICK_EXIT;
    EXPECT_EQ(get(), "body") << "older ones do not know it";
    refused_option = CURLOPT_LASTENTRY;
}

TEST_F(sock_library, that_does_not_go_on_fails)
{
    calls->multi_add_handle = +[](CURLM *, CURL *) { return CURLM_OUT_OF_MEMORY; };
    EXPECT_EQ(get(), "(null)");
    calls->multi_add_handle = real.multi_add_handle;
    calls->multi_perform = +[](CURLM *, int *) { return CURLM_OUT_OF_MEMORY; };
    EXPECT_EQ(get(), "(null)");
    calls->multi_perform = goes_on; /* so that there is something to wait for */
    calls->multi_poll =
        +[](CURLM *, curl_waitfd *, unsigned, int, int *) { return CURLM_OUT_OF_MEMORY; };
    EXPECT_EQ(get(), "(null)");
}

TEST_F(sock_library, that_tells_nothing_about_the_answer_has_no_length)
{
    sock *from = http_open(server.url("/x").c_str());
    ASSERT_NE(from, nullptr);
    EXPECT_EQ(sock_length(from), 4);
    calls->easy_getinfo = tell_nothing;
    EXPECT_EQ(sock_length(from), -1);
    EXPECT_EQ(sock_close(from), 0);
    EXPECT_EQ(get(), "(null)") << "nor a status";
}

#ifdef ALLOCATIONS_ARE_COUNTED
TEST_F(sock_library, without_memory_for_the_request_opens_nothing)
{
    const std::string url = server.url("/x");
    allocation_to_fail = 1;
    sock *from = http_open(url.c_str());
    EXPECT_EQ(allocation_to_fail, 0);
    allocation_to_fail = 0;
    EXPECT_EQ(from, nullptr);
    (void)sock_close(from);
    EXPECT_EQ(get(), "body");
}
#endif
