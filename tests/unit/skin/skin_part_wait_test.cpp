/* Parts: pictures that wait until their page is shown. */
#include "platform/image/image.h"
#include "skin/skin_parse.h"
#include "skin/skin_read.h"
#include "unit/skin/skin_part_fixture.h"

#include <cstring>

static part_owner read_sparing(const char *path)
{
    return part_owner(skin_read_part_sparing(path, "list"));
}

static bool are_same(const image *a, const image *b)
{
    const size_t count = static_cast<size_t>(a->width) * static_cast<size_t>(a->height);
    if (a->width != b->width || a->height != b->height || !a->rgb565 != !b->rgb565)
        return false;
    return a->rgb565 ? memcmp(a->rgb565, b->rgb565, count * sizeof *a->rgb565) == 0
                     : memcmp(a->argb, b->argb, count * sizeof *a->argb) == 0;
}

TEST_F(skin_part_test, a_picture_waits_until_its_page_is_shown)
{
    pack({{"list.xml", skin_xml("<img src='a.png'/><img src='b.png' width='3'/>")},
          {"list2.xml", skin_xml("<img src='a.png'/><img src='a.png'/>")},
          {"a.png", make_png(20, 10)},
          {"b.png", make_png(7, 5, 0x80112233)}});
    for (const char *path : kinds) {
        const part_owner at_once = read_part(path), part = read_sparing(path);
        ASSERT_TRUE(at_once && part) << path;
        for (uint32_t i = 0; i < 2; i++) {
            EXPECT_EQ(element_of(part, i)->image, nullptr);
            EXPECT_EQ(element_of(part, i)->width, element_of(at_once, i)->width);
            EXPECT_EQ(element_of(part, i)->height, element_of(at_once, i)->height);
        }
        EXPECT_EQ(skin_show_page(part.get(), &part->pages[0]), 0);
        for (uint32_t i = 0; i < 2; i++) {
            ASSERT_NE(element_of(part, i)->image, nullptr);
            EXPECT_TRUE(are_same(element_of(part, i)->image, element_of(at_once, i)->image));
        }
        EXPECT_EQ(part->pages[1].elements[0].image, nullptr);
        const image *first = element_of(part, 0)->image;
        EXPECT_EQ(skin_show_page(part.get(), &part->pages[0]), 0);
        EXPECT_EQ(element_of(part, 0)->image, first) << "decoded twice";
    }
}

TEST_F(skin_part_test, a_damaged_picture_is_refused_even_if_it_could_wait)
{
    const std::string whole = make_png(20, 10);
    for (size_t at : {size_t{0}, size_t{20}, whole.size() / 2, whole.size() - 20}) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
        pack({{"list.xml", skin_xml("<img src='a.png'/>")}, {"a.png", damaged}});
        for (const char *path : kinds)
            EXPECT_EQ(read_part(path) == nullptr, read_sparing(path) == nullptr) << path << at;
    }
    pack({{"list.xml", skin_xml("<img src='a.png'/>")}, {"a.png", whole.substr(0, 60)}});
    for (const char *path : kinds)
        EXPECT_EQ(read_sparing(path), nullptr) << path;
}

TEST_F(skin_part_test, what_is_not_sure_to_decode_does_not_wait)
{
    std::string trailing = make_png(20, 10);
    trailing.resize(300 * 1024, 'x'); /* too much to be held */
    pack({{"list.xml", skin_xml("<img src='a.png'/>")}, {"a.png", trailing}});
    for (const char *path : kinds) {
        const part_owner part = read_sparing(path);
        ASSERT_TRUE(part) << path;
        EXPECT_NE(element_of(part, 0)->image, nullptr) << path;
    }
}

/* The checksums are right and the pixels are not: its maker is at fault. */
TEST_F(skin_part_test, a_picture_that_fails_when_it_is_shown_is_told)
{
    pack({{"list.xml", skin_xml("<img src='a.png'/><img src='b.png'/>")},
          {"a.png", make_png_of_wrong_pixels()},
          {"b.png", make_png(7, 5)}});
    for (const char *path : kinds) {
        EXPECT_EQ(read_part(path), nullptr) << path;
        const part_owner part = read_sparing(path);
        ASSERT_TRUE(part) << path;
        EXPECT_EQ(skin_show_page(part.get(), &part->pages[0]), -1);
        EXPECT_EQ(element_of(part, 0)->image, nullptr);
        EXPECT_NE(element_of(part, 1)->image, nullptr);
        EXPECT_EQ(skin_show_page(part.get(), &part->pages[0]), 0) << "told once";
    }
}

TEST_F(skin_part_test, pictures_that_wait_count_like_all_others)
{
    std::string wanted;
    for (uint64_t i = 0; i <= skin_limit_pixels / (1024 * 1024); i++)
        wanted += "<img src='a.png'/>";
    pack({{"list.xml", skin_xml(wanted)}, {"a.png", make_png(1024, 1024)}});
    for (const char *path : kinds) {
        EXPECT_EQ(read_part(path), nullptr);
        EXPECT_EQ(read_sparing(path), nullptr);
    }
}

TEST_F(skin_part_test, the_last_of_two_files_of_one_name_is_shown)
{
    make_zip("s.zip", {{"list.xml", skin_xml("<img src='a.png'/>")},
                       {"a.png", make_png(20, 10)},
                       {"a.png", make_png(7, 5)}});
    const part_owner part = read_sparing("s.zip"), at_once = read_part("s.zip");
    ASSERT_TRUE(part && at_once);
    ASSERT_EQ(skin_show_page(part.get(), &part->pages[0]), 0);
    EXPECT_TRUE(are_same(element_of(part, 0)->image, element_of(at_once, 0)->image));
    EXPECT_EQ(element_of(part, 0)->width, element_of(at_once, 0)->width);
}
