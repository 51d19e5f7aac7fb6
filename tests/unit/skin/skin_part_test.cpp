/* Parts: variants, their order, their images, and packages that are refused. */
#include "skin/skin.h"

#include "platform/base/fault.h"
#include "platform/image/image.h"
#include "skin/skin_parse.h"
#include "skin/skin_read.h"
#include "support/allocations.h"
#include "support/bytes_read.h"
#include "support/seed.h"
#include "unit/skin/skin_part_fixture.h"

#include <cstring>
#include <sys/resource.h>

TEST_F(skin_part_test, puts_variants_into_ascending_order)
{
    pack({{"list-2.xml", skin_xml("")},
          {"list-1.xml", skin_xml("")},
          {"play.xml", skin_xml("")},
          {"list007.txt", skin_xml("")},
          {"List.xml", skin_xml("")},
          {"sub/list.xml", skin_xml("")}});
    for (const char *path : kinds)
        EXPECT_EQ(variants(read_part(path)), (std::vector{1, 2, 7})) << path;
}

TEST_F(skin_part_test, keeps_equal_variants_in_the_order_of_the_package)
{
    make_zip("s.zip", {{"list2.xml", skin_xml("<a/>")},
                       {"list-0.xml", skin_xml("<b/>")},
                       {"list.xml", skin_xml("<c/>")},
                       {"list-2.txt", skin_xml("<d/>")}});
    const part_owner part = read_part("s.zip");
    ASSERT_EQ(variants(part), (std::vector{0, 0, 2, 2}));
    const char *first[] = {"b", "c", "a", "d"};
    for (uint32_t i = 0; i < 4; i++)
        EXPECT_STREQ(part->pages[i].elements[0].name, first[i]);
}

TEST_F(skin_part_test, sorts_the_largest_variants_right)
{
    pack({{"list2147483647.xml", skin_xml("")},
          {"list1.xml", skin_xml("")},
          {"list99999999999999999999.txt", skin_xml("")},
          {"list0.xml", skin_xml("")}});
    for (const char *path : kinds)
        EXPECT_EQ(variants(read_part(path)), (std::vector{0, 1, INT32_MAX, INT32_MAX}));
}

TEST_F(skin_part_test, tells_whether_a_part_is_there_without_parsing_it)
{
    pack({{"list-3.txt", "not xml at all"}, {"sub/play.xml", ""}, {"img.png", ""}});
    for (const char *path : kinds) {
        EXPECT_EQ(skin_is_part_available(path, "list"), 1);
        EXPECT_EQ(skin_is_part_available(path, "play"), 0);
        EXPECT_EQ(skin_is_part_available(path, "lis"), 0);
        EXPECT_EQ(read_part(path), nullptr);
    }
    EXPECT_EQ(skin_is_part_available("missing", "list"), 0);
}

TEST_F(skin_part_test, is_null_without_a_file_of_that_name)
{
    pack({{"play.xml", skin_xml("")}});
    for (const char *path : kinds)
        EXPECT_EQ(read_part(path), nullptr);
    EXPECT_EQ(read_part("missing.zip"), nullptr);
}

TEST_F(skin_part_test, leaves_out_files_that_do_not_parse)
{
    pack({{"list.xml", "<skin version=\"0.2\"/>"},
          {"list1.xml", skin_xml("<img x=\"12px\"/>")},
          {"list2.xml", skin_xml("<img src=\"a.png\">")},
          {"list3.xml", skin_xml("<img/>")},
          {"list4.xml", std::string(skin_limit_text + 1, ' ')}});
    for (const char *path : kinds)
        EXPECT_EQ(variants(read_part(path)), std::vector{3});
}

TEST_F(skin_part_test, leaves_out_a_file_with_a_wrong_checksum)
{
    const std::string good = skin_xml("<a/>"), bad = skin_xml("<b/>");
    maker_zip *zip = maker_zip_open("s.zip");
    ASSERT_NE(zip, nullptr);
    ASSERT_EQ(maker_zip_add_bad_crc(zip, "list1.xml", bad.data(), bad.size()), 0);
    ASSERT_EQ(maker_zip_add_text(zip, "list2.xml", good.c_str()), 0);
    ASSERT_EQ(maker_zip_close(zip), 0);
    EXPECT_EQ(variants(read_part("s.zip")), std::vector{2});
}

TEST_F(skin_part_test, reads_a_file_whose_name_only_fits_its_buffer)
{
    make_zip("s.zip", {{"list" + std::string(500, '0') + "5.xml", skin_xml("")},
                       {"list" + std::string(507, '0') + "6.xml", skin_xml("")}});
    EXPECT_EQ(variants(read_part("s.zip")), std::vector{5});
}

TEST_F(skin_part_test, loads_an_image_for_each_element_that_names_it)
{
    pack({{"list.xml", skin_xml("<img src=\"i/a.png\"/><button src=\"i/a.png\" width=\"50\"/>"
                                "<scroll src=\"b.png\" height=\"7\"/><rect/>")},
          {"i/a.png", make_png(30, 10)},
          {"b.png", make_png(4, 5, 0x80FF0000)},
          {"unused.png", "not an image"}});
    for (const char *path : kinds) {
        const part_owner part = read_part(path);
        ASSERT_NE(part, nullptr) << path;
        const skin_element *first = element_of(part, 0), *second = element_of(part, 1);
        ASSERT_NE(first->image, nullptr);
        ASSERT_NE(second->image, nullptr);
        EXPECT_NE(first->image, second->image);
        EXPECT_EQ(first->width, 30);
        EXPECT_EQ(first->height, 10);
        EXPECT_EQ(second->width, 50);
        EXPECT_EQ(second->height, 10);
        EXPECT_EQ(second->image->width, 30);
        EXPECT_EQ(element_of(part, 2)->width, 4);
        EXPECT_EQ(element_of(part, 2)->height, 7);
        EXPECT_EQ(element_of(part, 3)->image, nullptr);
        EXPECT_EQ(element_of(part, 3)->width, 0);
        EXPECT_NE(first->image->rgb565, nullptr) << "not reduced to the screen's depth";
        EXPECT_TRUE(element_of(part, 2)->image->has_alpha);
    }
}

TEST_F(skin_part_test, leaves_elements_without_image_whose_file_is_missing)
{
    pack({{"list.xml", skin_xml("<img src=\"none.png\"/><img src=\"./a.png\"/>"
                                "<img src=\"A.png\"/><img src=\"../s/a.png\"/><img src=\"\"/>")},
          {"a.png", make_png(1, 1)}});
    for (const char *path : kinds) {
        const part_owner part = read_part(path);
        ASSERT_NE(part, nullptr);
        for (uint32_t i = 0; i < part->pages[0].element_count; i++)
            EXPECT_EQ(element_of(part, i)->image, nullptr) << element_of(part, i)->src;
    }
}

TEST_F(skin_part_test, is_null_when_an_image_does_not_decode)
{
    const std::string png = make_png(20, 20);
    const std::string broken[] = {"", "no image", png.substr(0, png.size() / 2), png.substr(0, 8)};
    for (const std::string &content : broken) {
        pack({{"list.xml", skin_xml("<img src=\"a.png\"/>")},
              {"list2.xml", skin_xml("")},
              {"play.xml", skin_xml("")},
              {"a.png", content}});
        for (const char *path : kinds) {
            EXPECT_EQ(read_part(path), nullptr) << content.size();
            EXPECT_NE(read_part(path, "play"), nullptr) << "another part does not use it";
        }
    }
}

TEST_F(skin_part_test, is_null_when_an_image_has_a_wrong_checksum)
{
    const std::string text = skin_xml("<img src=\"a.png\"/>"), png = make_png(20, 20);
    maker_zip *zip = maker_zip_open("s.zip");
    ASSERT_NE(zip, nullptr);
    ASSERT_EQ(maker_zip_add_text(zip, "list.xml", text.c_str()), 0);
    ASSERT_EQ(maker_zip_add_bad_crc(zip, "a.png", png.data(), png.size()), 0);
    ASSERT_EQ(maker_zip_close(zip), 0);
    EXPECT_EQ(read_part("s.zip"), nullptr);
}

TEST_F(skin_part_test, takes_the_last_of_two_images_of_one_name)
{
    make_zip("s.zip", {{"list.xml", skin_xml("<img src=\"a.png\"/>")},
                       {"a.png", make_png(3, 3)},
                       {"a.png", make_png(5, 5)}});
    const part_owner part = read_part("s.zip");
    ASSERT_NE(part, nullptr);
    EXPECT_EQ(element_of(part, 0)->image->width, 5);
}

TEST_F(skin_part_test, refuses_images_that_are_too_large)
{
    std::string huge = make_png(2, 2);
    const char size[] = {0, 0, static_cast<char>(0xEA),
                         0x60}; /* 60 000, with a checksum that fits */
    memcpy(huge.data() + 16, size, 4);
    memcpy(huge.data() + 20, size, 4);
    pack({{"list.xml", skin_xml("<img src=\"a.png\"/>")}, {"a.png", huge}});
    for (const char *path : kinds)
        EXPECT_EQ(read_part(path), nullptr);
}

TEST_F(skin_part_test, bounds_the_images_of_a_part_together)
{
    const std::string png = make_png(1024, 1024);
    std::string text;
    for (uint64_t i = 0; i < skin_limit_pixels / (1024 * 1024); i++)
        text += "<img src=\"a.png\"/>";
    pack({{"list.xml", skin_xml(text)},
          {"play.xml", skin_xml(text + "<img src=\"a.png\"/>")},
          {"a.png", png}});
    for (const char *path : kinds) {
        EXPECT_NE(read_part(path), nullptr);
        EXPECT_EQ(read_part(path, "play"), nullptr);
    }
}

TEST_F(skin_part_test, keeps_the_lowest_variants_of_too_many)
{
    members files;
    std::vector<int> lowest;
    for (uint32_t i = 0; i < skin_limit_variants + 10; i++)
        files.push_back({"list" + std::to_string(i) + ".xml", skin_xml("")});
    for (uint32_t i = 0; i < skin_limit_variants; i++)
        lowest.push_back(static_cast<int>(i));
    make_zip("up.zip", files);
    EXPECT_EQ(variants(read_part("up.zip")), lowest);
    std::reverse(files.begin(), files.end());
    make_zip("down.zip", files);
    fault_list notes;
    const part_owner part(skin_read_part_watched("down.zip", "list", &notes.watcher));
    EXPECT_EQ(variants(part), lowest);
    ASSERT_EQ(notes.faults.size(), 10u) << "each that is left out is told";
    EXPECT_EQ(notes.faults[0].code, "too-many");
    EXPECT_EQ(notes.faults[0].file, "list265.xml");
}

TEST_F(skin_part_test, does_not_mind_odd_names_of_other_members)
{
    for (const char *name : {"../other.png", "/other.png", "a/../../other.png"}) {
        make_zip("s.zip", {{name, make_png(1, 1)}, {"list.xml", skin_xml("")}});
        EXPECT_NE(read_part("s.zip"), nullptr) << name;
    }
}

TEST_F(skin_part_test, refuses_bombs_in_bounded_time_and_memory)
{
    maker_zip *zip = maker_zip_open("s.zip");
    ASSERT_NE(zip, nullptr);
    char name[32];
    for (int i = 0; i < 40; i++) {
        snprintf(name, sizeof(name), "list%d.xml", i);
        ASSERT_EQ(maker_zip_add_bomb(zip, name, ' ', 20u << 20), 0);
    }
    const std::string text = skin_xml("<img src=\"a.png\"/>");
    ASSERT_EQ(maker_zip_add_text(zip, "play.xml", text.c_str()), 0);
    ASSERT_EQ(maker_zip_add_bomb(zip, "a.png", 'x', 200u << 20), 0);
    ASSERT_EQ(maker_zip_close(zip), 0);
    rusage before = {}, after = {};
    ASSERT_EQ(getrusage(RUSAGE_SELF, &before), 0);
    EXPECT_EQ(read_part("s.zip"), nullptr);
    EXPECT_EQ(read_part("s.zip", "play"), nullptr);
    ASSERT_EQ(getrusage(RUSAGE_SELF, &after), 0);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 64 * 1024) << "KiB";
}

TEST_F(skin_part_test, leaves_no_file_open)
{
    const std::string png = make_png(9, 9);
    pack({{"list.xml", skin_xml("<img src=\"a.png\"/>")},
          {"play.xml", skin_xml("<img src=\"b.png\"/>")},
          {"broken.xml", skin_xml("<img")},
          {"a.png", png},
          {"b.png", png.substr(0, 40)}});
    const int before = count_open_files();
    for (const char *path : kinds)
        for (const char *part : {"list", "play", "broken", "none"}) {
            (void)read_part(path, part);
            (void)skin_is_part_available(path, part);
            EXPECT_EQ(count_open_files(), before) << path << " " << part;
        }
}

TEST_F(skin_part_test, gives_up_cleanly_wherever_the_platform_fails)
{
    pack({{"list.xml", skin_xml("<img src=\"a.png\"/>")},
          {"list1.xml", skin_xml("<img src=\"b/c.png\"/>")},
          {"a.png", make_png(3, 3)},
          {"b/c.png", make_png(3, 3)}});
    for (const char *operation :
         {"file_fopen", "file_list_dir", "image_read_with_cb", "image_dither"})
        for (const char *path : kinds) {
            const int before = count_open_files();
            bool whole = false;
            for (int call = 1; call < 20 && !whole; call++) {
                fault_set((std::string(operation) + ":" + std::to_string(call)).c_str());
                const part_owner part = read_part(path);
                whole = part && part->count == 2 && element_of(part, 0)->image;
                EXPECT_EQ(count_open_files(), before) << operation << call;
            }
            fault_set(nullptr);
            EXPECT_TRUE(whole) << operation << " " << path;
        }
}

TEST_F(skin_part_test, frees_nothing_of_nothing)
{
    EXPECT_EQ(skin_free_part(nullptr), 0);
}

TEST_F(skin_part_test, loads_a_skin_of_a_megabyte_soon)
{
    /* Noise does not pack, so the pictures are as large in the archive as they are. */
    std::string text;
    members files = {{"list.xml", ""}};
    uint32_t noise = seed_or(1);
    for (int i = 0; i < 4; i++) {
        std::string pixels;
        for (int k = 0; k < 320 * 240; k++) {
            noise = noise * 1664525 + 1013904223;
            pixels += {static_cast<char>(noise >> 24), static_cast<char>(noise >> 16),
                       static_cast<char>(noise >> 8)};
        }
        png_image picture = {};
        picture.version = PNG_IMAGE_VERSION;
        picture.width = 320;
        picture.height = 240;
        picture.format = PNG_FORMAT_RGB;
        png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(picture);
        std::string png(size, '\0');
        ASSERT_NE(
            png_image_write_to_memory(&picture, png.data(), &size, 0, pixels.data(), 0, nullptr),
            0);
        png.resize(size);
        files.push_back({std::to_string(i) + ".png", png});
        text += "<img src=\"" + std::to_string(i) + ".png\"/>";
    }
    files[0].second = skin_xml(text);
    pack(files);
    const int64_t before = bytes_read();
    EXPECT_NE(read_part("s.zip"), nullptr);
    EXPECT_LT(bytes_read() - before, 2 * 1024 * 1024) << "the package is read more than once";
}

TEST_F(skin_part_test, keeps_no_memory_of_two_hundred_reloads)
{
    pack({{"list.xml",
           skin_xml("<img src=\"a.png\" action=\"x\"/><list font_size=\"20\" height=\"90\"/>")},
          {"list-1.xml", skin_xml("<img src=\"a.png\" x=\"12px\"/>")},
          {"play.xml", skin_xml("<img src=\"a.png\"/><img src=\"broken.png\"/>")},
          {"a.png", make_png(64, 64, 0x80112233)},
          {"broken.png", make_png(64, 64).substr(0, 60)}});
    const auto reload = [this] {
        for (const char *path : kinds) {
            EXPECT_NE(read_part(path), nullptr);
            EXPECT_EQ(part_owner(skin_read_part(path, "play")), nullptr);
        }
    };
    reload();
    const int64_t before = allocated_bytes; /* the sanitizers look for leaks themselves */
    for (int i = 0; i < 200; i++)
        reload();
    EXPECT_EQ(allocated_bytes, before);
}

TEST_F(skin_part_test, tells_a_watcher_about_files_and_images)
{
    pack({{"list.xml", skin_xml("<img src=\"a.png\"/>")},
          {"list2.xml", "<skin>"},
          {"a.png", "no image"}});
    for (const char *path : kinds) {
        fault_list notes;
        EXPECT_EQ(skin_read_part_watched(path, "list", &notes.watcher), nullptr);
        ASSERT_EQ(notes.faults.size(), 2u);
        EXPECT_EQ(notes.faults[0].file, "list2.xml");
        EXPECT_EQ(notes.faults[0].code, "bad-version");
        EXPECT_EQ(notes.faults[1].file, "a.png");
        EXPECT_EQ(notes.faults[1].code, "image");
    }
}

TEST_F(skin_part_test, tells_a_watcher_which_files_became_pages)
{
    pack({{"list1.xml", skin_xml("")}, {"list2.xml", "<skin>"}, {"play.xml", skin_xml("")}});
    for (const char *path : kinds) {
        std::string log;
        const skin_watcher watcher = {
            .user = &log,
            .file_begin =
                [](void *user, const char *file, int32_t variant) {
                    *static_cast<std::string *>(user) +=
                        std::string(file) + " " + std::to_string(variant);
                },
            .file_end =
                [](void *user, const char *, bool taken) {
                    *static_cast<std::string *>(user) += taken ? " taken;" : " refused;";
                },
        };
        EXPECT_NE(part_owner(skin_read_part_watched(path, "list", &watcher)), nullptr);
        EXPECT_EQ(log, "list1.xml 1 taken;list2.xml 2 refused;");
    }
}

TEST_F(skin_part_test, tells_a_watcher_about_every_image_that_fails)
{
    pack({{"list.xml", skin_xml("<img src=\"a.png\"/><img src=\"b.png\"/><img src=\"c.png\"/>")},
          {"a.png", "no image"},
          {"b.png", make_png(1, 1)},
          {"c.png", ""}});
    for (const char *path : kinds) {
        fault_list notes;
        EXPECT_EQ(skin_read_part_watched(path, "list", &notes.watcher), nullptr);
        ASSERT_EQ(notes.faults.size(), 2u);
        EXPECT_EQ(notes.faults[0].file, "a.png");
        EXPECT_EQ(notes.faults[1].file, "c.png");
    }
}

TEST_F(skin_part_test, tells_a_watcher_once_about_each_of_the_first_images_that_fail)
{
    std::string text;
    members files = {{"list.xml", ""}};
    for (int i = 0; i < 100; i++) {
        const std::string name = "b" + std::to_string(100 + i) + ".png";
        text += "<img src=\"" + name + "\"/><img src=\"" + name + "\"/>";
        files.push_back({name, "no image"});
    }
    files[0].second = skin_xml(text);
    pack(files);
    for (const char *path : kinds) {
        fault_list notes;
        EXPECT_EQ(skin_read_part_watched(path, "list", &notes.watcher), nullptr);
        ASSERT_EQ(notes.faults.size(), 16u);
        for (size_t i = 1; i < notes.faults.size(); i++)
            EXPECT_NE(notes.faults[i].file, notes.faults[i - 1].file);
    }
}

TEST_F(skin_part_test, refuses_a_small_image_that_is_loaded_without_end)
{
    std::string text;
    for (int i = 0; i < 1000; i++)
        text += "<img src=\"a.png\"/>";
    members files = {{"list.xml", skin_xml(text)}};
    for (int i = 0; i < 20; i++)
        files.push_back({"a.png", make_png(1, 1)});
    make_zip("s.zip", files);
    EXPECT_EQ(read_part("s.zip"), nullptr);
    files.resize(10);
    make_zip("few.zip", files);
    EXPECT_NE(read_part("few.zip"), nullptr);
}

/* Sets a byte behind every signature of the archive's directory and of its members. */
static void patch_entries(const char *path, size_t in_directory, size_t in_member, char value)
{
    std::string bytes;
    FILE *file = fopen(path, "rb");
    ASSERT_NE(file, nullptr);
    for (int c = 0; (c = fgetc(file)) != EOF;)
        bytes += static_cast<char>(c);
    ASSERT_EQ(fclose(file), 0);
    for (size_t at = 0; (at = bytes.find("PK\x01\x02", at)) != std::string::npos; at++)
        bytes[at + in_directory] = value;
    for (size_t at = 0; (at = bytes.find("PK\x03\x04", at)) != std::string::npos; at++)
        bytes[at + in_member] = value;
    write_file(path, bytes);
}

TEST_F(skin_part_test, tells_a_watcher_why_a_member_does_not_open)
{
    const struct {
        size_t in_directory, in_member;
        char value;
        const char *reason;
    } cases[] = {{8, 6, 1, "the file is encrypted"},
                 {10, 8, 12, "the file is neither stored nor deflated"}};
    for (const auto &it : cases) {
        make_zip("s.zip", {{"list.xml", skin_xml("")}});
        patch_entries("s.zip", it.in_directory, it.in_member, it.value);
        fault_list notes;
        EXPECT_EQ(skin_read_part_watched("s.zip", "list", &notes.watcher), nullptr);
        ASSERT_EQ(notes.faults.size(), 1u);
        EXPECT_EQ(notes.faults[0].reason, it.reason);
    }
}

/* As archivers write it that are fed by a pipe. */
TEST_F(skin_part_test, tells_a_watcher_of_sizes_that_only_large_archives_have)
{
    make_zip("s.zip", {{"list.xml", skin_xml("")}});
    for (size_t byte = 0; byte < 4; byte++)
        patch_entries("s.zip", 24 + byte, 22 + byte, '\xff');
    fault_list notes;
    EXPECT_EQ(skin_read_part_watched("s.zip", "list", &notes.watcher), nullptr);
    ASSERT_EQ(notes.faults.size(), 1u);
    EXPECT_EQ(notes.faults[0].reason, "the file's size is that of a large archive (zip64)");
}

TEST_F(skin_part_test, does_not_wait_at_a_pipe)
{
    ASSERT_EQ(mkfifo("s.zip", 0644), 0);
    EXPECT_EQ(read_part("s.zip"), nullptr);
}

TEST_F(skin_part_test, tells_a_watcher_why_a_package_is_refused)
{
    fault_list notes;
    EXPECT_EQ(skin_read_part_watched("missing", "list", &notes.watcher), nullptr);
    ASSERT_EQ(notes.faults.size(), 1u);
    EXPECT_EQ(notes.faults[0].code, "package");
}
