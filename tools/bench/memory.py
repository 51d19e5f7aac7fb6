"""Where the memory of the player is: on bare Linux, with a long queue, while it plays."""

import collections
import os
import re
import signal
import subprocess
import time

import peers
import running

TRACKS = 10000

MAPPING = re.compile(r"[0-9a-f]+-[0-9a-f]+ (\S+) \S+ \S+ \S+ *(.*)$")

PLACES = (
    (r"\.(ttf|ttc|otf)$", "fonts: pages of their files"),
    (r"/zerv-player$", "the program"),
    (r"\.so[.0-9]*$", "libraries"),
    (r"/panel$", "the panel"),
    (r"/(locale|gconv)", "locale"),
    (r"^\[heap\]$", "heap"),
    (r"^\[stack", "stack"),
    (r"^$", "anonymous: thread stacks, their heaps, zeroed data"),
)
"""What a mapping is by its name; the first that matches."""

KINDS = (
    (r"sqlite3|^db_|library_", "database"),
    (r"list_cur_playlist|m3u|file_later", "playlist"),
    (r"^FT_|^hb_|font_|glyph|text_", "fonts and glyphs"),
    (r"skin_|unz", "skin"),
    (r"cover|tag_", "covers"),
    (r"image_|png_|jpeg_", "pictures"),
    (r"fb_|surface|view_", "surfaces and screens"),
    (r"mpg123|decoder|vorbis|FLAC|soxr|audio_|sound_|snd_", "sound"),
    (r"_dl_|dlopen|call_init", "loader"),
)
"""What an allocation is for by the functions that asked for it, from the heap outwards."""


def named(text, table, otherwise):
    return next((kind for pattern, kind in table if re.search(pattern, text)), otherwise)


def places(smaps):
    """{place: {"resident", "own"} in KiB} of the text of /proc/PID/smaps. Its own is what the kernel
    cannot drop and fetch again from a file."""
    found, here = collections.defaultdict(collections.Counter), ""
    for line in smaps.splitlines():
        mapping = MAPPING.match(line)
        if mapping:
            here = named(mapping.group(2), PLACES, "other files")
        elif line.startswith("Rss:"):
            found[here]["resident"] += int(line.split()[1])
        elif line.startswith("Anonymous:"):
            found[here]["own"] += int(line.split()[1])
    return found


NODE = re.compile(r"( *)n(\d+): (\d+) (.*)$")


def kinds(massif):
    """{kind: KiB} of what the heap held at its largest, of a file that massif wrote."""
    peak = massif.split("heap_tree=peak")[1].split("#-----------")[0]
    found, path = collections.Counter(), []
    for line in peak.splitlines():
        node = NODE.match(line)
        if not node:
            continue
        depth, children, size = len(node.group(1)), int(node.group(2)), int(node.group(3))
        path[depth:] = [node.group(4).split(": ")[-1]]
        if children == 0:
            known = [named(name, KINDS, "") for name in path[1:]]
            found[next((kind for kind in known if kind), "other")] += size / 1024
    return found


def print_table(title, rows):
    print(title)
    for name, figures in rows:
        print(f"  {name:52}" + "".join(f"{figure / 1024:9.2f}" for figure in figures))


def watch(bench, track):
    """The mappings of the playing player, as text."""
    player = bench.open_board(track)
    try:
        time.sleep(6)
        return running.read(f"/proc/{player.pid}/smaps")
    finally:
        peers.end(player)


def weigh_heap(bench, track):
    """What massif wrote about the same."""
    out = bench.folder.path("massif")
    player = subprocess.Popen(
        ["valgrind", "--tool=massif", "--quiet", "--threshold=0.2", "--depth=12",
         f"--massif-out-file={out}", bench.folder.path("zerv-player"), track],
        cwd=bench.folder.folder, env=bench.board_environment(), stderr=subprocess.DEVNULL)
    time.sleep(25)
    player.send_signal(signal.SIGTERM)
    player.wait()
    return running.read(out)


def main(bench):
    try:
        bench.make_queue(TRACKS)
        track = bench.folder.path("songs/song.mp3")
        found = places(watch(bench, track))
        rows = sorted(found.items(), key=lambda each: -each[1]["resident"])
        print_table(f"MiB with {TRACKS} tracks queued, playing            resident      own",
                    [(name, (each["resident"], each["own"])) for name, each in rows])
        whole = sum(found.values(), collections.Counter())
        print_table("", [("all", (whole["resident"], whole["own"]))])
        heap = kinds(weigh_heap(bench, track))
        print_table("\nMiB of the heap at its largest",
                    [(name, (size,)) for name, size in heap.most_common()])
        print_table("", [("all", (sum(heap.values()),))])
    finally:
        bench.close()
    return 0
