/* audio_file: a music file for the decoders, read through a buffer. */
#include "platform/audio/audio_file.h"

#include "platform/base/owner.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

/* Decoders ask for 4 bytes and a frame in turn; a call to the kernel for each costs more than the
 * copy. */
constexpr size_t buffer_bytes = 32768;
/* What the storage gives at least: a look into a file reads no more than that around a place. */
constexpr size_t page_bytes = 4096;

struct audio_file {
    int fd;
    bool failed;
    size_t piece;        /* bytes that are buffered at a time */
    int64_t size;        /* bytes of the file */
    int64_t from, to;    /* the window */
    int64_t at;          /* place in the file */
    int64_t buffered_at; /* place of the first buffered byte */
    size_t buffered;     /* bytes */
    char buffer[buffer_bytes];
};

audio_file *audio_file_open(const char *path, audio_file_use use)
{
    /* Non-blocking, or the open itself would wait for somebody at the other end of a pipe. */
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0)
        return nullptr;
    struct stat entry;
    audio_file *file = nullptr;
    if (fstat(fd, &entry) == 0 && S_ISREG(entry.st_mode))
        file = static_cast<audio_file *>(malloc(sizeof *file));
    if (!file) {
        (void)close(fd); /* nothing was written */
        return nullptr;
    }
    file->fd = fd;
    file->failed = false;
    file->piece = use == audio_file_look ? page_bytes : buffer_bytes;
    if (use == audio_file_look) /* only advice: without it the file is read all the same */
        (void)posix_fadvise(fd, 0, 0, POSIX_FADV_RANDOM);
    file->size = file->to = entry.st_size;
    file->from = file->at = file->buffered_at = 0;
    file->buffered = 0;
    return file;
}

void audio_file_close(audio_file *file)
{
    if (!file)
        return;
    (void)close(file->fd); /* nothing was written */
    free(file);
}

int64_t audio_file_size(const audio_file *file)
{
    return file->size;
}

void audio_file_window(audio_file *file, int64_t from, int64_t to)
{
    file->to = std::clamp<int64_t>(to, 0, file->size);
    file->from = file->at = std::clamp<int64_t>(from, 0, file->to);
}

int64_t audio_file_length(const audio_file *file)
{
    return file->to - file->from;
}

int64_t audio_file_tell(const audio_file *file)
{
    return file->at - file->from;
}

int64_t audio_file_seek(audio_file *file, int64_t offset, int whence)
{
    const int64_t base = whence == SEEK_SET ? file->from : whence == SEEK_CUR ? file->at : file->to;
    if (offset < file->from - base || offset > file->to - base)
        return -1;
    file->at = base + offset;
    return file->at - file->from;
}

/* pread() that is not stopped by signals. */
static ssize_t read_at(audio_file *file, int64_t at, void *to, size_t size)
{
    ssize_t n;
    do {
        n = pread(file->fd, to, size, at);
    } while (n < 0 && errno == EINTR);
    if (n < 0)
        file->failed = true;
    return n;
}

/* Fills the buffer from a place on, to the end of its last page. */
static ssize_t fill(audio_file *file, int64_t at)
{
    const ssize_t n =
        read_at(file, at, file->buffer, file->piece - static_cast<size_t>(at % page_bytes));
    file->buffered_at = at;
    file->buffered = n > 0 ? static_cast<size_t>(n) : 0;
    return n;
}

/* Buffered bytes from a place on. */
static size_t ahead(const audio_file *file, int64_t at)
{
    if (at < file->buffered_at || at >= file->buffered_at + static_cast<int64_t>(file->buffered))
        return 0;
    return static_cast<size_t>(file->buffered_at + static_cast<int64_t>(file->buffered) - at);
}

int64_t audio_file_read(audio_file *file, void *to, size_t size)
{
    char *out = static_cast<char *>(to);
    size_t done = 0;
    size = std::min(size, static_cast<size_t>(file->to - file->at));
    while (done < size) {
        size_t part = std::min(size - done, ahead(file, file->at));
        if (part > 0) {
            memcpy(out + done, file->buffer + (file->at - file->buffered_at), part);
        } else {
            /* Much is not copied twice. */
            const bool much = size - done >= file->piece;
            const ssize_t n =
                much ? read_at(file, file->at, out + done, size - done) : fill(file, file->at);
            if (n <= 0)
                return n < 0 && done == 0 ? -1 : static_cast<int64_t>(done);
            part = much ? static_cast<size_t>(n) : 0;
        }
        file->at += static_cast<int64_t>(part);
        done += part;
    }
    return static_cast<int64_t>(done);
}

size_t audio_file_peek(audio_file *file, int64_t at, void *to, size_t size)
{
    size_t done = std::min(size, ahead(file, at));
    memcpy(to, file->buffer + (done ? at - file->buffered_at : 0), done);
    while (done < size) {
        const ssize_t n = read_at(file, at + static_cast<int64_t>(done),
                                  static_cast<char *>(to) + done, size - done);
        if (n <= 0)
            break;
        done += static_cast<size_t>(n);
    }
    return done;
}

bool audio_file_failed(const audio_file *file)
{
    return file->failed;
}
