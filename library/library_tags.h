/* library_tags: what one file says about itself, ready for the database. */
#pragma once

enum class library_file_kind {
    playlist,
    unreadable, /* no sound file, or not one of its format */
    bare,       /* a sound file whose tag block cannot be read */
    tagged,
};

/* Each text is stripped, cut to 1023 bytes and never empty. */
struct library_tags {
    library_file_kind kind;
    char *artist, *album, *genre, *year, *title; /* null unless tagged; one block, at `artist` */
};

/* Reads the tags of a file. -1 when memory runs out: `out` is then unreadable. Any thread. */
int library_tags_read(const char *path, library_tags *out);
void library_tags_free(library_tags *tags);
