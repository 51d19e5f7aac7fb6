"""A program folder to measure in: the player, its font and skins as the build made them."""

import os
import resource
import shutil
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../tests/real"))
import callgrind  # noqa: E402
from player import DEFAULT_CONFIG, program_files  # noqa: E402


STEADY = {"display_off_timeout": 0, "playback_order": "normal"}


class ProgramFolder:
    """Made by the constructor, removed by close(). Everything in it has a name of fixed length, and
    the environment is bare, so that two runs count alike."""

    def __init__(self, build, helpers=None):
        """`helpers` is the build with the programs that help to measure, where `build` is older."""
        self.build = os.path.abspath(build)
        self.helpers = os.path.abspath(helpers or build)
        self.folder = tempfile.mkdtemp(prefix="zerv-bench-")
        self.counted = {}
        built = os.path.join(self.build, "player")
        for name in program_files(built):
            self.place(os.path.join(built, name), name)
        self.write_config()

    def place(self, source, name):
        """The program as a file, because it finds its folder by its own name; the rest as links."""
        if os.path.isfile(source) and os.access(source, os.X_OK):
            shutil.copy(source, self.path(name))
        else:
            os.symlink(source, self.path(name))

    def close(self):
        shutil.rmtree(self.folder, ignore_errors=True)

    def path(self, name):
        return os.path.join(self.folder, name)

    def write_config(self, **changes):
        """The default settings, tracks in their order and a display that stays on, some changed."""
        content = DEFAULT_CONFIG.decode()
        for name, value in {**STEADY, **changes}.items():
            before, rest = content.split(f"<{name}>")
            content = f"{before}<{name}>{value}<{rest.split('<', 1)[1]}"
        with open(self.path("config.txt"), "w", encoding="utf-8", newline="") as file:
            file.write(content)

    def remove(self, *names):
        for name in names:
            if os.path.lexists(self.path(name)):
                os.remove(self.path(name))

    def environment(self, **more):
        clean = {"PATH": "/usr/local/bin:/usr/bin:/bin", "HOME": self.folder, "LC_ALL": "C",
                 "TZ": "UTC", "ZERV_DEVICE": "virtual", "ZERV_VIRTUAL_SCRIPT": "-"}
        return {**clean, **more}

    def make_music(self, kind, name, *more):
        """Music by the build's maker, in this folder."""
        maker = os.path.join(self.helpers, "tests/real/make_music")
        subprocess.run([maker, kind, self.path(name), *map(str, more)], check=True)

    def parts(self, script, *files):
        """What the player does for a script, up to each of its "echo" and to its end, counted once."""
        key = (script, files)
        if key not in self.counted:
            self.counted[key] = callgrind.parts([self.path("zerv-player"), *files], self.folder,
                                                self.environment(), script)
        return self.counted[key]

    def count(self, script, *files):
        """The same of a script without an "echo"."""
        return self.parts(script, *files)[0]

    def run(self, script, *files):
        """Runs a script without counting: what it answered, and the rusage."""
        player = subprocess.Popen([self.path("zerv-player"), *files], cwd=self.folder,
                                  env=self.environment(), stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE)
        with player.stdin:
            player.stdin.write(script.encode())
        answer = player.stdout.read().decode("utf-8", "replace")
        _, status, usage = os.wait4(player.pid, 0)
        player.returncode = status
        player.stdout.close()
        if status != 0:
            raise callgrind.CountingFailed(f"the player ended with {status}: {script}")
        return answer, usage
