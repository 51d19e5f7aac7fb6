/* audio_soxr: libsoxr, loaded when a track first has another rate than the device. It brings a library
 * of threads along, which music of the usual rate has no use for. Any thread. */
#pragma once

#include <soxr.h>

struct audio_soxr {
    decltype(&soxr_io_spec) io_spec;
    decltype(&soxr_quality_spec) quality_spec;
    decltype(&soxr_create) create;
    decltype(&soxr_process) process;
    decltype(&soxr_delete) remove;
};

/* The library's functions, null when it is not installed. It stays loaded. */
const audio_soxr *audio_soxr_get();
