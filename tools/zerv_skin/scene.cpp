/* scene: the screens of a skin in every variant, state and data, drawn by the player's own
 * screens. */
#include "tools/zerv_skin/scene.h"

#include "config/cfg.h"
#include "core/services/overlay.h"
#include "platform/base/thread.h"
#include "platform/draw/fb.h"
#include "skin/skin_table.h"
#include "tools/zerv_skin/sample.h"
#include "tools/zerv_skin/stage.h"
#include "view/list/view_list.h"
#include "view/list/view_list_state.h"
#include "view/play/play_draw.h"
#include "view/play/play_layout.h"
#include "view/play/play_state.h"
#include "view/play/view_play.h"
#include "view/screen/screen.h"
#include "view/view.h"

constexpr uint32_t most_variants = 32; /* more than anybody looks through */
constexpr int32_t worker_ms = 10000;
constexpr int32_t name_size = 12;
constexpr uint16_t name_colour = 0xF81F;

/* ---- what there is to see ---- */

/* A scene of each state with each data. */
static void add_scenes(const sample_screen &screen, const scene &pattern, std::vector<scene> *to)
{
    for (uint32_t i = 0; i < screen.state_count * screen.data_count; i++) {
        scene made = pattern;
        made.state = i / screen.data_count;
        made.data = i % screen.data_count;
        made.in_preview = made.state == 0 || made.data == 0;
        made.name = std::string(screen.part) + "-" + std::to_string(made.variant) + "-" +
                    sample_name(screen, made.state, made.data);
        to->push_back(made);
    }
}

static void add_list_scenes(uint32_t variants, std::vector<scene> *to)
{
    for (uint32_t variant = 0; variant < variants && variant < most_variants; variant++) {
        scene pattern = {};
        pattern.in_list = true;
        pattern.variant = variant;
        add_scenes(sample_list, pattern, to);
    }
}

/* The kinds of tracks, richest first. */
static const sample_track track_kinds[] = {
    {true, true}, {true, false}, {false, true}, {false, false}};

/* The variant that the player takes by itself. */
static uint32_t first_fitting(const skin_part *part, const sample_track &kind)
{
    for (uint32_t i = 0; i < part->count; i++)
        if (sample_page_fits(&part->pages[i], kind))
            return i;
    return 0;
}

/* A kind of track for which the player shows a variant by itself; else one for which its layout
 * key reaches it. */
static const sample_track *find_kind(const skin_part *part, uint32_t variant)
{
    for (const sample_track &kind : track_kinds)
        if (first_fitting(part, kind) == variant)
            return &kind;
    for (const sample_track &kind : track_kinds)
        if (sample_page_fits(&part->pages[variant], kind))
            return &kind;
    return nullptr;
}

/* While nothing plays there is no cover and there are no lyrics. */
static bool fits_state(const skin_part *part, uint32_t variant, bool loaded)
{
    const sample_track nothing = {false, false};
    return loaded || sample_page_fits(&part->pages[variant], nothing) ||
           first_fitting(part, nothing) == variant;
}

static void add_play_scenes(const skin_part *part, uint32_t variant, std::vector<scene> *to)
{
    const sample_track *kind = find_kind(part, variant);
    if (!kind)
        return;
    scene pattern = {};
    pattern.variant = variant;
    std::vector<scene> all;
    add_scenes(sample_play, pattern, &all);
    for (scene &each : all) {
        const bool loaded = sample_play_state(each.state, each.data).loaded;
        if (!fits_state(part, variant, loaded))
            continue;
        each.cover = loaded && kind->cover;
        each.lyrics = loaded && kind->lyrics;
        to->push_back(each);
    }
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
    view_list = &view_list_record;
    view_play = &view_play_record;
    overlay_msg = &overlay_msg_record;
    if (screen_open(view_list) != 0 || screen_open(view_play) != 0)
        return -1;
    if (to->list.loads && view_list_load_skin(path) == 0)
        add_list_scenes(view_list_state.part->count, &to->scenes);
    if (to->play.loads && view_play_load_skin(path) == 0) {
        const sys_guard guard(play_view_lock);
        for (uint32_t i = 0; i < play_view.play_part->count && i < most_variants; i++)
            add_play_scenes(play_view.play_part, i, &to->scenes);
    }
    return 0;
}

void scene_close()
{
    screen_close(&view_list_record);
    screen_close(&view_play_record);
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
    const stage_list_state state = sample_list_state(of.state, of.data);
    stage_set_list(&state);
    view_list_use_page(&view_list_state.part->pages[of.variant]);
    view_list_draw_reset();
    draw_now(view_list);
    return view_list_state.page;
}

/* The first drawing asks for the cover in the element's size, the second has it. */
static const skin_page *draw_play(const scene &of)
{
    stage_play_state state = sample_play_state(of.state, of.data);
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

/* Through the player's own message list, which is empty before and after. */
static void draw_messages(const scene &of, view *shown)
{
    const sample_screen &screen = of.in_list ? sample_list : sample_play;
    (void)overlay_msg->init();
    for (const sample_message &message : screen.messages(of.state))
        (void)overlay_msg_add(message.text, 0, message.colour);
    (void)overlay_msg->draw(shown, shown->surface);
    (void)overlay_msg->exit();
}

static void write_names(fb_surface *to, const skin_page *page)
{
    for (uint32_t i = 0; i < page->element_count; i++) {
        const skin_element &element = page->elements[i];
        if (!element.inactive && element.means.kind != skin_kind_at("list"))
            (void)fb_draw_text(to, element.name, element.x + 2, element.y + 1, 0, 0, name_size,
                               name_colour, 0);
    }
}

const fb_surface *scene_draw(const scene &of, bool outlines, bool names)
{
    cfg_debug = outlines;
    const skin_page *page = of.in_list ? draw_list(of) : draw_play(of);
    view *shown = of.in_list ? view_list : view_play;
    fb_surface *surface = shown->surface;
    draw_messages(of, shown);
    if (names && page)
        write_names(surface, page);
    return surface;
}

/* ---- stepping ---- */

/* True when the axis, and no other, differs; two parts have nothing else in common. */
static bool differs(const scene &from, const scene &to, scene_axis axis)
{
    if (axis == scene_axis::part || from.in_list != to.in_list)
        return axis == scene_axis::part && from.in_list != to.in_list;
    return (from.variant != to.variant) == (axis == scene_axis::variant) &&
           (from.state != to.state) == (axis == scene_axis::state) &&
           (from.data != to.data) == (axis == scene_axis::data);
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
