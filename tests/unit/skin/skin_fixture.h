/* skin_fixture: packages, pictures and watchers for the tests of skins. */
#pragma once

#include "platform/base/owner.h"
#include "platform/file/file.h"
#include "skin/skin.h"
#include "skin/skin_watch.h"
#include "support/png_bytes.h"
#include "tests/makers/maker_zip.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <memory>
#include <png.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>
#include <zlib.h>

using part_owner = owner<skin_part, skin_free_part>;

inline std::string make_png(uint32_t width, uint32_t height, uint32_t argb = 0xFF336699)
{
    return png_bytes(width, height, argb);
}

/* One whose checksums are right, but whose pixels cannot be unpacked. */
inline std::string make_png_of_wrong_pixels()
{
    std::string file = make_png(20, 10);
    const size_t name = file.find("IDAT");
    const auto *bytes = reinterpret_cast<const uint8_t *>(file.data());
    const uint32_t size = uint32_t{bytes[name - 2]} << 8 | bytes[name - 1];
    file[name + 6] = static_cast<char>(0xFF); /* a kind of block that does not exist */
    const uint32_t sum = static_cast<uint32_t>(crc32(0, bytes + name, size + 4));
    for (uint32_t i = 0; i < 4; i++)
        file[name + 4 + size + i] = static_cast<char>(sum >> (24 - 8 * i));
    return file;
}

using members = std::vector<std::pair<std::string, std::string>>;

inline void write_file(const std::string &path, const std::string &content)
{
    FILE *file = fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr) << path;
    ASSERT_EQ(fwrite(content.data(), 1, content.size(), file), content.size());
    ASSERT_EQ(fclose(file), 0);
}

inline void make_folders(const std::string &path)
{
    for (size_t at = path.find('/'); at != std::string::npos; at = path.find('/', at + 1))
        (void)mkdir(path.substr(0, at).c_str(), 0755);
}

inline void make_zip(const std::string &path, const members &files)
{
    maker_zip *zip = maker_zip_open(path.c_str());
    ASSERT_NE(zip, nullptr);
    for (const auto &[name, content] : files)
        ASSERT_EQ(
            maker_zip_add(zip, name.c_str(), content.data(), content.size(), maker_zip_deflate), 0);
    ASSERT_EQ(maker_zip_close(zip), 0);
}

inline void make_folder(const std::string &path, const members &files)
{
    for (const auto &[name, content] : files) {
        make_folders(path + "/" + name);
        write_file(path + "/" + name, content);
    }
}

inline std::string skin_xml(const std::string &elements)
{
    return "<skin version=\"0.1\">" + elements + "</skin>";
}

/* An empty working folder with the pattern of part files compiled. */
struct skin_test : testing::Test {
    void SetUp() override
    {
        ASSERT_NE(getcwd(home, sizeof(home)), nullptr);
        (void)file_remove("work");
        ASSERT_EQ(mkdir("work", 0755), 0);
        ASSERT_EQ(chdir("work"), 0);
        ASSERT_EQ(skin_init(), 0);
    }
    void TearDown() override
    {
        EXPECT_EQ(skin_exit(), 0);
        EXPECT_EQ(chdir(home), 0);
        EXPECT_EQ(file_remove("work"), 0);
    }

    char home[4096];
};

/* Open files of this process: what a failed reading must not leave behind. */
inline int count_open_files()
{
    int count = 0;
    for (int descriptor = 0; descriptor < 256; descriptor++) {
        struct stat entry = {};
        count += fstat(descriptor, &entry) == 0;
    }
    return count;
}

struct seen_fault {
    std::string code, file;
    uint32_t line, column;
    std::string element, attribute, value, reason;
};

/* Keeps the faults that a reading tells. */
struct fault_list {
    std::vector<seen_fault> faults;
    skin_watcher watcher = {
        .user = this,
        .fault =
            [](void *user, const skin_fault *f) {
                static_cast<fault_list *>(user)->faults.push_back(
                    {f->code, f->file, f->place.line, f->place.column, f->element, f->attribute,
                     f->value, f->reason});
            },
    };
};
