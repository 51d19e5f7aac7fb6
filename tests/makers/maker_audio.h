/* maker_audio: real music files with known content, for tests and the demo.
 *
 *     maker_track("a.mp3", {.seconds = 2, .freq = 440, .title = "One"});
 *
 * writes MP3, Ogg Vorbis or FLAC by the extension. Bodies of up to a second are encoded once and
 * kept, so thousands of small files that differ only in their tags cost a write each. All text is
 * UTF-8 in, converted where a format wants something else. Any thread. */
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

/* Sound as a function of time. */
struct maker_sound {
    uint32_t rate = 44100; /* Hz */
    int channels = 2;
    int64_t frames = 0; /* samples per channel */
    /* The sample of a channel, -1..1. Asked in order, all channels of a frame in turn. */
    std::function<float(int64_t frame, int channel)> sample = {};
};

/* A sine in every channel.
 *   level  peak, 0..1 */
maker_sound maker_sine(double freq, double seconds, uint32_t rate = 44100, int channels = 2,
                       double level = 0.5);
maker_sound maker_silence(double seconds, uint32_t rate = 44100, int channels = 2);
/* Deterministic white noise, other for each seed: every place in it differs from every other. */
maker_sound maker_noise(double seconds, uint32_t rate = 44100, int channels = 2, double level = 0.5,
                        uint32_t seed = 1);
/* Interleaved samples, copied. */
maker_sound maker_samples(std::vector<float> interleaved, uint32_t rate, int channels);

/* An empty text leaves the field out. */
struct maker_tags {
    std::string title = {}, artist = {}, album = {}, year = {}, genre = {};
    std::string cover = {}; /* the bytes of a picture file; empty: none */
    std::string cover_mime = "image/jpeg";
    /* Further fields after those: ID3 frame ids ("TPE1") or comment names ("ARTIST"). */
    std::vector<std::pair<std::string, std::string>> more = {};
};

struct maker_mp3 {
    int kbps = 128;     /* constant bit rate; of a VBR file ignored */
    bool vbr = false;   /* variable bit rate */
    bool header = true; /* an info frame in front: count, seek table, encoder delay and padding */
};

struct maker_ogg {
    float quality = 0.4f;   /* -0.1..1 */
    uint32_t serial = 1;    /* must differ between the links of a chain */
    int packets_a_page = 0; /* 0: as the library likes */
};

struct maker_flac {
    int bits = 16;           /* 8..24 */
    int block = 0;           /* samples of a block, up to 65535; 0: as the library likes */
    bool total_known = true; /* whether the header tells the length */
    int level = 5;           /* 0..8 */
};

struct maker_id3 {
    int version = 23; /* 22, 23, 24: ID3v2 of that version; 0: none */
    /* "UTF-16", "UTF-16BE" and "UTF-8" are marked as what they are; any other name of an encoding
     * goes into frames that are not marked as Unicode. */
    std::string encoding = "UTF-16";
    bool v1 = false; /* an ID3v1 block at the end as well */
    std::string v1_encoding = "ISO-8859-1";
    uint32_t padding = 0; /* zero bytes inside the ID3v2 block */
};

/* Whole files or, for MP3, the frames only. Empty when the encoder refuses. */
std::string maker_mp3_bytes(const maker_sound &sound, const maker_mp3 &how = {});
std::string maker_ogg_bytes(const maker_sound &sound, const maker_ogg &how = {},
                            const maker_tags &tags = {});
std::string maker_flac_bytes(const maker_sound &sound, const maker_flac &how = {},
                             const maker_tags &tags = {});

/* One ID3v2 block, empty for version 0. */
std::string maker_id3v2_bytes(const maker_tags &tags, const maker_id3 &how = {});
/* 128 bytes. Fields are cut; a genre outside the standard list is left out. */
std::string maker_id3v1_bytes(const maker_tags &tags, const std::string &encoding = "ISO-8859-1");
/* Text in another encoding, by the C library's names; a byte order mark in front for "UTF-16".
 * What the encoding cannot say becomes "?". */
std::string maker_encode(const std::string &utf8, const std::string &encoding);

/* One call for the usual file. */
struct maker_file {
    double seconds = 0.2;
    double freq = 440;
    double level = 0.5;
    uint32_t rate = 44100;
    int channels = 2;
    std::string title = {}, artist = {}, album = {}, year = {}, genre = {};
    std::string cover = {};
    std::string cover_mime = "image/jpeg";
    std::vector<std::pair<std::string, std::string>> more = {};
    maker_id3 id3 = {};
    maker_mp3 mp3 = {};
    maker_ogg ogg = {};
    maker_flac flac = {};
};

/* Writes a track; ".mp3", ".ogg" or ".flac" without regard to case. 0 or -1. */
int maker_track(const std::string &path, const maker_file &file = {});
/* The same with any sound. */
int maker_track_of(const std::string &path, const maker_sound &sound, const maker_file &file = {});

/* Whole files in and out. 0 or -1; an unreadable file is empty. */
int maker_audio_save(const std::string &path, const std::string &bytes);
std::string maker_audio_load(const std::string &path);
