/* sock_curl: libcurl, loaded when a host is first asked. Inside the network files only.
 *
 * It brings thirty libraries and several megabytes along, which a player that asks nobody has no
 * use for. */
#pragma once

#include <curl/curl.h>

struct sock_curl {
    decltype(&curl_global_init) global_init;
    decltype(&curl_easy_init) easy_init;
    decltype(&curl_easy_setopt) easy_setopt;
    decltype(&curl_easy_getinfo) easy_getinfo;
    decltype(&curl_easy_pause) easy_pause;
    decltype(&curl_easy_cleanup) easy_cleanup;
    decltype(&curl_multi_init) multi_init;
    decltype(&curl_multi_add_handle) multi_add_handle;
    decltype(&curl_multi_remove_handle) multi_remove_handle;
    decltype(&curl_multi_perform) multi_perform;
    decltype(&curl_multi_poll) multi_poll;
    decltype(&curl_multi_wakeup) multi_wakeup;
    decltype(&curl_multi_info_read) multi_info_read;
    decltype(&curl_multi_cleanup) multi_cleanup;
};

/* The library's functions, null when it is not installed. It stays loaded. Any thread. */
const sock_curl *sock_curl_get();
