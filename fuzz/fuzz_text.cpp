/* fuzz_text: any bytes as a text on the screen. The first three say how: size, box, alignment. */
#include "fuzz/fuzz.h"
#include "platform/base/owner.h"
#include "platform/draw/fb.h"
#include "platform/font/font.h"

#include <cstdlib>
#include <string>

static constexpr const char *font_path = "/usr/share/fonts/truetype/wqy/wqy-microhei.ttc";

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool opened = font_open(font_path) == 0;
    if (!opened)
        abort();
    if (size < 3)
        return 0;
    const std::string text(reinterpret_cast<const char *>(data) + 3, size - 3);
    const int32_t text_size = data[0] % 40;
    const int32_t width = data[1];
    const owner<fb_surface, fb_free> surface(fb_create(160, 40));
    if (!surface || font_text_width(text.c_str(), text_size) < 0)
        abort();
    fb_draw_text(surface.get(), text.c_str(), 4, 4, width, data[2] & 0x0F ? 20 : 0, text_size,
                 0xFFFF, data[2] & 0x33);
    return 0;
}
