/* fuzz_lrc: ".lrc" files, as they come from strangers and from the lyrics service. */
#include "fuzz/fuzz.h"
#include "platform/base/owner.h"
#include "view/lyrics/lyrics_parse.h"

#include <cstring>

/* What every kept line must be, whatever the file says. */
static void check(const lyrics_lines *lines)
{
    if (lines->count > lyrics_max_lines || (lines->count == 0) != (lines->texts == nullptr))
        abort();
    for (uint32_t i = 0; i < lines->count; i++)
        if (lines->times[i] == 0 || strpbrk(lines->texts[i], "\r\n") ||
            strlen(lines->texts[i]) > 1023)
            abort();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const fuzz_file input(data, size);
    const owner<FILE, fclose> file(fopen(input.path, "rb"));
    if (!file)
        abort();
    lyrics_lines lines;
    if (lyrics_parse_file(file.get(), &lines) != 0)
        return 0;
    check(&lines);
    (void)lyrics_free(&lines);
    return 0;
}
