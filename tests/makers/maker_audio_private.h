/* maker_audio_private: encoded sound without its tags, between the sources of maker_audio. */
#pragma once

#include "tests/makers/maker_audio.h"

#include <memory>

/* A packet of Ogg Vorbis. */
struct maker_packet {
    std::string bytes;
    int64_t granule = 0; /* samples up to the end of the packet */
};

/* Sound that only lacks its tags. */
struct maker_body {
    std::string mp3;                   /* MP3: the frames */
    std::string flac_info;             /* FLAC: the 34 bytes of the stream info */
    std::string flac_frames;           /* FLAC: the frames */
    std::string ogg_id, ogg_setup;     /* Ogg: first and third header packet */
    std::vector<maker_packet> packets; /* Ogg: the sound */
    bool ready = false;                /* the encoder did its work */
};

maker_body maker_mp3_body(const maker_sound &sound, const maker_mp3 &how);
maker_body maker_ogg_body(const maker_sound &sound, const maker_ogg &how);
maker_body maker_flac_body(const maker_sound &sound, const maker_flac &how);

std::string maker_ogg_wrap(const maker_body &body, const maker_ogg &how, const maker_tags &tags);
std::string maker_flac_wrap(const maker_body &body, const maker_flac &how, const maker_tags &tags);

/* The comments of Vorbis and FLAC, in order. */
std::vector<std::pair<std::string, std::string>> maker_comments(const maker_tags &tags);
