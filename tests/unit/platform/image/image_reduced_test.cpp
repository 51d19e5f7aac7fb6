/* image: pictures reduced while they are read. */
#include "platform/base/fault.h"
#include "support/allocations.h"
#include "support/seed.h"
#include "unit/platform/image/image_fixture.h"

#include <climits>

struct reduced_picture {
    image_owner picture;
    int32_t width = -1;
    int32_t height = -1;
};

static reduced_picture reduced(const maker_bytes &bytes, int32_t side)
{
    reduced_picture made;
    made.picture.reset(
        image_read_reduced(".png", bytes.data(), bytes.size(), side, &made.width, &made.height));
    return made;
}

static int32_t factor_of(int32_t width, int32_t height, int32_t side)
{
    return std::max(1, std::max(width, height) / side);
}

static uint32_t block_average(const image *whole, int32_t left, int32_t top, int32_t factor)
{
    uint32_t made = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        uint64_t sum = 0;
        uint64_t count = 0;
        for (int32_t y = top; y < std::min(top + factor, whole->height); y++)
            for (int32_t x = left; x < std::min(left + factor, whole->width); x++, count++)
                sum += whole->argb[static_cast<size_t>(y) * static_cast<size_t>(whole->width) +
                                   static_cast<size_t>(x)] >>
                           shift &
                       0xFF;
        made |= static_cast<uint32_t>((2 * sum + count) / (2 * count)) << shift;
    }
    return made;
}

/* Every pixel the average of its block, within `tolerance`. */
static void expect_averages(const image *made, const image *whole, int32_t factor, int tolerance)
{
    ASSERT_NE(made, nullptr);
    ASSERT_NE(whole, nullptr);
    ASSERT_EQ(made->width, (whole->width + factor - 1) / factor);
    ASSERT_EQ(made->height, (whole->height + factor - 1) / factor);
    bool opaque = true;
    const uint32_t *at = made->argb;
    for (int32_t y = 0; y < made->height; y++)
        for (int32_t x = 0; x < made->width; x++, at++) {
            const uint32_t wanted = block_average(whole, x * factor, y * factor, factor);
            ASSERT_LE(difference(*at, wanted), tolerance) << "pixel " << x << ", " << y;
            opaque = opaque && *at >> 24 == 255;
        }
    EXPECT_EQ(made->has_alpha, !opaque);
}

static void expect_size(const reduced_picture &made, int32_t width, int32_t height)
{
    EXPECT_EQ(made.width, width);
    EXPECT_EQ(made.height, height);
}

TEST(image_reduced, png_of_every_kind_is_averaged_exactly)
{
    const maker_picture pictures[] = {maker_gradient(37, 21), maker_speckles(9, 30),
                                      maker_plain(1, 1, 0xFF804020), maker_disc(16, 16, 0x80FF8040),
                                      maker_speckles(23, 23, 7)};
    for (const maker_png_options &options : every_png())
        for (const maker_picture &picture : pictures)
            for (const int32_t side : {1, 2, 3, 7, 10, 18, 19, 100}) {
                SCOPED_TRACE(testing::Message()
                             << "kind " << static_cast<int>(options.kind) << " depth "
                             << options.depth << " interlaced " << options.interlaced
                             << options.transparent << " side " << side);
                const maker_bytes bytes = maker_png(picture, options);
                const reduced_picture made = reduced(bytes, side);
                const int32_t factor =
                    options.interlaced ? 1 : factor_of(picture.width, picture.height, side);
                expect_averages(made.picture.get(), image_of(bytes).get(), factor, 0);
                expect_size(made, picture.width, picture.height);
            }
}

TEST(image_reduced, blocks_of_any_size_are_averaged_exactly)
{
    const maker_picture pictures[] = {maker_speckles(1500, 3), maker_speckles(3, 1500),
                                      maker_plain(1100, 300, 0xFFFFFFFF)};
    for (const maker_picture &picture : pictures)
        for (const int32_t side : {1, 2, 5}) {
            const maker_bytes bytes = maker_png(picture);
            expect_averages(reduced(bytes, side).picture.get(), image_of(bytes).get(),
                            factor_of(picture.width, picture.height, side), 0);
        }
}

TEST(image_reduced, a_picture_whose_averages_are_opaque_has_no_alpha)
{
    maker_picture picture = maker_plain(12, 12, 0xFF336699);
    picture.argb[40] = 0xFE336699;
    EXPECT_TRUE(reduced(maker_png(picture), 12).picture->has_alpha);
    EXPECT_FALSE(reduced(maker_png(picture), 2).picture->has_alpha);
    picture.argb[40] = 0;
    EXPECT_TRUE(reduced(maker_png(picture), 2).picture->has_alpha);
}

static std::vector<maker_jpeg_options> every_jpeg()
{
    using kind = maker_jpeg_kind;
    const maker_jpeg_options kinds[] = {{},
                                        {.full_chroma = false},
                                        {.kind = kind::grey},
                                        {.kind = kind::cmyk},
                                        {.kind = kind::cmyk, .adobe = false},
                                        {.kind = kind::ycck},
                                        {.restart_every = 1}};
    std::vector<maker_jpeg_options> all;
    for (maker_jpeg_options options : kinds)
        for (const bool progressive : {false, true}) {
            options.progressive = progressive;
            all.push_back(options);
        }
    return all;
}

/* The library reduces by 1, 2, 4 and 8. */
static int32_t jpeg_factor(int32_t width, int32_t height, int32_t side)
{
    const int32_t allowed = factor_of(width, height, side);
    return allowed >= 8 ? 8 : allowed >= 4 ? 4 : allowed >= 2 ? 2 : 1;
}

TEST(image_reduced, jpeg_of_every_kind_comes_close_to_its_averages)
{
    const maker_picture pictures[] = {maker_gradient(253, 187), maker_gradient(65, 129),
                                      maker_squares(200, 120, 40, 0xFFE04020, 0xFF2060C0),
                                      maker_plain(1, 1, 0xFF808080)};
    for (const maker_jpeg_options &options : every_jpeg())
        for (const maker_picture &picture : pictures)
            for (const int32_t side : {1, 20, 33, 60, 64, 65, 126, 127, 300}) {
                SCOPED_TRACE(testing::Message()
                             << "kind " << static_cast<int>(options.kind) << options.progressive
                             << options.full_chroma << options.adobe << " width " << picture.width
                             << " side " << side);
                const maker_bytes bytes = maker_jpeg(picture, options);
                const reduced_picture made = reduced(bytes, side);
                const int32_t factor = jpeg_factor(picture.width, picture.height, side);
                /* Whole, colours of half resolution run over edges; reduced, they need not. */
                const image_owner whole =
                    options.full_chroma || factor == 1 ? image_of(bytes) : image_from(picture);
                expect_averages(made.picture.get(), whole.get(), factor, factor == 1 ? 0 : 12);
                expect_size(made, picture.width, picture.height);
            }
}

TEST(image_reduced, the_longer_side_keeps_what_was_asked_for)
{
    for (const int32_t length : {640, 641, 1279, 1280, 1281, 1919, 2560, 4096})
        for (const bool jpeg : {false, true}) {
            const maker_picture picture = maker_plain(length, 3, 0xFF112233);
            const reduced_picture made =
                reduced(jpeg ? maker_jpeg(picture) : maker_png(picture), 640);
            ASSERT_TRUE(made.picture);
            EXPECT_GE(made.picture->width, 640);
            EXPECT_LE(made.picture->width, 1280);
            EXPECT_GE(made.picture->height, 1);
            expect_size(made, length, 3);
        }
}

static void expect_same(const image *made, const image *whole)
{
    ASSERT_NE(made, nullptr);
    ASSERT_NE(whole, nullptr);
    ASSERT_EQ(made->width, whole->width);
    ASSERT_EQ(made->height, whole->height);
    EXPECT_EQ(made->has_alpha, whole->has_alpha);
    const size_t count = static_cast<size_t>(whole->width) * static_cast<size_t>(whole->height);
    EXPECT_TRUE(std::equal(whole->argb, whole->argb + count, made->argb));
}

TEST(image_reduced, a_picture_that_is_small_enough_comes_as_it_is)
{
    for (const maker_bytes &bytes : one_of_each()) /* 40 pixels wide */
        for (const int32_t side : {21, 40, 41, 5000, INT32_MAX}) {
            const reduced_picture made = reduced(bytes, side);
            expect_same(made.picture.get(), image_of(bytes).get());
            expect_size(made, 40, 30);
        }
}

TEST(image_reduced, gif_and_interlaced_png_come_whole)
{
    const maker_picture picture = maker_gradient(40, 30);
    for (const maker_bytes &bytes :
         {maker_gif(picture), maker_png(picture, {.interlaced = true})}) {
        const reduced_picture made = reduced(bytes, 4);
        expect_same(made.picture.get(), image_of(bytes).get());
        expect_size(made, 40, 30);
    }
}

TEST(image_reduced, files_cut_anywhere_give_what_they_give_whole)
{
    std::vector<maker_bytes> files = one_of_each();
    files.push_back(maker_png(maker_speckles(61, 47)));
    files.push_back(maker_jpeg(maker_speckles(61, 47), {.full_chroma = false}));
    for (const maker_bytes &bytes : files)
        for (size_t size = 0; size <= bytes.size(); size++) {
            /* A block of its own, so that sanitizers see a read past the end. */
            const maker_bytes cut(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(size));
            const image_owner whole = image_of(cut);
            for (const int32_t side : {1, 7, 15}) {
                const reduced_picture made = reduced(cut, side);
                touch(made.picture.get());
                ASSERT_EQ(!made.picture, !whole) << size << " of " << bytes.size();
                if (!made.picture) {
                    expect_size(made, -1, -1);
                }
            }
        }
}

TEST(image_reduced, changed_bytes_are_survived)
{
    uint32_t state = seed_or(54321);
    const auto next = [&state] {
        state = state * 1664525u + 1013904223u;
        return state >> 8;
    };
    for (const maker_bytes &bytes : one_of_each())
        for (int round = 0; round < 1000; round++) {
            maker_bytes broken = bytes;
            const uint32_t changes = 1 + next() % 8;
            for (uint32_t i = 0; i < changes; i++)
                broken[next() % broken.size()] = static_cast<uint8_t>(next());
            touch(reduced(broken, 1 + static_cast<int32_t>(next() % 20)).picture.get());
        }
}

TEST(image_reduced, the_limits_are_those_of_the_picture_in_the_file)
{
    EXPECT_EQ(reduced(maker_png(maker_plain(4097, 1, 0xFF000000)), 10).picture, nullptr);
    EXPECT_EQ(reduced(maker_jpeg(maker_plain(1, 4097, 0xFF000000)), 10).picture, nullptr);
    EXPECT_TRUE(reduced(maker_png(maker_plain(4096, 1, 0xFF000000)), 10).picture);
    EXPECT_TRUE(reduced(maker_jpeg(maker_plain(1, 4096, 0xFF000000)), 10).picture);
}

TEST(image_reduced, senseless_requests_fail)
{
    const maker_bytes bytes = maker_png(maker_gradient(4, 4));
    int32_t width = -1, height = -1;
    EXPECT_EQ(image_read_reduced(".png", nullptr, 10, 2, &width, &height), nullptr);
    EXPECT_EQ(image_read_reduced(".png", bytes.data(), 0, 2, &width, &height), nullptr);
    EXPECT_EQ(image_read_reduced(".png", bytes.data(), bytes.size(), 2, nullptr, &height), nullptr);
    EXPECT_EQ(image_read_reduced(".png", bytes.data(), bytes.size(), 2, &width, nullptr), nullptr);
    for (const int32_t side : {0, -1, INT32_MIN})
        EXPECT_EQ(reduced(bytes, side).picture, nullptr) << side;
    fault_set("image_read_reduced");
    EXPECT_EQ(reduced(bytes, 2).picture, nullptr);
    fault_set("");
    EXPECT_TRUE(reduced(bytes, 2).picture);
    EXPECT_EQ(width, -1);
    EXPECT_EQ(height, -1);
}

/* The most of the heap that a call needs at once, beside what was in use before. */
template <typename call> static int64_t peak_of(call body)
{
    const int64_t before = allocated_bytes;
    allocated_peak = before;
    body();
    return allocated_peak - before;
}

TEST(image_reduced, a_large_picture_needs_little_memory)
{
#ifndef ALLOCATIONS_ARE_COUNTED
    GTEST_SKIP() << "a sanitizer brings its own heap; the plain build counts";
#endif
    constexpr int64_t mib = 1 << 20;
    for (const int32_t side : {4000, 2559}) {
        const maker_picture picture = maker_plain(side, side, 0xFF336699);
        for (const maker_bytes &bytes :
             {maker_jpeg(picture), maker_png(picture, {.kind = maker_png_kind::palette})}) {
            const auto read_reduced = [&] { EXPECT_TRUE(reduced(bytes, 640).picture); };
            EXPECT_LT(peak_of(read_reduced), 8 * mib) << side;
            const auto read_whole = [&] { EXPECT_TRUE(image_of(bytes)); };
            EXPECT_GT(peak_of(read_whole), 24 * mib) << "the count sees pixels";
        }
    }
}

TEST(image_reduced, what_must_be_held_whole_stays_within_its_budget)
{
#ifndef ALLOCATIONS_ARE_COUNTED
    GTEST_SKIP() << "a sanitizer brings its own heap; the plain build counts";
#endif
    constexpr int64_t mib = 1 << 20;
    const struct {
        int32_t side;
        bool fits;
    } sizes[] = {{1500, true}, {3000, false}};
    for (const auto &each : sizes) {
        const maker_picture picture = maker_plain(each.side, each.side, 0xFF336699);
        for (const maker_bytes &bytes : {maker_jpeg(picture, {.progressive = true}),
                                         maker_png(picture, {.interlaced = true})}) {
            const auto read = [&] { EXPECT_EQ(reduced(bytes, 640).picture != nullptr, each.fits); };
            EXPECT_LT(peak_of(read), 20 * mib) << each.side;
        }
    }
}
