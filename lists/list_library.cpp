/* list_library: artists, albums, genres and tracks, level by level. */
#include "lists/list_library.h"

#include "library/library.h"
#include "lists/lists.h"
#include "lists/playlist/list_cur_playlist.h"
#include "lists/record/list.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/db/db.h"
#include "play/play.h"
#include "view/list/view_list.h"
#include "view/play/view_play.h"
#include "view/view.h"

#include <cassert>
#include <cstdlib>
#include <cstring>

constexpr uint32_t most_levels = 4; /* genre, artist, album, track */
constexpr int32_t all_rows = -1;

using db_result_owner = owner<db_result, db_free_res>;
using db_text_owner = owner<char, db_free>;

struct level {
    char key[20];    /* also the stem of the table's name */
    char title[100]; /* the heading */
    int32_t id;      /* of the chosen row; all_rows when all or none is chosen */
    char *condition; /* owned, db_free(); null until a row is chosen */
    char *name;      /* owned, free(); of the chosen row */
};

/* What choosing a row opens next. */
struct drill {
    const char *key;
    const char *next_key;
    const char *next_title;
};
static constexpr drill drills[] = {
    {"artist", "album", "Albums"},
    {"album", "track", "Tracks"},
    {"genre", "artist", "Artists"},
};

/* Main thread, like everything here. */
static constinit level levels[most_levels] = {};
static constinit uint32_t depth = 0;
static constinit db_result *rows = nullptr; /* of the top level; row n of the list is row n - 1 */

static int update(view *, list *);

static level *top()
{
    return depth > 0 ? &levels[depth - 1] : nullptr;
}

static const char *column_of(const level *of)
{
    return strcmp(of->key, "track") == 0 ? "id" : of->key;
}

static void keep_rows(db_result *result)
{
    (void)db_free_res(rows);
    rows = result;
}

static void drop_choice(level *of)
{
    db_free(of->condition);
    free(of->name);
    of->condition = nullptr;
    of->name = nullptr;
}

/* Forgets every level and what was asked for them. */
static void drop_levels()
{
    while (depth > 0)
        drop_choice(&levels[--depth]);
    keep_rows(nullptr);
}

/* ---- asking ---- */

/* The conditions of the lowest `count` levels. Four of them are far shorter than the buffer. */
static void join_conditions(char (&to)[1024], uint32_t count)
{
    to[0] = '\0';
    for (uint32_t i = 0; i < count; i++) {
        const size_t used = strlen(to);
        if (levels[i].condition)
            (void)str_copy_to(to + used, sizeof to - used, levels[i].condition);
    }
}

static char *level_sql(const level *of)
{
    char conditions[1024];
    join_conditions(conditions, depth - 1);
    const char *key = of->key;
    if (depth == 1 && strcmp(key, "album") == 0)
        return db_mprintf("SELECT zervp_%ss.name, zervp_%ss.id, zervp_artists.name FROM zervp_%ss "
                          "JOIN zervp_artists ON zervp_artists.id = zervp_%ss.artist WHERE "
                          "zervp_%ss.id IN (SELECT %s FROM zervp_tracks WHERE 1%s) ORDER BY "
                          "zervp_%ss.name;",
                          key, key, key, key, key, column_of(of), conditions, key);
    return db_mprintf("SELECT name, id FROM zervp_%ss WHERE id IN (SELECT %s FROM zervp_tracks "
                      "WHERE 1%s) ORDER BY name;",
                      key, column_of(of), conditions);
}

static db_result_owner query(char *sql)
{
    const db_text_owner text(sql);
    db_result *result = nullptr;
    if (db_exec(library_db, text.get(), &result) != 0)
        return nullptr;
    return db_result_owner(result);
}

static db_result_owner query_tracks()
{
    char conditions[1024];
    join_conditions(conditions, depth);
    return query(db_mprintf(
        "SELECT zervp_urls.path, zervp_tracks.name, zervp_artists.name FROM zervp_urls JOIN "
        "zervp_tracks ON zervp_urls.id = zervp_tracks.url JOIN zervp_artists ON zervp_artists.id = "
        "zervp_tracks.artist WHERE zervp_urls.id IN (SELECT url FROM zervp_tracks WHERE 1%s) ORDER "
        "BY zervp_tracks.name;",
        conditions));
}

static const char *text_or_empty(const char *text)
{
    return text ? text : "";
}

static int32_t row_id(uint32_t row)
{
    assert(rows && row < rows->count && rows->columns > 1);
    return str_to_int32(text_or_empty(rows->rows[row][1]), nullptr);
}

/* ---- rows ---- */

static char *row_text(uint32_t row)
{
    assert(rows && row < rows->count);
    char **columns = rows->rows[row];
    const char *name = text_or_empty(columns[0]);
    if (rows->columns < 3) /* only the albums of all artists say whose they are */
        return strdup(name);
    const char *artist = text_or_empty(columns[2]);
    const size_t size = strlen(name) + strlen(artist) + sizeof " ()";
    char *text = static_cast<char *>(malloc(size));
    if (text)
        (void)snprintf(text, size, "%s (%s)", name, artist);
    return text;
}

static char *all_text(const level *of)
{
    char text[sizeof of->title + 64];
    (void)str_format(text, "All %s (%u 曲目)", of->title, rows->count);
    return strdup(text);
}

/* Where one is: the names chosen on the way here. */
static void join_names(char (&to)[100])
{
    to[0] = '\0';
    for (uint32_t i = 0; i + 1 < depth; i++) {
        const char *name = text_or_empty(levels[i].name);
        if (name[0] == '\0')
            continue;
        size_t used = strlen(to);
        if (used > 0)
            (void)str_copy_to(to + used, sizeof to - used, " > ");
        used = strlen(to);
        (void)str_copy_to(to + used, sizeof to - used, name);
    }
}

static void show(char **items, uint32_t count)
{
    char names[100];
    join_names(names);
    sys_guard guard(list_lock);
    list_set_rows(list_library, items, count);
    (void)str_copy(list_library->title, depth > 0 ? top()->title : "");
    (void)str_copy(list_library->subtitle, names);
}

static int update(view *, list *)
{
    if (depth == 0) {
        show(nullptr, 0);
        return 0;
    }
    keep_rows(nullptr);
    keep_rows(query(level_sql(top())).release());
    if (!rows) {
        show(nullptr, 0);
        return 0;
    }
    const uint32_t count = rows->count + 1;
    char **items = list_items_new(count);
    if (items)
        items[0] = all_text(top());
    for (uint32_t i = 0; items && i < rows->count; i++)
        items[i + 1] = row_text(i);
    show(items, count);
    return 0;
}

/* ---- choosing ---- */

static void set_cursor(uint32_t cursor)
{
    list_set_cursor(list_library, static_cast<int32_t>(cursor));
}

static int leave()
{
    (void)view_list_select(list_main);
    return -1;
}

/* The row that was chosen at the top level before one went deeper. */
static uint32_t chosen_row()
{
    const int32_t id = top()->id;
    if (id == all_rows || !rows)
        return 0;
    for (uint32_t i = 0; i < rows->count; i++)
        if (row_id(i) == id)
            return i + 1;
    return 0;
}

static int select_back(view *screen)
{
    if (depth == 0)
        return leave();
    (void)list_library_pop_cond();
    if (depth == 0)
        return leave();
    set_cursor(chosen_row());
    screen->redraw = 1;
    return 0;
}

static void open_next(view *screen)
{
    for (const drill &step : drills) {
        if (strcmp(step.key, top()->key) != 0)
            continue;
        (void)list_library_add_cond_key(step.next_key, step.next_title); /* four levels suffice */
        break;
    }
    screen->redraw = 1;
    set_cursor(0);
}

/* Plays the first track that opens; tells whether one did. */
static bool play_first(const db_result *tracks)
{
    for (uint32_t i = 0; i < tracks->count; i++)
        if (tracks->rows[i][0] && play_begin(tracks->rows[i][0]) == 0)
            return true;
    return false;
}

static void play_in_background(const db_result *tracks)
{
    for (uint32_t i = 0; i < tracks->count; i++) {
        if (!tracks->rows[i][0])
            continue;
        (void)view_play_begin(tracks->rows[i][0]); /* stays in the browser either way */
        return;
    }
}

static void queue_and_play(int32_t mode)
{
    const db_result_owner tracks = query_tracks();
    if (!tracks)
        return;
    for (uint32_t i = 0; i < tracks->count; i++) {
        char **columns = tracks->rows[i];
        if (columns[0])
            (void)list_cur_playlist_add(columns[0], columns[1], columns[2]); /* queued: fine */
    }
    (void)list_cur_playlist->update(nullptr, list_cur_playlist);
    if (mode == list_mode_menu)
        play_in_background(tracks.get());
    else if (play_first(tracks.get()))
        view_select(view_play);
}

/* The menu key queues what the select key plays. */
static int select(view *screen, list *self, int32_t index, int32_t mode)
{
    if (mode == list_mode_reload)
        return 0;
    if (index == -1)
        return select_back(screen);
    if (index < 0 || int64_t{index} >= list_count(self) || !rows || depth == 0)
        return 0;
    const uint32_t row = static_cast<uint32_t>(index);
    if (row > rows->count)
        return 0;
    if (row == 0)
        (void)list_library_set_cond(all_rows, "");
    else
        (void)list_library_set_cond(row_id(row - 1), text_or_empty(rows->rows[row - 1][0]));
    if (strcmp(top()->key, "track") != 0 && mode != list_mode_menu)
        open_next(screen);
    else
        queue_and_play(mode);
    return 0;
}

/* ---- the list ---- */

static int init()
{
    return 0;
}

static int exit_list()
{
    return list_library_reset_conds();
}

static int input(view *screen, list *)
{
    if (!screen->key_checked || !(input_key.pressed & key_back))
        return 0;
    return leave();
}

constinit list list_library_record = {
    .init = init,
    .exit = exit_list,
    .input = input,
    .select = select,
    .update = update,
};

int list_library_reset_conds()
{
    drop_levels();
    return update(nullptr, nullptr);
}

int list_library_add_cond_key(const char *key, const char *title)
{
    if (depth == most_levels)
        return -1;
    level *added = &levels[depth++];
    *added = {};
    (void)str_copy(added->key, key); /* the keys are our own and fit */
    (void)str_copy(added->title, title);
    added->id = all_rows;
    return update(nullptr, nullptr);
}

int list_library_pop_cond()
{
    if (depth == 0)
        return -1;
    drop_choice(&levels[--depth]);
    return update(nullptr, nullptr);
}

int list_library_set_cond(int32_t id, const char *name)
{
    if (depth == 0)
        return -1;
    level *of = top();
    drop_choice(of);
    of->id = id;
    of->condition =
        id == all_rows ? db_mprintf(" AND 1") : db_mprintf(" AND %s = %d", column_of(of), id);
    of->name = strdup(name);
    return 0;
}
