/* decoder: one record a format. */
#pragma once

#include "platform/audio/audio.h"

extern const audio_decoder decoder_mp3;
extern const audio_decoder decoder_ogg;
extern const audio_decoder decoder_flac;
