/* cfg: the settings, and the XML file that keeps them.
 *
 * The main thread's, with two exceptions: the sound thread reads the playback order, and the scan
 * the library's path, which changes only at start-up, before there is a scan. */
#pragma once

#include <cstddef>
#include <cstdint>

extern char cfg_version[10];
extern int32_t cfg_vol;                 /* 0..100 once the platform has it, any number before */
extern char cfg_skin_play[512];         /* package of the play screen */
extern char cfg_skin_list[512];         /* package of the list screen */
extern int32_t cfg_display_off_timeout; /* seconds; 0 or less: never */
extern char cfg_lang[10];               /* "ko", "en", "ja" */
extern int32_t cfg_playback_order;      /* 0 in order, 1 repeat, 2 shuffle; stored and
                                            loaded as an atomic word: the sound thread reads it */
extern char cfg_font[512];
extern char cfg_library_path[512]; /* root of the media library */
extern int32_t cfg_debug;          /* above 0: element outlines */
extern uint8_t cfg_modified;       /* settings differ from the file */

/* Sets every default and cfg_modified. */
void cfg_load_default();
/* 0 when the whole file was read (clears cfg_modified), else -1; values read so far stay. */
[[nodiscard]] int cfg_load(const char *path);
/* Replaces the file. One that is there but was not read whole is kept beside the new one, as
 * "NAME.old". -1 when it cannot be opened or kept; else clears cfg_modified. */
int cfg_save(const char *path);
/* The default package for part "play" or "list", "" for any other name. */
void cfg_set_default_skin_part(char *to, size_t size, const char *part_name);
/* The first package under "skins" whose part loads; sets cfg_modified. -1 when there is none. */
[[nodiscard]] int cfg_find_available_skin_part(char *to, size_t size, const char *part_name);
