/* cli_pack: zerv-skin pack, the zip of a skin folder. */
#include "platform/base/owner.h"
#include "platform/file/file.h"
#include "skin/skin_package.h"
#include "tools/zerv_skin/check.h"
#include "tools/zerv_skin/cli.h"
#include "tools/zerv_skin/stage.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <minizip/zip.h>
#include <string>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

constexpr int status_error = 2;

/* Sources and leftovers of other programs; the player has no use for them. */
static constexpr const char *left_out[] = {".svg", ".xcf",  ".psd", ".kra", ".ora",
                                           ".bak", ".orig", ".tmp", ".zip"};

static bool is_left_out(const std::string &name)
{
    const size_t slash = name.rfind('/');
    const std::string base = slash == std::string::npos ? name : name.substr(slash + 1);
    if (name[0] == '.' || name.find("/.") != std::string::npos || base.back() == '~')
        return true;
    const char *ext = file_get_ext(base.c_str());
    return ext && std::any_of(std::begin(left_out), std::end(left_out),
                              [ext](const char *known) { return strcasecmp(ext, known) == 0; });
}

struct packing {
    zipFile zip;
    uint32_t files;
    std::string failed; /* the member that could not be packed */
};

/* One time for all: the same files give the same zip, and it says nothing about its maker. */
static int begin_member(zipFile zip, const char *name)
{
    zip_fileinfo info = {};
    info.tmz_date = {0, 0, 0, 1, 0, 1980};
    return zipOpenNewFileInZip64(zip, name, &info, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED,
                                 Z_BEST_COMPRESSION, 0);
}

static int copy_member(skin_package *package, zipFile zip)
{
    char chunk[16 * 1024];
    int got = 0;
    while ((got = skin_member_read(package, chunk, sizeof(chunk))) > 0)
        if (zipWriteInFileInZip(zip, chunk, static_cast<unsigned>(got)) != ZIP_OK)
            return -1;
    return got;
}

static int pack_member(skin_package *package, const char *name, void *user)
{
    packing *to = static_cast<packing *>(user);
    if (is_left_out(name))
        return 0;
    to->failed = name;
    if (skin_member_open(package) != 0)
        return -1;
    const bool begun = begin_member(to->zip, name) == ZIP_OK;
    const bool copied = begun && copy_member(package, to->zip) == 0;
    const bool ended = begun && zipCloseFileInZip(to->zip) == ZIP_OK;
    if (skin_member_close(package) != 0 || !copied || !ended)
        return -1;
    to->failed.clear();
    to->files++;
    return 0;
}

static int pack_all(const char *folder, packing *to)
{
    skin_package package;
    if (skin_package_open(&package, folder) != 0)
        return -1;
    const owner<skin_package, skin_package_close> holder(&package);
    if (skin_package_walk(&package, true, pack_member, to) == 0)
        return 0;
    if (package.reason)
        fprintf(stderr, "zerv-skin: %s%s: %s\n", folder, package.reason_name, package.reason);
    return -1;
}

/* Under another name until it is whole: nobody finds half a skin. */
int cli_pack_write(const char *folder, const char *path, uint32_t *files)
{
    const std::string beside = std::string(path) + ".new";
    packing to = {zipOpen64(beside.c_str(), APPEND_STATUS_CREATE), 0, ""};
    if (!to.zip) {
        fprintf(stderr, "zerv-skin: %s: %s\n", beside.c_str(), strerror(errno));
        return -1;
    }
    const int packed = pack_all(folder, &to);
    const int closed = zipClose(to.zip, nullptr);
    if (packed != 0 || closed != ZIP_OK || file_rename(beside.c_str(), path) != 0) {
        fprintf(stderr, "zerv-skin: %s%s%s cannot be packed into %s\n", folder,
                to.failed.empty() ? "" : "/", to.failed.c_str(), path);
        (void)unlink(beside.c_str());
        return -1;
    }
    *files = to.files;
    return 0;
}

static bool has_errors(const cli_options *options)
{
    check_result result = {};
    if (stage_open() != 0)
        return true;
    check_package(options->subject, stage_open_font(options->font) == 0, &result);
    stage_close();
    report_print(&result.found, stdout, options->colours);
    return report_status(&result.found) == status_error;
}

int cli_pack(const cli_options *options)
{
    struct stat entry = {};
    if (stat(options->subject, &entry) != 0 || !S_ISDIR(entry.st_mode)) {
        fprintf(stderr, "zerv-skin: %s is not a folder\n", options->subject);
        return status_error;
    }
    if (has_errors(options) && !options->force) {
        fprintf(stderr, "zerv-skin: not packed because of the errors (--force packs it anyway)\n");
        return status_error;
    }
    const std::string path = options->output
                                 ? options->output
                                 : std::string(cli_base_name(options->subject).text) + ".zip";
    uint32_t files = 0;
    if (cli_pack_write(options->subject, path.c_str(), &files) != 0)
        return status_error;
    printf("%s: %u file%s\n", path.c_str(), files, files == 1 ? "" : "s");
    return 0;
}
