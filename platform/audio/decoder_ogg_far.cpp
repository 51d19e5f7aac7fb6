/* decoder_ogg_far: places in an Ogg stream that is longer than the library can tell. */
#include "platform/audio/decoder_ogg_far.h"

#include "platform/audio/decoder_ogg_packet.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

constexpr int64_t piece = 64 << 10;        /* a page is a little longer at most */
constexpr int64_t looked_most = 4 * piece; /* for the next page; other streams may lie between */
constexpr int packets_of_headers = 3;

struct far_page {
    int64_t end;     /* in the file */
    int64_t samples; /* of the stream, up to there */
};

/* The next place in a piece that may begin a page; -1: none. */
static int64_t next_mark(audio_file *file, int64_t at)
{
    static constexpr char mark[] = {'O', 'g', 'g', 'S'};
    char bytes[4096];
    const size_t n = audio_file_peek(file, at, bytes, sizeof bytes);
    const char *found = std::search(bytes, bytes + n, mark, mark + sizeof mark);
    return found == bytes + n ? -1 : at + (found - bytes);
}

/* The first page of the stream at or behind a place, and before another, that ends a packet. */
static bool find_page(const ogg_far *far, audio_file *file, int64_t at, int64_t before,
                      far_page *found)
{
    const int64_t last = std::min(before, at + looked_most);
    while (at < last) {
        ogg_page_head head;
        const int64_t mark = next_mark(file, at);
        if (mark < 0) {
            at += 4096 - 3; /* a mark may lie across */
        } else if (mark >= last) {
            return false;
        } else if (ogg_page_head_read(file, mark, &head)) {
            at = mark + 1;
        } else if (head.serial == far->serial && head.samples >= 0) {
            *found = {mark + head.size, head.samples};
            return true;
        } else {
            at = mark + head.size;
        }
    }
    return false;
}

/* By the last page that tells. */
static int64_t count_samples(const ogg_far *far, audio_file *file)
{
    const int64_t size = audio_file_size(file);
    for (int64_t back = 2 * piece; back <= looked_most; back *= 2) {
        far_page page = {std::max(size - back, far->headers_end), 0};
        bool any = false;
        while (find_page(far, file, page.end, size, &page))
            any = true;
        if (any)
            return page.samples;
    }
    return 0;
}

int ogg_far_look(ogg_far *far, audio_file *file, int64_t start)
{
    ogg_page_head head;
    if (ogg_page_head_read(file, start, &head))
        return -1;
    *far = {.start = start, .headers_end = start, .samples = 0, .serial = head.serial, .jump = -1};
    int packets = 0;
    for (int pages = 0; packets < packets_of_headers; pages++) {
        if (pages == ogg_packet_pages || ogg_page_head_read(file, far->headers_end, &head))
            return -1;
        far->headers_end += head.size;
        for (int i = 0; i < head.segments && head.serial == far->serial; i++)
            packets += head.lengths[i] < 255; /* a short segment is the last of its packet */
    }
    far->samples = count_samples(far, file);
    return 0;
}

int64_t ogg_far_page(const ogg_far *far, audio_file *file, int64_t sample)
{
    int64_t from = far->headers_end, before = audio_file_size(file), best = far->headers_end;
    while (before - from > piece) {
        const int64_t middle = from + (before - from) / 2;
        far_page page;
        if (find_page(far, file, middle, before, &page) && page.samples < sample)
            from = best = page.end;
        else
            before = middle; /* what lies behind it is too late, or unreadable */
    }
    const int64_t last = std::min(before + piece, audio_file_size(file));
    far_page page = {from, 0};
    while (find_page(far, file, page.end, last, &page) && page.samples < sample)
        best = page.end;
    return best;
}

int64_t ogg_far_read(ogg_far *far, audio_file *file, void *to, size_t size)
{
    const int64_t at = audio_file_tell(file);
    if (far->jump < 0)
        return audio_file_read(file, to, size);
    if (at < far->headers_end)
        return audio_file_read(file, to,
                               static_cast<size_t>(std::min<int64_t>(far->headers_end - at, size)));
    const int64_t jump = far->jump;
    far->jump = -1;
    return audio_file_seek(file, jump, SEEK_SET) < 0 ? -1 : audio_file_read(file, to, size);
}
