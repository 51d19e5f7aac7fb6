/* module: files beside the program that hold code of it. */
#include "platform/base/module.h"

#include "platform/base/spare.h"
#include "platform/base/str.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <unistd.h>

using path_text = char[PATH_MAX];

/* As seen from the program's folder: a folder that holds everything, and an installed program. */
static constexpr const char *places[] = {"", "../lib/zerv-player/"};

/* The folder that the program runs from, with the slash at its end; "" when nobody tells. */
static void find_own_folder(path_text &to)
{
    const ssize_t length = readlink("/proc/self/exe", to, sizeof to - 1);
    to[length > 0 ? length : 0] = '\0';
    char *slash = strrchr(to, '/');
    to[slash ? slash + 1 - to : 0] = '\0';
}

/* The path of the file, which the caller opens; false when it is nowhere. A name without a folder
 * would be searched for among the libraries of the system. */
static bool find_file(const char *file, path_text &to)
{
    path_text folder;
    find_own_folder(folder);
    for (const char *place : places) {
        if (folder[0] != '\0' && str_format(to, "%s%s%s", folder, place, file) &&
            access(to, F_OK) == 0)
            return true;
    }
    fprintf(stderr, "there is no %s beside the program\n", file);
    return false;
}

void *module_open(const char *file)
{
    path_text path;
    /* A library that throws while it comes up, for want of memory, ends the process. */
    if (!spare_is_there() || !find_file(file, path))
        return nullptr;
    void *module = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (!module)
        fprintf(stderr, "%s cannot be used: %s\n", file, dlerror());
    return module;
}

void module_close(void *module)
{
    if (module)
        (void)dlclose(module);
}

const void *module_find(void *module, const char *name)
{
    return dlsym(module, name);
}
