#include "platform/device/web/wire/web_message.h"

#include "platform/base/device.h"
#include "platform/input/key.h"
#include "platform/input/key_code.h"
#include "platform/input/touch.h"

#include <bit>
#include <iterator>

constexpr uint32_t keys_known = key_up | key_down | key_left | key_right | key_page_up |
                                key_page_down | key_select | key_menu | key_reload | key_switch |
                                key_back | key_quit | key_vol_up | key_vol_down | key_media;

static uint32_t get_16(const uint8_t *from)
{
    return static_cast<uint32_t>(from[0] | from[1] << 8);
}

static uint32_t get_32(const uint8_t *from)
{
    return get_16(from) | get_16(from + 2) << 16;
}

static bool read_flag(const uint8_t *from, web_message *to)
{
    to->on = from[0] == 1;
    return from[0] <= 1;
}

static bool read_key(const uint8_t *from, web_message *to)
{
    to->key = get_32(from + 1);
    return read_flag(from, to) && std::has_single_bit(to->key) && (to->key & keys_known);
}

static bool read_code(const uint8_t *from, web_message *to)
{
    to->code = static_cast<uint16_t>(get_16(from + 1));
    return read_flag(from, to) && to->code > 0 && to->code < key_code_axis;
}

static bool read_finger(const uint8_t *from, web_message *to)
{
    to->touch_type = from[0];
    to->x = static_cast<int32_t>(get_16(from + 1));
    to->y = static_cast<int32_t>(get_16(from + 3));
    return to->touch_type >= touch_type_press && to->touch_type <= touch_type_move &&
           to->x < device_width && to->y < device_height;
}

static bool read_battery(const uint8_t *from, web_message *to)
{
    to->percent = from[0];
    return to->percent <= 100;
}

static bool read_heard(const uint8_t *from, web_message *to)
{
    to->frames_come = get_32(from);
    to->frames_left = get_32(from + 4);
    return true;
}

static bool read_nothing(const uint8_t *, web_message *)
{
    return true;
}

struct word_reader {
    size_t bytes; /* behind the first one */
    bool (*read)(const uint8_t *from, web_message *to);
};

/* In the order of web_word, from its first value. */
static constexpr word_reader readers[] = {
    {5, read_key},  {5, read_finger}, {1, read_battery}, {0, read_nothing},
    {1, read_flag}, {8, read_heard},  {0, read_nothing}, {3, read_code},
};

int web_read_message(const uint8_t *bytes, size_t length, web_message *to)
{
    if (length == 0 || bytes[0] == 0 || bytes[0] > std::size(readers))
        return -1;
    const word_reader &reader = readers[bytes[0] - 1];
    web_message made = {};
    made.word = static_cast<web_word>(bytes[0]);
    if (length != reader.bytes + 1 || !reader.read(bytes + 1, &made))
        return -1;
    *to = made;
    return 0;
}

void web_put_state(const web_state &state, uint8_t (&to)[web_state_bytes])
{
    to[0] = static_cast<uint8_t>(web_news::state);
    to[1] = static_cast<uint8_t>(state.keys);
    to[2] = state.lit;
    to[3] = static_cast<uint8_t>(state.battery);
    web_put_32(to + 4, state.upload_mib);
}
