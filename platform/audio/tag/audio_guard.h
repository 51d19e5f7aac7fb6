/* audio_guard: the boundary around the tag library, which throws when memory runs out. What stands
 * between the two is compiled with exceptions. */
#pragma once

/* What `work` returns, `failed` when it throws. */
template <typename T, typename F> T audio_guard(T failed, F work)
{
    try {
        return work();
    } catch (...) {
        return failed;
    }
}
