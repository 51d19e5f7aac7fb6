/* studio_server: the studio's port, its requests, and the look at the folder. */
#include "tools/zerv_skin/studio.h"

#include "platform/base/str.h"
#include "platform/draw/fb.h"
#include "tools/zerv_skin/cli.h"
#include "tools/zerv_skin/picture.h"
#include "tools/zerv_skin/watch.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <libwebsockets.h>

constexpr char address[] = "127.0.0.1";
constexpr int port_default = 8330;
constexpr uint32_t look_ms = 100; /* how soon a change is seen */
constexpr int status_error = 2;

static constinit studio *current = nullptr;
static constinit lws_context *context = nullptr;
static constinit const lws_protocols *sockets = nullptr; /* told of each change */
static constinit web_gate gate = {};
static constinit lws_sorted_usec_list_t look_timer = {};
static constinit bool failed = false;
static constinit uint32_t pages = 0; /* that look on; without any, nobody looks at the folder */

/* ---- answers ---- */

static int give(lws *connection, const char *type, const studio_file &file)
{
    if (file.bytes.empty())
        return web_http_answer(connection, {409, file.reason.c_str()});
    return web_http_respond(connection, 200, type, file.bytes.data(), file.bytes.size());
}

static int give_picture(lws *connection)
{
    web_header text;
    const char *wanted = web_http_argument(connection, "scene", text);
    for (const scene &each : current->package.scenes) {
        if (!wanted || each.name != wanted)
            continue;
        return give(connection, "image/png",
                    {picture_encode_surface(scene_draw(each, false, false)), "no memory"});
    }
    return web_http_answer(connection, {404, "There is no such scene."});
}

static int give_about(lws *connection)
{
    return web_http_respond(connection, 200, "application/json", current->about.data(),
                            current->about.size());
}

static int give_package(lws *connection)
{
    return give(connection, "application/zip", studio_package(current));
}

static int give_sheet(lws *connection)
{
    return give(connection, "image/png", studio_sheet(current));
}

static int make_gallery(lws *connection)
{
    return web_http_answer(connection, studio_gallery(current));
}

static int start_player(lws *connection)
{
    char origin[64];
    (void)str_format(origin, "http://%s:%d", address, gate.port); /* fits */
    const std::string found = studio_play(current, origin);
    if (found.empty())
        return web_http_answer(connection,
                               {409, "The player cannot be started; the terminal of the "
                                     "studio says why."});
    return web_http_answer(connection, {200, found.c_str()});
}

struct request {
    const char *path;
    bool changes; /* something: only our own page may ask */
    int (*answer)(lws *connection);
};

static constexpr request requests[] = {
    {"/picture", false, give_picture},     {"/skin.json", false, give_about},
    {"/package.zip", false, give_package}, {"/sheet.png", false, give_sheet},
    {"/gallery", true, make_gallery},      {"/play", true, start_player},
};

static int take_request(lws *connection, const char *path)
{
    const bool posted = lws_hdr_total_length(connection, WSI_TOKEN_POST_URI) > 0;
    if (!web_http_host_is_ours(&gate, connection))
        return web_http_refuse(connection, {403, "The studio is not known under that name."});
    for (const request &each : requests) {
        if (strcmp(each.path, path) != 0)
            continue;
        if (each.changes != posted || (posted && !web_http_page_is_ours(&gate, connection)))
            return web_http_refuse(connection, {403, "Only the studio's own page may do that."});
        return each.answer(connection);
    }
    if (posted)
        return web_http_refuse(connection, {404, "Nothing is taken here."});
    /* Any port of this machine: which one the player will have is not known before it runs. */
    return web_http_serve(connection, studio_page_files, path, {.shows = "http://127.0.0.1:*"});
}

static int requests_callback(lws *connection, lws_callback_reasons reason, void *, void *in, size_t)
{
    if (reason == LWS_CALLBACK_HTTP)
        return take_request(connection, static_cast<const char *>(in));
    return reason == LWS_CALLBACK_FILTER_PROTOCOL_CONNECTION ? -1 : 0;
}

/* ---- changes ---- */

static void look(lws_sorted_usec_list_t *)
{
    const uint64_t now = watch_fingerprint(current->options->subject);
    if (now != current->fingerprint) {
        current->fingerprint = now;
        failed = studio_read(current) != 0;
        if (current->errors == 0)
            studio_play_follow(); /* what the player refuses it would replace by another skin */
        lws_callback_on_writable_all_protocol(context, sockets);
    }
    if (pages > 0)
        lws_sul_schedule(context, 0, &look_timer, look, look_ms * LWS_US_PER_MS);
}

/* ---- sockets: they hear of each change, and say nothing ---- */

static int tell_made(lws *connection)
{
    uint8_t buffer[LWS_PRE + 32] = {};
    const int length =
        snprintf(reinterpret_cast<char *>(buffer + LWS_PRE), 32, "%u", current->made);
    return lws_write(connection, buffer + LWS_PRE, static_cast<size_t>(length), LWS_WRITE_TEXT) < 0
               ? -1
               : 0;
}

static int sockets_callback(lws *connection, lws_callback_reasons reason, void *, void *, size_t)
{
    switch (reason) {
    case LWS_CALLBACK_FILTER_PROTOCOL_CONNECTION:
        return web_http_page_is_ours(&gate, connection) ? 0 : -1;
    case LWS_CALLBACK_ESTABLISHED:
        pages++;
        lws_callback_on_writable(connection);
        look(nullptr);
        return 0;
    case LWS_CALLBACK_CLOSED:
        pages--;
        return 0;
    case LWS_CALLBACK_SERVER_WRITEABLE:
        return tell_made(connection);
    case LWS_CALLBACK_RECEIVE:
        return -1; /* the page has nothing to say */
    default:
        return 0;
    }
}

static const lws_protocols protocols[] = {
    {"http", requests_callback, 0, 0, 0, nullptr, web_send_bytes},
    {"zerv-studio", sockets_callback, 0, 64, 0, nullptr, web_send_bytes},
    {nullptr, nullptr, 0, 0, 0, nullptr, 0},
};

/* ---- the port ---- */

static int open_port()
{
    const char *text = getenv("ZERV_WEB_PORT");
    const bool asked = text && *text;
    const int wanted = asked ? web_port_of(text) : port_default;
    if (wanted < 0) {
        fprintf(stderr, "zerv-skin: ZERV_WEB_PORT is no port: %s\n", text);
        return -1;
    }
    gate.port = web_http_listen(context, protocols, address, wanted);
    if (gate.port < 0 && !asked)
        gate.port = web_http_listen(context, protocols, address, 0);
    if (gate.port < 0)
        fprintf(stderr, "zerv-skin: port %d of %s cannot be used\n", wanted, address);
    return gate.port < 0 ? -1 : 0;
}

static int run()
{
    sockets = &protocols[1];
    if (open_port() != 0)
        return status_error;
    current->fingerprint = watch_fingerprint(current->options->subject);
    if (studio_read(current) != 0)
        return status_error;
    printf("The studio is at http://%s:%d/ - Ctrl-C ends it\n", address, gate.port);
    fflush(stdout);
    while (!watch_ends() && !failed && lws_service(context, 0) >= 0)
        ;
    return failed ? status_error : 0;
}

int studio_serve(studio *of)
{
    current = of;
    context = web_http_make_context();
    const int status = context ? run() : status_error;
    if (context)
        lws_context_destroy(context);
    studio_play_end();
    context = nullptr;
    current = nullptr;
    return status;
}
