/* Which scenes a skin has, and how the window steps through them. */
#include "tools/zerv_skin/scene.h"

#include "platform/draw/fb.h"
#include "tools/zerv_skin/stage.h"
#include "unit/skin/skin_fixture.h"
#include "view/view.h"

#include <algorithm>

struct zerv_skin_scene : skin_test {
    void SetUp() override
    {
        skin_test::SetUp();
        ASSERT_EQ(stage_open(), 0);
    }
    void TearDown() override
    {
        scene_close();
        stage_close();
        skin_test::TearDown();
    }

    void open(const members &files)
    {
        make_folder("s", files);
        ASSERT_EQ(scene_open("s", &package), 0);
    }
    size_t find(const char *name)
    {
        for (size_t i = 0; i < package.scenes.size(); i++)
            if (package.scenes[i].name == name)
                return i;
        ADD_FAILURE() << name;
        return 0;
    }
    std::string step(const char *from, scene_axis axis, int direction)
    {
        return package.scenes[scene_step(&package, find(from), axis, direction)].name;
    }

    scene_package package = {};
};

static std::string page(const char *root, const char *elements = "")
{
    return std::string("<skin version=\"0.1\" ") + root + ">" + elements + "</skin>";
}

static const members four_variants = {
    {"play.xml", page("show=\"album_cover\" hide=\"lyrics\"")},
    {"play-1.xml", page("show=\"lyrics\" hide=\"album_cover\"")},
    {"play-2.xml", page("show=\"album_cover\"")},
    {"play-3.xml", page("")},
    {"list.xml", skin_xml("<list font_size=\"30\" height=\"90\"/>")},
};

/* A studio whose port is taken ends before it has read anything. */
TEST_F(zerv_skin_scene, closes_what_was_never_opened)
{
    view_list = view_play = nullptr;
    scene_close();
    open(four_variants);
}

TEST_F(zerv_skin_scene, shows_each_variant_with_a_track_it_is_meant_for)
{
    open(four_variants);
    const struct {
        const char *name;
        bool cover, lyrics;
    } cases[] = {
        {"play-0-playing", true, false},
        {"play-1-playing", false, true},
        {"play-2-playing", true, true},
        {"play-3-playing", false, false},
    };
    for (const auto &it : cases) {
        const scene &found = package.scenes[find(it.name)];
        EXPECT_EQ(found.cover, it.cover) << it.name;
        EXPECT_EQ(found.lyrics, it.lyrics) << it.name;
    }
    for (const scene &each : package.scenes)
        EXPECT_TRUE(each.name.find("stopped") == std::string::npos || each.variant == 3)
            << each.name;
}

TEST_F(zerv_skin_scene, draws_the_variant_that_it_names)
{
    members files = four_variants;
    files[1].second = page("show=\"lyrics\" hide=\"album_cover\"",
                           "<rect width=\"5\" height=\"5\" color=\"#00ff00\"/>");
    files[3].second = page("", "<rect width=\"5\" height=\"5\" color=\"#ff0000\"/>");
    open(files);
    EXPECT_EQ(scene_draw(package.scenes[find("play-1-paused")], false, false)->pixels[0], 0x07E0);
    EXPECT_EQ(scene_draw(package.scenes[find("play-3-playing")], false, false)->pixels[0], 0xF800);
    EXPECT_EQ(scene_draw(package.scenes[find("play-0-playing")], false, false)->pixels[0], 0xFFFF);
}

TEST_F(zerv_skin_scene, outlines_and_names_elements_on_request)
{
    ASSERT_EQ(stage_open_font(nullptr), 0);
    open({{"play.xml", skin_xml("<rect x=\"50\" y=\"50\" width=\"100\" height=\"100\" "
                                "color=\"#ffffff\"/>")}});
    const scene &it = package.scenes[find("play-0-playing")];
    auto count = [&](bool outlines, bool names) {
        const fb_surface *drawn = scene_draw(it, outlines, names);
        int dark = 0;
        for (int32_t i = 0; i < drawn->width * drawn->height; i++)
            dark += drawn->pixels[i] != 0xFFFF;
        return dark;
    };
    EXPECT_EQ(count(false, false), 0);
    EXPECT_EQ(count(true, false), 4 * 99);
    EXPECT_GT(count(false, true), 20);
    EXPECT_EQ(count(false, false), 0);
}

TEST_F(zerv_skin_scene, has_no_scenes_of_a_part_that_does_not_load)
{
    open({{"play.xml", "<skin/>"}, {"list.xml", skin_xml("")}});
    EXPECT_TRUE(package.play.present);
    EXPECT_FALSE(package.play.loads);
    for (const scene &each : package.scenes)
        EXPECT_TRUE(each.in_list);
}

TEST_F(zerv_skin_scene, steps_round_variants_states_data_and_parts)
{
    open(four_variants);
    EXPECT_EQ(step("play-0-paused", scene_axis::variant, 1), "play-1-paused");
    EXPECT_EQ(step("play-3-paused", scene_axis::variant, 1), "play-0-paused");
    EXPECT_EQ(step("play-0-paused", scene_axis::variant, -1), "play-3-paused");
    EXPECT_EQ(step("play-0-playing", scene_axis::state, 1), "play-0-paused");
    EXPECT_EQ(step("play-0-playing", scene_axis::state, -1), "play-0-volume");
    EXPECT_EQ(step("play-0-paused-korean", scene_axis::state, 1), "play-0-battery-low-korean");
    EXPECT_EQ(step("play-3-paused-korean", scene_axis::state, 1), "play-3-stopped-korean");
    EXPECT_EQ(step("play-0-paused", scene_axis::data, 1), "play-0-paused-long");
    EXPECT_EQ(step("play-0-paused", scene_axis::data, -1), "play-0-paused-no-tags");
    EXPECT_EQ(step("play-0-paused-no-tags", scene_axis::data, 1), "play-0-paused");
    EXPECT_EQ(step("play-0-paused-long", scene_axis::variant, 1), "play-1-paused-long");
    EXPECT_EQ(step("list-0-menu", scene_axis::state, 1), "list-0-last");
    EXPECT_EQ(step("list-0-last", scene_axis::data, 1), "list-0-last-tracks");
    EXPECT_EQ(step("list-0-tracks", scene_axis::data, 1), "list-0-long");
    EXPECT_EQ(step("list-0-long", scene_axis::variant, 1), "list-0-long") << "there is one";
    EXPECT_EQ(step("list-0-menu", scene_axis::part, 1), "play-0-playing");
    EXPECT_EQ(step("play-2-long", scene_axis::part, 1), "list-0-menu");
    EXPECT_EQ(step("play-3-stopped", scene_axis::variant, 1), "play-3-stopped") << "the only one";
}

TEST_F(zerv_skin_scene, shows_every_state_with_every_data)
{
    const std::string battery = "<scroll type=\"fill-x\" src=\"b.png\" action=\"battery\" "
                                "width=\"100\" height=\"10\"/>";
    const std::string paused = "<rect y=\"10\" width=\"9\" height=\"9\" show=\"pause\"/>";
    open({{"play.xml", skin_xml(battery + paused)}, {"b.png", make_png(1, 10, 0xFF0000FF)}});
    /* How far the battery bar goes, and whether the sign of a pause is there. */
    auto look_at = [&](const char *name) {
        const fb_surface *drawn = scene_draw(package.scenes[find(name)], false, false);
        int filled = 0;
        while (filled < drawn->width && drawn->pixels[filled] == 0x001F)
            filled++;
        return std::pair(filled, drawn->pixels[15 * drawn->stride + 3] == 0);
    };
    EXPECT_EQ(look_at("play-0-playing"), std::pair(57, false));
    EXPECT_EQ(look_at("play-0-long"), std::pair(100, false));
    EXPECT_EQ(look_at("play-0-paused"), std::pair(57, true));
    EXPECT_EQ(look_at("play-0-paused-long"), std::pair(100, true));
    EXPECT_EQ(look_at("play-0-battery-low-long"), std::pair(4, false));
}

TEST_F(zerv_skin_scene, draws_the_messages_of_a_state_over_the_screen)
{
    ASSERT_EQ(stage_open_font(nullptr), 0);
    open({{"play.xml", skin_xml("")}, {"list.xml", skin_xml("")}});
    /* Pixels on one of the lowest lines, 18 pixels each, that the colour made darker than paper. */
    auto count = [&](const char *name, int line, uint16_t colour) {
        const fb_surface *drawn = scene_draw(package.scenes[find(name)], false, false);
        const uint16_t *begin = drawn->pixels + (240 - 18 * (line + 1)) * drawn->stride;
        return std::count_if(begin, begin + 18 * drawn->stride, [colour](uint16_t pixel) {
            return pixel != 0xFFFF && (pixel & colour) == colour;
        });
    };
    for (const char *name : {"play-0-battery-low", "list-0-battery-low"}) {
        EXPECT_GT(count(name, 0, 0xF800), 200) << name;
        EXPECT_GT(count(name, 1, 0xF800), 200) << name;
    }
    for (const char *name : {"play-0-volume", "list-0-volume"}) {
        EXPECT_GT(count(name, 0, 0x001F), 50) << name;
        EXPECT_LT(count(name, 0, 0xF800), 50) << "no red one is left over";
    }
    EXPECT_EQ(count("play-0-playing", 0, 0), 0);
}

TEST_F(zerv_skin_scene, previews_each_state_and_each_data_once)
{
    open(four_variants);
    std::string names;
    for (const scene &each : package.scenes)
        if (each.in_preview && each.variant == 3)
            names += each.name + " ";
    EXPECT_EQ(names, "play-3-playing play-3-long play-3-korean play-3-chinese play-3-no-tags "
                     "play-3-paused play-3-stopped play-3-battery-low play-3-volume ");
}

TEST_F(zerv_skin_scene, reads_a_package_anew)
{
    open({{"play.xml", skin_xml("")}});
    const size_t before = package.scenes.size();
    make_folder("s", {{"play-1.xml", skin_xml("")}});
    for (int i = 0; i < 20; i++)
        ASSERT_EQ(scene_open("s", &package), 0);
    EXPECT_EQ(package.scenes.size(), 2 * before);
}
