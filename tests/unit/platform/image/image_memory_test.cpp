/* Pictures while memory runs out: a whole one or none. */
#include "support/allocations.h"
#include "support/scratch.h"
#include "unit/platform/image/image_fixture.h"

#include <cstring>
#include <functional>
#include <string>

/* A program without a standard input gets it for the first file that it opens. */
TEST(image_file, may_have_the_descriptor_zero)
{
    const scratch folder;
    const maker_bytes bytes = maker_png(maker_gradient(40, 30));
    scratch_write("a.png", std::string(bytes.begin(), bytes.end()));
    EXPECT_EQ(scratch_in_child([] {
                  close(0);
                  const image_owner read(image_read("a.png"));
                  return read && read->width == 40 && fcntl(0, F_GETFD) < 0 ? 0 : 1;
              }),
              0);
}

#ifdef ALLOCATIONS_ARE_COUNTED
static bool same(const image *one, const image *other)
{
    const size_t pixels = static_cast<size_t>(one->width) * static_cast<size_t>(one->height);
    return one->width == other->width && one->height == other->height &&
           memcmp(one->argb, other->argb, pixels * sizeof *one->argb) == 0;
}

/* The picture comes as it should the one time when nothing failed, or where its decoder can do
 * without what it asked for. */
static int decode_with_each_allocation_failing(const std::function<image *()> &decode)
{
    const image_owner expected(decode());
    EXPECT_TRUE(expected);
    int none = 0;
    const int failed = fail_each_allocation([&] {
        const int64_t before = allocated_bytes;
        {
            const image_owner made(decode());
            none += !made;
            EXPECT_TRUE(!made || same(made.get(), expected.get()));
        }
        EXPECT_EQ(allocated_bytes, before) << "nothing stays behind";
    });
    EXPECT_GT(none, 0);
    return failed;
}

TEST(image_memory, a_picture_is_decoded_whole_or_not_at_all)
{
    for (const maker_bytes &bytes : one_of_each())
        EXPECT_GT(decode_with_each_allocation_failing(
                      [&] { return image_read_from_memory("", bytes.data(), bytes.size()); }),
                  2);
}

TEST(image_memory, a_reduced_picture_is_whole_or_none)
{
    const maker_picture picture = maker_gradient(64, 48);
    for (const maker_bytes &bytes :
         {maker_png(picture), maker_jpeg(picture), maker_jpeg(picture, {.progressive = true})}) {
        const auto decode = [&bytes] {
            int32_t width = -1, height = -1;
            image *made = image_read_reduced("", bytes.data(), bytes.size(), 16, &width, &height);
            EXPECT_EQ(width, made ? 64 : -1);
            EXPECT_EQ(height, made ? 48 : -1);
            return made;
        };
        EXPECT_GT(decode_with_each_allocation_failing(decode), 2);
    }
}

TEST(image_memory, what_cannot_be_scaled_leaves_the_target)
{
    const image_owner from = image_from(maker_gradient(40, 30));
    const image_owner expected(image_create(9, 7));
    ASSERT_EQ(image_copy_resampled(expected.get(), from.get(), 0, 0, 9, 7, 0, 0, 40, 30), 0);
    const image_owner empty(image_create(9, 7));
    const image_owner to(image_create(9, 7));
    const int failed = fail_each_allocation([&] {
        const int64_t before = allocated_bytes;
        const int done = image_copy_resampled(to.get(), from.get(), 0, 0, 9, 7, 0, 0, 40, 30);
        EXPECT_EQ(done, allocation_to_fail == 0 ? -1 : 0);
        EXPECT_TRUE(same(to.get(), done == 0 ? expected.get() : empty.get()));
        EXPECT_EQ(allocated_bytes, before) << "nothing stays behind";
    });
    EXPECT_EQ(failed, 6) << "two lists of weights and four buffers";
}

TEST(image_memory, what_cannot_be_dithered_stays_as_it_is)
{
    for (const maker_picture &made : {maker_gradient(20, 10), maker_speckles(20, 10)}) {
        const image_owner plain = image_from(made);
        const int failed = fail_each_allocation([&] {
            const image_owner picture = [&] {
                const int kept = allocation_to_fail;
                allocation_to_fail = 0;
                image_owner fresh = image_from(made);
                allocation_to_fail = kept;
                return fresh;
            }();
            const int done = image_dither(picture.get());
            const bool is_out = allocation_to_fail == 0;
            EXPECT_EQ(done, is_out ? -1 : 0);
            if (done == 0)
                EXPECT_TRUE(picture->rgb565 || picture->spans);
            else
                EXPECT_TRUE(!picture->rgb565 && !picture->spans && picture->argb &&
                            same(picture.get(), plain.get()));
        });
        EXPECT_GT(failed, 0);
    }
}
#endif
