#include "view/play/play_layout.h"

#include "unit/skin/skin_fixture.h"
#include "unit/view/play/play_fixture.h"

/* Loaders that only count: what is held is set by hand. */
static int cover_wishes = 0, lyrics_wishes = 0;

struct play_layout : play_test {
    void SetUp() override
    {
        play_test::SetUp();
        cover_wishes = lyrics_wishes = 0;
        play_layout_want_cover = [] { cover_wishes++; };
        play_layout_want_lyrics = [] { lyrics_wishes++; };
        set_track();
    }

    static void drop_cover()
    {
        const sys_guard guard(play_view_lock);
        play_drop_cover_locked();
    }
    static void drop_lyrics()
    {
        const sys_guard guard(play_view_lock);
        play_drop_lyrics_locked();
    }
    static void prefer(uint32_t index)
    {
        const sys_guard guard(play_view_lock);
        play_view.preferred_layout = index;
    }
    static bool hidden(uint32_t index)
    {
        play_layout_update_visibility(play_layout_current());
        return element(index)->inactive != 0;
    }
};

TEST_F(play_layout, skips_a_variant_whose_lyrics_are_missing)
{
    load_part({"show=\"lyrics\"|", "|"});
    EXPECT_EQ(layout_index(), 1u);
    hold_lyrics({{1000, "one"}});
    EXPECT_EQ(choose_layout(-1), 0u);
    EXPECT_EQ(layout_index(), 0u);
    drop_lyrics();
    EXPECT_EQ(choose_layout(-1), 1u);
}

TEST_F(play_layout, follows_the_words_show_and_hide)
{
    load_part({"show=\"album_cover\" hide=\"lyrics\"|", "show=\"lyrics\" hide=\"album_cover\"|",
               "show=\"lyrics\"|", "hide=\"album_cover\"|"});
    EXPECT_EQ(layout_index(), 3u);
    hold_cover();
    EXPECT_EQ(choose_layout(-1), 0u);
    hold_lyrics({{1000, "one"}});
    EXPECT_EQ(choose_layout(-1), 2u);
    drop_cover();
    EXPECT_EQ(choose_layout(-1), 1u);
}

TEST_F(play_layout, uses_the_first_when_none_is_usable)
{
    load_part({"show=\"lyrics\"|", "show=\"album_cover\"|"});
    EXPECT_EQ(layout_index(), 0u);
    EXPECT_EQ(choose_layout(1), 0u);
}

TEST_F(play_layout, counts_on_from_the_start_and_around)
{
    load_part({"|", "show=\"lyrics\"|", "|"});
    EXPECT_EQ(choose_layout(1), 2u);
    EXPECT_EQ(choose_layout(2), 2u);
    EXPECT_EQ(choose_layout(3), 0u);
    EXPECT_EQ(choose_layout(0), 0u);
}

TEST_F(play_layout, keeps_to_the_preferred_one_while_it_is_usable)
{
    load_part({"|", "|", "show=\"lyrics\"|"});
    prefer(1);
    EXPECT_EQ(choose_layout(-1), 1u);
    prefer(2);
    EXPECT_EQ(choose_layout(-1), 0u);
    hold_lyrics({{1000, "one"}});
    EXPECT_EQ(choose_layout(-1), 2u);
    prefer(7);
    EXPECT_EQ(choose_layout(-1), 0u);
}

TEST_F(play_layout, ignores_other_words_of_a_variant)
{
    load_part({"show=\"pause\" hide=\"play\"|", "|"});
    EXPECT_EQ(layout_index(), 0u);
    EXPECT_EQ(cover_wishes + lyrics_wishes, 0);
}

TEST_F(play_layout, asks_only_for_what_its_variants_need)
{
    load_part({"show=\"album_cover\"|", "hide=\"lyrics\"|"});
    EXPECT_GT(cover_wishes, 0);
    EXPECT_GT(lyrics_wishes, 0);
    cover_wishes = lyrics_wishes = 0;
    hold_cover();
    choose_layout(0);
    EXPECT_EQ(cover_wishes, 1);
    EXPECT_EQ(lyrics_wishes, 0);
}

TEST_F(play_layout, drops_the_scaled_cover_at_every_choice)
{
    load_part({"|"});
    {
        const sys_guard guard(play_view_lock);
        play_view.cover_scaled = image_create(3, 3);
        play_view.cover_scaled_for = element(0);
    }
    choose_layout(-1);
    const sys_guard guard(play_view_lock);
    EXPECT_EQ(play_view.cover_scaled, nullptr);
    EXPECT_EQ(play_view.cover_scaled_for, nullptr);
}

TEST_F(play_layout, accepts_a_screen_without_a_part)
{
    EXPECT_EQ(choose_layout(-1), 0u);
    EXPECT_EQ(choose_layout(5), 0u);
    EXPECT_EQ(play_layout_current(), nullptr);
}

TEST_F(play_layout, orders_variants_by_their_number)
{
    ASSERT_EQ(mkdir("pack", 0755), 0);
    scratch_write("pack/play-10.xml", "<skin version=\"0.1\"><text x=\"10\"/></skin>");
    scratch_write("pack/play-9.xml", "<skin version=\"0.1\"><text x=\"9\"/></skin>");
    ASSERT_EQ(play_layout_load_skin("pack"), 0);
    EXPECT_EQ(element(0)->x, 9);
}

TEST_F(play_layout, shows_elements_by_their_show_word)
{
    load_part({"|<text show=\"play\"/><text show=\"pause\"/><text show=\"album_cover\"/>"
               "<text show=\"lyrics\"/>"});
    EXPECT_FALSE(hidden(0));
    EXPECT_TRUE(hidden(1));
    EXPECT_TRUE(hidden(2));
    EXPECT_TRUE(hidden(3));
    play_paused = 1;
    hold_cover();
    hold_lyrics({{1000, "one"}});
    for (uint32_t i = 0; i < 4; i++)
        EXPECT_FALSE(hidden(i)) << i;
    set_no_track();
    EXPECT_TRUE(hidden(0));
    EXPECT_FALSE(hidden(1));
}

TEST_F(play_layout, hides_elements_by_their_hide_word)
{
    load_part({"|<text hide=\"play\"/><text hide=\"pause\"/>"});
    EXPECT_TRUE(hidden(0));
    EXPECT_FALSE(hidden(1));
    set_no_track();
    EXPECT_FALSE(hidden(0));
    EXPECT_TRUE(hidden(1));
}

TEST_F(play_layout, lets_the_hide_word_win)
{
    load_part({"|<text show=\"pause\" hide=\"play\"/>"});
    EXPECT_TRUE(hidden(0));
    play_paused = 1;
    EXPECT_TRUE(hidden(0));
    set_no_track();
    EXPECT_FALSE(hidden(0));
}

TEST_F(play_layout, leaves_elements_with_unknown_words_as_they_were)
{
    load_part({"|<text show=\"sometimes\"/><text hide=\"never\"/><text/>"
               "<text show=\"play\" hide=\"never\"/>"});
    for (uint32_t i = 0; i < 4; i++)
        EXPECT_FALSE(hidden(i)) << i;
    element(0)->inactive = element(1)->inactive = element(2)->inactive = 1;
    for (uint32_t i = 0; i < 3; i++)
        EXPECT_TRUE(hidden(i)) << i;
}

TEST_F(play_layout, never_shows_again_what_hid_behind_an_unknown_show_word)
{
    load_part({"|<text show=\"sometimes\" hide=\"pause\"/>"});
    EXPECT_FALSE(hidden(0));
    play_paused = 1;
    EXPECT_TRUE(hidden(0));
    play_paused = 0;
    EXPECT_TRUE(hidden(0));
}

TEST_F(play_layout, falls_back_to_the_default_skin_and_then_to_any)
{
    cfg_load_default();
    ASSERT_EQ(mkdir("skins", 0755), 0);
    ASSERT_EQ(mkdir("skins/any", 0755), 0);
    scratch_write("skins/any/play.xml", "<skin version=\"0.1\"><text x=\"1\"/></skin>");
    str_copy(cfg_skin_play, "skins/gone");
    ASSERT_EQ(play_layout_load_skin(cfg_skin_play), 0);
    EXPECT_STREQ(cfg_skin_play, "skins/any");
    ASSERT_EQ(mkdir("skins/Aqua_Ver0.4.zip", 0755), 0);
    scratch_write("skins/Aqua_Ver0.4.zip/play.xml", "<skin version=\"0.1\"><text x=\"2\"/></skin>");
    ASSERT_EQ(play_layout_load_skin("skins/gone"), 0);
    EXPECT_STREQ(cfg_skin_play, "skins/Aqua_Ver0.4.zip");
    EXPECT_EQ(element(0)->x, 2);
}

/* Found out when the variant is first drawn; the outcome is that of a picture found broken at once. */
TEST_F(play_layout, a_skin_whose_picture_does_not_decode_is_replaced_when_it_is_shown)
{
    cfg_load_default();
    ASSERT_EQ(mkdir("skins", 0755), 0);
    ASSERT_EQ(mkdir("skins/any", 0755), 0);
    scratch_write("skins/any/play.xml", "<skin version=\"0.1\"><text x=\"1\"/></skin>");
    str_copy(cfg_skin_play, "pack");
    load_part({"|<text x=\"5\"/>", "|<img src=\"a.png\"/>"});
    scratch_write("pack/a.png", make_png_of_wrong_pixels());
    ASSERT_EQ(play_layout_load_skin("pack"), 0);
    EXPECT_TRUE(draw());
    EXPECT_EQ(element(0)->x, 5) << "the other variant is not shown";
    EXPECT_STREQ(cfg_skin_play, "pack");
    choose_layout(1);
    play_screen.redraw = 1;
    EXPECT_TRUE(draw());
    EXPECT_STREQ(cfg_skin_play, "skins/any");
    EXPECT_EQ(element(0)->x, 1);
}

TEST_F(play_layout, without_any_other_skin_the_rest_of_it_is_shown)
{
    cfg_load_default();
    load_part({"|<img src=\"a.png\"/><text x=\"5\"/>"});
    scratch_write("pack/a.png", make_png_of_wrong_pixels());
    ASSERT_EQ(play_layout_load_skin("pack"), 0);
    EXPECT_TRUE(draw());
    EXPECT_EQ(element(0)->image, nullptr);
    EXPECT_EQ(element(1)->x, 5);
}

TEST_F(play_layout, keeps_the_old_part_when_no_skin_can_be_read)
{
    load_part({"|<text x=\"5\"/>"});
    const uint32_t serial = play_layout_skin_serial();
    EXPECT_EQ(play_layout_load_skin("nothing"), -1);
    EXPECT_EQ(element(0)->x, 5);
    EXPECT_EQ(play_layout_skin_serial(), serial);
}

TEST_F(play_layout, starts_a_new_skin_at_its_first_variant)
{
    load_part({"|", "|"});
    prefer(1);
    choose_layout(-1);
    play_screen.redraw = 0;
    load_part({"|", "|"}, "other");
    EXPECT_EQ(layout_index(), 0u);
    EXPECT_EQ(play_screen.redraw, 1);
    const sys_guard guard(play_view_lock);
    EXPECT_EQ(play_view.preferred_layout, 0u);
}
