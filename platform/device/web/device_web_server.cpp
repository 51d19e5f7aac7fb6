/* device_web_server: one port, one thread; the library does HTTP and the sockets. */
#include "platform/base/clock.h"
#include "platform/base/str.h"
#include "platform/device/web/device_web.h"

#include <arpa/inet.h>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ifaddrs.h>
#include <libwebsockets.h>
#include <netinet/in.h>
#include <pthread.h>
#include <sys/random.h>
#include <unistd.h>

constexpr char address_default[] = "127.0.0.1";
constexpr int port_default = 8320;
constexpr int farewell_ms = 300; /* for pages to hear that the program ends */

/* Main thread; set before the thread starts. */
static constinit char address[64] = "";
static constinit lws_context *context = nullptr;
static constinit pthread_t thread = {};
static constinit std::atomic<bool> ending{false};

static int files_callback(lws *connection, lws_callback_reasons reason, void *session, void *in,
                          size_t length)
{
    return web_files_callback(connection, reason, session, in, length);
}

static int pages_callback(lws *connection, lws_callback_reasons reason, void *session, void *in,
                          size_t length)
{
    return web_pages_callback(connection, reason, session, in, length);
}

/* Requests belong to the first; a page's script asks for the second by its name. */
static const lws_protocols protocols[] = {
    {"http", files_callback, sizeof(web_upload), 0, 0, nullptr, web_send_bytes},
    {"zerv", pages_callback, web_page_session_bytes, 64, 0, nullptr, web_send_bytes},
    {nullptr, nullptr, 0, 0, 0, nullptr, 0},
};

/* ---- where ---- */

static const char *setting(const char *name, const char *otherwise)
{
    const char *value = getenv(name);
    return value && *value ? value : otherwise;
}

/* -1: none was asked for; -2: what was asked for is none. */
static int read_port()
{
    const char *text = setting("ZERV_WEB_PORT", nullptr);
    if (!text)
        return -1;
    const int port = web_port_of(text);
    if (port < 0)
        fprintf(stderr, "ZERV_WEB_PORT is no port: %s\n", text);
    return port < 0 ? -2 : port;
}

static int make_token(char (&to)[33])
{
    unsigned char bytes[16];
    if (getrandom(bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes))
        return -1;
    for (size_t i = 0; i < sizeof bytes; i++)
        snprintf(to + i * 2, 3, "%02x", bytes[i]);
    return 0;
}

/* Nothing but a port of this machine: the text becomes part of every answer. */
static void prepare_within()
{
    unsigned port = 0;
    web_audience_within[0] = '\0';
    if (sscanf(setting("ZERV_WEB_WITHIN", ""), "http://127.0.0.1:%5u", &port) == 1)
        (void)str_format(web_audience_within, "http://127.0.0.1:%u", port); /* fits */
}

static int prepare_gate()
{
    web_audience_gate = {};
    if (!str_copy(address, setting("ZERV_WEB_ADDRESS", address_default)))
        return -1;
    web_audience_gate.wide = !web_is_loopback(address);
    if (gethostname(web_audience_gate.machine, sizeof web_audience_gate.machine - 1) != 0)
        web_audience_gate.machine[0] = '\0'; /* numbers will do */
    prepare_within();
    return web_audience_gate.wide ? make_token(web_audience_gate.token) : 0;
}

/* The usual port, and any other where it is taken; the one that was asked for, or none. */
static int listen_somewhere(lws_context *made)
{
    const int asked = read_port(), wanted = asked < 0 ? port_default : asked;
    if (asked < -1)
        return -1;
    int port = web_http_listen(made, protocols, address, wanted);
    if (port < 0 && asked < 0)
        port = web_http_listen(made, protocols, address, 0);
    if (port < 0)
        fprintf(stderr, "there is no page: port %d of %s cannot be used\n", wanted, address);
    web_audience_gate.port = port;
    return port < 0 ? -1 : 0;
}

/* The first number under which others reach this machine. */
static bool find_number(char (&to)[64])
{
    ifaddrs *all = nullptr;
    bool found = false;
    if (getifaddrs(&all) != 0)
        return false;
    for (const ifaddrs *each = all; each && !found; each = each->ifa_next) {
        if (!each->ifa_addr || each->ifa_addr->sa_family != AF_INET)
            continue;
        sockaddr_in about;
        memcpy(&about, each->ifa_addr, sizeof about);
        found = inet_ntop(AF_INET, &about.sin_addr, to, sizeof to) && !web_is_loopback(to);
    }
    freeifaddrs(all);
    return found;
}

static void say_where()
{
    char shown[64];
    const bool everywhere = strcmp(address, "0.0.0.0") == 0 || strcmp(address, "::") == 0;
    if (!everywhere || !find_number(shown))
        (void)str_copy(shown, address); /* same size */
    const bool brackets = strchr(shown, ':') != nullptr;
    printf("Zerv Player is at http://%s%s%s:%d/%s%s - Ctrl-C ends it\n", brackets ? "[" : "", shown,
           brackets ? "]" : "", web_audience_gate.port, web_audience_gate.wide ? "?token=" : "",
           web_audience_gate.token);
    fflush(stdout);
}

/* ---- the thread ---- */

static void *serve(void *)
{
    (void)pthread_setname_np(pthread_self(), "web"); /* a debugger's comfort only */
    while (!ending && lws_service(context, 0) >= 0)
        ;
    const int64_t until = clock_real_msec() + farewell_ms;
    while (!web_pages_end() && clock_real_msec() < until && lws_service(context, -1) >= 0)
        clock_real_msleep(1);
    return nullptr;
}

static int start_thread()
{
    sigset_t all, before;
    sigfillset(&all); /* signals belong to the main thread */
    pthread_sigmask(SIG_BLOCK, &all, &before);
    const int failed = pthread_create(&thread, nullptr, serve, nullptr);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (failed)
        fprintf(stderr, "no thread for the page: %s\n", strerror(failed));
    return failed ? -1 : 0;
}

static void forget_context()
{
    web_audience_serve(nullptr);
    lws_context_destroy(context);
    context = nullptr;
}

int web_server_open()
{
    ending = false;
    web_upload_open();
    lws_context *made = prepare_gate() == 0 ? web_http_make_context() : nullptr;
    if (!made) {
        fprintf(stderr, "there is no page: no memory, or no random numbers\n");
        return -1;
    }
    context = made;
    web_audience_serve(made);
    if (listen_somewhere(made) == 0 && start_thread() == 0) {
        say_where();
        return 0;
    }
    forget_context();
    return -1;
}

int web_server_close()
{
    if (!context)
        return 0;
    ending = true;
    lws_cancel_service(context);
    pthread_join(thread, nullptr);
    forget_context();
    web_pages_forget();
    return 0;
}
