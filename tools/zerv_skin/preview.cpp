/* preview: pictures of a skin, one a scene, and a sheet of them all. */
#include "tools/zerv_skin/preview.h"

#include "platform/base/device.h"
#include "platform/base/owner.h"
#include "platform/draw/fb.h"
#include "platform/file/file.h"
#include "tools/zerv_skin/cli.h"
#include "tools/zerv_skin/picture.h"
#include "tools/zerv_skin/scene.h"
#include "tools/zerv_skin/stage.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

/* The sheet: half-size pictures in columns, each with its name below. */
constexpr int32_t thumb_width = device_width / 2, thumb_height = device_height / 2;
constexpr int32_t gap = 8, label_height = 18, label_size = 12;
constexpr int32_t columns = 6;
constexpr int32_t cell_width = thumb_width + gap, cell_height = thumb_height + label_height + gap;
constexpr int32_t most_rows = (4096 - gap) / cell_height; /* what a surface can hold */
constexpr uint16_t sheet_colour = 0x31A6, label_colour = 0xFFFF;

using surface_owner = owner<fb_surface, fb_free>;

static uint16_t mean(const fb_surface *of, int32_t x, int32_t y)
{
    uint32_t red = 0, green = 0, blue = 0;
    for (int32_t i = 0; i < 4; i++) {
        const uint32_t pixel = of->pixels[(y + i / 2) * of->stride + x + i % 2];
        red += pixel >> 11;
        green += pixel >> 5 & 0x3F;
        blue += pixel & 0x1F;
    }
    return static_cast<uint16_t>(red / 4 << 11 | green / 4 << 5 | blue / 4);
}

static void add_to_sheet(fb_surface *sheet, uint32_t index, const fb_surface *picture,
                         const char *name)
{
    const int32_t left = gap + static_cast<int32_t>(index % columns) * cell_width;
    const int32_t top = gap + static_cast<int32_t>(index / columns) * cell_height;
    if (top + cell_height > sheet->height + gap)
        return; /* of a skin with very many variants the sheet shows the first */
    for (int32_t y = 0; y < thumb_height; y++)
        for (int32_t x = 0; x < thumb_width; x++)
            sheet->pixels[(top + y) * sheet->stride + left + x] = mean(picture, 2 * x, 2 * y);
    (void)fb_draw_text(sheet, name, left, top + thumb_height + 2, thumb_width, label_size,
                       label_size, label_colour, 0);
}

static int complain(const std::string &path)
{
    fprintf(stderr, "zerv-skin: %s: %s\n", path.c_str(), strerror(errno));
    return -1;
}

static int save(const std::string &path, const fb_surface *surface)
{
    return picture_save_surface(path.c_str(), surface) == 0 ? 0 : complain(path);
}

static fb_surface *make_sheet(size_t scenes)
{
    const int32_t rows = static_cast<int32_t>((scenes + columns - 1) / columns);
    fb_surface *sheet = fb_create(gap + columns * cell_width,
                                  gap + (rows < most_rows ? rows : most_rows) * cell_height);
    if (sheet)
        (void)fb_clear(sheet, sheet_colour);
    return sheet;
}

static int write_scenes(const cli_options *options, const std::vector<scene> &scenes,
                        const std::string &folder)
{
    const surface_owner sheet(make_sheet(scenes.size()));
    if (!sheet) {
        fprintf(stderr, "zerv-skin: out of memory\n");
        return -1;
    }
    const unsigned all = static_cast<unsigned>(scenes.size());
    for (unsigned i = 0; i < all; i++) {
        const scene &each = scenes[i];
        cli_progress(options, each.name.c_str(), i, all);
        const fb_surface *picture = scene_draw(each, false, false);
        add_to_sheet(sheet.get(), i, picture, each.name.c_str());
        if (save(folder + "/" + each.name + ".png", picture) != 0)
            return -1;
    }
    cli_progress(options, "", all, all);
    return save(folder + "/sheet.png", sheet.get());
}

static int tell_part(const char *path, const char *name, const scene_part &part)
{
    if (!part.present || part.loads)
        return 0;
    fprintf(stderr, "zerv-skin: the player refuses the part \"%s\" of %s (see zerv-skin check)\n",
            name, path);
    return -1;
}

/* With the folders that it lies in. */
static int make_folder(const std::string &folder)
{
    for (size_t slash = folder.find('/', 1); slash != std::string::npos;
         slash = folder.find('/', slash + 1))
        if (file_mkdir(folder.substr(0, slash).c_str()) != 0)
            return -1;
    return file_mkdir(folder.c_str());
}

int preview_write(const cli_options *options, const char *folder)
{
    scene_package package = {};
    if (scene_open(options->subject, &package) != 0) {
        fprintf(stderr, "zerv-skin: out of memory\n");
        return -1;
    }
    int result = tell_part(options->subject, "list", package.list);
    if (tell_part(options->subject, "play", package.play) != 0)
        result = -1;
    if (!package.list.present && !package.play.present) {
        fprintf(stderr, "zerv-skin: %s is not a skin (see zerv-skin check)\n", options->subject);
        return -1;
    }
    if (package.scenes.empty())
        return -1;
    if (make_folder(folder) != 0)
        return complain(folder);
    std::erase_if(package.scenes, [](const scene &each) { return !each.in_preview; });
    return write_scenes(options, package.scenes, folder) == 0 ? result : -1;
}
