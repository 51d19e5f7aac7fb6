/* font_map: the bytes of a font file, mapped. Private to font*.cpp; main thread only. */
#pragma once

#include <cstddef>

struct font_map {
    const void *bytes; /* null: nothing is mapped */
    size_t size;
};

/* 0, or -1 for what is no file, is empty or larger than 4 GiB, or cannot be mapped. */
int font_map_open(font_map *map, const char *path);
/* Accepts a zeroed record. */
void font_map_close(font_map *map);
/* Takes no page of the file for the process's own until it is read again. */
void font_map_rest(const font_map *map);
