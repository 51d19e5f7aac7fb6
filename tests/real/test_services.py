"""The reference server and the maker of packages, without the player and with it."""

import hashlib
import http.client
import os
import shutil
import stat
import tempfile
import unittest
import zipfile

from make_flac import make_flac
from services import OnlineTest, Services, run_tool

KEY_OF_ABC = "900150983cd24fb0d6963f7d28e17f72"
TAG = b"ID3\4\0\0\0\0\0\5xxxxx"
CHECK = "/zerv-player/update/zerv-player-dingoo/"


class FolderTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="zerv-services-")
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, content, mode=None):
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        with open(self.path(name), "wb") as file:
            file.write(content)
        if mode is not None:
            os.chmod(self.path(name), mode)
        return self.path(name)


class KeyTest(FolderTest):
    def key_of(self, content):
        result = run_tool("zerv-services", "--key", self.write("track.mp3", content))
        return result.stdout.strip() if result.returncode == 0 else None

    def test_keys_are_those_of_the_player(self):
        nothing = hashlib.md5(b"").hexdigest()
        for content, key in (
                (b"abc", KEY_OF_ABC),
                (TAG + b"\0\0abc", KEY_OF_ABC),
                (TAG + TAG + b"abc", KEY_OF_ABC),
                (TAG[:5] + b"\x10" + TAG[6:] + b"0123456789abc", KEY_OF_ABC),
                (b"\0" * 200000 + b"abc", KEY_OF_ABC),
                (b"", nothing),
                (b"\0" * 5000, nothing),
                (b"a" * 200000, "274596665a0c0f8e0fd6cab664d24941"),
                (b"ID3", hashlib.md5(b"ID3").hexdigest()),
                (TAG[:6] + b"\x80" + TAG[7:], None)):
            self.assertEqual(self.key_of(content), key, content[:40])

    def test_track_that_cannot_be_read_has_no_key(self):
        result = run_tool("zerv-services", "--key", self.path("missing"))
        self.assertEqual(result.returncode, 1)
        self.assertIn("missing", result.stderr)


class ServerTest(FolderTest):
    def start(self, *arguments):
        self.services = Services(self, *arguments)

    def get(self, target, method="GET", headers=None):
        connection = http.client.HTTPConnection(self.services.host, timeout=30)
        self.addCleanup(connection.close)
        connection.request(method, target, headers=headers or {})
        answer = connection.getresponse()
        return answer.status, answer.read()

    def test_lyrics_come_by_key(self):
        self.write(f"lyrics/{KEY_OF_ABC}.lrc", b"[00:01.00]one\n")
        self.start("--lyrics", self.path("lyrics"))
        self.assertEqual(self.get(f"/live-lyrics/fetch/{KEY_OF_ABC}"), (200, b"[00:01.00]one\n"))
        self.assertEqual(self.get("/live-lyrics/fetch/" + "0" * 32)[0], 404)

    def test_lyrics_come_from_beside_the_music(self):
        self.write("music/deep/Song.MP3", TAG + b"abc")
        self.write("music/deep/Song.lrc", b"[00:01.00]one\n")
        self.write("music/alone.mp3", b"no lyrics")
        self.start("--music", self.path("music"))
        self.assertEqual(self.get(f"/live-lyrics/fetch/{KEY_OF_ABC}"), (200, b"[00:01.00]one\n"))
        alone = hashlib.md5(b"no lyrics").hexdigest()
        self.assertEqual(self.get(f"/live-lyrics/fetch/{alone}")[0], 404)

    def test_pipe_among_the_music_holds_nobody_up(self):
        self.write("music/a.lrc", b"[00:01.00]pipe\n")
        os.mkfifo(self.path("music/a.mp3"))
        self.write("music/b.mp3", b"abc")
        self.write("music/b.lrc", b"[00:01.00]one\n")
        self.start("--music", self.path("music"))
        self.assertEqual(self.get(f"/live-lyrics/fetch/{KEY_OF_ABC}"), (200, b"[00:01.00]one\n"))

    def test_lyrics_that_were_removed_are_not_found(self):
        self.write("music/a.mp3", b"abc")
        lyrics = self.write("music/a.lrc", b"[00:01.00]one\n")
        self.start("--music", self.path("music"))
        self.assertEqual(self.get(f"/live-lyrics/fetch/{KEY_OF_ABC}")[0], 200)
        os.remove(lyrics)
        self.assertEqual(self.get(f"/live-lyrics/fetch/{KEY_OF_ABC}")[0], 404)

    def test_empty_lyrics_are_an_empty_answer(self):
        self.write(f"lyrics/{KEY_OF_ABC}.lrc", b"")
        self.start("--lyrics", self.path("lyrics"))
        self.assertEqual(self.get(f"/live-lyrics/fetch/{KEY_OF_ABC}"), (200, b""))

    def test_nothing_else_is_served(self):
        self.write("secret.lrc", b"secret")
        self.write("secret.zip", b"secret")
        self.write("lyrics/x", b"")
        self.write("packages/notes.txt", b"secret")
        self.start("--lyrics", self.path("lyrics"), "--packages", self.path("packages"))
        for target in ("/", "/live-lyrics/fetch/../../secret", "/live-lyrics/fetch/",
                       "/live-lyrics/fetch/" + KEY_OF_ABC.upper(), "/packages/../secret.zip",
                       "/packages/%2e%2e/secret.zip", "/packages/notes.txt", "/packages/",
                       "/packages/gone.zip", CHECK, CHECK + "x"):
            self.assertEqual(self.get(target)[0], 404, target)
        self.assertGreaterEqual(self.get("/", method="POST")[0], 400)

    def offer(self, version, build="zerv-player-dingoo"):
        return self.get(f"/zerv-player/update/{build}/{version}")[1]

    def test_the_newest_package_of_a_build_is_offered_to_older_versions(self):
        for name in ("zerv-player-dingoo-0.9.zip", "zerv-player-dingoo-0.10.zip",
                     "zerv-player-dingoo-0.2.zip", "other-7.0.zip", "zerv-player-dingoo-.zip",
                     "zerv-player-dingoo-0.99.tar", "zerv-player-dingoo 0.99.zip"):
            self.write("packages/" + name, name.encode())
        self.start("--packages", self.path("packages"))
        newest = f"http://{self.services.host}/packages/zerv-player-dingoo-0.10.zip\n".encode()
        for version in ("0.4", "0.9", "0", "0.9.9"):
            self.assertEqual(self.offer(version), newest, version)
        for version in ("0.10", "0.10.0", "0.11", "1"):
            self.assertEqual(self.offer(version), b"none\n", version)
        self.assertEqual(self.offer("0.4", "unknown"), b"none\n")
        self.assertEqual(self.get("/packages/zerv-player-dingoo-0.10.zip"),
                         (200, b"zerv-player-dingoo-0.10.zip"))

    def test_versions_that_are_none_are_no_trouble(self):
        self.write("packages/b-0.5.zip", b"zip")
        os.mkdir(self.path("packages/b-0.9.zip"))
        self.write("packages/b-" + "9" * 200 + ".zip", b"zip")
        self.start("--packages", self.path("packages"))
        self.assertEqual(self.get("/zerv-player/update/b/" + "9" * 5000)[0], 404)
        self.assertIn(b"/b-0.5.zip\n", self.offer("0.4", "b"))  # a folder is no package
        self.services.stop()
        self.assertNotIn(b"Traceback", self.services.log)

    def test_a_package_that_is_taken_back_is_not_offered(self):
        package = self.write("packages/zerv-player-dingoo-0.5.zip", b"zip")
        self.start("--packages", self.path("packages"))
        self.assertIn(b"http://", self.offer("0.4"))
        os.remove(package)
        self.assertEqual(self.offer("0.4"), b"none\n")

    def test_addresses_name_the_host_that_was_asked(self):
        self.write("packages/b-0.5.zip", b"zip")
        self.start("--packages", self.path("packages"))
        target = "/zerv-player/update/b/0.4"
        answer = self.get(target, headers={"Host": "music.example:81"})[1]
        self.assertEqual(answer, b"http://music.example:81/packages/b-0.5.zip\n")
        answer = self.get(target, headers={"Host": "bad host/../"})[1]
        self.assertEqual(answer, f"http://{self.services.host}/packages/b-0.5.zip\n".encode())
        self.services.stop()
        self.start("--packages", self.path("packages"), "--public", "there.example")
        self.assertEqual(self.get(target)[1], b"http://there.example/packages/b-0.5.zip\n")

    def test_wrong_arguments_are_refused(self):
        for arguments in ((), ("--lyrics", self.path("missing")),
                          ("--lyrics", self.folder, "--public", "a b")):
            self.assertEqual(run_tool("zerv-services", *arguments).returncode, 2, arguments)


class PackageTest(FolderTest):
    def check(self, *arguments):
        return run_tool("zerv-package", "check", self.path("p.zip"), *arguments)

    def assert_refused(self, why, *arguments):
        result = self.check(*arguments)
        self.assertEqual(result.returncode, 1, why)
        self.assertIn(why, result.stderr)

    def make(self, *entries):
        """Entries are names, or a record and its content."""
        with zipfile.ZipFile(self.path("p.zip"), "w", zipfile.ZIP_DEFLATED) as archive:
            for entry in entries:
                if isinstance(entry, str):
                    archive.writestr(entry, b"" if entry.endswith("/") else b"content")
                else:
                    archive.writestr(*entry)

    def program_folder(self):
        self.write("program/zerv-player", b"program", 0o755)
        self.write("program/skins/a.zip", b"skin", 0o644)
        self.write("program/empty/x", b"")
        os.remove(self.path("program/empty/x"))
        self.write("program/config.txt", b"mine")
        self.write("program/library.db", b"mine")
        self.write("program/current.m3u", b"mine")
        self.write("program/_tmp/update.zip", b"old")
        self.write("program/.hidden", b"mine")
        return self.path("program")

    def build(self, *arguments):
        return run_tool("zerv-package", "build", self.program_folder(), "-o", self.path("p.zip"),
                        *arguments)

    def test_build_packs_what_belongs_to_the_program(self):
        result = self.build()
        self.assertEqual(result.returncode, 0, result.stderr)
        with zipfile.ZipFile(self.path("p.zip")) as archive:
            self.assertEqual(archive.namelist(), ["empty/", "skins/", "skins/a.zip", "zerv-player"])
            modes = {info.filename: info.external_attr >> 16 for info in archive.infolist()}
        self.assertEqual(stat.S_IMODE(modes["zerv-player"]), 0o755)
        self.assertEqual(stat.S_IMODE(modes["skins/a.zip"]), 0o644)
        self.assertTrue(stat.S_ISDIR(modes["skins/"]))
        self.assertEqual(self.check().returncode, 0)

    def test_build_gives_the_same_package_from_the_same_folder(self):
        self.build()
        with open(self.path("p.zip"), "rb") as file:
            first = file.read()
        os.utime(self.path("program/zerv-player"), (1, 1))
        self.build()
        with open(self.path("p.zip"), "rb") as file:
            self.assertEqual(file.read(), first)

    def test_build_leaves_out_what_it_is_told(self):
        self.build("--exclude", "skins")
        with zipfile.ZipFile(self.path("p.zip")) as archive:
            self.assertEqual(archive.namelist(), ["empty/", "zerv-player"])

    def test_build_wants_a_program(self):
        os.mkdir(self.path("other"))
        arguments = ("build", self.path("other"), "-o", self.path("p.zip"))
        self.assertEqual(run_tool("zerv-package", *arguments).returncode, 1)
        self.assertFalse(os.path.exists(self.path("p.zip")))
        self.write("other/only.txt", b"x")
        self.assertEqual(run_tool("zerv-package", *arguments, "--partial").returncode, 0)

    def test_build_leaves_no_package_that_is_refused(self):
        self.program_folder()
        self.write("program/" + "long/" * 110 + "name", b"x")
        result = run_tool("zerv-package", "build", self.path("program"), "-o", self.path("p.zip"))
        self.assertEqual(result.returncode, 1)
        self.assertIn("too long", result.stderr)
        self.assertEqual([name for name in os.listdir(self.folder) if name.startswith("p.zip")], [])

    def test_build_does_not_pack_itself(self):
        folder = self.program_folder()
        output = os.path.join(folder, "zerv-player-dingoo-0.5.zip")
        for _ in range(2):  # the second finds the first
            result = run_tool("zerv-package", "build", folder, "-o", output)
            self.assertEqual(result.returncode, 0, result.stderr)
            with zipfile.ZipFile(output) as archive:
                self.assertEqual(archive.namelist(),
                                 ["empty/", "skins/", "skins/a.zip", "zerv-player"])

    def test_build_follows_links_but_not_in_circles(self):
        folder = self.program_folder()
        self.write("elsewhere/b.txt", b"b")
        os.symlink(".", self.path("program/again"))
        os.symlink("..", self.path("program/skins/up"))
        os.symlink(self.path("elsewhere"), self.path("program/more"))
        result = run_tool("zerv-package", "build", folder, "-o", self.path("p.zip"))
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("again: left out", result.stderr)
        self.assertIn("skins/up: left out", result.stderr)
        with zipfile.ZipFile(self.path("p.zip")) as archive:
            self.assertEqual(archive.namelist(), ["empty/", "more/", "more/b.txt", "skins/",
                                                  "skins/a.zip", "zerv-player"])

    def test_build_refuses_names_that_are_not_utf_8(self):
        folder = self.program_folder()
        with open(os.path.join(os.fsencode(folder), b"bad\xff.txt"), "wb"):
            pass
        result = run_tool("zerv-package", "build", folder, "-o", self.path("p.zip"))
        self.assertEqual(result.returncode, 1)
        self.assertIn("bad\\xff.txt: the name is not UTF-8\n", result.stderr)
        self.assertEqual([name for name in os.listdir(self.folder) if name.startswith("p.zip")], [])

    def test_check_refuses_names_that_leave_the_folder_or_make_no_file(self):
        for name, why in (("../x", "leaves the folder"), ("a/../../x", "leaves the folder"),
                          ("_tmp/x", "scratch folder"), ("/_TMP/x", "scratch folder"),
                          ("n" * 512, "too long"), ("n" * 256, "longer than 255"),
                          (".", "empty")):
            self.make(name)
            self.assert_refused(why)

    def test_check_refuses_what_belongs_to_the_user(self):
        for name in ("config.txt", "current.m3u", "library.db", "library.db-journal",
                     "library.db-wal", "library.db-shm", "/config.txt", "Config.txt.", "config.txt/"):
            self.make(name)
            self.assert_refused("belongs to the player's user")

    def test_check_takes_names_of_other_systems(self):
        self.make("/x", "C:x", "a\\b", "./", "./y", "x/")
        self.assertEqual(self.check().returncode, 0, self.check().stderr)

    def test_check_refuses_a_file_over_a_folder(self):
        self.make("bin/", "bin")
        self.assert_refused("bin: there is a folder")
        self.make("music")
        os.makedirs(self.path("installed/music"))
        self.assert_refused("music: there is a folder", "--folder", self.path("installed"))
        self.assertEqual(self.check().returncode, 0)

    def test_check_names_entries_with_sizes_of_large_archives(self):
        """As an archiver writes them that is fed by a pipe."""
        with zipfile.ZipFile(self.path("p.zip"), "w") as archive:
            with archive.open("x", "w", force_zip64=True) as file:
                file.write(b"content")
        with open(self.path("p.zip"), "rb") as file:
            whole = file.read()
        at = whole.index(b"PK\1\2")
        sizes = whole[at + 20:at + 28]
        large = b"\1\0\x10\0" + sizes[4:] + bytes(4) + sizes[:4] + bytes(4)
        end = len(whole) - 22
        self.write("p.zip", whole[:at + 20] + b"\xff" * 8 + whole[at + 28:at + 30] +
                   len(large).to_bytes(2, "little") + whole[at + 32:at + 47] + large +
                   whole[at + 47:end + 12] + (end - at + len(large)).to_bytes(4, "little") +
                   whole[end + 16:])
        with zipfile.ZipFile(self.path("p.zip")) as archive:
            self.assertEqual(archive.read("x"), b"content")
        self.assert_refused("x: its size is where")

    def test_check_wants_folders_before_their_files(self):
        self.make("bin/player")
        self.assert_refused("folder has no entry")
        self.make("bin/player", "bin/")
        self.assert_refused("folder has no entry")
        self.make("bin/", "bin/player", "bin/deep/", "bin/deep/x")
        self.assertEqual(self.check().returncode, 0)
        self.make("bin/player")
        os.makedirs(self.path("installed/bin"))
        self.assertEqual(self.check("--folder", self.path("installed")).returncode, 0)

    def test_check_refuses_links_and_devices(self):
        for kind in (stat.S_IFLNK, stat.S_IFCHR, stat.S_IFIFO):
            info = zipfile.ZipInfo("x")
            info.create_system = 3
            info.external_attr = (kind | 0o777) << 16
            self.make((info, b"/etc/passwd"))
            self.assert_refused("neither a file nor a folder")

    def test_check_finds_damage(self):
        info = zipfile.ZipInfo("x")
        self.make((info, b"0123456789" * 100), "last")
        with open(self.path("p.zip"), "rb") as file:
            whole = file.read()
        at = whole.index(b"0123456789") + 5
        self.write("p.zip", whole[:at] + b"X" + whole[at + 1:])
        self.assertEqual(self.check().returncode, 1)
        for size in (0, 10, len(whole) // 2, len(whole) - 30):
            self.write("p.zip", whole[:size])
            self.assertEqual(self.check().returncode, 1, size)

    def test_check_takes_a_name_for_the_bytes_it_has(self):
        self.make("a\u00e9.txt")
        with open(self.path("p.zip"), "rb") as file:
            whole = file.read()
        self.write("p.zip", whole.replace("\u00e9".encode(), b"\xff\xfe"))
        self.assertEqual(self.check().returncode, 0)

    def test_check_refuses_a_size_that_is_not_what_it_declares(self):
        for declared in (6, 8, 7000):
            self.make("x")
            with open(self.path("p.zip"), "rb") as file:
                whole = bytearray(file.read())
            at = whole.index(b"PK\1\2") + 24
            whole[at:at + 4] = declared.to_bytes(4, "little")
            self.write("p.zip", bytes(whole))
            self.assert_refused("x: ")

    def test_check_refuses_what_is_encrypted_or_packed_otherwise(self):
        self.make("x")
        with open(self.path("p.zip"), "rb") as file:
            whole = bytearray(file.read())
        flags = whole.index(b"PK\1\2") + 8
        whole[flags] |= 1
        self.write("p.zip", bytes(whole))
        self.assert_refused("encrypted")
        with zipfile.ZipFile(self.path("p.zip"), "w", zipfile.ZIP_LZMA) as archive:
            archive.writestr("x", b"content")
        self.assert_refused("packed by a method")

    def test_check_refuses_an_empty_archive_and_what_is_none(self):
        self.make()
        self.assert_refused("not a zip archive, or it is empty")
        self.write("p.zip", b"no archive")
        self.assertEqual(self.check().returncode, 1)
        os.remove(self.path("p.zip"))
        self.assertEqual(self.check().returncode, 1)


    def test_a_program_of_another_version_is_told(self):
        folder = self.program_folder()
        package = self.path("zerv-player-dingoo-0.5.zip")
        for content, told in ((b"x\x000.4\0", True), (b"x\x000.50\0", True), (b"x\x000.5\0", False)):
            self.write("program/zerv-player", content, 0o755)
            for arguments in (("build", folder, "-o", package), ("check", package)):
                result = run_tool("zerv-package", *arguments)
                self.assertEqual(result.returncode, 0)
                self.assertEqual("does not seem to call itself 0.5" in result.stderr, told, content)


class SignatureTest(FolderTest):
    """Keys and signatures, as a keeper uses them."""

    def setUp(self):
        super().setUp()
        self.tool("keygen", self.path("update"))
        self.package = self.path("zerv-player-dingoo-0.5.zip")
        self.make(self.package, b"program")

    def make(self, path, content):
        with zipfile.ZipFile(path, "w") as archive:
            archive.writestr("zerv-player", content)

    def tool(self, *arguments, status=0):
        result = run_tool("zerv-package", *arguments)
        self.assertEqual(result.returncode, status, result.stderr)
        return result.stdout + result.stderr

    def sign(self, *arguments, status=0):
        return self.tool("sign", self.package, "--secret", self.path("update.secret"), *arguments,
                         status=status)

    def check(self, *arguments, status=0):
        return self.tool("check", self.package, "--key", self.path("update.key"), *arguments,
                         status=status)

    def read(self):
        with open(self.package, "rb") as file:
            return file.read()

    def test_a_signed_package_is_good_for_lower_versions(self):
        self.assertIn("not signed", self.check(status=1))
        self.assertIn("signed as zerv-player-dingoo 0.5", self.sign())
        self.assertIn("signed as zerv-player-dingoo 0.5", self.check("--installed", "0.4"))
        self.assertIn("not above 0.5", self.check("--installed", "0.5", status=1))
        self.assertIn("not above 0.10", self.check("--installed", "0.10", status=1))
        self.assertIn("not checked", self.tool("check", self.package))
        with zipfile.ZipFile(self.package) as archive:
            self.assertEqual(archive.read("zerv-player"), b"program")

    def test_the_same_key_signs_the_same_again(self):
        self.sign()
        first = self.read()
        self.sign()
        self.assertEqual(self.read(), first)
        self.sign("--version", "0.6")
        self.assertIn("0.6", self.check())
        self.assertEqual(len(self.read()), len(first))

    def test_no_byte_can_be_changed(self):
        self.sign()
        whole = self.read()
        for at in (0, whole.index(b"zerv-player"), whole.index(b"program"),
                   whole.rindex(b"zerv-player-dingoo"), whole.rindex(b"0.5"), len(whole) - 5):
            other = b"x" if whole[at] != 120 else b"y"
            self.write("zerv-player-dingoo-0.5.zip", whole[:at] + other + whole[at + 1:])
            self.assertEqual(run_tool("zerv-package", "check", self.package, "--key",
                                      self.path("update.key")).returncode, 1, at)

    def test_another_key_and_another_package_do_not_fit(self):
        self.sign()
        signature = self.read()[-129:]
        self.tool("keygen", self.path("other"))
        self.assertIn("another key", self.tool("check", self.package, "--key",
                                               self.path("other.key"), status=1))
        self.make(self.package, b"other program")
        self.sign()
        self.write("zerv-player-dingoo-0.5.zip", self.read()[:-129] + signature)
        self.assertIn("changed after it was signed", self.check(status=1))

    def test_keys_are_kept_safe(self):
        self.assertEqual(stat.S_IMODE(os.stat(self.path("update.secret")).st_mode), 0o600)
        with open(self.path("update.secret"), "rb") as file:
            before = file.read()
        self.assertIn("File exists", self.tool("keygen", self.path("update"), status=1))
        with open(self.path("update.secret"), "rb") as file:
            self.assertEqual(file.read(), before)
        self.write("program/zerv-player", b"program")
        self.write("program/update.secret", before)
        self.write("program/update.key", b"key")
        self.tool("build", self.path("program"), "-o", self.path("built.zip"))
        with zipfile.ZipFile(self.path("built.zip")) as archive:
            self.assertEqual(archive.namelist(), ["update.key", "zerv-player"])

    def test_what_is_no_key_is_told(self):
        self.write("update.key", b"no key")
        self.assertIn("not 64 hexadecimal digits", self.check(status=1))
        self.assertIn("not 64 hexadecimal digits",
                      self.tool("check", self.package, "--folder", self.folder, status=1))
        self.write("update.secret", b"")
        before = self.read()
        self.assertIn("not 128 hexadecimal digits", self.sign(status=1))
        self.assertEqual(self.read(), before)

    def test_only_good_packages_with_a_version_are_signed(self):
        os.rename(self.package, self.path("p.zip"))
        self.package = self.path("p.zip")
        self.assertIn("--version", self.sign(status=1))
        self.assertIn("not a build and a version", self.sign("--build", "a b", "--version", "1", status=1))
        self.assertIn("not a build and a version", self.sign("--build", "a", "--version", "x", status=1))
        self.sign("--build", "zerv-player-dingoo", "--version", "0.5")
        self.assertIn("0.5", self.check())
        self.write("p.zip", self.read() + b"x")
        self.assertIn("bytes follow", self.sign("--build", "a", "--version", "1", status=1))
        self.write("p.zip", b"no package")
        self.assertIn("not a zip archive", self.sign("--build", "a", "--version", "1", status=1))


class LyricsServiceTest(OnlineTest):
    """The player asks the reference server for the words of a song."""

    def test_player_gets_lyrics_once(self):
        self.write_config()
        sound = make_flac(3)
        self.write("song.flac", sound)
        os.mkdir(self.path("library"))
        self.write("library/other name.flac", TAG + sound)
        words = b"[00:00.10]served at home\n"
        self.write("library/other name.lrc", words)
        services = Services(self, "--music", self.path("library"))
        script = "advance 300\nsettle\nadvance 500\nwait served at home\nquit\n"
        for _ in range(2):
            run = self.run_script(script, "song.flac", ZERV_LYRICS_HOST=services.host)
            self.assertEqual(run.status, 0, run.err)
            self.assertIn("found", run.out)
        self.assertEqual(self.read("song.lrc"), words)
        key = hashlib.md5(sound[:0x28000]).hexdigest()
        self.assertEqual(services.stop(), [f"/live-lyrics/fetch/{key}"])

    def test_player_asks_nobody_without_a_host(self):
        self.write_config()
        self.write("song.flac", make_flac(1))
        run = self.run_script("advance 300\nsettle\nquit\n", "song.flac")
        self.assertEqual(run.status, 0, run.err)
        self.assertFalse(self.exists("song.lrc"))
        self.assertFalse(self.exists("_tmp"))


if __name__ == "__main__":
    unittest.main()
