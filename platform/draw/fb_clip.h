/* fb_clip: the part of a drawing that lies inside its target and its source. Private to fb_*.cpp.
 *
 * Callers hand over any 32-bit numbers, so sums are made in 64 bits. */
#pragma once

#include <algorithm>
#include <cstdint>

#include "platform/draw/fb.h"

/* A rectangle of `w` x `h` pixels and where it comes from. */
struct fb_area {
    int32_t dst_x, dst_y, w, h, src_x, src_y;
};

/* One direction: moves both starts inward and shortens. Returns false when nothing is left. */
inline bool fb_clip_axis(int32_t *dst, int32_t *src, int32_t *length, int32_t dst_size,
                         int32_t src_size)
{
    const int64_t skip =
        std::max<int64_t>(0, std::max(-static_cast<int64_t>(*dst), -static_cast<int64_t>(*src)));
    const int64_t from = *dst + skip;
    const int64_t source = *src + skip;
    const int64_t left = std::min({*length - skip, dst_size - from, src_size - source});
    if (left <= 0)
        return false;
    *dst = static_cast<int32_t>(from);
    *src = static_cast<int32_t>(source);
    *length = static_cast<int32_t>(left);
    return true;
}

/* The same with a target that does not begin at 0. */
inline bool fb_clip_within(fb_area *area, const fb_rect &target, int32_t src_w, int32_t src_h)
{
    const int64_t x = int64_t{area->dst_x} - target.x, y = int64_t{area->dst_y} - target.y;
    area->dst_x = static_cast<int32_t>(std::clamp<int64_t>(x, INT32_MIN, INT32_MAX));
    area->dst_y = static_cast<int32_t>(std::clamp<int64_t>(y, INT32_MIN, INT32_MAX));
    const bool left = fb_clip_axis(&area->dst_x, &area->src_x, &area->w, target.w, src_w) &&
                      fb_clip_axis(&area->dst_y, &area->src_y, &area->h, target.h, src_h);
    area->dst_x += target.x;
    area->dst_y += target.y;
    return left;
}

inline bool fb_clip(fb_area *area, int32_t dst_w, int32_t dst_h, int32_t src_w, int32_t src_h)
{
    return fb_clip_axis(&area->dst_x, &area->src_x, &area->w, dst_w, src_w) &&
           fb_clip_axis(&area->dst_y, &area->src_y, &area->h, dst_h, src_h);
}
