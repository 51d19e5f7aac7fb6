/* device_sdl_input: keyboard, mouse and game controllers of the desktop window. */
#include "platform/base/device.h"
#include "platform/device/sdl/device_sdl.h"
#include "platform/input/drop.h"
#include "platform/input/key.h"
#include "platform/input/key_map.h"
#include "platform/input/touch.h"

#include <SDL.h>
#include <algorithm>
#include <bitset>
#include <cstdlib>
#include <linux/input-event-codes.h>

constexpr int controllers_most = 4;
constexpr int32_t wheel_steps_most = 5; /* of one event: a touch pad reports dozens */
constexpr int32_t stick_far = 16000, stick_near = 12000; /* apart, so that a key does not flutter */

/* What an axis presses at its ends; 0: nothing. */
struct axis_codes {
    uint8_t axis;
    uint16_t low, high;
};

static const sdl_code buttons[] = {
    {SDL_CONTROLLER_BUTTON_DPAD_UP, BTN_DPAD_UP},
    {SDL_CONTROLLER_BUTTON_DPAD_DOWN, BTN_DPAD_DOWN},
    {SDL_CONTROLLER_BUTTON_DPAD_LEFT, BTN_DPAD_LEFT},
    {SDL_CONTROLLER_BUTTON_DPAD_RIGHT, BTN_DPAD_RIGHT},
    {SDL_CONTROLLER_BUTTON_A, BTN_SOUTH},
    {SDL_CONTROLLER_BUTTON_B, BTN_EAST},
    {SDL_CONTROLLER_BUTTON_X, BTN_NORTH},
    {SDL_CONTROLLER_BUTTON_Y, BTN_WEST},
    {SDL_CONTROLLER_BUTTON_LEFTSHOULDER, BTN_TL},
    {SDL_CONTROLLER_BUTTON_RIGHTSHOULDER, BTN_TR},
    {SDL_CONTROLLER_BUTTON_BACK, BTN_SELECT},
    {SDL_CONTROLLER_BUTTON_START, BTN_START},
    {SDL_CONTROLLER_BUTTON_GUIDE, BTN_MODE},
    {SDL_CONTROLLER_BUTTON_LEFTSTICK, BTN_THUMBL},
    {SDL_CONTROLLER_BUTTON_RIGHTSTICK, BTN_THUMBR},
};

static const axis_codes axes[] = {
    {SDL_CONTROLLER_AXIS_LEFTX, key_code_axis + 2 * ABS_X, key_code_axis + 2 * ABS_X + 1},
    {SDL_CONTROLLER_AXIS_LEFTY, key_code_axis + 2 * ABS_Y, key_code_axis + 2 * ABS_Y + 1},
    {SDL_CONTROLLER_AXIS_RIGHTX, key_code_axis + 2 * ABS_RX, key_code_axis + 2 * ABS_RX + 1},
    {SDL_CONTROLLER_AXIS_RIGHTY, key_code_axis + 2 * ABS_RY, key_code_axis + 2 * ABS_RY + 1},
    {SDL_CONTROLLER_AXIS_TRIGGERLEFT, 0, BTN_TL2},
    {SDL_CONTROLLER_AXIS_TRIGGERRIGHT, 0, BTN_TR2},
};

/* Main thread. */
static constinit SDL_GameController *controllers[controllers_most] = {};
static constinit std::bitset<key_code_count> keys_held, pads_held; /* codes that are down */
static constinit bool closing = false;                             /* the window was closed */

static void hold(std::bitset<key_code_count> *held, uint16_t code, bool down)
{
    if ((*held)[code] == down)
        return;
    (*held)[code] = down;
    key_code_event(code, down);
}

static void forget(std::bitset<key_code_count> *held)
{
    for (uint16_t code = 0; code < key_code_count; code++) {
        if ((*held)[code])
            key_code_forget(code);
    }
    held->reset();
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

static void on_axis(const SDL_ControllerAxisEvent *event)
{
    for (const axis_codes &each : axes) {
        if (each.axis != event->axis)
            continue;
        const int32_t low_edge = pads_held[each.low] ? -stick_near : -stick_far;
        const int32_t high_edge = pads_held[each.high] ? stick_near : stick_far;
        if (each.low)
            hold(&pads_held, each.low, event->value < low_edge);
        hold(&pads_held, each.high, event->value > high_edge);
    }
}

static void on_pad_button(const SDL_ControllerButtonEvent *event)
{
    for (const sdl_code &each : buttons) {
        if (each.symbol == event->button)
            hold(&pads_held, each.code, event->type == SDL_CONTROLLERBUTTONDOWN);
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
            forget(&pads_held);
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
    const int32_t code = sdl_code_of_key(event->keysym.sym);
    if (code >= 0)
        hold(&keys_held, static_cast<uint16_t>(code), down);
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
        on_pad_button(&event->cbutton);
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
    if (closing) {
        key_lock(false); /* what locks the keys does not lock the window's frame */
        tap(key_quit);
    }
}

void sdl_input_open()
{
    closing = false;
    keys_held.reset();
    pads_held.reset();
}

void sdl_input_close()
{
    for (SDL_GameController *&each : controllers) {
        if (each)
            SDL_GameControllerClose(each);
        each = nullptr;
    }
}
