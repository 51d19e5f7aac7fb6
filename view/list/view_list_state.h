/* view_list_state: what the files of the list screen share. Main thread. */
#pragma once

#include <cstddef>
#include <cstdint>

struct fb_surface;
struct list;
struct skin_element;
struct skin_page;
struct skin_part;
struct view;

struct view_list_skin {
    skin_part *part; /* owned; null before a skin was loaded */
    skin_page *page; /* the part's first page */
    uint32_t rows;   /* "item" elements of the page: rows on the screen */
};
extern view_list_skin view_list_state;

/* Shows a page of the part and counts its rows. */
void view_list_use_page(skin_page *page);

/* A row of the list in a slot of the page. */
struct view_list_slot {
    int32_t index; /* of the row; may lie outside the list */
    bool selected; /* an "item_sel" slot */
};

/* Walks the "item" and "item_sel" slots of a page in order; each kind counts its own rows. */
struct view_list_rows {
    int64_t next_item, next_selected;
};
/* Row of the first slot, so that the cursor's row stands in the middle one. */
view_list_rows view_list_first_rows(int32_t cursor, uint32_t rows);
/* True when the element is a slot; *slot then tells its row, and the walk goes on to the next. */
bool view_list_next_slot(view_list_rows *walk, const skin_element *element, view_list_slot *slot);

/* What the screen reads of a list in one go, under list_lock. */
struct view_list_model {
    int32_t cursor;
    uint32_t count;
};
view_list_model view_list_look(const list *of);

/* The operations of the view. */
int view_list_input(view *self);
int view_list_draw(view *self, fb_surface *screen);
/* Forgets the finger: elements that it pressed are about to go. */
void view_list_forget_touch();
/* Draws at the next pass even if nothing asks for it. */
void view_list_draw_reset();
/* Expands a "text" element's format: "$title", "$time", ... Cut at the size. */
void view_list_expand(const char *format, char *to, size_t size);
