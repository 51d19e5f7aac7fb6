/* check_image: why an image does not decode, as far as its first bytes tell. */
#include "tools/zerv_skin/check_page.h"

#include "platform/base/owner.h"
#include "skin/skin_package.h"

#include <cstring>

constexpr size_t head_size = 64 * 1024; /* a JPEG may tell its size late */
constexpr uint32_t longest_side = 4096;

struct head_search {
    const std::string *name;
    std::string head;
};

static int read_head(skin_package *package, const char *name, void *user)
{
    head_search *search = static_cast<head_search *>(user);
    if (*search->name != name)
        return 0;
    if (skin_member_open(package) != 0)
        return -1;
    char chunk[1024];
    int got = 0;
    while (search->head.size() < head_size &&
           (got = skin_member_read(package, chunk, sizeof(chunk))) > 0)
        search->head.append(chunk, static_cast<size_t>(got));
    (void)skin_member_close(package); /* damaged or not, its head is what there is */
    return 1;
}

struct picture_size {
    uint32_t width, height; /* 0: not told */
};

static uint32_t number(const std::string &bytes, size_t at, size_t size, bool little)
{
    uint32_t value = 0;
    for (size_t i = 0; i < size && at + i < bytes.size(); i++) {
        const uint32_t byte = static_cast<unsigned char>(bytes[at + i]);
        value = little ? value | byte << (8 * i) : value << 8 | byte;
    }
    return value;
}

/* Segments follow each other until one that starts a frame, which tells the size. */
static picture_size jpeg_size(const std::string &bytes)
{
    for (size_t at = 2; at + 9 < bytes.size();) {
        const uint32_t marker = number(bytes, at, 2, false);
        if (marker < 0xFF01)
            break;
        const bool frame = marker >= 0xFFC0 && marker <= 0xFFCF && marker != 0xFFC4 &&
                           marker != 0xFFC8 && marker != 0xFFCC;
        if (frame)
            return {number(bytes, at + 7, 2, false), number(bytes, at + 5, 2, false)};
        at += 2 + number(bytes, at + 2, 2, false);
    }
    return {0, 0};
}

static bool starts(const std::string &bytes, const char *with, size_t size)
{
    return bytes.size() >= size && memcmp(bytes.data(), with, size) == 0;
}

std::string check_image_reason(const char *package_path, const std::string &name)
{
    head_search search = {&name, ""};
    skin_package package;
    if (skin_package_open(&package, package_path) != 0)
        return "the image cannot be read";
    const owner<skin_package, skin_package_close> holder(&package);
    if (skin_package_walk(&package, true, read_head, &search) != 1 || search.head.empty())
        return "the image is empty or cannot be read";
    picture_size size = {0, 0};
    if (starts(search.head, "\x89PNG", 4))
        size = {number(search.head, 16, 4, false), number(search.head, 20, 4, false)};
    else if (starts(search.head, "GIF8", 4))
        size = {number(search.head, 6, 2, true), number(search.head, 8, 2, true)};
    else if (starts(search.head, "\xFF\xD8", 2))
        size = jpeg_size(search.head);
    else
        return "this is neither a PNG nor a JPEG nor a GIF";
    if (size.width > longest_side || size.height > longest_side)
        return "the image is " + std::to_string(size.width) + " x " + std::to_string(size.height) +
               " pixels; the limit is 4096 x 4096";
    return "the image is damaged";
}
