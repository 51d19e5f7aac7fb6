/* fuzz_settings: a command line, a word a line up to the first empty one, and the settings behind
 * it. The player starts, shows both screens and saves what it made of them. */
#include "fuzz/fuzz.h"
#include "fuzz/program.h"

#include <string_view>

static constexpr char script[] =
    "advance 20\nkey vol_up\nkey down\nkey down\nkey select\nadvance 20\n"
    "key select\nadvance 20\nkey switch\nadvance 400\nstate\n";

/* Settings are saved to where the command line says: not outside of the folder. */
static bool stays_inside(std::string_view word)
{
    return !word.starts_with('-') || word.find('/') == std::string_view::npos;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string_view rest(reinterpret_cast<const char *>(data), size);
    std::vector<std::string> words;
    while (!rest.empty()) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        if (line.empty())
            break;
        /* A word ends at its zero. The word before may ask for a file's name. */
        const std::string word(line.substr(0, line.find('\0')));
        if (stays_inside(word) && word.find("..") == std::string::npos && word[0] != '/')
            words.push_back(word);
    }
    fuzz_program_folder();
    fuzz_program_write("config.txt", rest.data(), rest.size());
    fuzz_program_run(words, script);
    return 0;
}
