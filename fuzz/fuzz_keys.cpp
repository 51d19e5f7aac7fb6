/* fuzz_keys: the key map, from its text to codes that go down and up. The text ends at the first 0xff;
 * each two bytes behind it are a code and what becomes of it. */
#include "fuzz/fuzz.h"
#include "platform/base/device.h"
#include "platform/input/key.h"
#include "platform/input/key_map.h"
#include "platform/input/touch.h"

#include <cstring>

static int succeed()
{
    return 0;
}

static int64_t now_ms = 1000000;

static const device quiet_device = {
    .name = "quiet",
    .open = succeed,
    .close = succeed,
    .screen_open = [](int32_t, int32_t) { return 0; },
    .screen_close = succeed,
    .screen_show = [](const fb_surface *) { return 0; },
    .screen_power = [](int) { return 0; },
    .key_open = succeed,
    .key_close = succeed,
    .touch_open = succeed,
    .touch_close = succeed,
    .poll = [] {},
    .speaker = []() -> const sound_speaker * { return nullptr; },
    .battery = [] { return 100; },
    .msec = [] { return now_ms; },
    .wall = [] { return time_t{0}; },
    .msleep = [](int32_t) {},
};

static void check_map(const key_map &map)
{
    if (map.count > key_bindings_most)
        abort();
    for (uint32_t i = 0; i < map.count; i++) {
        const key_binding &each = map.all[i];
        if (each.count == 0 || each.count > key_binding_codes_most)
            abort();
        for (uint32_t part = 0; part < each.count; part++) {
            key_code_text text;
            key_code_write(each.codes[part], text);
            if (key_code_find(text, strlen(text)) != each.codes[part])
                abort();
        }
    }
}

/* Whatever was pressed, nothing is down once all codes are up. */
static void press(const uint8_t *data, size_t size)
{
    key_report report;
    uint8_t held[key_code_count] = {};
    for (size_t i = 0; i + 1 < size; i += 2) {
        const uint16_t code =
            static_cast<uint16_t>((data[i] | (data[i + 1] & 3) << 8) % key_code_count);
        const bool down = (data[i + 1] & 4) != 0;
        now_ms += data[i + 1] & 0x70;
        if (down ? held[code] == UINT8_MAX : held[code] == 0)
            continue;
        held[code] = static_cast<uint8_t>(down ? held[code] + 1 : held[code] - 1);
        if (data[i + 1] & 0x80 && !down)
            key_code_forget(code);
        else
            key_code_event(code, down);
        if (data[i + 1] & 8)
            (void)key_check(&report);
    }
    for (uint16_t code = 0; code < key_code_count; code++) {
        for (; held[code] > 0; held[code]--)
            key_code_event(code, false);
    }
    for (int pass = 0; pass < 200; pass++)
        (void)key_check(&report);
    if (report.held != 0)
        abort();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    device_current = &quiet_device;
    if (key_open() != 0 || touch_open() != 0)
        abort();
    const void *end = size > 0 ? memchr(data, 0xff, size) : nullptr;
    const size_t length =
        end ? static_cast<size_t>(static_cast<const uint8_t *>(end) - data) : size;
    static key_map map;
    key_map_report report = {};
    key_map_defaults(&map, size % 2 ? key_machine::handheld : key_machine::desktop);
    key_map_read(&map, reinterpret_cast<const char *>(data), length, "keys.txt", &report);
    check_map(map);
    if (!memchr(report.first, '\0', sizeof report.first) ||
        (report.bad_lines > 0) != (report.first[0] != '\0'))
        abort();
    key_map_use(&map);
    if (end)
        press(data + length + 1, size - length - 1);
    touch_close();
    key_close();
    return 0;
}
