"""Keys and signatures of packages. docs/services.md describes them for keepers, and
update/update_signature.h for players: the comment of a signed archive ends in the signature of every
byte before it."""

import ctypes
import ctypes.util
import hashlib
import os
import re
import struct

HEAD = b"zerv-player update\n"
COMMENT = re.compile(HEAD + rb"build ([^\n]{1,63})\nversion ([^\n]{1,63})\nsignature "
                     rb"([0-9A-Fa-f]{128})\n\Z")
VERSION = re.compile(r"[0-9]{1,9}(\.[0-9]{1,9})*")
BUILD = re.compile(r"[A-Za-z0-9._-]{1,63}")
PACKAGE_NAME = re.compile(r"(.+)-([0-9.]+)\.zip")
DIGITS = 129  # the signature's, with the line's end
SEARCHED = 512
END_SIZE = 22


class SignatureError(Exception):
    """What is wrong with a key, or why something cannot be signed."""


def load_sodium():
    name = ctypes.util.find_library("sodium") or "libsodium.so.23"
    try:
        library = ctypes.CDLL(name)
    except OSError:
        raise SignatureError("libsodium is not installed; Debian's package is libsodium23") from None
    if library.sodium_init() < 0:
        raise SignatureError("libsodium cannot be started")
    return library


def make_keys():
    """A new pair: the public key and the secret one, as texts."""
    public, secret = ctypes.create_string_buffer(32), ctypes.create_string_buffer(64)
    load_sodium().crypto_sign_ed25519_keypair(public, secret)
    return public.raw.hex() + "\n", secret.raw.hex() + "\n"


def read_key(path, size):
    with open(path, "rb") as file:
        text = file.read(1000).strip()
    if not re.fullmatch(rb"[0-9A-Fa-f]{%d}" % (2 * size), text):
        raise SignatureError(f"{path}: not {2 * size} hexadecimal digits")
    return bytes.fromhex(text.decode())


def digest_of(data, size):
    digest = hashlib.sha512()
    for at in range(0, size, 1 << 20):
        digest.update(data[at:min(at + (1 << 20), size)])
    return digest.digest()


def write_new(path, text, mode):
    """Never over a key that there is: packages could not be signed for its players any more."""
    with os.fdopen(os.open(path, os.O_WRONLY | os.O_CREAT | os.O_EXCL, mode), "w") as file:
        file.write(text)


def version_number(text):
    """"0.10" comes after "0.9"; "1" and "1.0" are the same."""
    numbers = [int(part) for part in text.split(".")]
    while numbers and numbers[-1] == 0:
        numbers.pop()
    return numbers


def names_from(path):
    """Build and version by the file's name, each None when it does not tell."""
    match = PACKAGE_NAME.fullmatch(os.path.basename(path))
    return match.groups() if match else (None, None)


def find_claim(data):
    """Build, version and signature of a signed package, or None."""
    tail = bytes(data[max(0, len(data) - SEARCHED):])
    match = COMMENT.search(tail, max(0, tail.rfind(HEAD)))
    if not match:
        return None
    build, version, signature = match.groups()
    return build.decode("ascii", "replace"), version.decode("ascii", "replace"), bytes.fromhex(
        signature.decode())


def signed(data, secret, build, version):
    """The package with a signature instead of its comment, a former signature included."""
    end = data.rfind(b"PK\5\6")
    if end < 0 or end + END_SIZE + struct.unpack("<H", data[end + 20:end + 22])[0] != len(data):
        raise SignatureError("bytes follow the end of the archive, so it cannot be signed")
    if not BUILD.fullmatch(build) or not VERSION.fullmatch(version):
        raise SignatureError(f"{build} {version}: not a build and a version")
    text = HEAD + f"build {build}\nversion {version}\nsignature ".encode()
    data = data[:end + 20] + struct.pack("<H", len(text) + DIGITS) + text
    signature = ctypes.create_string_buffer(64)
    digest = digest_of(data, len(data))
    load_sodium().crypto_sign_ed25519_detached(signature, None, digest,
                                               ctypes.c_ulonglong(len(digest)), secret)
    return data + signature.raw.hex().encode() + b"\n"


def faults_of(data, key, installed=None):
    """Why a player with this key refuses a package; `installed` is the version that it has."""
    claim = find_claim(data)
    if claim is None:
        return ["it is not signed"]
    build, version, signature = claim
    digest = digest_of(data, len(data) - DIGITS)
    if load_sodium().crypto_sign_ed25519_verify_detached(
            signature, digest, ctypes.c_ulonglong(len(digest)), key) != 0:
        return ["it was changed after it was signed, or signed with another key"]
    if not VERSION.fullmatch(version):
        return [f"{version} is not a version"]
    if installed and version_number(version) <= version_number(installed):
        return [f"{build} {version} is not above {installed}"]
    return []
