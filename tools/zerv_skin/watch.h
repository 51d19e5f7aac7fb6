/* watch: a skin that is followed while it changes. */
#pragma once

#include <cstdint>

struct cli_options;

/* Changes when any file of a package is written, made or removed. 0: it cannot be read. */
uint64_t watch_fingerprint(const char *path);
/* A stage for the package that the command is about, with the font that it names or none, and signals
 * that ask the program to end. Complains on standard error; 0 or -1. */
[[nodiscard]] int watch_begin(const cli_options *options);
void watch_end();
/* True once the program was asked to end (a signal). */
bool watch_ends();
/* Tells on standard output what check finds. */
void watch_tell(const cli_options *options);

/* watch_window.cpp: runs the window until it is closed. Returns the exit status, or -1 when there
 * is no display. */
int watch_window(const cli_options *options);
