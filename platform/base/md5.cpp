/* md5: libmd's digest behind our own names. */
#include "platform/base/md5.h"

#include <sys/types.h>

#include <md5.h>

#include <new>

static_assert(sizeof(MD5_CTX) <= sizeof(md5_state::opaque), "md5_state must hold libmd's state");
static_assert(alignof(MD5_CTX) <= alignof(md5_state), "md5_state must be aligned for libmd");

static MD5_CTX *md5_context(md5_state *state)
{
    return std::launder(reinterpret_cast<MD5_CTX *>(state->opaque));
}

void md5_init(md5_state *state)
{
    MD5Init(new (state->opaque) MD5_CTX);
}

void md5_append(md5_state *state, const uint8_t *data, size_t size)
{
    MD5Update(md5_context(state), data, size);
}

void md5_finish(md5_state *state, uint8_t digest[16])
{
    MD5Final(digest, md5_context(state));
}
