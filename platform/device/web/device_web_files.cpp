/* device_web_files: answers requests: the page's own files which are part of the program, and files that a
 * page sends. */
#include "platform/device/web/device_web.h"

#include <cstdlib>
#include <cstring>
#include <libwebsockets.h>

/* A length in decimal digits, as a browser always sends it. */
static bool read_length(lws *connection, uint64_t *length)
{
    web_header text;
    const char *value = web_http_header(connection, WSI_TOKEN_HTTP_CONTENT_LENGTH, text);
    if (!value || strlen(value) > 15 || strspn(value, "0123456789") != strlen(value))
        return false;
    *length = strtoull(value, nullptr, 10);
    return true;
}

static int begin_upload(lws *connection, web_upload *upload)
{
    web_header text;
    uint64_t bytes = 0;
    if (!web_http_page_is_ours(&web_audience_gate, connection))
        return web_http_refuse(connection, {403, "Only the player's own page sends files."});
    if (!read_length(connection, &bytes) || bytes == 0)
        return web_http_refuse(connection, {411, "An empty file is not taken."});
    const web_answer begun =
        web_upload_begin(upload, web_http_argument(connection, "name", text), bytes);
    return begun.status == 200 ? 0 : web_http_refuse(connection, begun);
}

static int take_request(lws *connection, web_upload *upload, const char *path)
{
    if (!web_http_host_is_ours(&web_audience_gate, connection))
        return web_http_refuse(connection, {403, "The player is not known under that name."});
    if (lws_hdr_total_length(connection, WSI_TOKEN_POST_URI) > 0)
        return strcmp(path, "/upload") == 0
                   ? begin_upload(connection, upload)
                   : web_http_refuse(connection, {404, "Nothing is taken here."});
    if (lws_hdr_total_length(connection, WSI_TOKEN_GET_URI) <= 0)
        return web_http_refuse(connection, {405, "That cannot be asked for."});
    if ((strcmp(path, "/") == 0 || strcmp(path, "/index.html") == 0) &&
        !web_http_token_is_ours(&web_audience_gate, connection))
        return web_http_answer(connection,
                               {403, "The address needs its token: look where the player was "
                                     "started."});
    return web_http_serve(connection, web_page_files, path,
                          {.within = web_audience_within[0] ? web_audience_within : nullptr});
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
        return web_http_answer(connection, web_upload_finish(upload));
    case LWS_CALLBACK_HTTP_DROP_PROTOCOL:
    case LWS_CALLBACK_CLOSED_HTTP:
        if (upload)
            web_upload_abort(upload);
        return 0;
    default:
        return 0;
    }
}
