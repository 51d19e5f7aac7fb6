/* device_web_files: answers requests: the page's own files which are part of the program, and files that a
 * page sends. */
#include "platform/device/web/device_web.h"
#include "platform/device/web/device_web_page.h"

#include <cstdlib>
#include <cstring>
#include <libwebsockets.h>

struct page_type {
    const char *ending;
    const char *type;
};

static constexpr page_type types[] = {
    {".html", "text/html; charset=utf-8"},
    {".css", "text/css; charset=utf-8"},
    {".js", "text/javascript; charset=utf-8"},
    {".png", "image/png"},
};

struct page_guard {
    const char *name, *value;
};

/* Nothing from elsewhere is loaded, nobody else's page may hold ours in a frame, and where the token
 * is part of the address, that goes to nobody. */
static constexpr page_guard guards[] = {
    {"content-security-policy:",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
     "worker-src 'self'; frame-ancestors 'none'; base-uri 'none'; form-action 'none'"},
    {"x-content-type-options:", "nosniff"},
    {"x-frame-options:", "DENY"},
    {"cross-origin-opener-policy:", "same-origin"},
    {"cross-origin-resource-policy:", "same-origin"},
    {"referrer-policy:", "no-referrer"},
    {"cache-control:", "no-cache"},
};
constexpr size_t head_most = 2048, body_most = 256 * 1024;

/* ---- answers ---- */

static int finish(lws *connection)
{
    return lws_http_transaction_completed(connection) ? -1 : 0;
}

static bool add_guards(lws *connection, uint8_t **at, uint8_t *end)
{
    for (const page_guard &each : guards) {
        const auto *name = reinterpret_cast<const unsigned char *>(each.name);
        const auto *value = reinterpret_cast<const unsigned char *>(each.value);
        if (lws_add_http_header_by_name(connection, name, value,
                                        static_cast<int>(strlen(each.value)), at, end))
            return false;
    }
    return true;
}

/* Returns what the callback has to return. */
static int respond(lws *connection, unsigned status, const char *type, const void *bytes,
                   size_t length)
{
    alignas(8) static constinit uint8_t buffer[LWS_PRE + body_most] = {}; /* server's thread */
    uint8_t *start = buffer + LWS_PRE, *at = start, *end = start + head_most;
    if (length > body_most ||
        lws_add_http_common_headers(connection, status, type, length, &at, end) ||
        !add_guards(connection, &at, end) ||
        lws_finalize_write_http_header(connection, start, &at, end))
        return -1;
    memcpy(start, bytes, length);
    const bool sent = lws_write(connection, start, length, LWS_WRITE_HTTP_FINAL) >= 0;
    return sent ? finish(connection) : -1;
}

static int answer(lws *connection, const web_answer &what)
{
    return respond(connection, what.status, "text/plain; charset=utf-8", what.text,
                   strlen(what.text));
}

/* The rest of what the page is sending is not wanted. */
static int refuse(lws *connection, const web_answer &what)
{
    (void)answer(connection, what);
    return -1;
}

static const char *type_of(const char *name)
{
    const char *ending = strrchr(name, '.');
    for (const page_type &each : types) {
        if (ending && strcmp(each.ending, ending) == 0)
            return each.type;
    }
    return "application/octet-stream";
}

static int serve(lws *connection, const char *path)
{
    const char *wanted = strcmp(path, "/") == 0 ? "index.html" : path + 1;
    for (const web_page_file *each = web_page_files; each->name; each++) {
        if (strcmp(each->name, wanted) == 0)
            return respond(connection, 200, type_of(wanted), each->bytes, each->length);
    }
    return answer(connection, {404, "There is no such file."});
}

/* ---- requests ---- */

static bool token_is_ours(lws *connection)
{
    web_header text;
    return web_token_is_ours(&web_server_gate, web_server_argument(connection, "token", text));
}

/* A length in decimal digits, as a browser always sends it. */
static bool read_length(lws *connection, uint64_t *length)
{
    web_header text;
    const char *value = web_server_header(connection, WSI_TOKEN_HTTP_CONTENT_LENGTH, text);
    if (!value || strlen(value) > 15 || strspn(value, "0123456789") != strlen(value))
        return false;
    *length = strtoull(value, nullptr, 10);
    return true;
}

static int begin_upload(lws *connection, web_upload *upload, const char *host)
{
    web_header text;
    uint64_t bytes = 0;
    const char *origin = web_server_header(connection, WSI_TOKEN_ORIGIN, text);
    if (!web_origin_is_ours(origin, host) || !token_is_ours(connection))
        return refuse(connection, {403, "Only the player's own page sends files."});
    if (!read_length(connection, &bytes) || bytes == 0)
        return refuse(connection, {411, "An empty file is not taken."});
    const web_answer begun =
        web_upload_begin(upload, web_server_argument(connection, "name", text), bytes);
    return begun.status == 200 ? 0 : refuse(connection, begun);
}

static int take_request(lws *connection, web_upload *upload, const char *path)
{
    web_header text;
    const char *host = web_server_header(connection, WSI_TOKEN_HOST, text);
    if (!web_host_is_ours(&web_server_gate, host))
        return refuse(connection, {403, "The player is not known under that name."});
    if (lws_hdr_total_length(connection, WSI_TOKEN_POST_URI) > 0)
        return strcmp(path, "/upload") == 0 ? begin_upload(connection, upload, host)
                                            : refuse(connection, {404, "Nothing is taken here."});
    if (lws_hdr_total_length(connection, WSI_TOKEN_GET_URI) <= 0)
        return refuse(connection, {405, "That cannot be asked for."});
    if ((strcmp(path, "/") == 0 || strcmp(path, "/index.html") == 0) && !token_is_ours(connection))
        return answer(connection, {403, "The address needs its token: look where the player was "
                                        "started."});
    return serve(connection, path);
}

int web_files_callback(lws *connection, int reason, void *session, void *in, size_t length)
{
    auto *upload = static_cast<web_upload *>(session);
    switch (reason) {
    case LWS_CALLBACK_FILTER_PROTOCOL_CONNECTION:
        return -1; /* a socket has to ask for its own protocol */
    case LWS_CALLBACK_HTTP:
        return take_request(connection, upload, static_cast<const char *>(in));
    case LWS_CALLBACK_HTTP_BODY:
        return web_upload_add(upload, in, length);
    case LWS_CALLBACK_HTTP_BODY_COMPLETION:
        return answer(connection, web_upload_finish(upload));
    case LWS_CALLBACK_HTTP_DROP_PROTOCOL:
    case LWS_CALLBACK_CLOSED_HTTP:
        if (upload)
            web_upload_abort(upload);
        return 0;
    default:
        return 0;
    }
}
