/* font_map: the bytes of a font file, mapped. */
#include "platform/font/font_map.h"

#include <climits>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

/* What there is to map; 0 for anything but a file: opening a pipe would wait for a writer. */
static size_t size_of(const char *path)
{
    struct stat about;
    if (stat(path, &about) != 0 || !S_ISREG(about.st_mode) || about.st_size > UINT_MAX)
        return 0;
    return static_cast<size_t>(about.st_size);
}

int font_map_open(font_map *map, const char *path)
{
    const size_t size = size_of(path);
    const int file = size > 0 ? open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK) : -1;
    if (file < 0)
        return -1;
    void *bytes = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
    (void)close(file); /* the mapping keeps it */
    if (bytes == MAP_FAILED)
        return -1;
    /* Letters stand all over it: what the kernel would read ahead of each is nearly all of the file. */
    (void)madvise(bytes, size, MADV_RANDOM);
    *map = {bytes, size};
    return 0;
}

void font_map_close(font_map *map)
{
    if (map->bytes)
        (void)munmap(const_cast<void *>(map->bytes), map->size);
    *map = {};
}

void font_map_rest(const font_map *map)
{
    /* Only read, so that each page comes back as it was. */
    (void)madvise(const_cast<void *>(map->bytes), map->size, MADV_DONTNEED);
}
