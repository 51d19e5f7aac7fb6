/* skin_behavior: what kinds of bars there are, for programs that help skin makers. */
#pragma once

struct skin_bar_kind {
    bool vertical;
    bool draggable;
    bool cut_from_end; /* its image should be as long as the bar */
};

/* False for null and for a type that draws nothing. */
bool skin_find_bar_kind(const char *type, skin_bar_kind *kind);
