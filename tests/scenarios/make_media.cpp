/* make_media: the music, playlists and broken files that scenarios play: make_media FOLDER
 *
 * Everything is made from nothing, so that a scenario knows every frequency, length and tag. */
#include "makers/maker_audio.h"
#include "makers/maker_picture.h"
#include "platform/file/file.h"

#include <cstdio>
#include <cstdlib>
#include <string>

/* Squares in two colours, other for each seed. */
static std::string cover_bytes(uint32_t seed)
{
    const maker_picture picture =
        maker_squares(400, 400, 100, 0xFF206080 + seed * 0x301010, 0xFFE0C060 - seed * 0x102030);
    const maker_bytes bytes = maker_png(picture, {.kind = maker_png_kind::rgb});
    return std::string(bytes.begin(), bytes.end());
}

static void must(int result, const std::string &what)
{
    if (result == 0)
        return;
    fprintf(stderr, "make_media: cannot make %s\n", what.c_str());
    exit(1);
}

static void track(const std::string &path, const maker_file &file)
{
    must(maker_track(path, file), path);
}

static void text(const std::string &path, const std::string &content)
{
    must(maker_audio_save(path, content), path);
}

static void folder(const std::string &path)
{
    must(file_mkdir(path.c_str()), path);
}

/* One of each format, ten seconds, tagged. */
static void make_tracks(const std::string &at)
{
    folder(at);
    track(at + "/1 first.mp3", {.seconds = 10,
                                .freq = 440,
                                .title = "First Light",
                                .artist = "The Makers",
                                .album = "Sines",
                                .year = "2001",
                                .genre = "Ambient",
                                .cover = cover_bytes(0),
                                .cover_mime = "image/png"});
    track(at + "/2 second.ogg", {.seconds = 10,
                                 .freq = 660,
                                 .title = "두 번째 노래",
                                 .artist = "만드는 사람",
                                 .album = "Sines",
                                 .year = "2002",
                                 .genre = "Ambient"});
    track(at + "/3 third.flac", {.seconds = 10,
                                 .freq = 880,
                                 .title = "第三首歌",
                                 .artist = "制造者",
                                 .album = "专辑",
                                 .year = "2003",
                                 .genre = "Pop"});
    track(at + "/4 fourth.mp3", {.seconds = 10, .freq = 550});
    text(at + "/all.m3u", "#EXTM3U\r\n#EXTINF:10,First\r\n1 first.mp3\r\n2 second.ogg\r\n"
                          "../tracks/3 third.flac\r\n\r\n1 first.mp3\r\n");
    text(at + "/none.m3u", "#EXTM3U\r\n");
    text(at + "/broken.mp3", std::string(3000, 'x'));
    text(at + "/empty.ogg", "");
}

/* Tracks in each state of cover and lyrics. */
static void make_words(const std::string &at)
{
    folder(at);
    const std::string lines = "[ar:nobody]\n[00:00.00]Heading\n[00:01.00]First line\n"
                              "[00:02.00]둘째 줄\n[00:02.00]Second line\n[00:04.00]第三行\n"
                              "[00:06.00]The last line\n";
    maker_file both = {.seconds = 10, .freq = 440, .title = "Cover and words", .artist = "A"};
    both.cover = cover_bytes(1);
    both.cover_mime = "image/png";
    track(at + "/a both.mp3", both);
    text(at + "/a both.lrc", lines);
    both.title = "Cover only";
    track(at + "/b cover.mp3", both);
    track(at + "/c words.ogg", {.seconds = 10, .freq = 440, .title = "Words only", .artist = "C"});
    text(at + "/c words.lrc", lines);
    track(at + "/d neither.flac", {.seconds = 10, .freq = 440, .title = "Neither", .artist = "D"});
}

/* Old tags that are not marked as Unicode. */
static void make_old_tags(const std::string &at)
{
    folder(at);
    maker_file korean = {.seconds = 5, .title = "바다 노래", .artist = "김철수"};
    korean.id3.encoding = "CP949";
    track(at + "/korean.mp3", korean);
    maker_file japanese = {.seconds = 5, .title = "夜の海", .artist = "山田太郎"};
    japanese.id3.encoding = "CP932";
    track(at + "/japanese.mp3", japanese);
    maker_file marked = {.seconds = 5, .title = "바다와 海", .artist = "Ünïcode"};
    track(at + "/marked.mp3", marked);
}

/* A tree with files at several depths. */
static void make_tree(const std::string &at)
{
    const maker_file small = {.seconds = 2, .freq = 500};
    for (const char *inner : {"", "/a", "/a/deep", "/b", "/10 x", "/2 x"})
        folder(at + inner);
    track(at + "/a/deep/one.mp3", small);
    track(at + "/a/two.ogg", small);
    track(at + "/b/three.flac", small);
    track(at + "/10 x/ten.MP3", small);
    track(at + "/2 x/two.mp3", small);
    track(at + "/top.mp3", small);
    text(at + "/a/list.m3u", "two.ogg\n");
    text(at + "/notes.txt", "not music\n");
}

static void make_long(const std::string &at)
{
    folder(at);
    maker_file file = {.seconds = 60, .freq = 440, .title = "A minute", .artist = "Clock"};
    track(at + "/minute.mp3", file);
    track(at + "/minute.ogg", file);
    track(at + "/minute.flac", file);
}

int main(int argc, char **argv)
{
    if (argc != 2) {
        fprintf(stderr, "make_media FOLDER\n");
        return 1;
    }
    const std::string at = argv[1];
    folder(at);
    make_tracks(at + "/tracks");
    make_words(at + "/words");
    make_old_tags(at + "/old_tags");
    make_tree(at + "/tree");
    make_long(at + "/long");
    return 0;
}
