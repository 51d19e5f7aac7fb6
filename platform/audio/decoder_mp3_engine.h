/* decoder_mp3_engine: the library that decodes the frames of an MP3 file: libmpg123, or libmad in a
 * build without floating point. One thread a file. */
#pragma once

#include "platform/audio/audio_stream.h"
#include "platform/audio/decoder_mp3_frames.h"

/* Samples that decoding itself puts in front. */
constexpr uint32_t mp3_decoder_delay = 529;
/* Frames decoded before the place of a seek: low bit rates spread the bits of one frame over nine
 * others, and the filter bank looks back one more. */
constexpr int mp3_frames_before_seek = 12;
/* Rubbish between two frames that is skipped; more of it is the end. */
constexpr int32_t mp3_resync_bytes = 256 << 10;

struct mp3_engine;

/* File and layout stay the caller's and outlive the engine. Null when memory runs out or nothing of
 * the file can be decoded. */
mp3_engine *mp3_engine_new(audio_file *file, const mp3_layout *layout);
void mp3_engine_free(mp3_engine *engine);
/* Hz, of what comes out first. */
uint32_t mp3_engine_rate(const mp3_engine *engine);
/* Samples by the count of an info frame, 0 without one. What encoder and decoder put in front and
 * behind is left out, as in all samples of this header. */
int64_t mp3_engine_told(const mp3_engine *engine);
/* What a seek may go by. It stays the caller's and outlives the engine. */
void mp3_engine_know(mp3_engine *engine, const mp3_index *index);
/* As audio_source has them. */
int mp3_engine_read(mp3_engine *engine, audio_block *block, int16_t *direct, uint32_t frames);
int mp3_engine_seek(mp3_engine *engine, int64_t sample);
