/* fuzz_http: what a server answers, byte for byte: heads, chunks, redirects, lies about lengths. */
#include "fuzz/fuzz.h"
#include "platform/base/lock.h"
#include "platform/net/sock.h"

#include <arpa/inet.h>
#include <cctype>
#include <cstring>
#include <netinet/in.h>
#include <pthread.h>
#include <string>
#include <sys/socket.h>

constexpr size_t most_read = 1u << 20;

/* A server that gives every connection the same bytes, and goes away. */
static int listener = -1;
static char address[64];
static constinit sys_lock answer_lock;
static std::string answer GUARDED_BY(answer_lock);

/* A copy: the reader may be gone, and with another answer, before it is sent. */
static std::string copy_answer()
{
    const sys_guard guard(answer_lock);
    return answer;
}

static void set_answer(const std::string &text)
{
    const sys_guard guard(answer_lock);
    answer = text;
}

static void answer_one(int connection)
{
    char request[4096];
    if (read(connection, request, sizeof request) > 0) {
        const std::string text = copy_answer();
        for (size_t at = 0; at < text.size();) {
            const ssize_t sent = send(connection, text.data() + at, text.size() - at, MSG_NOSIGNAL);
            if (sent <= 0)
                break; /* the reader has had enough */
            at += static_cast<size_t>(sent);
        }
        (void)shutdown(connection, SHUT_WR);
    }
    close(connection);
}

static void *serve(void *)
{
    for (int connection; (connection = accept(listener, nullptr, nullptr)) >= 0;)
        answer_one(connection);
    abort();
}

static void start_server()
{
    sockaddr_in where = {};
    socklen_t size = sizeof where;
    where.sin_family = AF_INET;
    where.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    listener = socket(AF_INET, SOCK_STREAM, 0);
    pthread_t thread;
    if (listener < 0 || bind(listener, reinterpret_cast<const sockaddr *>(&where), size) != 0 ||
        listen(listener, 16) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr *>(&where), &size) != 0 ||
        pthread_create(&thread, nullptr, serve, nullptr) != 0 || sock_init() != 0)
        abort();
    snprintf(address, sizeof address, "http://127.0.0.1:%d/", ntohs(where.sin_port));
}

/* The place that a redirect leads to is ours, so that nobody else is asked. */
static std::string with_our_address(const uint8_t *data, size_t size)
{
    std::string text(reinterpret_cast<const char *>(data), size);
    constexpr char place[] = "OURS";
    for (size_t at = 0; (at = text.find(place, at)) != std::string::npos; at += strlen(address))
        text.replace(at, strlen(place), address);
    return text;
}

/* However it is written. */
static bool names_another_host(std::string text)
{
    for (size_t at = 0; (at = text.find(address)) != std::string::npos;)
        text.erase(at, strlen(address));
    for (char &each : text)
        each = static_cast<char>(tolower(static_cast<unsigned char>(each)));
    return text.find("ttp:") != std::string::npos || text.find("//") != std::string::npos ||
           text.find('\\') != std::string::npos;
}

static void read_whole(sock *from)
{
    char piece[1000];
    size_t total = 0;
    const int64_t announced = sock_length(from);
    int got = 0;
    while (total < most_read && (got = sock_read(from, piece, sizeof piece)) > 0) {
        if (got > static_cast<int>(sizeof piece))
            abort();
        total += static_cast<size_t>(got);
    }
    /* A whole body is as long as announced; one that is shorter is told. */
    if (got == 0 && announced >= 0 && total != static_cast<uint64_t>(announced))
        abort();
    if (got <= 0 && sock_read(from, piece, sizeof piece) != got)
        abort(); /* the end is said again and again */
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (listener < 0)
        start_server();
    const std::string text = with_our_address(data, size);
    if (names_another_host(text))
        return 0;
    set_answer(text);
    sock *from = http_open(address);
    if (from)
        read_whole(from);
    if (sock_close(from) != 0)
        abort();
    return 0;
}
