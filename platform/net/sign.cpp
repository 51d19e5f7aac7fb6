#include "platform/net/sign.h"

#include "platform/base/fault.h"
#include "platform/base/lock.h"

#include <dlfcn.h>
#include <new>
#include <sodium.h>

enum class sodium_state { unknown, loaded, missing };

struct sodium_calls {
    decltype(&sodium_init) init;
    decltype(&crypto_hash_sha512_init) hash_init;
    decltype(&crypto_hash_sha512_update) hash_update;
    decltype(&crypto_hash_sha512_final) hash_final;
    decltype(&crypto_sign_ed25519_verify_detached) verify;
};

struct sign_check {
    const sodium_calls *calls;
    crypto_hash_sha512_state state;
};

static constinit sys_lock sodium_lock;
static constinit sodium_calls sodium GUARDED_BY(sodium_lock) = {};
static constinit sodium_state sodium_loaded GUARDED_BY(sodium_lock) = sodium_state::unknown;

static const char *const sodium_names[] = {"libsodium.so.23", "libsodium.so.26", "libsodium.so"};

template <typename call> static bool sodium_find(void *library, const char *name, call **to)
{
    *to = reinterpret_cast<call *>(dlsym(library, name));
    return *to != nullptr;
}

static bool sodium_find_all(void *library, sodium_calls *to)
{
    return sodium_find(library, "sodium_init", &to->init) &&
           sodium_find(library, "crypto_hash_sha512_init", &to->hash_init) &&
           sodium_find(library, "crypto_hash_sha512_update", &to->hash_update) &&
           sodium_find(library, "crypto_hash_sha512_final", &to->hash_final) &&
           sodium_find(library, "crypto_sign_ed25519_verify_detached", &to->verify);
}

static bool sodium_load(sodium_calls *to)
{
    for (const char *name : sodium_names) {
        void *library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
        if (library && sodium_find_all(library, to) && to->init() >= 0)
            return true;
        if (library)
            (void)dlclose(library);
    }
    return false;
}

static const sodium_calls *sodium_get()
{
    const sys_guard guard(sodium_lock);
    if (sodium_loaded == sodium_state::unknown)
        sodium_loaded = sodium_load(&sodium) ? sodium_state::loaded : sodium_state::missing;
    return sodium_loaded == sodium_state::loaded ? &sodium : nullptr;
}

sign_check *sign_check_new()
{
    const sodium_calls *calls = fault_hit("sign_check_new") ? nullptr : sodium_get();
    auto *check = calls ? new (std::nothrow) sign_check{calls, {}} : nullptr;
    if (check)
        (void)calls->hash_init(&check->state); /* these three cannot fail */
    return check;
}

void sign_check_add(sign_check *check, const void *bytes, size_t size)
{
    (void)check->calls->hash_update(&check->state, static_cast<const uint8_t *>(bytes), size);
}

bool sign_check_holds(sign_check *check, const uint8_t (&signature)[sign_size],
                      const uint8_t (&key)[sign_key_size])
{
    uint8_t digest[crypto_hash_sha512_BYTES];
    (void)check->calls->hash_final(&check->state, digest);
    return check->calls->verify(signature, digest, sizeof digest, key) == 0;
}

int sign_check_free(sign_check *check)
{
    delete check;
    return 0;
}
