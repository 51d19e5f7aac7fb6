/* audio_tag_library: the tag library, which is a file of its own. */
#include "platform/audio/audio_tag_library.h"

#include "platform/base/module.h"

#include <cstring>

const audio_tag_library *audio_tag_library_of(void *module)
{
    const void *name = module ? module_find(module, "zerv_audio_tag_library") : nullptr;
    const auto *found = static_cast<const audio_tag_library *>(name);
    if (!found || found->size != sizeof *found || strcmp(found->version, ZERV_VERSION) != 0)
        return nullptr;
    return found;
}
