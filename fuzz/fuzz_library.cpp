/* fuzz_library: a stranger's or a damaged library.db under all browsers of the library. */
#include "fuzz/fuzz.h"
#include "fuzz/program.h"

/* Into the row of the main menu that is so many rows above its end, and four levels down; once by
 * the rows' first entry, which stands for all, once by the second. */
static std::string browse(int rows_up)
{
    std::string script = "key back\nadvance 5\nkey back\nadvance 5\n";
    for (int i = 0; i < rows_up; i++)
        script += "key up\nadvance 2\n";
    script += "key select\nadvance 5\n";
    for (int level = 0; level < 4; level++)
        script += "key down\nadvance 2\nkey select\nadvance 5\nkey up\nkey select\nadvance 5\nkey "
                  "left\nadvance 5\n";
    for (int level = 0; level < 5; level++)
        script += "key left\nadvance 5\n";
    return script;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_program_folder();
    fuzz_program_settings("skins/Aqua_Ver0.4.zip", "skins/Aqua_Ver0.4.zip");
    fuzz_program_write("library.db", data, size);
    std::string script = "advance 10\n";
    for (int row = 1; row <= 8; row++)
        script += browse(row);
    /* Names of queued tracks come from the library, and a scan brings it up to date. */
    fuzz_program_run({"music/chain.ogg", "music/wide.flac"},
                     script + "settle 2000\nadvance 5\nstate\n");
    return 0;
}
