/* maker_zip: archives for tests, honest and dishonest ones. */
#include "tests/makers/maker_zip.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <minizip/zip.h>
#include <string>
#include <sys/stat.h>
#include <vector>

constexpr unsigned long made_by_unix = 3ul << 8;
constexpr unsigned long zip_version = 20; /* 2.0 */

struct maker_zip {
    zipFile file;
};

struct entry_options {
    bool deflate;
    bool raw; /* the data are already packed, size and checksum are given at the end */
    unsigned long mode;
};

static int begin_entry(maker_zip *zip, const char *name, const entry_options &options)
{
    zip_fileinfo info = {};
    info.tmz_date = {0, 0, 12, 1, 0, 2026}; /* fixed: the same test makes the same archive */
    info.external_fa = options.mode << 16;
    const int level = options.deflate ? Z_DEFAULT_COMPRESSION : 0;
    return zipOpenNewFileInZip4_64(zip->file, name, &info, nullptr, 0, nullptr, 0, nullptr,
                                   options.deflate ? Z_DEFLATED : 0, level, options.raw, -MAX_WBITS,
                                   DEF_MEM_LEVEL, Z_DEFAULT_STRATEGY, nullptr, 0,
                                   made_by_unix | zip_version, 0, 0) == ZIP_OK
               ? 0
               : -1;
}

static int write_entry(maker_zip *zip, const void *data, size_t size)
{
    return zipWriteInFileInZip(zip->file, data, static_cast<unsigned>(size)) == ZIP_OK ? 0 : -1;
}

static int end_entry(maker_zip *zip)
{
    return zipCloseFileInZip(zip->file) == ZIP_OK ? 0 : -1;
}

static int add(maker_zip *zip, const char *name, const void *data, size_t size,
               const entry_options &options)
{
    if (begin_entry(zip, name, options) != 0 || write_entry(zip, data, size) != 0)
        return -1;
    return end_entry(zip);
}

/* The checksum of archives, bit by bit. */
static unsigned long checksum(const void *data, size_t size)
{
    uint32_t sum = 0xFFFFFFFF;
    for (size_t i = 0; i < size; i++) {
        sum ^= static_cast<const unsigned char *>(data)[i];
        for (int bit = 0; bit < 8; bit++)
            sum = (sum >> 1) ^ ((sum & 1) ? 0xEDB88320 : 0);
    }
    return sum ^ 0xFFFFFFFF;
}

/* A deflate stream of blocks that are stored as they are. */
static std::string deflate_stored(const char *data, size_t size)
{
    std::string stream;
    do {
        const size_t piece = std::min<size_t>(size, 0xFFFF);
        const char low = static_cast<char>(piece & 0xFF), high = static_cast<char>(piece >> 8);
        const char head[] = {piece == size, low, high, static_cast<char>(~low),
                             static_cast<char>(~high)};
        stream.append(head, sizeof(head)).append(data, piece);
        data += piece;
        size -= piece;
    } while (size > 0);
    return stream;
}

maker_zip *maker_zip_open(const char *path)
{
    zipFile file = zipOpen64(path, APPEND_STATUS_CREATE);
    return file ? new maker_zip{file} : nullptr;
}

int maker_zip_close(maker_zip *zip)
{
    const int result = zipClose(zip->file, nullptr);
    delete zip;
    return result == ZIP_OK ? 0 : -1;
}

int maker_zip_add(maker_zip *zip, const char *name, const void *data, size_t size,
                  maker_zip_method method)
{
    return add(zip, name, data, size, {method == maker_zip_deflate, false, S_IFREG | 0644});
}

int maker_zip_add_text(maker_zip *zip, const char *name, const char *text)
{
    return maker_zip_add(zip, name, text, strlen(text), maker_zip_deflate);
}

int maker_zip_add_folder(maker_zip *zip, const char *name)
{
    const std::string entry = std::string(name) + "/";
    return add(zip, entry.c_str(), "", 0, {false, false, S_IFDIR | 0755});
}

int maker_zip_add_link(maker_zip *zip, const char *name, const char *target)
{
    return add(zip, name, target, strlen(target), {false, false, S_IFLNK | 0777});
}

int maker_zip_add_special(maker_zip *zip, const char *name, uint32_t kind)
{
    return add(zip, name, "", 0, {false, false, kind | 0666});
}

int maker_zip_add_bad_crc(maker_zip *zip, const char *name, const void *data, size_t size)
{
    if (begin_entry(zip, name, {false, true, S_IFREG | 0644}) != 0 ||
        write_entry(zip, data, size) != 0)
        return -1;
    const unsigned long wrong = checksum(data, size) ^ 1;
    return zipCloseFileInZipRaw64(zip->file, size, wrong) == ZIP_OK ? 0 : -1;
}

int maker_zip_add_lie(maker_zip *zip, const char *name, const void *data, size_t size,
                      uint64_t declared)
{
    const std::string packed = deflate_stored(static_cast<const char *>(data), size);
    if (begin_entry(zip, name, {true, true, S_IFREG | 0644}) != 0 ||
        write_entry(zip, packed.data(), packed.size()) != 0)
        return -1;
    return zipCloseFileInZipRaw64(zip->file, declared, checksum(data, size)) == ZIP_OK ? 0 : -1;
}

int maker_zip_add_bomb(maker_zip *zip, const char *name, char byte, uint64_t size)
{
    const std::vector<char> block(1 << 20, byte);
    if (begin_entry(zip, name, {true, false, S_IFREG | 0644}) != 0)
        return -1;
    for (uint64_t left = size; left > 0;) {
        const size_t piece = static_cast<size_t>(std::min<uint64_t>(left, block.size()));
        if (write_entry(zip, block.data(), piece) != 0)
            return -1;
        left -= piece;
    }
    return end_entry(zip);
}
