/* fuzz: what a fuzzer offers, and a way to hand its bytes to code that wants a path. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

/* A file in memory that holds the bytes; `path` names it while the record lives. */
struct fuzz_file {
    int descriptor;
    char path[64];

    fuzz_file(const uint8_t *data, size_t size) : descriptor(memfd_create("fuzz", MFD_CLOEXEC))
    {
        snprintf(path, sizeof(path), "/proc/self/fd/%d", descriptor);
        for (size_t done = 0; done < size;) {
            const ssize_t wrote = write(descriptor, data + done, size - done);
            if (wrote <= 0)
                abort(); /* the machine's fault, not the input's */
            done += static_cast<size_t>(wrote);
        }
    }
    ~fuzz_file() { close(descriptor); }
    fuzz_file(const fuzz_file &) = delete;
    fuzz_file &operator=(const fuzz_file &) = delete;
};
