/* Parts of skins while memory runs out or a file is damaged: nothing stays behind. */
#include "skin/skin.h"

#include "support/allocations.h"
#include "unit/skin/skin_fixture.h"

#ifdef ALLOCATIONS_ARE_COUNTED
struct skin_part_memory : skin_test {
    void SetUp() override
    {
        skin_test::SetUp();
        std::string many = "<rect x=\"1\" y=\"2\" width=\"3\" height=\"4\" color=\"#123456\"/>";
        for (int i = 0; i < 40; i++)
            many += "<text x=\"1\" y=\"2\" width=\"30\" height=\"14\" text=\"a text\"/>";
        many += "<list x=\"0\" y=\"20\" width=\"300\" height=\"200\" font_size=\"14\"/>";
        many += "<img src=\"a.png\"/>";
        const members files = {{"list1.xml", skin_xml(many)},
                               {"list2.xml", skin_xml("<img src=\"a.png\"/>")},
                               {"a.png", make_png(30, 20)}};
        make_zip("s.zip", files);
        make_folder("s", files);
        (void)skin_free_part(skin_read_part("s.zip", "list")); /* the libraries keep some */
    }
};

TEST_F(skin_part_memory, a_part_is_there_or_not_and_gives_all_back)
{
    skin_part *first = skin_read_part("s", "list");
    ASSERT_NE(first, nullptr);
    const uint32_t whole = first->pages[0].element_count;
    (void)skin_free_part(first);
    EXPECT_GT(whole, 43u) << "and the rows of the list";
    for (const char *path : {"s.zip", "s"}) {
        int read = 0;
        int64_t left = 0;
        const int failed = fail_each_allocation([&] {
            const int64_t before = allocated_bytes;
            skin_part *part = skin_read_part(path, "list");
            read += part != nullptr;
            for (uint32_t i = 0; part && i < part->count; i++)
                EXPECT_EQ(part->pages[i].element_count, part->pages[i].variant == 1 ? whole : 1u);
            (void)skin_is_part_available(path, "list");
            (void)skin_free_part(part);
            left += allocated_bytes - before;
        });
        /* An archive's library loses its own buffer when there is no memory to unpack a member. */
        EXPECT_LE(left, std::string(path) == "s.zip" ? 100000 : 0) << path;
        EXPECT_GT(failed, 20) << path;
        EXPECT_GT(read, 0) << path;
        EXPECT_LT(read, failed) << path;
    }
}

TEST_F(skin_part_memory, a_page_with_a_wrong_checksum_gives_all_back)
{
    const std::string bad = skin_xml("<text x=\"1\" y=\"2\" width=\"9\" height=\"9\" text=\"a\"/>");
    maker_zip *zip = maker_zip_open("bad.zip");
    ASSERT_NE(zip, nullptr);
    ASSERT_EQ(maker_zip_add_bad_crc(zip, "list1.xml", bad.data(), bad.size()), 0);
    ASSERT_EQ(maker_zip_close(zip), 0);
    const int64_t before = allocated_bytes;
    skin_part *part = skin_read_part("bad.zip", "list");
    EXPECT_TRUE(!part || part->count == 0);
    (void)skin_free_part(part);
    EXPECT_EQ(allocated_bytes, before);
}
#endif
