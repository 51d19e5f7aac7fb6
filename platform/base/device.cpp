#include "platform/base/device.h"

constinit const device *device_current = nullptr;
void (*device_woke)(bool slept) = nullptr;
void (*device_ask_program)(device_program_state *state) = nullptr;
