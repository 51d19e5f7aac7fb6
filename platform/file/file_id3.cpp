#include "platform/file/file_id3.h"

#include <cstring>

bool file_id3_read(const uint8_t (&bytes)[file_id3_head_bytes], file_id3_head *head)
{
    if (memcmp(bytes, "ID3", 3) != 0)
        return false;
    *head = {.version = bytes[3], .flags = bytes[5], .size = 0, .is_broken = false};
    for (size_t i = 6; i < file_id3_head_bytes; i++) {
        head->size = head->size << 7 | (bytes[i] & 0x7F);
        head->is_broken |= bytes[i] > 0x7F;
    }
    return true;
}
