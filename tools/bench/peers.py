"""Other players, measured in the same run where they are installed: ./dev bench --peers."""

import os
import pty
import shutil
import socket
import subprocess
import threading
import time

import running

SERVER = ["pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
          "-L", "module-null-sink"]
"""A sound server without a card, which takes sound at the pace of a clock."""


class SoundServer:
    """Started by the constructor, ended by close()."""

    def __init__(self, folder):
        os.makedirs(folder, exist_ok=True)
        place = os.path.join(folder, "sound")
        self.name = "unix:" + place
        native = f"module-native-protocol-unix socket={place} auth-anonymous=1"
        self.process = subprocess.Popen(
            [*SERVER, "-L", native], env={**os.environ, "HOME": folder, "XDG_RUNTIME_DIR": folder},
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        running.wait_until(lambda: os.path.exists(place), "sound server")

    def close(self):
        end(self.process)


def end(process):
    process.terminate()
    try:
        process.wait(10)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()


def quiet(command, env, **more):
    return subprocess.Popen(command, env=env, stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL, **more)


def milliseconds(work, rounds=5):
    """The quickest of several rounds: the others were disturbed."""
    best = None
    for _ in range(rounds):
        begin = time.monotonic()
        work()
        took = (time.monotonic() - begin) * 1000
        best = took if best is None else min(best, took)
    return best


class Peer:
    """One other player. `sound` is the name of the sound server, `folder` a place for its files."""

    def __init__(self, folder, sound):
        self.folder = os.path.join(folder, self.name)
        os.makedirs(self.folder, exist_ok=True)
        self.process = None
        self.env = {"PATH": os.environ["PATH"], "HOME": self.folder, "LC_ALL": "C.UTF-8",
                    "TERM": "xterm", "XDG_RUNTIME_DIR": self.folder, "PULSE_SERVER": sound}

    def stop(self):
        if self.process:
            end(self.process)
            self.process = None


class Mpg123(Peer):
    name = "mpg123"

    def idle(self):
        self.process = quiet(["mpg123", "-R", "-o", "pulse"], self.env)

    def play(self, track):
        self.process = quiet(["mpg123", "-q", "-o", "pulse", "--loop", "-1", track], self.env)

    def start_ms(self, track):
        return milliseconds(lambda: subprocess.run(["mpg123", "-q", "-n", "1", "-t", track],
                                                   env=self.env, check=True))


class Mpv(Peer):
    name = "mpv"
    plain = ("mpv", "--no-config", "--no-video", "--no-terminal")

    def idle(self):
        self.process = quiet([*self.plain, "--ao=pulse", "--idle=yes"], self.env)

    def play(self, track):
        self.process = quiet([*self.plain, "--ao=pulse", "--loop", track], self.env)

    def start_ms(self, track):
        return milliseconds(lambda: subprocess.run(
            [*self.plain, "--ao=null", "--end=0.01", track], env=self.env, check=True))


class Mpd(Peer):
    name = "mpd"
    conf = ('music_directory "{music}"\ndb_file "{folder}/database"\n'
            'bind_to_address "{folder}/socket"\nlog_file "{folder}/log"\n'
            'pid_file "{folder}/pid"\nauto_update "no"\n'
            'audio_output {{\n type "pulse"\n name "sound"\n}}\n')

    def open(self, music):
        for name in ("database", "socket"):
            if os.path.exists(os.path.join(self.folder, name)):
                os.remove(os.path.join(self.folder, name))
        path = os.path.join(self.folder, "conf")
        with open(path, "w", encoding="utf-8") as file:
            file.write(self.conf.format(music=music, folder=self.folder))
        self.process = quiet(["mpd", "--no-daemon", path], self.env)
        running.wait_until(lambda: self.ask("ping"), self.name)

    def ask(self, *lines):
        """The answer to the last command, or "" while nobody listens."""
        with socket.socket(socket.AF_UNIX) as line:
            try:
                line.connect(os.path.join(self.folder, "socket"))
            except OSError:
                return ""
            with line.makefile("rw", encoding="utf-8") as talk:
                talk.readline()
                answer = []
                for each in lines:
                    talk.write(each + "\n")
                    talk.flush()
                    answer = []
                    while not answer or not answer[-1].startswith(("OK", "ACK")):
                        answer.append(talk.readline())
                return "".join(answer)

    def idle(self):
        self.open(self.folder)

    def play(self, track):
        self.open(os.path.dirname(track))
        self.scan()
        self.ask(f'add "{os.path.basename(track)}"', "repeat 1", "single 1", "play")

    def scan(self):
        self.ask("update")
        running.wait_until(lambda: "updating_db" not in self.ask("status"), "update", 600)

    def start_ms(self, _track):
        def start():
            self.open(self.folder)
        return least_start(self, start)

    def scan_seconds(self, music):
        self.open(music)
        before = core_seconds(self.process)
        self.scan()
        return core_seconds(self.process) - before


class Cmus(Peer):
    name = "cmus"

    def open(self):
        shutil.rmtree(self.folder)
        os.makedirs(self.folder)
        master, slave = pty.openpty()
        place = os.path.join(self.folder, "socket")
        self.process = subprocess.Popen(["cmus", "--listen", place], env=self.env, stdin=slave,
                                        stdout=slave, stderr=slave, start_new_session=True)
        os.close(slave)
        os.write(master, b"\n")  # it asks for a key where something is missing, as a first start does
        threading.Thread(target=swallow, args=(master,), daemon=True).start()
        running.wait_until(lambda: os.path.exists(place), self.name)

    def say(self, *commands):
        for command in commands:
            subprocess.run(["cmus-remote", "--server", os.path.join(self.folder, "socket"), "-C",
                            command], env=self.env, check=True, stdout=subprocess.DEVNULL)

    def idle(self):
        self.open()

    def play(self, track):
        self.open()
        self.say("set output_plugin=pulse", "set repeat_current=true", f"player-play {track}")

    def start_ms(self, _track):
        return least_start(self, self.open)

    def scan_seconds(self, music):
        self.open()
        before = core_seconds(self.process)
        self.say(f"add -l {music}")
        last = -1
        while last != (last := core_seconds(self.process)):
            time.sleep(2)  # it does not say when it has finished; idle it does nothing
        return last - before


def swallow(terminal):
    """Reads what a program paints, so that it does not wait for room."""
    try:
        while os.read(terminal, 65536):
            pass
    except OSError:
        os.close(terminal)


def least_start(peer, start):
    best = None
    for _ in range(5):
        begin = time.monotonic()
        start()
        took = (time.monotonic() - begin) * 1000
        best = took if best is None else min(best, took)
        peer.stop()
    return best


def core_seconds(process):
    """Time on a core so far, threads that have ended included, in steps of 10 ms."""
    words = running.read(f"/proc/{process.pid}/stat").rsplit(")", 1)[1].split()
    return (int(words[11]) + int(words[12])) / os.sysconf("SC_CLK_TCK")


ALL = (Cmus, Mpd, Mpg123, Mpv)


def installed():
    """Those that are there, and a sound server for them."""
    if not shutil.which("pulseaudio"):
        return []
    return [peer for peer in ALL if shutil.which(peer.name)]
