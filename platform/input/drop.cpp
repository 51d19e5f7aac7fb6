#include "platform/input/drop.h"

#include "platform/base/dynamic.h"
#include "platform/sound/sound.h"

#include <cstdlib>
#include <cstring>

constexpr uint32_t paths_most = 10000;

static constinit dynamic paths = {.data = nullptr, .count = 0, .capacity = 0, .element_size = 0};
static constinit bool whole = false;

static char **all_paths()
{
    return static_cast<char **>(paths.data);
}

uint32_t drop_count()
{
    return whole ? paths.count : 0;
}

const char *drop_path(uint32_t index)
{
    return index < drop_count() ? all_paths()[index] : nullptr;
}

void drop_forget()
{
    for (uint32_t i = 0; i < paths.count; i++)
        free(all_paths()[i]);
    (void)dynamic_free(&paths);
    whole = false;
}

void drop_event(const char *path)
{
    sound_wake();
    if (paths.count >= paths_most)
        return;
    if (!paths.data)
        (void)dynamic_init(&paths, sizeof(char *));
    char *kept = strdup(path);
    if (kept && dynamic_add(&paths, &kept) != 0)
        free(kept); /* without memory it is as if it had not been dropped */
}

void drop_end()
{
    whole = true;
}
