/* contrast: how well one colour stands out from another. */
#include "tools/zerv_skin/contrast.h"

#include <algorithm>
#include <cmath>

static double linear(uint32_t value, uint32_t most)
{
    const double share = static_cast<double>(value) / most;
    return share <= 0.03928 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
}

struct light_table {
    double wide[64], narrow[32]; /* of six and of five bits */
};

static light_table make_table()
{
    light_table table = {};
    for (uint32_t i = 0; i < 64; i++)
        table.wide[i] = linear(i, 63);
    for (uint32_t i = 0; i < 32; i++)
        table.narrow[i] = linear(i, 31);
    return table;
}

double contrast_light(uint16_t colour)
{
    static const light_table table = make_table();
    return 0.2126 * table.narrow[colour >> 11] + 0.7152 * table.wide[colour >> 5 & 0x3F] +
           0.0722 * table.narrow[colour & 0x1F];
}

double contrast_between(double one, double other)
{
    return (std::max(one, other) + 0.05) / (std::min(one, other) + 0.05);
}
