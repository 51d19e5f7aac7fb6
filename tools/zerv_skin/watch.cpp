/* watch: when a skin has changed, and when to stop looking. */
#include "tools/zerv_skin/watch.h"

#include "platform/base/owner.h"
#include "skin/skin_package.h"
#include "tools/zerv_skin/check.h"
#include "tools/zerv_skin/cli.h"
#include "tools/zerv_skin/scene.h"
#include "tools/zerv_skin/stage.h"

#include <csignal>
#include <cstdio>
#include <string>
#include <sys/stat.h>

constexpr uint64_t hash_start = 0xCBF29CE484222325, hash_factor = 0x100000001B3;

static constinit volatile sig_atomic_t asked_to_end = 0;

static void on_signal(int)
{
    asked_to_end = 1;
}

static void await_signals()
{
    asked_to_end = 0;
    (void)signal(SIGINT, on_signal);
    (void)signal(SIGTERM, on_signal);
}

bool watch_ends()
{
    return asked_to_end != 0;
}

static uint64_t mix(uint64_t hash, const void *data, size_t size)
{
    for (size_t i = 0; i < size; i++)
        hash = (hash ^ static_cast<const unsigned char *>(data)[i]) * hash_factor;
    return hash;
}

static uint64_t mix_file(uint64_t hash, const char *path)
{
    struct stat entry = {};
    if (stat(path, &entry) != 0)
        return mix(hash, "gone", 4);
    hash = mix(hash, &entry.st_mtim.tv_sec, sizeof(entry.st_mtim.tv_sec));
    hash = mix(hash, &entry.st_mtim.tv_nsec, sizeof(entry.st_mtim.tv_nsec));
    hash = mix(hash, &entry.st_ino, sizeof(entry.st_ino));
    return mix(hash, &entry.st_size, sizeof(entry.st_size));
}

static int mix_member(skin_package *package, const char *name, void *user)
{
    uint64_t *hash = static_cast<uint64_t *>(user);
    *hash = mix(*hash, name, std::char_traits<char>::length(name));
    if (package->member_path)
        *hash = mix_file(*hash, package->member_path);
    return 0;
}

uint64_t watch_fingerprint(const char *path)
{
    skin_package package;
    if (skin_package_open(&package, path) != 0)
        return 0;
    const owner<skin_package, skin_package_close> holder(&package);
    uint64_t hash = mix_file(hash_start, path);
    (void)skin_package_walk(&package, true, mix_member, &hash); /* as far as it comes */
    return hash;
}

void watch_tell(const cli_options *options)
{
    check_result result = {};
    check_package(options->subject, stage_has_font(), &result);
    report_print(&result.found, stdout, options->colours);
    printf("%u errors, %u warnings\n", report_count(&result.found, report_level::error),
           report_count(&result.found, report_level::warning));
    fflush(stdout);
}

int watch_begin(const cli_options *options)
{
    struct stat entry = {};
    if (stat(options->subject, &entry) != 0) {
        perror(options->subject);
        return -1;
    }
    if (stage_open() != 0) {
        fprintf(stderr, "zerv-skin: out of memory\n");
        return -1;
    }
    if (stage_open_font(options->font) != 0)
        fprintf(stderr, "zerv-skin: no font: the pictures show no text\n");
    await_signals();
    return 0;
}

void watch_end()
{
    scene_close();
    stage_close();
}
