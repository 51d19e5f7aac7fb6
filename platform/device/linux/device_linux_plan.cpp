/* device_linux_plan: how full a card is kept, and how often it wakes the sound thread. */
#include "platform/device/linux/device_linux.h"
#include "platform/sound/sound.h"

#include <algorithm>

/* Never more lies in a card that could hold less, because the volume no longer reaches it. */
constexpr int32_t held_most = sound_rate * 110 / 1000;
constexpr int32_t apart_least = sound_rate * 40 / 1000; /* between two wake-ups */

linux_card_plan linux_card_plan_of(int32_t size, int32_t period)
{
    linux_card_plan made = {};
    /* A card of few and long periods runs dry between them with less. */
    made.fill = std::min(size, std::max(held_most, 2 * period));
    const int32_t half = std::max(made.fill / 2 / period, 1);
    const int32_t apart = std::clamp((apart_least + period - 1) / period, 1, half) * period;
    made.wake_room = size - made.fill + std::min(apart, made.fill);
    return made;
}
