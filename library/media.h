/* media: which files are music or playlists, by extension without regard to case. Any thread. */
#pragma once

struct stat;

int media_file_filter(const char *name, const struct stat *entry); /* folders, audio, playlists */
int audio_file_filter(const char *name, const struct stat *entry); /* folders, audio */
int is_audio_file(const char *name);
int is_playlist_file(const char *name);
