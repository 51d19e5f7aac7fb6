/* scene: the screens of a skin in every variant, state and data, drawn by the player's own screens.
 * Main thread, on an open stage. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct fb_surface;

struct scene {
    std::string name; /* "play-0-paused" */
    bool in_list;     /* of the list screen, else of the play screen */
    uint32_t variant; /* index, in the order of the numbers */
    uint32_t state;   /* indices among those of the screen's samples */
    uint32_t data;
    bool in_preview; /* the state or the data is the usual one: together they are too many */
    bool cover, lyrics;
};

struct scene_part {
    bool present; /* the package has part files for it */
    bool loads;
};

struct scene_package {
    scene_part list, play;
    std::vector<scene> scenes;
};

/* Hands a package to the screens and lists what there is to see. A part that does not load has no
 * scenes; what was handed over before is forgotten. -1 when memory runs out. */
[[nodiscard]] int scene_open(const char *path, scene_package *to);
/* Accepts that nothing was ever opened. */
void scene_close();
/* Draws a scene of the package that was opened last; the surface is valid until the next call.
 *   outlines  a red frame around every element
 *   names     their tags written into them */
const fb_surface *scene_draw(const scene &of, bool outlines, bool names);

/* What a step changes. */
enum class scene_axis { variant, state, data, part };
/* The nearest scene in a direction (1 or -1, round and round) that differs from `shown` in the
 * axis alone, or that is of the other part. `shown` when there is none. */
size_t scene_step(const scene_package *of, size_t shown, scene_axis axis, int direction);
