/* image_dither: pictures at the screen's depth. */
#include "platform/image/image.h"

#include "platform/base/fault.h"
#include "platform/image/image_span.h"
#include "unit/platform/image/image_fixture.h"

#include <gtest/gtest.h>
#include <set>

TEST(image_dither, brings_an_opaque_picture_to_16_bits)
{
    const image_owner picture = image_from(maker_gradient(64, 64));
    ASSERT_EQ(image_dither(picture.get()), 0);
    EXPECT_NE(picture->rgb565, nullptr);
    EXPECT_EQ(picture->argb, nullptr);
    EXPECT_EQ(picture->spans, nullptr);
    EXPECT_FALSE(picture->has_alpha);
}

TEST(image_dither, every_pixel_is_one_of_the_two_nearest_levels)
{
    const maker_picture made = maker_gradient(100, 80);
    const image_owner picture = image_from(made);
    ASSERT_EQ(image_dither(picture.get()), 0);
    for (size_t i = 0; i < made.argb.size(); i++) {
        const uint16_t pixel = picture->rgb565[i];
        const int steps[] = {pixel >> 11, pixel >> 5 & 63, pixel & 31};
        const int sizes[] = {8, 4, 8};
        for (int c = 0; c < 3; c++) {
            const int value = static_cast<int>(made.argb[i] >> (16 - 8 * c) & 0xFF);
            ASSERT_GE(steps[c], value / sizes[c]);
            ASSERT_LE(steps[c], value / sizes[c] + 1);
        }
    }
}

TEST(image_dither, a_grey_between_two_levels_becomes_both_in_its_share)
{
    for (int value = 0; value <= 248; value++) {
        const image_owner picture =
            image_from(maker_plain(16, 16, 0xFF000000u | static_cast<uint32_t>(value) * 0x010101u));
        ASSERT_EQ(image_dither(picture.get()), 0);
        int red = 0, green = 0, blue = 0;
        for (int i = 0; i < 256; i++) {
            red += (picture->rgb565[i] >> 11) * 8;
            green += (picture->rgb565[i] >> 5 & 63) * 4;
            blue += (picture->rgb565[i] & 31) * 8;
        }
        EXPECT_EQ(red, value * 256);
        EXPECT_EQ(green, value * 256);
        EXPECT_EQ(blue, value * 256);
    }
}

TEST(image_dither, colours_of_the_screen_stay_flat)
{
    for (const uint32_t argb : {0xFF000000u, 0xFFFFFFFFu, 0xFF08F880u, 0xFFF80408u}) {
        const image_owner picture = image_from(maker_plain(16, 16, argb));
        ASSERT_EQ(image_dither(picture.get()), 0);
        const std::set<uint16_t> seen(picture->rgb565, picture->rgb565 + 256);
        EXPECT_EQ(seen.size(), 1u) << std::hex << argb;
    }
}

TEST(image_dither, twice_is_harmless)
{
    const image_owner opaque = image_from(maker_gradient(8, 8));
    const image_owner with_alpha = image_from(maker_disc(20, 20, 0xFFFFFFFF));
    const image_owner empty = image_from(maker_plain(8, 8, 0));
    for (image *picture : {opaque.get(), with_alpha.get(), empty.get()}) {
        ASSERT_EQ(image_dither(picture), 0);
        const image first = *picture;
        ASSERT_EQ(image_dither(picture), 0);
        EXPECT_EQ(picture->rgb565, first.rgb565);
        EXPECT_EQ(picture->spans, first.spans);
    }
}

TEST(image_dither, keeps_32_bits_where_alpha_is)
{
    const maker_picture made = maker_disc(40, 40, 0xFFFF8000);
    const image_owner picture = image_from(made);
    ASSERT_EQ(image_dither(picture.get()), 0);
    EXPECT_TRUE(picture->has_alpha);
    EXPECT_EQ(picture->rgb565, nullptr);
    ASSERT_NE(picture->argb, nullptr);
    for (size_t i = 0; i < made.argb.size(); i++)
        ASSERT_EQ(picture->argb[i], premultiplied(made.argb[i]));
}

TEST(image_dither, spans_cover_every_visible_pixel_once_in_order)
{
    for (const maker_picture &made :
         {maker_disc(60, 50, 0xFF00FF00), maker_speckles(33, 20), maker_plain(5, 5, 0x80808080)}) {
        const image_owner picture = image_from(made);
        ASSERT_EQ(image_dither(picture.get()), 0);
        std::vector<int> covered(made.argb.size());
        int32_t last = -1;
        for (uint32_t i = 0; i < picture->span_count; i++) {
            const image_span &span = picture->spans[i];
            ASSERT_GE(span.length, 1);
            ASSERT_LE(span.x + span.length, made.width);
            ASSERT_GT(span.y * made.width + span.x, last);
            last = span.y * made.width + span.x + span.length - 1;
            for (int32_t x = 0; x < span.length; x++) {
                const size_t at = static_cast<size_t>(span.y * made.width + span.x + x);
                covered[at]++;
                if (span.opaque) {
                    ASSERT_EQ(made.argb[at] >> 24, 255u);
                }
            }
        }
        for (size_t i = 0; i < covered.size(); i++) {
            const bool visible = made.argb[i] >> 24 != 0;
            ASSERT_LE(covered[i], 1);
            ASSERT_GE(covered[i], visible ? 1 : 0);
        }
    }
}

TEST(image_dither, a_button_has_few_spans_mostly_opaque)
{
    const image_owner picture = image_from(maker_disc(48, 48, 0xFFFFFFFF));
    ASSERT_EQ(image_dither(picture.get()), 0);
    EXPECT_LE(picture->span_count, 48u * 3);
    uint32_t opaque = 0;
    for (uint32_t i = 0; i < picture->span_count; i++)
        opaque += picture->spans[i].opaque ? picture->spans[i].length : 0u;
    EXPECT_GT(opaque, 1300u); /* of 1660 pixels */
}

TEST(image_dither, a_picture_made_opaque_by_hand_counts_as_opaque)
{
    const image_owner picture(image_create(4, 4));
    for (int i = 0; i < 16; i++)
        picture->argb[i] = 0xFF112233;
    ASSERT_EQ(image_dither(picture.get()), 0);
    EXPECT_FALSE(picture->has_alpha);
    EXPECT_NE(picture->rgb565, nullptr);
}

TEST(image_dither, fails_without_a_picture_and_on_request)
{
    EXPECT_EQ(image_dither(nullptr), -1);
    const image_owner picture = image_from(maker_gradient(4, 4));
    fault_set("image_dither");
    EXPECT_EQ(image_dither(picture.get()), -1);
    EXPECT_NE(picture->argb, nullptr);
    fault_set("");
    EXPECT_EQ(image_dither(picture.get()), 0);
}
