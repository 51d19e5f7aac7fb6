/* audio_picture: the picture that a file carries in its ID3v2 block. */
#include "platform/audio/audio_picture.h"

#include "platform/audio/audio_file.h"
#include "platform/audio/audio_id3.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

static bool find_picture(audio_id3 *block, audio_id3_frame *frame)
{
    while (audio_id3_next(block, frame))
        if (!strcmp(frame->id, "APIC") || !strcmp(frame->id, "PIC"))
            return true;
    return false;
}

/* Puts bytes in place of the first `replaced` ones. */
static int replace_front(audio_id3_content *content, size_t replaced, const char *front,
                         size_t front_size)
{
    if (content->size < replaced)
        return -1;
    const size_t rest = content->size - replaced;
    const size_t most = std::max(content->size, rest + front_size);
    auto *bytes = static_cast<unsigned char *>(realloc(content->bytes, most));
    if (!bytes)
        return -1;
    memmove(bytes + front_size, bytes + replaced, rest);
    memcpy(bytes, front, front_size);
    content->bytes = bytes;
    content->size = rest + front_size;
    return 0;
}

/* The old form has three letters where the type stands now, behind the encoding. */
static int renew(audio_id3_content *content)
{
    char front[32], letters[4] = "";
    if (content->size < 4)
        return -1;
    memcpy(letters, content->bytes + 1, 3);
    const char *type = !strcmp(letters, "JPG") ? "jpeg" : !strcmp(letters, "PNG") ? "png" : letters;
    (void)str_format(front, "?image/%s", type); /* always fits */
    front[0] = static_cast<char>(content->bytes[0]);
    return replace_front(content, 4, front, 1 + strlen(front + 1) + 1);
}

/* The flags of the head stay zero: nothing is packed any more. */
static int wrap(audio_id3_content *content)
{
    char head[11] = "APIC";
    for (int i = 0; i < 4; i++)
        head[4 + i] = static_cast<char>(content->size >> (21 - 7 * i) & 0x7F);
    return replace_front(content, 0, head, 10);
}

static int read_picture(audio_file *file, audio_id3_content *content)
{
    audio_id3 block;
    audio_id3_frame frame;
    if (audio_id3_open(&block, file) != 0 || !find_picture(&block, &frame) ||
        audio_id3_take(&block, &frame, audio_picture_limit, content) != 0)
        return -1;
    /* A short name says that the content is in the old form, also in a newer block. */
    if ((strlen(frame.id) > 3 || renew(content) == 0) && wrap(content) == 0)
        return 0;
    free(content->bytes);
    return -1;
}

int audio_picture_frame(const char *path, unsigned char **bytes, size_t *size)
{
    audio_id3_content content;
    const owner<audio_file, audio_file_close> file(audio_file_open(path, audio_file_look));
    if (!file || read_picture(file.get(), &content) != 0)
        return -1;
    *bytes = content.bytes;
    *size = content.size;
    return 0;
}
