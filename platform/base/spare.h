/* spare: memory for libraries that step on a null when an allocation of their own fails. */
#pragma once

#include <cstddef>
#include <cstdlib>

/* More than opening an Ogg file or a resampler takes: their tables have a few hundred KiB. */
constexpr size_t spare_bytes = 1u << 20;

/* Whether so much could be had a moment ago. Other threads may take it meanwhile; what is left of
 * the danger is that. */
inline bool spare_is_there()
{
    void *volatile probe = malloc(spare_bytes); /* volatile: the pair would be left out */
    const bool had = probe != nullptr;
    free(probe);
    return had;
}
