#include "tests/makers/maker_signature.h"

#include <cstring>
#include <sodium.h>

static std::string hex(const uint8_t *bytes, size_t size)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < size; i++)
        text += {digits[bytes[i] >> 4], digits[bytes[i] & 15]};
    return text;
}

maker_key maker_key_from(uint8_t seed)
{
    maker_key key;
    uint8_t seeds[crypto_sign_ed25519_SEEDBYTES];
    memset(seeds, seed, sizeof seeds);
    (void)crypto_sign_ed25519_seed_keypair(key.public_key, key.secret, seeds);
    return key;
}

std::string maker_key_text(const maker_key &key)
{
    return hex(key.public_key, sizeof key.public_key) + "\n";
}

void maker_key_sign(const maker_key &key, const std::string &bytes, uint8_t (&signature)[64])
{
    uint8_t digest[crypto_hash_sha512_BYTES];
    (void)crypto_hash_sha512(digest, reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    (void)crypto_sign_ed25519_detached(signature, nullptr, digest, sizeof digest, key.secret);
}

std::string maker_signed(const std::string &package, const maker_key &key,
                         const std::string &version, const std::string &build)
{
    const std::string claim =
        "zerv-player update\nbuild " + build + "\nversion " + version + "\nsignature ";
    const size_t length = claim.size() + 2 * 64 + 1;
    std::string bytes = package.substr(0, package.size() - 2);
    bytes += {static_cast<char>(length & 0xFF), static_cast<char>(length >> 8)};
    bytes += claim;
    uint8_t signature[64];
    maker_key_sign(key, bytes, signature);
    return bytes + hex(signature, sizeof signature) + "\n";
}
