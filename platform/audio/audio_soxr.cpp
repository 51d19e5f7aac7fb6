/* audio_soxr: libsoxr, loaded when it is wanted. */
#include "platform/audio/audio_soxr.h"

#include "platform/base/lock.h"

#include <dlfcn.h>

static constinit sys_lock soxr_lock;
static constinit void *soxr_library GUARDED_BY(soxr_lock) = nullptr;
static constinit audio_soxr soxr_calls GUARDED_BY(soxr_lock) = {};

template <typename call> static bool soxr_find(void *library, const char *name, call **to)
{
    *to = reinterpret_cast<call *>(dlsym(library, name));
    return *to != nullptr;
}

static bool soxr_find_all(void *library, audio_soxr *to)
{
    return soxr_find(library, "soxr_io_spec", &to->io_spec) &&
           soxr_find(library, "soxr_quality_spec", &to->quality_spec) &&
           soxr_find(library, "soxr_create", &to->create) &&
           soxr_find(library, "soxr_process", &to->process) &&
           soxr_find(library, "soxr_delete", &to->remove);
}

const audio_soxr *audio_soxr_get()
{
    const sys_guard guard(soxr_lock);
    if (soxr_library)
        return &soxr_calls;
    void *library = dlopen("libsoxr.so.0", RTLD_NOW | RTLD_LOCAL);
    if (library && soxr_find_all(library, &soxr_calls))
        soxr_library = library;
    else if (library)
        (void)dlclose(library);
    return soxr_library ? &soxr_calls : nullptr;
}
