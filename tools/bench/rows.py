"""The rows of the table: what is measured, and what it must and should be.

A row's function gets the bench and answers {unit: {column: figure}}; a figure that cannot be had
here is left out."""

import collections
import os
import time

import callgrind
import counts
import disk
import latency
import peers
import running

Row = collections.namedtuple("Row", "name measure wanted")
"""`wanted` holds {unit: (must, aim)}: a number, or words like "0.5 cmus" for half of a column."""

CORE, WAKES, MIB = "% of a core", "wake-ups a second", "MiB proportional"
MILLION = "M instructions"
COVER_BYTES = 200000
CARD_FILES = 20018
"""Files of a card that the figures of a scan are told for."""


# ---- Running in real time ----

def watch(bench, process):
    try:
        time.sleep(bench.settle_s)
        if process.poll() is not None:
            raise callgrind.CountingFailed(f"the player ended with {process.returncode}")
        found = running.quietest([process.pid], bench.window_s, bench.windows)
        found[MIB] = running.memory(process.pid)[MIB]
        return found
    finally:
        peers.end(process)


def by_unit(columns, units):
    """{unit: {column: figure}} of {column: {unit: figure}}."""
    return {unit: {column: found[unit] for column, found in columns.items()} for unit in units}


def watch_peers(bench, what):
    """{peer: {unit: figure}} while each does `what`, by its name and words."""
    columns = {}
    for peer in bench.peers():
        getattr(peer, what[0])(*what[1:])
        try:
            time.sleep(bench.settle_s)
            columns[peer.name] = running.quietest([peer.process.pid], bench.window_s, bench.windows)
            columns[peer.name][MIB] = running.memory(peer.process.pid)[MIB]
        finally:
            peer.stop()
    return columns


def idle_window(bench):
    ours = watch(bench, bench.open_window())
    return by_unit({"ours": ours, **watch_peers(bench, ("idle",))}, (CORE, WAKES, MIB))


def idle_board(bench):
    return by_unit({"ours": watch(bench, bench.open_board())}, (CORE, WAKES, MIB))


def idle_dark_board(bench):
    bench.folder.write_config(display_off_timeout=1)
    try:
        return by_unit({"ours": watch(bench, bench.open_board())}, (CORE, WAKES))
    finally:
        bench.folder.write_config()


def playing_window(bench):
    track = counts.song(bench.folder, "mp3")
    bench.folder.write_config(playback_order="repeat_one")
    try:
        ours = watch(bench, bench.open_window(track))
    finally:
        bench.folder.write_config()
    others = watch_peers(bench, ("play", bench.folder.path(track)))
    return by_unit({"ours": ours, **others}, (CORE, WAKES, MIB))


def playing_board(bench):
    track = counts.song(bench.folder, "mp3")
    bench.folder.write_config(playback_order="repeat_one")
    try:
        return by_unit({"ours": watch(bench, bench.open_board(track))}, (CORE, WAKES, MIB))
    finally:
        bench.folder.write_config()


# ---- Counted ----

def millions(count):
    return count.all / 1e6


def start(bench):
    """The scripted device with an empty script; the others start and end, or start up to the moment
    at which they answer."""
    bench.folder.run("")
    times = {"ours": peers.milliseconds(lambda: bench.folder.run(""))}
    track = bench.folder.path(counts.song(bench.folder, "mp3"))
    for peer in bench.peers():
        times[peer.name] = peer.start_ms(track)
        peer.stop()
    return {"ms": times, MILLION: {"ours": millions(counts.start(bench.folder))}}


def library_count(bench, *words):
    loops = os.path.join(bench.helpers, "bench/library_loops")
    return callgrind.parts([loops, *words], bench.folder.folder, bench.folder.environment())[0]


def track_start(bench):
    found = {}
    for ending in counts.FORMATS:
        track = counts.song(bench.folder, ending)
        found[f"{MILLION}, {ending}"] = {
            "ours": millions(counts.track_start(bench.folder, ending)),
            "library": millions(library_count(bench, "decode", track, "0.15"))}
    return found


def second(bench):
    """Less what the clock of the script costs while nothing happens."""
    found, idle = {}, millions(counts.quiet_second(bench.folder))
    for ending in counts.FORMATS:
        track = counts.song(bench.folder, ending)
        library = [millions(library_count(bench, "decode", track, str(s))) for s in (1, 4)]
        found[f"{MILLION}, {ending}"] = {
            "ours": millions(counts.second(bench.folder, ending)) - idle,
            "library": (library[1] - library[0]) / 3}
    return found


def shown_second(bench):
    return {MILLION: {"ours": millions(counts.shown_second(bench.folder))}}


def list_frame(bench):
    return {MILLION: {"ours": millions(counts.list_frame(bench.folder))}}


def queue_start(bench):
    """All of a library of tracks whose names differ."""
    tracks = 5000 if bench.quick else 50000
    bench.make_queue(tracks)
    try:
        bench.folder.run("")
        return {f"ms, {tracks} tracks": {"ours": peers.milliseconds(lambda: bench.folder.run(""), 3)}}
    finally:
        bench.folder.write_config()
        bench.folder.remove("current.m3u", "library.db")


def covers(bench):
    """The code of the player is in the loops, so that an older player has no figure."""
    if bench.helpers != bench.folder.build:
        return {}
    if not os.path.exists(bench.folder.path("covers")):
        bench.folder.make_music("covers", "covers")
    found = {}
    for name in ("cover.jpg", "progressive.jpg", "cover.png"):
        found[f"{MILLION}, {name}"] = {
            "ours": millions(library_count(bench, "our-cover", "covers/" + name)),
            "library": millions(library_count(bench, "cover", "covers/" + name))}
    return found


# ---- Scans ----

def scanned_seconds(bench):
    """Of all cores, less those of a start."""
    def spent(script):
        _, usage = bench.folder.run(script)
        return usage.ru_utime + usage.ru_stime
    bench.folder.remove("library.db")
    bench.folder.run("")
    base = spent("")
    bench.folder.remove("library.db")
    return spent(counts.SCAN) - base


def scan_instructions(bench):
    count = counts.scan(bench.folder)
    names = bench.folder.path("names")
    with open(names, "w", encoding="utf-8") as file:
        for place, _, tracks in os.walk(bench.folder.path("music")):
            file.writelines(os.path.join(place, track) + "\n" for track in sorted(tracks))
    loop = library_count(bench, "tags", names)
    return {"ours": count.all / 1000, "library": loop.all / counts.FILES / 1000}


def scan(bench):
    files = 2000 if bench.quick else CARD_FILES
    bench.folder.make_music("library", "card", files, 0.2, 30000)
    bench.folder.write_config(library_path="card")
    try:
        seconds = {"ours": scanned_seconds(bench)}
    finally:
        bench.folder.write_config()
        bench.folder.remove("library.db")
    for peer in bench.peers():
        if hasattr(peer, "scan_seconds"):
            seconds[peer.name] = peer.scan_seconds(bench.folder.path("card"))
            peer.stop()
    return {f"s of a core, {files} files": seconds,
            "1000 instructions a file": scan_instructions(bench)}


def forget(bench):
    """Nothing at all is in memory where the owner of the machine asks; otherwise the files are not."""
    if not disk.forget_everything():
        disk.forget(bench.folder.path("disk"))


def cold_scan(bench):
    files = 300 if bench.quick else 2000
    bench.folder.make_music("library", "disk", files, 10, 200000)
    bench.folder.write_config(library_path="disk")
    try:
        bench.folder.run("")
        forget(bench)
        before = bench.folder.run("")[1]
        forget(bench)
        after = bench.folder.run(counts.SCAN)[1]
    finally:
        bench.folder.write_config()
        bench.folder.remove("library.db")
    read = disk.bytes_read(after) - disk.bytes_read(before)
    return {f"MB from the disk for {CARD_FILES} files": {"ours": read / files * CARD_FILES / 1e6}}


# ---- Moments ----

def key_to_picture(bench):
    return latency.in_all(bench, latency.key_to_picture)


def first_picture(bench):
    return latency.in_all(bench, latency.first_picture)


def with_server(bench, measure):
    """Nothing where no sound server is installed to hear with."""
    server = bench.sound_server()
    return latency.in_all(bench, measure, server) if server else {}


def volume_to_ear(bench):
    return with_server(bench, latency.volume_to_ear)


def first_sound(bench):
    return with_server(bench, latency.first_sound)


# ---- Bytes from the disk ----

def kilobytes(bench, script, *files):
    """KB that a run fetches of the player's own files and of the music."""
    for place in bench.folder.folder, os.path.join(bench.folder.build, "player"):
        disk.forget(place)
    return disk.bytes_read(bench.folder.run(script, *files)[1]) / 1000


def disk_of_starts(bench):
    """The libraries of the system stay in memory: others use them, too."""
    script = "advance 300\nsettle\nadvance 300\n"
    start = kilobytes(bench, script)
    found = {"KB of a start": start}
    for ending in counts.FORMATS:
        found[f"KB of a track more, {ending}"] = kilobytes(
            bench, script, counts.song(bench.folder, ending)) - start
    bench.folder.make_music("library", "pictures", 5, 1, COVER_BYTES)
    tracks = [os.path.join(place, name) for place, _, names in
              os.walk(bench.folder.path("pictures")) for name in names if name.endswith(".mp3")]
    plain, shown = (find(tracks, key=os.path.getsize) for find in (min, max))
    found[f"KB of a cover of {COVER_BYTES // 1000} KB more"] = (
        kilobytes(bench, script, shown) - kilobytes(bench, script, plain))
    return {unit: {"ours": figure} for unit, figure in found.items()}


# ---- The table ----

SECOND = ("1.15 library", "1.05 library")
COVER = ("1.2 library", "")

ROWS = (
    Row("idle in the window, stopped", idle_window, {CORE: (0.05, 0.01), WAKES: (5, 1)}),
    Row("idle on bare Linux, display on", idle_board, {CORE: (0.05, ""), WAKES: (5, 1)}),
    Row("idle on bare Linux, display off", idle_dark_board, {CORE: (0.02, ""), WAKES: (2, 0)}),
    Row("playing MP3 in the window", playing_window,
        {CORE: ("0.5 cmus", "1.1 mpg123"), WAKES: (40, 25), MIB: ("", 8)}),
    Row("playing MP3 on bare Linux", playing_board, {WAKES: (40, 25), MIB: (16, 8)}),
    Row("start and end", start, {"ms": (20, 12), MILLION: (70, 30)}),
    Row("start of a track", track_start, {}),
    Row("a second of playing", second, {f"{MILLION}, {ending}": SECOND for ending in counts.FORMATS}),
    Row("the play screen, of that", shown_second, {}),
    Row("scan, warm", scan, {"1000 instructions a file": (200, 120)}),
    Row("scan, nothing cached", cold_scan,
        {f"MB from the disk for {CARD_FILES} files": (300, 180)}),
    Row("start with a queue", queue_start, {"ms, 50000 tracks": (300, 100)}),
    Row("a frame of a list after a key", list_frame, {MILLION: (0.4, 0.25)}),
    Row("a key to the changed picture", key_to_picture,
        {"ms, window": (25, ""), "ms, bare Linux": (25, "")}),
    Row("a volume key to the ear", volume_to_ear,
        {"ms, window": (120, ""), "ms, bare Linux": (120, "")}),
    Row("exec to the first picture", first_picture, {}),
    Row("exec to the first sound", first_sound, {}),
    Row("bytes from the disk", disk_of_starts, {}),
    Row("a cover of 1500 x 1500", covers,
        {f"{MILLION}, {name}": COVER for name in ("cover.jpg", "progressive.jpg", "cover.png")}),
)
