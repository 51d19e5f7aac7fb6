/* web_http: what every page that a program of ours serves has in common: who may ask, what is answered,
 * what a browser may do with it. The skin studio uses it, too. The thread that serves. */
#pragma once

#include "platform/device/web/wire/web_gate.h"

#include <cstddef>
#include <cstdint>

struct lws;
struct lws_context;
struct lws_protocols;

/* A file that is part of the program. */
struct web_page_file {
    const char *name; /* null: the end of the table */
    const uint8_t *bytes;
    size_t length;
};

struct web_answer {
    unsigned status; /* of HTTP */
    const char *text;
};

/* ---- the port ---- */

/* Null when memory runs out. lws_context_destroy() ends it. */
[[nodiscard]] lws_context *web_http_make_context();
/* Listens at an address of this machine; a port of 0 is any free one. Returns the port, or -1. The
 * protocols stay the caller's and live as long as the context. */
[[nodiscard]] int web_http_listen(lws_context *context, const lws_protocols *protocols,
                                  const char *address, int port);

/* ---- a request ---- */

using web_header = char[512];
/* Copies the value of a header that the request came with; null when it is missing or too long. */
const char *web_http_header(lws *connection, int token, web_header &to);
/* The same for an argument of the address. */
const char *web_http_argument(lws *connection, const char *name, web_header &to);
/* Whether the request reached us under a name of ours. */
bool web_http_host_is_ours(const web_gate *gate, lws *connection);
/* Whether it has the token, where one is wanted. */
bool web_http_token_is_ours(const web_gate *gate, lws *connection);
/* Whether it comes from our own page: host, origin and token. */
bool web_http_page_is_ours(const web_gate *gate, lws *connection);

/* ---- answers: each returns what the callback has to return ---- */

/* Origins: whose page may show ours in a frame, and whose ours may show. Null: nobody's. */
struct web_frames {
    const char *within = nullptr, *shows = nullptr;
};
int web_http_respond(lws *connection, unsigned status, const char *type, const void *bytes,
                     size_t length, const web_frames &frames = {});
int web_http_answer(lws *connection, const web_answer &what);
/* What the library hands to the kernel at once. Left to itself it sends pieces of a few kilobytes, or of
 * what a protocol receives at most, a round each; a connection whose last piece is not gone after five
 * seconds it closes, and a studio may draw for as long. */
constexpr size_t web_send_bytes = 1u << 20;
/* What is still to come of the request is not wanted. */
int web_http_refuse(lws *connection, const web_answer &what);
/* The file of that path, "/" for index.html. */
int web_http_serve(lws *connection, const web_page_file *files, const char *path,
                   const web_frames &frames = {});
