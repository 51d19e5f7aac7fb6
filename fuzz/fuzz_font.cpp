/* fuzz_font: a stranger's font, and letters of several scripts drawn with it. */
#include "fuzz/fuzz.h"
#include "platform/draw/fb.h"
#include "platform/font/font.h"

#include <initializer_list>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static fb_surface *const surface = fb_create(320, 240);
    const fuzz_file file(data, size);
    if (!surface)
        abort();
    if (font_open(file.path) != 0)
        return 0;
    for (const int height : {8, 16, 24, 512}) {
        const char *const text = "Aé Wäffle fi 한국 あア 中 مرحبا 👍🏽 \xff";
        if (font_text_width(text, height) < 0)
            abort();
        (void)fb_draw_text(surface, text, 3, 5, 300, 200, height, 0xF800, fb_align_middle);
    }
    (void)font_close();
    return 0;
}
