"""The services as a tree of files: what a run writes, and players that are served by nginx."""

import hashlib
import http.client
import os
import shutil
import signal
import socket
import subprocess
import time
import unittest

from make_flac import make_flac
from player import DEADLINE_S, PROGRAM
from services import OnlineTest, run_tool
from test_services import FolderTest

BUILD = "zerv-player-dingoo"
PACKAGE = "packages/" + BUILD
NGINX = shutil.which("nginx", path="/usr/sbin:/usr/bin")


def changed(result):
    return int(result.stdout.split(", ")[-1].split()[0])


class ExportTest(FolderTest):
    def export(self, *words, status=0):
        result = run_tool("zerv-services", "export", self.path("tree"), *words)
        self.assertEqual(result.returncode, status, result.stderr)
        return result

    def export_packages(self, *words):
        return self.export("--packages", self.path("packages"), "--public", "host.example", *words)

    def files(self):
        return sorted(os.path.relpath(os.path.join(place, name), self.path("tree/www"))
                      for place, _, names in os.walk(self.path("tree/www")) for name in names)

    def read(self, name):
        with open(self.path("tree/www/" + name), "rb") as file:
            return file.read()

    def test_lyrics_stand_under_their_keys(self):
        key = hashlib.md5(b"sound").hexdigest()
        self.write("music/a/song.mp3", b"sound")
        self.write("music/a/song.lrc", b"[00:01.00]one\n")
        self.write("music/alone.mp3", b"other")
        other = "0123456789abcdef0123456789abcdef"
        self.write(f"lyrics/{other}.lrc", b"[00:02.00]two\n")
        self.write("lyrics/no key.lrc", b"three")
        sources = ("--music", self.path("music"), "--lyrics", self.path("lyrics"))
        self.assertIn("2 tracks with lyrics, 0 packages", self.export(*sources).stdout)
        fetch = "live-lyrics/fetch/"
        self.assertEqual(self.files(), sorted([fetch + key, fetch + other, "none"]))
        self.assertEqual(self.read(fetch + key), b"[00:01.00]one\n")
        os.unlink(self.path(f"lyrics/{other}.lrc"))
        self.export(*sources)
        self.assertEqual(self.files(), [fetch + key, "none"])

    def test_every_older_version_is_told_of_the_newest(self):
        for version in ("0.5", "0.9", "0.10"):
            self.write(f"{PACKAGE}-{version}.zip", version.encode())
        self.write("packages/other-1.zip", b"other")
        self.write("packages/no version.zip", b"")
        self.export_packages("--version", "0.4", "--version", "0.11")
        told = f"http://host.example/packages/{BUILD}-0.10.zip\n".encode()
        update = f"zerv-player/update/{BUILD}/"
        wanted = [update + version for version in ("0.4", "0.5", "0.9")]
        wanted += ["zerv-player/update/other/" + version for version in ("0.4", "0.11")]
        wanted += [f"{PACKAGE}-0.10.zip", "packages/other-1.zip", "none"]
        self.assertEqual(self.files(), sorted(wanted))
        for version in ("0.4", "0.5", "0.9"):
            self.assertEqual(self.read(update + version), told)
        self.assertEqual(self.read(f"{PACKAGE}-0.10.zip"), b"0.10")

    def test_a_run_again_changes_only_what_changed(self):
        self.write(f"{PACKAGE}-0.5.zip", b"five")
        self.write("music/song.mp3", b"sound")
        self.write("music/song.lrc", b"[00:01.00]one\n")
        sources = ("--music", self.path("music"), "--version", "0.4")
        self.assertEqual(changed(self.export_packages(*sources)), 6)
        self.assertEqual(changed(self.export_packages(*sources)), 0)
        self.write("music/song.lrc", b"[00:01.00]two\n")
        self.assertEqual(changed(self.export_packages(*sources)), 1)

    def test_a_package_outlives_its_last_answer_by_one_run(self):
        self.write(f"{PACKAGE}-0.5.zip", b"five")
        self.export_packages("--version", "0.4")
        self.write(f"{PACKAGE}-0.6.zip", b"six")
        os.unlink(self.path(f"{PACKAGE}-0.5.zip"))
        self.export_packages("--version", "0.4")
        self.assertIn(f"{PACKAGE}-0.5.zip", self.files())
        self.export_packages("--version", "0.4")
        self.assertNotIn(f"{PACKAGE}-0.5.zip", self.files())

    def test_an_end_in_the_middle_leaves_answers_whole(self):
        """Ended at its writes, one after the other, every answer names a package that is there, whole."""
        self.write(f"{PACKAGE}-0.5.zip", b"5" * 1000)
        self.export_packages("--version", "0.4")
        self.write(f"{PACKAGE}-0.6.zip", b"6" * 1000)
        shutil.copytree(self.path("tree"), self.path("before"))
        for step in range(1, 20):
            shutil.rmtree(self.path("tree"))
            shutil.copytree(self.path("before"), self.path("tree"))
            ended = self.export_until(step)
            answer = self.read(f"zerv-player/update/{BUILD}/0.4").decode()
            number = answer.strip()[-5]
            self.assertIn(number, "56")
            self.assertEqual(self.read(f"{PACKAGE}-0.{number}.zip"), number.encode() * 1000)
            if not ended:
                return
        self.fail("it never came to its end")

    def export_until(self, step):
        """Runs it with a system that refuses the step-th rename and all that follows; whether it came there."""
        code = ("import os, sys; left = [%d]; real = os.replace\n"
                "def refuse(*words):\n"
                "    left[0] -= 1\n"
                "    if left[0] < 0: os._exit(7)\n"
                "    real(*words)\n"
                "os.replace = refuse\n"
                "import runpy; sys.argv = sys.argv[1:]; runpy.run_path(sys.argv[0], run_name='__main__')")
        tool = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../tools/zerv-services")
        done = subprocess.run(["python3", "-c", code % (step - 1), tool, "export", self.path("tree"), "--packages",
                               self.path("packages"), "--public", "host.example", "--version", "0.4"],
                              env={**os.environ, "PYTHONPATH": os.path.dirname(tool)}, capture_output=True)
        return done.returncode == 7

    def test_what_cannot_be_is_said(self):
        self.write(f"{PACKAGE}-0.5.zip", b"five")
        result = self.export("--packages", self.path("packages"), status=1)
        self.assertIn("--public", result.stderr)
        self.assertEqual(run_tool("zerv-services", "export", self.path("tree")).returncode, 2)
        os.makedirs(self.path("tree"), exist_ok=True)
        self.write("tree/www", b"in the way")
        self.export("--lyrics", self.path("packages"), status=1)


@unittest.skipIf(NGINX is None, "nginx is not installed")
class NginxTest(OnlineTest):
    """The real player, and the tree behind Debian's web server."""

    def serve(self, *words):
        """Exports and starts the server; players are told the result."""
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            port = probe.getsockname()[1]
        result = run_tool("zerv-services", "export", self.path("tree"), "--port", str(port), "--public",
                          f"127.0.0.1:{port}", *words)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.write("nginx.conf", f"""daemon off; pid {self.path('nginx.pid')}; error_log stderr;
events {{}}
http {{
    access_log {self.path('access.log')};
    include {self.path('tree/nginx.conf')};
}}
""".encode())
        os.chmod(self.folder, 0o755)  # the server's workers are somebody else
        server = subprocess.Popen([NGINX, "-p", self.folder, "-c", self.path("nginx.conf")],
                                  stderr=subprocess.PIPE)
        self.addCleanup(self.stop, server)
        self.wait_for(port, server)
        return f"127.0.0.1:{port}"

    def wait_for(self, port, server):
        end = time.monotonic() + DEADLINE_S
        while time.monotonic() < end:
            self.assertIsNone(server.poll(), "the server has ended")
            with socket.socket() as probe:
                if probe.connect_ex(("127.0.0.1", port)) == 0:
                    return
            time.sleep(0.01)
        self.fail("nobody listens")

    def stop(self, server):
        server.send_signal(signal.SIGTERM)
        server.communicate(timeout=DEADLINE_S)

    def asked(self):
        with open(self.path("access.log"), encoding="utf-8") as log:
            return [line.split('"')[1].split()[1] for line in log]

    def test_a_player_fetches_lyrics(self):
        self.write_config()
        sound = make_flac(3)
        self.write("song.flac", sound)
        os.mkdir(self.path("library"))
        self.write("library/a.flac", sound)
        self.write("library/a.lrc", b"[00:00.10]from a file\n")
        host = self.serve("--music", self.path("library"))
        run = self.run_script("advance 300\nsettle\nadvance 500\nwait from a file\nquit\n", "song.flac",
                              ZERV_LYRICS_HOST=host)
        self.assertEqual(run.status, 0, run.err)
        self.assertIn("found", run.out)
        self.assertEqual(self.read("song.lrc"), b"[00:00.10]from a file\n")

    def test_a_player_updates_itself(self):
        self.write_config()
        new = self.path("new")
        os.mkdir(new)
        with open(PROGRAM, "rb") as file:
            program = file.read().replace(b"\x000.4\x00", b"\x000.5\x00")
        self.write("new/zerv-player", program)
        os.chmod(self.path("new/zerv-player"), 0o755)
        os.mkdir(self.path("packages"))
        result = run_tool("zerv-package", "build", new, "-o", self.path(f"{PACKAGE}-0.5.zip"), "--partial")
        self.assertEqual(result.returncode, 0, result.stderr)
        host = self.serve("--packages", self.path("packages"), "--version", "0.4")
        self.write("script", b"settle\nadvance 300\nstate\n")  # once for each life
        run = self.run_script("", ZERV_VIRTUAL_SCRIPT="script", ZERV_UPDATE_HOST=host)
        self.assertEqual(run.status, 0, run.err)
        self.assertIn(f"installed http://{host}/{PACKAGE}-0.5.zip", run.err)
        self.assertEqual(self.read("zerv-player"), program)
        check = f"/zerv-player/update/{BUILD}/"
        self.assertEqual(self.asked(), [check + "0.4", f"/{PACKAGE}-0.5.zip", check + "0.5"])

    def test_what_is_not_there_is_not_served(self):
        os.mkdir(self.path("packages"))
        self.write(f"{PACKAGE}-0.5.zip", b"five")
        host = self.serve("--packages", self.path("packages"), "--version", "0.4")
        for path, status, body in (
                (f"/zerv-player/update/{BUILD}/0.5", 200, b"none\n"),
                (f"/zerv-player/update/{BUILD}/9", 200, b"none\n"),
                ("/live-lyrics/fetch/" + "0" * 32, 404, None),
                ("/packages/", 403, None), ("/", 404, None), ("/none", 404, None),
                ("/../state.json", 400, None), ("/state.json", 404, None)):
            connection = http.client.HTTPConnection(host, timeout=DEADLINE_S)
            connection.request("GET", path)
            answer = connection.getresponse()
            self.assertEqual(answer.status, status, path)
            content = answer.read()
            if body is not None:
                self.assertEqual(content, body, path)
            connection.close()


if __name__ == "__main__":
    unittest.main()
