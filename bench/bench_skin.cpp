/* bench_skin: reading a skin of about a megabyte, from an archive and from a folder. */
#include "platform/file/file.h"
#include "skin/skin.h"
#include "tests/makers/maker_zip.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <png.h>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

using members = std::vector<std::pair<std::string, std::string>>;

/* Noise does not pack: the file is as large as its pixels. */
static std::string noisy_png(uint32_t width, uint32_t height, uint32_t *noise)
{
    std::string pixels;
    for (uint32_t i = 0; i < width * height * 3; i++) {
        *noise = *noise * 1664525 + 1013904223;
        pixels += static_cast<char>(*noise >> 24);
    }
    png_image picture = {};
    picture.version = PNG_IMAGE_VERSION;
    picture.width = width;
    picture.height = height;
    picture.format = PNG_FORMAT_RGB;
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(picture);
    std::string file(size, '\0');
    if (png_image_write_to_memory(&picture, file.data(), &size, 0, pixels.data(), 0, nullptr) == 0)
        abort();
    file.resize(size);
    return file;
}

/* Three screens of noise, forty buttons, and two hundred elements in each of four variants. */
static members make_skin()
{
    members files;
    std::string elements;
    uint32_t noise = 1;
    for (int i = 0; i < 3; i++)
        files.push_back({"back" + std::to_string(i) + ".png", noisy_png(320, 240, &noise)});
    for (int i = 0; i < 40; i++)
        files.push_back({"images/" + std::to_string(i) + ".png", noisy_png(48, 48, &noise)});
    for (int i = 0; i < 200; i++)
        elements += "<text format=\"$title\" x=\"10\" y=\"4\" width=\"230\" height=\"32\" "
                    "font_size=\"18\" font_color=\"#ffffff\" text_align=\"left middle\"/>\n";
    for (int i = 0; i < 40; i++)
        elements += "<button src=\"images/" + std::to_string(i) + ".png\" action=\"next\"/>\n";
    for (int i = 0; i < 4; i++)
        files.push_back({"play-" + std::to_string(i) + ".xml",
                         "<skin version=\"0.1\">\n<img src=\"back" + std::to_string(i % 3) +
                             ".png\"/>\n" + elements + "</skin>\n"});
    return files;
}

static void write_zip(const members &files, const char *path)
{
    maker_zip *zip = maker_zip_open(path);
    if (!zip)
        abort();
    for (const auto &[name, content] : files)
        if (maker_zip_add(zip, name.c_str(), content.data(), content.size(), maker_zip_deflate) !=
            0)
            abort();
    if (maker_zip_close(zip) != 0)
        abort();
}

static void write_folder(const members &files, const std::string &path)
{
    (void)mkdir(path.c_str(), 0755); /* may be there */
    (void)mkdir((path + "/images").c_str(), 0755);
    for (const auto &[name, content] : files) {
        FILE *file = fopen((path + "/" + name).c_str(), "wb");
        if (!file || fwrite(content.data(), 1, content.size(), file) != content.size() ||
            fclose(file) != 0)
            abort();
    }
}

static void read_part(benchmark::State &state, const char *path)
{
    if (skin_init() != 0)
        state.SkipWithError("no pattern");
    for (auto _ : state) {
        skin_part *part = skin_read_part(path, "play");
        if (!part || part->count != 4)
            state.SkipWithError("the skin does not load");
        (void)skin_free_part(part);
    }
    (void)skin_exit();
    (void)file_remove(path);
}

static void load_zip(benchmark::State &state)
{
    write_zip(make_skin(), "bench_skin.zip");
    struct stat entry = {};
    if (stat("bench_skin.zip", &entry) == 0)
        state.counters["KiB"] = static_cast<double>(entry.st_size) / 1024;
    read_part(state, "bench_skin.zip");
}
BENCHMARK(load_zip)->Unit(benchmark::kMillisecond);

static void load_folder(benchmark::State &state)
{
    write_folder(make_skin(), "bench_skin");
    read_part(state, "bench_skin");
}
BENCHMARK(load_folder)->Unit(benchmark::kMillisecond);
