#include "platform/device/device_module.h"

#include "platform/base/device.h"
#include "platform/base/module.h"

#include <cstdio>
#include <cstring>

const device *device_module_load(const char *file)
{
    void *library = module_open(file);
    if (!library)
        return nullptr;
    const auto *module =
        static_cast<const device_module *>(module_find(library, "zerv_device_module"));
    if (module && module->size == sizeof(device) && strcmp(module->version, ZERV_VERSION) == 0)
        return module->record;
    fprintf(stderr, "%s cannot be used: it belongs to another version of the program\n", file);
    module_close(library);
    return nullptr;
}
