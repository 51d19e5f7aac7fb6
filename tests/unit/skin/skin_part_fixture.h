/* What the tests of parts share: packages of both kinds, and a look into what was read. */
#pragma once

#include "skin/skin.h"
#include "unit/skin/skin_fixture.h"

#include <vector>

/* Each case runs for an archive and for a folder of the same files. */
struct skin_part_test : skin_test {
    void pack(const members &files)
    {
        (void)file_remove("s.zip");
        (void)file_remove("s");
        make_zip("s.zip", files);
        make_folder("s", files);
    }

    const char *kinds[2] = {"s.zip", "s"};
};

inline part_owner read_part(const char *path, const char *name = "list")
{
    return part_owner(skin_read_part(path, name));
}

inline std::vector<int> variants(const part_owner &part)
{
    std::vector<int> found;
    for (uint32_t i = 0; part && i < part->count; i++)
        found.push_back(part->pages[i].variant);
    return found;
}

inline const skin_element *element_of(const part_owner &part, uint32_t index)
{
    return &part->pages[0].elements[index];
}
