#include "platform/input/key_name.h"

#include "platform/input/key.h"

#include <cstring>
#include <iterator>
#include <strings.h>

constinit const key_name key_names[] = {
    {"up", key_up},
    {"down", key_down},
    {"left", key_left},
    {"right", key_right},
    {"select", key_select},
    {"back", key_back},
    {"menu", key_menu},
    {"switch", key_switch},
    {"page_up", key_page_up},
    {"page_down", key_page_down},
    {"vol_up", key_vol_up},
    {"vol_down", key_vol_down},
    {"reload", key_reload},
    {"quit", key_quit},
    {"media_play", key_media_play},
    {"media_stop", key_media_stop},
    {"media_prev", key_media_prev},
    {"media_next", key_media_next},
    {"hold", key_hold},
    {"headphones", key_headphones},
};
constinit const size_t key_name_count = std::size(key_names);

uint32_t key_name_find(const char *name, size_t length)
{
    for (const key_name &each : key_names) {
        if (strlen(each.name) == length && strncasecmp(each.name, name, length) == 0)
            return each.mask;
    }
    return 0;
}
