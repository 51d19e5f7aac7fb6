#include "platform/input/key_press.h"

#include "platform/input/key.h"
#include "platform/input/key_map.h"

#include <algorithm>
#include <cstdint>

constinit key_code_hook key_code_listener = nullptr;

/* Main thread. */
static constinit const key_map *map = nullptr;
static constinit uint8_t holders[key_code_count] = {}; /* of a code: how many hold it down */
static constinit bool begins[key_code_count] = {};     /* a chord */
static constinit bool waits[key_code_count] = {};      /* for being let go, or for its chord */
static constinit bool acts[key_bindings_most] = {};    /* this binding holds its key down */

static bool has(const key_binding &of, uint16_t code)
{
    return std::find(of.codes, of.codes + of.count, code) != of.codes + of.count;
}

static uint32_t masks_down()
{
    uint32_t all = 0;
    for (uint32_t i = 0; i < map->count; i++)
        all |= acts[i] ? map->all[i].mask : 0;
    return all;
}

/* A key that is the hold switch: what the switch says, not each time that it is pressed. */
static bool is_hold_switch(const key_binding &of)
{
    return of.mask == key_hold && of.count == 1 && of.codes[0] >= key_code_switch;
}

static void act(uint32_t index)
{
    const key_binding &which = map->all[index];
    const bool is_new = (masks_down() & which.mask) == 0;
    acts[index] = true;
    if (is_hold_switch(which))
        key_lock(true);
    else if (which.mask && is_new)
        key_event(which.mask, true);
}

static void stop(uint32_t index)
{
    const key_binding &which = map->all[index];
    acts[index] = false;
    if (is_hold_switch(which))
        key_lock(false);
    else if (which.mask && (masks_down() & which.mask) == 0)
        key_event(which.mask, false);
}

/* The chord of most codes that the last one completes; -1 when there is none. */
static int32_t find_chord(uint16_t last)
{
    int32_t best = -1;
    uint32_t codes = 1;
    for (uint32_t i = 0; i < map->count; i++) {
        const key_binding &each = map->all[i];
        const uint16_t *end = each.codes + each.count - 1;
        if (each.count <= codes || *end != last ||
            !std::all_of(each.codes, end, [](uint16_t code) { return holders[code] > 0; }))
            continue;
        best = static_cast<int32_t>(i);
        codes = each.count;
    }
    return best;
}

static int32_t find_single(uint16_t code)
{
    for (uint32_t i = 0; i < map->count; i++) {
        if (map->all[i].count == 1 && map->all[i].codes[0] == code)
            return static_cast<int32_t>(i);
    }
    return -1;
}

static void press(uint16_t code)
{
    const int32_t chord = find_chord(code);
    const int32_t single = find_single(code);
    if (chord >= 0) {
        const key_binding &which = map->all[chord];
        for (uint32_t i = 0; i + 1 < which.count; i++)
            waits[which.codes[i]] = false; /* it has done its part */
        act(static_cast<uint32_t>(chord));
    } else if (begins[code]) {
        waits[code] = true;
    } else if (single >= 0) {
        act(static_cast<uint32_t>(single));
    }
}

static void lift(uint16_t code, bool forgotten)
{
    for (uint32_t i = 0; i < map->count; i++) {
        if (acts[i] && has(map->all[i], code))
            stop(i);
    }
    const int32_t single = waits[code] && !forgotten ? find_single(code) : -1;
    waits[code] = false;
    if (single < 0)
        return;
    act(static_cast<uint32_t>(single));
    stop(static_cast<uint32_t>(single));
}

void key_press_reset()
{
    for (uint32_t i = 0; map && i < map->count; i++) {
        if (acts[i])
            stop(i);
    }
    std::fill_n(holders, key_code_count, uint8_t{0});
    std::fill_n(waits, key_code_count, false);
    map = nullptr;
}

void key_press_look(const key_map *at)
{
    map = at;
    std::fill_n(begins, key_code_count, false);
    for (uint32_t i = 0; i < map->count; i++) {
        for (uint32_t part = 0; part + 1 < map->all[i].count; part++)
            begins[map->all[i].codes[part]] = true;
    }
}

void key_code_event(uint16_t code, bool down)
{
    if (key_code_listener)
        return key_code_listener(code, down);
    if (!map || code >= key_code_count)
        return;
    if (down) {
        if (holders[code] < UINT8_MAX && holders[code]++ == 0)
            press(code);
    } else if (holders[code] > 0 && --holders[code] == 0) {
        lift(code, false);
    }
}

void key_code_forget(uint16_t code)
{
    if (key_code_listener)
        return key_code_listener(code, false);
    if (map && code < key_code_count && holders[code] > 0 && --holders[code] == 0)
        lift(code, true);
}
