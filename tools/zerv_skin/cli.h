/* cli: the command line of zerv-skin. */
#pragma once

#include <cstdint>

/* Runs the program; returns its exit status: 0, 1 for warnings, 2 for errors and wrong usage. */
int cli_main(int argc, char **argv);

struct cli_options {
    const char
        *subject; /* the package, folder or name that the command is about; null for "words" */
    const char *output;     /* -o, null when absent */
    const char *font;       /* --font, null when absent */
    bool json;              /* --json */
    bool force;             /* --force */
    bool colours, progress; /* standard output, standard error is a terminal */
};

/* One command each; they return the exit status. */
int cli_check(const cli_options *options);
int cli_preview(const cli_options *options);
int cli_watch(const cli_options *options);
int cli_new(const cli_options *options);
int cli_pack(const cli_options *options);
int cli_words(const cli_options *options);
int cli_studio(const cli_options *options);

/* Packs a folder as it is, whatever check says. Complains on standard error; 0 or -1. */
int cli_pack_write(const char *folder, const char *path, uint32_t *files);

/* The last name of a path, without the ends "/" and ".zip". */
struct cli_name {
    char text[256];
};
cli_name cli_base_name(const char *path);
/* Shows how far a long command has come, on a terminal only. */
void cli_progress(const cli_options *options, const char *what, unsigned done, unsigned all);
