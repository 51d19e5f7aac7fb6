/* fuzz_key: what the lyrics service knows a track by, of any bytes. */
#include "fuzz/fuzz.h"
#include "view/lyrics/lyrics_key.h"

#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const fuzz_file file(data, size);
    char key[lyrics_key_size];
    if (lyrics_key(file.path, key) == 0 && strspn(key, "0123456789abcdef") != lyrics_key_size - 1)
        abort();
    return 0;
}
