#include "view/lyrics/lyrics_fetch.h"

#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/file/file.h"
#include "platform/net/sock.h"
#include "view/lyrics/lyrics_key.h"
#include "view/lyrics/lyrics_parse.h"

#include <cstdlib>
#include <cstring>

/* No song has more words; a longer answer is a fault of the service and ends like one. */
constexpr size_t largest_answer = 1u << 20;

static const char *lyrics_host()
{
    const char *host = getenv("ZERV_LYRICS_HOST");
    return host ? host : ZERV_LYRICS_HOST;
}

/* An answer, collected before its file is made, so that a program that ends meanwhile leaves no
 * half of one. */
struct answer {
    char *text; /* owned */
    size_t size, capacity;
};

static int free_answer(answer *received)
{
    free(received->text);
    return 0;
}

static int append(answer *received, const char *piece, size_t size)
{
    if (received->size + size > received->capacity) {
        const size_t capacity = (received->size + size) * 2;
        auto *text = static_cast<char *>(realloc(received->text, capacity));
        if (!text)
            return -1;
        received->text = text;
        received->capacity = capacity;
    }
    memcpy(received->text + received->size, piece, size);
    received->size += size;
    return 0;
}

/* 0 when it ended, 1 when it broke off, -1 when nobody wants it any more. */
static int read_answer(sock *from, answer *received, bool (*go_on)(void *), void *context)
{
    char piece[1024];
    for (;;) {
        const int got = sock_read(from, piece, sizeof piece);
        if (!go_on(context))
            return -1;
        if (got <= 0)
            return got == 0 ? 0 : 1;
        if (append(received, piece, static_cast<size_t>(got)) != 0)
            return -1;
        if (received->size > largest_answer)
            return 1;
    }
}

/* Whether a line begins a page in HTML. */
static bool is_page(const char *line)
{
    line += strspn(line, "\xef\xbb\xbf \t\r");
    return str_starts_nocase(line, "<html") || str_starts_nocase(line, "<!doctype html");
}

/* Whether some line has a time and none of it is a page for people, as the log-in of a hotel's
 * network sends it to whatever was asked. */
static bool is_lyrics(const answer *received)
{
    bool timed = false;
    uint32_t time = 0;
    const char *text = nullptr;
    size_t length = 0;
    for (const char *line = received->text; *line;
         line += strcspn(line, "\n"), line += *line != 0) {
        if (is_page(line))
            return false;
        timed = timed || lyrics_parse_line(line, &time, &text, &length);
    }
    return timed;
}

/* Whole or not at all, even when the program ends meanwhile: half of it would pass for the track's
 * lyrics for good. An empty answer is one: there are none. */
static int store(answer *received, const char *path)
{
    if (append(received, "", 1) != 0)
        return -1;
    received->size--;
    if (received->size > 0 && !is_lyrics(received))
        return -1;
    return file_replace_all(path, received->text, received->size);
}

bool lyrics_host_is_known()
{
    return *lyrics_host() != '\0';
}

int lyrics_fetch(const char *track_path, const char *lyrics_path, bool (*go_on)(void *),
                 void *context)
{
    char key[lyrics_key_size];
    char address[1024];
    if (!lyrics_host_is_known() || lyrics_key(track_path, key) != 0 ||
        !str_format(address, "http://%s/live-lyrics/fetch/%s", lyrics_host(), key) ||
        !go_on(context))
        return -1;
    const owner<sock, sock_close> from(http_open_while(address, go_on, context));
    if (!from || !go_on(context))
        return -1;
    answer received = {};
    const owner<answer, free_answer> freed(&received);
    const int ended = read_answer(from.get(), &received, go_on, context);
    if (ended < 0 || store(&received, lyrics_path) != 0)
        return -1;
    return ended == 0 ? 0 : -1;
}
