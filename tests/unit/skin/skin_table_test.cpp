/* What a part file may say, and what the parser makes of the names in it. */
#include "skin/skin_table.h"

#include "unit/skin/skin_fixture.h"

#include <set>
#include <string>

struct skin_table : skin_test {
    /* The first variant of a part "play" with these elements. */
    const skin_page *read(const std::string &elements, const std::string &root = "")
    {
        make_folder("s",
                    {{"play.xml", "<skin version=\"0.1\" " + root + ">" + elements + "</skin>"}});
        part.reset(skin_read_part("s", "play"));
        return part ? &part->pages[0] : nullptr;
    }

    part_owner part;
};

TEST_F(skin_table, tells_the_types_of_bars)
{
    const struct {
        const char *type;
        bool vertical, draggable, cut_from_end;
    } types[] = {
        {"fill-x", false, true, false}, {"fill-x-rev", false, false, false},
        {"fill-y", true, true, false},  {"fill-y-rev", true, false, false},
        {"move-x", false, true, false}, {"move-x-rev", false, false, false},
        {"move-y", true, true, false},  {"move-y-rev", true, false, false},
        {"part-x", false, true, false}, {"part-x-rev", false, false, true},
        {"part-y", true, true, false},  {"part-y-rev", true, false, true},
    };
    EXPECT_EQ(std::size(types) + 1, std::size(skin_bar_types));
    for (const auto &it : types) {
        const skin_page *page = read(std::string("<scroll type=\"") + it.type + "\"/>");
        ASSERT_NE(page, nullptr);
        const skin_bar_type &found = skin_bar_types[page->elements[0].means.type];
        EXPECT_STREQ(found.name, it.type);
        EXPECT_EQ(found.vertical, it.vertical) << it.type;
        EXPECT_EQ(found.draggable, it.draggable) << it.type;
        EXPECT_EQ(found.cut_from_end, it.cut_from_end) << it.type;
    }
}

TEST_F(skin_table, finds_nothing_behind_names_that_mean_nothing)
{
    const skin_page *page = read("<Img type=\"fill\" action=\"sing\" show=\"Play\" hide=\"\"/>"
                                 "<scroll type=\"\" action=\"pause\"/>");
    ASSERT_NE(page, nullptr);
    for (uint32_t i = 0; i < 2; i++) {
        const skin_meaning &means = page->elements[i].means;
        EXPECT_TRUE(means.looked_up);
        EXPECT_EQ(means.type, 0);
        EXPECT_EQ(means.action, 0);
        EXPECT_EQ(means.show, 0);
        EXPECT_EQ(means.hide, 0);
    }
    EXPECT_EQ(page->elements[0].means.kind, 0);
    EXPECT_EQ(page->elements[1].means.kind, skin_kind_at("scroll"));
}

TEST_F(skin_table, looks_up_every_kind_once_a_part_is_loaded)
{
    for (const skin_kind &kind : skin_kinds) {
        if (!*kind.name)
            continue;
        const skin_page *page = read("<" + std::string(kind.name) + " font_size=\"9\"/>");
        ASSERT_NE(page, nullptr);
        const skin_element &element = page->elements[0];
        EXPECT_TRUE(element.means.looked_up);
        EXPECT_STREQ(skin_kinds[element.means.kind].name, kind.name);
    }
}

TEST_F(skin_table, looks_up_the_rows_of_a_list)
{
    const skin_page *page = read("<list height=\"60\" font_size=\"20\"/>");
    ASSERT_NE(page, nullptr);
    ASSERT_EQ(page->element_count, 5u);
    EXPECT_EQ(page->elements[0].means.kind, skin_kind_at("list"));
    EXPECT_EQ(page->elements[1].means.kind, skin_kind_at("item"));
    EXPECT_EQ(page->elements[2].means.kind, skin_kind_at("item_sel"));
    EXPECT_EQ(page->elements[4].means.kind, skin_kind_at("item_sel"));
}

/* One word, two meanings: a bar that is called "play" shows the position, a button starts. */
TEST_F(skin_table, reads_an_action_as_its_kind_means_it)
{
    const skin_page *page = read("<scroll action=\"play\"/><button action=\"play\"/>"
                                 "<clock action=\"stop\"/><scroll action=\"battery\"/>"
                                 "<text action=\"battery\"/>");
    ASSERT_NE(page, nullptr);
    EXPECT_EQ(page->elements[0].means.action, skin_bar_action_at("play"));
    EXPECT_EQ(page->elements[1].means.action, skin_press_at("play"));
    EXPECT_EQ(page->elements[2].means.action, skin_press_at("stop"));
    EXPECT_EQ(page->elements[3].means.action, skin_bar_action_at("battery"));
    EXPECT_EQ(page->elements[4].means.action, 0);
}

TEST_F(skin_table, takes_the_last_of_several_roots)
{
    const skin_page *page = read("<skin version=\"0.1\" show=\"lyrics\"/><text hide=\"pause\"/>",
                                 "show=\"album_cover\" hide=\"play\"");
    ASSERT_NE(page, nullptr);
    EXPECT_EQ(page->show_means, skin_condition_at("lyrics"));
    EXPECT_EQ(page->hide_means, skin_condition_at("play"));
    EXPECT_EQ(page->elements[0].means.hide, skin_condition_at("pause"));
}

struct asked_words {
    std::string words;
    bool answer;
};

static bool note_word(uint8_t condition, const void *user)
{
    asked_words *asked = const_cast<asked_words *>(static_cast<const asked_words *>(user));
    asked->words += std::string(skin_conditions[condition].name) + " ";
    return asked->answer;
}

static std::string asks(const skin_page *page, bool answer, bool *fits)
{
    asked_words asked = {"", answer};
    *fits = skin_page_fits(page, note_word, &asked);
    return asked.words;
}

TEST_F(skin_table, asks_for_a_variant_only_what_its_root_may_say)
{
    bool fits = false;
    const skin_page *both = read("", "show=\"lyrics\" hide=\"album_cover\"");
    EXPECT_EQ(asks(both, true, &fits), "lyrics album_cover ");
    EXPECT_FALSE(fits);
    EXPECT_EQ(asks(both, false, &fits), "lyrics ");
    EXPECT_FALSE(fits);
    EXPECT_EQ(asks(read("", "hide=\"lyrics\""), false, &fits), "lyrics ");
    EXPECT_TRUE(fits);
    EXPECT_EQ(asks(read("", "show=\"play\" hide=\"pause\""), false, &fits), "");
    EXPECT_TRUE(fits);
    EXPECT_EQ(asks(read("", "show=\"rain\""), false, &fits), "");
    EXPECT_TRUE(fits);
}

TEST_F(skin_table, no_name_stands_twice)
{
    std::set<std::string> kinds, attributes, tokens;
    for (const skin_kind &kind : skin_kinds)
        EXPECT_TRUE(kinds.insert(kind.name).second) << kind.name;
    for (const skin_attribute &attribute : skin_element_attributes)
        EXPECT_TRUE(attributes.insert(attribute.name).second) << attribute.name;
    for (const skin_token &token : skin_tokens)
        EXPECT_TRUE(tokens.insert(std::string(token.name)).second) << token.name;
}

/* A token that begins like another must stand in front of it, or nobody ever finds it. */
TEST_F(skin_table, finds_every_token_of_a_screen)
{
    for (uint8_t screen : {skin_on_list, skin_on_play})
        for (size_t i = 1; i < skin_token_count; i++) {
            const std::string text = std::string(skin_tokens[i].name) + "x";
            const bool known = (skin_tokens[i].screens & screen) != 0;
            EXPECT_EQ(skin_find_token(text.c_str(), screen), known ? i : 0) << text;
        }
}

TEST_F(skin_table, tells_which_attributes_a_kind_reads)
{
    const skin_kind &text = skin_kinds[skin_kind_at("text")];
    EXPECT_TRUE(skin_kind_reads(text, "format"));
    EXPECT_TRUE(skin_kind_reads(text, "text_align"));
    EXPECT_TRUE(skin_kind_reads(text, "x"));
    EXPECT_FALSE(skin_kind_reads(text, "color"));
    EXPECT_FALSE(skin_kind_reads(text, "font"));
    EXPECT_FALSE(skin_kind_reads(text, ""));
}

TEST_F(skin_table, elements_without_a_part_file_are_looked_up_when_asked)
{
    skin_element bar = {};
    snprintf(bar.name, sizeof(bar.name), "scroll");
    char type[] = "part-y";
    bar.type = type;
    EXPECT_EQ(skin_meaning_of(&bar).kind, skin_kind_at("scroll"));
    EXPECT_STREQ(skin_bar_types[skin_meaning_of(&bar).type].name, "part-y");
}

TEST_F(skin_table, an_element_holds_the_points_of_its_box)
{
    skin_element box = {};
    box.x = -5;
    box.y = 10;
    box.width = 20;
    box.height = 1;
    EXPECT_TRUE(skin_element_holds(&box, -5, 10));
    EXPECT_TRUE(skin_element_holds(&box, 14, 10));
    EXPECT_FALSE(skin_element_holds(&box, 15, 10));
    EXPECT_FALSE(skin_element_holds(&box, -6, 10));
    EXPECT_FALSE(skin_element_holds(&box, 0, 9));
    EXPECT_FALSE(skin_element_holds(&box, 0, 11));
    box.x = INT32_MAX;
    box.width = INT32_MAX;
    EXPECT_FALSE(skin_element_holds(&box, -2, 10)); /* its right end lies beyond any number */
}
