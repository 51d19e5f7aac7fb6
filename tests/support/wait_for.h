/* wait_for: what another thread or process brings about, waited for up to a deadline. */
#pragma once

#include <chrono>
#include <thread>

/* True once `holds` does; gives up when the seconds are over. It rests between two looks: spinning
 * would take the processor from the very thread that is waited for. */
template <typename condition> bool wait_for(const condition &holds, int seconds = 10)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}
