/* audio_inflate: opens what a tag holds packed, through zlib. */
#include "platform/audio/audio_inflate.h"

#include "platform/base/owner.h"

#include <algorithm>
#include <cstdlib>
#include <zlib.h>

constexpr size_t piece_bytes = 4096;
constexpr size_t first_bytes = 1024;
/* Each block may bring a table of its own, which takes longer to set up than a kilobyte to open;
 * one of 12 bytes need not hold anything. Packers make blocks of 16 KiB and more. */
constexpr int block_limit = 8192;

struct inflate_job {
    z_stream zlib;
    unsigned char *out;
    size_t room, limit;
    unsigned char piece[piece_bytes];
};

/* Room for one byte more than is allowed shows that there is more. */
static int grow(inflate_job *job)
{
    const size_t room = std::min(std::max(job->room * 2, first_bytes), job->limit + 1);
    if (room <= job->room)
        return -1;
    void *out = realloc(job->out, room);
    if (!out)
        return -1;
    job->out = static_cast<unsigned char *>(out);
    job->zlib.next_out = job->out + job->room;
    job->zlib.avail_out = static_cast<uInt>(room - job->room);
    job->room = room;
    return 0;
}

static int open_all(inflate_job *job, audio_inflate_next next, void *user)
{
    z_stream *zlib = &job->zlib;
    for (int blocks = 0; blocks < block_limit;) {
        if (zlib->avail_in == 0) {
            zlib->next_in = job->piece;
            zlib->avail_in = static_cast<uInt>(next(user, job->piece, piece_bytes));
            if (zlib->avail_in == 0)
                return -1;
        }
        if (zlib->avail_out == 0 && grow(job) != 0)
            return -1;
        const int result = inflate(zlib, Z_BLOCK);
        if (result == Z_STREAM_END)
            return zlib->total_out <= job->limit ? 0 : -1;
        if (result != Z_OK && result != Z_BUF_ERROR)
            return -1;
        if (zlib->data_type & 128) /* right behind a block */
            blocks++;
    }
    return -1;
}

int audio_inflate(audio_inflate_next next, void *user, size_t limit, unsigned char **out,
                  size_t *size)
{
    owner<inflate_job, free> job(static_cast<inflate_job *>(calloc(1, sizeof(inflate_job))));
    if (!job)
        return -1;
    job->limit = limit;
    if (inflateInit(&job->zlib) != Z_OK)
        return -1;
    const int result = open_all(job.get(), next, user);
    (void)inflateEnd(&job->zlib); /* only a stream that was never begun fails */
    owner<unsigned char, free> bytes(job->out);
    if (result != 0)
        return -1;
    *size = job->zlib.total_out;
    *out = bytes.release();
    return 0;
}
