/* audio_resample_soxr: other rates through soxr. */
#include "platform/audio/audio_resample.h"
#include "platform/audio/audio_soxr.h"
#include "platform/base/spare.h"

#include <cstdlib>

struct audio_resampler {
    const audio_soxr *soxr;
    soxr_t record;
};

audio_resampler *audio_resampler_new(uint32_t from_rate, uint32_t to_rate)
{
    const audio_soxr *soxr = spare_is_there() ? audio_soxr_get() : nullptr;
    audio_resampler *made =
        soxr ? static_cast<audio_resampler *>(calloc(1, sizeof *made)) : nullptr;
    if (!made)
        return nullptr;
    const soxr_io_spec_t io = soxr->io_spec(SOXR_INT32_I, SOXR_INT32_I);
    const soxr_quality_spec_t quality = soxr->quality_spec(SOXR_HQ, 0);
    soxr_error_t error = nullptr;
    made->soxr = soxr;
    made->record = soxr->create(from_rate, to_rate, 2, &error, &io, &quality, nullptr);
    if (!error)
        return made;
    audio_resampler_free(made);
    return nullptr;
}

void audio_resampler_free(audio_resampler *resampler)
{
    if (!resampler)
        return;
    if (resampler->record)
        resampler->soxr->remove(resampler->record);
    free(resampler);
}

int audio_resampler_run(audio_resampler *resampler, const int32_t *from, size_t ready, size_t *used,
                        int32_t *to, size_t room, size_t *made)
{
    const soxr_error_t error =
        resampler->soxr->process(resampler->record, from, ready, used, to, room, made);
    return error ? -1 : 0;
}
