/* update_download: what the update service says, and the package it names. Worker thread. */
#pragma once

constexpr int update_answer_size = 256;

/* The host by environment or build, "" when none is configured. Any thread. */
const char *update_host();
/* Asks the service. 0 with its answer, cut to 255 bytes and stripped of white space, or -1. */
[[nodiscard]] int update_ask(char (&answer)[update_answer_size]);
/* Fetches a package into a file of a folder that it makes. A package that is too large for us or
 * for the disk is a failure; what was written stays for the next check to remove.
 *   go_on  asked between reads; false gives up
 * 0 or -1. */
[[nodiscard]] int update_download(const char *address, const char *folder, const char *path,
                                  bool (*go_on)());
