/* device_virtual_answers: what a script may ask for, printed one line an answer. */
#include "platform/base/clock.h"
#include "platform/base/device.h"
#include "platform/device/virtual/device_virtual.h"
#include "platform/draw/fb.h"
#include "platform/sound/sound.h"
#include "platform/sound/sound_device.h"

#include <cstdio>

/* An answer stays on its line, whatever a tag or a file name holds. */
static void print_text(const char *text)
{
    for (; *text; text++) {
        const unsigned char byte = static_cast<unsigned char>(*text);
        if (byte < 0x20 || byte == 0x7f)
            printf("\\x%02X", byte);
        else
            putchar(byte);
    }
}

int virtual_answer_pixel(int32_t x, int32_t y)
{
    const uint16_t *pixel = virtual_screen_pixel(x, y);
    if (!pixel)
        return -1;
    printf("pixel %d %d 0x%04X\n", x, y, *pixel);
    return 0;
}

int virtual_answer_screenshot(const char *path)
{
    if (virtual_screen_save_png(path) != 0)
        return -1;
    printf("saved %s\n", path);
    return 0;
}

void virtual_answer_text()
{
    for (uint32_t i = 0; i < virtual_screen_text_count(); i++) {
        const fb_text *each = virtual_screen_text(i);
        printf("text %d %d %d %d %d 0x%04X %u |", each->x, each->y, each->w, each->h, each->size,
               each->colour, each->align);
        print_text(each->text);
        printf("|\n");
    }
    printf("end\n");
}

void virtual_answer_state()
{
    device_program_state program = {};
    if (device_ask_program)
        device_ask_program(&program);
    printf("state view=%s display=%d sliding=%d flips=%u ms=%d playing=",
           program.view ? program.view : "", virtual_display(), program.sliding,
           virtual_screen_flips(), clock_msec());
    print_text(program.playing);
    printf(" paused=%d pos=%d volume=%d queued=%d\n", program.paused, program.pos_ms,
           sound_volume_now(), sound_get_buffer_remaining());
}

void virtual_answer_title()
{
    printf("title ");
    print_text(virtual_screen_title_now());
    printf("\n");
}
