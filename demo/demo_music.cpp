/* demo_music: writes the demo music into a folder: four pieces with tags, covers and words. */
#include "demo/covers.h"
#include "demo/pieces.h"
#include "tests/makers/maker_audio.h"

#include <cstdio>

constexpr int cover_pixels = 500;

struct track {
    const char *name; /* of the file, without extension */
    const char *ext;
    piece (*compose)(uint32_t rate);
    uint32_t rate;
    const char *title, *artist, *album, *genre;
    maker_picture (*cover)(int size); /* may be null */
    bool png;
    const char *words; /* lines with their times, may be null */
};

static constexpr char spring_words[] = "[ti:봄날의 산책]\n"
                                       "[00:00.40]햇살이 골목을 깨우면\n"
                                       "[00:00.40]When sunlight wakes the lane\n"
                                       "[00:06.40]천천히 걸어가요\n"
                                       "[00:06.40]we walk it slowly\n"
                                       "[00:12.80]꽃잎이 어깨에 앉고\n"
                                       "[00:12.80]A petal rests on your shoulder\n"
                                       "[00:19.20]바람은 노래를 해요\n"
                                       "[00:19.20]and the wind begins to sing\n"
                                       "[00:25.70]봄은 여기 있어요\n"
                                       "[00:25.70]Spring is here\n";

static constexpr char lamps_words[] = "[ti:雨后的街灯]\n"
                                      "[00:00.80]雨停了，街灯亮着\n"
                                      "[00:06.50]水洼里有一个小小的月亮\n"
                                      "[00:13.00]慢慢走，不用着急\n"
                                      "[00:19.50]晚风替我们唱一首歌\n"
                                      "[00:26.00]晚安，晚安\n";

static constexpr char train_words[] = "[ti:Night Train Home]\n"
                                      "[00:00.50](the wheels begin to roll)\n"
                                      "[00:08.10]Lamps go by like fireflies\n"
                                      "[00:12.20]Stations fall asleep behind us\n"
                                      "[00:16.30]Hold my seat and hold my hand\n"
                                      "[00:20.40]The moon has bought a ticket too\n"
                                      "[00:24.40]Lamps go by, the night is kind\n"
                                      "[00:28.50]One more bend and we are home\n";

static constexpr track tracks[] = {
    {"01-spring-walk", ".mp3", piece_spring_walk, 44100, "봄날의 산책", "작은 왈츠 모임",
     "네 개의 풍경", "Waltz", cover_spring_walk, false, spring_words},
    {"02-street-lamps", ".ogg", piece_street_lamps, 44100, "雨后的街灯", "晚风电钢琴", "四个风景",
     "Chillout", nullptr, false, lamps_words},
    {"03-paper-boats", ".flac", piece_paper_boats, 48000, "Paper Boats", "The Quiet Harp",
     "Four Views", "Ambient", nullptr, false, nullptr},
    {"04-night-train", ".mp3", piece_night_train, 44100, "Night Train Home", "Window Seat Trio",
     "Four Views", "Jazz", cover_night_train, true, train_words},
};

static std::string cover_bytes(const track &one)
{
    const maker_picture picture = one.cover(cover_pixels);
    const maker_bytes bytes = one.png ? maker_png(picture, {.kind = maker_png_kind::rgb})
                                      : maker_jpeg(picture, {.quality = 90});
    return {bytes.begin(), bytes.end()};
}

static int write_track(const std::string &folder, const track &one)
{
    maker_file file = {.title = one.title,
                       .artist = one.artist,
                       .album = one.album,
                       .year = "2024",
                       .genre = one.genre};
    if (one.cover) {
        file.cover = cover_bytes(one);
        file.cover_mime = one.png ? "image/png" : "image/jpeg";
    }
    file.mp3 = {.kbps = 160, .vbr = one.png};
    file.ogg.quality = 0.5f;
    file.flac.bits = 24;
    piece music = one.compose(one.rate);
    const maker_sound sound = maker_samples(std::move(music.samples), music.rate, 2);
    if (maker_track_of(folder + "/" + one.name + one.ext, sound, file))
        return -1;
    return one.words ? maker_audio_save(folder + "/" + one.name + ".lrc", one.words) : 0;
}

int main(int count, char **arguments)
{
    if (count != 2) {
        fprintf(stderr, "usage: %s FOLDER\n", arguments[0]);
        return 2;
    }
    for (const track &one : tracks)
        if (write_track(arguments[1], one)) {
            fprintf(stderr, "cannot write %s%s\n", one.name, one.ext);
            return 1;
        }
    return 0;
}
