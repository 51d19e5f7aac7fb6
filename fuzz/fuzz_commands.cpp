/* fuzz_commands: the whole player under random keys, fingers and moments. */
#include "fuzz/fuzz.h"
#include "fuzz/program.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_program_folder();
    fuzz_program_settings("skins/Aqua_Ver0.4.zip", "skins/Aqua_Ver0.4.zip");
    fuzz_program_run({"music/utf8_tag.mp3"}, fuzz_program_commands(data, size));
    return 0;
}
