/* sign: whether bytes were signed by the owner of a key: Ed25519 over their SHA-512 digest.
 *
 * The library that computes it is loaded when the first signature is looked at: most players never
 * see one. A check belongs to one thread. */
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t sign_key_size = 32;
constexpr size_t sign_size = 64;

struct sign_check;

/* Null when the library is not installed or memory runs out. */
[[nodiscard]] sign_check *sign_check_new();
void sign_check_add(sign_check *check, const void *bytes, size_t size);
/* Whether all that was added, in this order, has this signature by this key. Nothing may be added
 * afterwards. */
bool sign_check_holds(sign_check *check, const uint8_t (&signature)[sign_size],
                      const uint8_t (&key)[sign_key_size]);
/* Accepts null. */
int sign_check_free(sign_check *check);
