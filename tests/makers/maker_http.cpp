/* maker_http: an HTTP server on 127.0.0.1 that answers, or misbehaves, as told. */
#include "makers/maker_http.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

typedef std::pair<std::string, std::string> header;

struct maker_http::state {
    int listener = -1;
    int port = 0;
    int stop_ends[2] = {-1, -1}; /* the reading end becomes ready when the server stops */
    std::thread acceptor;
    mutable std::mutex lock;
    mutable std::condition_variable changed;
    std::map<std::string, maker_http_answer> answers;
    std::function<maker_http_answer(const maker_http_request &)> fallback;
    std::vector<maker_http_request> requests;
    std::vector<std::thread> threads;
    size_t open = 0;
};

typedef maker_http::state server;

/* Sleeps unless the server stops. */
static bool pause_ms(const server &own, int ms)
{
    pollfd stopping = {.fd = own.stop_ends[0], .events = POLLIN, .revents = 0};
    return ms <= 0 || poll(&stopping, 1, ms) == 0;
}

/* Waits until the connection can be used; false when the server stops. */
static bool ready(const server &own, int fd, short events)
{
    pollfd both[2] = {{.fd = own.stop_ends[0], .events = POLLIN, .revents = 0},
                      {.fd = fd, .events = events, .revents = 0}};
    return poll(both, 2, -1) > 0 && both[0].revents == 0;
}

static bool send_all(const server &own, int fd, const std::string &bytes)
{
    for (size_t at = 0; at < bytes.size();) {
        if (!ready(own, fd, POLLOUT))
            return false;
        const ssize_t sent =
            send(fd, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && errno == EAGAIN)
            continue;
        if (sent <= 0)
            return false;
        at += static_cast<size_t>(sent);
    }
    return true;
}

static bool receive_request(const server &own, int fd, maker_http_request *request)
{
    while (request->head.find("\r\n\r\n") == std::string::npos) {
        char piece[4096];
        if (!ready(own, fd, POLLIN))
            return false;
        const ssize_t got = recv(fd, piece, sizeof(piece), 0);
        if (got <= 0)
            return false;
        request->head.append(piece, static_cast<size_t>(got));
    }
    const size_t first = request->head.find(' ');
    const size_t second = request->head.find(' ', first + 1);
    if (first == std::string::npos || second == std::string::npos)
        return false;
    request->method = request->head.substr(0, first);
    request->target = request->head.substr(first + 1, second - first - 1);
    return true;
}

/* An answer without a length is delimited by the end of its connection. */
static std::vector<std::string> head_lines(const maker_http_answer &answer)
{
    std::vector<std::string> lines = {"HTTP/1.1 " + std::to_string(answer.status) + " Answer\r\n"};
    for (const header &field : answer.headers)
        lines.push_back(field.first + ": " + field.second + "\r\n");
    if (answer.chunked)
        lines.push_back("Transfer-Encoding: chunked\r\n");
    else if (answer.announce != -2 && !(answer.endless && answer.announce == -1))
        lines.push_back("Content-Length: " +
                        std::to_string(answer.announce == -1
                                           ? static_cast<int64_t>(answer.body.size())
                                           : answer.announce) +
                        "\r\n");
    lines.push_back("Connection: close\r\n");
    lines.push_back("\r\n");
    return lines;
}

static std::string chunk(const std::string &piece)
{
    char size[32];
    snprintf(size, sizeof(size), "%zx\r\n", piece.size());
    return size + piece + "\r\n";
}

static bool send_head(const server &own, int fd, const maker_http_answer &answer)
{
    if (!pause_ms(own, answer.head_delay_ms))
        return false;
    const std::vector<std::string> lines = head_lines(answer);
    if (answer.line_delay_ms == 0) {
        std::string whole;
        for (const std::string &line : lines)
            whole += line;
        return send_all(own, fd, whole);
    }
    for (const std::string &line : lines)
        if (!send_all(own, fd, line) || !pause_ms(own, answer.line_delay_ms))
            return false;
    return true;
}

/* Torn down, not closed: the reader sees an error even where no length was announced. */
static void tear_down(int fd)
{
    const linger at_once = {.l_onoff = 1, .l_linger = 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &at_once, sizeof(at_once));
}

/* True when the body went out whole. */
static bool send_body(const server &own, int fd, const maker_http_answer &answer)
{
    int64_t sent = 0;
    do {
        for (size_t at = 0; at < answer.body.size();) {
            size_t length = std::min(answer.piece, answer.body.size() - at);
            if (answer.cut_after >= 0)
                length = std::min(length, static_cast<size_t>(answer.cut_after - sent));
            if (length == 0)
                return false;
            const std::string piece = answer.body.substr(at, length);
            if (!pause_ms(own, answer.piece_delay_ms) ||
                !send_all(own, fd, answer.chunked ? chunk(piece) : piece))
                return false;
            at += length;
            sent += static_cast<int64_t>(length);
        }
    } while (answer.endless && !answer.body.empty());
    return answer.cut_after < 0 || sent < answer.cut_after;
}

/* What was sent must reach the reader before the end of the connection does. */
static void drain(const server &own, int fd)
{
    shutdown(fd, SHUT_WR);
    char rest[256];
    while (ready(own, fd, POLLIN) && recv(fd, rest, sizeof(rest), 0) > 0)
        continue;
}

/* Lets what was sent arrive: tearing a connection down drops what is still on its way. */
static void flush_out(const server &own, int fd)
{
    for (int i = 0; i < 200; i++) {
        tcp_info info = {};
        socklen_t size = sizeof(info);
        if (getsockopt(fd, IPPROTO_TCP, TCP_INFO, &info, &size) != 0 || info.tcpi_unacked == 0)
            return;
        if (!pause_ms(own, 5))
            return;
    }
}

static void send_answer(const server &own, int fd, const maker_http_answer &answer)
{
    if (answer.silent) {
        (void)pause_ms(own, 1000000);
        return;
    }
    if (!answer.raw.empty()) {
        if (send_all(own, fd, answer.raw))
            drain(own, fd);
        return;
    }
    if (!send_head(own, fd, answer))
        return;
    if (!send_body(own, fd, answer)) {
        flush_out(own, fd);
        tear_down(fd);
        return;
    }
    if (!answer.chunked || send_all(own, fd, "0\r\n\r\n"))
        drain(own, fd);
}

static maker_http_answer choose_answer(server *own, const maker_http_request &request)
{
    std::unique_lock guard(own->lock);
    own->requests.push_back(request);
    own->changed.notify_all();
    const auto found = own->answers.find(request.target);
    if (found != own->answers.end())
        return found->second;
    const auto fallback = own->fallback;
    guard.unlock();
    return fallback ? fallback(request) : maker_http_answer{.status = 404, .body = "nothing here"};
}

static void serve(server *own, int fd)
{
    maker_http_request request;
    if (receive_request(*own, fd, &request))
        send_answer(*own, fd, choose_answer(own, request));
    close(fd);
    const std::lock_guard guard(own->lock);
    own->open--;
    own->changed.notify_all();
}

static void accept_all(server *own)
{
    while (ready(*own, own->listener, POLLIN)) {
        const int fd = accept4(own->listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0)
            continue;
        const int on = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
        const std::lock_guard guard(own->lock);
        own->open++;
        own->threads.emplace_back(serve, own, fd);
    }
}

maker_http::maker_http() : own(new state)
{
    own->listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    sockaddr *plain = reinterpret_cast<sockaddr *>(&address);
    if (bind(own->listener, plain, size) != 0 || listen(own->listener, 128) != 0 ||
        getsockname(own->listener, plain, &size) != 0 || pipe2(own->stop_ends, O_CLOEXEC) != 0)
        abort();
    own->port = ntohs(address.sin_port);
    own->acceptor = std::thread(accept_all, own.get());
}

maker_http::~maker_http()
{
    stop();
    close(own->stop_ends[0]);
}

void maker_http::stop()
{
    if (own->stop_ends[1] < 0)
        return;
    close(own->stop_ends[1]); /* the other end is ready from now on */
    own->stop_ends[1] = -1;
    own->acceptor.join();
    close(own->listener);
    for (std::thread &thread : own->threads)
        thread.join();
}

int maker_http::port() const
{
    return own->port;
}

std::string maker_http::host() const
{
    return "127.0.0.1:" + std::to_string(own->port);
}

std::string maker_http::url(const std::string &target) const
{
    return "http://" + host() + target;
}

void maker_http::answer(const std::string &target, const maker_http_answer &answer)
{
    const std::lock_guard guard(own->lock);
    own->answers[target] = answer;
}

void maker_http::answer_all(std::function<maker_http_answer(const maker_http_request &)> answer)
{
    const std::lock_guard guard(own->lock);
    own->fallback = std::move(answer);
}

std::vector<maker_http_request> maker_http::requests() const
{
    const std::lock_guard guard(own->lock);
    return own->requests;
}

bool maker_http::wait_for_requests(size_t count, int ms) const
{
    std::unique_lock guard(own->lock);
    return own->changed.wait_for(guard, std::chrono::milliseconds(ms),
                                 [&] { return own->requests.size() >= count; });
}

bool maker_http::wait_until_idle(int ms) const
{
    std::unique_lock guard(own->lock);
    return own->changed.wait_for(guard, std::chrono::milliseconds(ms),
                                 [&] { return own->open == 0; });
}
