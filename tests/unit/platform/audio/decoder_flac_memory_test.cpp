/* FLAC opened while memory runs out: it plays whole, or it does not open. */
#include "support/allocations.h"
#include "unit/platform/audio/audio_measure.h"

#ifdef ALLOCATIONS_ARE_COUNTED
TEST(decoder_flac_memory, a_file_opens_whole_or_not_at_all)
{
    const maker_sound noise = maker_noise(0.1);
    ASSERT_EQ(maker_track_of("m.flac", noise), 0);
    int opened_ones = 0;
    const int failed = fail_each_allocation([&] {
        const audio_decoder *decoder = audio_get_decoder("m.flac");
        audio_stream *stream = decoder->open("m.flac");
        const int left = allocation_to_fail;
        allocation_to_fail = 0;
        if (stream) {
            opened_ones++;
            EXPECT_EQ(stream->length, noise.frames);
            std::vector<int16_t> samples(2048);
            int64_t bytes = 0;
            int32_t got = 0;
            while ((got = decoder->read(stream, samples.data(), 4096)) > 0)
                bytes += got;
            EXPECT_EQ(bytes, noise.frames * 4);
            (void)decoder->close(stream);
        }
        allocation_to_fail = left;
    });
    EXPECT_GE(opened_ones, 1);
    EXPECT_GE(failed, 10);
}
#endif
