/* scene: the screens of a skin in every variant and state, drawn by the player's own screens. */
#include "tools/zerv_skin/scene.h"

#include "config/cfg.h"
#include "platform/fb.h"
#include "platform/thread.h"
#include "skin/skin.h"
#include "tools/zerv_skin/stage.h"
#include "tools/zerv_skin/words.h"
#include "view/play_draw.h"
#include "view/play_layout.h"
#include "view/play_state.h"
#include "view/view.h"
#include "view/view_list.h"
#include "view/view_list_state.h"
#include "view/view_play.h"

#include <cstring>
#include <iterator>

constexpr uint32_t most_variants = 32; /* more than anybody looks through */
constexpr int32_t worker_ms = 10000;
constexpr int32_t name_size = 12;
constexpr uint16_t name_colour = 0xF81F;

struct play_look {
    const char *name;
    stage_play_state state;
};

struct list_look {
    const char *name;
    stage_list_state state;
};

static const char *const menu_rows[] = {"当前播放列表", "打开",     "艺术家",     "专辑", "流派",
                                        "曲目",         "播放列表", "更新媒体库", "设置"};
static const char *const long_rows[] = {
    "The Extraordinary Adventures of a Very Long Song Title That Never Seems to End.mp3",
    "아주 아주 긴 노래 제목이 화면의 오른쪽 끝을 훌쩍 넘어서 계속 이어집니다.ogg",
    "这是一个非常非常长的歌曲标题，它一直延伸到屏幕右边缘之外，还没有结束.flac",
};
static const char *const track_rows[] = {"01 Morning Water", "02 푸른 아침", "03 海风",
                                         "04 The Long Road", "05 Q",         "06 Зимняя дорога",
                                         "07 Ça ira",        "08 夜の電車"};

#define ROWS(texts) texts, sizeof(texts) / sizeof(texts[0])

static const list_look list_looks[] = {
    {"menu", {"主菜单", "Zerv Player 0.4", ROWS(menu_rows), 9, 0, 57}},
    {"tracks", {"Blue Morning", "/media/music/Northern Sea", ROWS(track_rows), 1000, 499, 100}},
    {"long",
     {"The Extraordinary Adventures of a Very Long List Title",
      "/media/card/music/a folder/another folder/a folder whose name takes the whole line/and more",
      ROWS(long_rows), 12, 4, 100}},
    {"last", {"Blue Morning", "/media/music", ROWS(track_rows), 40, 39, 100}},
    {"empty", {"Current Playlist", "Current Playlist (0 曲目)", ROWS(track_rows), 0, 0, 100}},
    {"battery-low", {"主菜单", "Zerv Player 0.4", ROWS(menu_rows), 9, 6, 4}},
};

#undef ROWS

static const play_look play_looks[] = {
    {"playing",
     {true, false, "Blue Morning", "Northern Sea", "Harbour Lights", 83000, 225000, false, false,
      57}},
    {"paused",
     {true, true, "Blue Morning", "Northern Sea", "Harbour Lights", 83000, 225000, false, false,
      57}},
    {"stopped", {false, true, nullptr, nullptr, nullptr, 0, 0, false, false, 57}},
    {"long",
     {true, false, "The Extraordinary Adventures of a Very Long Song Title That Never Ends",
      "The Orchestra of the Society for the Preservation of Long Names",
      "Collected Works, Volume Seventeen: Everything Else", 3599000, 3600000, false, false, 100}},
    {"korean",
     {true, false, "푸른 아침", "북쪽 바다", "항구의 불빛", 83000, 225000, false, false, 57}},
    {"chinese",
     {true, false, "蓝色的早晨", "北方的海", "港口的灯火", 83000, 225000, false, false, 57}},
    {"no-tags", {true, false, nullptr, "", nullptr, 0, 225000, false, false, 57}},
    {"battery-low",
     {true, false, "Blue Morning", "Northern Sea", "Harbour Lights", 225000, 225000, false, false,
      4}},
};

/* ---- what there is to see ---- */

static std::string scene_name(const char *part, uint32_t variant, const char *state)
{
    return std::string(part) + "-" + std::to_string(variant) + "-" + state;
}

static void add_list_scenes(uint32_t variants, std::vector<scene> *to)
{
    for (uint32_t variant = 0; variant < variants && variant < most_variants; variant++)
        for (uint32_t state = 0; state < std::size(list_looks); state++)
            to->push_back({scene_name("list", variant, list_looks[state].name), true, variant,
                           state, false, false});
}

struct track_kind {
    bool cover, lyrics;
};

/* The kinds of tracks, richest first. */
static const track_kind track_kinds[] = {
    {true, true}, {true, false}, {false, true}, {false, false}};

static bool fits(const skin_page &page, const track_kind &kind)
{
    return words_variant_fits(page.show, page.hide, kind.cover, kind.lyrics);
}

/* The variant that the player takes by itself. */
static uint32_t first_fitting(const skin_part *part, const track_kind &kind)
{
    for (uint32_t i = 0; i < part->count; i++)
        if (fits(part->pages[i], kind))
            return i;
    return 0;
}

/* A kind of track for which the player shows a variant by itself; else one for which its layout
 * key reaches it. */
static const track_kind *find_kind(const skin_part *part, uint32_t variant)
{
    for (const track_kind &kind : track_kinds)
        if (first_fitting(part, kind) == variant)
            return &kind;
    for (const track_kind &kind : track_kinds)
        if (fits(part->pages[variant], kind))
            return &kind;
    return nullptr;
}

static void add_variant_scenes(const skin_part *part, uint32_t variant, std::vector<scene> *to)
{
    const track_kind *kind = find_kind(part, variant);
    const track_kind nothing = {false, false};
    for (uint32_t state = 0; kind && state < std::size(play_looks); state++) {
        const bool loaded = play_looks[state].state.loaded;
        if (!loaded && !fits(part->pages[variant], nothing) &&
            first_fitting(part, nothing) != variant)
            continue; /* while nothing plays there is no cover and there are no lyrics */
        to->push_back({scene_name("play", variant, play_looks[state].name), false, variant, state,
                       loaded && kind->cover, loaded && kind->lyrics});
    }
}

static int make_surfaces(view *of)
{
    if (!of->frame)
        of->frame = fb_create(stage_width, stage_height);
    if (!of->surface)
        of->surface = fb_create(stage_width, stage_height);
    return of->frame && of->surface ? 0 : -1;
}

/* Asked first, because the screens would fall back to another package. */
static scene_part look_at(const char *path, const char *name)
{
    skin_part *part = skin_read_part(path, name);
    const scene_part found = {skin_is_part_available(path, name) == 1, part != nullptr};
    (void)skin_free_part(part);
    return found;
}

int scene_open(const char *path, scene_package *to)
{
    *to = {look_at(path, "list"), look_at(path, "play"), {}};
    play_layout_want_cover = play_layout_want_lyrics = nullptr; /* the stage has them ready */
    if (make_surfaces(view_list) != 0 || make_surfaces(view_play) != 0)
        return -1;
    if (to->list.loads && view_list_load_skin(path) == 0)
        add_list_scenes(view_list_state.part->count, &to->scenes);
    if (to->play.loads && view_play_load_skin(path) == 0) {
        const sys_guard guard(play_view_lock);
        for (uint32_t i = 0; i < play_view.play_part->count && i < most_variants; i++)
            add_variant_scenes(play_view.play_part, i, &to->scenes);
    }
    return 0;
}

void scene_close()
{
    for (view *each : {view_list, view_play}) {
        (void)fb_free(each->frame);
        (void)fb_free(each->surface);
        each->frame = each->surface = nullptr;
    }
    (void)skin_free_part(view_list_state.part);
    view_list_state = {};
    const sys_guard guard(play_view_lock);
    (void)skin_free_part(play_view.play_part);
    play_view.play_part = nullptr;
    play_view.current_layout = nullptr;
    play_drop_scaled_locked();
    play_drop_cover_locked();
    play_drop_lyrics_locked();
}

/* ---- drawing ---- */

static void draw_now(view *of)
{
    of->redraw = 1;
    (void)of->draw(of, nullptr); /* always 0 */
}

static const skin_page *draw_list(const scene &of)
{
    stage_set_list(&list_looks[of.state].state);
    view_list_state.page = &view_list_state.part->pages[of.variant];
    view_list_state.rows = 0;
    for (uint32_t i = 0; i < view_list_state.page->element_count; i++)
        view_list_state.rows += strcmp(view_list_state.page->elements[i].name, "item") == 0;
    view_list_forget_minute();
    draw_now(view_list);
    return view_list_state.page;
}

/* The first drawing asks for the cover in the element's size, the second has it. */
static const skin_page *draw_play(const scene &of)
{
    stage_play_state state = play_looks[of.state].state;
    state.cover = of.cover;
    state.lyrics = of.lyrics;
    stage_set_play(&state);
    {
        const sys_guard guard(play_view_lock);
        play_view.preferred_layout = of.variant;
    }
    play_draw_reset();
    draw_now(view_play);
    (void)thread_settle(worker_ms); /* a cover that is late is missing in the picture */
    draw_now(view_play);
    return play_layout_current();
}

static void write_names(fb_surface *to, const skin_page *page)
{
    for (uint32_t i = 0; i < page->element_count; i++) {
        const skin_element &element = page->elements[i];
        if (!element.inactive && strcmp(element.name, "list") != 0)
            (void)fb_draw_text(to, element.name, element.x + 2, element.y + 1, 0, 0, name_size,
                               name_colour, 0);
    }
}

const fb_surface *scene_draw(const scene &of, bool outlines, bool names)
{
    cfg_debug = outlines;
    const skin_page *page = of.in_list ? draw_list(of) : draw_play(of);
    fb_surface *surface = of.in_list ? view_list->surface : view_play->surface;
    if (names && page)
        write_names(surface, page);
    return surface;
}

/* ---- stepping ---- */

static bool differs(const scene &from, const scene &to, scene_axis axis)
{
    switch (axis) {
    case scene_axis::variant:
        return from.in_list == to.in_list && from.variant != to.variant && from.state == to.state;
    case scene_axis::state:
        return from.in_list == to.in_list && from.variant == to.variant && from.state != to.state;
    case scene_axis::part:
        return from.in_list != to.in_list;
    }
    return false;
}

size_t scene_step(const scene_package *of, size_t shown, scene_axis axis, int direction)
{
    const size_t count = of->scenes.size();
    for (size_t i = 1; i < count; i++) {
        const size_t index = (shown + (direction > 0 ? i : count - i)) % count;
        if (differs(of->scenes[shown], of->scenes[index], axis))
            return index;
    }
    return shown;
}
