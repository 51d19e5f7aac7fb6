/* fuzz_m3u: playlists, from their bytes to the entries, and back through the form that is saved. */
#include "fuzz/fuzz.h"
#include "lists/playlist/list_cur_playlist_entries.h"
#include "lists/playlist/list_cur_playlist_m3u.h"

#include <cstring>
#include <string>
#include <vector>

constexpr size_t longest_line = 4095;

using paths = std::vector<std::string>;

static paths read_all(const void *bytes, size_t size, bool is_own)
{
    const fuzz_file file(static_cast<const uint8_t *>(bytes), size);
    FILE *from = fopen(file.path, "rb");
    if (!from)
        abort();
    playlist_paths read = {};
    if (list_cur_playlist_m3u_parse(from, "some/folder", is_own, &read) < m3u_reading::read)
        abort();
    fclose(from);
    paths found;
    const char *path = read.text;
    for (uint32_t i = 0; i < read.count; i++, path += strlen(path) + 1) {
        if (path[0] != '/' || strpbrk(path, "\r\n"))
            abort();
        found.push_back(path);
    }
    list_cur_playlist_paths_free(&read);
    return found;
}

/* What is queued is each path once, in the order of its first line. */
static paths queue(const paths &found)
{
    sys_guard guard(list_cur_playlist_lock);
    if (list_cur_playlist_entries_init_locked() != 0)
        abort();
    paths queued;
    for (const std::string &path : found) {
        const bool is_new = !list_cur_playlist_entries_has_locked(path.c_str());
        if ((list_cur_playlist_entries_append_locked("name", path.c_str()) == 0) != is_new)
            abort();
        if (!is_new)
            continue;
        const auto last = static_cast<int32_t>(queued.size());
        if (list_cur_playlist_entries_find_locked(path.c_str()) != last)
            abort();
        queued.push_back(path);
    }
    /* Every second one is taken out again; the others must still be found. */
    for (uint32_t i = 0; i < list_cur_playlist_cur.count; i++)
        if (list_cur_playlist_entries_remove_locked(i) != 0)
            abort();
    for (size_t i = 0; i < queued.size(); i++)
        if (list_cur_playlist_entries_has_locked(queued[i].c_str()) != (i % 2 == 1))
            abort();
    list_cur_playlist_entries_free_locked();
    return queued;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const paths found = read_all(data, size, size % 2 != 0);
    const paths queued = queue(found);
    std::string saved;
    bool fits = true;
    for (const std::string &path : queued) {
        fits = fits && path.size() <= longest_line;
        saved += path + "\r\n";
    }
    if (fits && read_all(saved.data(), saved.size(), true) != queued)
        abort();
    return 0;
}
