"""The player in a real browser: the page shows what is drawn, takes a hand, plays, and nobody else does."""

import base64
import contextlib
import os
import random
import socket
import struct
import sys
import threading
import time
import unittest
import urllib.error
import urllib.parse
import urllib.request
import wave
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

from browser import BROWSER, DRIVER, Browser
from make_flac import make_flac
from player import DEADLINE_S, PROGRAM, PlayerTest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "scenarios"))
from run_scenarios import read_png  # noqa: E402

DOWN, ENTER, TAB = "\ue015", "\ue007", "\ue004"
FINGER = "touch press {x1} {y1}\nadvance 20\ntouch move {x2} {y2}\nadvance 20\ntouch release {x2} {y2}\n"
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

CATCHER = """
registerProcessor("catcher", class extends AudioWorkletProcessor {
    process([[left, right]]) {
        if (left)
            this.port.postMessage([left.slice(), right.slice()]);
        return true;
    }
});
"""

CATCH_SOUND = """
(() => {
    window.caught = [];
    const connect = AudioNode.prototype.connect, add = AudioWorklet.prototype.addModule;
    const source = URL.createObjectURL(new Blob([`%s`], { type: "text/javascript" }));
    AudioWorklet.prototype.addModule = async function (path) {
        await add.call(this, source);
        return add.call(this, path);
    };
    AudioNode.prototype.connect = function (to, ...more) {
        if (to instanceof AudioDestinationNode) {
            const catcher = new AudioWorkletNode(this.context, "catcher");
            catcher.port.onmessage = (event) => window.caught.push(event.data);
            connect.call(this, catcher);
        }
        return connect.call(this, to, ...more);
    };
})();
""" % CATCHER
"""Keeps a copy of all that goes to the loudspeaker, from before the page's own scripts run."""

LISTEN = """
(() => {
    const connect = AudioNode.prototype.connect;
    AudioNode.prototype.connect = function (to, ...more) {
        if (to instanceof AudioDestinationNode) {
            const meter = this.context.createAnalyser(), samples = new Float32Array(meter.fftSize);
            connect.call(this, meter);
            window.loudest = () => {
                meter.getFloatTimeDomainData(samples);
                return Math.max(...samples);
            };
        }
        return connect.call(this, to, ...more);
    };
})();
"""
"""Tells how loud it is right now."""

TAKE_CAUGHT = """
const words = [];
for (const [left, right] of window.caught.splice(0))
    for (let i = 0; i < left.length; i++)
        words.push(Math.round(left[i] * 32768), Math.round(right[i] * 32768));
return words;
"""

INTRUDER = b"""<!doctype html><title>elsewhere</title><body><script>
const [player] = [location.hash.slice(1)];
const host = new URL(player).host;
const tries = [];
for (const protocols of [["zerv"], [], ["http"]])
    tries.push(new Promise((done) => {
        const socket = new WebSocket(`ws://${host}/socket`, protocols);
        socket.binaryType = "arraybuffer";
        socket.onopen = () => { socket.send(new Uint8Array([1, 1, 16, 0, 0, 0])); done("socket open"); };
        socket.onerror = () => done("refused");
    }));
tries.push(fetch(`${player}/upload?name=evil.mp3`, { method: "POST", mode: "no-cors", body: "evil" })
    .then(() => "refused", () => "refused"));
tries.push(fetch(`${player}/`).then(() => "page read", () => "refused"));
tries.push(import(`${player}/wire.js`).then(() => "script run", () => "refused"));
tries.push(new Promise((done) => {
    const frame = document.createElement("iframe");
    frame.onload = () => done("refused"); // the browser's own page about it
    frame.src = player;
    document.body.append(frame);
}));
Promise.all(tries).then((all) => { document.title = all.join(); });
</script>"""


DROP = """
const bytes = Uint8Array.from(atob(arguments[0]), (letter) => letter.charCodeAt(0));
const carried = new DataTransfer();
carried.items.add(new File([bytes], "dropped.flac"));
carried.items.add(new File(["no music"], "notes.txt"));
for (const type of ["dragover", "drop"])
    document.dispatchEvent(new DragEvent(type, { dataTransfer: carried, bubbles: true, cancelable: true }));
"""


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


HAS_PAGE = os.path.exists(os.path.join(os.path.dirname(os.path.abspath(PROGRAM)), "zerv-device-web.so"))


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

    def tone(self, name, seconds):
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


def spoil(text, random):
    """A text with some bytes changed, removed, doubled and put in."""
    spoilt = bytearray(text)
    for _ in range(random.choice((0, 1, 2, 5, 20))):
        at = random.randrange(len(spoilt) + 1)
        spoilt[at:at + random.randrange(9)] = random.choice((random.randbytes(random.randrange(9)), b"",
                                                             spoilt[at:at + 40] * 2))
    return bytes(spoilt)


@unittest.skipUnless(HAS_PAGE, "built without the page")
class GateTest(WebTest):
    def test_spoilt_requests_leave_the_player_as_it_was(self):
        uploads = self.path("uploads")
        process = self.start_web(ZERV_WEB_UPLOADS=uploads)
        own, draw = f"127.0.0.1:{self.port}".encode(), random.Random(20)
        page = b"Host: %s\r\nOrigin: http://%s\r\n" % (own, own)
        key = b"\x82\x86\0\0\0\0\x01\x01\x10\0\0\0"
        requests = [
            b"GET / HTTP/1.1\r\n" + page + b"\r\n", b"HEAD / HTTP/1.1\r\n" + page + b"\r\n",
            b"GET /socket HTTP/1.1\r\n" + page + b"Upgrade: websocket\r\nConnection: Upgrade\r\n"
            b"Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n"
            b"Sec-WebSocket-Protocol: zerv\r\n\r\n" + key * 3,
            b"POST /upload?name=a.mp3 HTTP/1.1\r\n" + page + b"Content-Length: 20\r\n\r\n" + b"0" * 20,
            b"POST /upload?name=a.mp3 HTTP/1.1\r\n" + page + b"Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
            b"GET /" + b"a" * 9000 + b" HTTP/1.1\r\n" + page + b"\r\n",
            b"GET / HTTP/1.1\r\n" + page + b"Upgrade: h2c\r\nConnection: Upgrade, HTTP2-Settings\r\n"
            b"HTTP2-Settings: AAMAAABkAAQCAAAAAAIAAAAA\r\n\r\n",
            b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n\0\0\0\x04\0\0\0\0\0",
        ]
        for number in range(300):
            with socket.create_connection(("127.0.0.1", self.port), timeout=DEADLINE_S) as stream:
                stream.sendall(spoil(requests[number % len(requests)], draw))
        self.assertEqual(ask(self.address)[0], 200)
        self.assertEqual(self.open_socket().hear()[0], 4)
        kept = os.listdir(uploads) if os.path.isdir(uploads) else []
        self.assertTrue(all(name.endswith(".mp3") or name.startswith(".upload-") for name in kept), kept)
        self.end_well(process)

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


@unittest.skipUnless(HAS_PAGE, "built without the page")
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


class Elsewhere(BaseHTTPRequestHandler):
    """Somebody else's web server."""

    def do_GET(self):
        self.send_response(200)
        self.send_header("content-type", "text/html")
        self.end_headers()
        self.wfile.write(INTRUDER)

    def log_message(self, *_):
        pass


@unittest.skipUnless(HAS_PAGE and BROWSER and DRIVER, "no page, or no browser is installed")
class BrowserTest(WebTest):
    @classmethod
    def setUpClass(cls):
        cls.browser = Browser(1280, 900, "--host-resolver-rules=MAP rebound.example 127.0.0.1")

    @classmethod
    def tearDownClass(cls):
        cls.browser.close()

    def setUp(self):
        super().setUp()
        self.write_config(display_off_timeout=0)

    def open_page(self):
        self.browser.go(self.url)
        self.browser.wait_until("document.body.dataset.connection === 'open'")

    def in_new_tab(self, address):
        """Opens a tab that the test's end closes; returns the tab before."""
        before = self.browser.current()
        tab = self.browser.open_tab(address)

        def close():
            self.browser.switch(tab)
            self.browser.close_tab()
            self.browser.switch(before)
        self.addCleanup(close)
        return before, tab

    def rows(self):
        data = base64.b64decode(self.browser.run(ROWS))
        return [data[i:i + 960] for i in range(0, len(data), 960)][BELOW_TITLE:]

    def scripted(self, script, *arguments):
        """What the scripted device shows, its battery as full as the page's; settings stay as they were."""
        run = self.run_script("battery 100\n" + script + "screenshot shot.png\n", *arguments)
        self.assertEqual(run.status, 0, run.err + run.out)
        self.write_config(display_off_timeout=0)
        with contextlib.suppress(FileNotFoundError):
            os.remove(self.path("current.m3u"))
        return [bytes(row) for row in read_png(self.path("shot.png"))[2][BELOW_TITLE:]]

    def wait_for_rows(self, wanted, what):
        self.wait_until(what, lambda: self.rows() == wanted)

    def menu(self, script=""):
        return self.scripted("advance 400\n" + script)

    def has_state(self, *classes):
        return self.browser.run("return arguments[0].every((name) => document.body.classList.contains(name))",
                                list(classes))

    # ---- hands ----

    def test_keys_buttons_and_taps_do_what_they_do_in_a_window(self):
        start = self.menu()
        second = self.menu("key down\nadvance 400\n")
        third = self.menu("key down\nkey down\nadvance 400\n")
        tapped = self.menu("touch press 100 100\nadvance 2\ntouch release 100 100\nadvance 1000\n")
        process = self.start_web()
        self.open_page()
        self.wait_for_rows(start, "the main menu")
        self.browser.key(DOWN)
        self.wait_for_rows(second, "a row down by the keyboard")
        self.browser.click("[data-key=down]")
        self.wait_for_rows(third, "a row down by the button")
        self.browser.click("[data-key=up]")
        self.browser.click("[data-key=up]")
        self.wait_for_rows(start, "back at the top")
        self.browser.drag("#screen", (100, 100))
        self.wait_for_rows(tapped, "the row under the finger")
        self.end_well(process)

    def test_keys_of_the_keyboard_mean_what_the_key_map_says(self):
        second = self.menu("key down\nadvance 400\n")
        third = self.menu("key down\nkey down\nadvance 400\n")
        self.write("keys.txt", b"down = KEY_S\nnone = KEY_DOWN\n")
        process = self.start_web()
        self.open_page()
        self.browser.key(DOWN)
        self.browser.key("s")
        self.wait_for_rows(second, "one row down by the letter, and none by the arrow")
        self.browser.click("[data-key=down]")
        self.wait_for_rows(third, "a row down by the button, which is a key itself")
        self.end_well(process)

    def test_both_bars_follow_a_drag(self):
        tones = [self.tone(f"tone {i}.flac", 10) for i in range(12)]
        seek = self.scripted("advance 800\nsettle\nkey select\nadvance 200\n" +
                             FINGER.format(x1=60, y1=146, x2=200, y2=146) + "settle\nadvance 400\n", *tones)
        to_list = "advance 800\nsettle\nkey select\nadvance 200\nkey switch\nadvance 800\n"
        listed = self.scripted(to_list, *tones)
        scroll = self.scripted(to_list + FINGER.format(x1=304, y1=180, x2=304, y2=90) + "advance 400\n", *tones)
        process = self.start_web(*tones)
        self.open_page()
        self.browser.wait_until("document.title.startsWith('tone 11')")
        self.browser.key(ENTER)
        self.browser.drag("#screen", (60, 146), (130, 146), (200, 146))
        self.wait_for_rows(seek, "the position in the track")
        self.browser.key(TAB)
        self.wait_for_rows(listed, "the list")
        self.browser.drag("#screen", (304, 180), (304, 120), (304, 90))
        self.wait_for_rows(scroll, "the place in the list")
        self.end_well(process)

    def test_picture_is_whole_squares_in_every_window(self):
        process = self.start_web()
        self.open_page()
        for width, height, ratio in ((1280, 860, 1), (1280, 860, 2), (1920, 1060, 1.5), (390, 844, 3),
                                     (844, 390, 3), (600, 500, 1), (330, 560, 1.25)):
            self.browser.emulate(width, height, ratio)
            self.browser.wait_until(f"innerWidth === {width} && devicePixelRatio === {ratio}")
            self.wait_until(f"a picture of whole squares inside {width} x {height} x {ratio}",
                          lambda: self.is_whole(width, height, ratio))
            self.assertEqual(self.browser.run("return document.documentElement.scrollWidth"), width)
        self.browser.command("Emulation.clearDeviceMetricsOverride")
        self.end_well(process)

    def is_whole(self, width, height, ratio):
        box = self.browser.run("const box = document.getElementById('screen').getBoundingClientRect();"
                               "return [box.width, box.height, box.left, box.top, box.right, box.bottom]")
        across, down = box[0] * ratio / 320, box[1] * ratio / 240
        whole = round(across) >= 1 and abs(across - round(across)) < .01 and abs(across - down) < .01
        return whole and min(box) >= 0 and box[4] <= width and box[5] <= height

    def test_battery_is_a_slider(self):
        process = self.start_web()
        self.open_page()
        self.wait_for_rows(self.menu(), "the main menu")
        self.browser.run("const slider = document.getElementById('battery'); slider.value = 3;"
                         "slider.dispatchEvent(new Event('input'))")
        self.wait_until("the warning", lambda: b"\xff\0\0" * 2 in b"".join(self.rows()))
        self.end_well(process)

    # ---- pages ----

    def test_reload_and_a_closed_page_interrupt_nothing(self):
        process = self.start_web(self.tone("tone.flac", 10), self.tone("later.flac", 10))
        self.open_page()
        self.browser.wait_until("document.title.startsWith('later')")
        self.browser.go(self.url)
        self.browser.wait_until("document.title.startsWith('later')")
        self.browser.go("about:blank")
        self.open_page()
        shown = self.rows()
        self.wait_until("the time goes on", lambda: self.rows() != shown)
        self.browser.wait_until("!document.body.classList.contains('watching')")
        self.end_well(process)

    def test_two_pages_share_the_picture_and_one_holds_the_keys(self):
        second = self.menu("key down\nadvance 400\n")
        third = self.menu("key down\nkey down\nadvance 400\n")
        process = self.start_web()
        self.open_page()
        first_tab, other_tab = self.in_new_tab(self.url)
        self.browser.wait_until("document.body.classList.contains('watching')")
        self.browser.key(DOWN)
        self.browser.switch(first_tab)
        self.browser.key(DOWN)
        self.wait_for_rows(second, "one row down: the other page's key did nothing")
        self.browser.switch(other_tab)
        self.wait_for_rows(second, "the page that looks on sees it")
        self.browser.click("#take")
        self.browser.wait_until("!document.body.classList.contains('watching')")
        self.browser.key(DOWN)
        self.wait_for_rows(third, "the page that took over")
        self.browser.switch(first_tab)
        self.browser.wait_until("document.body.classList.contains('watching')")
        self.end_well(process)
        self.browser.wait_until("document.body.dataset.connection === 'ended'")

    def test_page_comes_back_when_the_player_does(self):
        process = self.start_web()
        self.open_page()
        process.kill()
        self.browser.wait_until("document.body.dataset.connection === 'lost'")
        again = self.start_web(ZERV_WEB_PORT=str(self.port))
        self.browser.wait_until("document.body.dataset.connection === 'open'")
        self.end_well(again)

    def test_pages_from_elsewhere_drive_nothing(self):
        server = ThreadingHTTPServer(("127.0.0.1", 0), Elsewhere)
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        start, uploads = self.menu(), self.path("uploads")
        process = self.start_web(ZERV_WEB_UPLOADS=uploads)
        self.open_page()
        self.wait_for_rows(start, "the main menu")
        own, _ = self.in_new_tab(f"http://127.0.0.1:{server.server_port}/#{self.address}")
        self.browser.wait_until("document.title.includes('refused')")
        self.assertEqual(set(self.browser.run("return document.title").split(",")), {"refused"})
        self.browser.go(f"http://rebound.example:{self.port}/")
        self.assertIn("not known under that name", self.browser.run("return document.body.innerText"))
        self.browser.switch(own)
        self.assertEqual(self.rows(), start)
        self.assertFalse(os.path.exists(uploads))
        self.end_well(process)

    # ---- sound and files ----

    def caught_tone(self, at_least):
        """So many frames that went to the loudspeaker, silence before the first left out."""
        caught = []

        def enough():
            caught.extend(self.browser.run(TAKE_CAUGHT))
            first = next((i for i, word in enumerate(caught) if word), len(caught)) & ~1
            return len(caught) - first >= at_least * 2 and caught[first:]
        return self.wait_until("sound", enough)

    def test_sound_of_the_page_is_the_tone_to_the_sample(self):
        self.write_config(display_off_timeout=0, vol=100)
        tone = self.tone("tone.flac", 10)
        self.run_script("advance 1500\n", tone, ZERV_VIRTUAL_SOUND=self.path("sound.wav"))
        with wave.open(self.path("sound.wav")) as file:
            frames = file.readframes(file.getnframes())
        wanted = struct.unpack(f"<{len(frames) // 2}h", frames)[::2]
        period = list(wanted[RATE // 2:RATE // 2 + 100] * 2)
        self.browser.command("Page.setBypassCSP", enabled=True)
        catcher = self.browser.command("Page.addScriptToEvaluateOnNewDocument", source=CATCH_SOUND)
        self.write_config(display_off_timeout=0, vol=100)
        process = self.start_web(tone)
        self.open_page()
        self.assertTrue(self.has_state("muted"), "before the first touch")
        self.browser.click("#sound")
        self.browser.wait_until("!document.body.classList.contains('muted')")
        caught = self.caught_tone(RATE)[:2 * RATE]  # the last piece is cut in its middle
        self.browser.command("Page.removeScriptToEvaluateOnNewDocument", identifier=catcher["identifier"])
        self.browser.command("Page.setBypassCSP", enabled=False)
        self.assertEqual(caught[::2], caught[1::2], "left and right")
        self.compare(caught[::2], period)
        self.end_well(process)

    def test_page_without_encryption_from_elsewhere_plays_the_older_way(self):
        process = self.start_web(self.tone("tone.flac", 10), ZERV_WEB_ADDRESS="0.0.0.0")
        if "//127." in self.url or "//0.0.0.0" in self.url:
            self.skipTest("this machine has no other address")
        catcher = self.browser.command("Page.addScriptToEvaluateOnNewDocument", source=LISTEN)
        self.open_page()
        self.browser.command("Page.removeScriptToEvaluateOnNewDocument", identifier=catcher["identifier"])
        self.assertFalse(self.browser.run("return isSecureContext"), "which has no worklets")
        self.browser.click("#sound")
        self.browser.wait_until("window.loudest && window.loudest() > 0.005")
        self.end_well(process)

    def compare(self, caught, wanted):
        """All that sounds is the tone without a jump. A busy machine may leave gaps: it goes on behind them."""
        phases = set(range(100))  # at which the next piece may begin
        for piece in pieces_of(caught):
            places = {at for at in range(100) if wanted[at:at + len(piece)] == piece}
            self.assertTrue(places, f"{len(piece)} samples that are not the tone")
            self.assertTrue(places & phases, "samples were lost")
            phases = {(at + len(piece) + zero) % 100 for at in places & phases for zero in (0, 1)}

    def test_files_dropped_on_the_page_are_kept_and_play(self):
        self.write("dropped.flac", make_flac(10))
        self.write("notes.txt", b"not music")
        uploads = self.path("uploads")
        process = self.start_web(ZERV_WEB_UPLOADS=uploads)
        self.open_page()
        self.browser.wait_until("document.body.classList.contains('takes-files')")
        self.browser.run(DROP, base64.b64encode(self.read("dropped.flac")).decode())
        self.browser.wait_until("document.title.startsWith('dropped.flac')")
        self.assertEqual(os.listdir(uploads), ["dropped.flac"])
        self.browser.wait_until("document.getElementById('note').textContent.includes('only MP3')")
        with open(os.path.join(uploads, "dropped.flac"), "rb") as kept:
            self.assertEqual(kept.read(), self.read("dropped.flac"))
        self.end_well(process)


def pieces_of(samples):
    """The stretches between zeros, of which the tone has one at a time."""
    piece = []
    for sample in [*samples, 0]:
        if sample:
            piece.append(sample)
        elif piece:
            yield piece
            piece = []


if __name__ == "__main__":
    unittest.main()
