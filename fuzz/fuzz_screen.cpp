/* fuzz_screen: a stranger's skin on both screens, with a track that plays, fingers and keys:
 * list.xml, a line "----", play.xml, a line "----", bytes that say what is done. */
#include "fuzz/fuzz.h"
#include "fuzz/program.h"

#include <string_view>
#include <sys/stat.h>

/* What stands before the next line of dashes, which goes as well. */
static std::string_view take_section(std::string_view &rest)
{
    constexpr std::string_view mark = "----\n";
    const size_t end = rest.find(mark);
    const std::string_view section = rest.substr(0, end);
    rest.remove_prefix(end == rest.npos ? rest.size() : end + mark.size());
    return section;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string_view rest(reinterpret_cast<const char *>(data), size);
    const std::string_view list = take_section(rest), play = take_section(rest);
    fuzz_program_folder();
    if (mkdir("own", 0755) != 0)
        abort();
    fuzz_program_write("own/list.xml", list.data(), list.size());
    fuzz_program_write("own/play.xml", play.data(), play.size());
    fuzz_program_pictures("own");
    fuzz_program_settings("own", "own");
    const auto *bytes = reinterpret_cast<const uint8_t *>(rest.data());
    fuzz_program_run({"music/utf8_tag.mp3"}, fuzz_program_commands(bytes, rest.size()));
    return 0;
}
