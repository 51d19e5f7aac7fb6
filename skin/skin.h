/* skin: packages, their parts, and the elements that parts are made of. Main thread, except where
 * a screen's own lock guards a part. */
#pragma once

#include <cstddef>
#include <cstdint>

struct fb_surface;
struct image;
struct stat;

/* What the names of an element mean: places in the tables of skin_table.h, 0 for none of them. */
struct skin_meaning {
    bool looked_up; /* by the parser, once. Not in an element that a program made by itself */
    uint8_t kind, type, action, show, hide;
};

/* One element of a screen. Texts are owned, null when the attribute is absent. */
struct skin_element {
    char name[32];                     /* the tag, at most 30 characters */
    int32_t x, y;                      /* top left corner, screen pixels */
    int32_t width, height;             /* pixels; 0 takes the image's size when it loads */
    char *src;                         /* image path inside the package */
    char *type;                        /* behaviour of a "scroll" */
    int32_t font_size;                 /* pixels */
    uint16_t font_color, font_color_2; /* RGB565; the second is a list's selected row */
    int32_t origin_x, origin_y;        /* subtracted from x and y by bars */
    char *format, *show, *hide;
    uint32_t text_align; /* fb_align_* bits */
    uint16_t color;      /* fill of a "rect" */
    char *action;
    struct image *image; /* owned; null when the package has no such file, or it waits: */
    uint32_t kept;       /* 1 + its place in the part's kept files, until it is decoded; else 0 */
    uint32_t inactive;   /* hidden on the play screen, which writes it; bars of the list screen do
                            not take a touch while it is set. 0 after loading */
    int32_t value;       /* position of a "scroll", thousandths; set by the screen before a draw */
    skin_meaning means;
};

/* One part file: a layout variant. */
struct skin_page {
    skin_element *elements;
    uint32_t element_count;
    char version[10];
    int32_t debug;
    int32_t variant;                /* the number in the file's name */
    char *show, *hide;              /* condition words, null when absent */
    uint8_t show_means, hide_means; /* as in skin_meaning */
    bool waits;                     /* for skin_show_page() */
};

/* The file of a picture that is decoded when it is first shown. */
struct skin_kept {
    void *bytes; /* owned */
    size_t size;
};

struct skin_part {
    skin_page *pages; /* ascending by variant */
    uint32_t count;   /* at least 1 */
    skin_kept *kept;  /* null where nothing waits */
    uint32_t kept_count;
};

/* Compiles the pattern of part file names. Before any other function here. */
[[nodiscard]] int skin_init();
int skin_exit();
/* Listing filter of the skins folder: folders and ".zip" files. */
int skin_file_filter(const char *name, const struct stat *entry);
/* 1 when the package (zip or folder) holds a part file of that name, else 0. Parses nothing. */
int skin_is_part_available(const char *package_path, const char *part_name);
/* Reads every variant of a part and its images. Null when the package has none that parses, or an
 * image does not decode. The caller frees it with skin_free_part(). */
[[nodiscard]] skin_part *skin_read_part(const char *package_path, const char *part_name);
/* The same, but pictures of which it is certain that they are whole stay as they lie in the package, in
 * memory, until their page is shown. */
[[nodiscard]] skin_part *skin_read_part_sparing(const char *package_path, const char *part_name);
/* Decodes what waits on a page of the part; no more than a look where nothing does. -1 when a picture does
 * not decode after all, or memory runs out: it is not drawn then. */
[[nodiscard]] int skin_show_page(const skin_part *part, skin_page *page);
/* Accepts null. */
int skin_free_part(skin_part *part);

/* Draws the kinds that look the same on every screen. 1 for "img" and "button" (finished, also
 * without an image), 0 for all others, drawn ("scroll", "rect") or not. */
int skin_common_behavior(skin_element *element, fb_surface *surface);
/* Whether a point lies in the element's box. */
bool skin_element_holds(const skin_element *element, int32_t x, int32_t y);
/* Thousandths that a touch means on a bar, not clamped (a 2-pixel bar gives 1001); -1 when it is
 * not on a draggable bar. Reversed bars cannot be dragged. */
int32_t skin_get_scroll_permillage(const skin_element *element, int32_t touch_x, int32_t touch_y);
