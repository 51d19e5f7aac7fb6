"""How long it takes until something is seen or heard, from outside: at the panel or the screen of the
window system, and at the far end of a sound server."""

import array
import mmap
import os
import shutil
import statistics
import struct
import subprocess
import threading
import time

import peers
import running
from make_flac import make_still

ROUNDS = 8
LEVEL = 16000
"""Of a track that never moves: what changes is the volume."""
SETTLE_S = 1.5
KEY_DOWN, KEY_VOLUME_DOWN, KEY_VOLUME_UP = 108, 114, 115
"""Codes of the kernel's input."""
STEP_S = 0.0005
PANEL_BYTES = 320 * 240 * 2


class Screen:
    """A file that holds what is shown, of which a line of `line` bytes in each `step` bytes is looked
    at: a look at a whole screen takes longer than what is measured."""

    def __init__(self, path, line, step):
        with open(path, "rb") as file:
            self.map = mmap.mmap(file.fileno(), 0, prot=mmap.PROT_READ)
        self.lines = [slice(at, at + line) for at in range(0, len(self.map) - line, step)]

    def picture(self):
        return b"".join([self.map[line] for line in self.lines])

    def wait_for_other(self, before):
        """The moment at which the picture is another."""
        deadline = time.monotonic() + 10
        while self.picture() == before:
            if time.monotonic() > deadline:
                raise TimeoutError("the picture does not change")
            time.sleep(STEP_S)
        return time.monotonic()


class Ear:
    """Hears what a sound server plays. Started by the constructor, ended by close()."""

    def __init__(self, server):
        self.process = subprocess.Popen(
            ["parec", f"--server={server}", "-d", "@DEFAULT_MONITOR@", "--raw", "--rate=44100",
             "--channels=2", "--format=s16le", "--latency-msec=5"],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.heard = []
        """(moment, left samples) of each piece."""
        threading.Thread(target=self.listen, daemon=True).start()

    def listen(self):
        while True:
            data = os.read(self.process.stdout.fileno(), 1 << 16)
            if not data:
                return
            samples = array.array("h", data[:len(data) // 4 * 4])
            self.heard.append((time.monotonic(), samples[::2]))

    def level(self):
        return self.heard[-1][1][-1] if self.heard else 0

    def wait_for(self, holds):
        """The moment at which a sample was heard for which holds() is true, of those from now on."""
        at, deadline = len(self.heard), time.monotonic() + 10
        while time.monotonic() < deadline:
            for moment, samples in self.heard[at:]:
                at += 1
                if any(map(holds, samples)):
                    return moment
            time.sleep(STEP_S)
        raise TimeoutError("nothing of the kind is heard")

    def close(self):
        self.process.terminate()
        self.process.wait()


class Window:
    """The player on an X server in memory."""
    name = "window"

    def __init__(self, bench):
        self.bench = bench
        bench.open_display()
        line = 1400 * 4  # the display's
        self.screen = Screen(os.path.join(bench.display.folder, "Xvfb_screen0"), line, 10 * line)

    def start(self, *files, server=""):
        sound = {"SDL_AUDIODRIVER": "pulseaudio", "PULSE_SERVER": server} if server else {}
        return self.bench.open_window(*files, **sound)

    @staticmethod
    def darken():
        time.sleep(0.3)  # until the window before has gone

    def press(self, name):
        display = self.bench.display
        window = running.wait_until(lambda: self.find(display), "window")
        display.key(window, {KEY_DOWN: "Down", KEY_VOLUME_DOWN: "minus",
                             KEY_VOLUME_UP: "plus"}[name])

    @staticmethod
    def find(display):
        return display.find_window("Zerv Player") or display.find_window("still.flac - Zerv Player")

    def close(self):
        """The display is the bench's."""


class Board:
    """The player on bare Linux, with a panel and keys that are files."""
    name = "bare Linux"

    def __init__(self, bench):
        self.bench = bench
        self.inputs = bench.folder.path("inputs")
        os.makedirs(self.inputs)
        place = os.path.join(self.inputs, "event0")
        os.mkfifo(place)
        self.keys = os.open(place, os.O_RDWR)
        with open(bench.folder.path("panel"), "wb") as panel:
            panel.truncate(PANEL_BYTES)
        self.screen = Screen(bench.folder.path("panel"), 640, 640)

    def start(self, *files, server=""):
        environment = {**self.bench.board_environment(), "BOARD_INPUT": self.inputs}
        if server:
            with open(self.bench.folder.path("alsa.conf"), "w", encoding="ascii") as file:
                file.write(f'pcm.!default {{ type pulse\n server "{server}" }}\n')
        return self.bench.open(files, environment)

    def darken(self):
        with open(self.bench.folder.path("panel"), "r+b") as panel:
            panel.write(bytes(PANEL_BYTES))

    def press(self, code):
        for value in 1, 0:
            os.write(self.keys, struct.pack("llHHi", 0, 0, 1, code, value)
                     + struct.pack("llHHi", 0, 0, 0, 0, 0))

    def close(self):
        os.close(self.keys)
        shutil.rmtree(self.inputs)


PLACES = (Window, Board)


def in_all(bench, measure, *words):
    """{unit: {"ours": ms}} of a measuring on each device."""
    found = {}
    for place in PLACES:
        device = place(bench)
        try:
            found[f"ms, {place.name}"] = {"ours": measure(device, *words)}
        finally:
            device.close()
    return found


def key_to_picture(device):
    player = device.start()
    try:
        time.sleep(SETTLE_S)
        took = []
        for _ in range(ROUNDS):
            before, begin = device.screen.picture(), time.monotonic()
            device.press(KEY_DOWN)
            took.append((device.screen.wait_for_other(before) - begin) * 1000)
            time.sleep(0.1)
        return statistics.median(took)
    finally:
        peers.end(player)


def make_track(bench):
    track = bench.folder.path("still.flac")
    if not os.path.exists(track):
        with open(track, "wb") as file:
            file.write(make_still(600, LEVEL))
    return track


def volume_to_ear(device, server):
    ear, took = Ear(server), []
    player = device.start(make_track(device.bench), server=server)
    try:
        ear.wait_for(lambda sample: sample != 0)
        for i in range(ROUNDS):
            time.sleep(SETTLE_S)
            level, begin = ear.level(), time.monotonic()
            device.press(KEY_VOLUME_UP if i % 2 else KEY_VOLUME_DOWN)
            took.append((ear.wait_for(lambda sample: sample != level) - begin) * 1000)
        return statistics.median(took)
    finally:
        peers.end(player)
        ear.close()


def first_picture(device):
    took = []
    for _ in range(ROUNDS):
        device.darken()
        before, begin = device.screen.picture(), time.monotonic()
        player = device.start()
        try:
            took.append((device.screen.wait_for_other(before) - begin) * 1000)
        finally:
            peers.end(player)
    return statistics.median(took)


def first_sound(device, server):
    took, track = [], make_track(device.bench)
    for _ in range(ROUNDS // 2):
        ear = Ear(server)
        running.wait_until(lambda: ear.heard, "silence")
        begin = time.monotonic()
        player = device.start(track, server=server)
        try:
            took.append((ear.wait_for(lambda sample: sample != 0) - begin) * 1000)
        finally:
            peers.end(player)
            ear.close()
        time.sleep(0.5)
    return statistics.median(took)
