/* sock_fixture: a server on the loopback, and what requests to it give. */
#pragma once

#include "makers/maker_http.h"
#include "platform/base/fault.h"
#include "platform/net/sock.h"
#include "platform/net/sock_private.h"

#include <gtest/gtest.h>
#include <string>

/* Longer than the limit of the test program: who waits for it is noticed there. */
constexpr int32_t never_ms = 1000000;

/* What a whole request gives: "(null)" when it does not open, the body and how it ended. */
struct outcome {
    std::string body;
    int end = 1; /* the last result of sock_read() */

    bool operator==(const outcome &) const = default;
};

inline const outcome not_opened = {"(null)", 1};

inline outcome read_rest(sock *from, uint32_t piece)
{
    outcome seen;
    std::string buffer(piece, '\0');
    while ((seen.end = sock_read(from, buffer.data(), piece)) > 0)
        seen.body.append(buffer, 0, static_cast<size_t>(seen.end));
    return seen;
}

inline outcome get(const std::string &url, uint32_t piece = 1024)
{
    sock *from = http_open(url.c_str());
    if (!from)
        return not_opened;
    const outcome seen = read_rest(from, piece);
    EXPECT_EQ(sock_close(from), 0);
    return seen;
}

struct sock_http : testing::Test {
    maker_http server;

    void SetUp() override
    {
        sock_patience_ms = 10000;
        ASSERT_EQ(sock_init(), 0);
    }
    void TearDown() override
    {
        EXPECT_EQ(sock_exit(), 0);
        fault_set(nullptr);
    }
    outcome get_of(const maker_http_answer &answer, uint32_t piece = 1024)
    {
        server.answer("/x", answer);
        return get(server.url("/x"), piece);
    }
};
