/* fb: RGB565 surfaces, drawing on them, and the screen.
 *
 * All functions belong to the main thread. A surface is `height` rows of `width` pixels, rows
 * contiguous, top row first, 16-bit RGB565 in the machine's byte order. Every operation clips to
 * the surface in all four directions; a width or height below 1 draws nothing; a null surface,
 * image or text draws nothing. Unless said otherwise functions return 0, or -1 on failure. */
#pragma once

#include <cstdint>

struct image;
struct fb_text_log;
struct fb_trace;

struct fb_rect {
    int32_t x, y, w, h;
};

/* What differs from the picture before. */
struct fb_changes {
    bool partial; /* false: anything may */
    uint32_t count;
    fb_rect rects[4]; /* within the surface; they may overlap */
};

struct fb_surface {
    int32_t width;      /* pixels */
    int32_t height;     /* pixels */
    int32_t stride;     /* pixels from one row to the next */
    uint16_t *pixels;   /* owned by the surface */
    uint32_t flags;     /* fb_flag_screen: the screen itself, not for fb_free() */
    fb_text_log *texts; /* what fb_draw_text() put here, kept only while fb_keep_texts is set */
    fb_rect clip;       /* drawing reaches no further; without a width: it reaches everywhere */
    bool quiet;         /* texts are not kept */
    bool covered;       /* what is drawn now hides all below it: clearing need not fill */
    fb_trace *trace;    /* notes what is drawn; null: nobody does */
    uint32_t content;   /* number of the picture, of fb_mark(); 0: anything was drawn since */
    uint32_t before;    /* number of the picture that `changes` are counted from */
    fb_changes changes;
};

constexpr uint32_t fb_flag_screen = 1;

/* Alignment bits of fb_draw_text(). No bit: left and top. Both of a pair: centre or middle. */
constexpr uint32_t fb_align_center = 0x01;
constexpr uint32_t fb_align_right = 0x02;
constexpr uint32_t fb_align_middle = 0x10;
constexpr uint32_t fb_align_bottom = 0x20;
/* A text that is wider than its box stands in two lines where the box has room for them. */
constexpr uint32_t fb_align_two_lines = 0x100;

extern fb_surface
    *fb_cur;             /* the screen's surface, null while closed; read it anew after fb_flip() */
extern uint8_t fb_power; /* 1 while the display is lit */

/* Opens the screen at width x height, whatever the physical size is, and lights the display. */
[[nodiscard]] int fb_open(int32_t width, int32_t height);
/* Accepts a screen that was never opened. */
int fb_close();
/* on: 1 lights the display, 0 darkens it. */
int fb_set_power(int on);
int fb_clear(fb_surface *surface, uint16_t colour);
/* Shows fb_cur. The device finds in its `changes` what differs from what it showed last. */
int fb_flip();
/* What the frame of a window says; a screen without one ignores it. */
void fb_set_title(const char *text);

/* Makes a surface filled with 0. Null when the size is below 1 or above 4096, or memory runs
 * out. */
[[nodiscard]] fb_surface *fb_create(int32_t width, int32_t height);
/* Accepts null; refuses (-1) the screen. */
int fb_free(fb_surface *surface);

/* Copies w x h pixels from (src_x, src_y) to (dst_x, dst_y). Source and target must differ. */
int fb_copy(fb_surface *dst, const fb_surface *src, int32_t dst_x, int32_t dst_y, int32_t w,
            int32_t h, int32_t src_x, int32_t src_y);
/* Makes `dst` what `src` is, of the same size, and copies no more than what differs as far as that is
 * known. */
int fb_copy_changes(fb_surface *dst, const fb_surface *src);
/* Draws w x h pixels of `img` from (src_x, src_y); clips to the image as well.
 *   alpha  0..255, multiplied with the image's own alpha */
int fb_draw_image(fb_surface *surface, const image *img, int32_t dest_x, int32_t dest_y, int32_t w,
                  int32_t h, int32_t src_x, int32_t src_y, int32_t alpha);
/* Filled. */
int fb_draw_rect(fb_surface *surface, int32_t x, int32_t y, int32_t w, int32_t h, uint16_t colour);
/* Both end points are part of the line. */
int fb_draw_line(fb_surface *surface, int32_t x1, int32_t y1, int32_t x2, int32_t y2,
                 uint16_t colour);
/* Draws one line of UTF-8 text into a box, with the font of font_open().
 *   w, h   the box; 0 = no limit in that direction, anchored left or top; negative = draw nothing.
 *          A box at least `size` high does not cut descenders and accents of capitals, which reach
 *          up to a quarter of `size` beyond it
 *   size   pixel height of the text
 *   align  fb_align_* bits
 * A broken sequence draws one replacement sign; control bytes draw nothing; a text wider than its
 * box ends in an ellipsis. Allocates nothing once the glyphs are cached. */
int fb_draw_text(fb_surface *surface, const char *text, int32_t x, int32_t y, int32_t w, int32_t h,
                 int32_t size, uint16_t colour, uint32_t align);

/* ---- Pictures of which a part changes ---- */

/* Null when memory runs out. */
[[nodiscard]] fb_trace *fb_trace_new();
/* Accepts null. */
void fb_trace_free(fb_trace *trace);
/* From here on drawing on the surface is noted, and not done. Copying and clearing are not noted. */
void fb_trace_begin(fb_surface *surface, fb_trace *trace);
/* From here on it is done as well, and compared with the notes. */
void fb_trace_draw(fb_surface *surface);
/* Ends both. False when what was drawn is not what had been noted. */
bool fb_trace_end(fb_surface *surface);
/* Compares the notes with those of the picture before, which has that number. */
fb_changes fb_trace_changes(const fb_trace *trace, uint32_t before);
/* Both together. */
fb_changes fb_changes_add(const fb_changes *a, const fb_changes *b);
/* Whether anything in a row changes. For devices. */
bool fb_row_changes(const fb_surface *surface, int32_t y);
/* Gives a finished picture its number, and tells what of it differs from the one before. The notes of
 * the trace, which may be null, are of this picture then. */
void fb_mark(fb_surface *surface, fb_trace *trace, uint32_t before, const fb_changes *changes);

/* ---- What stands on a surface, for devices that can be asked for it (the virtual device) ---- */

struct fb_text {
    int32_t x, y, w, h; /* the box given to fb_draw_text(), moved along by fb_copy() */
    int32_t size;
    uint16_t colour;
    uint32_t align;
    const char *text; /* owned by the surface */
};

/* Set before surfaces are made. Clearing a surface drops its texts; copying a whole surface
 * replaces the texts of the other where it covers all of it, else adds them, moved. */
extern bool fb_keep_texts;
/* Returns how many texts the surface holds; `index` counts from 0 in the order drawn. */
uint32_t fb_text_count(const fb_surface *surface);
const fb_text *fb_text_at(const fb_surface *surface, uint32_t index);
/* Called by fb_draw_text(). */
void fb_text_note(fb_surface *surface, const fb_text *text);
