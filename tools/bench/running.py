"""What a running process costs: time of a core, wake-ups, memory. Read from the kernel, so that
nothing slows it down."""

import os
import signal
import subprocess
import tempfile
import time

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
    """{thread: (time on a core in ns, times it went on after it had slept)}."""
    found = {}
    for place in (f"/proc/{pid}/task/{thread}" for pid in pids for thread in threads(pid)):
        core = read(place + "/schedstat").split()
        if core:
            found[place] = (int(core[0]),
                            field(read(place + "/status"), "voluntary_ctxt_switches"))
    return found


def spent(before, after, seconds):
    """{per cent of a core, wake-ups a second} between two looks. What a thread did that has ended
    since is lost; one that began since counts whole."""
    core = sum(now[0] - before.get(thread, (0, 0))[0] for thread, now in after.items())
    wakes = sum(now[1] - before.get(thread, (0, 0))[1] for thread, now in after.items())
    return {"% of a core": core / seconds / 1e7, "wake-ups a second": wakes / seconds}


def window(pids, seconds):
    """{per cent of a core, wake-ups a second} over the next seconds."""
    begin, before = time.monotonic(), usage(pids)
    time.sleep(seconds)
    return spent(before, usage(pids), time.monotonic() - begin)


def quietest(pids, seconds, windows):
    """The least of several windows: others on the machine only add."""
    found = [window(pids, seconds) for _ in range(windows)]
    return {unit: min(each[unit] for each in found) for unit in found[0]}


def calls_between(log, begin, end):
    """System calls that began in a span of time, of the lines that strace wrote."""
    stamps = (float(line.split()[1]) for line in log.splitlines() if " resumed>" not in line)
    return sum(begin <= stamp < end for stamp in stamps)


def calls(pid, seconds, windows):
    """System calls of a process in the quietest of several windows."""
    with tempfile.NamedTemporaryFile(prefix="zerv-calls-") as log:
        tracer = subprocess.Popen(["strace", "-f", "-ttt", "-p", str(pid), "-o", log.name],
                                  stderr=subprocess.DEVNULL)
        begin = time.time() + 1  # to look at a process restarts what it waits in
        time.sleep(1 + seconds * windows)
        tracer.send_signal(signal.SIGINT)
        tracer.wait()
        text = read(log.name)
    return min(calls_between(text, begin + i * seconds, begin + (i + 1) * seconds)
               for i in range(windows))


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
