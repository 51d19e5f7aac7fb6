#include "core/key_watch.h"

#include "core/loop.h"
#include "core/services/overlay.h"
#include "platform/draw/fb.h"
#include "platform/input/key.h"
#include "platform/input/key_map.h"
#include "play/play.h"
#include "view/play/play_controls.h"

#include <cstdint>

constexpr int32_t lock_shown_ms = 2000, problem_shown_ms = 15000;
constexpr uint16_t lock_colour = 0x001F, problem_colour = 0xF800;
constexpr char locked_text[] = "按键已锁定", free_text[] = "按键已解锁";

static constinit bool was_locked = false;
static constinit int32_t lock_msg_id = -1; /* of the message shown, which may have gone by itself */

static void show(const char *text)
{
    if (lock_msg_id != -1)
        (void)overlay_msg_remove(lock_msg_id);
    lock_msg_id = overlay_msg_add(text, lock_shown_ms, lock_colour);
}

/* A display that is dark stays dark when the keys are locked, for it is on its way into a pocket. Who
 * frees them wants to see something. */
static void watch_lock()
{
    const bool locked = key_is_locked(), refused = key_take_refused();
    if (was_locked && !locked)
        loop_light_display();
    if (locked != was_locked || (locked && refused && fb_power))
        show(locked ? locked_text : free_text);
    was_locked = locked;
}

void key_watch_begin()
{
    was_locked = false; /* a switch that is set already is told as one that is set now */
    lock_msg_id = -1;
    const key_map_report *report = key_map_problems();
    if (report->bad_lines > 0)
        (void)overlay_msg_add(report->first, problem_shown_ms, problem_colour);
}

void key_watch_pass()
{
    watch_lock();
    if (key_take_pulled() && !play_paused)
        play_controls_media(key_media_play);
}
