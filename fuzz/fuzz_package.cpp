/* fuzz_package: update packages, as a server that lies might send them. */
#include "fuzz/fuzz.h"
#include "platform/base/owner.h"
#include "update/update_package.h"

#include <cstring>
#include <strings.h>

static bool go_on()
{
    return true;
}

static int count_bytes(void *context, const void *, size_t size)
{
    *static_cast<uint64_t *>(context) += size;
    return 0;
}

/* A name that could be written outside the folder, or over what the update or the user has. */
static bool leaves_the_folder(const char *name)
{
    for (const char *other : {"_tmp", "config.txt", "current.m3u", "library.db"})
        if (strncasecmp(name, other, strlen(other)) == 0 && strchr("/", name[strlen(other)]))
            return true;
    for (const char *at = name; at; at = strchr(at, '/')) {
        at += *at == '/';
        const size_t length = strcspn(at, "/");
        if (length == 0 || (length == 1 && at[0] == '.') || (length == 2 && !strncmp(at, "..", 2)))
            return true;
    }
    return false;
}

/* A package that was found good gives everything that it promised. */
static void read_all(update_package *package)
{
    for (uint32_t i = 0; i < update_package_count(package); i++) {
        update_entry entry;
        if ((i > 0 && update_package_next(package) != 0) ||
            update_package_entry(package, &entry) != 0)
            abort();
        if ((entry.name[0] == '\0' ? !entry.is_folder : leaves_the_folder(entry.name)) ||
            entry.index != i || (entry.mode & ~0777u))
            abort();
        uint64_t bytes = 0;
        if (!entry.is_folder &&
            (update_package_read(package, count_bytes, &bytes) != 0 || bytes != entry.size))
            abort();
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const fuzz_file input(data, size);
    if (update_package_check(input.path, go_on) != 0)
        return 0;
    const owner<update_package, update_package_close> package(update_package_open(input.path));
    if (!package)
        abort();
    read_all(package.get());
    return 0;
}
