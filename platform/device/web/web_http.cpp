#include "platform/device/web/web_http.h"

#include "platform/base/str.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <libwebsockets.h>
#include <memory>
#include <new>

constexpr unsigned connections_most = 64;
constexpr size_t head_most = 2048;

struct file_type {
    const char *ending;
    const char *type;
};

static constexpr file_type types[] = {
    {".html", "text/html; charset=utf-8"},
    {".css", "text/css; charset=utf-8"},
    {".js", "text/javascript; charset=utf-8"},
    {".png", "image/png"},
};

struct page_guard {
    const char *name, *value;
};

static constexpr char policy[] =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
    "worker-src 'self'; base-uri 'none'; form-action 'none'; ";

/* Where a token is part of the address, that goes to nobody. */
static constexpr page_guard guards[] = {
    {"x-content-type-options:", "nosniff"},
    {"cross-origin-opener-policy:", "same-origin"},
    {"cross-origin-resource-policy:", "same-origin"},
    {"referrer-policy:", "no-referrer"},
    {"cache-control:", "no-cache"},
};

/* ---- the port ---- */

/* The library makes the whole process ignore broken pipes, also a program that takes its place. */
lws_context *web_http_make_context()
{
    struct sigaction before = {};
    lws_context_creation_info info = {};
    info.port = CONTEXT_PORT_NO_LISTEN;
    info.options = LWS_SERVER_OPTION_EXPLICIT_VHOSTS;
    info.fd_limit_per_thread = connections_most;
    info.server_string = "zerv";   /* the library asserts that there is one */
    lws_set_log_level(0, nullptr); /* what matters we say ourselves */
    (void)sigaction(SIGPIPE, nullptr, &before);
    lws_context *made = lws_create_context(&info);
    (void)sigaction(SIGPIPE, &before, nullptr);
    return made;
}

int web_http_listen(lws_context *context, const lws_protocols *protocols, const char *address,
                    int port)
{
    lws_context_creation_info info = {};
    info.port = port;
    info.iface = address;
    info.protocols = protocols;
    info.vhost_name = "zerv";
    info.options = LWS_SERVER_OPTION_FAIL_UPON_UNABLE_TO_BIND;
    if (!strchr(address, ':'))
        info.options |= LWS_SERVER_OPTION_DISABLE_IPV6;
    info.timeout_secs = 20;
    info.keepalive_timeout = 30;
    lws_vhost *host = lws_create_vhost(context, &info);
    return host ? lws_get_vhost_listen_port(host) : -1;
}

/* ---- a request ---- */

const char *web_http_header(lws *connection, int token, web_header &to)
{
    const int length =
        lws_hdr_copy(connection, to, sizeof to, static_cast<lws_token_indexes>(token));
    return length > 0 ? to : nullptr;
}

/* The library hands out whole "name=value" texts, decoded. */
const char *web_http_argument(lws *connection, const char *name, web_header &to)
{
    const size_t length = strlen(name);
    for (int i = 0;; i++) {
        const int got =
            lws_hdr_copy_fragment(connection, to, sizeof to, WSI_TOKEN_HTTP_URI_ARGS, i);
        if (got < 0)
            return nullptr;
        if (strncmp(to, name, length) == 0 && to[length] == '=')
            return to + length + 1;
    }
}

bool web_http_host_is_ours(const web_gate *gate, lws *connection)
{
    web_header text;
    return web_host_is_ours(gate, web_http_header(connection, WSI_TOKEN_HOST, text));
}

bool web_http_token_is_ours(const web_gate *gate, lws *connection)
{
    web_header text;
    return web_token_is_ours(gate, web_http_argument(connection, "token", text));
}

bool web_http_page_is_ours(const web_gate *gate, lws *connection)
{
    web_header host_text, origin_text;
    const char *host = web_http_header(connection, WSI_TOKEN_HOST, host_text);
    const char *origin = web_http_header(connection, WSI_TOKEN_ORIGIN, origin_text);
    return web_host_is_ours(gate, host) && web_origin_is_ours(origin, host) &&
           web_http_token_is_ours(gate, connection);
}

/* ---- answers ---- */

static bool add_guard(lws *connection, const char *name, const char *value, uint8_t **at,
                      uint8_t *end)
{
    return lws_add_http_header_by_name(connection, reinterpret_cast<const unsigned char *>(name),
                                       reinterpret_cast<const unsigned char *>(value),
                                       static_cast<int>(strlen(value)), at, end) == 0;
}

/* Nothing from elsewhere is loaded, and no page but a named one may hold ours in a frame. */
static bool add_guards(lws *connection, const web_frames &frames, uint8_t **at, uint8_t *end)
{
    char text[512];
    if (!str_format(text, "%sframe-ancestors %s; frame-src %s", policy,
                    frames.within ? frames.within : "'none'",
                    frames.shows ? frames.shows : "'none'") ||
        !add_guard(connection, "content-security-policy:", text, at, end))
        return false;
    for (const page_guard &each : guards) {
        if (!add_guard(connection, each.name, each.value, at, end))
            return false;
    }
    return true;
}

int web_http_respond(lws *connection, unsigned status, const char *type, const void *bytes,
                     size_t length, const web_frames &frames)
{
    const size_t room = std::max(length, head_most);
    const std::unique_ptr<uint8_t[]> buffer(new (std::nothrow) uint8_t[LWS_PRE + room]);
    if (!buffer)
        return -1;
    uint8_t *start = buffer.get() + LWS_PRE, *at = start, *end = start + head_most;
    if (lws_add_http_common_headers(connection, status, type, length, &at, end) ||
        !add_guards(connection, frames, &at, end) ||
        lws_finalize_write_http_header(connection, start, &at, end))
        return -1;
    memcpy(start, bytes, length);
    const bool sent = lws_write(connection, start, length, LWS_WRITE_HTTP_FINAL) >= 0;
    return sent && !lws_http_transaction_completed(connection) ? 0 : -1;
}

int web_http_answer(lws *connection, const web_answer &what)
{
    return web_http_respond(connection, what.status, "text/plain; charset=utf-8", what.text,
                            strlen(what.text));
}

int web_http_refuse(lws *connection, const web_answer &what)
{
    (void)web_http_answer(connection, what);
    return -1;
}

static const char *type_of(const char *name)
{
    const char *ending = strrchr(name, '.');
    for (const file_type &each : types) {
        if (ending && strcmp(each.ending, ending) == 0)
            return each.type;
    }
    return "application/octet-stream";
}

int web_http_serve(lws *connection, const web_page_file *files, const char *path,
                   const web_frames &frames)
{
    const char *wanted = strcmp(path, "/") == 0 ? "index.html" : path + 1;
    for (const web_page_file *each = files; each->name; each++) {
        if (strcmp(each->name, wanted) == 0)
            return web_http_respond(connection, 200, type_of(wanted), each->bytes, each->length,
                                    frames);
    }
    return web_http_answer(connection, {404, "There is no such file."});
}
