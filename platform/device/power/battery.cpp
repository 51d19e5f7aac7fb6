#include "platform/device/power/battery.h"

#include "platform/base/clock.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <dirent.h>

constexpr char supplies[] = "/sys/class/power_supply";
constexpr int64_t look_every_ms = 10000;

/* Main thread. */
static constinit int64_t looked_at_ms = 0;
static constinit int32_t level = -1; /* -1: never looked */

/* One line of a file below the folder, "" when there is none. */
template <size_t size>
static void read_line(const char *folder, const char *supply, const char *name, char (&line)[size])
{
    char path[512];
    line[0] = 0;
    if (!str_format(path, "%s/%s/%s", folder, supply, name))
        return;
    owner<FILE, fclose> file(fopen(path, "re"));
    if (!file || !fgets(line, sizeof line, file.get()))
        line[0] = 0;
    line[strcspn(line, "\n")] = 0;
}

static int64_t read_number(const char *folder, const char *supply, const char *name)
{
    char line[32];
    const char *rest = nullptr;
    read_line(folder, supply, name, line);
    const int32_t value = str_to_int32(line, &rest);
    return rest == line ? -1 : value;
}

/* Per cent, or -1. Some drivers know no "capacity", only what is left of a full charge. */
static int32_t supply_level(const char *folder, const char *supply)
{
    char type[32], scope[32];
    read_line(folder, supply, "type", type);
    read_line(folder, supply, "scope", scope);
    if (strcmp(type, "Battery") != 0 || strcmp(scope, "Device") == 0)
        return -1; /* a mouse has a battery too, and it is not ours */
    const int64_t capacity = read_number(folder, supply, "capacity");
    if (capacity >= 0)
        return static_cast<int32_t>(std::min<int64_t>(capacity, 100));
    static const char *const pairs[][2] = {{"charge_now", "charge_full"},
                                           {"energy_now", "energy_full"}};
    for (const auto &pair : pairs) {
        const int64_t now = read_number(folder, supply, pair[0]);
        const int64_t full = read_number(folder, supply, pair[1]);
        if (now >= 0 && full > 0)
            return static_cast<int32_t>(std::min<int64_t>(now * 100 / full, 100));
    }
    return -1;
}

int32_t battery_read(const char *folder)
{
    owner<DIR, closedir> listing(opendir(folder));
    int32_t lowest = -1;
    while (const dirent *entry = listing ? readdir(listing.get()) : nullptr) {
        const int32_t one = entry->d_name[0] == '.' ? -1 : supply_level(folder, entry->d_name);
        if (one >= 0 && (lowest < 0 || one < lowest))
            lowest = one;
    }
    return lowest < 0 ? 100 : lowest;
}

void battery_forget()
{
    level = -1;
}

int32_t battery_level()
{
    const int64_t now = clock_real_msec();
    if (level < 0 || now - looked_at_ms >= look_every_ms) {
        level = battery_read(supplies);
        looked_at_ms = now;
    }
    return level;
}
