/* The libraries behind requests and signatures: loaded by their names, missing, or not what they seem.
 * Each case is a process of its own, for what is found is kept. */
#include "platform/net/sign.h"
#include "platform/net/sock.h"

#include "makers/maker_http.h"

#include <algorithm>
#include <dlfcn.h>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

static std::vector<std::string> asked; /* names, in their order */
static std::map<std::string, std::string> stand_ins;
static int opened = 0, closed = 0;

template <typename call> static call next_of(const char *name)
{
    return reinterpret_cast<call>(dlsym(RTLD_NEXT, name));
}

/* Both stand before the C library's own. A name without a stand-in is not installed. */
extern "C" void *dlopen(const char *path, int mode) noexcept
{
    using loader = void *(*)(const char *, int);
    asked.emplace_back(path ? path : "");
    const auto found = stand_ins.find(asked.back());
    void *library =
        found == stand_ins.end() ? nullptr : next_of<loader>("dlopen")(found->second.c_str(), mode);
    opened += library != nullptr;
    return library;
}

extern "C" int dlclose(void *library) noexcept
{
    closed++;
    return next_of<int (*)(void *)>("dlclose")(library);
}

/* Whether the work, in a process of its own, comes out as expected. */
static bool comes_out(const std::function<bool()> &work)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(sock_init() == 0 && work() ? 0 : 1);
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

static bool opens_nothing(int tries, int loaded)
{
    sock *from = http_open("http://127.0.0.1:1/x");
    const bool is_null = from == nullptr;
    (void)sock_close(from);
    return is_null && asked.size() == static_cast<size_t>(tries) && opened == loaded &&
           closed == loaded;
}

static bool checks_nothing(int tries, int loaded)
{
    sign_check *check = sign_check_new();
    const bool is_null = check == nullptr;
    (void)sign_check_free(check);
    return is_null && asked.size() == static_cast<size_t>(tries) && opened == loaded &&
           closed == loaded;
}

TEST(net_library, one_that_is_missing_is_looked_for_once_under_each_name)
{
    EXPECT_TRUE(comes_out([] { return opens_nothing(3, 0) && opens_nothing(3, 0); }));
    EXPECT_EQ(asked.size(), 0u) << "in this process nothing was asked yet";
    EXPECT_TRUE(comes_out([] { return checks_nothing(3, 0) && checks_nothing(3, 0); }));
}

TEST(net_library, one_without_the_functions_is_let_go)
{
    stand_ins = {{"libcurl.so.4", "libm.so.6"}, {"libcurl.so", "libm.so.6"}};
    EXPECT_TRUE(comes_out([] { return opens_nothing(3, 2); }));
    stand_ins = {{"libsodium.so.23", "libm.so.6"}, {"libsodium.so", "libm.so.6"}};
    EXPECT_TRUE(comes_out([] { return checks_nothing(3, 2); }));
    stand_ins = {};
}

/* The key of the first test of RFC 8032, over another text: the signature cannot hold. */
TEST(net_library, the_first_that_works_is_taken_and_kept)
{
    stand_ins = {{"libsodium.so.23", "libm.so.6"},
                 {"libsodium.so.26", "libsodium.so.23"},
                 {"libsodium.so", "libsodium.so.23"},
                 {"libcurl-gnutls.so.4", "libcurl.so.4"}};
    EXPECT_TRUE(comes_out([] {
        sign_check *check = sign_check_new();
        if (!check)
            return false;
        sign_check_add(check, "text", 4);
        const uint8_t signature[sign_size] = {}, key[sign_key_size] = {1};
        const bool holds = sign_check_holds(check, signature, key);
        (void)sign_check_free(check);
        (void)sign_check_free(sign_check_new());
        return !holds && asked.size() == 2 && opened - closed == 1;
    }));
    maker_http server;
    server.answer("/x", {.body = "body"});
    const std::string url = server.url("/x");
    EXPECT_TRUE(comes_out([&url] {
        for (int i = 0; i < 2; i++) {
            sock *from = http_open(url.c_str());
            char text[8];
            const bool read = from && sock_read(from, text, sizeof text) == 4;
            (void)sock_close(from);
            if (!read)
                return false;
        }
        return asked.size() >= 2 && asked[0] == "libcurl.so.4" &&
               asked[1] == "libcurl-gnutls.so.4" &&
               std::count(asked.begin(), asked.end(), "libcurl-gnutls.so.4") == 1;
    }));
    stand_ins = {};
}
