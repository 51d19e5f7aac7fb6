/* device_web_upload: files that somebody drops on the page, into a folder of their own. */
#include "platform/base/str.h"
#include "platform/device/web/device_web.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

constexpr uint64_t mib = 1024 * 1024;
constexpr uint64_t total_most = 1024 * mib; /* of one run */
constexpr int names_most = 100;             /* files of one name */

using path_text = char[1024];

static constinit path_text folder = ""; /* set before the server's thread starts; "": none */

/* Server's thread. */
static constinit uint64_t total = 0; /* bytes taken, and promised to uploads under way */
static constinit uint32_t parts = 0;

void web_upload_open()
{
    const char *asked = getenv("ZERV_WEB_UPLOADS");
    if (!asked || !str_copy(folder, asked))
        folder[0] = '\0';
    total = 0;
}

bool web_upload_taken()
{
    return folder[0] != '\0';
}

/* Made when the first file comes; an empty one would only stand in the way. */
static bool make_part(web_upload *upload)
{
    if (mkdir(folder, 0777) != 0 && errno != EEXIST)
        return false;
    if (!str_format(upload->part, "%s/.upload-%d-%u", folder, static_cast<int>(getpid()), parts++))
        return false;
    const int file = open(upload->part, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    upload->file = file < 0 ? nullptr : fdopen(file, "wb");
    if (!upload->file && file >= 0)
        close(file);
    return upload->file != nullptr;
}

web_answer web_upload_begin(web_upload *upload, const char *name, uint64_t bytes)
{
    *upload = {};
    if (!web_upload_taken())
        return {403, "This run takes no files: it plays a folder of your own. Put them there."};
    if (!name || web_make_name(name, upload->name) != 0)
        return {415, "Only MP3, Ogg, FLAC, M3U and LRC files are taken."};
    if (bytes > web_upload_mib * mib)
        return {413, "A file may have 256 MiB at most."};
    if (total + bytes > total_most)
        return {413, "All files of a run may have 1 GiB together."};
    if (!make_part(upload))
        return {500, "The folder for files cannot be written to."};
    upload->bytes = upload->left = bytes;
    total += bytes;
    return {200, ""};
}

int web_upload_add(web_upload *upload, const void *bytes, size_t length)
{
    if (!upload->file)
        return -1;
    if (length <= upload->left && fwrite(bytes, 1, length, upload->file) == length) {
        upload->left -= length;
        return 0;
    }
    web_upload_abort(upload);
    return -1;
}

/* The first name that is free; a file that is there is never replaced. */
static bool give_name(const web_upload *upload, path_text &path)
{
    for (int n = 1; n <= names_most; n++) {
        web_name name;
        web_number_name(upload->name, n, name);
        if (!str_format(path, "%s/%s", folder, name))
            return false;
        if (link(upload->part, path) == 0)
            return true;
        /* A file system without links: somebody else's file in the instant between is not likely. */
        if (errno != EEXIST && access(path, F_OK) != 0)
            return rename(upload->part, path) == 0;
    }
    return false;
}

web_answer web_upload_finish(web_upload *upload)
{
    path_text path;
    FILE *file = upload->file;
    upload->file = nullptr;
    const bool whole = file && upload->left == 0;
    const bool written = file && fclose(file) == 0;
    const bool named = whole && written && give_name(upload, path);
    if (upload->part[0])
        (void)unlink(upload->part); /* gone already where it was renamed */
    upload->part[0] = '\0';
    if (!named)
        return {500, "The file could not be kept."};
    if (web_is_queued(path))
        web_input_drop(path);
    return {200, "kept"};
}

void web_upload_abort(web_upload *upload)
{
    if (upload->file) {
        (void)fclose(upload->file); /* it is thrown away */
        (void)unlink(upload->part);
        total -= upload->bytes;
    }
    *upload = {};
}
