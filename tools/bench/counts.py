"""What the player does for a start, a frame, a second of sound and a scan, counted: figures that a
busy machine does not change. A test holds them against tests/real/counts.json."""

import json
import os
import subprocess

import disk
from callgrind import difference, share

FRAMES = 20
SECONDS = 3
FILES = 1000
LARGE_FILES = 60
FORMATS = ("mp3", "ogg", "flac")
SCAN = "advance 300\nkey up\nkey up\nadvance 20\nkey select\nsettle 300000\n"
"""From the main menu, where the rows are reached from below: settings, update of the library."""

MOST = 1.05
"""A figure that is higher than this times the recorded one is a fault."""
SLACK = {"allocations": 4, "bytes": 1024, "wakes": 3, "calls": 30}
"""What small figures may be higher by: a disk is read in blocks, a cache takes another entry, a
second more falls into a window, the window system says something."""
ALWAYS = ("bytes", "wakes", "calls")
"""Units that no compiler and no version of a library changes."""
TOLD = 0.8
"""One that is lower than this times the recorded one is worth recording anew."""

LIBRARIES = ("libc6", "libstdc++6", "libfreetype6", "libharfbuzz0b", "libfribidi0", "libpng16-16",
             "libjpeg62-turbo", "zlib1g", "libexpat1", "libsqlite3-0", "libmpg123-0", "libvorbis0a",
             "libvorbisfile3", "libogg0", "libflac12", "libsoxr0", "libtag1v5", "libsdl2-2.0-0",
             "libcurl4", "libasound2")


# ---- The figures ----

def start(folder):
    """A start with its end, on a device whose script is empty."""
    return folder.count("")


def menu(folder):
    """One run, in which each "echo" ends a part: the start, keys with their frames, nothing."""
    keys = "key down\nadvance 5\n" * FRAMES
    return folder.parts(f"advance 100\necho\n{keys}echo\nadvance {SECONDS * 1000}\necho\n")


def list_frame(folder):
    """A key in the main menu and the frame that shows it."""
    return share(menu(folder)[1], FRAMES)


def quiet_second(folder):
    """A second of the main menu in which nothing happens, on the clock of the script."""
    return share(menu(folder)[2], SECONDS)


def song(folder, ending):
    if not os.path.exists(folder.path("songs")):
        folder.make_music("songs", "songs")
    return os.path.join("songs", "song." + ending)


def playing(folder, ending):
    """One run: a track of another kind plays, the key for this one is pressed, and once the play screen
    has slid in it plays on."""
    tracks = song(folder, ending), song(folder, "ogg" if ending == "mp3" else "mp3")
    return folder.parts("advance 1000\necho\nkey page_up\nadvance 20\necho\n"
                        f"advance 1000\necho\nadvance {SECONDS * 1000}\necho\n", *tracks)


def track_start(folder, ending):
    """From a key on the play screen to the first sound of another track."""
    return playing(folder, ending)[1]


def second(folder, ending):
    """A second of the shown play screen."""
    return share(playing(folder, ending)[3], SECONDS)


def shown_second(folder):
    """What of a second of playing MP3 is the play screen's: less the same with the display off."""
    folder.write_config(display_off_timeout=1)
    try:
        dark = folder.parts(f"advance 3000\necho\nadvance {SECONDS * 1000}\necho\n", song(folder, "mp3"))
    finally:
        folder.write_config()
    return difference(second(folder, "mp3"), share(dark[1], SECONDS))


def scan(folder):
    """A file of a scan of a thousand."""
    folder.make_music("library", "music", FILES, 0.2, 30000)
    folder.write_config(library_path="music")
    try:
        base = folder.count("")
        folder.remove("library.db")
        return share(difference(folder.count(SCAN), base), FILES)
    finally:
        folder.write_config()
        folder.remove("library.db")


def disk_of_scan(folder):
    """Bytes of a file that a scan fetches from the disk; none where the folder is in memory."""
    folder.make_music("library", "large", LARGE_FILES, 10, 200000)
    folder.write_config(library_path="large")
    try:
        folder.run("")
        disk.forget(folder.path("large"))
        _, usage = folder.run(SCAN)
        return disk.bytes_read(usage) // LARGE_FILES
    finally:
        folder.write_config()
        folder.remove("library.db")


def counted(count):
    return {"own": count.own, "all": count.all, "allocations": count.allocations}


def measure_all(folder):
    """{name: {unit: figure}}."""
    folder.run("")  # the first start makes the library
    found = {"start": start(folder), "list frame": list_frame(folder),
             "quiet second": quiet_second(folder), "second of the play screen": shown_second(folder)}
    for ending in FORMATS:
        found[f"track start {ending}"] = track_start(folder, ending)
        found[f"second {ending}"] = second(folder, ending)
    found["scan of a file"] = scan(folder)
    figures = {name: counted(count) for name, count in found.items()}
    figures["scan of a file from the disk"] = {"bytes": disk_of_scan(folder)}
    return figures


# ---- Against the record ----

def machine(build_kind):
    """What the figures hold for: `own` and `allocations` for the same compiler and processor kind, `all`
    for the same libraries besides."""
    with open("/proc/cpuinfo", encoding="utf-8") as lines:
        flags = next((line for line in lines if line.startswith("flags")), "").split()
    versions = subprocess.run(
        ["dpkg-query", "-W", "-f", "${Package} ${Version}\n", *LIBRARIES],
        capture_output=True, check=False).stdout.decode()
    return {"build": build_kind, "processor": "avx2" if "avx2" in flags else "plain",
            "libraries": dict(line.split() for line in versions.splitlines())}


def units_compared(recorded, here):
    """Which of the units of two machines can be compared, and why not the others."""
    for part in ("build", "processor"):
        if recorded[part] != here[part]:
            return ALWAYS, f"recorded for {recorded[part]}, this is {here[part]}"
    other = [name for name, version in recorded["libraries"].items()
             if here["libraries"].get(name) != version]
    if other:
        return ("own", *ALWAYS), "other versions of " + ", ".join(other)
    return ("own", "all", "allocations", *ALWAYS), ""


def compare(recorded, found, units):
    """What grew, and what fell so far that it should be recorded anew: two lists of lines."""
    grown, fallen = [], []
    for name in sorted(recorded.keys() | found.keys()):
        before, now = recorded.get(name), found.get(name)
        if before is None or now is None:
            grown.append(f"{name}: {'measured' if now else 'recorded'} only")
            continue
        for unit in (unit for unit in units if unit in before and unit in now):
            line = f"{name}, {unit}: {now[unit]:,}, recorded {before[unit]:,}"
            if now[unit] > max(before[unit] * MOST, before[unit] + SLACK.get(unit, 0)):
                grown.append(line)
            elif now[unit] < before[unit] * TOLD:
                fallen.append(line)
    return grown, fallen


def read_record(path):
    with open(path, encoding="utf-8") as file:
        return json.load(file)


def write_record(path, here, found):
    with open(path, "w", encoding="utf-8") as file:
        json.dump({"machine": here, "figures": found}, file, indent=2)
        file.write("\n")
