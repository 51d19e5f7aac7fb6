/* audio_picture: the picture that a file carries in its ID3v2 block. */
#include "platform/audio/audio_picture.h"

#include "platform/audio/audio_file.h"
#include "platform/audio/audio_id3.h"
#include "platform/base/owner.h"

#include <cstdlib>
#include <cstring>

constexpr size_t block_head = 10;

static bool find_picture(audio_id3 *block, audio_id3_frame *frame)
{
    while (audio_id3_next(block, frame))
        if (!strcmp(frame->id, "APIC") || !strcmp(frame->id, "PIC"))
            return true;
    return false;
}

static void put_number(unsigned char *to, size_t value, int count, int bits)
{
    for (int i = count - 1; i >= 0; i--, value >>= bits)
        to[i] = (unsigned char)(value & ((1u << bits) - 1));
}

/* A short name says that the content is in the old form, also in a newer block. The flags of both
 * heads stay zero: nothing is packed any more. */
static int wrap(int version, const char *id, audio_id3_content *content)
{
    const size_t head = version == 2 ? 6 : 10;
    const size_t front = block_head + head;
    auto *bytes = static_cast<unsigned char *>(realloc(content->bytes, content->size + front));
    if (!bytes)
        return -1;
    memmove(bytes + front, bytes, content->size);
    memset(bytes, 0, front);
    memcpy(bytes, "ID3", 3);
    bytes[3] = (unsigned char)version;
    put_number(bytes + 6, content->size + head, 4, 7);
    memcpy(bytes + block_head, id, strlen(id));
    if (version == 2)
        put_number(bytes + block_head + 3, content->size, 3, 8);
    else
        put_number(bytes + block_head + 4, content->size, 4, version == 4 ? 7 : 8);
    content->bytes = bytes;
    content->size += front;
    return 0;
}

static int read_picture(audio_file *file, audio_id3_content *content)
{
    audio_id3 block;
    audio_id3_frame frame;
    if (audio_id3_open(&block, file) != 0 || !find_picture(&block, &frame) ||
        audio_id3_take(&block, &frame, audio_picture_limit, content) != 0)
        return -1;
    if (wrap(block.version, frame.id, content) == 0)
        return 0;
    free(content->bytes);
    return -1;
}

int audio_picture_block(const char *path, unsigned char **bytes, size_t *size)
{
    audio_id3_content content;
    const owner<audio_file, audio_file_close> file(audio_file_open(path, audio_file_look));
    if (!file || read_picture(file.get(), &content) != 0)
        return -1;
    *bytes = content.bytes;
    *size = content.size;
    return 0;
}
