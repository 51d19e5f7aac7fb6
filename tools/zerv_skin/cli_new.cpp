/* cli_new: zerv-skin new, a small working skin to start from. */
#include "platform/base/device.h"
#include "platform/base/owner.h"
#include "platform/file/file.h"
#include "tools/zerv_skin/cli.h"
#include "tools/zerv_skin/picture.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <vector>

constexpr int status_error = 2;

/* A picture that is drawn by a rule: 0xAARRGGBB for a pixel. */
struct new_picture {
    const char *name;
    int32_t width, height;
    uint32_t (*pixel)(int32_t x, int32_t y);
};

struct new_text {
    const char *name, *content;
};

constexpr uint32_t clear = 0, ink = 0xFF203040, paper = 0xFFFFFFFF, accent = 0xFF2878B4;
constexpr int32_t button_side = 40;

/* A head, the page, and the light strip where messages appear. */
static uint32_t back_pixel(int32_t, int32_t y)
{
    if (y < 40)
        return accent;
    return y < 203 ? 0xFFE6EEF4 : y < 204 ? accent : paper;
}

static uint32_t row_pixel(int32_t, int32_t)
{
    return accent;
}

static uint32_t knob_pixel(int32_t, int32_t)
{
    return accent;
}

/* Signs of a player on a round button; coordinates from its middle. */
static uint32_t button_pixel(int32_t x, int32_t y, bool (*sign)(int32_t x, int32_t y))
{
    x -= button_side / 2;
    y -= button_side / 2;
    if (sign(x, y))
        return paper;
    return x * x + y * y < 19 * 19 ? ink : clear;
}

static bool is_right(int32_t x, int32_t y, int32_t left)
{
    const int32_t in = x - left;
    return in >= 0 && in < 14 && 2 * (y < 0 ? -y : y) < 14 - in;
}

static uint32_t play_pixel(int32_t x, int32_t y)
{
    return button_pixel(x, y, [](int32_t a, int32_t b) { return is_right(a, b, -5); });
}

static uint32_t pause_pixel(int32_t x, int32_t y)
{
    return button_pixel(x, y, [](int32_t a, int32_t b) {
        return b > -9 && b < 8 && ((a > -7 && a < -2) || (a > 1 && a < 6));
    });
}

static uint32_t next_pixel(int32_t x, int32_t y)
{
    return button_pixel(x, y, [](int32_t a, int32_t b) {
        return is_right(a, b, -8) || (a > 5 && a < 9 && b > -8 && b < 7);
    });
}

static uint32_t prev_pixel(int32_t x, int32_t y)
{
    return button_pixel(x, y, [](int32_t a, int32_t b) {
        return is_right(-a, b, -8) || (a < -5 && a > -9 && b > -8 && b < 7);
    });
}

static uint32_t list_pixel(int32_t x, int32_t y)
{
    return button_pixel(x, y, [](int32_t a, int32_t b) {
        return a > -9 && a < 8 && b > -9 && b < 8 && b % 5 == 0;
    });
}

static const new_picture pictures[] = {
    {"back.png", device_width, device_height, back_pixel},
    {"row.png", 288, 32, row_pixel},
    {"knob.png", 24, 24, knob_pixel},
    {"bar.png", 8, 8, knob_pixel},
    {"play.png", button_side, button_side, play_pixel},
    {"pause.png", button_side, button_side, pause_pixel},
    {"prev.png", button_side, button_side, prev_pixel},
    {"next.png", button_side, button_side, next_pixel},
    {"list.png", button_side, button_side, list_pixel},
};

/* Five rows: the one under the cursor is always the third, where row.png lies. */
static std::string list_content()
{
    std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<!-- The list screen. The row under the cursor is always the third of the five. The "
        "lowest\n"
        "     36 pixels stay free for messages. -->\n"
        "<skin version=\"0.1\">\n"
        "  <img src=\"back.png\" x=\"0\" y=\"0\"/>\n"
        "  <text format=\"$title\" x=\"10\" y=\"4\" width=\"230\" height=\"32\" font_size=\"18\" "
        "font_color=\"#ffffff\" text_align=\"left middle\"/>\n"
        "  <text format=\"$time\" x=\"250\" y=\"4\" width=\"60\" height=\"32\" font_size=\"16\" "
        "font_color=\"#ffffff\" text_align=\"right middle\"/>\n"
        "  <img src=\"row.png\" x=\"0\" y=\"107\"/>\n";
    for (int row = 0; row < 5; row++) {
        const std::string place = "x=\"10\" y=\"" + std::to_string(43 + 32 * row) +
                                  "\" width=\"272\" height=\"32\" font_size=\"16\" ";
        text += "  <item " + place + "font_color=\"#203040\" text_align=\"left middle\"/>\n";
        text += "  <item_sel " + place + "font_color=\"#ffffff\" text_align=\"left middle\"/>\n";
    }
    return text + "  <scroll action=\"list\" type=\"move-y\" src=\"knob.png\" x=\"288\" y=\"56\" "
                  "width=\"32\" height=\"132\" origin_x=\"-4\" origin_y=\"12\"/>\n"
                  "</skin>\n";
}

static const char play_content[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!-- The play screen. More variants: play-1.xml, ... with show and hide at their root.\n"
    "     The lowest 36 pixels stay free for messages. -->\n"
    "<skin version=\"0.1\">\n"
    "  <img src=\"back.png\" x=\"0\" y=\"0\"/>\n"
    "  <text format=\"$title\" x=\"10\" y=\"4\" width=\"230\" height=\"32\" font_size=\"18\" "
    "font_color=\"#ffffff\" text_align=\"left middle\"/>\n"
    "  <text format=\"$time\" x=\"250\" y=\"4\" width=\"60\" height=\"32\" font_size=\"16\" "
    "font_color=\"#ffffff\" text_align=\"right middle\"/>\n"
    "  <album_cover x=\"10\" y=\"46\" width=\"80\" height=\"80\"/>\n"
    "  <text format=\"$artist\" x=\"100\" y=\"44\" width=\"212\" height=\"22\" font_size=\"16\" "
    "font_color=\"#203040\" text_align=\"left middle\"/>\n"
    "  <text format=\"$album\" x=\"100\" y=\"66\" width=\"212\" height=\"18\" font_size=\"14\" "
    "font_color=\"#506070\" text_align=\"left middle\"/>\n"
    "  <lyrics x=\"100\" y=\"86\" width=\"212\" height=\"50\" font_size=\"12\" "
    "font_color=\"#203040\" text_align=\"left middle\"/>\n"
    "  <rect x=\"10\" y=\"140\" width=\"250\" height=\"8\" color=\"#c8d4de\"/>\n"
    "  <scroll action=\"play\" type=\"fill-x\" src=\"bar.png\" x=\"10\" y=\"128\" width=\"250\" "
    "height=\"32\" origin_y=\"-12\"/>\n"
    "  <text format=\"$02mins:$02secs\" x=\"264\" y=\"128\" width=\"50\" height=\"32\" "
    "font_size=\"14\" font_color=\"#203040\" text_align=\"right middle\" show=\"play\"/>\n"
    "  <text format=\"$stopped\" x=\"10\" y=\"4\" width=\"230\" height=\"32\" font_size=\"18\" "
    "font_color=\"#ffffff\" text_align=\"left middle\" hide=\"play\"/>\n"
    "  <button action=\"prev\" src=\"prev.png\" x=\"60\" y=\"162\"/>\n"
    "  <button action=\"pause\" src=\"pause.png\" x=\"120\" y=\"162\" hide=\"pause\"/>\n"
    "  <button action=\"play\" src=\"play.png\" x=\"120\" y=\"162\" show=\"pause\"/>\n"
    "  <button action=\"next\" src=\"next.png\" x=\"180\" y=\"162\"/>\n"
    "  <button action=\"list\" src=\"list.png\" x=\"270\" y=\"162\"/>\n"
    "</skin>\n";

static int complain(const std::string &path)
{
    fprintf(stderr, "zerv-skin: %s: %s\n", path.c_str(), strerror(errno));
    return -1;
}

static int write_text(const std::string &path, const std::string &content)
{
    owner<FILE, fclose> file(file_fopen(path.c_str(), "wb"));
    if (!file || fwrite(content.data(), 1, content.size(), file.get()) != content.size() ||
        fclose(file.release()) != 0)
        return complain(path);
    return 0;
}

static int write_picture(const std::string &path, const new_picture &of)
{
    std::vector<uint8_t> bytes;
    for (int32_t y = 0; y < of.height; y++)
        for (int32_t x = 0; x < of.width; x++) {
            const uint32_t pixel = of.pixel(x, y);
            for (int shift : {16, 8, 0, 24})
                bytes.push_back(static_cast<uint8_t>(pixel >> shift));
        }
    return picture_save(path.c_str(), of.width, of.height, picture_bytes::rgba, bytes.data()) == 0
               ? 0
               : complain(path);
}

static int write_all(const std::string &folder)
{
    if (write_text(folder + "/list.xml", list_content()) != 0 ||
        write_text(folder + "/play.xml", play_content) != 0)
        return -1;
    for (const new_picture &picture : pictures)
        if (write_picture(folder + "/" + picture.name, picture) != 0)
            return -1;
    return 0;
}

int cli_new(const cli_options *options)
{
    const std::string folder = options->subject;
    /* Never into a folder that is there: its files are somebody's work. */
    if (mkdir(folder.c_str(), 0755) != 0) {
        (void)complain(folder);
        return status_error;
    }
    if (write_all(folder) != 0)
        return status_error;
    printf("%s is a working skin. Change its XML and PNG files, then:\n"
           "  zerv-skin watch %s\n  zerv-skin check %s\n  zerv-skin pack %s\n",
           folder.c_str(), folder.c_str(), folder.c_str(), folder.c_str());
    return 0;
}
