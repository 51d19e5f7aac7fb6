#include "view/lyrics/lyrics_key.h"

#include "platform/base/md5.h"
#include "platform/base/owner.h"
#include "platform/file/file.h"
#include "platform/file/file_id3.h"

#include <cstdint>
#include <cstdio>
#include <fcntl.h>

constexpr size_t hashed_bytes = 0x28000;
/* Far above what any file has for a reason: a hole of gigabytes or a file of nothing but empty tags
 * would keep a worker busy for minutes. */
constexpr int tags_limit = 65536;
constexpr int zeros_limit = 16 << 20;

/* Stands behind the tag: 1; stands where it stood, because there is none: 0; -1: damaged. The flag
 * of a footer counts in every version: the service's keys are made in this way. */
static int skip_tag(FILE *file)
{
    uint8_t bytes[file_id3_head_bytes];
    file_id3_head head = {};
    const size_t got = fread(bytes, 1, sizeof bytes, file);
    if (got < sizeof bytes || !file_id3_read(bytes, &head))
        return fseeko(file, -static_cast<off_t>(got), SEEK_CUR) == 0 ? 0 : -1;
    if (head.is_broken)
        return -1;
    const int64_t size = head.size + ((head.flags & file_id3_footer) ? 10 : 0);
    return fseeko(file, static_cast<off_t>(size), SEEK_CUR) == 0 ? 1 : -1;
}

/* 0, or -1 when there are too many. */
static int skip_tags(FILE *file)
{
    int skipped = 1;
    for (int i = 0; i <= tags_limit && skipped == 1; i++)
        skipped = skip_tag(file);
    return skipped == 0 ? 0 : -1;
}

static int skip_zeros(FILE *file)
{
    int byte = 0, count = 0;
    while ((byte = getc_unlocked(file)) == 0)
        if (count++ == zeros_limit)
            return -1;
    if (byte != EOF)
        (void)ungetc(byte, file);
    return 0;
}

/* Reads of a card what is looked at, and then what is hashed in one go. Only advice: without it the
 * file is read all the same. */
static void announce(FILE *file, bool hashing)
{
    if (hashing)
        (void)posix_fadvise(fileno(file), ftello(file), hashed_bytes, POSIX_FADV_WILLNEED);
    else
        (void)posix_fadvise(fileno(file), 0, 0, POSIX_FADV_RANDOM);
}

static void hash(FILE *file, uint8_t (&digest)[16])
{
    md5_state state;
    md5_init(&state);
    uint8_t piece[1024];
    for (size_t done = 0; done < hashed_bytes;) {
        const size_t got = fread(piece, 1, sizeof piece, file);
        if (got == 0)
            break;
        md5_append(&state, piece, got);
        done += got;
    }
    md5_finish(&state, digest);
}

int lyrics_key(const char *path, char (&key)[lyrics_key_size])
{
    owner<FILE, fclose> file(file_fopen(path, "rb"));
    if (!file)
        return -1;
    announce(file.get(), false);
    if (skip_tags(file.get()) != 0 || skip_zeros(file.get()) != 0)
        return -1;
    announce(file.get(), true);
    uint8_t digest[16];
    hash(file.get(), digest);
    for (int i = 0; i < 16; i++)
        snprintf(key + i * 2, 3, "%02x", digest[i]);
    return 0;
}
