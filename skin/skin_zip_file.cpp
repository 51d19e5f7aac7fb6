#include "skin/skin_zip_file.h"

#include "platform/base/owner.h"
#include "platform/file/file.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

/* What is larger is read where it is wanted. */
constexpr int64_t held_most = 1024 * 1024;

struct zip_stream {
    FILE *file;     /* owned; null where the bytes are held */
    uint8_t *bytes; /* owned; null where they are not */
    uint64_t size, at;
};

using file_owner = owner<FILE, fclose>;

static bool hold(zip_stream *stream, FILE *file, int64_t size)
{
    stream->bytes = static_cast<uint8_t *>(malloc(static_cast<size_t>(size) + 1));
    if (!stream->bytes)
        return false;
    stream->size = fread(stream->bytes, 1, static_cast<size_t>(size), file);
    return ferror(file) == 0;
}

/* The library's own opening would leave the file open in a program that takes this one's place. */
static voidpf ZCALLBACK open_stream(voidpf, const void *name, int)
{
    const char *path = static_cast<const char *>(name);
    struct stat entry = {};
    if (stat(path, &entry) != 0 || !S_ISREG(entry.st_mode))
        return nullptr;
    file_owner file(file_fopen(path, "rb"));
    owner<zip_stream, free> stream(static_cast<zip_stream *>(calloc(1, sizeof(zip_stream))));
    if (!file || !stream)
        return nullptr;
    if (entry.st_size > held_most) {
        stream->file = file.release();
    } else if (!hold(stream.get(), file.get(), entry.st_size)) {
        free(stream->bytes);
        return nullptr;
    }
    return stream.release();
}

static uLong ZCALLBACK read_stream(voidpf, voidpf handle, void *to, uLong size)
{
    zip_stream *stream = static_cast<zip_stream *>(handle);
    if (stream->file)
        return fread(to, 1, size, stream->file);
    const uint64_t left = stream->size - std::min(stream->at, stream->size);
    const size_t count = static_cast<size_t>(std::min<uint64_t>(left, size));
    if (count > 0)
        memcpy(to, stream->bytes + stream->at, count);
    stream->at += count;
    return count;
}

static uLong ZCALLBACK refuse_writing(voidpf, voidpf, const void *, uLong)
{
    return 0;
}

static ZPOS64_T ZCALLBACK tell_stream(voidpf, voidpf handle)
{
    zip_stream *stream = static_cast<zip_stream *>(handle);
    return stream->file ? static_cast<ZPOS64_T>(ftello(stream->file)) : stream->at;
}

/* Behind the end is a place too, from which nothing can be read. */
static long ZCALLBACK seek_stream(voidpf, voidpf handle, ZPOS64_T offset, int origin)
{
    static constexpr int origins[] = {SEEK_SET, SEEK_CUR, SEEK_END}; /* the library's 0, 1, 2 */
    zip_stream *stream = static_cast<zip_stream *>(handle);
    if (stream->file)
        return fseeko(stream->file, static_cast<off_t>(offset), origins[origin]);
    const uint64_t starts[] = {0, stream->at, stream->size};
    stream->at = starts[origin] + offset;
    return 0;
}

static int ZCALLBACK close_stream(voidpf, voidpf handle)
{
    zip_stream *stream = static_cast<zip_stream *>(handle);
    const int result = stream->file ? fclose(stream->file) : 0;
    free(stream->bytes);
    free(stream);
    return result;
}

static int ZCALLBACK stream_error(voidpf, voidpf handle)
{
    zip_stream *stream = static_cast<zip_stream *>(handle);
    return stream->file ? ferror(stream->file) : 0;
}

void skin_zip_file_functions(zlib_filefunc64_def *to)
{
    *to = {
        .zopen64_file = open_stream,
        .zread_file = read_stream,
        .zwrite_file = refuse_writing,
        .ztell64_file = tell_stream,
        .zseek64_file = seek_stream,
        .zclose_file = close_stream,
        .zerror_file = stream_error,
        .opaque = nullptr,
    };
}
