/* sock: HTTP GET requests.
 *
 * Each request is a transfer of its own that runs only while its reader asks for bytes: what has
 * arrived waits in a small buffer, and a full buffer pauses the transfer. So a body of any size
 * costs the same memory, and a reader that stops early reads no further than it keeps. */
#include "platform/net/sock.h"

#include "platform/base/clock.h"
#include "platform/base/fault.h"
#include "platform/base/lock.h"
#include "platform/net/sock_curl.h"
#include "platform/net/sock_private.h"

#include <cstdlib>
#include <cstring>
#include <sys/socket.h>

constexpr size_t sock_address_longest = 1023;
constexpr long sock_redirects = 5;
constexpr int64_t sock_ask_ms = 200; /* how often a reader is asked whether it still waits */
static const char sock_scheme[] = "http://";

enum class sock_head { waiting, accepted, refused };

struct sock {
    const sock_curl *curl;
    CURL *easy;
    CURLM *multi;
    bool (*go_on)(void *context); /* null: the reader never loses interest */
    void *context;
    sock *prev, *next; /* under sock_lock */
    std::atomic<bool> cancelled;
    sock_head head;
    long answers; /* heads begun, one for each redirect and the last */
    bool paused;
    bool done;   /* nothing more comes */
    bool failed; /* and what came is not all */
    size_t at, filled;
    char buffer[CURL_MAX_WRITE_SIZE];
};

constinit std::atomic<int32_t> sock_patience_ms = 10000;

static constinit sys_lock sock_lock;
static constinit sock *sock_first GUARDED_BY(sock_lock) = nullptr;
static constinit bool sock_ready GUARDED_BY(sock_lock) = false;

/* Not the device's clock, which a script may stop. */
static int64_t sock_deadline_ms()
{
    return clock_real_msec() + sock_patience_ms;
}

/* ---- The list of open requests, which sock_exit() cuts short ---- */

static int sock_join(sock *joining)
{
    const sys_guard guard(sock_lock);
    if (!sock_ready)
        return -1;
    joining->next = sock_first;
    if (sock_first)
        sock_first->prev = joining;
    sock_first = joining;
    return 0;
}

static void sock_leave(sock *leaving)
{
    const sys_guard guard(sock_lock);
    if (leaving->prev)
        leaving->prev->next = leaving->next;
    else if (sock_first == leaving)
        sock_first = leaving->next;
    if (leaving->next)
        leaving->next->prev = leaving->prev;
}

/* ---- Called by the library while a transfer runs ---- */

/* The program executes itself again after an update and must not take connections along. */
static curl_socket_t sock_open_socket(void *, curlsocktype, curl_sockaddr *address)
{
    return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

static bool sock_is_blank_line(const char *line, size_t length)
{
    return length > 0 && (line[0] == '\r' || line[0] == '\n');
}

/* Redirects and interim answers are followed by another head. */
static sock_head sock_judge(sock *from)
{
    long status = 0;
    (void)from->curl->easy_getinfo(from->easy, CURLINFO_RESPONSE_CODE, &status);
    if (status == 200)
        return sock_head::accepted;
    return status < 200 || (status >= 300 && status < 400) ? sock_head::waiting
                                                           : sock_head::refused;
}

static size_t sock_take_head(char *line, size_t size, size_t count, void *user)
{
    sock *from = static_cast<sock *>(user);
    const size_t length = size * count;
    /* A chunked body ends in further lines of this kind. */
    if (from->head != sock_head::waiting)
        return length;
    if (length >= 5 && memcmp(line, "HTTP/", 5) == 0)
        from->answers++;
    if (sock_is_blank_line(line, length))
        from->head = sock_judge(from);
    return length;
}

static size_t sock_take_body(char *data, size_t size, size_t count, void *user)
{
    sock *from = static_cast<sock *>(user);
    const size_t length = size * count;
    if (from->head != sock_head::accepted || length > sizeof(from->buffer))
        return 0;
    if (from->at < from->filled) {
        from->paused = true;
        return CURL_WRITEFUNC_PAUSE;
    }
    memcpy(from->buffer, data, length);
    from->at = 0;
    from->filled = length;
    return length;
}

/* ---- A transfer ---- */

/* A handful of options, all of which matter: one that the library does not know ends the request.
 * The last is a kindness of newer versions, which else wait for a name that nobody resolves. */
static bool sock_set_up(sock *to, const char *url)
{
    const auto set = [to](CURLoption option, auto value) {
        return to->curl->easy_setopt(to->easy, option, value) == CURLE_OK;
    };
    const bool done = set(CURLOPT_URL, url) && set(CURLOPT_HTTPGET, 1L) &&
                      set(CURLOPT_NOSIGNAL, 1L) && set(CURLOPT_PROXY, "") &&
                      set(CURLOPT_PROTOCOLS_STR, "http") &&
                      set(CURLOPT_REDIR_PROTOCOLS_STR, "http") && set(CURLOPT_FOLLOWLOCATION, 1L) &&
                      set(CURLOPT_MAXREDIRS, sock_redirects) &&
                      set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1)) &&
                      set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(sock_patience_ms)) &&
                      set(CURLOPT_HEADERFUNCTION, sock_take_head) && set(CURLOPT_HEADERDATA, to) &&
                      set(CURLOPT_WRITEFUNCTION, sock_take_body) && set(CURLOPT_WRITEDATA, to) &&
                      set(CURLOPT_OPENSOCKETFUNCTION, sock_open_socket);
    (void)set(CURLOPT_QUICK_EXIT, 1L);
    return done;
}

static sock *sock_new(const sock_curl *curl, const char *url)
{
    sock *made = static_cast<sock *>(calloc(1, sizeof(sock)));
    if (!made)
        return nullptr;
    made->curl = curl;
    made->easy = curl->easy_init();
    made->multi = curl->multi_init();
    if (made->easy && made->multi && sock_set_up(made, url) &&
        curl->multi_add_handle(made->multi, made->easy) == CURLM_OK && sock_join(made) == 0)
        return made;
    (void)sock_close(made);
    return nullptr;
}

static void sock_fail(sock *from)
{
    from->done = true;
    from->failed = true;
}

/* Lets the transfer go on as far as it can without waiting. */
static void sock_perform(sock *from)
{
    int running = 0;
    if (from->curl->multi_perform(from->multi, &running) != CURLM_OK) {
        sock_fail(from);
        return;
    }
    int left = 0;
    while (const CURLMsg *message = from->curl->multi_info_read(from->multi, &left)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        from->done = true;
        from->failed = message->data.result != CURLE_OK;
    }
}

/* Waits for the network until the deadline or for a moment. A time that ran out, a shutdown and a
 * reader that gave up end the transfer. */
static void sock_wait(sock *from, int64_t deadline_ms)
{
    int64_t left = deadline_ms - clock_real_msec();
    if (from->go_on) {
        left = left < sock_ask_ms ? left : sock_ask_ms;
        if (!from->go_on(from->context))
            from->cancelled = true;
    }
    if (left <= 0 || from->cancelled ||
        from->curl->multi_poll(from->multi, nullptr, 0, static_cast<int>(left), nullptr) !=
            CURLM_OK)
        sock_fail(from);
}

static bool sock_await_head(sock *from)
{
    int64_t deadline = sock_deadline_ms();
    for (;;) {
        const long answers = from->answers;
        sock_perform(from);
        if (from->cancelled || from->head == sock_head::refused)
            return false;
        if (from->head == sock_head::accepted)
            return true;
        if (from->done)
            return false;
        /* Each server on the way has its time, but interim answers do not go on for ever. */
        if (from->answers != answers && from->answers <= sock_redirects)
            deadline = sock_deadline_ms();
        sock_wait(from, deadline);
    }
}

/* Fills the empty buffer, or finds the end. */
static void sock_fill(sock *from)
{
    const int64_t deadline = sock_deadline_ms();
    while (from->at == from->filled && !from->done) {
        if (from->paused) {
            from->paused = false;
            if (from->curl->easy_pause(from->easy, CURLPAUSE_CONT) != CURLE_OK)
                sock_fail(from);
            continue;
        }
        sock_perform(from);
        if (from->at == from->filled && !from->done && !from->paused)
            sock_wait(from, deadline);
    }
}

/* What comes out of a server's answer ends up here as well. */
static bool sock_is_address(const char *url)
{
    if (!url || strncmp(url, sock_scheme, sizeof(sock_scheme) - 1) != 0)
        return false;
    const size_t length = strnlen(url, sock_address_longest + 1);
    if (length > sock_address_longest)
        return false;
    for (size_t i = 0; i < length; i++)
        if (static_cast<unsigned char>(url[i]) <= ' ' || url[i] == 0x7f)
            return false;
    return true;
}

int sock_init()
{
    if (fault_hit("sock_init"))
        return -1;
    const sys_guard guard(sock_lock);
    sock_ready = true;
    return 0;
}

int sock_exit()
{
    const sys_guard guard(sock_lock);
    sock_ready = false;
    for (sock *open = sock_first; open; open = open->next) {
        open->cancelled = true;
        (void)open->curl->multi_wakeup(open->multi);
    }
    return fault_hit("sock_exit") ? -1 : 0;
}

sock *http_open(const char *url)
{
    return http_open_while(url, nullptr, nullptr);
}

sock *http_open_while(const char *url, bool (*go_on)(void *context), void *context)
{
    if (!sock_is_address(url) || fault_hit("http_open"))
        return nullptr;
    const sock_curl *curl = sock_curl_get();
    sock *opened = curl ? sock_new(curl, url) : nullptr;
    if (opened) {
        opened->go_on = go_on;
        opened->context = context;
        if (sock_await_head(opened))
            return opened;
    }
    (void)sock_close(opened);
    return nullptr;
}

int sock_read(sock *from, void *to, uint32_t length)
{
    if (!from || !to || from->cancelled || fault_hit("sock_read"))
        return -1;
    if (length == 0)
        return 0;
    sock_fill(from);
    if (from->cancelled)
        return -1;
    if (from->at == from->filled)
        return from->failed ? -1 : 0;
    const size_t rest = from->filled - from->at;
    const size_t given = rest < length ? rest : length;
    memcpy(to, from->buffer + from->at, given);
    from->at += given;
    return static_cast<int>(given);
}

int64_t sock_length(const sock *from)
{
    curl_off_t length = -1;
    if (from && from->curl->easy_getinfo(from->easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length) !=
                    CURLE_OK)
        return -1;
    return length;
}

int sock_close(sock *from)
{
    if (!from)
        return 0;
    sock_leave(from);
    if (from->multi && from->easy)
        (void)from->curl->multi_remove_handle(from->multi, from->easy);
    if (from->easy)
        from->curl->easy_cleanup(from->easy);
    if (from->multi)
        (void)from->curl->multi_cleanup(from->multi);
    free(from);
    return 0;
}
