/* sock: HTTP GET requests. Any thread. */
#pragma once

#include <cstdint>

struct sock;

[[nodiscard]] int sock_init();
/* Cuts short what still reads: their next result is -1. */
int sock_exit();
/* Sends a GET and waits for the head of the answer. Null for anything but "http://", for an address
 * with blanks or control characters or over 1023 bytes, when nobody answers within 10 s, for more
 * than 5 redirects, and for any final status but 200. The caller closes it. */
[[nodiscard]] sock *http_open(const char *url);
/* The same for a reader that may lose interest. Whenever this call or a later sock_read() waits,
 * `go_on` is asked at least five times a second; once it says false both end as at sock_exit().
 *   go_on    called on the reader's thread
 *   context  handed to go_on; kept until sock_close() */
[[nodiscard]] sock *http_open_while(const char *url, bool (*go_on)(void *context), void *context);
/* Bytes read (> 0), 0 at the end, -1 on an error, on 10 s without progress, or when the body is
 * shorter than announced. */
int sock_read(sock *from, void *to, uint32_t length);
/* Bytes of the whole body as the server announced them, -1 when it did not. */
int64_t sock_length(const sock *from);
/* Accepts null. */
int sock_close(sock *from);
