/* check_page: the rules of check, for one page and for the names of a package. Private to check. */
#pragma once

#include "tools/zerv_skin/source.h"

/* What the screen looks for on behalf of a page. Nobody looks for what is not asked for. */
struct check_asked {
    bool cover, lyrics;
};

/* A page under check. */
struct check_page {
    report *found;
    const source_package *package;
    const source_part *part;
    const source_file *file;
    const skin_page *page;
    bool in_list; /* of the part "list", else "play" */
    check_asked asked;
    uint32_t *texts_left; /* that are still measured: it takes its time */
};

/* Warns about a tag; `attribute` may be "" or absent from it: the tag's own place is told then. */
__attribute__((format(printf, 5, 6))) void check_warn(const check_page &in, const source_tag &tag,
                                                      const char *attribute, const char *code,
                                                      const char *format, ...);

/* The same for an attribute that is at hand. */
__attribute__((format(printf, 5, 6))) void check_warn_at(const check_page &in,
                                                         const source_tag &tag,
                                                         const source_attribute &attribute,
                                                         const char *code, const char *format, ...);

/* A piece of the screen, or of what lies far beside it. */
struct check_box_of {
    int64_t x, y, width, height;
};

/* The tag that each element of a page comes from; a row comes from its list. */
std::vector<const source_tag *> check_tags(const check_page &in);

/* check_text.cpp: lets the player stand at a moment with long titles, or with nothing loaded, and
 * tells what a text covers then: its letters where a font is open, else its box. Empty when it says
 * nothing. The box of an element that is no text is its own. */
void check_set_moment(const check_page &in, bool loaded);
check_box_of check_text_box(const check_page &in, const skin_element &element);

/* check_element.cpp: words, images, boxes, touch. */
void check_element(const check_page &in, const source_tag &tag, const skin_element &element);
/* check_text.cpp: templates and their room. Needs a stage. */
void check_text(const check_page &in, const source_tag &tag, const skin_element &element);
/* check_look.cpp: letters against what is behind them, and the strip for messages. Needs a stage. */
void check_look(const check_page &in);
/* check_overlap.cpp: elements over one another. Needs a stage. */
void check_overlap(const check_page &in);
/* check_names.cpp: names of members that look like part files and are none, or stand twice. */
void check_names(const source_package &package, report *found);
/* check_image.cpp: why an image does not decode, as far as its first bytes tell. */
std::string check_image_reason(const char *package_path, const std::string &name);
