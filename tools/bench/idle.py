"""What the player does while nothing happens, on devices that run in real time."""

import time
from concurrent.futures import ThreadPoolExecutor

import peers
import running

SETTLE_S = 7
"""After it an idle card is closed."""
WINDOW_S, WINDOWS = 5, 2


def watch(player):
    """{"wakes", "calls"} of the quietest window of a player that just started, which ends here."""
    try:
        time.sleep(SETTLE_S)
        wakes = running.quietest([player.pid], WINDOW_S, WINDOWS)["wake-ups a second"] * WINDOW_S
        return {"wakes": round(wakes), "calls": running.calls(player.pid, WINDOW_S, WINDOWS)}
    finally:
        peers.end(player)


def measure_all(bench):
    """{name: {unit: figure}}, of both devices at a time."""
    players = {"five idle seconds in a window": bench.open_window(),
               "five idle seconds on bare Linux": bench.open_board()}
    with ThreadPoolExecutor() as threads:
        return dict(zip(players, threads.map(watch, players.values())))
