/* Tags: what was written into the files of each kind is read, in each encoding. */
#include "makers/maker_audio.h"
#include "makers/maker_id3_frame.h"
#include "platform/audio/audio.h"

#include <atomic>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

/* Five texts, "(null)" for what is null; all "(none)" for a file without record. */
struct texts {
    std::string title = "(none)", artist = "(none)", album = "(none)", year = "(none)",
                genre = "(none)";
};

static std::string or_null(const char *text)
{
    return text ? text : "(null)";
}

static texts copy(const audio_tags *tags)
{
    if (!tags)
        return {};
    return {or_null(tags->title), or_null(tags->artist), or_null(tags->album), or_null(tags->year),
            or_null(tags->genre)};
}

/* Read both ways, which must agree. */
static texts tags_of(const std::string &path)
{
    const audio_decoder *decoder = audio_get_decoder(path.c_str());
    audio_info *info = decoder->read_info(path.c_str());
    EXPECT_NE(info, nullptr) << path;
    if (!info)
        return {"(refused)"};
    const texts all = copy(info->tags);
    EXPECT_EQ(decoder->release_info(info), 0);
    if (audio_stream *stream = decoder->open(path.c_str())) {
        const texts played = copy(stream->tags);
        EXPECT_EQ(played.title, all.title);
        EXPECT_EQ(played.year, all.year);
        EXPECT_EQ(played.genre, all.genre);
        decoder->close(stream);
    }
    return all;
}

static void expect_texts(const texts &is, const maker_file &wanted)
{
    EXPECT_EQ(is.title, wanted.title);
    EXPECT_EQ(is.artist, wanted.artist);
    EXPECT_EQ(is.album, wanted.album);
    EXPECT_EQ(is.year, wanted.year);
    EXPECT_EQ(is.genre, wanted.genre);
}

static const maker_file many_scripts = {.seconds = 0.1,
                                        .title = "봄날의 길 'a' 100%s",
                                        .artist = "周末乐队",
                                        .album = "Été à Łódź",
                                        .year = "2021",
                                        .genre = "Ambient"};

TEST(audio_tags, unicode_is_read_from_each_format)
{
    for (const char *path : {"u.ogg", "u.flac", "u.mp3"}) {
        ASSERT_EQ(maker_track(path, many_scripts), 0);
        expect_texts(tags_of(path), many_scripts);
    }
}

TEST(audio_tags, each_version_and_unicode_encoding_of_id3_is_read_under_any_native_one)
{
    for (const char *native : {"CP949", "CP932", "ISO-8859-1"}) {
        ASSERT_EQ(decoder_mp3_set_tag_native_encoding(native), 0);
        for (const maker_id3 &how :
             {maker_id3{.version = 22, .encoding = "UTF-16"}, maker_id3{.version = 23},
              maker_id3{.version = 24, .encoding = "UTF-16"},
              maker_id3{.version = 24, .encoding = "UTF-16BE"},
              maker_id3{.version = 24, .encoding = "UTF-8", .padding = 100}}) {
            maker_file file = many_scripts;
            file.id3 = how;
            ASSERT_EQ(maker_track("v.mp3", file), 0);
            expect_texts(tags_of("v.mp3"), many_scripts);
        }
    }
}

static const maker_file korean = {.seconds = 0.1,
                                  .title = "한국어 제목",
                                  .artist = "가수",
                                  .album = "앨범",
                                  .year = "1999",
                                  .genre = "발라드"};
static const maker_file japanese = {.seconds = 0.1,
                                    .title = "日本語の題",
                                    .artist = "歌手",
                                    .album = "表と裏",
                                    .year = "2003",
                                    .genre = "歌謡曲"};
static const maker_file western = {.seconds = 0.1,
                                   .title = "Café noir",
                                   .artist = "Björn",
                                   .album = "Ça va",
                                   .year = "1980",
                                   .genre = "Très"};

TEST(audio_tags, unmarked_text_is_read_in_the_native_encoding)
{
    struct native {
        const char *encoding;
        const maker_file *file;
    };
    for (const native &each :
         {native{"CP949", &korean}, native{"CP932", &japanese}, native{"ISO-8859-1", &western}})
        for (const int version : {22, 23, 24}) {
            ASSERT_EQ(decoder_mp3_set_tag_native_encoding(each.encoding), 0);
            maker_file file = *each.file;
            file.id3 = {.version = version, .encoding = each.encoding};
            ASSERT_EQ(maker_track("n.mp3", file), 0);
            expect_texts(tags_of("n.mp3"), *each.file);
        }
}

TEST(audio_tags, the_old_block_alone_is_read_in_the_native_encoding_too)
{
    ASSERT_EQ(decoder_mp3_set_tag_native_encoding("CP949"), 0);
    maker_file file = korean;
    file.genre = "Rock";
    file.id3 = {.version = 0, .v1 = true, .v1_encoding = "CP949"};
    ASSERT_EQ(maker_track("old.mp3", file), 0);
    expect_texts(tags_of("old.mp3"), file);
}

TEST(audio_tags, a_character_cut_at_the_end_of_a_field_is_left_out)
{
    ASSERT_EQ(decoder_mp3_set_tag_native_encoding("CP949"), 0);
    maker_file file = {.seconds = 0.1, .id3 = {.version = 0, .v1 = true, .v1_encoding = "CP949"}};
    /* 31 bytes: the last character loses its second half. */
    file.title = "a가나다라마바사아자차카타파하거";
    ASSERT_EQ(maker_track("half.mp3", file), 0);
    EXPECT_EQ(tags_of("half.mp3").title, "a가나다라마바사아자차카타파하");
}

TEST(audio_tags, text_that_is_none_in_the_native_encoding_is_read_as_western)
{
    ASSERT_EQ(decoder_mp3_set_tag_native_encoding("CP949"), 0);
    maker_file file = western;
    file.id3 = {.version = 23, .encoding = "ISO-8859-1"};
    ASSERT_EQ(maker_track("w.mp3", file), 0);
    EXPECT_EQ(tags_of("w.mp3").title, "Café noir");
}

TEST(audio_tags, text_that_ends_inside_a_character_is_read_as_western)
{
    for (const char *native : {"CP949", "CP932"}) {
        ASSERT_EQ(decoder_mp3_set_tag_native_encoding(native), 0);
        for (const int version : {22, 23, 24}) {
            maker_file file = {.seconds = 0.1, .title = "Café", .artist = "Café René"};
            file.id3 = {.version = version, .encoding = "ISO-8859-1"};
            ASSERT_EQ(maker_track("c.mp3", file), 0);
            EXPECT_EQ(tags_of("c.mp3").title, "Café") << native;
            EXPECT_EQ(tags_of("c.mp3").artist, "Café René") << native;
        }
        /* A field of the old block that is not full has lost nothing. */
        const maker_file old = {
            .seconds = 0.1, .title = "Café", .year = "199é", .id3 = {.version = 0, .v1 = true}};
        ASSERT_EQ(maker_track("c.mp3", old), 0);
        EXPECT_EQ(tags_of("c.mp3").title, "Café") << native;
        EXPECT_EQ(tags_of("c.mp3").year, "199") << native;
    }
}

TEST(audio_tags, an_unknown_encoding_is_refused_and_changes_nothing)
{
    ASSERT_EQ(decoder_mp3_set_tag_native_encoding("CP949"), 0);
    EXPECT_EQ(decoder_mp3_set_tag_native_encoding("KLINGON"), -1);
    EXPECT_EQ(decoder_mp3_set_tag_native_encoding(nullptr), -1);
    EXPECT_EQ(decoder_mp3_set_tag_native_encoding(std::string(500, 'x').c_str()), -1);
    maker_file file = korean;
    file.id3 = {.version = 23, .encoding = "CP949"};
    ASSERT_EQ(maker_track("k.mp3", file), 0);
    EXPECT_EQ(tags_of("k.mp3").title, "한국어 제목");
}

TEST(audio_tags, the_newer_block_goes_first_and_the_old_one_fills_in)
{
    ASSERT_EQ(decoder_mp3_set_tag_native_encoding("ISO-8859-1"), 0);
    const std::string body = maker_mp3_bytes(maker_sine(440, 0.1));
    const maker_tags newer = {.title = "A title that is much longer than thirty letters"};
    const maker_tags older = {
        .title = "A title that is", .artist = "Old artist", .year = "1977", .genre = "Jazz"};
    ASSERT_EQ(
        maker_audio_save("both.mp3", maker_id3v2_bytes(newer) + body + maker_id3v1_bytes(older)),
        0);
    const texts is = tags_of("both.mp3");
    EXPECT_EQ(is.title, newer.title);
    EXPECT_EQ(is.artist, "Old artist");
    EXPECT_EQ(is.album, "(null)");
    EXPECT_EQ(is.year, "1977");
    EXPECT_EQ(is.genre, "Jazz");
}

TEST(audio_tags, the_first_value_of_a_repeated_field_counts)
{
    const maker_file twice = {.seconds = 0.1, .artist = "First", .more = {{"ARTIST", "Second"}}};
    for (const char *path : {"t.ogg", "t.flac"}) {
        ASSERT_EQ(maker_track(path, twice), 0);
        EXPECT_EQ(tags_of(path).artist, "First");
    }
    for (const int version : {23, 24}) {
        maker_file file = {.seconds = 0.1, .artist = "First", .more = {{"TPE1", "Second"}}};
        file.id3 = {.version = version};
        ASSERT_EQ(maker_track("t.mp3", file), 0);
        EXPECT_EQ(tags_of("t.mp3").artist, "First");
    }
    maker_file file = {.seconds = 0.1, .artist = std::string("One\0Two", 7)};
    file.id3 = {.version = 24, .encoding = "UTF-8"};
    ASSERT_EQ(maker_track("two.mp3", file), 0);
    EXPECT_EQ(tags_of("two.mp3").artist, "One");
}

TEST(audio_tags, the_year_is_the_text_of_the_tag)
{
    const maker_file dated = {.seconds = 0.1, .year = "2001-05-12"};
    ASSERT_EQ(maker_track("y.ogg", dated), 0);
    EXPECT_EQ(tags_of("y.ogg").year, "2001-05-12");
    maker_file file = dated;
    file.id3 = {.version = 24};
    ASSERT_EQ(maker_track("y.mp3", file), 0);
    EXPECT_EQ(tags_of("y.mp3").year, "2001-05-12");
    /* A day beside the year stays out of it. */
    ASSERT_EQ(maker_track("d.mp3", {.seconds = 0.1, .year = "1984", .more = {{"TDAT", "2412"}}}),
              0);
    EXPECT_EQ(tags_of("d.mp3").year, "1984");
    ASSERT_EQ(maker_track("f.flac", {.seconds = 0.1, .more = {{"Year", "1970"}}}), 0);
    EXPECT_EQ(tags_of("f.flac").year, "1970");
}

TEST(audio_tags, numbered_genres_get_their_names)
{
    struct genre {
        const char *written, *read;
    };
    for (const genre &each : {genre{"17", "Rock"}, genre{"(17)", "Rock"}, genre{"255", "255"},
                              genre{"Chillout Dub", "Chillout Dub"}}) {
        ASSERT_EQ(maker_track("g.mp3", {.seconds = 0.1, .genre = each.written}), 0);
        EXPECT_EQ(tags_of("g.mp3").genre, each.read);
    }
}

TEST(audio_tags, names_of_comments_know_no_case)
{
    ASSERT_EQ(maker_track("case.ogg", {.seconds = 0.1, .more = {{"tItLe", "Mixed"}}}), 0);
    EXPECT_EQ(tags_of("case.ogg").title, "Mixed");
}

TEST(audio_tags, a_file_without_tags_has_five_nulls)
{
    for (const char *path : {"e.mp3", "e.ogg", "e.flac"}) {
        ASSERT_EQ(maker_track(path, {.seconds = 0.1}), 0);
        const texts is = tags_of(path);
        EXPECT_EQ(is.title, "(null)") << path;
        EXPECT_EQ(is.genre, "(null)") << path;
    }
}

TEST(audio_tags, a_file_that_plays_has_five_nulls_for_a_block_that_cannot_be_read)
{
    /* A version that nobody knows. */
    const std::string body = maker_mp3_bytes(maker_sine(440, 0.1));
    std::string tag = maker_id3v2_bytes({.title = "T"});
    tag[3] = 9;
    ASSERT_EQ(maker_audio_save("v9.mp3", tag + body), 0);
    EXPECT_EQ(tags_of("v9.mp3").title, "(null)");
    ASSERT_EQ(maker_audio_save("silent.mp3", tag), 0);
    EXPECT_EQ(tags_of("silent.mp3").title, "(none)") << "without sound there is no record";
    /* A list of comments that ends before its first. */
    std::string flac = maker_flac_bytes(maker_sine(440, 0.1), {}, {.title = "T"});
    const size_t count = flac.find("TITLE=") - 12;
    flac.replace(count, 4, "\xFF\xFF\xFF\xFF");
    ASSERT_EQ(maker_audio_save("c.flac", flac), 0);
    EXPECT_EQ(tags_of("c.flac").title, "(null)");
    ASSERT_EQ(maker_audio_save("silent.flac", flac.substr(0, count + 4)), 0);
    EXPECT_EQ(tags_of("silent.flac").title, "(none)");
    /* A page that ends in the middle of the comments. */
    std::string ogg = maker_ogg_bytes(maker_sine(440, 0.1), {}, {.title = "T"});
    ogg.resize(ogg.find("TITLE=") - 4);
    ASSERT_EQ(maker_audio_save("silent.ogg", ogg), 0);
    EXPECT_EQ(tags_of("silent.ogg").title, "(none)");
}

TEST(audio_tags, a_readable_block_behind_one_that_is_not_is_read)
{
    const std::string body = maker_mp3_bytes(maker_sine(440, 0.1));
    std::string tag = maker_id3v2_bytes({.title = "First"});
    tag[3] = 9;
    ASSERT_EQ(maker_audio_save("2.mp3", tag + maker_id3v2_bytes({.title = "Second"}) + body), 0);
    EXPECT_EQ(tags_of("2.mp3").title, "Second");
}

TEST(audio_tags, old_names_of_frames_in_a_newer_block_are_read)
{
    const std::string body = maker_mp3_bytes(maker_sine(440, 0.1));
    for (const int version : {23, 24})
        for (const char end : {'\0', ' '}) {
            const maker_id3_frame_options how = {.version = version};
            std::string frames;
            for (const char *id : {"TT2", "TP1", "TAL", "TYE", "TCO"})
                frames += maker_id3_frame(std::string(id) + end, std::string("\0", 1) + id, how);
            ASSERT_EQ(maker_audio_save("i.mp3", maker_id3_block(frames, version) + body), 0);
            const texts is = tags_of("i.mp3");
            EXPECT_EQ(is.title, "TT2");
            EXPECT_EQ(is.artist, "TP1");
            EXPECT_EQ(is.album, "TAL");
            EXPECT_EQ(is.year, "TYE");
            EXPECT_EQ(is.genre, "TCO");
        }
}

TEST(audio_tags, long_titles_come_whole)
{
    std::string title;
    for (int i = 0; i < 1500; i++)
        title += "ß";
    for (const char *path : {"l.mp3", "l.ogg", "l.flac"}) {
        ASSERT_EQ(maker_track(path, {.seconds = 0.1, .title = title}), 0);
        EXPECT_EQ(tags_of(path).title, title);
    }
}

TEST(audio_tags, pictures_in_front_of_the_texts_are_passed_over)
{
    const std::string picture(5 << 20, '\xFF');
    const std::string body = maker_mp3_bytes(maker_sine(440, 0.1));
    for (const int version : {22, 23, 24}) {
        std::string pictured = maker_id3v2_bytes({.cover = picture}, {.version = version});
        const std::string named = maker_id3v2_bytes({.title = "Behind"}, {.version = version});
        std::string both =
            pictured.substr(0, 6) + std::string(4, '\0') + pictured.substr(10) + named.substr(10);
        for (int i = 0; i < 4; i++)
            both[static_cast<size_t>(6 + i)] =
                static_cast<char>((both.size() - 10) >> (21 - 7 * i) & 0x7F);
        ASSERT_EQ(maker_audio_save("p.mp3", both + body), 0);
        EXPECT_EQ(tags_of("p.mp3").title, "Behind");
    }
    ASSERT_EQ(maker_track("p.flac", {.seconds = 0.1, .title = "T", .cover = picture}), 0);
    EXPECT_EQ(tags_of("p.flac").title, "T");
    const maker_file in_comment = {.seconds = 0.1,
                                   .more = {{"METADATA_BLOCK_PICTURE", picture}, {"TITLE", "T"}}};
    ASSERT_EQ(maker_track("p.ogg", in_comment), 0);
    EXPECT_EQ(tags_of("p.ogg").title, "T");
}

TEST(audio_tags, plain_sizes_in_the_newest_version_are_understood)
{
    const std::string body = maker_mp3_bytes(maker_sine(440, 0.1));
    const maker_id3 how = {.version = 24, .encoding = "UTF-8"};
    const std::string long_text(300, 'x');
    std::string tag = maker_id3v2_bytes({.title = long_text, .artist = "After"}, how);
    tag.replace(14, 4, std::string("\0\0\x01\x2D", 4)); /* 301 as a plain number */
    ASSERT_EQ(maker_audio_save("plain.mp3", tag + body), 0);
    const texts is = tags_of("plain.mp3");
    EXPECT_EQ(is.title, long_text);
    EXPECT_EQ(is.artist, "After");
}

TEST(audio_tags, unsynchronised_blocks_are_understood)
{
    const std::string body = maker_mp3_bytes(maker_sine(440, 0.1));
    const std::string plain = maker_id3v2_bytes({.title = "ÿÿa", .artist = "B"}); /* FF FE FF 00 */
    std::string content;
    for (size_t i = 10; i < plain.size(); i++) {
        content += plain[i];
        const bool next_confuses = i + 1 == plain.size() || plain[i + 1] == 0 ||
                                   (static_cast<uint8_t>(plain[i + 1]) & 0xE0) == 0xE0;
        if (static_cast<uint8_t>(plain[i]) == 0xFF && next_confuses)
            content += '\0';
    }
    std::string tag = plain.substr(0, 10) + content;
    tag[5] = static_cast<char>(0x80);
    tag[9] = static_cast<char>(content.size() & 0x7F);
    tag[8] = static_cast<char>(content.size() >> 7);
    ASSERT_EQ(maker_audio_save("unsync.mp3", tag + body), 0);
    EXPECT_EQ(tags_of("unsync.mp3").title, "ÿÿa");
    EXPECT_EQ(tags_of("unsync.mp3").artist, "B");
}

static long peak_kib()
{
    rusage use;
    getrusage(RUSAGE_SELF, &use);
    return use.ru_maxrss;
}

TEST(audio_tags, a_block_that_claims_255_mib_costs_no_memory)
{
    const std::string body = maker_mp3_bytes(maker_sine(440, 0.1));
    std::string tag = maker_id3v2_bytes({.title = "Small in truth", .cover = "none"});
    tag.replace(6, 4, "\x7F\x7F\x7F\x7F");
    ASSERT_EQ(maker_audio_save("claim.mp3", tag + body), 0);
    /* And one that is really there, made of nothing. */
    ASSERT_EQ(maker_audio_save("hole.mp3", tag), 0);
    ASSERT_EQ(truncate("hole.mp3", 268435465), 0);
    std::string flac = maker_flac_bytes(maker_sine(440, 0.1), {}, {.title = "Small"});
    flac.replace(flac.find("TITLE=") - 4, 4, "\xFF\xFF\xFF\x0F");
    ASSERT_EQ(maker_audio_save("claim.flac", flac), 0);
    const long before = peak_kib();
    for (int i = 0; i < 3; i++) {
        for (const char *path : {"claim.mp3", "hole.mp3"}) {
            const audio_decoder *decoder = audio_get_decoder(path);
            audio_info *info = decoder->read_info(path);
            ASSERT_NE(info, nullptr);
            ASSERT_NE(info->tags, nullptr);
            EXPECT_STREQ(info->tags->title, "Small in truth");
            decoder->release_info(info);
        }
        const audio_decoder *decoder = audio_get_decoder("claim.flac");
        audio_info *info = decoder->read_info("claim.flac");
        ASSERT_NE(info, nullptr);
        ASSERT_NE(info->tags, nullptr);
        EXPECT_EQ(info->tags->title, nullptr);
        decoder->release_info(info);
    }
    EXPECT_LT(peak_kib() - before, 4096);
    unlink("hole.mp3");
}

TEST(audio_tags, one_file_can_be_read_while_it_plays_and_the_encoding_changes)
{
    for (const char *encoding : {"ISO-8859-1", "CP932", "CP949"})
        ASSERT_EQ(decoder_mp3_set_tag_native_encoding(encoding), 0);
    maker_file file = korean;
    file.seconds = 2;
    file.id3 = {.version = 23, .encoding = "CP949", .v1 = true, .v1_encoding = "CP949"};
    ASSERT_EQ(maker_track("busy.mp3", file), 0);
    std::atomic<bool> done = false;
    std::thread selects([&] {
        while (!done)
            for (const char *encoding : {"CP949", "CP932", "ISO-8859-1"})
                EXPECT_EQ(decoder_mp3_set_tag_native_encoding(encoding), 0);
    });
    std::thread plays([&] {
        const audio_decoder *decoder = audio_get_decoder("busy.mp3");
        int16_t buffer[1024];
        while (!done) {
            audio_stream *stream = decoder->open("busy.mp3");
            ASSERT_NE(stream, nullptr);
            while (decoder->read(stream, buffer, sizeof buffer) > 0)
                continue;
            decoder->close(stream);
        }
    });
    for (int i = 0; i < 300; i++) {
        const audio_decoder *decoder = audio_get_decoder("busy.mp3");
        audio_info *info = decoder->read_info("busy.mp3");
        ASSERT_NE(info, nullptr);
        /* All fields of one file are read in one encoding. */
        const bool right = !strcmp(info->tags->title, "한국어 제목");
        EXPECT_EQ(!strcmp(info->tags->artist, "가수"), right);
        EXPECT_EQ(!strcmp(info->tags->genre, "발라드"), right);
        decoder->release_info(info);
    }
    done = true;
    selects.join();
    plays.join();
}
