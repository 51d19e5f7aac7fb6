/* fb_texts: the texts that stand on surfaces, for devices that can be asked for them. */
#include "platform/draw/fb_texts.h"

#include "platform/draw/fb.h"

#include <cstdlib>
#include <cstring>

/* A program that draws without ever clearing must not fill the memory; a screen holds some 30. */
static constexpr uint32_t texts_max = 4096;

/* Half-open. */
struct rectangle {
    int64_t left, top, right, bottom;
};

struct text_entry {
    fb_text text;      /* its `text` is owned */
    rectangle visible; /* what copies have not covered yet, on the surface */
};

struct fb_text_log {
    text_entry *entries; /* in the order drawn */
    uint32_t count;
    uint32_t room;
};

constinit bool fb_keep_texts = false;

static bool is_empty(const rectangle &area)
{
    return area.left >= area.right || area.top >= area.bottom;
}

static rectangle intersection(const rectangle &a, const rectangle &b)
{
    return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
            std::min(a.bottom, b.bottom)};
}

static rectangle whole(const fb_surface *surface)
{
    return {0, 0, surface->width, surface->height};
}

/* A box without a limit reaches to the surface's edge to the right, and one line down. */
static rectangle box_of(const fb_surface *surface, const fb_text *text)
{
    const int64_t right = text->w > 0 ? static_cast<int64_t>(text->x) + text->w : surface->width;
    return {text->x, text->y, right,
            static_cast<int64_t>(text->y) + (text->h > 0 ? text->h : text->size)};
}

/* Takes away what `cover` hides, where a rectangle remains: two views that slide share the screen
 * side by side, and hide a text of the frame before bit by bit. */
static void hide(rectangle *visible, const rectangle &cover)
{
    const bool full_height = cover.top <= visible->top && cover.bottom >= visible->bottom;
    const bool full_width = cover.left <= visible->left && cover.right >= visible->right;
    if (full_height && cover.left <= visible->left)
        visible->left = std::max(visible->left, cover.right);
    else if (full_height && cover.right >= visible->right)
        visible->right = std::min(visible->right, cover.left);
    else if (full_width && cover.top <= visible->top)
        visible->top = std::max(visible->top, cover.bottom);
    else if (full_width && cover.bottom >= visible->bottom)
        visible->bottom = std::min(visible->bottom, cover.top);
}

static void release(text_entry *old)
{
    free(const_cast<char *>(old->text.text));
}

static int32_t moved_by(int32_t position, int32_t by)
{
    return static_cast<int32_t>(
        std::clamp<int64_t>(static_cast<int64_t>(position) + by, INT32_MIN, INT32_MAX));
}

static void cover_texts(fb_text_log *log, const rectangle &cover)
{
    uint32_t kept = 0;
    for (uint32_t i = 0; i < log->count; i++) {
        hide(&log->entries[i].visible, cover);
        if (is_empty(log->entries[i].visible))
            release(&log->entries[i]);
        else
            log->entries[kept++] = log->entries[i];
    }
    log->count = kept;
}

static int grow(fb_text_log *log)
{
    if (log->count < log->room)
        return 0;
    if (log->room >= texts_max)
        return -1;
    const uint32_t room = log->room ? log->room * 2 : 32;
    text_entry *grown = static_cast<text_entry *>(realloc(log->entries, room * sizeof *grown));
    if (!grown)
        return -1;
    log->entries = grown;
    log->room = room;
    return 0;
}

/* Memory that runs out costs the record a text, never the program its picture. */
static void add(fb_text_log *log, const fb_text *text, const rectangle &visible)
{
    if (is_empty(visible) || grow(log))
        return;
    char *copy = strdup(text->text);
    if (!copy)
        return;
    text_entry *added = &log->entries[log->count++];
    added->text = *text;
    added->text.text = copy;
    added->visible = visible;
}

int fb_texts_attach(fb_surface *surface)
{
    if (!fb_keep_texts)
        return 0;
    surface->texts = static_cast<fb_text_log *>(calloc(1, sizeof *surface->texts));
    return surface->texts ? 0 : -1;
}

void fb_texts_detach(fb_surface *surface)
{
    if (!surface->texts)
        return;
    fb_texts_drop(surface);
    free(surface->texts->entries);
    free(surface->texts);
    surface->texts = nullptr;
}

void fb_texts_drop(fb_surface *surface)
{
    if (!surface->texts)
        return;
    for (uint32_t i = 0; i < surface->texts->count; i++)
        release(&surface->texts->entries[i]);
    surface->texts->count = 0;
}

void fb_texts_move(fb_surface *dst, const fb_surface *src, const fb_area *area)
{
    if (!dst->texts)
        return;
    const int64_t right = area->dst_x + area->w;
    const int64_t bottom = area->dst_y + area->h;
    const rectangle cover = {area->dst_x, area->dst_y, right, bottom};
    cover_texts(dst->texts, cover);
    const int32_t by_x = area->dst_x - area->src_x;
    const int32_t by_y = area->dst_y - area->src_y;
    for (uint32_t i = 0; src->texts && i < src->texts->count; i++) {
        const text_entry &from = src->texts->entries[i];
        fb_text moved = from.text;
        moved.x = moved_by(moved.x, by_x);
        moved.y = moved_by(moved.y, by_y);
        const rectangle visible = {from.visible.left + by_x, from.visible.top + by_y,
                                   from.visible.right + by_x, from.visible.bottom + by_y};
        add(dst->texts, &moved, intersection(visible, cover));
    }
}

uint32_t fb_text_count(const fb_surface *surface)
{
    return surface && surface->texts ? surface->texts->count : 0;
}

const fb_text *fb_text_at(const fb_surface *surface, uint32_t index)
{
    return index < fb_text_count(surface) ? &surface->texts->entries[index].text : nullptr;
}

void fb_text_note(fb_surface *surface, const fb_text *text)
{
    if (!surface || !surface->texts || !text || !text->text || !*text->text)
        return;
    add(surface->texts, text, intersection(box_of(surface, text), whole(surface)));
}
