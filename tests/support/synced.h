/* synced: what a program brings to the disk, and in which order.
 *
 * Stands before the C library's fsync, syncfs, sync and rename: notes them and passes them on, or
 * lets one fail.
 * Only a power cut would show a missing fsync otherwise. Include it once in a test program. */
#pragma once

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>
#include <vector>

inline std::mutex synced_lock;
inline std::vector<std::string> synced_steps; /* "sync PATH", "syncfs PATH", "sync all" and
                                                * "rename FROM TO"; synced_lock */
inline std::atomic<int> synced_fails_at{0};   /* this fsync from now on fails; 0: none */
inline std::atomic<int> synced_error{EIO};    /* with this */
inline std::atomic<int> synced_fs_error{0};   /* each syncfs fails with this; 0: none */

inline void synced_note(const std::string &step)
{
    const std::lock_guard<std::mutex> guard(synced_lock);
    synced_steps.push_back(step);
}

/* The steps since the last call. */
inline std::vector<std::string> synced_take()
{
    const std::lock_guard<std::mutex> guard(synced_lock);
    return std::exchange(synced_steps, {});
}

inline std::string synced_path_of(int fd)
{
    char path[4096];
    const ssize_t length =
        readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), path, sizeof path);
    return length < 0 ? "?" : std::string(path, static_cast<size_t>(length));
}

extern "C" int fsync(int fd)
{
    if (synced_fails_at > 0 && --synced_fails_at == 0) {
        errno = synced_error;
        return -1;
    }
    synced_note("sync " + synced_path_of(fd));
    return static_cast<int>(syscall(SYS_fsync, fd));
}

extern "C" int syncfs(int fd) noexcept
{
    if (synced_fs_error != 0) {
        errno = synced_fs_error;
        return -1;
    }
    synced_note("syncfs " + synced_path_of(fd));
    return static_cast<int>(syscall(SYS_syncfs, fd));
}

extern "C" void sync() noexcept
{
    synced_note("sync all");
}

extern "C" int rename(const char *from, const char *to) noexcept
{
    synced_note(std::string("rename ") + from + " " + to);
    return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}
