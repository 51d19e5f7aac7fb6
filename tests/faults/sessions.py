"""Short lives of the player, and what must hold of a user's files after each, however it went."""

import os
import re
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import xml.etree.ElementTree
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "real"))
from player import DEFAULT_CONFIG, program_files  # noqa: E402
from services import Services  # noqa: E402

HANG_S = 120
"""A life takes a tenth of a second, and some wait ten for a service; the machine may be busy."""

STATE = ("config.txt", "current.m3u", "library.db")
TRACKS = ("1 first.mp3", "2 second.ogg", "3 third.flac")
NEWS = b"what is new\n" * 2000
LYRICS = b"".join(b"[00:%02d.00]line %d\r\n" % (i, i) for i in range(1, 50))


def settings(**changes):
    """A file of settings; the default one with some of them changed."""
    text = DEFAULT_CONFIG.decode()
    for name, value in {"library_path": "music", "playback_order": "normal", **changes}.items():
        head, rest = text.split(f"<{name}>")
        text = f"{head}<{name}>{value}</{rest.split('</', 1)[1]}"
    return text.encode()


def keys(*names):
    """Each key pressed, with a moment behind it."""
    return "".join(f"key {name}\nadvance 20\n" for name in names)


class Session:
    """What happens in one life.
        script       for the virtual device
        config       the file of settings, None for the first start
        playlist     of how many tracks the current playlist is
        arguments    of the command line
        library      whether there is a library already
        services     which hosts the player is told
    """

    def __init__(self, name, script, config=settings(), playlist=3, arguments=(), library=True,
                 services=(), by_signal=False):
        self.name, self.script, self.config, self.playlist = name, script, config, playlist
        self.arguments, self.library, self.services = arguments, library, services
        self.by_signal = by_signal


SKIP = "advance 500\n" + keys("page_down") + "advance 3000\nkey right\nadvance 700\n"
SESSIONS = {session.name: session for session in (
    Session("start", "advance 300\nquit\n"),
    Session("first", "advance 20\n" + keys("select", "down", "select") + "advance 20\nquit\n",
            config=None, playlist=0, library=False),
    Session("play", SKIP + "advance 1500\nquit\n", arguments=[f"music/{name}" for name in TRACKS]),
    Session("scan", "advance 50\n" + keys("up", "up", "select") + "settle\nadvance 50\nquit\n"),
    Session("reload", "advance 300\n" + keys("reload", "switch", "reload") + "settle\n"
            "advance 300\nquit\n", arguments=["music/1 first.mp3"]),
    Session("words", "advance 30\nsettle\nadvance 1500\n" + keys("menu") + "settle\nadvance 300\n"
            "quit\n", arguments=["music/words/b cover.mp3"], services=("lyrics",)),
    Session("settings", "advance 5\nkey vol_up\nadvance 5\nkey up\nadvance 2\nkey select\n"
            "advance 2\n" + "key select\nadvance 2\nkey down\nadvance 2\n" * 3 +
            "key select\nadvance 2\nquit\n"),
    Session("edit", "advance 100\n" + keys("select") + "advance 300\n" + keys("menu", "menu") +
            "advance 100\nquit\n"),
    Session("update", "settle\nadvance 300\nquit\n", arguments=["music/3 third.flac"],
            services=("update",)),
    Session("shutdown", "advance 30\nkey vol_up\nadvance 30\n", by_signal=True,
            arguments=["music/words/b cover.mp3"], services=("lyrics",)),
)}


class Fixture:
    """The services, and for each session the folder that it starts from."""

    def __init__(self, build):
        self.build = Path(build).resolve()
        self.player = self.build / "player"
        self.root = Path(tempfile.mkdtemp(prefix="zerv-faults-"))
        self.cleanups, self.folders, self.seen = [], {}, set()
        self.make_b()
        self.lyrics_key_file()
        self.host = Services(self, "--lyrics", self.root / "lyrics", "--packages",
                             self.root / "packages").host

    # What Services wants of a test.
    def addCleanup(self, call, *arguments):
        self.cleanups.append((call, arguments))

    def assertTrue(self, value, message=""):
        if not value:
            raise RuntimeError(message)

    def close(self):
        for call, arguments in reversed(self.cleanups):
            call(*arguments)
        shutil.rmtree(self.root, ignore_errors=True)

    def make_b(self):
        """A package with the next version, which is this one with its number changed."""
        self.program_a = (self.player / "zerv-player").read_bytes()
        self.program_b = self.program_a.replace(b"\x000.4\x00", b"\x000.5\x00")
        folder, packages = self.root / "b", self.root / "packages"
        (folder / "news").mkdir(parents=True)
        packages.mkdir()
        (folder / "zerv-player").write_bytes(self.program_b)
        (folder / "zerv-player").chmod(0o755)
        (folder / "news" / "read.txt").write_bytes(NEWS)
        (folder / "icon.png").write_bytes(NEWS)
        subprocess.run([sys.executable, HERE.parents[1] / "tools" / "zerv-package", "build", folder,
                        "-o", packages / "zerv-player-dingoo-0.5.zip"], check=True,
                       stdout=subprocess.DEVNULL)

    def lyrics_key_file(self):
        """Lyrics for the track that has none of its own."""
        track = self.build / "media" / "words" / "b cover.mp3"
        key = subprocess.run([sys.executable, HERE.parents[1] / "tools" / "zerv-services", "--key",
                              track], check=True, capture_output=True, text=True).stdout.strip()
        (self.root / "lyrics").mkdir()
        (self.root / "lyrics" / f"{key}.lrc").write_bytes(LYRICS)

    def add_program(self, folder):
        """The program and what it draws with, as links: nothing of it is written."""
        for entry in (self.player / name for name in program_files(self.player)):
            if entry.name == "zerv-player":
                shutil.copy(entry, folder)
            elif entry.name != "icon.png":
                (folder / entry.name).symlink_to(entry)
        (folder / "icon.png").write_bytes(b"old")

    def start_of(self, session):
        """The folder that a session starts from."""
        if session.name in self.folders:
            return self.folders[session.name]
        folder = self.root / "start" / session.name
        folder.mkdir(parents=True)
        self.add_program(folder)
        shutil.copytree(self.build / "media" / "tracks", folder / "music")
        shutil.copytree(self.build / "media" / "words", folder / "music" / "words")
        if session.library:
            (folder / "config.txt").write_bytes(settings())
            self.live(SESSIONS["scan"], folder)
        if session.config is not None:
            (folder / "config.txt").write_bytes(session.config)
        (folder / "current.m3u").write_bytes(
            b"".join(f"music/{name}\r\n".encode() for name in TRACKS[:session.playlist]))
        self.folders[session.name] = folder
        return folder

    def environment(self, session, more):
        clean = {name: value for name, value in os.environ.items()
                 if not name.startswith(("ZERV_", "LD_"))}
        clean.update(ZERV_DEVICE="virtual", ZERV_VIRTUAL_SCRIPT="-", LC_ALL="C", TZ="UTC", **more)
        for service in session.services:
            clean[f"ZERV_{service.upper()}_HOST"] = self.host
        if "update" in session.services:  # which has a second life, and both read the script
            clean["ZERV_VIRTUAL_SCRIPT"] = str(self.root / "script")
            (self.root / "script").write_text(session.script)
        return clean

    def live(self, session, folder, **more):
        """One life in a folder. Returns its status, or "hang", and what it said to stderr."""
        process = subprocess.Popen(["./zerv-player", *session.arguments], cwd=folder,
                                   env=self.environment(session, more), stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        try:
            if session.by_signal:
                return self.end_by_signal(process, session)
            _, err = process.communicate(session.script.encode(), timeout=HANG_S)
            return process.returncode, err.decode("utf-8", "replace")
        except subprocess.TimeoutExpired:
            process.kill()
            _, err = process.communicate()
            return "hang", err.decode("utf-8", "replace")

    def end_by_signal(self, process, session):
        try:
            process.stdin.write((session.script + "echo ready\n").encode())
            process.stdin.flush()
        except BrokenPipeError:
            pass  # it has ended already
        for line in process.stdout:
            if line == b"ready\n":
                break
        process.send_signal(signal.SIGTERM)
        _, err = process.communicate(timeout=HANG_S)
        return process.returncode, err.decode("utf-8", "replace")


# ---- what must hold ----


def read(path):
    try:
        return path.read_bytes()
    except FileNotFoundError:
        return None


def contents_of(folder):
    """The files of a folder by their names in it, links not followed."""
    return {str(path.relative_to(folder)): path.read_bytes()
            for path in folder.rglob("*") if path.is_file() and not path.is_symlink()}


def playlist_of(text):
    """The current playlist, paths from the program folder on; None when there is none."""
    return text and re.sub(rb"(?m)^/.*/(?=music/)", b"", text)


TRACKS_SQL = "SELECT path, name FROM zervp_tracks JOIN zervp_urls ON url = zervp_urls.id"


def tracks_of(folder):
    """The tracks of a library; None when there is none. Raises when it is not whole."""
    path = folder / "library.db"
    if not path.exists() or path.stat().st_size == 0:
        return None
    base = sqlite3.connect(path)
    try:
        answer = base.execute("PRAGMA integrity_check").fetchone()[0]
        if answer != "ok":
            raise sqlite3.DatabaseError(answer)
        names = {row[0] for row in base.execute("SELECT name FROM sqlite_master")}
        if "zervp_version" not in names:
            return None  # it was never finished
        return {(path[path.index("/music/"):], name) for path, name in base.execute(TRACKS_SQL)}
    finally:
        base.close()


def values_of(config):
    root = xml.etree.ElementTree.fromstring(config)
    return {element.tag: element.text for element in root}


class Judge:
    """Compares a folder with what it was before and what a life without faults makes of it."""

    def __init__(self, before, after, strict=False):
        """strict: nothing was reported to the program, so nothing may be missing or set aside."""
        self.strict = strict
        self.tracks = [tracks_of(before), tracks_of(after)]
        self.old, self.new = contents_of(before), contents_of(after)

    def faults(self, folder):
        """What is lost or torn, a line each."""
        found = []
        for rule in (self.config, self.playlist, self.library, self.others):
            found += rule(folder)
        return found

    def kept(self, folder, name):
        """Whether the old content is kept under another name."""
        return not self.strict and any(read(path) == self.old.get(name) for path in folder.glob(name + ".old*"))

    def either(self, folder, name):
        return read(folder / name) in (self.old.get(name), self.new.get(name))

    def config(self, folder):
        if self.either(folder, "config.txt") or self.kept(folder, "config.txt"):
            return []
        text = read(folder / "config.txt")
        if text is None:
            return ["config.txt is gone"]
        try:
            now = values_of(text)
        except xml.etree.ElementTree.ParseError as error:
            return [f"config.txt is torn: {error}"]
        known = [values_of(content.get("config.txt") or DEFAULT_CONFIG) for content in (self.old, self.new)]
        if self.strict:
            return ["config.txt is neither old nor new"]
        return [f"config.txt: {name} is {now.get(name)}" for name in known[0]
                if now.get(name) not in [each[name] for each in known] and name != "lang"]

    def playlist(self, folder):
        if self.kept(folder, "current.m3u"):
            return []
        now = playlist_of(read(folder / "current.m3u"))
        before, after = (playlist_of(content.get("current.m3u")) or b"" for content in (self.old, self.new))
        if now is None:
            return ["current.m3u is gone"]
        lines, known = now.splitlines(True), (before + after).splitlines(True)
        found = [f"current.m3u has {line}" for line in lines if line not in known]
        stays = [line for line in before.splitlines(True) if line in after.splitlines(True)]
        return found + [f"current.m3u has lost {line}" for line in stays
                        if line not in lines]

    def library(self, folder):
        try:
            now = tracks_of(folder)
        except sqlite3.DatabaseError as error:
            return [f"library.db: {error}"]
        if now in self.tracks or self.kept(folder, "library.db"):
            return []
        if self.strict:
            return ["library.db is neither old nor new"]
        whole = [tracks or set() for tracks in self.tracks]
        paths, least = {path for path, _ in now or set()}, min(map(len, whole))
        known = {path for tracks in whole for path, _ in tracks}
        found = [f"library.db has {path}" for path in paths - known]
        # A track that could not be read may be missing, or be called by its file's name; a folder
        # that could not be listed is left out.
        missing = {path for path, _ in whole[0] & whole[1]} - paths
        return found + ([f"library.db has {len(paths)} tracks of {least}"]
                        if len({os.path.dirname(path) for path in missing}) > 1 else [])

    def others(self, folder):
        """Music, the user's own lyrics, skins, the program: as before or as after."""
        found = [f"{name} is neither old nor new" for name in sorted(self.old)
                 if name not in STATE and not self.either(folder, name)]
        for path in sorted(folder.rglob("*.lrc")):
            whole = self.new.get(str(path.relative_to(folder)))
            if whole is not None and not whole.startswith(read(path)):
                found.append(f"{path.name} is no lyrics")
        return found + (self.new_ones(folder) if self.strict else [])

    def new_ones(self, folder):
        """Files that a session makes are whole or not there."""
        return [f"{name} is torn" for name, content in sorted(self.new.items())
                if name not in self.old and name not in STATE  # else others() looks
                and read(folder / name) not in (None, content)]


def fingerprint(folder):
    """Says whether two folders hold the same: a second start from both is the same, too."""
    return frozenset((name, hash(content)) for name, content in contents_of(folder).items())
