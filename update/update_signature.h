/* update_signature: whether a package comes from who may send one. Worker thread.
 *
 * A signed package ends in a comment of the archive:
 *     zerv-player update
 *     build BUILD
 *     version VERSION
 *     signature 128 HEXADECIMAL DIGITS
 * each line with a line feed. The signature is over every byte of the file before its first digit,
 * so that nothing of the archive, build and version included, can be changed without it. */
#pragma once

#include "platform/net/sign.h"

#include <cstdint>

enum class update_trust : uint8_t {
    anybody,   /* no key: packages need no signature */
    key_owner, /* a key: packages need its owner's */
    nobody,    /* a key that is none, or that cannot be read: no package is good */
};

/* Finds the key: the one of the build, else the one in the file, each 64 hexadecimal digits.
 *   built_in  "" for none
 *   path      need not exist; white space around the digits does not matter */
update_trust update_signature_key(const char *built_in, const char *path,
                                  uint8_t (&key)[sign_key_size]);
/* Whether the package was signed with the key, for this build, as a version above this one.
 * Nothing of an archive that was not signed is interpreted. */
bool update_signature_holds(const char *path, const uint8_t (&key)[sign_key_size]);

/* Compares versions by their numbers: "0.10" is above "0.9", "1.0" is "1". False, too, when one of
 * them is no version: numbers of up to nine digits with dots between. */
bool update_version_is_above(const char *version, const char *other);
