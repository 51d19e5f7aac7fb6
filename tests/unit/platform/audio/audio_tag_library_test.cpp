/* The tag library, in the file that is loaded for it. */
#include "platform/audio/audio_tag_library.h"

#include "makers/maker_id3_frame.h"
#include "platform/base/module.h"
#include "platform/base/owner.h"

#include <gtest/gtest.h>

/* "TYPE SIZE" of the picture in a frame, "none" without one. */
static std::string found_in(const std::string &frame)
{
    const owner<void, module_close> module(module_open(audio_tag_file));
    const audio_tag_library *library = audio_tag_library_of(module.get());
    if (!library)
        return "no library";
    audio_picture_type type = "untouched";
    size_t size = 12345;
    if (library->find_picture(reinterpret_cast<const unsigned char *>(frame.data()), frame.size(),
                              type, &size) == 0)
        return std::string(type) + " " + std::to_string(size);
    EXPECT_STREQ(type, "untouched");
    EXPECT_EQ(size, 12345u);
    return "none";
}

static std::string content(const std::string &type, const std::string &picture)
{
    return std::string(1, '\0') + type + std::string("\0\3\0", 3) + picture;
}

TEST(audio_tag_library, tells_type_and_size_of_the_picture)
{
    EXPECT_EQ(found_in(maker_id3_frame("APIC", content("image/png", "12345"))), "image/png 5");
    EXPECT_EQ(found_in(maker_id3_frame("APIC", content("image/jpeg", "1"))), "image/jpeg 1");
    EXPECT_EQ(found_in(maker_id3_frame("APIC", content("image/svg+xml", "1"))), "image/svg+x 1")
        << "cut to the room";
}

TEST(audio_tag_library, finds_none_where_there_is_none)
{
    EXPECT_EQ(found_in(maker_id3_frame("APIC", content("image/png", ""))), "none");
    EXPECT_EQ(found_in(maker_id3_frame("APIC", "")), "none");
    EXPECT_EQ(found_in("APIC"), "none");
    EXPECT_EQ(found_in(""), "none");
}

/* What the library unpacks is no part of the frame: whoever asks would read elsewhere. */
TEST(audio_tag_library, takes_no_picture_that_does_not_end_the_frame)
{
    const std::string large = content("image/png", std::string(100000, 'a'));
    EXPECT_EQ(found_in(maker_id3_frame("APIC", large, {.compressed = true})), "none");
    const std::string small = content("image/png", "0123456789abcdef");
    EXPECT_EQ(found_in(maker_id3_frame("APIC", small, {.compressed = true})), "none");
}
