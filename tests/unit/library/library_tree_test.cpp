/* A large tree of real music, and a second opinion on every row that it must give. */
#include "library/library_scan.h"

#include "config/cfg.h"
#include "library/library.h"
#include "library_rows.h"
#include "makers/maker_audio.h"
#include "platform/audio/audio.h"
#include "platform/base/thread.h"
#include "support/scratch.h"

#include <algorithm>

/* What a file holds, and what the library must say about it. */
struct tree_file {
    std::string dir, name;
    enum { music, broken, playlist, ignored } kind;
    maker_file content;
    std::string title, artist, album, genre, year; /* as the library has them */
};

static const char *const words[] = {
    "Plain",          "It's \"quoted\"", "100% %s %d %Q",
    "未知曲目",       "사랑 노래",       "さくら",
    "Ünïcödé",        "Привет",          "Ελληνικά",
    "עברית",          "العربية",         "x'); DROP TABLE zervp_tracks; --",
    "a\\b/c",         "🎵 emoji",         "e\xCC\x81 combining",
    "  spaced out  ", "TAB\tinside",     "''''",
    "NULL",
};
static const char *const genres[] = {"Rock", "Jazz",      "Classical",
                                     "Folk", "한국 가요", "Rock & Roll"};
constexpr int words_count = std::size(words);
/* What CP949 and ISO-8859-1 can say. */
static const char *const korean[] = {"사랑 노래", "Plain", "봄 여름", "It's", "가을 1%"};
static const char *const western[] = {"Café", "Plain", "Müller's", "50% señor"};

static std::string repeated(const std::string &text, size_t size)
{
    std::string out;
    while (out.size() < size)
        out += text;
    return out;
}

/* A tag as the library has it: cut to 1023 bytes, blanks taken off, never empty. */
static std::string kept(std::string text)
{
    text = text.substr(0, 1023);
    while (!text.empty() && strchr(" \t\n\v\f\r", text.back()))
        text.pop_back();
    while (!text.empty() && strchr(" \t\n\v\f\r", text.front()))
        text.erase(0, 1);
    return text.empty() ? "未知" : text;
}

/* The first 30 bytes, as the small block at the end of a file keeps them. */
static std::string first_30(const std::string &text)
{
    return text.substr(0, 30);
}

static void expect_what_was_written(tree_file *file)
{
    file->title = kept(file->content.title);
    file->artist = kept(file->content.artist);
    file->album = kept(file->content.album);
    file->genre = kept(file->content.genre);
    file->year = kept(file->content.year);
}

static void fill_words(maker_file *content, int n, const char *const *texts, int count)
{
    content->title = std::string(texts[n % count]) + " " + std::to_string(n);
    content->artist = texts[n / 3 % count];
    content->album = texts[n / 7 % count];
    content->genre = genres[n % 4];
    content->year = std::to_string(1950 + n % 70);
}

/* One of fifteen kinds of contents. */
static void fill(tree_file *file, int n, bool mp3)
{
    maker_file *content = &file->content;
    fill_words(content, n, words, words_count);
    switch (n % 15) {
    case 0:
        content->title.clear();
        break;
    case 1:
        content->artist.clear();
        content->year.clear();
        break;
    case 2:
        content->title = content->artist = content->album = content->year = content->genre = "";
        content->id3.version = 0;
        break;
    case 3:
        content->title = repeated(n % 2 ? "x" : "긴 제목 ", 1500);
        break;
    case 4:
        content->artist = n % 2 ? "abba" : "ABBA";
        content->album = n % 4 < 2 ? "Gold" : "gold";
        break;
    case 5:
        content->genre = genres[4 + n % 2];
        content->id3.version = 24;
        content->id3.encoding = "UTF-8";
        break;
    case 6:
        content->id3.version = 22;
        break;
    case 7:
        fill_words(content, n, korean, std::size(korean));
        content->id3.encoding = "CP949";
        break;
    case 8:
        content->id3.padding = 5000;
        content->id3.encoding = "UTF-16BE";
        content->id3.version = 24;
        break;
    case 9:
        content->title = " \t ";
        content->album = repeated(" ", 1100) + "far behind";
        break;
    case 10:
        content->year = mp3 ? "1999" : "1999-12-31";
        break;
    default:
        break;
    }
    expect_what_was_written(file);
    /* Several values of a field: the first counts. */
    if (n % 15 == 11)
        content->more = {{mp3 ? "TPE1" : "ARTIST", "Second"}, {mp3 ? "TIT2" : "TITLE", "Third"}};
    /* Only the small block at the end of the file, in the language's encoding. */
    if (n % 15 == 12 && mp3) {
        fill_words(content, n, korean, std::size(korean));
        content->id3 = {.version = 0, .v1 = true, .v1_encoding = "CP949"};
        expect_what_was_written(file);
    }
}

static std::vector<tree_file> plan_tree(int count)
{
    static const char *const extensions[] = {".mp3", ".ogg", ".flac", ".MP3", ".Flac"};
    std::vector<tree_file> files;
    for (int n = 0; n < count; n++) {
        tree_file file;
        /* Twenty artists' folders with five albums each; digits fill up, so order is plain. */
        char dir[64];
        snprintf(dir, sizeof(dir), "artist %02d/album %d", n % 20, n / 20 % 5);
        file.dir = n % 40 == 0 ? std::string(dir).substr(0, 9) : dir;
        char name[64];
        snprintf(name, sizeof(name), "%05d it's 100%% %s", n, n % 3 ? "제목" : "plain");
        const char *extension = extensions[n % 5];
        file.name = std::string(name) + extension;
        file.kind = tree_file::music;
        fill(&file, n, strcasecmp(extension, ".mp3") == 0);
        if (n % 31 == 30) {
            file.kind = tree_file::broken;
            file.name = std::string(name) + (n % 2 ? ".flac" : ".ogg");
        }
        if (n % 37 == 36) {
            file.kind = tree_file::playlist;
            file.name = std::string(name) + (n % 2 ? ".m3u" : ".M3U");
        }
        if (n % 101 == 100) {
            file.kind = tree_file::ignored;
            file.name = std::string(name) + (n % 2 ? ".txt" : ".jpg");
        }
        files.push_back(file);
    }
    return files;
}

static void make_tree(const std::vector<tree_file> &files)
{
    for (const tree_file &file : files) {
        const std::string dir = "m/" + file.dir;
        for (const std::string &made : {dir.substr(0, 11), dir})
            ASSERT_TRUE(scratch_exists(made) || mkdir(made.c_str(), 0755) == 0) << made;
        const std::string path = dir + "/" + file.name;
        if (file.kind != tree_file::music)
            scratch_write(path, "no music at all");
        ASSERT_TRUE(file.kind != tree_file::music || maker_track(path, file.content) == 0) << path;
    }
    ASSERT_EQ(system("ln -s ../.. 'm/artist 00/album 0/round' && ln -s . m/self && "
                     "mkfifo 'm/artist 01/x.mp3' && ln -s nowhere 'm/artist 02/gone.mp3'"),
              0);
}

/* The order of the walk: a folder's own files, then its subfolders, each by name. */
static bool comes_before(const tree_file &left, const tree_file &right)
{
    return left.dir != right.dir ? left.dir < right.dir : left.name < right.name;
}

/* A name table: the first spelling of a name makes the row. */
struct tree_names {
    std::vector<std::string> keys;
    rows lines;

    static std::string folded(std::string text)
    {
        for (char &c : text)
            c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
        return text;
    }
    int id_of(const std::string &name, const std::string &more = "")
    {
        const std::string key = folded(name) + "|" + more;
        const auto found = std::find(keys.begin(), keys.end(), key);
        if (found != keys.end())
            return static_cast<int>(found - keys.begin()) + 1;
        keys.push_back(key);
        lines.push_back(name + (more.empty() ? "" : "|" + more));
        return static_cast<int>(keys.size());
    }
};

/* The library that a tree must give. */
struct tree_library {
    tree_names dirs, artists, albums, genres, years;
    rows urls, tracks, playlists;
    std::string errors;
};

static tree_library expect_library(const std::vector<tree_file> &files, const std::string &root)
{
    tree_library want;
    for (const tree_file &file : files) {
        const std::string dir = root + "/" + file.dir;
        const std::string path = dir + "/" + file.name;
        if (file.kind == tree_file::playlist)
            want.playlists.push_back(std::to_string(want.playlists.size() + 1) + "|" + path);
        if (file.kind == tree_file::broken)
            want.errors += "error scanning file: " + path + "\n";
        if (file.kind != tree_file::music)
            continue;
        const int url = static_cast<int>(want.urls.size()) + 1;
        want.urls.push_back(std::to_string(url) + "|" + path + "|" +
                            std::to_string(want.dirs.id_of(dir)));
        const int artist = want.artists.id_of(file.artist);
        const std::string ids[] = {
            std::to_string(url), std::to_string(artist),
            std::to_string(want.albums.id_of(file.album, std::to_string(artist))),
            std::to_string(want.genres.id_of(file.genre)),
            std::to_string(want.years.id_of(file.year))};
        want.tracks.push_back(std::to_string(url) + "|" + file.title +
                              "|(null)|(null)|(null)|(null)|" + ids[0] + "|" + ids[1] + "|" +
                              ids[2] + "|" + ids[3] + "|" + ids[4]);
    }
    return want;
}

static rows numbered(const rows &lines, const std::string &end = "")
{
    rows out;
    for (size_t i = 0; i < lines.size(); i++)
        out.push_back(std::to_string(i + 1) + "|" + lines[i] + end);
    return out;
}

static void expect_rows(const rows &have, const rows &want, const char *what)
{
    EXPECT_EQ(have.size(), want.size()) << what;
    int shown = 0;
    for (size_t i = 0; i < std::min(have.size(), want.size()) && shown < 10; i++) {
        EXPECT_EQ(have[i], want[i]) << what << " " << i;
        shown += have[i] != want[i];
    }
}

TEST(library_tree, gives_every_row_that_the_tags_of_a_large_tree_call_for)
{
    const scratch folder;
    ASSERT_EQ(audio_init(), 0);
    ASSERT_EQ(decoder_mp3_set_tag_native_encoding("CP949"), 0);
    ASSERT_EQ(mkdir("m", 0755), 0);
    std::vector<tree_file> files = plan_tree(2400);
    make_tree(files);
    std::sort(files.begin(), files.end(), comes_before);
    const std::string root = folder.path + "/m";
    const tree_library want = expect_library(files, root);
    ASSERT_GT(want.tracks.size(), 2000u);

    snprintf(cfg_library_path, sizeof(cfg_library_path), "%s", root.c_str());
    ASSERT_EQ(library_open(), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(library_scan(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), want.errors);
    ASSERT_EQ(library_close(), 0);

    auto have = library_tables();
    expect_rows(have["urls"], want.urls, "urls");
    expect_rows(have["dirs"], numbered(want.dirs.lines, "|0"), "dirs");
    expect_rows(have["artists"], numbered(want.artists.lines), "artists");
    expect_rows(have["albums"], numbered(want.albums.lines), "albums");
    expect_rows(have["genres"], numbered(want.genres.lines), "genres");
    expect_rows(have["years"], numbered(want.years.lines), "years");
    expect_rows(have["tracks"], want.tracks, "tracks");
    expect_rows(have["playlists"], want.playlists, "playlists");
    expect_rows(have["version"], {"1"}, "version");
    EXPECT_EQ(library_rows("PRAGMA integrity_check"), rows{"ok"});
    EXPECT_EQ(thread_settle(10000), 0);
}

TEST(library_tree, reads_unmarked_text_in_the_encoding_of_the_language)
{
    const scratch folder;
    ASSERT_EQ(audio_init(), 0);
    ASSERT_EQ(mkdir("m", 0755), 0);
    maker_file content;
    fill_words(&content, 0, western, std::size(western));
    content.id3.encoding = "ISO-8859-1";
    ASSERT_EQ(maker_track("m/1.mp3", content), 0);
    content.id3 = {.version = 0, .v1 = true, .v1_encoding = "ISO-8859-1"};
    content.artist = "An artist whose name is longer than thirty bytes";
    ASSERT_EQ(maker_track("m/2.mp3", content), 0);
    ASSERT_EQ(decoder_mp3_set_tag_native_encoding("ISO-8859-1"), 0);
    snprintf(cfg_library_path, sizeof(cfg_library_path), "m");
    ASSERT_EQ(library_open(), 0);
    EXPECT_EQ(library_scan(), 0);
    ASSERT_EQ(library_close(), 0);
    EXPECT_EQ(library_rows("SELECT name FROM zervp_tracks"), (rows{"Café 0", "Café 0"}));
    EXPECT_EQ(library_rows("SELECT name FROM zervp_artists ORDER BY id"),
              (rows{"Café", first_30(content.artist)}));
}
