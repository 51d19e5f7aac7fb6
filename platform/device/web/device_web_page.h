/* device_web_page: the files of the page. The build makes the source out of the folder page/. */
#pragma once

#include <cstddef>
#include <cstdint>

struct web_page_file {
    const char *name; /* null: the end */
    const uint8_t *bytes;
    size_t length;
};
extern const web_page_file web_page_files[];
