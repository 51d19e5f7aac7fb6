/* web_gate: which requests are those of our own page. A page from elsewhere in the same browser can
 * reach this machine's ports: it is told by its Origin, and by the Host when its name was made to point
 * here. Any thread. */
#pragma once

struct web_gate {
    int port;
    bool wide;         /* other machines reach it, too: the token is wanted */
    char token[33];    /* hexadecimal digits; "" where none is wanted */
    char machine[256]; /* this machine's name */
};

/* A port as somebody asks for it, 0 to 65535; -1 for any other text. */
int web_port_of(const char *text);
/* Whether an address to listen at can be reached only from this machine. */
bool web_is_loopback(const char *address);
/* host: as the request has it, "127.0.0.1:8320", "[::1]:8320", "localhost:8320"; may be null. Behind
 * a wide gate any number and the machine's name are good: a foreign name is what cannot be. */
bool web_host_is_ours(const web_gate *gate, const char *host);
/* The Origin of a page that came from `host`; both may be null. */
bool web_origin_is_ours(const char *origin, const char *host);
/* token: as the request has it; may be null. */
bool web_token_is_ours(const web_gate *gate, const char *token);
