#include "platform/input/key_map.h"

#include "platform/input/key.h"
#include "platform/input/key_press.h"

#include <algorithm>
#include <iterator>

struct key_meaning {
    uint16_t code;
    uint32_t mask;
};

/* Everywhere. The order is that of the kernel's numbers. */
static constexpr key_meaning meanings[] = {
    {1, key_back},                   /* KEY_ESC */
    {12, key_vol_down},              /* KEY_MINUS */
    {13, key_vol_up},                /* KEY_EQUAL */
    {14, key_back},                  /* KEY_BACKSPACE */
    {15, key_switch},                /* KEY_TAB */
    {16, key_quit},                  /* KEY_Q */
    {28, key_select},                /* KEY_ENTER */
    {57, key_menu},                  /* KEY_SPACE */
    {63, key_reload},                /* KEY_F5 */
    {74, key_vol_down},              /* KEY_KPMINUS */
    {78, key_vol_up},                /* KEY_KPPLUS */
    {96, key_select},                /* KEY_KPENTER */
    {103, key_up},                   /* KEY_UP */
    {104, key_page_up},              /* KEY_PAGEUP */
    {105, key_left},                 /* KEY_LEFT */
    {106, key_right},                /* KEY_RIGHT */
    {108, key_down},                 /* KEY_DOWN */
    {109, key_page_down},            /* KEY_PAGEDOWN */
    {114, key_vol_down},             /* KEY_VOLUMEDOWN */
    {115, key_vol_up},               /* KEY_VOLUMEUP */
    {116, key_quit},                 /* KEY_POWER */
    {139, key_menu},                 /* KEY_MENU */
    {158, key_back},                 /* KEY_BACK */
    {163, key_media_next},           /* KEY_NEXTSONG */
    {164, key_media_play},           /* KEY_PLAYPAUSE */
    {165, key_media_prev},           /* KEY_PREVIOUSSONG */
    {166, key_media_stop},           /* KEY_STOPCD */
    {200, key_media_play},           /* KEY_PLAYCD */
    {0x130, key_select},             /* BTN_SOUTH */
    {0x131, key_back},               /* BTN_EAST */
    {0x133, key_menu},               /* BTN_NORTH */
    {0x134, key_switch},             /* BTN_WEST */
    {0x136, key_page_up},            /* BTN_TL */
    {0x137, key_page_down},          /* BTN_TR */
    {0x138, key_vol_down},           /* BTN_TL2 */
    {0x139, key_vol_up},             /* BTN_TR2 */
    {0x13a, key_switch},             /* BTN_SELECT: harmless everywhere */
    {0x13b, key_media_play},         /* BTN_START */
    {0x13c, key_quit},               /* BTN_MODE */
    {0x220, key_up},                 /* BTN_DPAD_UP */
    {0x221, key_down},               /* BTN_DPAD_DOWN */
    {0x222, key_left},               /* BTN_DPAD_LEFT */
    {0x223, key_right},              /* BTN_DPAD_RIGHT */
    {key_code_axis, key_left},       /* ABS_X-low */
    {key_code_axis + 1, key_right},  /* ABS_X-high */
    {key_code_axis + 2, key_up},     /* ABS_Y-low */
    {key_code_axis + 3, key_down},   /* ABS_Y-high */
    {key_code_axis + 32, key_left},  /* ABS_HAT0X-low */
    {key_code_axis + 33, key_right}, /* ABS_HAT0X-high */
    {key_code_axis + 34, key_up},    /* ABS_HAT0Y-low */
    {key_code_axis + 35, key_down},  /* ABS_HAT0Y-high */
};

/* On machines whose buttons are told by whatever codes their makers found: those of a small keyboard,
 * of a remote control, of an old joystick. */
static constexpr key_meaning handheld_meanings[] = {
    {29, key_select},        /* KEY_LEFTCTRL */
    {42, key_switch},        /* KEY_LEFTSHIFT */
    {56, key_back},          /* KEY_LEFTALT */
    {128, key_media_stop},   /* KEY_STOP */
    {172, key_quit},         /* KEY_HOMEPAGE */
    {174, key_back},         /* KEY_EXIT */
    {201, key_media_play},   /* KEY_PAUSECD */
    {207, key_media_play},   /* KEY_PLAY */
    {226, key_media_play},   /* KEY_MEDIA, of a headset */
    {0x120, key_menu},       /* BTN_TRIGGER: the upper of four buttons */
    {0x121, key_back},       /* BTN_THUMB: the right one */
    {0x122, key_select},     /* BTN_THUMB2: the lower one */
    {0x123, key_switch},     /* BTN_TOP: the left one */
    {0x124, key_page_up},    /* BTN_TOP2 */
    {0x125, key_page_down},  /* BTN_PINKIE */
    {0x126, key_vol_down},   /* BTN_BASE */
    {0x127, key_vol_up},     /* BTN_BASE2 */
    {0x128, key_switch},     /* BTN_BASE3 */
    {0x129, key_media_play}, /* BTN_BASE4 */
    {0x160, key_select},     /* KEY_OK */
    {0x161, key_select},     /* KEY_SELECT */
    {0x192, key_page_up},    /* KEY_CHANNELUP */
    {0x193, key_page_down},  /* KEY_CHANNELDOWN */
    {0x197, key_media_next}, /* KEY_NEXT */
    {0x19c, key_media_prev}, /* KEY_PREVIOUS */
    {0x2c0, key_left},       /* BTN_TRIGGER_HAPPY1: directions of some pads */
    {0x2c1, key_right},      /* BTN_TRIGGER_HAPPY2 */
    {0x2c2, key_up},         /* BTN_TRIGGER_HAPPY3 */
    {0x2c3, key_down},       /* BTN_TRIGGER_HAPPY4 */
};

static constinit key_map current = {};
static constinit key_map_report problems = {};

template <size_t count> static void add(key_map *map, const key_meaning (&from)[count])
{
    for (const key_meaning &each : from)
        map->all[map->count++] = {each.mask, {each.code}, 1, 0};
}

void key_map_defaults(key_map *map, key_machine machine)
{
    static_assert(std::size(meanings) + std::size(handheld_meanings) <= key_bindings_most / 2);
    map->count = 0;
    add(map, meanings);
    if (machine == key_machine::handheld)
        add(map, handheld_meanings);
}

const key_map *key_map_current()
{
    return &current;
}

const key_map_report *key_map_problems()
{
    return &problems;
}

bool key_map_is_named(uint16_t code)
{
    if (key_code_listener)
        return true;
    return std::any_of(current.all, current.all + current.count, [=](const key_binding &each) {
        return each.line > 0 &&
               std::find(each.codes, each.codes + each.count, code) != each.codes + each.count;
    });
}

void key_map_use(const key_map *map)
{
    key_press_reset();
    current.count = map->count;
    std::copy(map->all, map->all + map->count, current.all);
    key_press_look(&current);
}

void key_map_open(key_machine machine)
{
    static constinit key_map made = {}; /* 10 KiB are much for a stack */
    problems = {};
    key_map_defaults(&made, machine);
    (void)key_map_load(&made, key_map_file_name, &problems); /* the report says what is wrong */
    key_map_use(&made);
}
