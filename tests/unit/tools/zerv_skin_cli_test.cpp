/* The commands of zerv-skin as their users meet them: exit status, output and files. */
#include "tools/zerv_skin/cli.h"

#include "skin/skin_table.h"
#include "unit/skin/skin_fixture.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/wait.h>

struct zerv_skin_cli : skin_test {
    void SetUp() override
    {
        skin_test::SetUp();
        /* No window, whatever machine this is. */
        for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "SDL_VIDEODRIVER"})
            unsetenv(name);
    }
};

struct outcome {
    int status;
    std::string out, err;
};

static std::string read_whole(const std::string &path)
{
    std::string content;
    FILE *file = fopen(path.c_str(), "rb");
    for (int c = 0; file && (c = fgetc(file)) != EOF;)
        content += static_cast<char>(c);
    if (file)
        fclose(file);
    return content;
}

static void redirect(int descriptor, const char *path)
{
    const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (file < 0 || dup2(file, descriptor) < 0)
        _exit(99);
    close(file);
}

/* Starts the program as a process of its own. */
static pid_t start(const std::vector<std::string> &arguments)
{
    fflush(nullptr); /* or the child would write it again */
    const pid_t child = fork();
    if (child != 0)
        return child;
    redirect(STDOUT_FILENO, "stdout.txt");
    redirect(STDERR_FILENO, "stderr.txt");
    std::vector<std::string> copy = arguments;
    copy.insert(copy.begin(), "zerv-skin");
    std::vector<char *> pointers;
    for (std::string &argument : copy)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    const int status = cli_main(static_cast<int>(copy.size()), pointers.data());
    fflush(nullptr);
    _exit(status);
}

static outcome finish(pid_t child)
{
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_whole("stdout.txt"),
            read_whole("stderr.txt")};
}

static outcome run(const std::vector<std::string> &arguments)
{
    return finish(start(arguments));
}

static bool has(const std::string &text, const char *part)
{
    return text.find(part) != std::string::npos;
}

TEST_F(zerv_skin_cli, tells_its_usage)
{
    const outcome help = run({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const char *command : {"check", "preview", "watch", "new", "pack"}) {
        EXPECT_TRUE(has(help.out, command));
        const outcome more = run({command, "--help"});
        EXPECT_EQ(more.status, 0);
        EXPECT_TRUE(has(more.out, command));
        EXPECT_EQ(more.err, "");
        EXPECT_EQ(run({command}).status, 2);
        EXPECT_EQ(run({command, "a", "b"}).status, 2);
        EXPECT_EQ(run({command, "--odd", "a"}).status, 2);
    }
    EXPECT_EQ(run({}).status, 2);
    const outcome unknown = run({"paint", "a"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_TRUE(has(unknown.err, "\"paint\""));
}

TEST_F(zerv_skin_cli, lists_everything_that_a_part_file_may_say)
{
    const outcome text = run({"words"}), json = run({"words", "--json"});
    EXPECT_EQ(text.status, 0);
    EXPECT_EQ(json.status, 0);
    for (const skin_kind &kind : skin_kinds)
        EXPECT_TRUE(has(text.out, ("\n  " + std::string(kind.name)).c_str())) << kind.name;
    EXPECT_TRUE(has(text.out, "part-y-rev - vertical: yes; draggable: no\n")) << text.out;
    EXPECT_TRUE(has(json.out, "{\"name\": \"font_size\", \"value\": \"number\", "
                              "\"standard\": \"12\"}"))
        << json.out;
    EXPECT_TRUE(has(json.out, "{\"name\": \"list\", \"screens\": [\"list\"], \"dragged\": true}"));
    EXPECT_TRUE(has(json.out, "{\"name\": \"$标题\", \"screens\": [\"play\"]}"));
    EXPECT_EQ(run({"words", "a"}).status, 2);
    EXPECT_EQ(run({"words", "--help"}).status, 0);
}

TEST_F(zerv_skin_cli, makes_a_skin_that_has_no_fault)
{
    EXPECT_EQ(run({"new", "Mine"}).status, 0);
    const outcome checked = run({"check", "Mine"});
    EXPECT_EQ(checked.status, 0) << checked.out;
    EXPECT_EQ(checked.out, "Mine: list: 1 variant; play: 1 variant; 0 errors, 0 warnings\n");
    const part_owner list(skin_read_part("Mine", "list")), play(skin_read_part("Mine", "play"));
    ASSERT_NE(list, nullptr);
    ASSERT_NE(play, nullptr);
    for (const skin_part *part : {list.get(), play.get()})
        for (uint32_t i = 0; i < part->pages[0].element_count; i++)
            EXPECT_EQ(part->pages[0].elements[i].src != nullptr,
                      part->pages[0].elements[i].image != nullptr);
    for (const skin_part *part : {list.get(), play.get()})
        for (uint32_t i = 1; i < part->pages[0].element_count; i++)
            EXPECT_LE(part->pages[0].elements[i].y + part->pages[0].elements[i].height, 204)
                << "messages hide nothing";
}

TEST_F(zerv_skin_cli, makes_no_skin_over_another)
{
    ASSERT_EQ(run({"new", "Mine"}).status, 0);
    write_file("Mine/list.xml", "my work");
    const outcome again = run({"new", "Mine"});
    EXPECT_EQ(again.status, 2);
    EXPECT_TRUE(has(again.err, "Mine"));
    EXPECT_EQ(read_whole("Mine/list.xml"), "my work");
    EXPECT_EQ(run({"new", "no/such/Mine"}).status, 2);
}

TEST_F(zerv_skin_cli, checks_with_status_and_text)
{
    make_folder("s", {{"play.xml", skin_xml("\n<img/>")}});
    const outcome warned = run({"check", "s"});
    EXPECT_EQ(warned.status, 1);
    EXPECT_TRUE(has(warned.out, "play.xml:2:1: warning: ")) << warned.out;
    EXPECT_TRUE(has(warned.out, "list: not in the package")) << warned.out;
    EXPECT_FALSE(has(warned.out, "\033")) << "a pipe gets plain text";
    make_folder("s", {{"play.xml", skin_xml("\n<img x=\"a\"/>")}});
    const outcome failed = run({"check", "s"});
    EXPECT_EQ(failed.status, 2);
    EXPECT_TRUE(has(failed.out, "play.xml:2:6: error: ")) << failed.out;
    EXPECT_TRUE(has(failed.out, "play: the player refuses it")) << failed.out;
}

TEST_F(zerv_skin_cli, checks_for_programs)
{
    make_folder("s", {{"play.xml", skin_xml("\n<img x=\"a\"/>")}});
    const outcome result = run({"check", "--json", "s"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out[0], '{');
    for (const char *part :
         {"\"package\": \"s\"", "\"status\": 2", "\"errors\": 1", "\"code\": \"bad-number\"",
          "\"file\": \"play.xml\"", "\"line\": 2", "\"column\": 6", "\"attribute\": \"x\"",
          "\"play\": {\"present\": true, \"loads\": false, \"variants\": 0}"})
        EXPECT_TRUE(has(result.out, part)) << part << "\n" << result.out;
    write_file("out.json", result.out);
    EXPECT_EQ(system("python3 -m json.tool out.json > /dev/null"), 0);
}

TEST_F(zerv_skin_cli, says_when_texts_are_not_measured)
{
    ASSERT_EQ(run({"new", "Mine"}).status, 0);
    const outcome result = run({"check", "--json", "--font", "missing.ttf", "Mine"});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(has(result.err, "missing.ttf"));
    EXPECT_TRUE(has(result.out, "\"measured\": false"));
}

TEST_F(zerv_skin_cli, packs_a_folder_into_a_zip_that_the_player_takes)
{
    ASSERT_EQ(run({"new", "Mine"}).status, 0);
    make_folder("Mine", {{"art/back.svg", "x"},
                         {"list.xml~", "x"},
                         {".git/config", "x"},
                         {"art/deep.png", make_png(3, 3)},
                         {"README.md", "read"}});
    const outcome packed = run({"pack", "Mine/"});
    EXPECT_EQ(packed.status, 0) << packed.err;
    EXPECT_NE(part_owner(skin_read_part("Mine.zip", "list")), nullptr);
    EXPECT_NE(part_owner(skin_read_part("Mine.zip", "play")), nullptr);
    const std::string zip = read_whole("Mine.zip");
    for (const char *name : {"art/deep.png", "README.md", "list.xml"})
        EXPECT_TRUE(has(zip, name)) << name;
    for (const char *name : {"back.svg", "list.xml~", ".git"})
        EXPECT_FALSE(has(zip, name)) << name;
    EXPECT_NE(access("Mine.zip.new", F_OK), 0);
    ASSERT_EQ(run({"pack", "Mine", "-o", "other.zip"}).status, 0);
    EXPECT_EQ(read_whole("other.zip"), zip) << "the same files give the same zip";
}

TEST_F(zerv_skin_cli, packs_no_faulty_skin_unless_forced)
{
    make_folder("s", {{"play.xml", skin_xml("<img x=\"a\"/>")}});
    const outcome refused = run({"pack", "s"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_TRUE(has(refused.out, "bad-number"));
    EXPECT_NE(access("s.zip", F_OK), 0);
    EXPECT_EQ(run({"pack", "--force", "s"}).status, 0);
    EXPECT_EQ(access("s.zip", F_OK), 0);
    EXPECT_EQ(run({"pack", "missing"}).status, 2);
    EXPECT_EQ(run({"pack", "s.zip"}).status, 2);
    EXPECT_EQ(run({"pack", "--force", "s", "-o", "no/such/s.zip"}).status, 2);
}

static bool is_picture(const std::string &path, uint32_t width, uint32_t height)
{
    png_image picture = {};
    picture.version = PNG_IMAGE_VERSION;
    const bool read = png_image_begin_read_from_file(&picture, path.c_str()) != 0;
    png_image_free(&picture);
    return read && picture.width == width && picture.height == height;
}

TEST_F(zerv_skin_cli, previews_every_variant_and_state)
{
    ASSERT_EQ(run({"new", "Mine"}).status, 0);
    make_folder("Mine", {{"play-1.xml", "<skin version=\"0.1\" show=\"lyrics\" "
                                        "hide=\"album_cover\"><rect width=\"9\" height=\"9\" "
                                        "color=\"#ff0000\"/></skin>"}});
    const outcome result = run({"preview", "Mine", "-o", "out"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "") << "no progress in a pipe";
    for (const char *name :
         {"list-0-menu", "list-0-long", "list-0-empty", "list-0-battery-low", "play-0-playing",
          "play-0-paused", "play-0-stopped", "play-0-long", "play-0-korean", "play-0-chinese",
          "play-0-no-tags", "play-0-battery-low", "play-1-playing"})
        EXPECT_TRUE(is_picture(std::string("out/") + name + ".png", 320, 240)) << name;
    EXPECT_NE(access("out/play-1-stopped.png", F_OK), 0) << "lyrics while nothing plays";
    EXPECT_EQ(access("out/sheet.png", F_OK), 0);
    EXPECT_NE(read_whole("out/play-0-playing.png"), read_whole("out/play-0-paused.png"));
    EXPECT_NE(read_whole("out/play-0-playing.png"), read_whole("out/play-1-playing.png"));
}

TEST_F(zerv_skin_cli, preview_makes_the_folders_above_too)
{
    ASSERT_EQ(run({"new", "Mine"}).status, 0);
    EXPECT_EQ(run({"preview", "Mine", "-o", "a/b/out"}).status, 0);
    EXPECT_EQ(access("a/b/out/sheet.png", F_OK), 0);
    EXPECT_EQ(run({"preview", "Mine", "-o", "Mine/play.xml/out"}).status, 2) << "a file";
}

TEST_F(zerv_skin_cli, previews_the_same_pictures_every_time)
{
    ASSERT_EQ(run({"new", "Mine"}).status, 0);
    ASSERT_EQ(run({"preview", "Mine", "-o", "one"}).status, 0);
    ASSERT_EQ(run({"preview", "Mine", "-o", "two"}).status, 0);
    for (const char *name : {"sheet", "play-0-playing", "list-0-tracks"}) {
        const std::string file = std::string("/") + name + ".png";
        EXPECT_EQ(read_whole("one" + file), read_whole("two" + file)) << name;
    }
}

static uint32_t pixel_of(const std::string &path, uint32_t x, uint32_t y)
{
    png_image picture = {};
    picture.version = PNG_IMAGE_VERSION;
    EXPECT_NE(png_image_begin_read_from_file(&picture, path.c_str()), 0);
    picture.format = PNG_FORMAT_RGB;
    std::vector<uint8_t> bytes(PNG_IMAGE_SIZE(picture));
    EXPECT_NE(png_image_finish_read(&picture, nullptr, bytes.data(), 0, nullptr), 0);
    const uint8_t *at = &bytes[(y * picture.width + x) * 3];
    return static_cast<uint32_t>(at[0]) << 16 | static_cast<uint32_t>(at[1]) << 8 | at[2];
}

TEST_F(zerv_skin_cli, previews_what_the_screens_draw)
{
    const std::string play = skin_xml(
        "<rect x=\"0\" y=\"0\" width=\"10\" height=\"10\" color=\"#ff0000\" show=\"pause\"/>"
        "<album_cover x=\"100\" y=\"0\" width=\"50\" height=\"50\"/>"
        "<scroll type=\"fill-x\" src=\"b.png\" action=\"battery\" x=\"0\" y=\"100\" width=\"100\" "
        "height=\"30\"/>");
    make_folder("s", {{"play.xml", play}, {"b.png", make_png(10, 30, 0xFF0000FF)}});
    ASSERT_EQ(run({"preview", "s", "-o", "out"}).status, 0);
    EXPECT_EQ(pixel_of("out/play-0-playing.png", 5, 5), 0xFFFFFFu);
    EXPECT_EQ(pixel_of("out/play-0-paused.png", 5, 5), 0xFF0000u);
    EXPECT_NE(pixel_of("out/play-0-playing.png", 125, 25), 0xFFFFFFu) << "the cover";
    EXPECT_EQ(pixel_of("out/play-0-stopped.png", 125, 25), 0xFFFFFFu) << "no cover";
    EXPECT_EQ(pixel_of("out/play-0-playing.png", 50, 110), 0x0000FFu) << "57 per cent";
    EXPECT_EQ(pixel_of("out/play-0-playing.png", 60, 110), 0xFFFFFFu);
    EXPECT_EQ(pixel_of("out/play-0-battery-low.png", 3, 110), 0x0000FFu);
    EXPECT_EQ(pixel_of("out/play-0-battery-low.png", 5, 110), 0xFFFFFFu);
}

TEST_F(zerv_skin_cli, previews_no_skin_that_the_player_refuses)
{
    make_folder("s", {{"play.xml", skin_xml("<img src=\"a.png\"/>")},
                      {"a.png", "no"},
                      {"list.xml", skin_xml("<list width=\"9\" height=\"99\" font_size=\"9\"/>")}});
    const outcome half = run({"preview", "s", "-o", "out"});
    EXPECT_EQ(half.status, 2);
    EXPECT_TRUE(has(half.err, "\"play\""));
    EXPECT_EQ(access("out/list-0-menu.png", F_OK), 0);
    EXPECT_EQ(run({"preview", "missing", "-o", "out"}).status, 2);
    EXPECT_EQ(run({"preview", "s"}).status, 2);
    write_file("file", "");
    EXPECT_EQ(run({"preview", "s", "-o", "file"}).status, 2);
}

/* Waits until the program has said something `count` times; milliseconds, -1 when it has not. */
static int wait_for(const char *part, int count)
{
    const auto begin = std::chrono::steady_clock::now();
    for (;;) {
        const std::string text = read_whole("stdout.txt");
        int found = 0;
        for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at++)
            found++;
        const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - begin);
        if (found >= count)
            return static_cast<int>(passed.count());
        if (passed > std::chrono::seconds(60))
            return -1;
        usleep(5000);
    }
}

TEST_F(zerv_skin_cli, watches_a_folder_without_a_display)
{
    make_folder("s", {{"play.xml", skin_xml("<rect width=\"9\" height=\"9\"/>")}});
    const pid_t child = start({"watch", "s", "-o", "out"});
    ASSERT_GT(child, 0);
    ASSERT_GE(wait_for("pictures in out", 1), 0);
    EXPECT_EQ(pixel_of("out/play-0-playing.png", 5, 5), 0x000000u);
    write_file("s/play.xml", skin_xml("<rect width=\"9\" height=\"9\" color=\"#00ff00\"/>"));
    const int took = wait_for("pictures in out", 2);
    EXPECT_GE(took, 0);
    RecordProperty("ms", took); /* about 150 on an idle machine; a busy one is no failure */
    EXPECT_EQ(pixel_of("out/play-0-playing.png", 5, 5), 0x00FF00u);
    write_file("s/play.xml", "<skin");
    EXPECT_GE(wait_for("1 errors", 1), 0) << "a fault is told, and the watch goes on";
    ASSERT_EQ(kill(child, SIGTERM), 0);
    EXPECT_EQ(finish(child).status, 0);
}

TEST_F(zerv_skin_cli, watches_in_a_window)
{
#ifndef ZERV_SDL
    GTEST_SKIP() << "built without a window";
#endif
    /* A display that shows nothing: the window is made and drawn all the same. */
    setenv("SDL_VIDEODRIVER", "dummy", 1);
    make_folder("s", {{"play.xml", skin_xml("<rect width=\"9\" height=\"9\"/>")}});
    const pid_t child = start({"watch", "s"});
    ASSERT_GT(child, 0);
    EXPECT_GE(wait_for("0 errors", 1), 0);
    write_file("s/play.xml", "<skin");
    EXPECT_GE(wait_for("1 errors", 1), 0);
    write_file("s/play.xml", skin_xml("<rect width=\"8\" height=\"9\"/>"));
    EXPECT_GE(wait_for("0 errors", 2), 0);
    ASSERT_EQ(kill(child, SIGTERM), 0);
    EXPECT_EQ(finish(child).status, 0);
    EXPECT_NE(access("s-preview", F_OK), 0) << "a window needs no files";
}
