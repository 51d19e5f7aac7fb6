/* image: decoding of real files, good and broken. */
#include "platform/image/image.h"

#include "platform/base/fault.h"
#include "support/seed.h"
#include "unit/platform/image/image_fixture.h"

#include <algorithm>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

static void expect_picture(const image *decoded, const maker_picture &wanted)
{
    ASSERT_NE(decoded, nullptr);
    ASSERT_EQ(decoded->width, wanted.width);
    ASSERT_EQ(decoded->height, wanted.height);
    ASSERT_NE(decoded->argb, nullptr);
    bool opaque = true;
    for (size_t i = 0; i < wanted.argb.size(); i++) {
        ASSERT_EQ(decoded->argb[i], premultiplied(wanted.argb[i])) << "pixel " << i;
        opaque = opaque && wanted.argb[i] >> 24 == 255;
    }
    EXPECT_EQ(decoded->has_alpha, !opaque);
}

static void expect_near(const image *decoded, const maker_picture &wanted, int tolerance)
{
    ASSERT_NE(decoded, nullptr);
    ASSERT_EQ(decoded->width, wanted.width);
    ASSERT_EQ(decoded->height, wanted.height);
    EXPECT_FALSE(decoded->has_alpha);
    for (size_t i = 0; i < wanted.argb.size(); i++)
        ASSERT_LE(difference(decoded->argb[i], wanted.argb[i]), tolerance) << "pixel " << i;
}

TEST(image_png, every_colour_type_and_depth_decodes_exactly)
{
    const maker_picture pictures[] = {maker_gradient(37, 21), maker_speckles(9, 30),
                                      maker_plain(1, 1, 0xFF804020),
                                      maker_disc(16, 16, 0x80FF8040)};
    for (const maker_png_options &options : every_png())
        for (const maker_picture &picture : pictures) {
            SCOPED_TRACE(testing::Message()
                         << "kind " << static_cast<int>(options.kind) << " depth " << options.depth
                         << " interlaced " << options.interlaced << options.transparent);
            expect_picture(image_of(maker_png(picture, options)).get(),
                           maker_png_seen(picture, options));
        }
}

TEST(image_png, a_comment_that_unpacks_to_megabytes_is_skipped)
{
    const maker_picture picture = maker_gradient(8, 8);
    const maker_bytes bytes = maker_png(picture, {.text = std::string(20'000'000, 'a')});
    ASSERT_LT(bytes.size(), 100'000u);
    expect_picture(image_of(bytes).get(), picture);
}

TEST(image_jpeg, every_kind_decodes_closely)
{
    const maker_picture picture = maker_gradient(61, 47);
    maker_picture grey = picture;
    for (uint32_t &argb : grey.argb) {
        const uint32_t value = static_cast<uint32_t>(
            (argb >> 16 & 0xFF) * 0.299 + (argb >> 8 & 0xFF) * 0.587 + (argb & 0xFF) * 0.114 + 0.5);
        argb = 0xFF000000u | value * 0x010101u;
    }
    for (const bool progressive : {false, true}) {
        SCOPED_TRACE(progressive);
        using kind = maker_jpeg_kind;
        const auto made = [&](maker_jpeg_options options) {
            options.progressive = progressive;
            return image_of(maker_jpeg(picture, options));
        };
        expect_near(made({}).get(), picture, 12);
        expect_near(made({.full_chroma = false}).get(), picture, 40);
        expect_near(made({.kind = kind::grey}).get(), grey, 8);
        expect_near(made({.kind = kind::cmyk}).get(), picture, 20);
        expect_near(made({.kind = kind::cmyk, .adobe = false}).get(), picture, 20);
        expect_near(made({.kind = kind::ycck}).get(), picture, 24);
        expect_near(made({.restart_every = 1}).get(), picture, 12);
    }
}

TEST(image_gif, decodes_exactly)
{
    const maker_picture picture = maker_squares(33, 19, 4, 0xFF102030, 0xFFF0E0D0);
    expect_picture(image_of(maker_gif(picture)).get(), picture);
    expect_picture(image_of(maker_gif(picture, {.interlaced = true})).get(), picture);
    const maker_picture tiny = maker_plain(1, 1, 0xFFABCDEF);
    expect_picture(image_of(maker_gif(tiny, {.interlaced = true})).get(), tiny);
}

TEST(image_gif, only_the_first_frame_counts)
{
    const maker_picture picture = maker_squares(20, 20, 5, 0xFF00FF00, 0xFFFF00FF);
    expect_picture(image_of(maker_gif(picture, {.frames = 5})).get(), picture);
}

/* So many empty comments stand before the first frame. */
static maker_bytes gif_with_comments(int count)
{
    maker_bytes bytes = maker_gif(maker_plain(2, 2, 0xFFFF0000));
    const size_t palette = 3u << ((bytes[10] & 7) + 1);
    const uint8_t comment[] = {0x21, 0xFE, 0x00};
    maker_bytes comments;
    for (int i = 0; i < count; i++)
        comments.insert(comments.end(), comment, comment + sizeof comment);
    bytes.insert(bytes.begin() + 13 + static_cast<ptrdiff_t>(palette), comments.begin(),
                 comments.end());
    return bytes;
}

TEST(image_gif, a_thousand_records_may_come_up_to_the_first_frame_and_no_more)
{
    EXPECT_TRUE(image_of(gif_with_comments(0)));
    EXPECT_TRUE(image_of(gif_with_comments(999)));
    EXPECT_FALSE(image_of(gif_with_comments(1000)));
}

TEST(image_gif, a_pixel_behind_the_palette_stays_empty)
{
    maker_picture picture = maker_plain(4, 1, 0);
    picture.argb = {0xFF111111, 0xFF222222, 0xFF333333, 0xFF444444};
    maker_bytes bytes = maker_gif(picture);
    ASSERT_EQ(bytes[10] & 7, 7) << "256 colours";
    bytes[10] = static_cast<uint8_t>(bytes[10] & ~7); /* two, and the others' bytes go */
    bytes.erase(bytes.begin() + 13 + 2 * 3, bytes.begin() + 13 + 256 * 3);
    picture.argb[2] = picture.argb[3] = 0;
    expect_picture(image_of(bytes).get(), picture);
}

TEST(image_gif, a_transparent_colour_stays_empty)
{
    const maker_picture picture = maker_squares(12, 12, 3, 0xFF123456, 0xFFFFFFFF);
    maker_picture wanted = picture;
    for (uint32_t &argb : wanted.argb)
        if (argb == 0xFF123456)
            argb = 0;
    expect_picture(image_of(maker_gif(picture, {.transparent = true})).get(), wanted);
}

TEST(image_gif, a_frame_stands_at_its_place_on_the_canvas)
{
    const maker_picture frame = maker_plain(4, 3, 0xFFFF0000);
    maker_picture wanted = maker_plain(10, 9, 0);
    for (int y = 0; y < 3; y++)
        for (int x = 0; x < 4; x++)
            wanted.argb[static_cast<size_t>((y + 5) * 10 + x + 2)] = 0xFFFF0000;
    const maker_gif_options options = {.left = 2, .top = 5, .canvas_width = 10, .canvas_height = 9};
    expect_picture(image_of(maker_gif(frame, options)).get(), wanted);
}

TEST(image_gif, a_canvas_grows_to_hold_its_frame)
{
    const maker_gif_options options = {.left = 2, .top = 5, .canvas_width = 1, .canvas_height = 1};
    const image_owner decoded = image_of(maker_gif(maker_plain(4, 3, 0xFFFF0000), options));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->width, 6);
    EXPECT_EQ(decoded->height, 8);
    EXPECT_TRUE(decoded->has_alpha);
}

TEST(image_read, takes_the_type_from_the_signature)
{
    const maker_picture picture = maker_gradient(10, 10);
    maker_save("wrong.gif", maker_png(picture));
    const image_owner decoded(image_read("wrong.gif"));
    expect_picture(decoded.get(), picture);
    EXPECT_EQ(image_owner(image_read("missing.png")), nullptr);
    EXPECT_EQ(image_owner(image_read(".")), nullptr);
    EXPECT_EQ(image_owner(image_read(nullptr)), nullptr);
}

TEST(image_read, opens_no_pipe)
{
    (void)remove("pipe.png"); /* of an earlier run */
    ASSERT_EQ(mkfifo("pipe.png", 0644), 0);
    EXPECT_EQ(image_owner(image_read("pipe.png")), nullptr) << "and waits for no writer";
    const int writer = open("pipe.png", O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(writer, 0);
    const maker_bytes bytes = maker_png(maker_gradient(10, 10));
    ASSERT_EQ(write(writer, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    EXPECT_EQ(image_owner(image_read("pipe.png")), nullptr) << "not even for a whole picture";
    (void)close(writer);
}

struct dripping {
    const maker_bytes *bytes;
    size_t at;
    size_t step; /* bytes a call */
    size_t end;  /* where it stops */
    int at_end;  /* what it returns there */
};

static int drip(void *handle, void *buffer, unsigned length)
{
    dripping *from = static_cast<dripping *>(handle);
    if (from->at >= from->end)
        return from->at_end;
    const size_t count = std::min({static_cast<size_t>(length), from->step, from->end - from->at});
    std::copy_n(from->bytes->begin() + static_cast<ptrdiff_t>(from->at), count,
                static_cast<uint8_t *>(buffer));
    from->at += count;
    return static_cast<int>(count);
}

TEST(image_read_with_cb, a_callback_may_deliver_in_small_pieces)
{
    for (const maker_bytes &bytes : one_of_each())
        for (const size_t step : {1, 2, 7, 100000}) {
            dripping from = {&bytes, 0, step, bytes.size(), 0};
            const image_owner decoded(image_read_with_cb("a.png", drip, &from));
            ASSERT_TRUE(decoded);
            EXPECT_EQ(decoded->width, 40);
        }
}

TEST(image_read_with_cb, an_error_of_the_callback_fails_the_picture)
{
    for (const maker_bytes &bytes : one_of_each())
        for (const int result : {-1, -104}) {
            dripping from = {&bytes, 0, 64, bytes.size() / 2, result};
            EXPECT_EQ(image_owner(image_read_with_cb("a.png", drip, &from)), nullptr);
        }
    EXPECT_EQ(image_owner(image_read_with_cb("a.png", nullptr, nullptr)), nullptr);
}

static int boast(void *, void *, unsigned length)
{
    return static_cast<int>(length) + 1000;
}

TEST(image_read_with_cb, a_callback_that_claims_more_than_was_asked_fails)
{
    EXPECT_EQ(image_owner(image_read_with_cb("a.png", boast, nullptr)), nullptr);
}

TEST(image_decode, files_cut_anywhere_are_survived_and_refused_in_the_middle)
{
    for (const maker_bytes &bytes : one_of_each())
        for (size_t size = 0; size < bytes.size(); size++) {
            /* A block of its own, so that sanitizers see a read past the end. */
            const std::unique_ptr<uint8_t[]> cut(new uint8_t[size + 1]);
            std::copy_n(bytes.begin(), size, cut.get());
            const image_owner decoded(image_read_from_memory(".png", cut.get(), size));
            touch(decoded.get());
            if (size < bytes.size() * 3 / 4 && !(bytes[0] == 0xFF && bytes[1] == 0xD8)) {
                ASSERT_EQ(decoded, nullptr) << size << " of " << bytes.size();
            }
        }
}

TEST(image_decode, a_baseline_jpeg_cut_in_its_picture_is_refused)
{
    const maker_bytes bytes = maker_jpeg(maker_speckles(64, 64));
    for (size_t size = 0; size < bytes.size() - 64; size++)
        ASSERT_EQ(image_owner(image_read_from_memory(".jpg", bytes.data(), size)), nullptr) << size;
}

TEST(image_decode, a_jpeg_that_lacks_only_its_end_marker_is_shown)
{
    const maker_bytes bytes = maker_jpeg(maker_gradient(64, 64));
    const image_owner decoded(image_read_from_memory(".jpg", bytes.data(), bytes.size() - 2));
    EXPECT_TRUE(decoded);
}

TEST(image_decode, changed_bytes_are_survived)
{
    uint32_t state = seed_or(12345);
    const auto next = [&state] {
        state = state * 1664525u + 1013904223u;
        return state >> 8;
    };
    for (const maker_bytes &bytes : one_of_each())
        for (int round = 0; round < 1500; round++) {
            maker_bytes broken = bytes;
            const uint32_t changes = 1 + next() % 8;
            for (uint32_t i = 0; i < changes; i++)
                broken[next() % broken.size()] = static_cast<uint8_t>(next());
            touch(image_of(broken).get());
        }
}

TEST(image_decode, random_bytes_behind_a_signature_are_refused)
{
    uint32_t state = seed_or(99);
    const std::string signatures[] = {"\x89PNG\r\n\x1a\n", "\xFF\xD8\xFF", "GIF87a", "GIF89a", ""};
    for (const std::string &signature : signatures)
        for (int round = 0; round < 300; round++) {
            maker_bytes bytes(signature.begin(), signature.end());
            for (int i = 0; i < 200; i++) {
                state = state * 1664525u + 1013904223u;
                bytes.push_back(static_cast<uint8_t>(state >> 24));
            }
            touch(image_of(bytes).get());
        }
    EXPECT_EQ(image_of(maker_bytes{}), nullptr);
    EXPECT_EQ(image_owner(image_read_from_memory(".png", nullptr, 10)), nullptr);
}

/* Writes a number of 16 or 32 bits, largest byte first. */
static void put(maker_bytes *bytes, size_t at, uint32_t value, int count)
{
    for (int i = 0; i < count; i++)
        (*bytes)[at + static_cast<size_t>(i)] = static_cast<uint8_t>(value >> 8 * (count - 1 - i));
}

TEST(image_decode, sizes_above_the_limit_are_refused)
{
    EXPECT_EQ(image_of(maker_png(maker_plain(4097, 1, 0xFF000000))), nullptr);
    EXPECT_EQ(image_of(maker_png(maker_plain(1, 4097, 0xFF000000))), nullptr);
    EXPECT_EQ(image_of(maker_jpeg(maker_plain(4097, 1, 0xFF000000))), nullptr);
    EXPECT_EQ(image_of(maker_gif(maker_plain(4097, 1, 0xFF000000))), nullptr);
    const maker_picture widest = maker_plain(4096, 1, 0xFF112233);
    expect_picture(image_of(maker_png(widest)).get(), widest);
    expect_picture(image_of(maker_gif(widest)).get(), widest);
    EXPECT_TRUE(image_of(maker_jpeg(widest)));
}

TEST(image_decode, a_small_file_that_claims_a_large_picture_costs_no_memory)
{
    maker_bytes jpeg = maker_jpeg(maker_plain(16, 16, 0xFF808080));
    for (size_t i = 0; i + 9 < jpeg.size(); i++)
        if (jpeg[i] == 0xFF && jpeg[i + 1] == 0xC0) {
            put(&jpeg, i + 5, 4096, 2);
            put(&jpeg, i + 7, 4096, 2);
        }
    maker_bytes gif = maker_gif(maker_plain(4, 4, 0xFF808080));
    gif[6] = gif[8] = 0;
    gif[7] = gif[9] = 0x10; /* canvas of 4096 x 4096 */
    gif.erase(gif.end() - 6, gif.end());
    rusage before, after;
    getrusage(RUSAGE_SELF, &before);
    EXPECT_EQ(image_of(jpeg), nullptr);
    EXPECT_EQ(image_of(gif), nullptr);
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 16 * 1024) << "KiB";
}

TEST(image_decode, a_jpeg_of_endless_scans_ends)
{
    /* A progressive file whose one refinement scan is repeated thousands of times. */
    const maker_bytes whole = maker_jpeg(maker_plain(640, 640, 0xFF808080), {.progressive = true});
    size_t last_scan = 0;
    for (size_t i = 0; i + 1 < whole.size(); i++)
        if (whole[i] == 0xFF && whole[i + 1] == 0xDA)
            last_scan = i;
    maker_bytes many(whole.begin(), whole.end() - 2);
    for (int i = 0; i < 3000; i++)
        many.insert(many.end(), whole.begin() + static_cast<ptrdiff_t>(last_scan), whole.end() - 2);
    many.insert(many.end(), {0xFF, 0xD9});
    EXPECT_EQ(image_of(many), nullptr);
}

/* Hours of work for a few bytes each: a scan passes over the whole picture. */
TEST(image_decode, a_jpeg_of_more_scans_than_encoders_make_is_refused)
{
    const maker_bytes whole = maker_jpeg(maker_plain(64, 64, 0xFF808080), {.progressive = true});
    size_t last_scan = 0;
    for (size_t i = 0; i + 1 < whole.size(); i++)
        if (whole[i] == 0xFF && whole[i + 1] == 0xDA)
            last_scan = i;
    for (const int more : {10, 40}) {
        maker_bytes many(whole.begin(), whole.end() - 2);
        for (int i = 0; i < more; i++)
            many.insert(many.end(), whole.begin() + static_cast<ptrdiff_t>(last_scan),
                        whole.end() - 2);
        many.insert(many.end(), {0xFF, 0xD9});
        EXPECT_EQ(image_of(many) != nullptr, more == 10) << more;
    }
}

TEST(image_decode, works_on_several_threads_at_once)
{
    const maker_picture picture = maker_gradient(80, 60);
    const std::vector<maker_bytes> files = one_of_each();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; i++)
        threads.emplace_back([&files] {
            for (int round = 0; round < 40; round++)
                for (const maker_bytes &bytes : files) {
                    const image_owner decoded = image_of(bytes);
                    ASSERT_TRUE(decoded);
                    image_owner scaled(image_create(13, 9));
                    ASSERT_EQ(image_copy_resampled(scaled.get(), decoded.get(), 0, 0, 13, 9, 0, 0,
                                                   decoded->width, decoded->height),
                              0);
                    ASSERT_EQ(image_dither(scaled.get()), 0);
                }
        });
    for (std::thread &thread : threads)
        thread.join();
}

TEST(image_create, gives_an_empty_picture_within_the_limits)
{
    const image_owner made(image_create(3, 2));
    ASSERT_TRUE(made);
    EXPECT_EQ(made->width, 3);
    EXPECT_EQ(made->height, 2);
    EXPECT_TRUE(made->has_alpha);
    for (int i = 0; i < 6; i++)
        EXPECT_EQ(made->argb[i], 0u);
    EXPECT_EQ(image_create(0, 5), nullptr);
    EXPECT_EQ(image_create(5, -1), nullptr);
    EXPECT_EQ(image_create(4097, 1), nullptr);
    EXPECT_EQ(image_free(nullptr), 0);
}

TEST(image_decode, operations_fail_on_request)
{
    const maker_bytes bytes = maker_png(maker_gradient(4, 4));
    maker_save("good.png", bytes);
    fault_set("image_read,image_read_with_cb,image_read_from_memory,image_create");
    dripping from = {&bytes, 0, 100, bytes.size(), 0};
    EXPECT_EQ(image_owner(image_read("good.png")), nullptr);
    EXPECT_EQ(image_owner(image_read_with_cb("a.png", drip, &from)), nullptr);
    EXPECT_EQ(image_of(bytes), nullptr);
    EXPECT_EQ(image_owner(image_create(4, 4)), nullptr);
    fault_set("");
    EXPECT_TRUE(image_owner(image_read("good.png")));
}
