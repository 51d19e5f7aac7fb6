"""The player in a real browser: the page shows what is drawn, takes a hand, plays, and nobody else does."""

import os
import socket
import struct
import sys
import threading
import time
import unittest
import urllib.error
import urllib.parse
import urllib.request
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

from browser import BROWSER, DRIVER, Browser
from make_flac import make_flac
from player import DEADLINE_S, PlayerTest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "scenarios"))
from run_scenarios import read_png  # noqa: E402

RATE = 44100
BELOW_TITLE = 30  # the bar above shows the wall clock
MIB = 1024 * 1024

ROWS = """
const canvas = document.getElementById("screen");
const data = canvas.getContext("2d").getImageData(0, 0, 320, 240).data;
let text = "";
for (let i = 0; i < data.length; i += 4)
    text += String.fromCharCode(data[i], data[i + 1], data[i + 2]);
return btoa(text);
"""

CATCH_SOUND = """
(() => {
    window.caught = [];
    const first = AudioNode.prototype.connect;
    AudioNode.prototype.connect = function (to, ...more) {
        if (to instanceof AudioDestinationNode) {
            const tap = this.context.createScriptProcessor(4096, 2, 2);
            tap.onaudioprocess = (event) => window.caught.push(
                [0, 1].map((side) => Float32Array.from(event.inputBuffer.getChannelData(side))));
            first.call(this, tap);
            first.call(tap, to);
        }
        return first.call(this, to, ...more);
    };
})();
"""
"""Keeps a copy of all that goes to the loudspeaker, from before the page's own scripts run."""


def ask(address, path="/", method="GET", body=None, **headers):
    """Status and body of a request as no browser would send it."""
    request = urllib.request.Request(address + path, body, method=method,
                                     headers={name.replace("_", "-"): value for name, value in headers.items()})
    try:
        with urllib.request.urlopen(request, timeout=DEADLINE_S) as answer:
            return answer.status, answer.read(), answer.headers
    except urllib.error.HTTPError as error:
        return error.code, error.read(), error.headers


class Socket:
    """A socket of the page without a browser, which may say what it likes."""

    def __init__(self, port, host=None, origin=None, path="/socket", protocol="zerv"):
        host = host or f"127.0.0.1:{port}"
        self.stream = socket.create_connection(("127.0.0.1", port), timeout=DEADLINE_S)
        lines = [f"GET {path} HTTP/1.1", f"Host: {host}", "Upgrade: websocket", "Connection: Upgrade",
                 "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==", "Sec-WebSocket-Version: 13"]
        if origin != "":
            lines.append(f"Origin: {origin or 'http://' + host}")
        if protocol:
            lines.append(f"Sec-WebSocket-Protocol: {protocol}")
        self.stream.sendall("\r\n".join(lines + ["", ""]).encode())
        self.head = b""
        while not self.head.endswith(b"\r\n\r\n"):
            byte = self.receive(1)
            if not byte:
                break
            self.head += byte

    def receive(self, count):
        try:
            return self.stream.recv(count)
        except ConnectionResetError:
            return b""

    @property
    def is_open(self):
        return self.head.startswith(b"HTTP/1.1 101")

    def say(self, message, first=0x82):
        """A whole masked message; the mask of zeros leaves it readable."""
        length = len(message)
        size = bytes([0x80 | length]) if length < 126 else b"\xfe" + struct.pack(">H", length)
        self.stream.sendall(bytes([first]) + size + bytes(4) + message)

    def is_hung_up(self):
        """Reads on until the other end hangs up; a program that does not lets the test fail."""
        while self.receive(65536):
            pass
        return True

    def hear(self):
        """The next message."""
        head = self.exactly(2)
        length = head[1] & 127
        if length == 126:
            length = struct.unpack(">H", self.exactly(2))[0]
        elif length == 127:
            length = struct.unpack(">Q", self.exactly(8))[0]
        return self.exactly(length)

    def exactly(self, count):
        got = b""
        while len(got) < count:
            piece = self.receive(count - len(got))
            if not piece:
                raise EOFError
            got += piece
        return got

    def close(self):
        self.stream.close()


class WebTest(PlayerTest):
    """A player with a short folder of tones, and its page."""

    def start_web(self, *arguments, **environment):
        environment.setdefault("ZERV_WEB_PORT", "0")
        process = self.start(*arguments, ZERV_DEVICE="web", **environment)
        line = process.stdout.readline().decode()
        self.assertIn("Zerv Player is at http://", line, process.stderr.read() if not line else "")
        self.url = line.split(" at ")[1].split(" ")[0]
        self.address = self.url.split("?")[0].rstrip("/")
        self.port = int(self.address.rsplit(":", 1)[1])
        return process

    def tone(self, name="tone.flac", seconds=30):
        self.write(name, make_flac(seconds))
        return self.path(name)

    def open_socket(self, **how):
        made = Socket(self.port, **how)
        self.addCleanup(made.close)
        return made

    def end_well(self, process):
        process.terminate()
        self.assertEqual(process.wait(DEADLINE_S), 0)
        self.assertEqual(process.stderr.read(), b"")


class GateTest(WebTest):
    def test_requests_under_another_name_are_refused(self):
        process = self.start_web()
        for host in ("evil.example", f"evil.example:{self.port}", "127.0.0.1:1", "", "[::1",
                     f"127.0.0.1.evil.example:{self.port}"):
            self.assertEqual(ask(self.address, Host=host)[0], 403, host)
        for host in (f"localhost:{self.port}", f"[::1]:{self.port}", f"127.0.0.1:{self.port}"):
            self.assertEqual(ask(self.address, Host=host)[0], 200, host)
        self.end_well(process)

    def test_sockets_of_other_pages_are_refused(self):
        process = self.start_web()
        own = f"127.0.0.1:{self.port}"
        for how in ({"origin": "http://evil.example"}, {"origin": ""}, {"origin": "null"},
                    {"origin": f"https://{own}"}, {"origin": f"http://localhost:{self.port}"},
                    {"host": f"evil.example:{self.port}"}, {"protocol": None},
                    {"protocol": "http"}):
            self.assertFalse(self.open_socket(**how).is_open, how)
        self.assertTrue(self.open_socket().is_open)
        self.end_well(process)

    def test_messages_that_no_page_sends_end_their_socket_and_nothing_else(self):
        process = self.start_web()
        other = self.open_socket()
        key = b"\x01\x01\x10\x00\x00\x00"
        for message in (b"", b"\x00", b"\x63", key + b"\x00", key[:-1], key * 20, b"x" * 60000,
                        b"\x01\x01\x11\x00\x00\x00", b"\x01\x02\x10\x00\x00\x00",
                        b"\x02\x04\x00\x00\x00\x00", b"\x02\x01\x40\x01\x00\x00", b"\x03\x65"):
            bad = self.open_socket()
            self.assertTrue(bad.is_open)
            bad.say(message)
            self.assertTrue(bad.is_hung_up(), message[:8])
        text, part = self.open_socket(), self.open_socket()
        text.say(key, first=0x81)
        self.assertTrue(text.is_hung_up())
        part.say(key[:3], first=0x02)
        part.say(key[3:], first=0x80)
        self.assertTrue(part.is_hung_up())
        other.say(b"\x03\x2a")
        while other.hear()[:1] + b"" != b"\x04":
            pass
        self.end_well(process)

    def test_more_pages_than_there_is_room_for_are_turned_away(self):
        process = self.start_web()
        looking = [self.open_socket() for _ in range(8)]
        for each in looking:
            self.assertEqual(each.hear()[0], 4)
        self.assertTrue(self.open_socket().is_hung_up())
        looking[0].close()
        deadline = time.monotonic() + DEADLINE_S
        while time.monotonic() < deadline:
            try:
                self.assertEqual(self.open_socket().hear()[0], 4)
                break
            except EOFError:
                continue
        self.end_well(process)

    def test_page_says_what_guards_it(self):
        process = self.start_web()
        status, body, headers = ask(self.address)
        self.assertEqual(status, 200)
        self.assertNotIn(b"http", body.replace(b"<!doctype html>", b""), "nothing from outside")
        self.assertIn("default-src 'none'", headers["content-security-policy"])
        self.assertIn("frame-ancestors 'none'", headers["content-security-policy"])
        self.assertEqual(headers["x-content-type-options"], "nosniff")
        for path in ("/../config.txt", "/config.txt", "/%2e%2e/config.txt", "/page.js/"):
            self.assertIn(ask(self.address, path)[0], (403, 404), path)
        self.end_well(process)

    def test_other_machines_need_the_token(self):
        process = self.start_web(ZERV_WEB_ADDRESS="0.0.0.0")
        token = self.url.split("?token=")[1]
        self.assertEqual(len(token), 32)
        here = f"http://127.0.0.1:{self.port}"
        self.assertEqual(ask(here)[0], 403)
        self.assertEqual(ask(here, "/?token=" + token[:-1] + "x")[0], 403)
        self.assertEqual(ask(here, "/?token=" + token)[0], 200)
        self.assertEqual(ask(here, "/?token=" + token, Host=f"evil.example:{self.port}")[0], 403)
        self.assertFalse(self.open_socket().is_open)
        self.assertFalse(self.open_socket(path="/socket?token=" + "0" * 32).is_open)
        self.assertTrue(self.open_socket(path="/socket?token=" + token).is_open)
        self.end_well(process)

    def test_port_that_is_taken_is_told(self):
        self.start_web()
        second = self.start(ZERV_DEVICE="web", ZERV_WEB_PORT=str(self.port))
        out, err = second.communicate(timeout=DEADLINE_S)
        self.assertIn(f"port {self.port} of 127.0.0.1 cannot be used".encode(), err)
        self.assertEqual(second.returncode, 255)
        bad = self.start(ZERV_DEVICE="web", ZERV_WEB_PORT="many")
        self.assertIn(b"ZERV_WEB_PORT is no port: many", bad.communicate(timeout=DEADLINE_S)[1])


class UploadTest(WebTest):
    def setUp(self):
        super().setUp()
        self.uploads = self.path("uploads")

    def upload(self, name, body, **headers):
        headers.setdefault("Origin", self.address)
        query = urllib.parse.urlencode({"name": name})
        return ask(self.address, "/upload?" + query, "POST", body, **headers)[:2]

    def test_files_keep_a_clean_name_and_replace_nothing(self):
        process = self.start_web(ZERV_WEB_UPLOADS=self.uploads)
        tone = make_flac(1)
        for name in ("tone.flac", "tone.flac", "../../..\\.hidden.MP3", "a\x01b\x7f.ogg",
                     "\u6b4c.lrc", "x" * 400 + ".m3u"):
            self.assertEqual(self.upload(name, tone), (200, b"kept"), name)
        self.assertEqual(sorted(os.listdir(self.uploads)), sorted([
            "tone.flac", "tone (2).flac", "hidden.MP3", "a_b_.ogg", "\u6b4c.lrc", "x" * 196 + ".m3u"]))
        with open(os.path.join(self.uploads, "tone (2).flac"), "rb") as file:
            self.assertEqual(file.read(), tone)
        self.end_well(process)

    def test_what_is_not_taken_says_why_and_leaves_nothing(self):
        process = self.start_web(ZERV_WEB_UPLOADS=self.uploads)
        for name in ("song.exe", "mp3", ".mp3", "song.mp3.sh", ""):
            status, why = self.upload(name, b"x")
            self.assertEqual(status, 415, name)
            self.assertIn(b"MP3", why)
        self.assertEqual(self.upload("song.mp3", b"x", Origin="http://evil.example")[0], 403)
        self.assertEqual(self.upload("song.mp3", b"")[0], 411)
        self.assertEqual(ask(self.address, "/other", "POST", b"x", Origin=self.address)[0], 404)
        with socket.create_connection(("127.0.0.1", self.port), timeout=DEADLINE_S) as stream:
            own = f"127.0.0.1:{self.port}"
            stream.sendall((f"POST /upload?name=big.mp3 HTTP/1.1\r\nHost: {own}\r\n"
                            f"Origin: http://{own}\r\nContent-Length: {257 * MIB}\r\n\r\n").encode())
            self.assertIn(b"413", stream.recv(4096))
        with socket.create_connection(("127.0.0.1", self.port), timeout=DEADLINE_S) as stream:
            stream.sendall((f"POST /upload?name=half.mp3 HTTP/1.1\r\nHost: {own}\r\n"
                            f"Origin: http://{own}\r\nContent-Length: 1000\r\n\r\nhalf").encode())
        deadline = time.monotonic() + DEADLINE_S
        while os.path.isdir(self.uploads) and os.listdir(self.uploads):
            self.assertLess(time.monotonic(), deadline, os.listdir(self.uploads))
        self.end_well(process)

    def test_run_of_an_own_folder_takes_nothing(self):
        process = self.start_web()
        status, why = self.upload("song.mp3", b"x")
        self.assertEqual(status, 403)
        self.assertIn(b"folder of your own", why)
        self.end_well(process)


@unittest.skipUnless(BROWSER and DRIVER, "no browser is installed")
class BrowserTest(WebTest):
    @classmethod
    def setUpClass(cls):
        cls.browser = Browser()
        cls.browser.command("Page.addScriptToEvaluateOnNewDocument", source=CATCH_SOUND)

    @classmethod
    def tearDownClass(cls):
        cls.browser.close()

    def open_page(self):
        self.browser.go(self.url)
        self.browser.wait_until("document.body.dataset.connection === 'open'")

    def rows(self):
        import base64
        data = base64.b64decode(self.browser.run(ROWS))
        return [data[i:i + 960] for i in range(0, len(data), 960)][BELOW_TITLE:]

    def scripted(self, script, *arguments):
        """What the scripted device shows, its battery as full as the page's."""
        run = self.run_script("battery 100\n" + script + "screenshot shot.png\n", *arguments)
        self.assertEqual(run.status, 0, run.err + run.out)
        return [bytes(row) for row in read_png(self.path("shot.png"))[2][BELOW_TITLE:]]

    def wait_for(self, what, holds):
        deadline = time.monotonic() + DEADLINE_S
        while True:
            found = holds()
            if found:
                return found
            self.assertLess(time.monotonic(), deadline, what)
            time.sleep(0.02)

    def wait_for_rows(self, wanted, what):
        self.wait_for(what, lambda: self.rows() == wanted)

    def menu(self, script=""):
        self.write_config()
        return self.scripted("advance 400\n" + script)

    def test_keys_buttons_taps_and_drags_do_what_they_do_in_a_window(self):
        start = self.menu()
        second = self.menu("key down\nadvance 400\n")
        third = self.menu("key down\nkey down\nadvance 400\n")
        tapped = self.menu("touch press 100 100\nadvance 2\ntouch release 100 100\nadvance 1000\n")
        self.write_config()
        process = self.start_web()
        self.open_page()
        self.wait_for_rows(start, "the main menu")
        self.browser.key("\ue015")
        self.wait_for_rows(second, "a row down by the keyboard")
        self.browser.click("[data-key=down]")
        self.wait_for_rows(third, "a row down by the button")
        self.browser.click("[data-key=up]")
        self.browser.click("[data-key=up]")
        self.wait_for_rows(start, "back at the top")
        self.browser.drag("#screen", (100, 100))
        self.wait_for_rows(tapped, "the row under the finger")
        self.end_well(process)


if __name__ == "__main__":
    unittest.main()
