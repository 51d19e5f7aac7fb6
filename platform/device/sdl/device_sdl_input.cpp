/* device_sdl_input: keyboard, mouse and game controllers of the desktop window. */
#include "platform/base/device.h"
#include "platform/device/sdl/device_sdl.h"
#include "platform/input/drop.h"
#include "platform/input/key.h"
#include "platform/input/touch.h"

#include <SDL.h>
#include <algorithm>
#include <cstdlib>

constexpr int controllers_most = 4;
constexpr int32_t wheel_steps_most = 5; /* of one event: a touch pad reports dozens */
constexpr int32_t stick_far = 16000, stick_near = 12000; /* apart, so that a key does not flutter */

struct key_of {
    int32_t code; /* of SDL */
    uint32_t mask;
};

static const key_of keyboard[] = {
    {SDLK_UP, key_up},
    {SDLK_DOWN, key_down},
    {SDLK_LEFT, key_left},
    {SDLK_RIGHT, key_right},
    {SDLK_PAGEUP, key_page_up},
    {SDLK_PAGEDOWN, key_page_down},
    {SDLK_RETURN, key_select},
    {SDLK_KP_ENTER, key_select},
    {SDLK_SPACE, key_menu},
    {SDLK_TAB, key_switch},
    {SDLK_F5, key_reload},
    {SDLK_ESCAPE, key_back},
    {SDLK_BACKSPACE, key_back},
    {SDLK_q, key_quit},
    {SDLK_PLUS, key_vol_up},
    {SDLK_EQUALS, key_vol_up},
    {SDLK_KP_PLUS, key_vol_up},
    {SDLK_MINUS, key_vol_down},
    {SDLK_KP_MINUS, key_vol_down},
    {SDLK_AC_BACK, key_back},
    {SDLK_VOLUMEUP, key_vol_up},
    {SDLK_VOLUMEDOWN, key_vol_down},
    {SDLK_AUDIOPLAY, key_media_play},
    {SDLK_AUDIOSTOP, key_media_stop},
    {SDLK_AUDIOPREV, key_media_prev},
    {SDLK_AUDIONEXT, key_media_next},
};

static const key_of buttons[] = {
    {SDL_CONTROLLER_BUTTON_DPAD_UP, key_up},
    {SDL_CONTROLLER_BUTTON_DPAD_DOWN, key_down},
    {SDL_CONTROLLER_BUTTON_DPAD_LEFT, key_left},
    {SDL_CONTROLLER_BUTTON_DPAD_RIGHT, key_right},
    {SDL_CONTROLLER_BUTTON_A, key_select},
    {SDL_CONTROLLER_BUTTON_B, key_back},
    {SDL_CONTROLLER_BUTTON_X, key_menu},
    {SDL_CONTROLLER_BUTTON_Y, key_switch},
    {SDL_CONTROLLER_BUTTON_LEFTSHOULDER, key_page_up},
    {SDL_CONTROLLER_BUTTON_RIGHTSHOULDER, key_page_down},
    {SDL_CONTROLLER_BUTTON_BACK, key_switch}, /* labelled SELECT by many: harmless everywhere */
    {SDL_CONTROLLER_BUTTON_START, key_media_play},
    {SDL_CONTROLLER_BUTTON_GUIDE, key_quit},
};

/* What an axis presses at its ends; 0: nothing. */
struct axis_keys {
    uint8_t axis;
    uint32_t low, high;
};

static const axis_keys axes[] = {
    {SDL_CONTROLLER_AXIS_LEFTX, key_left, key_right},
    {SDL_CONTROLLER_AXIS_LEFTY, key_up, key_down},
    {SDL_CONTROLLER_AXIS_TRIGGERLEFT, 0, key_vol_down},
    {SDL_CONTROLLER_AXIS_TRIGGERRIGHT, 0, key_vol_up},
};

/* Main thread. */
static constinit SDL_GameController *controllers[controllers_most] = {};
static constinit uint32_t axes_down = 0; /* keys that the sticks hold */
static constinit bool closing = false;   /* the window was closed */

template <size_t count> static uint32_t find_mask(const key_of (&table)[count], int32_t code)
{
    for (const key_of &each : table) {
        if (each.code == code)
            return each.mask;
    }
    return 0;
}

static void send(uint32_t mask, bool down)
{
    if (mask)
        key_event(mask, down);
}

static void on_motion(const SDL_MouseMotionEvent *event)
{
    if (event->state & SDL_BUTTON_LMASK)
        touch_event(touch_type_move, event->x, event->y);
}

static void tap(uint32_t mask)
{
    key_event(mask, true);
    key_event(mask, false);
}

static void on_wheel(const SDL_MouseWheelEvent *event)
{
    const int32_t steps = std::min(std::abs(event->y), wheel_steps_most);
    for (int32_t i = 0; i < steps; i++)
        tap(event->y > 0 ? key_up : key_down);
}

/* A press on the black bars beside the picture is none; a release there ends a drag. */
static void on_button(const SDL_MouseButtonEvent *event)
{
    const bool down = event->state == SDL_PRESSED;
    if (down && (event->button == SDL_BUTTON_RIGHT || event->button == SDL_BUTTON_X1))
        tap(key_back);
    const bool inside =
        event->x >= 0 && event->x < device_width && event->y >= 0 && event->y < device_height;
    if (event->button != SDL_BUTTON_LEFT || (down && !inside))
        return;
    (void)SDL_CaptureMouse(down ? SDL_TRUE : SDL_FALSE); /* a drag may leave the window */
    touch_event(down ? touch_type_press : touch_type_release, event->x, event->y);
}

static uint32_t axis_mask(const axis_keys *keys, int32_t value)
{
    const int32_t low_edge = axes_down & keys->low ? -stick_near : -stick_far;
    const int32_t high_edge = axes_down & keys->high ? stick_near : stick_far;
    if (value < low_edge)
        return keys->low;
    return value > high_edge ? keys->high : 0;
}

static void on_axis(const SDL_ControllerAxisEvent *event)
{
    for (const axis_keys &each : axes) {
        if (each.axis != event->axis)
            continue;
        const uint32_t before = axes_down & (each.low | each.high);
        const uint32_t now = axis_mask(&each, event->value);
        send(before & ~now, false);
        send(now & ~before, true);
        axes_down = (axes_down & ~before) | now;
    }
}

static SDL_JoystickID id_of(SDL_GameController *controller)
{
    return SDL_JoystickInstanceID(SDL_GameControllerGetJoystick(controller));
}

static void on_controller_added(int32_t index)
{
    for (SDL_GameController *&each : controllers) {
        if (each)
            continue;
        each = SDL_GameControllerOpen(index);
        if (each)
            sdl_wait_add_pad(id_of(each), SDL_GameControllerPath(each));
        return;
    }
}

static void on_controller_removed(SDL_JoystickID id)
{
    for (SDL_GameController *&each : controllers) {
        if (each && id_of(each) == id) {
            sdl_wait_remove_pad(id);
            SDL_GameControllerClose(each);
            each = nullptr;
            send(axes_down, false);
            axes_down = 0;
        }
    }
}

static void on_window(const SDL_WindowEvent *event)
{
    if (event->event == SDL_WINDOWEVENT_EXPOSED || event->event == SDL_WINDOWEVENT_SIZE_CHANGED)
        sdl_screen_repeat();
}

/* Keys repeat at the player's own pace, see key.h. */
static void on_key(const SDL_KeyboardEvent *event)
{
    const bool down = event->type == SDL_KEYDOWN;
    if (event->repeat)
        return;
    if (event->keysym.sym == SDLK_F11 && down)
        sdl_screen_toggle_full();
    send(find_mask(keyboard, event->keysym.sym), down);
}

static void on_drop(const SDL_DropEvent *event)
{
    if (event->type == SDL_DROPFILE && event->file)
        drop_event(event->file);
    if (event->type == SDL_DROPCOMPLETE)
        drop_end();
    SDL_free(event->file);
}

static void on_event(const SDL_Event *event)
{
    switch (event->type) {
    case SDL_KEYDOWN:
    case SDL_KEYUP:
        on_key(&event->key);
        break;
    case SDL_MOUSEWHEEL:
        on_wheel(&event->wheel);
        break;
    case SDL_DROPFILE:
    case SDL_DROPTEXT:
    case SDL_DROPCOMPLETE:
        on_drop(&event->drop);
        break;
    case SDL_MOUSEMOTION:
        on_motion(&event->motion);
        break;
    case SDL_MOUSEBUTTONDOWN:
    case SDL_MOUSEBUTTONUP:
        on_button(&event->button);
        break;
    case SDL_CONTROLLERBUTTONDOWN:
    case SDL_CONTROLLERBUTTONUP:
        send(find_mask(buttons, event->cbutton.button), event->type == SDL_CONTROLLERBUTTONDOWN);
        break;
    case SDL_CONTROLLERAXISMOTION:
        on_axis(&event->caxis);
        break;
    case SDL_CONTROLLERDEVICEADDED:
        on_controller_added(event->cdevice.which);
        break;
    case SDL_CONTROLLERDEVICEREMOVED:
        on_controller_removed(event->cdevice.which);
        break;
    case SDL_WINDOWEVENT:
        on_window(&event->window);
        break;
    case SDL_QUIT:
        closing = true;
        break;
    }
}

void sdl_input_poll()
{
    SDL_Event event;
    while (SDL_PollEvent(&event))
        on_event(&event);
    /* In every pass: the first press may do no more than light a dark display. */
    if (closing)
        tap(key_quit);
}

void sdl_input_open()
{
    closing = false;
    axes_down = 0;
}

void sdl_input_close()
{
    for (SDL_GameController *&each : controllers) {
        if (each)
            SDL_GameControllerClose(each);
        each = nullptr;
    }
}
