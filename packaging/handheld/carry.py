#!/usr/bin/env python3
"""Puts beside a program what a foreign machine may lack: libraries, tables, configuration, licences.

    carry.py --program FILE --into FOLDER [--root FOLDER] [--triple TRIPLE] [--trimmed FOLDER]
             [--map FILE]

    --program  the player, built for the machine
    --into     receives lib/ (with the loader as lib/ld.so) and licences.zip
    --root     where the machine's libraries are; this machine's own by default
    --triple   names the machine; without it tools and libraries of this one are used
    --trimmed  a folder of libraries that are taken first
    --map      a linker's map, of the program or its module: which libraries are inside, for their licences
"""
import argparse
import re
import shutil
import subprocess
import sys
import zipfile
from pathlib import Path

# Loaded when they are first wanted, by programs that name them.
LOADED = ["libcurl.so.4", "libsodium.so.23", "libsoxr.so.0"]
MODULE = "lib/zerv-audio-tag.so"
# Encodings of old tags by the languages that have them, as the C library names its converters.
# They hold EUC-KR and Shift_JIS.
CONVERTERS = {"UHC": ["CP949"], "CP932": ["MS932"]}
LOCALES = ["ko_KR.UTF-8", "en_US.UTF-8", "ja_JP.UTF-8"]
# Libraries by the package whose licence they have.
PACKAGES = {
    "libc": "libc6", "libm": "libc6", "ld": "libc6", "libresolv": "libc6", "libpthread": "libc6",
    "libKSC": "libc6", "libJIS": "libc6", "libstdc++": "libstdc++-12-dev", "libgcc": "libgcc-12-dev",
    "libgcc_eh": "libgcc-12-dev", "libgcc_s": "libgcc-s1", "libgomp": "libgomp1", "libatomic": "libatomic1",
    "libsupc++": "libstdc++-12-dev", "libssp_nonshared": "libgcc-12-dev", "libc_nonshared": "libc6-dev",
    "libFLAC": "libflac-dev", "libogg": "libogg-dev", "libvorbis": "libvorbis-dev",
    "libvorbisfile": "libvorbis-dev", "libvorbisidec": "libvorbisidec-dev", "libmad": "libmad0-dev",
    "libmpg123": "libmpg123-0", "libsoxr": "libsoxr-dev", "libtag": "libtag1-dev", "libasound": "libasound2",
    "libfreetype": "libfreetype6", "libharfbuzz": "libharfbuzz0b", "libfribidi": "libfribidi0",
    "libgraphite2": "libgraphite2-3", "libglib-2.0": "libglib2.0-0", "libpcre2-8": "libpcre2-8-0",
    "libpng": "libpng16-16", "libpng16": "libpng16-16", "libjpeg": "libjpeg62-turbo", "libgif": "libgif7",
    "libz": "zlib1g", "libbrotlidec": "libbrotli1", "libbrotlicommon": "libbrotli1", "libexpat": "libexpat1",
    "libsqlite3": "libsqlite3-0", "libminizip": "libminizip1", "libmd": "libmd0", "libbsd": "libbsd0",
    "libcurl": "libcurl4", "libsodium": "libsodium23", "libspeexdsp": "libspeexdsp1",
}
# Beside the libraries: the font and the tables.
FONT_PACKAGE = "fonts-wqy-microhei"


class Failed(Exception):
    """What does not hold, in words."""


class Machine:
    def __init__(self, options):
        self.root, self.triple, self.trimmed = options.root, options.triple, options.trimmed
        self.tools = f"{self.triple}-" if self.triple else ""
        triple = self.triple or subprocess.run(["gcc", "-print-multiarch"], capture_output=True, text=True,
                                               check=True).stdout.strip()
        self.folders = [self.root / name for name in (f"lib/{triple}", f"usr/lib/{triple}", "lib", "lib64",
                                                      "usr/lib")]
        if self.trimmed:
            self.folders.insert(0, self.trimmed / "usr/lib")
        self.converters = self.root / "usr/lib" / triple / "gconv"

    def find(self, name):
        for folder in self.folders:
            if (folder / name).exists():
                return folder / name
        raise Failed(f"there is no {name} in {self.root}")

    def head(self, file):
        return subprocess.run([f"{self.tools}objdump", "-p", file], capture_output=True, text=True,
                              check=True).stdout

    def loader(self, file):
        data = file.read_bytes()
        found = re.search(rb"/lib[0-9a-z]*/(ld[^/\0]*\.so\.\d+)\0", data)
        if not found:
            raise Failed(f"{file} names no loader")
        return found[1].decode()

    def copy(self, source, target):
        if source != target:
            shutil.copyfile(source, target)
        target.chmod(0o755)
        subprocess.run([f"{self.tools}strip", "--strip-unneeded", "-R", ".comment", target], check=True)


def copy_needed(machine, file, target, loader, copied):
    for name in re.findall(r"NEEDED\s+(\S+)", machine.head(file)):
        if name in copied or name == loader:
            continue
        copied.add(name)
        source = machine.find(name)
        machine.copy(source, target / name)
        copy_needed(machine, source, target, loader, copied)


def copy_converters(machine, target, loader, copied):
    target.mkdir()
    lines = []
    for name, known_as in CONVERTERS.items():
        source = machine.converters / f"{name}.so"
        machine.copy(source, target / source.name)
        for needed in re.findall(r"NEEDED\s+(lib\w+\.so)\s", machine.head(source)):
            machine.copy(machine.converters / needed, target / needed)
        lines += [f"alias {alias}// {name}//" for alias in known_as]
        lines += [f"module {name}// INTERNAL {name} 1", f"module INTERNAL {name}// {name} 1"]
    (target / "gconv-modules").write_text("\n".join(lines) + "\n")


def make_locales(target):
    """All the same: see the file they are made of. Every machine we carry to has its lowest byte first."""
    first = target / LOCALES[0]
    first.mkdir(parents=True)
    source = Path(__file__).resolve().parent / "locale"
    subprocess.run(["localedef", "--little-endian", "--no-archive", "-f", "UTF-8", "-i", source, first],
                   check=True)
    for name in LOCALES[1:]:
        shutil.copytree(first, target / name)


def stem(name):
    return re.sub(r"(\.so[.\d]*|\.a|-linux.*)$", "", name)


def package_of(machine, name):
    """By the table, or as this machine's own package system knows it."""
    if stem(name) in PACKAGES:
        return PACKAGES[stem(name)]
    if machine.root == Path("/"):
        done = subprocess.run(["dpkg-query", "-S", f"*/{name}"], capture_output=True, text=True, check=False)
        if done.returncode == 0:
            return done.stdout.split(":", 1)[0]
    raise Failed(f"whose licence does {name} have? Enter it in carry.py")


def copy_licences(machine, names, target, map_files):
    names = set(names)
    for map_file in map_files:
        names |= {Path(path).name for path in re.findall(r"^(/\S+\.a)\(", map_file.read_text(), re.M)
                  if Path(path).name.startswith("lib") and not Path(path).is_relative_to(map_file.parent)}
    packages = {package_of(machine, name) for name in names - {"ld.so"}} | {PACKAGES["ld"]}
    texts = {package: licence_of(machine.root, package) for package in packages}
    texts[FONT_PACKAGE] = licence_of(Path("/"), FONT_PACKAGE)
    with zipfile.ZipFile(target, "w", zipfile.ZIP_DEFLATED) as archive:
        for package, text in sorted(texts.items()):
            archive.writestr(zipfile.ZipInfo(f"{package}.txt", (1980, 1, 1, 0, 0, 0)), text.read_bytes(),
                             zipfile.ZIP_DEFLATED)


def licence_of(root, package):
    path = root / "usr/share/doc" / package / "copyright"
    if not path.exists():
        raise Failed(f"there is no {path}")
    return path


def carry(options):
    machine = Machine(options)
    lib = options.into / "lib"
    shutil.rmtree(lib / "gconv", ignore_errors=True)
    shutil.rmtree(lib / "locale", ignore_errors=True)
    lib.mkdir(parents=True, exist_ok=True)
    loader = machine.loader(options.program)
    machine.copy(machine.find(loader), lib / "ld.so")
    # Libraries that name the loader find it by this name.
    copied = {"ld.so"}
    copy_needed(machine, options.program, lib, loader, copied)
    for name in ("lib/zerv-keys", MODULE):
        copy_needed(machine, options.into / name, lib, loader, copied)
    names = options.program.read_bytes()
    for name in (name for name in LOADED if name.encode() in names):
        copied.add(name)
        machine.copy(machine.find(name), lib / name)
        copy_needed(machine, machine.find(name), lib, loader, copied)
    copy_converters(machine, lib / "gconv", loader, copied)
    make_locales(lib / "locale")
    shutil.copytree(options.root / "usr/share/alsa", lib / "alsa", dirs_exist_ok=True,
                    ignore=shutil.ignore_patterns("ucm*", "topology", "init", "speaker-test", "*.d"))
    for name in ("zerv-player", "lib/zerv-console", "lib/zerv-keys", MODULE):
        machine.copy(options.into / name, options.into / name)
    copy_licences(machine, copied, options.into / "licences.zip", options.map)


def main():
    parser = argparse.ArgumentParser(description="Puts libraries and tables beside a program.")
    parser.add_argument("--program", type=Path, required=True)
    parser.add_argument("--into", type=Path, required=True)
    parser.add_argument("--root", type=Path, default=Path("/"))
    parser.add_argument("--triple", default="")
    parser.add_argument("--trimmed", type=Path)
    parser.add_argument("--map", type=Path, action="append", default=[])
    try:
        carry(parser.parse_args())
    except Failed as problem:
        print(f"carry: {problem}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
