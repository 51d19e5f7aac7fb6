/* program: the whole player in a fuzzer: start-up, loop and shutdown on the scripted device, in a
 * folder of its own that is empty before each run. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/* Makes the folder once, goes there and empties it: a font, a skin and a few short tracks
 * ("music/") stand in it, nothing else. */
void fuzz_program_folder();
/* A file of that folder. */
void fuzz_program_write(const char *name, const void *bytes, size_t size);
/* Links a skin's pictures into a folder of it. */
void fuzz_program_pictures(const char *into);
/* Settings that the fuzzers start from: the small font, the skins named, the music's folder. */
void fuzz_program_settings(const char *list_skin, const char *play_skin);
/* Runs the player with these arguments and this script to its end, then leaves the folder. */
void fuzz_program_run(const std::vector<std::string> &arguments, const std::string &script);
/* Keys, fingers, time and battery, as bytes say: a line of a script for every one to four. No key
 * that switches off, and less time than a worker would be missed in. */
std::string fuzz_program_commands(const uint8_t *data, size_t size);
