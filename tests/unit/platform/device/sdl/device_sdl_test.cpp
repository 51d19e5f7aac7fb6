/* The desktop window on a display in memory, and events that the test posts. */
#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/base/fault.h"
#include "platform/device/sys.h"
#include "platform/draw/fb.h"
#include "platform/input/drop.h"
#include "platform/input/key.h"
#include "platform/input/touch.h"
#include "platform/sound/sound.h"
#include "support/x_server.h"

#include <SDL.h>
#include <atomic>
#include <chrono>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

/* Last, because its macros have the names of other things. */
#include <SDL_syswm.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

static std::atomic<uint32_t> heard{0};

/* What the message bus keeps to its end is not ours to free. */
extern "C" const char *__lsan_default_suppressions();
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:libdbus-1";
}

/* One display for all tests of this program. */
static const std::string &display()
{
    static const x_server server;
    return server.name;
}

static void use_display()
{
    ASSERT_NE(display(), "") << "Xvfb does not start";
    setenv("DISPLAY", display().c_str(), 1);
    setenv("SDL_VIDEODRIVER", "x11", 1);
}

static void on_sound(void *, void *buffer, uint32_t length)
{
    int16_t *samples = static_cast<int16_t *>(buffer);
    for (uint32_t i = 0; i < length / 2; i++)
        samples[i] = 1000;
    heard += length / sound_frame_bytes;
}

class device_sdl_window : public testing::Test
{
  protected:
    void SetUp() override
    {
        fault_set("");
        setenv("ZERV_DEVICE", "sdl", 1);
        use_display();
        setenv("SDL_AUDIODRIVER", "dummy", 1);
        ASSERT_EQ(sys_init(), 0);
        ASSERT_EQ(key_open(), 0);
        ASSERT_EQ(touch_open(), 0);
        ASSERT_EQ(fb_open(320, 240), 0);
        pass();
    }

    void TearDown() override
    {
        sound_close();
        touch_close();
        key_close();
        fb_close();
        EXPECT_EQ(sys_exit(), 0);
        EXPECT_EQ(sys_status(), 0);
    }

    key_report pass()
    {
        key_report report;
        key_check(&report);
        return report;
    }

    static void post_key(SDL_Keycode code, bool down, bool repeat = false)
    {
        SDL_Event event = {};
        event.type = down ? SDL_KEYDOWN : SDL_KEYUP;
        event.key.state = down ? SDL_PRESSED : SDL_RELEASED;
        event.key.repeat = repeat;
        event.key.keysym.sym = code;
        SDL_PushEvent(&event);
    }

    static void post_mouse(uint32_t type, int x, int y, uint8_t button = SDL_BUTTON_LEFT)
    {
        SDL_Event event = {};
        event.type = type;
        if (type == SDL_MOUSEMOTION) {
            event.motion.state = SDL_BUTTON_LMASK;
            event.motion.x = x;
            event.motion.y = y;
        } else {
            event.button.state = type == SDL_MOUSEBUTTONDOWN ? SDL_PRESSED : SDL_RELEASED;
            event.button.button = button;
            event.button.x = x;
            event.button.y = y;
        }
        SDL_PushEvent(&event);
    }

    static uint16_t shown_pixel(int x, int y)
    {
        SDL_Window *window = nullptr;
        for (uint32_t id = 1; !window && id < 1000; id++)
            window = SDL_GetWindowFromID(id);
        uint16_t pixel = 0x1234;
        SDL_Renderer *renderer = SDL_GetRenderer(window);
        const SDL_Rect spot = {x, y, 1, 1};
        EXPECT_EQ(SDL_RenderReadPixels(renderer, &spot, SDL_PIXELFORMAT_RGB565, &pixel, 2), 0);
        return pixel;
    }
};

TEST_F(device_sdl_window, shows_frames_and_goes_dark)
{
    fb_clear(fb_cur, 0xf81f);
    EXPECT_EQ(fb_flip(), 0);
    EXPECT_EQ(shown_pixel(0, 0), 0xf81f);
    EXPECT_EQ(fb_set_power(0), 0);
    EXPECT_EQ(shown_pixel(0, 0), 0);
    EXPECT_EQ(fb_set_power(1), 0);
    EXPECT_EQ(shown_pixel(0, 0), 0xf81f);
}

TEST_F(device_sdl_window, draws_again_what_the_window_system_lost)
{
    fb_clear(fb_cur, 0x07e0);
    EXPECT_EQ(fb_flip(), 0);
    SDL_Window *window = SDL_GetWindowFromID(1);
    for (uint32_t id = 1; !window && id < 1000; id++)
        window = SDL_GetWindowFromID(id);
    SDL_Renderer *renderer = SDL_GetRenderer(window);
    SDL_SetRenderDrawColor(renderer, 1, 2, 3, 255);
    SDL_RenderClear(renderer);
    SDL_Event event = {};
    event.type = SDL_WINDOWEVENT;
    event.window.event = SDL_WINDOWEVENT_EXPOSED;
    SDL_PushEvent(&event);
    pass();
    EXPECT_EQ(shown_pixel(5, 5), 0x07e0);
}

TEST_F(device_sdl_window, knows_every_key)
{
    const struct {
        SDL_Keycode code;
        uint32_t mask;
    } keys[] = {{SDLK_UP, 0x1},
                {SDLK_DOWN, 0x10},
                {SDLK_LEFT, 0x4},
                {SDLK_RIGHT, 0x40},
                {SDLK_PAGEUP, 0x400},
                {SDLK_PAGEDOWN, 0x800},
                {SDLK_RETURN, 0x2000},
                {SDLK_SPACE, 0x1000},
                {SDLK_TAB, 0x4000},
                {SDLK_F5, 0x8000},
                {SDLK_ESCAPE, 0x200},
                {SDLK_BACKSPACE, 0x200},
                {SDLK_q, 0x100},
                {SDLK_PLUS, 0x10000},
                {SDLK_EQUALS, 0x10000},
                {SDLK_MINUS, 0x20000},
                {SDLK_KP_PLUS, 0x10000},
                {SDLK_KP_MINUS, 0x20000},
                {SDLK_KP_ENTER, 0x2000},
                {SDLK_VOLUMEUP, 0x10000},
                {SDLK_VOLUMEDOWN, 0x20000},
                {SDLK_AUDIOPLAY, key_media_play},
                {SDLK_AUDIOSTOP, key_media_stop},
                {SDLK_AUDIOPREV, key_media_prev},
                {SDLK_AUDIONEXT, key_media_next},
                {SDLK_AC_BACK, 0x200}};
    for (const auto &each : keys) {
        post_key(each.code, true);
        const key_report down = pass();
        EXPECT_EQ(down.pressed, each.mask) << SDL_GetKeyName(each.code);
        EXPECT_EQ(down.held, each.mask);
        post_key(each.code, false);
        EXPECT_EQ(pass().released, each.mask);
    }
    post_key(SDLK_x, true);
    EXPECT_EQ(pass().pressed, 0u);
}

TEST_F(device_sdl_window, repeats_keys_at_its_own_pace)
{
    post_key(SDLK_DOWN, true);
    EXPECT_EQ(pass().pressed, key_down);
    for (int i = 0; i < 20; i++) {
        post_key(SDLK_DOWN, true, true);
        EXPECT_EQ(pass().repeat, 0u);
    }
}

TEST_F(device_sdl_window, the_mouse_is_a_finger)
{
    int32_t x = 0, y = 0, type = 0;
    post_mouse(SDL_MOUSEBUTTONDOWN, 10, 20);
    post_mouse(SDL_MOUSEMOTION, 30, 40);
    post_mouse(SDL_MOUSEBUTTONUP, 400, -20);
    pass();
    ASSERT_EQ(touch_check(&x, &y, &type), 1);
    EXPECT_EQ(type, touch_type_press);
    EXPECT_EQ(x, 10);
    EXPECT_EQ(y, 20);
    ASSERT_EQ(touch_check(&x, &y, &type), 1);
    EXPECT_EQ(type, touch_type_move);
    ASSERT_EQ(touch_check(&x, &y, &type), 1);
    EXPECT_EQ(type, touch_type_release);
    EXPECT_EQ(x, 319);
    EXPECT_EQ(y, 0);
    post_mouse(SDL_MOUSEBUTTONDOWN, 10, 20, SDL_BUTTON_MIDDLE);
    post_mouse(SDL_MOUSEBUTTONDOWN, -1, 20);
    post_mouse(SDL_MOUSEBUTTONDOWN, 5, 240);
    pass();
    EXPECT_EQ(touch_check(&x, &y, &type), 0) << "another button, or beside the picture";
}

TEST_F(device_sdl_window, the_right_and_the_back_button_go_back)
{
    int32_t x = 0, y = 0, type = 0;
    for (const uint8_t button : {SDL_BUTTON_RIGHT, SDL_BUTTON_X1}) {
        post_mouse(SDL_MOUSEBUTTONDOWN, 10, 20, button);
        const key_report report = pass();
        EXPECT_EQ(report.pressed, key_back);
        EXPECT_EQ(report.held, 0u) << "held, it would be half of the power combination";
        post_mouse(SDL_MOUSEBUTTONUP, 10, 20, button);
        EXPECT_EQ(pass().pressed, 0u);
        EXPECT_EQ(touch_check(&x, &y, &type), 0) << "no finger";
    }
}

TEST_F(device_sdl_window, the_wheel_moves_up_and_down)
{
    SDL_Event event = {};
    event.type = SDL_MOUSEWHEEL;
    event.wheel.y = 2;
    SDL_PushEvent(&event);
    EXPECT_EQ(pass().pressed, key_up);
    EXPECT_EQ(pass().pressed, key_up);
    EXPECT_EQ(pass().pressed, 0u);
    event.wheel.y = -1;
    SDL_PushEvent(&event);
    EXPECT_EQ(pass().pressed, key_down);
    event.wheel.y = INT32_MIN + 1;
    SDL_PushEvent(&event);
    int steps = 0;
    while (pass().pressed == key_down)
        steps++;
    EXPECT_EQ(steps, 5) << "one event moves a few rows, whatever it says";
}

TEST_F(device_sdl_window, f11_fills_the_screen_and_comes_back)
{
    const auto is_full = [] {
        SDL_Window *window = nullptr;
        for (uint32_t id = 1; !window && id < 1000; id++)
            window = SDL_GetWindowFromID(id);
        return (SDL_GetWindowFlags(window) & SDL_WINDOW_FULLSCREEN_DESKTOP) != 0;
    };
    EXPECT_FALSE(is_full());
    post_key(SDLK_F11, true);
    EXPECT_EQ(pass().pressed, 0u);
    EXPECT_TRUE(is_full());
    post_key(SDLK_F11, true, true);
    pass();
    EXPECT_TRUE(is_full()) << "a held key does not flicker";
    post_key(SDLK_F11, false);
    post_key(SDLK_F11, true);
    pass();
    EXPECT_FALSE(is_full());
}

TEST_F(device_sdl_window, a_drop_is_handed_on_when_it_is_whole)
{
    const auto post_drop = [](uint32_t type, const char *file) {
        SDL_Event event = {};
        event.type = type;
        event.drop.file = file ? SDL_strdup(file) : nullptr;
        SDL_PushEvent(&event);
    };
    post_drop(SDL_DROPBEGIN, nullptr);
    post_drop(SDL_DROPFILE, "/music/a.mp3");
    post_drop(SDL_DROPTEXT, "words");
    pass();
    EXPECT_EQ(drop_count(), 0u);
    post_drop(SDL_DROPFILE, "/music/b.mp3");
    post_drop(SDL_DROPCOMPLETE, nullptr);
    pass();
    ASSERT_EQ(drop_count(), 2u);
    EXPECT_STREQ(drop_path(0), "/music/a.mp3");
    EXPECT_STREQ(drop_path(1), "/music/b.mp3");
    drop_forget();
}

TEST_F(device_sdl_window, the_title_is_made_fit_for_any_window_system)
{
    SDL_Window *window = nullptr;
    for (uint32_t id = 1; !window && id < 1000; id++)
        window = SDL_GetWindowFromID(id);
    fb_set_title("노래 - Zerv Player");
    EXPECT_STREQ(SDL_GetWindowTitle(window), "노래 - Zerv Player");
    fb_set_title("caf\xe9 - Zerv Player");
    EXPECT_STREQ(SDL_GetWindowTitle(window), "caf - Zerv Player");
}

TEST_F(device_sdl_window, closing_the_window_presses_quit_until_the_program_ends)
{
    SDL_Event event = {};
    event.type = SDL_QUIT;
    SDL_PushEvent(&event);
    EXPECT_EQ(pass().pressed, key_quit);
    EXPECT_EQ(pass().pressed, key_quit);
}

TEST_F(device_sdl_window, closing_the_window_ends_the_program_although_keys_are_locked)
{
    key_event(key_hold, true);
    EXPECT_TRUE(key_is_locked());
    SDL_Event event = {};
    event.type = SDL_QUIT;
    SDL_PushEvent(&event);
    EXPECT_EQ(pass().pressed, key_quit);
    EXPECT_EQ(pass().pressed, key_quit);
}

TEST_F(device_sdl_window, buttons_and_sticks_of_a_controller_are_keys)
{
    SDL_Event event = {};
    event.type = SDL_CONTROLLERBUTTONDOWN;
    event.cbutton.button = SDL_CONTROLLER_BUTTON_A;
    SDL_PushEvent(&event);
    EXPECT_EQ(pass().pressed, key_select);
    event.type = SDL_CONTROLLERBUTTONUP;
    SDL_PushEvent(&event);
    EXPECT_EQ(pass().released, key_select);

    const struct {
        uint8_t button;
        uint32_t mask;
    } others[] = {{SDL_CONTROLLER_BUTTON_BACK, key_switch},
                  {SDL_CONTROLLER_BUTTON_START, key_media_play}};
    for (const auto &each : others) {
        event.cbutton.button = each.button;
        event.type = SDL_CONTROLLERBUTTONDOWN;
        SDL_PushEvent(&event);
        EXPECT_EQ(pass().pressed, each.mask);
        event.type = SDL_CONTROLLERBUTTONUP;
        SDL_PushEvent(&event);
        pass();
    }

    event = {};
    event.type = SDL_CONTROLLERAXISMOTION;
    event.caxis.axis = SDL_CONTROLLER_AXIS_TRIGGERRIGHT;
    event.caxis.value = 30000;
    SDL_PushEvent(&event);
    EXPECT_EQ(pass().held, key_vol_up);
    event.caxis.value = 0;
    SDL_PushEvent(&event);
    EXPECT_EQ(pass().held, 0u);
    event.caxis.axis = SDL_CONTROLLER_AXIS_LEFTY;
    const struct {
        int16_t value;
        uint32_t held;
    } path[] = {{-15000, 0}, {-17000, key_up},  {-13000, key_up},
                {-11000, 0}, {32767, key_down}, {-32768, key_up},
                {0, 0}};
    for (const auto &step : path) {
        event.caxis.value = step.value;
        SDL_PushEvent(&event);
        EXPECT_EQ(pass().held, step.held) << step.value;
    }
}

/* Longer than the limit of the test program: who sleeps so long is noticed there. */
constexpr int32_t never_ms = 1000000;

TEST_F(device_sdl_window, a_call_ends_a_long_sleep)
{
    for (int i = 0; i < 20; i++) {
        std::thread caller([] { clock_wake(); });
        clock_msleep(never_ms);
        caller.join();
        pass();
    }
}

TEST_F(device_sdl_window, calls_from_all_sides_are_not_lost)
{
    constexpr int rounds = 2000;
    std::atomic<int> asked{0};
    std::atomic<int> seen{0};
    std::thread caller([&] {
        while (asked < rounds) {
            if (seen != asked)
                continue;
            asked++;
            clock_wake();
        }
    });
    while (seen < rounds) {
        clock_msleep(never_ms);
        seen = asked.load();
    }
    caller.join();
}

/* A hand at the keyboard, with a connection of its own to the display. */
struct typist {
    void *library = dlopen("libX11.so.6", RTLD_NOW);
    Display *connection = nullptr;
    Window window = 0;
    Time time_ms = 0;

    template <typename call> call *find(const char *name)
    {
        return reinterpret_cast<call *>(dlsym(library, name));
    }
    bool open()
    {
        SDL_SysWMinfo about = {};
        SDL_VERSION(&about.version);
        for (uint32_t id = 1; window == 0 && id < 1000; id++) {
            if (SDL_GetWindowWMInfo(SDL_GetWindowFromID(id), &about))
                window = about.info.x11.window;
        }
        connection =
            library ? find<decltype(XOpenDisplay)>("XOpenDisplay")(display().c_str()) : nullptr;
        return connection && window;
    }
    void press(KeySym symbol)
    {
        XEvent event = {};
        event.xkey.type = KeyPress;
        event.xkey.display = connection;
        event.xkey.window = window;
        event.xkey.same_screen = True;
        event.xkey.keycode =
            find<decltype(XKeysymToKeycode)>("XKeysymToKeycode")(connection, symbol);
        for (const int type : {KeyPress, KeyRelease}) {
            event.xkey.type = type;
            event.xkey.time = time_ms += 100; /* apart, or it is taken for a repeat */
            find<decltype(XSendEvent)>("XSendEvent")(connection, window, False, KeyPressMask,
                                                     &event);
        }
        find<decltype(XSync)>("XSync")(connection, False);
    }
    ~typist()
    {
        if (connection)
            find<decltype(XCloseDisplay)>("XCloseDisplay")(connection);
    }
};

TEST_F(device_sdl_window, a_key_ends_a_long_sleep_and_is_not_lost)
{
    typist hand;
    ASSERT_TRUE(hand.open());
    constexpr int rounds = 200;
    std::atomic<int> seen{0};
    std::thread person([&] {
        for (int i = 0; i < rounds; i++) {
            hand.press(XK_Up);
            while (seen <= i)
                std::this_thread::yield();
        }
    });
    while (seen < rounds) {
        /* Showing a frame reads what the display has sent, so that no descriptor tells of it. */
        EXPECT_EQ(fb_flip(), 0);
        clock_msleep(never_ms);
        if (pass().pressed == key_up)
            seen++;
    }
    person.join();
}

TEST_F(device_sdl_window, plays_at_the_pace_of_the_card)
{
    heard = 0;
    const auto started = std::chrono::steady_clock::now();
    ASSERT_EQ(sound_open(on_sound, nullptr), 0);
    while (heard < sound_rate / 2 + 5000) {
        EXPECT_LE(sound_get_buffer_remaining(), 112);
        clock_real_msleep(1);
    }
    const std::chrono::duration<double, std::milli> took =
        std::chrono::steady_clock::now() - started;
    EXPECT_GE(took.count(), 350) << "a track must not race by";
    EXPECT_EQ(sound_close(), 0);
}

TEST_F(device_sdl_window, a_machine_without_a_card_says_so_once_and_plays_on)
{
    setenv("SDL_AUDIODRIVER", "alsa", 1);
    setenv("ALSA_CONFIG_PATH", "/no/such/file", 1);
    heard = 0;
    testing::internal::CaptureStderr();
    ASSERT_EQ(sound_open(on_sound, nullptr), 0);
    while (heard < 10000)
        clock_real_msleep(1);
    EXPECT_EQ(sound_close(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "there is no sound card: playing to a silent clock\n");
    unsetenv("ALSA_CONFIG_PATH");
}

TEST(device_sdl_start, a_desktop_session_takes_the_window)
{
    unsetenv("ZERV_DEVICE");
    use_display();
    unsetenv("SDL_VIDEODRIVER");
    ASSERT_EQ(sys_init(), 0);
    EXPECT_STREQ(device_current->name, "sdl");
    EXPECT_EQ(sys_exit(), 0);
}

TEST(device_sdl_start, fails_without_a_display)
{
    setenv("ZERV_DEVICE", "sdl", 1);
    setenv("SDL_VIDEODRIVER", "x11", 1);
    setenv("DISPLAY", ":99999", 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(sys_init(), -1);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("there is no window"), std::string::npos);
}

TEST(device_sdl_start, refuses_drivers_that_show_nothing)
{
    setenv("ZERV_DEVICE", "sdl", 1);
    for (const std::string driver : {"dummy", "offscreen"}) {
        setenv("SDL_VIDEODRIVER", driver.c_str(), 1);
        testing::internal::CaptureStderr();
        EXPECT_EQ(sys_init(), -1);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "there is no window: SDL's driver \"" + driver + "\" shows nothing\n");
        EXPECT_EQ(SDL_WasInit(SDL_INIT_VIDEO), 0u);
    }
}

TEST(device_sdl_start, a_display_that_is_gone_is_not_replaced_by_an_unseen_one)
{
    unsetenv("ZERV_DEVICE");
    unsetenv("SDL_VIDEODRIVER");
    setenv("DISPLAY", ":99999", 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(sys_init(), -1);
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(told.find("there is no window"), 0u) << told;
    EXPECT_EQ(told.find('\n'), told.size() - 1) << "one line: " << told;
}
