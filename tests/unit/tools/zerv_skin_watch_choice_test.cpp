/* Which scene the window of zerv-skin watch shows after a change. */
#include "tools/zerv_skin/watch_choice.h"

#include <gtest/gtest.h>

static scene make_scene(const char *name, bool in_list)
{
    scene made = {};
    made.name = name;
    made.in_list = in_list;
    return made;
}

static scene_package make_package(bool list, bool play)
{
    scene_package made = {{true, list}, {true, play}, {}};
    if (list)
        made.scenes = {make_scene("list-a", true), make_scene("list-b", true)};
    if (play) {
        made.scenes.push_back(make_scene("play-a", false));
        made.scenes.push_back(make_scene("play-b", false));
    }
    return made;
}

/* The scene that is shown, "" while there is none. */
static std::string choose(watch_choice *choice, const scene_package &package)
{
    const size_t index = watch_choose(choice, package);
    return index < package.scenes.size() ? package.scenes[index].name : "";
}

TEST(watch_choice, keeps_what_is_looked_at)
{
    watch_choice choice = {};
    EXPECT_EQ(choose(&choice, make_package(true, true)), "list-a");
    watch_note(&choice, make_scene("play-b", false));
    EXPECT_EQ(choose(&choice, make_package(true, true)), "play-b");
    watch_note(&choice, make_scene("play-gone", false));
    EXPECT_EQ(choose(&choice, make_package(true, true)), "play-a") << "the first of its part";
}

TEST(watch_choice, stays_at_a_broken_part_and_is_there_when_it_is_repaired)
{
    watch_choice choice = {};
    EXPECT_EQ(choose(&choice, make_package(true, true)), "list-a");
    EXPECT_EQ(choose(&choice, make_package(false, true)), "") << "before any key was pressed, too";
    EXPECT_EQ(choose(&choice, make_package(true, true)), "list-a");
}

TEST(watch_choice, returns_to_the_part_that_was_broken)
{
    watch_choice choice = {};
    EXPECT_EQ(choose(&choice, make_package(true, true)), "list-a");
    watch_note(&choice, make_scene("play-b", false));
    EXPECT_EQ(choose(&choice, make_package(true, false)), "");
    watch_note(&choice, make_scene("list-b", true));
    EXPECT_EQ(choose(&choice, make_package(true, false)), "list-b") << "looked at meanwhile";
    EXPECT_EQ(choose(&choice, make_package(true, true)), "play-b");
}

TEST(watch_choice, stays_where_it_is_when_both_parts_come_back)
{
    watch_choice choice = {};
    watch_note(&choice, make_scene("play-b", false));
    EXPECT_EQ(choose(&choice, make_package(false, false)), "");
    EXPECT_EQ(choose(&choice, make_package(true, true)), "play-b");
}

TEST(watch_choice, shows_a_part_that_was_broken_from_the_start)
{
    watch_choice choice = {};
    EXPECT_EQ(choose(&choice, make_package(false, true)), "play-a");
    EXPECT_EQ(choose(&choice, make_package(true, true)), "list-a");
}
