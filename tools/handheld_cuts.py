"""Takes the power of an emulated handheld while its player saves, updates itself or scans.

The machine is started once, up to where it would look for its card, and frozen; each life goes on
from there, so that a cut costs seconds. A life looks at what the last cut left on the card, does one kind of
work over and over, and loses its power at a random moment of it.
"""
import hashlib
import time
import xml.etree.ElementTree

import handheld_machine
from handheld_machine import PATIENCE_S, Failed, shown

KINDS = ("save", "update", "scan")

# Which work this life does comes over the serial line.
FROZEN = """
echo FROZEN
read work
"""

# Every start adds a file to the playlist, and a step to the volume.
WORK = """
cmp -s zerv-player /new && echo WHOLE NEW
cmp -s zerv-player /old && echo WHOLE OLD
md5sum -c /sums 2>&1 | grep -v ': OK$'
[ ! -e news/read.txt ] || cat news/read.txt
echo KEPT
cat current.m3u 2>/dev/null
echo CONFIG
cat config.txt
echo KEPT END
ZERV_UPDATE_HOST= ZERV_VIRTUAL_SCRIPT=/open.script ./zerv-player.sh
echo STARTED $?
[ ! -e library.db.damaged ] || echo LIBRARY LOST
rm -rf current.m3u news
cp /old zerv-player
sync
echo READY
i=0
save() {
    ZERV_UPDATE_HOST= ZERV_VIRTUAL_SCRIPT=/queue.script ./zerv-player.sh /card/$i.flac >/dev/null 2>&1
    echo SAVED $i
    i=$((i + 1))
}
update() { ZERV_VIRTUAL_SCRIPT=/update.script ./zerv-player.sh; }
scan() { ZERV_UPDATE_HOST= ZERV_VIRTUAL_SCRIPT=/scan.script ./zerv-player.sh; }
save
turn=0
while true; do
    case $work in
    update) rm -rf news; cp /old zerv-player ;;
    scan) [ $((turn % 2)) = 1 ] || rm -f library.db* ;;
    esac
    sync
    echo BEGINS
    case $work in
    save) save ;;
    *) $work >/dev/null 2>&1 || echo FAILED $? ;;
    esac
    echo ENDS
    turn=$((turn + 1))
done
"""


def checksums(folder):
    """Of all that comes with the card folder, but the program and what the player writes."""
    own = {"zerv-player", "config.txt"}
    return "".join(f"{hashlib.md5(path.read_bytes()).hexdigest()}  {path.relative_to(folder)}\n"
                   for path in sorted(folder.rglob("*")) if path.is_file() and str(path.relative_to(folder)) not in own)


def saved_before(log):
    """The number of the last playlist that had been saved when the power went."""
    return sum(line.startswith("SAVED ") for line in shown(log).splitlines()) - 1


def check_settings(text, log):
    try:
        xml.etree.ElementTree.fromstring(text.strip()).find("vol").text.strip()
    except (xml.etree.ElementTree.ParseError, AttributeError) as problem:
        raise Failed(f"the settings are not whole: {problem}; see {log}") from None


def check_kept(log, before):
    """What a life found on its card, after so many playlists had been saved."""
    text = shown(log)
    said = text.split("KEPT\n", 1)[0].splitlines()
    if not {"WHOLE NEW", "WHOLE OLD"} & set(said):
        raise Failed(f"the program is not whole; see {log}")
    broken = [line for line in said if "FAILED" in line or "WARNING" in line]
    if broken:
        raise Failed(f"files are not whole: {broken}; see {log}")
    if "STARTED 0" not in text.splitlines() or "LIBRARY LOST" in text:
        raise Failed(f"it did not start again as it should; see {log}")
    playlist, settings = text.split("KEPT\n", 1)[1].split("KEPT END", 1)[0].split("CONFIG\n", 1)
    kept = [line for line in playlist.split("\n") if line]
    wanted = [f"/card/{i}.flac" for i in range(len(kept))]
    if kept != wanted or len(kept) < before + 1:
        raise Failed(f"{before + 1} entries had been saved, and the playlist holds {kept}; see {log}")
    check_settings(settings, log)


def is_working(machine):
    text = shown(machine.log)
    return text.rfind("BEGINS") > text.rfind("ENDS")


def stop_while_working(machine, part, length):
    """Stops it when that part of a piece of work is done, and a piece is still going on."""
    begun = 1
    while True:
        machine.wait_for("BEGINS", PATIENCE_S, begun)
        time.sleep(part * length)
        machine.command("stop")
        if is_working(machine):
            return
        machine.command("cont")
        begun = shown(machine.log).count("BEGINS") + 1


def length_of_work(machine):
    """Seconds that a first piece takes."""
    machine.wait_for("BEGINS", PATIENCE_S)
    started = time.monotonic()
    machine.wait_for("ENDS", PATIENCE_S)
    if "FAILED" in shown(machine.log).split("READY", 1)[1]:
        raise Failed(f"the work failed; see {machine.log}")
    return time.monotonic() - started


class Cuts:
    """A series of lives on one card."""

    def __init__(self, options, root, card):
        self.options, self.root, self.card = options, root, card
        self.frozen = root.with_suffix(".frozen")
        self.lengths, self.moments = {}, []

    def boot(self, **how):
        return handheld_machine.boot(self.root, self.options.work / "parts", self.root.with_suffix(".wav"), self.card, **how)

    def freeze(self):
        with self.boot() as machine:
            machine.wait_for("FROZEN", PATIENCE_S)
            machine.freeze(self.frozen)

    def live(self, kind, before):
        """One life, whose power goes in the middle of work. Returns how many playlists it saved."""
        with self.boot(frozen=self.frozen) as machine:
            machine.wait_for_thaw(PATIENCE_S)
            machine.say(kind or "save")
            machine.wait_for("READY", PATIENCE_S)
            if before is not None:
                check_kept(machine.log, before)
            if kind is None:
                return None
            if kind not in self.lengths:
                self.lengths[kind] = length_of_work(machine)
            part = self.options.random.random()
            stop_while_working(machine, part, self.lengths[kind])
            self.moments.append((kind, part))
        saved = saved_before(machine.log)
        machine.log.replace(machine.log.with_suffix(f".{len(self.moments)}.log"))
        return saved

    def run(self):
        before = None
        self.freeze()
        for cut in range(self.options.cuts):
            before = self.live(KINDS[cut % len(KINDS)], before)
            print(f"cut {cut + 1}: {self.moments[-1][0]}, {self.moments[-1][1]:.2f} of"
                  f" {self.lengths[self.moments[-1][0]]:.1f} s", flush=True)
        self.live(None, before)

    def told(self):
        counts = {kind: sum(each == kind for each, _ in self.moments) for kind in KINDS}
        return ", ".join(f"{count} while it {kind}s" for kind, count in counts.items())
