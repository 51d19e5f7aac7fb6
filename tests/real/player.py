"""The player as a process, in a program folder of its own, on the scripted device."""

import fnmatch
import os
import shutil
import subprocess
import tempfile
import time
import unittest

PROGRAM = os.environ.get("ZERV_PLAYER", "")
"""The executable; the build's program folder, with font and skins, is the one it lies in."""

DEADLINE_S = 120
"""A test that takes longer hangs; sanitized builds on a busy machine are slow."""


def is_built_with(sanitizer):
    """Whether the program carries "asan" or "tsan"."""
    with open(PROGRAM, "rb") as program:
        return f"__{sanitizer}_init".encode() in program.read()


STATE = ("config.txt*", "library.db*", "current.m3u*", "_tmp", "*.wav", "*.lrc", ".*")


def program_files(built):
    """The names of a program folder, without what a player left that was started in it."""
    return [name for name in sorted(os.listdir(built))
            if not any(fnmatch.fnmatchcase(name, pattern) for pattern in STATE)]


DEFAULT_CONFIG = b"".join(
    line + b"\r\n"
    for line in (
        b'<?xml version="1.0" encoding="UTF-8"?>',
        b"",
        b'<cfg version="0.1">',
        b"\t<vol>30</vol>",
        b"\t<skin_play>skins/Aqua_Ver0.4.zip</skin_play>",
        b"\t<skin_list>skins/Aqua_Ver0.4.zip</skin_list>",
        b"\t<display_off_timeout>30</display_off_timeout>",
        b"\t<lang>ko</lang>",
        b"\t<playback_order>shuffle</playback_order>",
        b"\t<font>QuenlyAquaEJ.ttf</font>",
        b"\t<library_path>/usr</library_path>",
        b"\t<debug>0</debug>",
        b"</cfg>",
    )
)


class Answer:
    """What a run left behind."""

    def __init__(self, status, out, err):
        self.status = status
        self.out = out.decode("utf-8", "replace")
        self.err = err.decode("utf-8", "replace")

    def state(self, index=-1):
        """The pairs of the index-th `state` line."""
        lines = [line for line in self.out.splitlines() if line.startswith("state ")]
        return dict(pair.split("=", 1) for pair in lines[index].split()[1:])

    def texts(self):
        """What `text` answered, every text once a line."""
        return [line.split("|", 1)[1][:-1] for line in self.out.splitlines()
                if line.startswith("text ")]


class PlayerTest(unittest.TestCase):
    """Each test has a fresh program folder: font and skins as the build made them, no settings."""

    def setUp(self):
        self.assertTrue(PROGRAM, "ZERV_PLAYER names no program")
        built = os.path.dirname(os.path.abspath(PROGRAM))
        self.folder = tempfile.mkdtemp(prefix="zerv-real-")
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.program = os.path.join(self.folder, "zerv-player")
        os.link(PROGRAM, self.program) if self.same_disk(PROGRAM) else shutil.copy(PROGRAM, self.program)
        for name in program_files(built):
            if name == "skins" or name.endswith((".ttf", ".png", ".so")):
                os.symlink(os.path.join(built, name), self.path(name))

    def same_disk(self, path):
        return os.stat(path).st_dev == os.stat(self.folder).st_dev

    def wait_until(self, what, holds):
        """What holds() returns once that counts as true; `what` names it when it never comes."""
        deadline = time.monotonic() + DEADLINE_S
        while True:
            found = holds()
            if found:
                return found
            self.assertLess(time.monotonic(), deadline, what)
            time.sleep(0.02)

    def path(self, name):
        return os.path.join(self.folder, name)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def write(self, name, content):
        with open(self.path(name), "wb") as file:
            file.write(content)

    def exists(self, name):
        return os.path.lexists(self.path(name))

    def write_config(self, **changes):
        """Default settings, some of them changed: a start with them is not the first one."""
        content = DEFAULT_CONFIG
        for name, value in changes.items():
            begin = content.index(b"<" + name.encode() + b">") + len(name) + 2
            end = content.index(b"</" + name.encode() + b">")
            content = content[:begin] + str(value).encode() + content[end:]
        self.write("config.txt", content)
        return content

    def environment(self, **more):
        clean = {name: value for name, value in os.environ.items() if not name.startswith("ZERV_")}
        clean.update(ZERV_DEVICE="virtual", ZERV_VIRTUAL_SCRIPT="-", LC_ALL="C", TZ="UTC")
        clean.update(more)
        return clean

    def start(self, *arguments, **environment):
        """Starts the player; its script is what the caller writes to stdin."""
        process = subprocess.Popen([self.program, *arguments], cwd=self.folder,
                                   env=self.environment(**environment), stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(self.end, process)
        return process

    def end(self, process):
        if process.poll() is None:
            process.kill()
            process.wait()
        for stream in (process.stdin, process.stdout, process.stderr):
            stream.close()

    def run_script(self, script, *arguments, **environment):
        """Runs a whole script and waits for the end of the program."""
        process = self.start(*arguments, **environment)
        out, err = process.communicate(script.encode(), timeout=DEADLINE_S)
        return Answer(process.returncode, out, err)

    def say(self, process, *lines):
        process.stdin.write("".join(line + "\n" for line in lines).encode())
        process.stdin.flush()

    def listen_for(self, process, wanted):
        """Reads answers up to the wanted line."""
        while True:
            line = process.stdout.readline()
            self.assertTrue(line, f"the program ended before it said {wanted}")
            if line.decode().rstrip("\n") == wanted:
                return
