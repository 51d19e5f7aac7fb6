/* key_map: which codes are which keys: built in, or as the file keys.txt says. Main thread. */
#pragma once

#include "platform/input/key_code.h"

#include <cstddef>
#include <cstdint>

constexpr uint32_t key_binding_codes_most = 4; /* of a chord */
constexpr uint32_t key_bindings_most = 512;

/* One key. More than one code make a chord: the last one presses the key while the others are held. */
struct key_binding {
    uint32_t mask; /* of key.h; 0: nothing, whatever the built-in meaning is */
    uint16_t codes[key_binding_codes_most];
    uint8_t count;
    uint32_t line; /* of the file, 0: built in */
};

struct key_map {
    key_binding all[key_bindings_most];
    uint32_t count;
};

/* What is wrong with a file: each line of it goes to standard error, too. */
struct key_map_report {
    uint32_t bad_lines;
    char first[200]; /* of them: "keys.txt:3: ..." */
};

/* Which machines a built-in meaning is for: Ctrl and Alt are buttons on a handheld only. */
enum class key_machine { desktop, handheld };

void key_map_defaults(key_map *map, key_machine machine);
/* Reads a file's text over what the map holds: a code that the text names means what the text says, the
 * others keep their meaning. A bad line is left out and reported.
 *   name  the file's, for the reports */
void key_map_read(key_map *map, const char *text, size_t size, const char *name,
                  key_map_report *report);
/* The same with a file. 0 also when there is none; -1 when it cannot be read, and the map is untouched. */
int key_map_load(key_map *map, const char *path, key_map_report *report);

/* The map in use, which key_open() fills, and what was wrong with the file. */
const key_map *key_map_current();
const key_map_report *key_map_problems();
/* Takes another map into use; what is down comes up. */
void key_map_use(const key_map *map);
/* Whether the file speaks of a code. */
bool key_map_is_named(uint16_t code);
/* Gets all codes instead of the map, for a program that shows them; every code is of interest then. May
 * be null. */
using key_code_hook = void (*)(uint16_t code, bool down);
extern key_code_hook key_code_listener;
/* key_open() does this. */
void key_map_open(key_machine machine);

/* ---- For device back ends, from inside poll() ---- */

/* A code goes down or up. Several things may hold one code down; it comes up with the last of them.
 * What begins a chord and is a key of its own besides acts when it is let go, if no chord came of it. */
void key_code_event(uint16_t code, bool down);
/* A code comes up because nothing is known of it any more: a device is gone. */
void key_code_forget(uint16_t code);
