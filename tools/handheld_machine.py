"""An emulated machine: its root file system, its start, its keys, its screen, its sound."""

import array
import gzip
import json
import os
import re
import socket
import subprocess
import sys
import time
from contextlib import contextmanager
from pathlib import Path

MODULES = ["virtio", "virtio_ring", "virtio_pci_legacy_dev", "virtio_pci_modern_dev", "virtio_pci",
           "evdev", "virtio_input", "soundcore", "snd", "snd-timer", "snd-pcm", "snd-seq-device",
           "snd-rawmidi", "gameport", "snd-ens1370", "crc32c_generic", "crc16", "mbcache", "jbd2", "ext4",
           "nls_cp437", "nls_ascii", "nls_utf8", "fat", "vfat"]
CARD_MODULE = "ata_piix"
TOOLS = ["sh", "basename", "cat", "cmp", "cp", "date", "dirname", "echo", "find", "grep", "httpd", "ifconfig",
         "insmod", "kill", "ls", "md5sum", "mkdir", "mount", "mv", "pidof", "reboot", "rm", "sleep", "sync", "umount"]
PATIENCE_S = 600  # a busy host emulates slowly
MOUNTS = {"ext4": "ext4", "vfat": "vfat -o utf8=1"}

# All there is around the card: no library, no tables, no configuration, no groups.
INIT = """#!/bin/sh
export PATH=/bin HOME=/ TZ=UTC
mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t devtmpfs dev /dev
for module in %(modules)s; do insmod /lib/modules/$module.ko; done
date -s "%(clock)s" >/dev/null
%(before_card)s
insmod /lib/modules/%(card_module)s.ko
while [ ! -e /dev/sda ]; do sleep 1; done
mkdir /card
mount -t %(mount)s /dev/sda /card || echo NO CARD
%(commands)s
cd /
umount /card
reboot -f
"""


class Failed(Exception):
    """What does not hold, in words."""


def shown(log):
    """What the machine has said so far."""
    return log.read_text(errors="replace").replace("\r", "")


# ---- the root file system ----


def find_module(parts, name):
    found = [path for path in parts.glob("lib/modules/*/kernel/**/*.ko")
             if path.stem.replace("-", "_") == name.replace("-", "_")]
    if not found:
        raise Failed(f"the kernel has no module {name}")
    return found[0]


def make_root(root, parts, kind, clock, commands, before_card=""):
    """What starts the machine and a card of that kind: it lives in memory. `root` may hold files already."""
    for name in ("bin", "dev", "proc", "sys", "lib/modules"):
        (root / name).mkdir(parents=True, exist_ok=True)
    (root / "bin/busybox").write_bytes((parts / "bin/busybox").read_bytes())
    (root / "bin/busybox").chmod(0o755)
    for name in TOOLS:
        (root / "bin" / name).symlink_to("busybox")
    for name in MODULES + [CARD_MODULE]:
        (root / f"lib/modules/{name}.ko").write_bytes(find_module(parts, name).read_bytes())
    (root / "init").write_text(INIT % {"modules": " ".join(MODULES), "clock": clock.replace("T", " "),
                                       "card_module": CARD_MODULE, "before_card": before_card,
                                       "mount": MOUNTS[kind], "commands": commands})
    (root / "init").chmod(0o755)


def make_card(image, kind, folder, megabytes=128):
    """A card of that kind which holds what the folder holds."""
    image.unlink(missing_ok=True)
    with open(image, "wb") as file:
        file.truncate(megabytes << 20)
    if kind == "ext4":
        run_tool("mkfs.ext4", "-q", "-O", "^metadata_csum,^64bit", "-d", folder, image)
        return
    run_tool("mkfs.vfat", "-n", "CARD", image)
    run_tool("mcopy", "-s", "-Q", "-i", image, *sorted(folder.iterdir()), "::/")


def check_card(image, kind):
    """-1 in words when its own checker finds faults. A card that lost power is repaired, as a machine does."""
    checker = ["e2fsck", "-f", "-n"] if kind == "ext4" else ["fsck.vfat", "-n"]
    done = subprocess.run([*checker, image], capture_output=True, text=True, env=TOOL_PLACES, check=False)
    if done.returncode:
        raise Failed(f"{' '.join(checker)} {image} finds faults:\n{done.stdout}")


TOOL_PLACES = {**os.environ, "PATH": os.environ.get("PATH", "") + ":/sbin:/usr/sbin", "LC_ALL": "C.UTF-8"}


def run_tool(*command):
    done = subprocess.run(command, capture_output=True, text=True, env=TOOL_PLACES, check=False)
    if done.returncode:
        raise Failed(f"{command[0]}: {done.stderr}")


def archive_entry(number, name, mode, content):
    fields = [number, mode, 0, 0, 1, 0, len(content), 0, 0, 0, 0, len(name) + 1, 0]
    head = b"070701" + b"".join(b"%08x" % field for field in fields) + name + b"\0"
    head += bytes(-len(head) % 4)
    return head + content + bytes(-len(content) % 4)


def write_archive(root, target):
    """The form in which a kernel takes its first file system."""
    paths = sorted(root.rglob("*"))
    with gzip.open(target, "wb", compresslevel=1) as out:
        for number, path in enumerate(paths, 1):
            mode = path.lstat().st_mode
            if path.is_symlink():
                content = os.readlink(path).encode()
            else:
                content = path.read_bytes() if path.is_file() else b""
            out.write(archive_entry(number, str(path.relative_to(root)).encode(), mode, content))
        out.write(archive_entry(0, b"TRAILER!!!", 0, b""))


# ---- the machine ----


class Machine:
    def __init__(self, process, control, log):
        self.process, self.log = process, log
        self.control = socket.socket(socket.AF_UNIX)
        self.control.connect(str(control))
        self.replies = self.control.makefile("r")
        self.command("qmp_capabilities")

    def command(self, name, **arguments):
        line = json.dumps({"execute": name, "arguments": arguments})
        self.control.sendall(line.encode() + b"\n")
        for reply in self.replies:
            answer = json.loads(reply)
            if "error" in answer:
                raise Failed(f"{name}: {answer['error']['desc']}")
            if "return" in answer:
                return answer["return"]
        raise Failed(f"the machine ended; see {self.log}")

    def press(self, key):
        for down in (True, False):
            event = {"type": "key", "data": {"down": down, "key": {"type": "qcode", "data": key}}}
            self.command("input-send-event", events=[event])

    def tap(self, x, y, width=320, height=240):
        axes = [{"type": "abs", "data": {"axis": axis, "value": value}}
                for axis, value in (("x", x * 32767 // (width - 1)), ("y", y * 32767 // (height - 1)))]
        for down in (True, False):
            button = {"type": "btn", "data": {"down": down, "button": "left"}}
            self.command("input-send-event", events=axes + [button])
            time.sleep(0.4)

    def screen(self, width, height):
        """Its rows. The picture is the upper left part of what the card shows."""
        shot = self.log.with_suffix(".ppm")
        self.command("screendump", filename=str(shot))
        data = shot.read_bytes()
        head = re.match(rb"P6\s+(\d+)\s+(\d+)\s+255\s", data)
        line, lines = int(head[1]), int(head[2])
        if line < width or lines < height:
            raise Failed(f"the screen is {line} x {lines}")
        start = head.end()
        return [data[start + y * line * 3:start + (y * line + width) * 3] for y in range(height)]

    def waited(self):
        """Seconds for which the host let its threads wait for a core, so far."""
        waits = [path.read_text().split()[1] for path in Path(f"/proc/{self.process.pid}/task").glob("*/schedstat")]
        return sum(map(int, waits)) / 1e9

    def say(self, line):
        """Over the serial line."""
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()

    def freeze(self, path):
        """Keeps all of it but its card in a file, from which boot() goes on."""
        self.command("migrate", uri=f"exec:cat >{path}")
        while True:
            status = self.command("query-migrate").get("status")
            if status == "completed":
                return
            if status in ("failed", "cancelled"):
                raise Failed(f"the machine cannot be frozen; see {self.log}")
            time.sleep(0.1)

    def wait_for_thaw(self, seconds):
        """Until it goes on: what is said before is lost."""
        deadline = time.monotonic() + seconds
        while self.command("query-status")["status"] != "running":
            if self.process.poll() is not None or time.monotonic() > deadline:
                raise Failed(f"the machine does not go on; see {self.log}")
            time.sleep(0.1)

    def wait_for(self, text, seconds, times=1):
        deadline = time.monotonic() + seconds
        while self.log.read_text(errors="replace").count(text) < times:
            if self.process.poll() is not None or time.monotonic() > deadline:
                raise Failed(f"the machine never said {text}; see {self.log}")
            time.sleep(0.1)

    def wait_for_sound(self, path, seconds):
        """Until a second of it has come out of the card."""
        deadline = time.monotonic() + seconds
        while not path.exists() or path.stat().st_size < 44 + 44100 * 4:
            if self.process.poll() is not None or time.monotonic() > deadline:
                raise Failed(f"the machine plays nothing; see {self.log}")
            time.sleep(0.1)

    def wait_for_end(self, seconds):
        try:
            self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            raise Failed(f"the machine does not end; see {self.log}") from None


def machine_command(parts, archive, sound, control):
    kernel = next(iter(parts.glob("boot/vmlinuz-*")))
    return ["qemu-system-mipsel", "-M", "malta", "-cpu", "24Kf", "-m", "128", "-kernel", kernel,
            "-initrd", archive, "-append",
            "console=ttyS0 rdinit=/init video=cirrusfb:320x240-16 quiet nokaslr", "-vga", "cirrus",
            "-nic", "none", "-device", "virtio-keyboard-pci", "-device", "virtio-tablet-pci",
            "-audiodev", f"wav,id=card,path={sound}", "-device", "ES1370,audiodev=card",
            "-display", "none", "-serial", "stdio", "-monitor", "none", "-no-reboot",
            "-qmp", f"unix:{control},server=on,wait=off"]


def await_socket(path, process, log):
    deadline = time.monotonic() + 30
    while not path.exists():
        if process.poll() is not None or time.monotonic() > deadline:
            raise Failed(f"the machine does not start; see {log}")
        time.sleep(0.1)


def put_first(pid):
    """Its session, too, where the host shares its time among sessions."""
    try:
        Path(f"/proc/{pid}/autogroup").write_text("-20")
    except OSError as problem:
        print(f"the machine takes its turn with all others: {problem}")


@contextmanager
def boot(root, parts, sound, card, more=(), frozen=None, first=False):
    """Starts it, or goes on from where it was frozen. `first`: before all else that the host does, if it may."""
    archive, log, control = (root.with_suffix(end) for end in (".gz", ".log", ".control"))
    if frozen is None:
        write_archive(root, archive)
    else:
        more = [*more, "-incoming", f"exec:cat {frozen}"]
    for path in (control, sound):
        path.unlink(missing_ok=True)
    with open(log, "wb") as out:
        drive = ["-drive", f"file={card},format=raw,if=ide"]
        rank = ["nice", "-n", "-20"] if first else []
        process = subprocess.Popen([*rank, *machine_command(parts, archive, sound, control), *drive, *more],
                                   stdin=subprocess.PIPE, stdout=out, stderr=out, start_new_session=first)
    if first:
        put_first(process.pid)
    try:
        await_socket(control, process, log)
        yield Machine(process, control, log)
    finally:
        process.kill()
        process.wait()
        process.stdin.close()


def recorded(path):
    """Left and right of a recording of 16 bits, which may lack its end."""
    data = Path(path).read_bytes()[44:]
    samples = array.array("h")
    samples.frombytes(data[:len(data) // 4 * 4])
    if sys.byteorder == "big":
        samples.byteswap()
    return samples[0::2], samples[1::2]
