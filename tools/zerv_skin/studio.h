/* studio: a page in a browser that shows a skin while it is made. One thread, which serves, looks for
 * changes and draws. */
#pragma once

#include "platform/device/web/web_http.h"
#include "tools/zerv_skin/scene.h"

#include <cstdint>
#include <string>
#include <vector>

struct cli_options;

struct studio {
    const cli_options *options;
    bool measured; /* a font is open */
    std::string name;
    scene_package package;
    std::string about;    /* what the page knows of it */
    uint32_t errors;      /* that check finds */
    uint32_t made;        /* counts each time that the skin was read */
    uint64_t fingerprint; /* of what was read */
};

extern const web_page_file studio_page_files[]; /* the build makes it out of the folder studio/ */

/* ---- studio_about.cpp ---- */

/* Reads the skin anew: what there is to see, and what the page has to know about it, as JSON: its
 * scenes, the elements of each variant with boxes, attributes and places, and what check finds. */
[[nodiscard]] int studio_read(studio *of);

/* ---- studio_export.cpp ---- */

/* A file for the browser to keep; empty with a reason, when it cannot be made. */
struct studio_file {
    std::vector<uint8_t> bytes;
    std::string reason;
};
studio_file studio_package(const studio *of);
studio_file studio_sheet(const studio *of);
/* Writes NAME-gallery beside: a page with all pictures, for any web server. Says what was done. */
web_answer studio_gallery(const studio *of);

/* ---- studio_play.cpp: the real player with the skin ---- */

/* Starts it, or finds it running. Its address, or "" with a reason on standard error.
 *   within  the origin of the page that shows it */
std::string studio_play(const studio *of, const char *within);
/* Lets it load the skin again. Accepts one that does not run, as the next does. */
void studio_play_follow();
void studio_play_end();

/* ---- studio_server.cpp ---- */

/* Serves until the program is asked to end. Returns the exit status. */
int studio_serve(studio *of);
