"""A whole update, with real programs: version A finds version B, unpacks it over itself, becomes it.

Version B is version A with its number changed inside, so that it does all that a program does."""

import http.server
import io
import os
import shutil
import signal
import subprocess
import tempfile
import threading
import time
import unittest
import zipfile

from make_flac import make_flac
from player import DEADLINE_S, PROGRAM
from services import OnlineTest, Services, run_tool

CHECK_A = "/zerv-player/update/zerv-player-dingoo/0.4"
CHECK_B = "/zerv-player/update/zerv-player-dingoo/0.5"
NOBODY = 65534


def program_b():
    with open(PROGRAM, "rb") as file:
        content = file.read()
    changed = content.replace(b"\x000.4\x00", b"\x000.5\x00")
    assert changed != content, "the version stands nowhere in the program"
    return changed


def pack(*entries):
    """A package of (name, content) or (record, content), in this order."""
    package = io.BytesIO()
    with zipfile.ZipFile(package, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, content in entries:
            archive.writestr(name, content)
    return package.getvalue()


class Liar(http.server.ThreadingHTTPServer):
    """Answers each path with what `answers` holds: bytes, or a function of the handler."""

    daemon_threads = True

    def __init__(self, test):
        super().__init__(("127.0.0.1", 0), LiarHandler)
        self.answers = {}
        self.asked = []
        self.host = f"127.0.0.1:{self.server_port}"
        threading.Thread(target=self.serve_forever, daemon=True).start()
        test.addCleanup(self.server_close)
        test.addCleanup(self.shutdown)

    def handle_error(self, *_):
        pass  # a player that went away


class LiarHandler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        self.server.asked.append(self.path)
        answer = self.server.answers.get(self.path)
        if answer is None:
            self.send_error(404)
        elif callable(answer):
            answer(self)
        else:
            self.send(answer)

    def send(self, body, announced=None):
        self.send_response(200)
        self.send_header("Content-Length", str(len(body) if announced is None else announced))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *_):
        pass


class UpdateTest(OnlineTest):
    def setUp(self):
        super().setUp()
        # Copies: an update writes through links, which lead into the build here.
        for name in os.listdir(self.folder):
            path = self.path(name)
            if os.path.islink(path):
                target = os.readlink(path)
                os.remove(path)
                (shutil.copytree if os.path.isdir(target) else shutil.copy)(target, path)
        if os.stat(self.program).st_nlink > 1:
            os.remove(self.program)
            shutil.copy(PROGRAM, self.program)
        self.write_config()
        self.write("song.flac", make_flac(1))
        self.write("script", b"settle\nadvance 300\nstate\n")
        with open(PROGRAM, "rb") as file:
            self.a = file.read()
        self.b = program_b()

    def update(self, host, *arguments, **environment):
        """Runs the script in as many lives as there are."""
        return self.run_script("", *arguments, ZERV_VIRTUAL_SCRIPT="script", ZERV_UPDATE_HOST=host,
                               **environment)

    def assert_alive_as_a(self, run):
        self.assertEqual(run.status, 0, run.err)
        self.assertEqual(run.out.count("state "), 1)
        self.assertEqual(self.read("zerv-player"), self.a)
        self.assertNotIn("installed", run.err)


class RehearsalTest(UpdateTest):
    def publish(self):
        """Makes version B with our tools and serves it."""
        folder = self.path("b")
        os.makedirs(os.path.join(folder, "skins"))
        os.makedirs(os.path.join(folder, "news", "deep"))
        for name, content, mode in (("zerv-player", self.b, 0o755),
                                    ("skins/New.zip", pack(("x", b"x")), 0o644),
                                    ("news/deep/read.txt", b"new", 0o644),
                                    ("helper.sh", b"#!/bin/sh\n", 0o755)):
            with open(os.path.join(folder, name), "wb") as file:
                file.write(content)
            os.chmod(os.path.join(folder, name), mode)
        os.mkdir(self.path("packages"))
        package = self.path("packages/zerv-player-dingoo-0.5.zip")
        result = run_tool("zerv-package", "build", folder, "-o", package)
        self.assertEqual(result.returncode, 0, result.stderr)
        result = run_tool("zerv-package", "check", package, "--folder", self.folder)
        self.assertEqual(result.returncode, 0, result.stderr)
        return Services(self, "--packages", self.path("packages"))

    def test_version_a_becomes_version_b(self):
        services = self.publish()
        os.makedirs(self.path("news"))
        before = os.stat(self.program).st_ino
        run = self.update(services.host, "song.flac")
        self.assertEqual(run.status, 0, run.err)
        self.assertEqual(run.out.count("state "), 1, "the first life ends while it settles")
        self.assertEqual(run.state()["playing"], "song.flac")
        self.assertIn(f"installed http://{services.host}/packages/zerv-player-dingoo-0.5.zip",
                      run.err)
        self.assertEqual(self.read("zerv-player"), self.b)
        self.assertNotEqual(os.stat(self.program).st_ino, before)
        self.assertTrue(os.access(self.program, os.X_OK))
        self.assertTrue(os.access(self.path("helper.sh"), os.X_OK))
        self.assertFalse(os.access(self.path("news/deep/read.txt"), os.X_OK))
        self.assertEqual(self.read("news/deep/read.txt"), b"new")
        self.assertTrue(self.exists("skins/New.zip"))
        self.assertTrue(self.exists("skins/Aqua_Ver0.4.zip"), "what is in no package stays")
        self.assertFalse(self.exists("_tmp"), "version B cleans up")
        self.assertEqual(services.stop(), [CHECK_A, "/packages/zerv-player-dingoo-0.5.zip",
                                           CHECK_B])

    def test_the_old_program_is_parked_until_the_next_check(self):
        services = self.publish()
        self.write("script", b"settle\nquit\n")
        process = self.start(ZERV_VIRTUAL_SCRIPT="script", ZERV_UPDATE_HOST=services.host)
        parked = False
        while process.poll() is None and not parked:
            try:
                parked = any(name.startswith("zerv-player.") for name in
                             os.listdir(self.path("_tmp")))
            except FileNotFoundError:
                pass  # not yet, or no longer
        process.communicate(timeout=DEADLINE_S)
        self.assertTrue(parked)
        self.assertEqual(process.returncode, 0)
        self.assertFalse(self.exists("_tmp"))

    def hold_in_the_middle(self):
        """A player whose update waits, half done, until `release()`."""
        liar = Liar(self)
        self.files = [(f"data{i:02}", os.urandom(3000)) for i in range(30)]
        files = [*self.files[:15], ("hold", b"x"), *self.files[15:], ("zerv-player", self.b)]
        liar.answers = {CHECK_A: f"http://{liar.host}/p.zip".encode(), CHECK_B: b"none",
                        "/p.zip": pack(*files)}
        os.mkfifo(self.path("pipe"))
        os.symlink("pipe", self.path("hold"))  # what is written through it waits for a reader
        process = self.start("song.flac", ZERV_UPDATE_HOST=liar.host)
        self.say(process, "key vol_up", "advance 5", "echo ready")
        self.listen_for(process, "ready")
        while not self.exists("data14"):
            self.assertIsNone(process.poll())
        self.liar = liar
        return process

    def wait_for_saved_settings(self, process):
        """Until the program has understood that it is to end."""
        while b"<vol>35</vol>" not in self.read("config.txt"):
            self.assertIsNone(process.poll(), "it does not wait for its files")

    def release(self, process):
        with open(self.path("pipe"), "rb"):
            process.stdin.close()
            self.assertEqual(process.wait(timeout=DEADLINE_S), 0)
        for name, content in self.files:
            self.assertEqual(self.read(name), content, name)
        self.assertEqual(self.read("zerv-player"), self.b)
        self.assertEqual(self.liar.asked, [CHECK_A, "/p.zip"], "there is no second life")
        self.assertNotIn(b"starting again", process.stderr.read())
        self.assertIn(b"<vol>35</vol>", self.read("config.txt"))

    def test_a_signal_while_files_are_replaced_ends_the_program_after_the_last_one(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with self.subTest(signal=number):
                self.setUp()
                process = self.hold_in_the_middle()
                process.send_signal(number)
                self.wait_for_saved_settings(process)
                self.release(process)

    def test_the_quit_key_while_files_are_replaced_ends_the_program_after_the_last_one(self):
        process = self.hold_in_the_middle()
        self.say(process, "key quit", "advance 5")
        self.wait_for_saved_settings(process)
        self.release(process)

class SignedTest(UpdateTest):
    """Players with a key, packages signed by our tool, and servers that play tricks."""

    def setUp(self):
        super().setUp()
        self.keys = tempfile.mkdtemp(prefix="zerv-keys-")
        self.addCleanup(shutil.rmtree, self.keys)
        for name in ("update", "other"):
            self.tool("keygen", os.path.join(self.keys, name))
        shutil.copy(os.path.join(self.keys, "update.key"), self.path("update.key"))
        self.liar = Liar(self)
        self.liar.answers = {CHECK_A: f"http://{self.liar.host}/p.zip".encode(), CHECK_B: b"none"}

    def tool(self, *arguments):
        result = run_tool("zerv-package", *arguments)
        self.assertEqual(result.returncode, 0, result.stderr)

    def signed(self, package, version="0.5", key="update"):
        path = os.path.join(self.keys, f"zerv-player-dingoo-{version}.zip")
        with open(path, "wb") as file:
            file.write(package)
        self.tool("sign", path, "--secret", os.path.join(self.keys, key + ".secret"))
        with open(path, "rb") as file:
            return file.read()

    def assert_refused(self, package, why):
        self.liar.answers["/p.zip"] = package
        before = sorted(os.listdir(self.folder))
        run = self.update(self.liar.host, "song.flac")
        with self.subTest(why):
            self.assert_alive_as_a(run)
            self.assertIn("is not signed with our key as a version above 0.4", run.err)
            after = sorted(os.listdir(self.folder))
            for own in ("current.m3u", "library.db", "suppressions"):  # what every start makes
                after = [name for name in after if name != own or own in before]
            self.assertEqual(after, before, "something is left behind")

    def test_a_package_of_the_owner_is_installed(self):
        self.liar.answers["/p.zip"] = self.signed(pack(("zerv-player", self.b)))
        run = self.update(self.liar.host, "song.flac")
        self.assertIn("installed", run.err)
        self.assertEqual(self.read("zerv-player"), self.b)
        self.assertEqual(self.liar.asked, [CHECK_A, "/p.zip", CHECK_B])

    def test_every_other_package_is_refused(self):
        plain = pack(("zerv-player", self.b), ("news.txt", b"good"))
        good = self.signed(plain)
        middle = len(good) // 2
        other = self.signed(pack(("zerv-player", self.b), ("news.txt", b"evil")))
        name = good.rindex(b"news.txt")
        for why, package in (
                ("not signed", plain),
                ("changed content", good[:middle] + bytes([good[middle] ^ 1]) + good[middle + 1:]),
                ("content in front", b"x" + good), ("content behind", good + b"x"),
                ("changed name", good[:name] + b"nows.txt" + good[name + 8:]),
                ("swapped signature", other[:-129] + good[-129:]),
                ("the running version again", self.signed(plain, "0.4")),
                ("an old version", self.signed(plain, "0.3.9")),
                ("another key", self.signed(plain, key="other")), ("nothing", b"")):
            self.assert_refused(package, why)

    def test_a_key_that_is_none_takes_no_package(self):
        self.liar.answers["/p.zip"] = self.signed(pack(("zerv-player", self.b)))
        for key in (b"", b"no key", b"0" * 63, b"0" * 65):
            self.write("update.key", key)
            run = self.update(self.liar.host, "song.flac")
            self.assert_alive_as_a(run)
            self.assertIn("update.key holds no key", run.err)

    def test_without_a_key_any_package_is_installed(self):
        os.remove(self.path("update.key"))
        self.liar.answers["/p.zip"] = self.signed(pack(("zerv-player", self.b)), "0.1", "other")
        run = self.update(self.liar.host, "song.flac")
        self.assertIn("installed", run.err)

    def test_a_package_may_bring_the_key_of_the_next(self):
        with open(os.path.join(self.keys, "other.key"), "rb") as file:
            key = file.read()
        self.liar.answers["/p.zip"] = self.signed(pack(("zerv-player", self.b), ("update.key", key)))
        self.liar.answers["/q.zip"] = self.signed(pack(("news.txt", b"new")), "0.6", "other")
        self.liar.answers[CHECK_B] = f"http://{self.liar.host}/q.zip".encode()
        run = self.update(self.liar.host, "song.flac")
        self.assertEqual(run.err.count("installed"), 2)
        self.assertEqual(self.read("news.txt"), b"new")


class InterruptedTest(UpdateTest):
    def setUp(self):
        super().setUp()
        self.old = {f"data{i}": b"old" + os.urandom(150000) for i in range(7)}
        self.new = {name: b"new" + os.urandom(200000) for name in self.old}
        self.new["zerv-player"] = self.b
        self.liar = Liar(self)
        self.liar.answers = {CHECK_A: f"http://{self.liar.host}/p.zip".encode(), CHECK_B: b"none",
                             "/p.zip": pack(*self.new.items())}

    def begin_again(self):
        os.remove(self.program)
        shutil.copy(PROGRAM, self.program)
        for name, content in self.old.items():
            self.write(name, content)

    def kill_after(self, name):
        """Kills the program when that file is new. False when it was quicker."""
        process = self.start("song.flac", ZERV_VIRTUAL_SCRIPT="script",
                             ZERV_UPDATE_HOST=self.liar.host)
        size = len(self.new[name])
        old = os.stat(self.path(name))
        while process.poll() is None:
            state = os.stat(self.path(name))
            if state.st_size == size and state.st_ino != old.st_ino:
                process.kill()
                process.wait()
                return True
        return False

    def test_a_kill_at_every_entry_leaves_whole_files_and_a_program_that_starts(self):
        killed = 0
        for name in self.new:
            self.begin_again()
            killed += self.kill_after(name)
            for each, content in self.new.items():
                old = self.a if each == "zerv-player" else self.old[each]
                self.assertIn(self.read(each), (old, content), f"{each} after {name}")
            run = self.update(self.liar.host, "song.flac")
            self.assertEqual(run.status, 0, run.err)
            self.assertEqual(run.out.count("state "), 1)
            for each, content in self.new.items():
                self.assertEqual(self.read(each), content, f"{each} after {name}")
        self.assertGreater(killed, 0)


class UnwritableTest(UpdateTest):
    """The program runs as somebody who may not write each file in turn."""

    def setUp(self):
        super().setUp()
        os.mkdir(self.path("inner"))
        self.names = ["first", "inner/second", "zerv-player", "last"]
        self.liar = Liar(self)
        self.liar.answers = {
            CHECK_A: f"http://{self.liar.host}/p.zip".encode(), CHECK_B: b"none",
            "/p.zip": pack(*((name, self.b if name == "zerv-player" else b"new")
                             for name in self.names))}
        self.restore()

    def restore(self):
        os.chmod(self.path("inner"), 0o755)
        for name in self.names:
            if self.exists(name):
                os.remove(self.path(name))
            self.write(name, self.a if name == "zerv-player" else b"old")
            os.chmod(self.path(name), 0o755 if name == "zerv-player" else 0o644)
        shutil.rmtree(self.path("_tmp"), ignore_errors=True)
        if os.getuid() == 0:
            for folder, _, names in os.walk(self.folder):
                for path in (folder, *(os.path.join(folder, name) for name in names)):
                    os.chown(path, NOBODY, NOBODY)

    def run_as_nobody(self):
        who = {"user": NOBODY, "group": NOBODY} if os.getuid() == 0 else {}
        environment = self.environment(ZERV_VIRTUAL_SCRIPT="script",
                                       ZERV_UPDATE_HOST=self.liar.host)
        return subprocess.run(["./zerv-player", "song.flac"], cwd=self.folder, env=environment,
                              capture_output=True, timeout=DEADLINE_S, check=False, **who)

    def test_files_that_cannot_be_opened_are_moved_out_of_the_way(self):
        for name in self.names:
            self.restore()
            os.chmod(self.path(name), 0o555 if name == "zerv-player" else 0o444)
            run = self.run_as_nobody()
            self.assertEqual(run.returncode, 0, run.stderr)
            self.assertIn(b"installed", run.stderr, name)
            self.assertEqual(run.stdout.count(b"state "), 1)
            for each in self.names:
                new = self.b if each == "zerv-player" else b"new"
                self.assertEqual(self.read(each), new, f"{each} with {name} closed")

    def test_a_file_that_cannot_be_moved_either_ends_the_update(self):
        os.chmod(self.path("inner/second"), 0o444)
        os.chmod(self.path("inner"), 0o555)
        run = self.run_as_nobody()
        os.chmod(self.path("inner"), 0o755)
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertNotIn(b"installed", run.stderr)
        self.assertEqual(run.stdout.count(b"state "), 1, "the old program plays on")
        self.assertEqual(self.read("first"), b"new", "what was replaced stays")
        self.assertEqual(self.read("inner/second"), b"old")
        self.assertEqual(self.read("zerv-player"), self.a)
        self.assertEqual(self.read("last"), b"old")


class LyingServerTest(UpdateTest):
    def setUp(self):
        super().setUp()
        self.liar = Liar(self)
        self.good = pack(("zerv-player", self.b))
        self.offer()

    def offer(self, answer=None):
        self.liar.asked.clear()
        if answer is None:
            answer = f"http://{self.liar.host}/p.zip".encode()
        self.liar.answers = {CHECK_A: answer}

    def assert_refused(self, package, why):
        self.offer()
        self.liar.answers["/p.zip"] = package
        run = self.update(self.liar.host, "song.flac")
        with self.subTest(why):
            self.assert_alive_as_a(run)
            self.assertEqual(self.liar.asked, [CHECK_A, "/p.zip"])

    def test_answers_that_are_no_address(self):
        for answer in (b"", b"none", b"HTTP://127.0.0.1/p.zip", b"https://127.0.0.1/p.zip",
                       b"file:///etc/passwd", b"<html>http://x/</html>", b"\0http://x/"):
            self.offer(answer)
            run = self.update(self.liar.host, "song.flac")
            self.assert_alive_as_a(run)
            self.assertEqual(self.liar.asked, [CHECK_A], answer)

    def test_addresses_that_lead_nowhere(self):
        for address in ("/gone.zip", "/p.zip HTTP/1.1\r\nX: y", "/p .zip"):
            self.offer(f"http://{self.liar.host}{address}".encode())
            run = self.update(self.liar.host, "song.flac")
            self.assert_alive_as_a(run)
        self.offer(b"http://127.0.0.1:1/p.zip")
        self.assert_alive_as_a(self.update(self.liar.host, "song.flac"))

    def test_a_service_that_is_not_there(self):
        self.assert_alive_as_a(self.update("127.0.0.1:1", "song.flac"))

    def test_packages_that_are_none(self):
        for package in (b"", b"<html>404</html>", bytes(50000), self.good[:-30],
                        self.good[:len(self.good) // 2], self.good[5000:]):
            self.assert_refused(package, len(package))

    def test_packages_that_are_cut_on_the_way(self):
        self.assert_refused(lambda handler: handler.send(self.good[:-1000], len(self.good)), "cut")
        self.assert_refused(lambda handler: handler.send(self.good, len(self.good) + 1), "short")

    def test_packages_with_damage(self):
        for at in (len(self.good) // 3, len(self.good) // 2):
            damaged = bytearray(self.good)
            damaged[at] ^= 0x55
            self.assert_refused(bytes(damaged), at)

    def test_packages_that_leave_the_folder(self):
        link = zipfile.ZipInfo("song.flac")
        link.create_system = 3
        link.external_attr = 0o120777 << 16
        for entry in (("../outside", b"x"), ("/tmp/zerv-outside", b"x"), ("a/../../x", b"x"),
                      ("_tmp/update.zip", b"x"), (link, b"/etc/passwd"), ("no/folder", b"x")):
            self.assert_refused(pack(("zerv-player", self.b), entry), entry[0])
        self.assertFalse(os.path.exists(os.path.join(self.folder, "..", "outside")))
        self.assertFalse(os.path.exists("/tmp/zerv-outside"))

    def test_packages_with_what_belongs_to_the_user(self):
        config = self.read("config.txt")
        os.mkdir(self.path("music"))
        self.write("music/song.flac", b"dear")
        for name in ("config.txt", "/config.txt", "CONFIG.TXT", "current.m3u", "library.db",
                     "library.db-journal", "library.db-wal", "music"):
            self.assert_refused(pack(("zerv-player", self.b), (name, b"x")), name)
        self.assertEqual(self.read("config.txt"), config)
        self.assertEqual(self.read("music/song.flac"), b"dear")

    def test_names_of_other_systems_are_names_below_the_folder(self):
        self.liar.answers[CHECK_B] = b"none"
        self.liar.answers["/p.zip"] = pack(("zerv-player", self.b), ("/abs", b"1"), ("a\\b", b"2"),
                                           ("c:d", b"3"), ("./", b""))
        run = self.update(self.liar.host, "song.flac")
        self.assertIn("installed", run.err)
        self.assertEqual([self.read(name) for name in ("abs", "a\\b", "c:d")], [b"1", b"2", b"3"])

    def test_an_endless_package_does_not_keep_the_program(self):
        def endless(handler):
            handler.send_response(200)
            handler.end_headers()
            while True:
                handler.wfile.write(bytes(1000))
                time.sleep(0.02)

        self.liar.answers["/p.zip"] = endless
        self.write("script", b"settle 700\nstate\nquit\n")
        run = self.update(self.liar.host, "song.flac")  # which gives up long before the package ends
        self.assert_alive_as_a(run)
        self.assertIn("busy", run.out)

    def test_a_slow_or_silent_service_does_not_keep_the_program(self):
        release = threading.Event()
        self.addCleanup(release.set)

        def drip(handler):  # so that no pause is long enough to give up
            handler.send_response(200)
            handler.end_headers()
            while not release.wait(5):
                handler.wfile.write(b" ")

        for answer in (drip, lambda handler: release.wait()):
            self.liar.answers[CHECK_A] = answer
            process = self.start("song.flac", ZERV_UPDATE_HOST=self.liar.host)
            self.say(process, "advance 10", "echo ready")
            self.listen_for(process, "ready")
            self.say(process, "quit")
            process.communicate(timeout=DEADLINE_S)
            self.assertEqual(process.returncode, 0)

    def test_the_same_package_over_and_over_is_installed_once(self):
        self.liar.answers["/p.zip"] = pack(("zerv-player", self.a))
        run = self.update(self.liar.host, "song.flac")
        self.assertEqual(run.status, 0, run.err)
        self.assertEqual(run.out.count("state "), 1)
        self.assertEqual(run.err.count("installed"), 1)
        self.assertEqual(self.liar.asked, [CHECK_A, "/p.zip", CHECK_A])

    def test_two_packages_by_turns_are_installed_once_each(self):
        self.liar.answers["/p.zip"] = self.liar.answers["/q.zip"] = pack(("zerv-player", self.a))

        def offer_by_turns(handler):
            name = "pq"[len(self.liar.asked) // 2 % 2]
            handler.send(f"http://{self.liar.host}/{name}.zip".encode())

        self.liar.answers[CHECK_A] = offer_by_turns
        run = self.update(self.liar.host, "song.flac")
        self.assertEqual(run.status, 0, run.err)
        self.assertEqual(run.err.count("installed"), 2)
        self.assertEqual(self.liar.asked, [CHECK_A, "/p.zip", CHECK_A, "/q.zip", CHECK_A])

    def test_a_step_from_version_to_version_is_gone(self):
        """Each version is offered the next one, at an address of its own."""
        self.liar.answers.update({
            "/p.zip": pack(("zerv-player", self.b)), "/q.zip": pack(("news.txt", b"new")),
            CHECK_B: f"http://{self.liar.host}/q.zip".encode()})
        run = self.update(self.liar.host, "song.flac")
        self.assertEqual(run.err.count("installed"), 2)
        self.assertEqual(self.liar.asked, [CHECK_A, "/p.zip", CHECK_B, "/q.zip", CHECK_B])


if __name__ == "__main__":
    unittest.main()
