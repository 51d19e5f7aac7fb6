/* file_list: the contents of a folder in the order that every list shows. */
#include "platform/file/file.h"

#include "platform/base/fault.h"
#include "platform/base/owner.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

/* One entry while the folder is read. The name is the end of the path, so both are one text. */
struct list_entry {
    char *path; /* owned */
    char *name; /* inside path */
    bool is_dir;
};

constexpr uint32_t list_ask_every = 32;

struct list_reader {
    bool (*go_on)(void *user); /* null: to the end */
    void *user;
    const char *dir;
    size_t dir_length; /* with the "/" that belongs before a name */
    list_entry *entries;
    uint32_t count, capacity;
};

static bool list_is_digit(char c)
{
    return c >= '0' && c <= '9';
}

/* tolower() follows the locale, and a listing is the same in every language. */
static unsigned char list_fold(char c)
{
    return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
}

/* Compares two runs of digits as numbers of any length and steps over both. */
static int list_compare_number(const char **left, const char **right)
{
    const char *a = *left;
    const char *b = *right;
    while (*a == '0')
        a++;
    while (*b == '0')
        b++;
    size_t a_length = 0;
    size_t b_length = 0;
    while (list_is_digit(a[a_length]))
        a_length++;
    while (list_is_digit(b[b_length]))
        b_length++;
    *left = a + a_length;
    *right = b + b_length;
    if (a_length != b_length)
        return a_length < b_length ? -1 : 1;
    return memcmp(a, b, a_length);
}

static int list_compare_natural(const char *a, const char *b)
{
    while (*a && *b) {
        if (list_is_digit(*a) && list_is_digit(*b)) {
            const int order = list_compare_number(&a, &b);
            if (order != 0)
                return order;
            continue;
        }
        if (list_fold(*a) != list_fold(*b))
            return list_fold(*a) < list_fold(*b) ? -1 : 1;
        a++;
        b++;
    }
    return static_cast<int>(*a != '\0') - static_cast<int>(*b != '\0');
}

static bool list_comes_before(const list_entry &left, const list_entry &right)
{
    if (left.is_dir != right.is_dir)
        return left.is_dir;
    const int order = list_compare_natural(left.name, right.name);
    return order != 0 ? order < 0 : strcmp(left.name, right.name) < 0;
}

static int list_add(list_reader *reader, list_entry entry)
{
    if (!entry.path)
        return -1;
    if (reader->count == reader->capacity) {
        const uint32_t capacity = reader->capacity ? reader->capacity * 2 : 64;
        void *grown = realloc(reader->entries, capacity * sizeof(list_entry));
        if (!grown) {
            free(entry.path);
            return -1;
        }
        reader->entries = static_cast<list_entry *>(grown);
        reader->capacity = capacity;
    }
    reader->entries[reader->count++] = entry;
    return 0;
}

static int list_add_name(list_reader *reader, const char *name, bool is_dir)
{
    const size_t name_size = strlen(name) + 1;
    char *path = static_cast<char *>(malloc(reader->dir_length + name_size));
    if (!path)
        return -1;
    memcpy(path, reader->dir, reader->dir_length);
    /* The folder may be given without the "/" that its length counts. */
    path[reader->dir_length - 1] = '/';
    memcpy(path + reader->dir_length, name, name_size);
    return list_add(reader, {.path = path, .name = path + reader->dir_length, .is_dir = is_dir});
}

/* The parent of an absolute folder is written out: it becomes the folder that is shown next, and
 * "/music/sub/.." would grow with every step. */
static int list_add_parent(list_reader *reader)
{
    if (!file_is_absolute_path(reader->dir))
        return list_add_name(reader, "..", true);
    char joined[PATH_MAX];
    char parent[PATH_MAX];
    const int length = snprintf(joined, sizeof(joined), "%s/..", reader->dir);
    if (length < 0 || static_cast<size_t>(length) >= sizeof(joined) ||
        file_resolve_path(joined, parent, sizeof(parent)) != 0)
        return -1;
    const size_t size = strlen(parent) + 1;
    char *path = static_cast<char *>(malloc(size + sizeof("..")));
    if (!path)
        return -1;
    memcpy(path, parent, size);
    memcpy(path + size, "..", sizeof(".."));
    return list_add(reader, {.path = path, .name = path + size, .is_dir = true});
}

/* Pipes and devices are left out: opening one of them would wait for ever. */
static int list_take(list_reader *reader, int folder, const char *name, file_filter filter)
{
    struct stat entry;
    if (fstatat(folder, name, &entry, 0) != 0)
        return 0;
    if (!S_ISREG(entry.st_mode) && !S_ISDIR(entry.st_mode))
        return 0;
    if (filter && !filter(name, &entry))
        return 0;
    return list_add_name(reader, name, S_ISDIR(entry.st_mode));
}

static bool list_goes_on(const list_reader *reader, uint32_t number)
{
    return !reader->go_on || number % list_ask_every != 0 || reader->go_on(reader->user);
}

static int list_read(list_reader *reader, DIR *dir, file_filter filter)
{
    if (list_add_parent(reader) != 0)
        return -1;
    for (uint32_t number = 0;; number++) {
        if (!list_goes_on(reader, number)) {
            errno = ECANCELED;
            return -1;
        }
        errno = 0;
        const dirent *entry = readdir(dir);
        if (!entry)
            return errno == 0 ? 0 : -1;
        if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0)
            continue;
        if (list_take(reader, dirfd(dir), entry->d_name, filter) != 0)
            return -1;
    }
}

static void list_drop(list_reader *reader)
{
    for (uint32_t i = 0; i < reader->count; i++)
        free(reader->entries[i].path);
    free(reader->entries);
}

static int list_publish(list_reader *reader, file_listing *out)
{
    char **texts = static_cast<char **>(malloc(2 * sizeof(char *) * reader->count));
    if (!texts)
        return -1;
    out->names = texts;
    out->paths = texts + reader->count;
    out->count = reader->count;
    for (uint32_t i = 0; i < reader->count; i++) {
        out->names[i] = reader->entries[i].name;
        out->paths[i] = reader->entries[i].path;
        out->dir_count += reader->entries[i].is_dir;
    }
    free(reader->entries);
    return 0;
}

int file_list_dir_while(file_listing *out, const char *dir, file_filter filter,
                        bool (*go_on)(void *user), void *user)
{
    if (!out)
        return -1;
    *out = {};
    errno = EIO; /* what a fault on request looks like */
    if (!dir || !*dir || fault_hit("file_list_dir"))
        return -1;
    owner<DIR, closedir> folder(opendir(dir));
    if (!folder)
        return -1;
    const size_t length = strlen(dir);
    list_reader reader = {.go_on = go_on,
                          .user = user,
                          .dir = dir,
                          .dir_length = dir[length - 1] == '/' ? length : length + 1,
                          .entries = nullptr,
                          .count = 0,
                          .capacity = 0};
    if (list_read(&reader, folder.get(), filter) == 0) {
        std::sort(reader.entries + 1, reader.entries + reader.count, list_comes_before);
        if (list_publish(&reader, out) == 0)
            return 0;
    }
    const int why = errno;
    list_drop(&reader);
    folder.reset();
    errno = why;
    return -1;
}

int file_list_dir(file_listing *out, const char *dir, file_filter filter)
{
    return file_list_dir_while(out, dir, filter, nullptr, nullptr);
}

int file_free_dir(file_listing *listing)
{
    if (!listing)
        return 0;
    for (uint32_t i = 0; i < listing->count; i++)
        free(listing->paths[i]);
    free(listing->names);
    *listing = {};
    return 0;
}
