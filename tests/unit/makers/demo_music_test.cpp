/* The demo music as the build left it: it opens, says who plays, and its words fit its length. */
#include "platform/audio/audio.h"
#include "platform/sound/sound.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>
#include <unistd.h>

static const char *const names[] = {"01-spring-walk.mp3", "02-street-lamps.ogg",
                                    "03-paper-boats.flac", "04-night-train.mp3"};

static std::string path_of(const std::string &name)
{
    return std::string(ZERV_BINARY_DIR) + "/demo/music/" + name;
}

/* The build of a single test makes no music. */
static bool is_made()
{
    for (const char *name : names)
        if (access(path_of(name).c_str(), R_OK) != 0)
            return false;
    return true;
}

TEST(demo_music, each_piece_plays_to_its_end_and_ends_softly)
{
    ASSERT_TRUE(is_made()) << "the target demo-music, part of every whole build, makes it";
    for (const char *name : names) {
        const std::string path = path_of(name);
        const audio_decoder *decoder = audio_get_decoder(path.c_str());
        audio_stream *stream = decoder->open(path.c_str());
        ASSERT_NE(stream, nullptr) << name;
        ASSERT_NE(stream->tags, nullptr);
        EXPECT_NE(stream->tags->title, nullptr);
        EXPECT_NE(stream->tags->artist, nullptr);
        EXPECT_NE(stream->tags->album, nullptr);
        const double seconds = static_cast<double>(stream->length) / stream->sample_rate;
        EXPECT_GE(seconds, 15);
        EXPECT_LE(seconds, 40);
        int64_t frames = 0;
        int loudest = 0, last = 0;
        int16_t buffer[2048];
        for (int32_t n; (n = decoder->read(stream, buffer, sizeof buffer)) > 0; frames += n / 4)
            for (int32_t i = 0; i < n / 2; i++) {
                last = abs(buffer[i]);
                loudest = std::max(loudest, last);
            }
        EXPECT_NEAR(static_cast<double>(frames) / sound_rate, seconds, 0.001) << name;
        EXPECT_GT(loudest, 20000) << name;
        EXPECT_LT(loudest, 32767) << name << " clips";
        EXPECT_LT(last, 100) << name;
        decoder->close(stream);
    }
}

TEST(demo_music, the_words_are_in_order_and_inside_the_piece)
{
    ASSERT_TRUE(is_made()) << "the target demo-music, part of every whole build, makes it";
    int files = 0;
    for (const std::string name : names) {
        const std::string path = path_of(name.substr(0, name.rfind('.')) + ".lrc");
        FILE *file = fopen(path.c_str(), "rbe");
        if (!file)
            continue;
        files++;
        char line[256];
        int lines = 0;
        double before = 0;
        while (fgets(line, sizeof line, file)) {
            int minutes, seconds, hundredths;
            if (sscanf(line, "[%2d:%2d.%2d]", &minutes, &seconds, &hundredths) != 3)
                continue;
            const double at = minutes * 60 + seconds + hundredths / 100.0;
            EXPECT_GE(at, before) << line;
            EXPECT_LT(at, 30) << line;
            before = at;
            lines++;
        }
        fclose(file);
        EXPECT_GE(lines, 4) << path;
    }
    EXPECT_GE(files, 2);
}

TEST(demo_music, the_mp3s_carry_covers)
{
    ASSERT_TRUE(is_made()) << "the target demo-music, part of every whole build, makes it";
    for (const std::string name : {"01-spring-walk.mp3", "04-night-train.mp3"}) {
        TagLib::MPEG::File file(path_of(name).c_str(), false);
        ASSERT_TRUE(file.isOpen());
        ASSERT_NE(file.ID3v2Tag(false), nullptr);
        const auto &pictures = file.ID3v2Tag(false)->frameListMap()["APIC"];
        ASSERT_EQ(pictures.size(), 1u) << name;
        EXPECT_GT(pictures.front()->size(), 5000u);
    }
}
