#include "view/play/play_text.h"

#include "core/lang/lang.h"
#include "core/services/program.h"
#include "platform/audio/audio.h"
#include "platform/base/str.h"
#include "play/play.h"

#include <cstring>

/* A growing text that is cut, never overrun. */
struct output {
    char *to;
    size_t size; /* with the end mark */
    size_t used;
    time_t now;
};

struct keyword {
    const char *word;
    size_t length; /* bytes compared; labels are longer than what is compared of them */
    void (*insert)(output *out, const keyword *self);
};

static void append(output *out, const char *text, size_t length)
{
    const size_t room = out->size - 1 - out->used;
    const size_t count = length < room ? length : room;
    memcpy(out->to + out->used, text, count);
    out->used += count;
}

static void append_text(output *out, const char *text)
{
    append(out, text, strlen(text));
}

static void append_number(output *out, int32_t number, int digits)
{
    char text[16];
    str_format(text, "%0*d", digits, number);
    append_text(out, text);
}

/* The texts belong to the stream, which the sound thread may close: copy them under the lock. */
static void append_tag(output *out, char *audio_tags::*field)
{
    const sys_guard guard(play_lock);
    if (!play_handle)
        return;
    const audio_tags *tags = play_handle->tags;
    const char *text = tags ? tags->*field : nullptr;
    append_text(out, text && *text ? text : "(未知)");
}

/* Elapsed seconds, -1 without a track. */
static int32_t elapsed_seconds()
{
    const sys_guard guard(play_lock);
    return play_handle ? play_pos / 1000 : -1;
}

static void insert_title(output *out, const keyword *)
{
    append_tag(out, &audio_tags::title);
}

static void insert_artist(output *out, const keyword *)
{
    append_tag(out, &audio_tags::artist);
}

static void insert_album(output *out, const keyword *)
{
    append_tag(out, &audio_tags::album);
}

static void insert_minutes(output *out, const keyword *)
{
    const int32_t seconds = elapsed_seconds();
    if (seconds >= 0)
        append_number(out, seconds / 60, 1);
}

static void insert_seconds(output *out, const keyword *)
{
    const int32_t seconds = elapsed_seconds();
    if (seconds >= 0)
        append_number(out, seconds % 60, 1);
}

static void insert_minutes_two(output *out, const keyword *)
{
    const int32_t seconds = elapsed_seconds();
    if (seconds >= 0)
        append_number(out, seconds / 60, 2);
}

static void insert_seconds_two(output *out, const keyword *)
{
    const int32_t seconds = elapsed_seconds();
    if (seconds >= 0)
        append_number(out, seconds % 60, 2);
}

static void insert_stopped(output *out, const keyword *)
{
    const sys_guard guard(play_lock);
    if (!play_handle)
        append_text(out, "Stopped");
}

static void insert_label(output *out, const keyword *self)
{
    append(out, self->word, self->length);
}

static void insert_time(output *out, const keyword *)
{
    struct tm local = {};
    if (!localtime_r(&out->now, &local))
        return;
    char text[32];
    str_format(text, "%02d:%02d", local.tm_hour, local.tm_min);
    append_text(out, text);
}

static void insert_battery(output *out, const keyword *)
{
    append_number(out, program_get_battery_level(), 1);
    append(out, "%", 1);
}

/* The first match wins. The two Chinese labels are compared and inserted over 5 and 6 bytes only,
 * which skins rely on: the rest of the label follows as plain text. */
static constexpr keyword keywords[] = {
    {"title", 5, insert_title},        {"artist", 6, insert_artist},
    {"album", 5, insert_album},        {"mins", 4, insert_minutes},
    {"secs", 4, insert_seconds},       {"02mins", 6, insert_minutes_two},
    {"02secs", 6, insert_seconds_two}, {"stopped", 7, insert_stopped},
    {"标题", 5, insert_label},         {"艺术家", 6, insert_label},
    {"Album", 5, insert_label},        {"time", 4, insert_time},
    {"battery", 7, insert_battery},    {"Time", 4, insert_label},
    {"Battery", 7, insert_label},
};

static const keyword *find_keyword(const char *text)
{
    for (const keyword &known : keywords)
        if (strncmp(known.word, text, known.length) == 0)
            return &known;
    return nullptr;
}

void play_text_expand(const char *text, time_t now, char (&to)[1024])
{
    output out = {to, sizeof to, 0, now};
    /* Minutes and seconds in Korean make sense to readers of Korean only. */
    if (strcmp(text, "$mins분 $secs초") == 0 && strcmp(lang_selected, "ko") != 0)
        text = "$02mins:$02secs";
    while (*text) {
        const size_t plain = strcspn(text, "$");
        append(&out, text, plain);
        text += plain;
        if (!*text)
            break;
        text++;
        if (const keyword *known = find_keyword(text)) {
            known->insert(&out, known);
            text += known->length;
        } else {
            append(&out, "$", 1);
        }
    }
    to[out.used] = '\0';
}
