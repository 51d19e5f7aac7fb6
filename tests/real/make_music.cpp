/* make_music: music whose cost is measured.
 *
 *     make_music songs FOLDER                  one piece in each format, as people keep it
 *     make_music covers FOLDER                 large pictures
 *     make_music library FOLDER FILES SECONDS COVER
 *                                              a tree of FILES tagged tracks of SECONDS each; every
 *                                              fifth carries a picture of COVER bytes
 */
#include "makers/maker_audio.h"
#include "makers/maker_picture.h"
#include "platform/file/file.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

constexpr int files_a_folder = 12;
constexpr double song_seconds = 20;
constexpr int cover_side = 1500; /* pixels, as shops deliver it */
constexpr uint32_t rate = 44100;

static void must(int result, const std::string &what)
{
    if (result == 0)
        return;
    fprintf(stderr, "make_music: cannot make %s\n", what.c_str());
    exit(1);
}

static double chord_at(double at)
{
    const double root = 110 * exp2(fmod(floor(at * 2) * 5, 12) / 12);
    double value = 0;
    for (int voice = 0; voice < 4; voice++)
        for (int partial = 1; partial <= 5; partial++)
            value += sin(2 * M_PI * root * (1 + voice * 0.25) * partial * at) / partial;
    return value;
}

/* Chords that decay, a beat of noise, and a little of it all the time: enough to keep an encoder
 * as busy as music does. */
static maker_sound make_piece(double seconds)
{
    const maker_sound noise = maker_noise(seconds, rate, 2, 1);
    return {.rate = rate,
            .channels = 2,
            .frames = static_cast<int64_t>(seconds * rate),
            .sample = [hiss = noise.sample, chord = 0.0](int64_t frame, int channel) mutable {
                const double at = static_cast<double>(frame) / rate;
                const double beat = fmod(at, 0.5);
                if (channel == 0)
                    chord = chord_at(at) * exp(-3 * beat);
                const double hit = exp(-30 * beat) * 0.3 + 0.01;
                return static_cast<float>(chord * (channel ? 0.06 : 0.08) +
                                          hit * static_cast<double>(hiss(frame, channel)));
            }};
}

static maker_picture make_cover()
{
    maker_picture cover = maker_gradient(cover_side, cover_side);
    const maker_picture grain = maker_speckles(cover_side, cover_side, 7);
    for (size_t i = 0; i < cover.argb.size(); i++)
        cover.argb[i] ^= grain.argb[i] & 0x0F0F0F; /* no photograph is smooth */
    return cover;
}

static void make_covers(const std::string &at)
{
    const maker_picture cover = make_cover();
    const maker_bytes kinds[] = {maker_jpeg(cover, {.quality = 85}),
                                 maker_jpeg(cover, {.progressive = true, .quality = 85}),
                                 maker_png(cover, {.kind = maker_png_kind::rgb})};
    const char *const names[] = {"cover.jpg", "progressive.jpg", "cover.png"};
    for (int i = 0; i < 3; i++)
        maker_save(at + "/" + names[i], kinds[i]);
}

static void make_songs(const std::string &at)
{
    const maker_sound piece = make_piece(song_seconds);
    maker_file song = {.title = "The Piece", .artist = "The Makers", .album = "Figures"};
    song.mp3.vbr = true;
    song.ogg.quality = 0.6f;
    for (const char *name : {"song.mp3", "song.ogg", "song.flac"})
        must(maker_track_of(at + "/" + name, piece, song), at + "/" + name);
}

/* ---- A tree of tracks ---- */

struct library_plan {
    std::string at;
    int files;
    double seconds;
    size_t cover_bytes;
};

static maker_file tags_of(int n, const library_plan &plan)
{
    const int album = n / files_a_folder;
    maker_file file = {.seconds = plan.seconds,
                       .title = "Title of a track " + std::to_string(n % files_a_folder),
                       .artist = "Artist " + std::to_string(album / 3),
                       .album = "Album " + std::to_string(album),
                       .year = std::to_string(1960 + album % 60),
                       .genre = album % 3 ? "Rock" : "Jazz"};
    if (n % 5 == 2)
        file.cover = "\xFF\xD8\xFF" + std::string(plan.cover_bytes, 'p'); /* nobody looks inside */
    return file;
}

/* The tracks of an album that end alike are one file, copied: encoding takes longer than writing. */
static void make_track(int n, const library_plan &plan)
{
    static const char *const endings[] = {"mp3", "mp3", "mp3", "ogg", "flac"};
    static std::string kept[5];
    const int album = n / files_a_folder;
    const std::string folder = plan.at + "/album " + std::to_string(album);
    if (n % files_a_folder == 0) {
        must(file_mkdir(folder.c_str()), folder);
        for (std::string &each : kept)
            each.clear();
    }
    const std::string path =
        folder + "/" + std::to_string(n % files_a_folder) + " title." + endings[n % 5];
    if (kept[n % 5].empty()) {
        must(maker_track(path, tags_of(n, plan)), path);
        kept[n % 5] = maker_audio_load(path);
    } else {
        must(maker_audio_save(path, kept[n % 5]), path);
    }
}

static void make_library(const library_plan &plan)
{
    for (int n = 0; n < plan.files; n++)
        make_track(n, plan);
}

int main(int count, char **arguments)
{
    const std::string what = count > 2 ? arguments[1] : "";
    const std::string at = count > 2 ? arguments[2] : "";
    if (what.empty() || (what == "library" && count != 6)) {
        fprintf(stderr, "usage: make_music songs|covers FOLDER\n"
                        "       make_music library FOLDER FILES SECONDS COVER\n");
        return 1;
    }
    must(file_mkdir(at.c_str()), at);
    if (what == "songs")
        make_songs(at);
    else if (what == "covers")
        make_covers(at);
    else
        make_library(
            {at, atoi(arguments[3]), atof(arguments[4]), static_cast<size_t>(atol(arguments[5]))});
    return 0;
}
