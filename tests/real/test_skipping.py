"""A user skips through two hundred tracks while the lyrics service is slow."""

import http.server
import os
import threading
import unittest

from make_flac import make_flac
from player import DEADLINE_S
from services import OnlineTest, is_sanitized

TRACKS = 200
SLOW_WORDS = b"[00:00.01]slow words\n"


class SlowService(http.server.ThreadingHTTPServer):
    """Sends a byte now and then, until it is told to hurry."""

    daemon_threads = True

    def __init__(self):
        super().__init__(("127.0.0.1", 0), SlowHandler)
        self.hurry = threading.Event()
        self.pause_s = 0.3
        self.lock = threading.Lock()
        self.asked = 0

    def count(self):
        with self.lock:
            self.asked += 1

    def handle_error(self, *_):
        pass  # a player that gave up


class SlowHandler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        self.server.count()
        self.send_response(200)
        self.send_header("Content-Length", str(len(SLOW_WORDS)))
        self.end_headers()
        for byte in SLOW_WORDS:
            self.wfile.write(bytes([byte]))
            self.server.hurry.wait(self.server.pause_s)

    def log_message(self, *_):
        pass


class SkippingTest(OnlineTest):
    def setUp(self):
        super().setUp()
        self.write_config(playback_order="normal")
        sound = make_flac(1)
        self.names = [f"t{i:03}.flac" for i in range(TRACKS)]
        for i, name in enumerate(self.names):
            self.write(name, sound[:42] + i.to_bytes(4, "big") + sound[46:])
        self.service = SlowService()
        threading.Thread(target=self.service.serve_forever, daemon=True).start()
        self.addCleanup(self.service.server_close)
        self.addCleanup(self.service.shutdown)
        self.host = f"127.0.0.1:{self.service.server_port}"

    def memory_kib(self, process):
        with open(f"/proc/{process.pid}/status", encoding="ascii") as lines:
            return next(int(line.split()[1]) for line in lines if line.startswith("VmRSS"))

    def skip(self, process, count):
        """The most threads seen meanwhile."""
        most = 0
        for i in range(count):
            self.say(process, "key page_down", "advance 3", f"echo {i}")
            self.listen_for(process, str(i))
            most = max(most, len(os.listdir(f"/proc/{process.pid}/task")))
        return most

    def begin(self):
        process = self.start(*self.names, ZERV_LYRICS_HOST=self.host)
        self.say(process, "advance 500", "echo ready")
        self.listen_for(process, "ready")
        return process

    def test_skipping_keeps_threads_and_memory_few(self):
        process = self.begin()
        self.skip(process, TRACKS // 4)
        before = self.memory_kib(process)
        most = self.skip(process, TRACKS)
        self.assertLess(most, 15, "threads")
        if not is_sanitized():
            self.assertLess(self.memory_kib(process) - before, 8192)
        self.service.hurry.set()
        self.say(process, "settle 30000", "advance 500", "echo settled", "quit")
        self.listen_for(process, "settled")
        process.communicate(timeout=DEADLINE_S)
        self.assertEqual(process.returncode, 0)
        self.assertGreater(self.service.asked, 0)

    def test_files_of_lyrics_are_whole_or_missing(self):
        process = self.begin()
        self.skip(process, 20)
        self.say(process, "quit")
        process.communicate(timeout=DEADLINE_S)
        found = [name for name in os.listdir(self.folder) if name.endswith(".lrc")]
        for name in found:
            self.assertEqual(self.read(name), SLOW_WORDS, name)

    def test_quitting_waits_for_no_answer(self):
        self.service.pause_s = 9  # no pause is long enough to give up; all of them last 3 minutes
        self.addCleanup(self.service.hurry.set)
        for skipped in (0, 1, 3, 10):
            process = self.begin()
            self.skip(process, skipped)
            self.say(process, "quit")
            process.communicate(timeout=DEADLINE_S)  # shorter than one answer
            self.assertEqual(process.returncode, 0)


if __name__ == "__main__":
    unittest.main()
