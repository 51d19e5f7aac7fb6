"""What a running process costs: time of a core, wake-ups, memory. Read from the kernel, so that
nothing slows it down."""

import collections
import os
import time

Usage = collections.namedtuple("Usage", "seconds core_ns wakes")
"""Since when, time on a core, and how often a thread of the process went on after it had slept."""


def threads(pid):
    try:
        return os.listdir(f"/proc/{pid}/task")
    except OSError:
        return []


def read(path):
    try:
        with open(path, encoding="utf-8") as file:
            return file.read()
    except OSError:
        return ""  # a thread that has ended since it was listed


def field(text, name):
    """The number of a line `name: number`; 0 without one."""
    for line in text.splitlines():
        if line.startswith(name + ":"):
            return int(line.split()[1])
    return 0


def usage(pids):
    """What all threads of the processes used so far."""
    core, wakes = 0, 0
    for place in (f"/proc/{pid}/task/{thread}" for pid in pids for thread in threads(pid)):
        core += int((read(place + "/schedstat").split() or ["0"])[0])
        wakes += field(read(place + "/status"), "voluntary_ctxt_switches")
    return Usage(time.monotonic(), core, wakes)


def window(pids, seconds):
    """{per cent of a core, wake-ups a second} over the next seconds."""
    before = usage(pids)
    time.sleep(seconds)
    after = usage(pids)
    length = after.seconds - before.seconds
    return {"% of a core": (after.core_ns - before.core_ns) / length / 1e7,
            "wake-ups a second": (after.wakes - before.wakes) / length}


def quietest(pids, seconds, windows):
    """The least of several windows: others on the machine only add."""
    found = [window(pids, seconds) for _ in range(windows)]
    return {unit: min(each[unit] for each in found) for unit in found[0]}


def memory(pid):
    """MiB of a process: its share of what it has in memory, and what is its own alone."""
    rollup = read(f"/proc/{pid}/smaps_rollup")
    own = field(rollup, "Private_Clean") + field(rollup, "Private_Dirty")
    return {"MiB proportional": field(rollup, "Pss") / 1024, "MiB own": own / 1024,
            "MiB resident": field(rollup, "Rss") / 1024}


def wait_until(holds, what, seconds=30):
    """Until holds() gives something true, which is returned."""
    deadline = time.monotonic() + seconds
    while True:
        found = holds()
        if found:
            return found
        if time.monotonic() > deadline:
            raise TimeoutError(f"{what}: not within {seconds} s")
        time.sleep(0.01)
