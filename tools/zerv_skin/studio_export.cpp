/* studio_export: what a skin maker takes away from the studio. */
#include "platform/base/owner.h"
#include "platform/file/file.h"
#include "tools/zerv_skin/cli.h"
#include "tools/zerv_skin/preview.h"
#include "tools/zerv_skin/report.h"
#include "tools/zerv_skin/studio.h"

#include <cstdio>
#include <cstdlib>

using path_owner = owner<char, file_remove>;

constexpr long most_bytes = 64 * 1024 * 1024; /* far more than a skin may have */

/* An empty folder that goes with its owner; `place` holds its name. */
static path_owner make_place(char (&place)[32])
{
    snprintf(place, sizeof place, "/tmp/zerv-skin-XXXXXX");
    return path_owner(mkdtemp(place));
}

static studio_file read_back(const std::string &path)
{
    studio_file result;
    const owner<FILE, fclose> file(file_fopen(path.c_str(), "rb"));
    if (file && fseek(file.get(), 0, SEEK_END) == 0) {
        const long length = ftell(file.get());
        rewind(file.get());
        result.bytes.resize(length > 0 && length < most_bytes ? static_cast<size_t>(length) : 0);
        if (fread(result.bytes.data(), 1, result.bytes.size(), file.get()) != result.bytes.size())
            result.bytes.clear();
    }
    if (result.bytes.empty())
        result.reason = "It could not be written.";
    return result;
}

studio_file studio_package(const studio *of)
{
    if (of->errors > 0)
        return {{}, "A skin with errors is not packed. Mend what is listed as an error first."};
    char place[32];
    const path_owner holder = make_place(place);
    if (!holder)
        return {{}, "There is no room for it."};
    const std::string path = std::string(place) + "/" + of->name + ".zip";
    uint32_t files = 0;
    if (cli_pack_write(of->options->subject, path.c_str(), &files) != 0)
        return {{}, "It cannot be packed."};
    return read_back(path);
}

studio_file studio_sheet(const studio *of)
{
    char place[32];
    const path_owner holder = make_place(place);
    if (!holder)
        return {{}, "There is no room for it."};
    if (preview_write(of->options, place) != 0)
        return {{}, "A part of the skin is refused: there is not everything to show."};
    return read_back(std::string(place) + "/sheet.png");
}

/* ---- the gallery ---- */

/* Names come from this tool, but the skin's own is its maker's. */
static std::string escaped(const std::string &text)
{
    std::string result;
    for (const char c : text) {
        if (c == '<')
            result += "&lt;";
        else if (c == '&')
            result += "&amp;";
        else if (c == '"')
            result += "&quot;";
        else
            result += c;
    }
    return result;
}

static constexpr char gallery_head[] =
    "<!doctype html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
    "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
    "<style>\n"
    ":root { color-scheme: light dark; font: 15px/1.4 system-ui, sans-serif; }\n"
    "body { margin: 0 auto; max-width: 1400px; padding: 24px; }\n"
    "main { display: grid; grid-template-columns: repeat(auto-fill, 320px); gap: 24px; }\n"
    "figure { margin: 0; }\n"
    "img { display: block; width: 320px; height: 240px; border-radius: 8px; }\n"
    "figcaption { padding: 6px 2px; opacity: .7; }\n"
    "</style>\n";

static int write_index(const studio *of, const std::string &folder)
{
    const owner<FILE, fclose> file(file_fopen((folder + "/index.html").c_str(), "wb"));
    if (!file)
        return -1;
    const std::string name = escaped(of->name);
    fprintf(file.get(), "%s<title>%s</title></head>\n<body><h1>%s</h1>\n<main>\n", gallery_head,
            name.c_str(), name.c_str());
    for (const scene &each : of->package.scenes) {
        if (each.in_preview)
            fprintf(file.get(),
                    "<figure><img src=\"%s.png\" alt=\"\" loading=\"lazy\">"
                    "<figcaption>%s</figcaption></figure>\n",
                    each.name.c_str(), each.name.c_str());
    }
    fprintf(file.get(), "</main></body></html>\n");
    return fflush(file.get()) == 0 && !ferror(file.get()) ? 0 : -1;
}

web_answer studio_gallery(const studio *of)
{
    const std::string folder = of->name + "-gallery";
    if (preview_write(of->options, folder.c_str()) != 0)
        return {409, "A part of the skin is refused: there is not everything to show."};
    if (write_index(of, folder) != 0)
        return {500, "The gallery could not be written."};
    return {200, "written"};
}
