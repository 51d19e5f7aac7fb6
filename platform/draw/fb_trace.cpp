/* fb_trace: which part of a picture differs from the one before. Whoever draws it does so twice: what
 * the first time notes is compared with the notes of the picture before, and the second time only
 * the places are drawn at which they differ. */
#include "platform/draw/fb_trace.h"

#include "platform/draw/fb_clip.h"

#include <cstdlib>
#include <iterator>
#include <utility>

/* More than any skin draws; what comes behind it counts as changed. */
constexpr uint32_t notes_max = 4096;

struct trace_note {
    fb_rect box; /* within the surface, never empty */
    uint64_t hash;
};

struct trace_notes {
    trace_note *notes; /* owned */
    uint32_t count, room;
    bool lost; /* some did not fit */
};

struct fb_trace {
    trace_notes before, now, drawn;
    uint32_t content; /* the picture of `before` */
    bool draws;
    bool covers; /* the first that was noted now hides the whole surface */
};

static constinit uint32_t contents = 0; /* numbers given out */

/* ---- notes ---- */

uint64_t fb_trace_mix(uint64_t hash, uint64_t value)
{
    hash = (hash ^ value) * 0x9E3779B97F4A7C15u;
    return hash ^ hash >> 29;
}

uint64_t fb_trace_mix_text(uint64_t hash, const char *text)
{
    for (; *text; text++)
        hash = (hash ^ static_cast<unsigned char>(*text)) * 0x100000001B3u;
    return fb_trace_mix(hash, 0);
}

fb_rect fb_bounds(const fb_surface *surface)
{
    return surface->clip.w > 0 ? surface->clip : fb_rect{0, 0, surface->width, surface->height};
}

static bool grow(trace_notes *to)
{
    if (to->count < to->room)
        return true;
    const uint32_t room = to->room ? to->room * 2 : 64;
    void *grown = room <= notes_max ? realloc(to->notes, room * sizeof(trace_note)) : nullptr;
    if (!grown)
        return false;
    to->notes = static_cast<trace_note *>(grown);
    to->room = room;
    return true;
}

bool fb_trace_note(fb_surface *surface, const fb_rect &box, uint64_t hash)
{
    fb_trace *trace = surface->trace;
    if (!trace || trace->draws)
        surface->content = 0;
    if (!trace)
        return true;
    trace_notes *to = trace->draws ? &trace->drawn : &trace->now;
    fb_area area = {box.x, box.y, box.w, box.h, 0, 0};
    if (!fb_clip(&area, surface->width, surface->height, INT32_MAX, INT32_MAX))
        return trace->draws;
    if (grow(to))
        to->notes[to->count++] = {{area.dst_x, area.dst_y, area.w, area.h}, hash};
    else
        to->lost = true;
    return trace->draws;
}

void fb_trace_opaque(fb_surface *surface, const fb_rect &box)
{
    fb_trace *trace = surface->trace;
    if (trace && !trace->draws && trace->now.count == 0)
        trace->covers = box.x <= 0 && box.y <= 0 && int64_t{box.x} + box.w >= surface->width &&
                        int64_t{box.y} + box.h >= surface->height;
}

static bool are_same(const trace_note &a, const trace_note &b)
{
    return a.hash == b.hash && a.box.x == b.box.x && a.box.y == b.box.y && a.box.w == b.box.w &&
           a.box.h == b.box.h;
}

static bool are_same(const trace_notes &a, const trace_notes &b)
{
    if (a.count != b.count || a.lost || b.lost)
        return false;
    for (uint32_t i = 0; i < a.count; i++)
        if (!are_same(a.notes[i], b.notes[i]))
            return false;
    return true;
}

/* ---- changes ---- */

static fb_rect union_of(const fb_rect &a, const fb_rect &b)
{
    const int32_t left = std::min(a.x, b.x), right = std::max(a.x + a.w, b.x + b.w);
    const int32_t top = std::min(a.y, b.y), bottom = std::max(a.y + a.h, b.y + b.h);
    return {left, top, right - left, bottom - top};
}

static int64_t size_of(const fb_rect &area)
{
    return int64_t{area.w} * area.h;
}

/* Pixels that both together have beyond each by itself. */
static int64_t waste_of(const fb_rect &a, const fb_rect &b)
{
    return size_of(union_of(a, b)) - size_of(a) - size_of(b);
}

/* Every rectangle costs a walk through all that is drawn, as much as some pixels do. */
static void add_rect(fb_changes *to, const fb_rect &added)
{
    constexpr int64_t worth = 1024;
    uint32_t best = 0;
    for (uint32_t i = 1; i < to->count; i++)
        if (waste_of(to->rects[i], added) < waste_of(to->rects[best], added))
            best = i;
    if (to->count > 0 &&
        (to->count == std::size(to->rects) || waste_of(to->rects[best], added) < worth))
        to->rects[best] = union_of(to->rects[best], added);
    else
        to->rects[to->count++] = added;
}

static void add_notes(fb_changes *to, const trace_notes &from, uint32_t first)
{
    for (uint32_t i = first; i < from.count; i++)
        add_rect(to, from.notes[i].box);
}

fb_changes fb_trace_changes(const fb_trace *trace, uint32_t before)
{
    fb_changes changes = {};
    if (before == 0 || trace->content != before || trace->now.lost || trace->before.lost)
        return changes;
    changes.partial = true;
    const uint32_t both = std::min(trace->before.count, trace->now.count);
    for (uint32_t i = 0; i < both; i++) {
        if (are_same(trace->before.notes[i], trace->now.notes[i]))
            continue;
        add_rect(&changes, trace->before.notes[i].box);
        add_rect(&changes, trace->now.notes[i].box);
    }
    add_notes(&changes, trace->before, both);
    add_notes(&changes, trace->now, both);
    return changes;
}

fb_changes fb_changes_add(const fb_changes *a, const fb_changes *b)
{
    fb_changes sum = {};
    if (!a->partial || !b->partial)
        return sum;
    sum = *a;
    for (uint32_t i = 0; i < b->count; i++)
        add_rect(&sum, b->rects[i]);
    return sum;
}

void fb_mark(fb_surface *surface, fb_trace *trace, uint32_t before, const fb_changes *changes)
{
    if (++contents == 0)
        contents = 1; /* 0 is no number */
    surface->content = contents;
    surface->before = before;
    surface->changes = *changes;
    if (!trace)
        return;
    std::swap(trace->before, trace->now);
    trace->content = contents;
}

/* ---- the trace ---- */

fb_trace *fb_trace_new()
{
    return static_cast<fb_trace *>(calloc(1, sizeof(fb_trace)));
}

void fb_trace_free(fb_trace *trace)
{
    if (!trace)
        return;
    free(trace->before.notes);
    free(trace->now.notes);
    free(trace->drawn.notes);
    free(trace);
}

static void empty(trace_notes *notes)
{
    notes->count = 0;
    notes->lost = false;
}

void fb_trace_begin(fb_surface *surface, fb_trace *trace)
{
    empty(&trace->now);
    empty(&trace->drawn);
    trace->draws = false;
    trace->covers = false;
    surface->trace = trace;
}

void fb_trace_draw(fb_surface *surface)
{
    surface->trace->draws = true;
    surface->covered = surface->trace->covers;
}

bool fb_trace_end(fb_surface *surface)
{
    fb_trace *trace = surface->trace;
    surface->trace = nullptr;
    return !trace->draws || are_same(trace->now, trace->drawn);
}

bool fb_row_changes(const fb_surface *surface, int32_t y)
{
    const fb_changes &changes = surface->changes;
    for (uint32_t i = 0; i < changes.count; i++)
        if (changes.partial && y >= changes.rects[i].y &&
            y < changes.rects[i].y + changes.rects[i].h)
            return true;
    return !changes.partial;
}
