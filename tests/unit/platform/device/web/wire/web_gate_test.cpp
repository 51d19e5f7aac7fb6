#include "platform/device/web/wire/web_gate.h"

#include <gtest/gtest.h>

static const web_gate narrow = {.port = 8320, .wide = false, .token = "", .machine = "desk"};
static const web_gate wide = {.port = 8320, .wide = true, .token = "00ff", .machine = "desk"};

TEST(web_gate, loopback_addresses_are_known)
{
    for (const char *address : {"127.0.0.1", "127.1.2.3", "localhost", "::1"})
        EXPECT_TRUE(web_is_loopback(address)) << address;
    for (const char *address :
         {"0.0.0.0", "192.168.1.2", "::", "127.0.0.1.example", "", "128.0.0.1"})
        EXPECT_FALSE(web_is_loopback(address)) << address;
}

TEST(web_gate, a_port_that_is_asked_for_is_a_number_of_16_bits)
{
    EXPECT_EQ(web_port_of("0"), 0);
    EXPECT_EQ(web_port_of("8320"), 8320);
    EXPECT_EQ(web_port_of("65535"), 65535);
    for (const char *text : {"65536", "99999999999", "-1", "", "page", "8320x", "8320 ", "80.5"})
        EXPECT_EQ(web_port_of(text), -1) << text;
}

TEST(web_gate, hosts_of_this_machine_are_ours)
{
    for (const char *host : {"127.0.0.1:8320", "localhost:8320", "LOCALHOST:8320", "[::1]:8320"}) {
        EXPECT_TRUE(web_host_is_ours(&narrow, host)) << host;
        EXPECT_TRUE(web_host_is_ours(&wide, host)) << host;
    }
}

TEST(web_gate, the_port_is_a_number_and_80_where_none_stands)
{
    web_gate gate = {.port = 80, .wide = false, .token = "", .machine = ""};
    for (const char *host : {"localhost", "localhost:80", "localhost:080", "[::1]"})
        EXPECT_TRUE(web_host_is_ours(&gate, host)) << host;
    EXPECT_FALSE(web_host_is_ours(&gate, "localhost:81"));
    gate.port = 9000;
    EXPECT_TRUE(web_host_is_ours(&gate, "localhost:9000"));
    EXPECT_FALSE(web_host_is_ours(&gate, "localhost"));
    gate.port = 0;
    EXPECT_FALSE(web_host_is_ours(&gate, "localhost:/"));
    EXPECT_FALSE(web_host_is_ours(&gate, "localhost::"));
}

TEST(web_gate, hosts_of_other_names_and_ports_are_not)
{
    for (const char *host :
         {"", ":8320", "127.0.0.1", "127.0.0.1:8321", "127.0.0.1:", "127.0.0.1:8320x", "evil:8320",
          "127.0.0.1.evil.example:8320", "[::1:8320", "[]:8320", "localhost:8320:8320",
          "localhost:99999999999", "localhost:-8320", "localhost: 8320"}) {
        EXPECT_FALSE(web_host_is_ours(&narrow, host)) << host;
        EXPECT_FALSE(web_host_is_ours(&wide, host)) << host;
    }
    EXPECT_FALSE(web_host_is_ours(&narrow, nullptr));
    EXPECT_FALSE(web_host_is_ours(&narrow, (std::string(5000, 'a') + ":8320").c_str()));
}

TEST(web_gate, numbers_and_the_machines_name_pass_a_wide_gate_only)
{
    for (const char *host :
         {"192.168.1.2:8320", "[fe80::1]:8320", "desk:8320", "Desk.local:8320"}) {
        EXPECT_TRUE(web_host_is_ours(&wide, host)) << host;
        EXPECT_FALSE(web_host_is_ours(&narrow, host)) << host;
    }
    EXPECT_FALSE(web_host_is_ours(&wide, "desk.evil.example:8320"));
    const web_gate nameless = {.port = 8320, .wide = true, .token = "00ff", .machine = ""};
    EXPECT_FALSE(web_host_is_ours(&nameless, ".local:8320"));
}

TEST(web_gate, origin_is_the_page_of_the_same_host)
{
    EXPECT_TRUE(web_origin_is_ours("http://localhost:8320", "localhost:8320"));
    EXPECT_FALSE(web_origin_is_ours("http://localhost:8320", "127.0.0.1:8320"));
    EXPECT_FALSE(web_origin_is_ours("https://localhost:8320", "localhost:8320"));
    EXPECT_FALSE(web_origin_is_ours("http://localhost:8320.evil", "localhost:8320"));
    EXPECT_FALSE(web_origin_is_ours("null", "localhost:8320"));
    EXPECT_FALSE(web_origin_is_ours("http://", ""));
    EXPECT_FALSE(web_origin_is_ours(nullptr, "localhost:8320"));
    EXPECT_FALSE(web_origin_is_ours("http://localhost:8320", nullptr));
}

TEST(web_gate, token_is_wanted_by_a_wide_gate_only)
{
    EXPECT_TRUE(web_token_is_ours(&narrow, nullptr));
    EXPECT_TRUE(web_token_is_ours(&wide, "00ff"));
    for (const char *token : {"", "00f", "00fe", "00ff0", "00FF"})
        EXPECT_FALSE(web_token_is_ours(&wide, token)) << token;
    EXPECT_FALSE(web_token_is_ours(&wide, nullptr));
    const web_gate none = {.port = 8320, .wide = true, .token = "", .machine = ""};
    EXPECT_FALSE(web_token_is_ours(&none, "")) << "an empty token opens nothing";
}
