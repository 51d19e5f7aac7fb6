/* update_name: names of a package's entries, and what they will have made of the program folder.
 * Worker thread. */
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t update_name_size = 512;

/* Writes a name from an archive as the path below the program folder that it means: without "."
 * and empty components, a "/" at its start among them. "" is the program folder itself.
 * False for what must not be unpacked:
 *   - a ".." component, and one above 255 bytes, which no disk holds
 *   - the scratch folder "_tmp"
 *   - the user's own: config.txt, current.m3u, library.db and its journals
 * The last two in any case and with dots or blanks behind them too: a memory card takes them for
 * the same. */
bool update_name_clean(const char *name, char (&to)[update_name_size]);

/* Clean names, each with what stands under it once the entries so far are unpacked. */
struct update_names;
enum class update_kind : uint8_t { nothing, file, folder };

/* Room for `most` names. Null when memory runs out. */
[[nodiscard]] update_names *update_names_new(uint32_t most);
/* Accepts null. */
int update_names_free(update_names *names);
/* What stands under the name: what an entry made of it, else what the disk holds now. */
update_kind update_names_find(const update_names *names, const char *name);
/* Whether there is a folder for it to lie in. */
bool update_names_have_parent(const update_names *names, const char *name);
/* For a name under which nothing stands yet. -1 when memory runs out. */
[[nodiscard]] int update_names_note(update_names *names, const char *name, update_kind kind);
