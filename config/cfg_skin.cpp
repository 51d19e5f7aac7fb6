/* cfg_skin: a usable skin when the chosen one cannot be loaded. */
#include "config/cfg.h"

#include "config/cfg_default.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/file/file.h"
#include "skin/skin.h"

#include <cstring>

static const char skins_folder[] = "skins";

using listing_owner = owner<file_listing, file_free_dir>;

void cfg_set_default_skin_part(char *to, size_t size, const char *part_name)
{
    const bool known = strcmp(part_name, "play") == 0 || strcmp(part_name, "list") == 0;
    (void)str_copy_to(to, size, known ? cfg_default_skin : "");
}

/* A path that does not fit would name another package. */
static bool is_usable(const char *path, size_t size, const char *part_name)
{
    if (strlen(path) >= size)
        return false;
    skin_part *part = skin_read_part(path, part_name);
    (void)skin_free_part(part);
    return part != nullptr;
}

int cfg_find_available_skin_part(char *to, size_t size, const char *part_name)
{
    file_listing listing = {};
    if (file_list_dir(&listing, skins_folder, skin_file_filter) != 0)
        return -1;
    const listing_owner holder(&listing);
    uint32_t index = listing.count > 0 && strcmp(listing.names[0], "..") == 0 ? 1 : 0;
    for (; index < listing.count; index++) {
        if (!is_usable(listing.paths[index], size, part_name))
            continue;
        (void)str_copy_to(to, size, listing.paths[index]);
        cfg_modified = 1;
        return 0;
    }
    return -1;
}
