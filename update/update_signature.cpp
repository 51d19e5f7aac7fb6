#include "update/update_signature.h"

#include "core/services/program.h"
#include "platform/base/owner.h"
#include "platform/base/str.h"
#include "platform/file/file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/types.h>

constexpr char head_line[] = "zerv-player update\n";
constexpr char signature_word[] = "signature ";
constexpr size_t digits_length = sign_size * 2 + 1; /* with the line's end */
constexpr size_t most_comment = 512;

/* What the comment says. */
struct signature_claim {
    char build[64];
    char version[64];
    uint8_t signature[sign_size];
};

/* -1 for any other sign. */
static int hex_value(char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    const int letter = digit | 0x20;
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

/* False unless the text begins with so many digits. */
template <size_t size> static bool read_hex(const char *text, uint8_t (&to)[size])
{
    for (size_t i = 0; i < size; i++) {
        const int high = hex_value(text[i * 2]);
        const int low = high < 0 ? -1 : hex_value(text[i * 2 + 1]);
        if (low < 0)
            return false;
        to[i] = static_cast<uint8_t>(high << 4 | low);
    }
    return true;
}

static bool read_key(char *text, uint8_t (&key)[sign_key_size])
{
    (void)str_strip(text);
    return strlen(text) == sign_key_size * 2 && read_hex(text, key);
}

update_trust update_signature_key(const char *built_in, const char *path,
                                  uint8_t (&key)[sign_key_size])
{
    char text[256] = "";
    if (*built_in == '\0') {
        errno = 0;
        const owner<FILE, fclose> file(file_fopen(path, "rb"));
        if (!file)
            return errno == ENOENT ? update_trust::anybody : update_trust::nobody;
        const size_t got = fread(text, 1, sizeof text - 1, file.get());
        if (ferror(file.get()) || strlen(text) != got)
            return update_trust::nobody;
    } else if (!str_copy(text, built_in)) {
        return update_trust::nobody;
    }
    return read_key(text, key) ? update_trust::key_owner : update_trust::nobody;
}

/* Copies what stands between a word at the start of the text and the end of its line. Null when it
 * is another word or does not fit, else what follows the line. */
template <size_t size>
static const char *read_line(const char *text, const char *word, char (&to)[size])
{
    const size_t skipped = strlen(word);
    if (strncmp(text, word, skipped) != 0)
        return nullptr;
    const size_t length = strcspn(text + skipped, "\n");
    if (length >= size || text[skipped + length] != '\n')
        return nullptr;
    memcpy(to, text + skipped, length);
    to[length] = '\0';
    return text + skipped + length + 1;
}

/* The last bytes of a file, ended as a text. */
static bool read_tail(FILE *file, off_t size, char (&tail)[most_comment + 1])
{
    const size_t wanted =
        size < static_cast<off_t>(most_comment) ? static_cast<size_t>(size) : most_comment;
    if (fseeko(file, size - static_cast<off_t>(wanted), SEEK_SET) != 0 ||
        fread(tail, 1, wanted, file) != wanted)
        return false;
    tail[wanted] = '\0';
    /* The archive before the comment holds bytes of any value. */
    for (size_t i = 0; i < wanted; i++)
        if (tail[i] == '\0')
            tail[i] = 1;
    return true;
}

static bool read_claim(const char *tail, signature_claim *claim)
{
    const char *at = nullptr;
    for (const char *next = tail; (next = strstr(next, head_line)); next++)
        at = next;
    if (!at)
        return false;
    at = read_line(at + strlen(head_line), "build ", claim->build);
    at = at ? read_line(at, "version ", claim->version) : nullptr;
    if (!at || strncmp(at, signature_word, strlen(signature_word)) != 0)
        return false;
    at += strlen(signature_word);
    return strlen(at) == digits_length && at[digits_length - 1] == '\n' &&
           read_hex(at, claim->signature);
}

static bool content_is_signed(FILE *file, off_t size, const signature_claim *claim,
                              const uint8_t (&key)[sign_key_size])
{
    const owner<sign_check, sign_check_free> check(sign_check_new());
    if (!check || fseeko(file, 0, SEEK_SET) != 0)
        return false;
    char piece[4096];
    for (off_t left = size - static_cast<off_t>(digits_length); left > 0;) {
        const size_t wanted =
            left < static_cast<off_t>(sizeof piece) ? static_cast<size_t>(left) : sizeof piece;
        if (fread(piece, 1, wanted, file) != wanted)
            return false;
        sign_check_add(check.get(), piece, wanted);
        left -= static_cast<off_t>(wanted);
    }
    return sign_check_holds(check.get(), claim->signature, key);
}

bool update_signature_holds(const char *path, const uint8_t (&key)[sign_key_size])
{
    const owner<FILE, fclose> file(file_fopen(path, "rb"));
    if (!file || fseeko(file.get(), 0, SEEK_END) != 0)
        return false;
    const off_t size = ftello(file.get());
    char tail[most_comment + 1];
    signature_claim claim = {};
    return size >= 0 && read_tail(file.get(), size, tail) && read_claim(tail, &claim) &&
           content_is_signed(file.get(), size, &claim, key) &&
           strcmp(claim.build, PROGRAM_BUILD_ID) == 0 &&
           update_version_is_above(claim.version, PROGRAM_VERSION);
}

/* Reads a number and the dot behind it. -1 when there is none; 0 at the end. */
static int64_t next_number(const char **at)
{
    int64_t number = 0;
    const size_t length = strspn(*at, "0123456789");
    for (size_t i = 0; i < length && i < 9; i++)
        number = number * 10 + ((*at)[i] - '0');
    *at += length;
    const bool goes_on = **at == '.' && (*at)[1] != '\0';
    if (length > 9 || (length == 0 && **at != '\0') || (**at != '\0' && !goes_on))
        return -1;
    *at += goes_on ? 1 : 0;
    return number;
}

bool update_version_is_above(const char *version, const char *other)
{
    int difference = 0;
    if (*version == '\0' || *other == '\0')
        return false;
    while (*version != '\0' || *other != '\0') {
        const int64_t left = next_number(&version);
        const int64_t right = next_number(&other);
        if (left < 0 || right < 0)
            return false;
        if (difference == 0)
            difference = left > right ? 1 : left < right ? -1 : 0;
    }
    return difference > 0;
}
