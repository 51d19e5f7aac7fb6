/* sock_curl: libcurl, loaded when a host is first asked. */
#include "platform/net/sock_curl.h"

#include "platform/base/lock.h"

#include <dlfcn.h>

enum class curl_state { unknown, loaded, missing };

static constinit sys_lock curl_lock;
static constinit sock_curl curl_calls GUARDED_BY(curl_lock) = {};
static constinit curl_state curl_loaded GUARDED_BY(curl_lock) = curl_state::unknown;

static const char *const curl_names[] = {"libcurl.so.4", "libcurl-gnutls.so.4", "libcurl.so"};

template <typename call> static bool curl_find(void *library, const char *name, call **to)
{
    *to = reinterpret_cast<call *>(dlsym(library, name));
    return *to != nullptr;
}

static bool curl_find_all(void *library, sock_curl *to)
{
    return curl_find(library, "curl_global_init", &to->global_init) &&
           curl_find(library, "curl_easy_init", &to->easy_init) &&
           curl_find(library, "curl_easy_setopt", &to->easy_setopt) &&
           curl_find(library, "curl_easy_getinfo", &to->easy_getinfo) &&
           curl_find(library, "curl_easy_pause", &to->easy_pause) &&
           curl_find(library, "curl_easy_cleanup", &to->easy_cleanup) &&
           curl_find(library, "curl_multi_init", &to->multi_init) &&
           curl_find(library, "curl_multi_add_handle", &to->multi_add_handle) &&
           curl_find(library, "curl_multi_remove_handle", &to->multi_remove_handle) &&
           curl_find(library, "curl_multi_perform", &to->multi_perform) &&
           curl_find(library, "curl_multi_poll", &to->multi_poll) &&
           curl_find(library, "curl_multi_wakeup", &to->multi_wakeup) &&
           curl_find(library, "curl_multi_info_read", &to->multi_info_read) &&
           curl_find(library, "curl_multi_cleanup", &to->multi_cleanup);
}

static bool curl_load(sock_curl *to)
{
    for (const char *name : curl_names) {
        void *library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
        /* Nothing but plain HTTP is spoken, so its encryption is left asleep. */
        if (library && curl_find_all(library, to) &&
            to->global_init(CURL_GLOBAL_NOTHING) == CURLE_OK)
            return true;
        if (library)
            (void)dlclose(library);
    }
    return false;
}

const sock_curl *sock_curl_get()
{
    const sys_guard guard(curl_lock);
    if (curl_loaded == curl_state::unknown)
        curl_loaded = curl_load(&curl_calls) ? curl_state::loaded : curl_state::missing;
    return curl_loaded == curl_state::loaded ? &curl_calls : nullptr;
}
