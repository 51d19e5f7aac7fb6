/* seed: where a random test begins. It prints the number, and takes another from ZERV_TEST_SEED. */
#pragma once

#include <cstdio>
#include <cstdlib>

/* The seed of a test whose usual one is `usual`, so that a test on its own finds the same. */
inline unsigned seed_or(unsigned usual)
{
    const char *wanted = getenv("ZERV_TEST_SEED");
    const unsigned seed = wanted ? static_cast<unsigned>(strtoul(wanted, nullptr, 10)) : usual;
    printf("ZERV_TEST_SEED=%u repeats this\n", seed);
    return seed;
}
