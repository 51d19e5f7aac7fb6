/* md5: the digest of RFC 1321. Any thread. */
#pragma once

#include <cstddef>
#include <cstdint>

struct md5_state {
    alignas(8) unsigned char opaque[160];
};

void md5_init(md5_state *state);
void md5_append(md5_state *state, const uint8_t *data, size_t size);
void md5_finish(md5_state *state, uint8_t digest[16]);
