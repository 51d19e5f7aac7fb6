#include "view/play/play_text.h"

#include "core/lang/lang.h"
#include "platform/audio/audio.h"
#include "play/play.h"
#include "skin/skin_text.h"
#include "view/screen/screen.h"

#include <cstring>

/* The texts belong to the stream, which the sound thread may close: copy them under the lock. */
static void append_tag(skin_text *out, char *audio_tags::*field)
{
    const sys_guard guard(play_lock);
    if (!play_handle)
        return;
    const audio_tags *tags = play_handle->tags;
    const char *text = tags ? tags->*field : nullptr;
    skin_text_add(out, text && *text ? text : "(未知)");
}

/* Elapsed seconds, -1 without a track. */
static int32_t elapsed_seconds()
{
    const sys_guard guard(play_lock);
    return play_handle ? play_pos / 1000 : -1;
}

static void insert_title(skin_text *out, const void *)
{
    append_tag(out, &audio_tags::title);
}

static void insert_artist(skin_text *out, const void *)
{
    append_tag(out, &audio_tags::artist);
}

static void insert_album(skin_text *out, const void *)
{
    append_tag(out, &audio_tags::album);
}

static void insert_minutes(skin_text *out, const void *)
{
    const int32_t seconds = elapsed_seconds();
    if (seconds >= 0)
        screen_insert_number(out, seconds / 60, 1);
}

static void insert_seconds(skin_text *out, const void *)
{
    const int32_t seconds = elapsed_seconds();
    if (seconds >= 0)
        screen_insert_number(out, seconds % 60, 1);
}

static void insert_minutes_two(skin_text *out, const void *)
{
    const int32_t seconds = elapsed_seconds();
    if (seconds >= 0)
        screen_insert_number(out, seconds / 60, 2);
}

static void insert_seconds_two(skin_text *out, const void *)
{
    const int32_t seconds = elapsed_seconds();
    if (seconds >= 0)
        screen_insert_number(out, seconds % 60, 2);
}

static void insert_stopped(skin_text *out, const void *)
{
    const sys_guard guard(play_lock);
    if (!play_handle)
        skin_text_add(out, "Stopped");
}

static void insert_time(skin_text *out, const void *wall)
{
    screen_insert_time(out, *static_cast<const time_t *>(wall));
}

static void insert_battery(skin_text *out, const void *)
{
    screen_insert_battery(out);
}

static constexpr skin_inserts inserts = [] {
    skin_inserts all = {};
    all[skin_token_at("title")] = insert_title;
    all[skin_token_at("artist")] = insert_artist;
    all[skin_token_at("album")] = insert_album;
    all[skin_token_at("mins")] = insert_minutes;
    all[skin_token_at("secs")] = insert_seconds;
    all[skin_token_at("02mins")] = insert_minutes_two;
    all[skin_token_at("02secs")] = insert_seconds_two;
    all[skin_token_at("stopped")] = insert_stopped;
    all[skin_token_at("time")] = insert_time;
    all[skin_token_at("battery")] = insert_battery;
    return all;
}();
static_assert(skin_inserts_fit(inserts, skin_on_play));

void play_text_expand(const char *text, time_t now, char (&to)[1024])
{
    /* Minutes and seconds in Korean make sense to readers of Korean only. */
    if (strcmp(text, "$mins분 $secs초") == 0 && strcmp(lang_selected, "ko") != 0)
        text = "$02mins:$02secs";
    skin_text_expand(text, skin_on_play, inserts, &now, to, sizeof to);
}
