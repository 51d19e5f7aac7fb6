/* fb_trace: noting what is drawn. Private to fb_*.cpp and font_draw.cpp. Main thread only. */
#pragma once

#include "platform/draw/fb.h"

#include <cstddef>

/* A number that stands for what is drawn: start with 0 and mix in everything that matters. */
uint64_t fb_trace_mix(uint64_t hash, uint64_t value);
uint64_t fb_trace_mix_text(uint64_t hash, const char *text);
/* Notes a drawing within `box`, which is cut to the surface. True when it is to be done. */
bool fb_trace_note(fb_surface *surface, const fb_rect &box, uint64_t hash);
/* What is noted next hides everything in its box. */
void fb_trace_opaque(fb_surface *surface, const fb_rect &box);
/* How far drawing reaches. */
fb_rect fb_bounds(const fb_surface *surface);
