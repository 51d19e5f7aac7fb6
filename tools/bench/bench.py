"""Measures the player, and prints one table: ./dev bench [ROW] [options]."""

import argparse
import json
import os
import platform
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
sys.path[:0] = [HERE, os.path.join(ROOT, "tests/real")]
import counts  # noqa: E402
import memory  # noqa: E402
import peers  # noqa: E402
import rows  # noqa: E402
import table  # noqa: E402
from callgrind import CountingFailed  # noqa: E402
from program_folder import ProgramFolder  # noqa: E402
from x_display import Display  # noqa: E402

KEPT = os.path.join(ROOT, "build/bench")


class Bench:
    """What the rows measure with. Made by the constructor, ended by close()."""

    def __init__(self, build, quick, helpers=None):
        self.quick = quick
        self.settle_s, self.window_s, self.windows = (3, 3, 2) if quick else (6, 10, 3)
        self.folder = ProgramFolder(build, helpers)
        self.helpers = self.folder.helpers
        self.scratch = tempfile.mkdtemp(prefix="zerv-peers-")
        self.display = self.server = None

    def close(self):
        for each in (self.folder, self.display, self.server):
            if each:
                each.close()
        subprocess.run(["rm", "-rf", self.scratch], check=True)

    def sound_server(self):
        """The name of a sound server that all share, "" where there is none."""
        if not self.server and peers.installed():
            self.server = peers.SoundServer(os.path.join(self.scratch, "server"))
        return self.server.name if self.server else ""

    def peers(self):
        """One of each that is installed."""
        server = self.sound_server()
        return [peer(self.scratch, server) for peer in peers.installed()]

    def open_display(self):
        if not self.display:
            self.display = Display()

    def open_window(self, *files, **more):
        self.open_display()
        return self.open(files, self.folder.environment(
            **{"ZERV_DEVICE": "sdl", "DISPLAY": self.display.name, "SDL_VIDEODRIVER": "x11",
               "SDL_AUDIODRIVER": "dummy", **more}))

    def board_environment(self):
        """A panel in a file and no card: the sound of this machine brings a desktop's libraries."""
        with open(self.folder.path("alsa.conf"), "w", encoding="ascii"):
            pass
        return self.folder.environment(
            ZERV_DEVICE="linux", BOARD_PANEL=self.folder.path("panel"),
            ALSA_CONFIG_PATH=self.folder.path("alsa.conf"),
            LD_PRELOAD=os.path.join(self.helpers, "tests/real/libboard.so"))

    def open_board(self, *files):
        return self.open(files, self.board_environment())

    def open(self, files, environment):
        return subprocess.Popen([self.folder.path("zerv-player"), *files], cwd=self.folder.folder,
                                env=environment, stderr=subprocess.DEVNULL)

    def make_queue(self, tracks):
        """Music by many names, all of it in the library and queued."""
        counts.song(self.folder, "mp3")
        paths = []
        for i in range(tracks):
            album = self.folder.path(f"queue/Album {i // 100:04}")
            if i % 100 == 0:
                os.makedirs(album)
            paths.append(os.path.join(album, f"{i % 100:02} A song of this album.mp3"))
            os.link(self.folder.path("songs/song.mp3"), paths[-1])
        self.folder.write_config(library_path="queue")
        self.folder.run(counts.SCAN)
        with open(self.folder.path("current.m3u"), "w", encoding="utf-8") as file:
            file.writelines(path + "\n" for path in paths)


def commit_of(tree):
    words = ["git", "-C", tree, "describe", "--always", "--abbrev=12", "--dirty", "--exclude=*"]
    return subprocess.run(words, capture_output=True, check=True).stdout.decode().strip()


def measure(build, chosen, quick, helpers=None):
    """{row: {unit: {column: figure}}}. A row that cannot be measured says why."""
    bench, results = Bench(build, quick, helpers), {}
    try:
        for row in chosen:
            print(f"measuring: {row.name}", file=sys.stderr)
            try:
                bench.folder.run("")  # makes the library, which no figure is to hold
                results[row.name] = row.measure(bench)
            except (CountingFailed, OSError, TimeoutError, subprocess.SubprocessError) as fault:
                print(f"{row.name}: {fault}", file=sys.stderr)
    finally:
        bench.close()
    return results


def kept_path(commit):
    return os.path.join(KEPT, commit + ".json")


def keep(commit, results):
    """Adds to what is kept of the commit: one run may measure a few rows only."""
    os.makedirs(KEPT, exist_ok=True)
    kept = load(commit)
    kept.update(results)
    with open(kept_path(commit), "w", encoding="utf-8") as file:
        json.dump({"machine": platform.platform(), "results": kept}, file, indent=1)


def load(commit):
    if not os.path.exists(kept_path(commit)):
        return {}
    with open(kept_path(commit), encoding="utf-8") as file:
        return json.load(file)["results"]


def build_commit(commit):
    """A build of another commit, in a checkout of its own."""
    tree = os.path.join(KEPT, "tree-" + commit)
    if not os.path.exists(tree):
        subprocess.run(["git", "-C", ROOT, "worktree", "add", "--detach", tree, commit], check=True)
    build = os.path.join(tree, "build/release")
    subprocess.run(["cmake", "--preset", "release"], cwd=tree, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", build, "--target", "zerv-player", "player-folder"],
                   check=True, stdout=subprocess.DEVNULL)
    return build


def results_of(commit, chosen, quick, helpers):
    """Of another commit: what is kept of it, and what is measured now for want of it, with the music
    and the loops of this tree."""
    words = ["git", "-C", ROOT, "rev-parse", "--short=12", commit]
    commit = subprocess.run(words, capture_output=True, check=True).stdout.decode().strip()
    missing = [row for row in chosen if row.name not in load(commit)]
    if missing:
        keep(commit, measure(build_commit(commit), missing, quick, helpers))
    return load(commit)


def arguments():
    parser = argparse.ArgumentParser(prog="./dev bench", description=__doc__)
    parser.add_argument("row", nargs="?", default="", help="rows with this in their name only")
    parser.add_argument("-q", "--quick", action="store_true", help="shorter looks, fewer files")
    parser.add_argument("-a", "--against", metavar="COMMIT", help="beside another commit")
    parser.add_argument("-p", "--peers", action="store_true",
                        help="installs other players and measures them, too")
    parser.add_argument("-m", "--memory", action="store_true", help="where the memory is")
    parser.add_argument("-l", "--list", action="store_true", help="names the rows")
    parser.add_argument("--build", default=os.path.join(ROOT, "build/release"))
    return parser.parse_args()


def main():
    wanted = arguments()
    chosen = [row for row in rows.ROWS if wanted.row in row.name]
    if wanted.list or not chosen:
        print("\n".join(row.name for row in rows.ROWS))
        return 0 if wanted.list else 1
    if wanted.memory:
        return memory.main(Bench(wanted.build, wanted.quick))
    commit = commit_of(ROOT)
    results = measure(wanted.build, chosen, wanted.quick)
    keep(commit, results)
    print(f"{commit}, {os.cpu_count()} cores, {platform.machine()}")
    limits = {row.name: row.wanted for row in rows.ROWS}
    print("\n".join(table.layout(table.lines_of(results, limits))))
    if wanted.against:
        before = results_of(wanted.against, chosen, wanted.quick, wanted.build)
        print("\n".join(["", *table.layout(table.compared(before, results))]))
    return 0 if len(results) == len(chosen) else 1


if __name__ == "__main__":
    sys.exit(main())
