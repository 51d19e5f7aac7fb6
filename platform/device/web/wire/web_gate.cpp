#include "platform/device/web/wire/web_gate.h"

#include "platform/base/str.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>

constexpr char scheme[] = "http://";
constexpr int default_port = 80;

using host_name = char[256];

bool web_is_loopback(const char *address)
{
    in_addr number = {};
    if (inet_pton(AF_INET, address, &number) == 1)
        return ntohl(number.s_addr) >> 24 == 127;
    return strcmp(address, "localhost") == 0 || strcmp(address, "::1") == 0;
}

int web_port_of(const char *text)
{
    const char *rest = text;
    const int port = str_to_int32(text, &rest);
    return rest != text && *rest == '\0' && port >= 0 && port <= 65535 ? port : -1;
}

static bool read_port(const char *text, int *port)
{
    const char *rest = nullptr;
    if (*text == '\0') {
        *port = default_port;
        return true;
    }
    if (text[0] != ':' || text[1] < '0' || text[1] > '9')
        return false;
    *port = str_to_int32(text + 1, &rest);
    return *rest == '\0';
}

/* "name:port" or "[number]:port", the name without its brackets. */
static bool split(const char *host, host_name &name, int *port)
{
    const bool bracketed = *host == '[';
    const char *start = bracketed ? host + 1 : host;
    const char *end = start + strcspn(start, bracketed ? "]" : ":");
    if (bracketed && *end != ']')
        return false;
    const bool whole = str_format(name, "%.*s", static_cast<int>(end - start), start);
    return whole && name[0] != '\0' && read_port(bracketed ? end + 1 : end, port);
}

static bool is_number(const char *name)
{
    in6_addr number = {};
    return inet_pton(AF_INET, name, &number) == 1 || inet_pton(AF_INET6, name, &number) == 1;
}

static bool is_this_machine(const web_gate *gate, const char *name)
{
    const size_t length = strlen(gate->machine);
    return length > 0 && strncasecmp(name, gate->machine, length) == 0 &&
           (name[length] == '\0' || str_equal_nocase(name + length, ".local"));
}

bool web_host_is_ours(const web_gate *gate, const char *host)
{
    host_name name;
    int port = 0;
    if (!host || !split(host, name, &port) || port != gate->port)
        return false;
    if (str_equal_nocase(name, "localhost") || web_is_loopback(name))
        return true;
    return gate->wide && (is_number(name) || is_this_machine(gate, name));
}

bool web_origin_is_ours(const char *origin, const char *host)
{
    constexpr size_t length = sizeof scheme - 1;
    return origin && host && *host && strncasecmp(origin, scheme, length) == 0 &&
           str_equal_nocase(origin + length, host);
}

/* Takes as long for a wrong token as for one that is nearly right. */
bool web_token_is_ours(const web_gate *gate, const char *token)
{
    if (!gate->wide)
        return true;
    const size_t length = strlen(gate->token);
    if (!token || length == 0 || strlen(token) != length)
        return false;
    int different = 0;
    for (size_t i = 0; i < length; i++)
        different |= gate->token[i] ^ token[i];
    return different == 0;
}
