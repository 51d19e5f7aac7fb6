/* screen: what the list screen and the play screen do alike. Main thread. */
#pragma once

#include "skin/skin_text.h"

#include <cstddef>
#include <cstdint>
#include <ctime>

struct fb_surface;
struct fb_trace;
struct skin_element;
struct skin_page;
struct skin_part;
struct view;

/* Makes both surfaces of a view, anew, in the screen's size. -1: there is no screen, or no memory. */
[[nodiscard]] int screen_open(view *self);
/* Accepts a view that was never opened. */
void screen_close(view *self);

/* skin_read_part() or skin_read_part_sparing(). */
typedef skin_part *(*screen_skin_reader)(const char *package_path, const char *part);
/* Reads a part from a package, else from the default one, else from any that has it. The package
 * that is read instead is written into the setting of the chosen one.
 *   chosen  cfg_skin_list or cfg_skin_play, `size` bytes
 * Null when no package has the part; the caller frees it. */
[[nodiscard]] skin_part *screen_read_skin(const char *package_path, const char *part, char *chosen,
                                          size_t size, screen_skin_reader read);

/* A frame begins white; once it is finished, it is the view's picture. */
void screen_begin_frame(view *self);
void screen_finish_frame(view *self);

/* Draws all that stands on the screen's surface. May be called several times for one picture. */
typedef void (*screen_painter)(fb_surface *to, void *user);
/* The same in one step, drawing no more than what differs from the picture before. */
void screen_draw_changes(view *self, fb_trace *trace, screen_painter paint, void *user);

/* Draws a text in the element's font, colour and alignment, in its box or in a band of it. */
void screen_draw_text(fb_surface *to, const skin_element *element, const char *text);
void screen_draw_band(fb_surface *to, const skin_element *element, const char *text, int32_t y,
                      int32_t height);
/* Whether the elements of a page get outlines, as somebody who makes a skin asks for. */
bool screen_wants_outlines(const skin_page *page);
/* A red line around the element's box, nothing without a size. */
void screen_draw_outline(fb_surface *to, const skin_element *element);

/* Position of a "battery" bar. */
int32_t screen_battery_value();
/* Tokens. `wall` is the clock's time. */
void screen_insert_time(skin_text *out, time_t wall);
void screen_insert_battery(skin_text *out);
/* At least so many digits. */
void screen_insert_number(skin_text *out, int32_t number, int digits);
