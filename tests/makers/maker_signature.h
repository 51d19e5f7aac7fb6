/* maker_signature: keys that are the same in each run, and signed packages. */
#pragma once

#include <cstdint>
#include <string>

struct maker_key {
    uint8_t public_key[32];
    uint8_t secret[64];
};

maker_key maker_key_from(uint8_t seed);
/* The public half as players keep it. */
std::string maker_key_text(const maker_key &key);
void maker_key_sign(const maker_key &key, const std::string &bytes, uint8_t (&signature)[64]);
/* Signs an archive that has no comment yet. */
std::string maker_signed(const std::string &package, const maker_key &key,
                         const std::string &version,
                         const std::string &build = "zerv-player-dingoo");
