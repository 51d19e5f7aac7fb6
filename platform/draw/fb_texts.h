/* fb_texts: how surfaces carry their texts along. Private to fb_*.cpp. Main thread only. */
#pragma once

#include "platform/draw/fb_clip.h"

struct fb_surface;

/* Gives a new surface an empty record while fb_keep_texts is set. -1 when memory runs out. */
int fb_texts_attach(fb_surface *surface);
/* Accepts a surface without a record. */
void fb_texts_detach(fb_surface *surface);
void fb_texts_drop(fb_surface *surface);
/* `area`: what was copied, clipped already. */
void fb_texts_move(fb_surface *dst, const fb_surface *src, const fb_area *area);
