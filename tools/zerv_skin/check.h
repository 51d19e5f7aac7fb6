/* check: what the player would leave out of a package, and what it would show otherwise than the
 * skin maker means. */
#pragma once

#include "tools/zerv_skin/report.h"

struct check_part {
    bool present; /* the package has a part file of that name */
    bool loads;   /* the player takes it */
    uint32_t variants;
};

struct check_result {
    report found; /* sorted */
    check_part list, play;
};

/* Checks a package, zip or folder.
 *   measure  whether a font is open: texts are measured too */
void check_package(const char *path, bool measure, check_result *to);
