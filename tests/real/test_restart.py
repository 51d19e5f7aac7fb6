"""The program starts itself again after an update."""

import http.server
import io
import os
import threading
import unittest
import zipfile

from make_flac import make_flac
from services import OnlineTest


def make_package():
    package = io.BytesIO()
    with zipfile.ZipFile(package, "w") as archive:
        archive.writestr("news/", "")
        archive.writestr("news/new.txt", "new")
    return package.getvalue()


class Service(http.server.BaseHTTPRequestHandler):
    """Offers one package, once."""

    package = make_package()
    asked = []

    def do_GET(self):
        self.asked.append(self.path)
        host = self.headers["Host"]
        if self.path == "/package.zip":
            self.answer(self.package)
        elif self.asked.count(self.path) == 1:
            self.answer(f" http://{host}/package.zip\r\n".encode())
        else:
            self.answer(b"nothing new")

    def answer(self, body):
        self.send_response(200)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *_):
        pass


class RestartTest(OnlineTest):
    def setUp(self):
        super().setUp()
        Service.asked.clear()
        self.service = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Service)
        threading.Thread(target=self.service.serve_forever, daemon=True).start()
        self.addCleanup(self.service.server_close)
        self.addCleanup(self.service.shutdown)
        self.host = f"127.0.0.1:{self.service.server_port}"

    def test_installed_update_starts_the_program_again_with_the_same_files(self):
        self.write_config()
        self.write("song.flac", make_flac(1))
        # Both lives run the same script. The first one ends while it settles.
        self.write("script", b"settle\nadvance 300\nstate\n")
        run = self.run_script("", "song.flac", ZERV_VIRTUAL_SCRIPT="script",
                              ZERV_UPDATE_HOST=self.host)
        self.assertEqual(run.status, 0, run.err)
        self.assertEqual(run.out.count("state "), 1)
        self.assertEqual(run.state()["playing"], "song.flac")
        self.assertEqual(run.state()["view"], "play")
        self.assertEqual(self.read("news/new.txt"), b"new")
        check = "/zerv-player/update/zerv-player-dingoo/0.4"
        self.assertEqual(Service.asked, [check, "/package.zip", check])

    def test_program_that_cannot_be_started_again_ends(self):
        self.write_config()
        self.write("script", b"settle\nstate\n")
        os.rename(self.program, self.path("gone"))
        self.program = self.path("link")
        os.symlink("gone", self.program)
        process = self.start(ZERV_VIRTUAL_SCRIPT="script", ZERV_UPDATE_HOST=self.host)
        os.remove(self.program)
        out, _ = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 0)
        self.assertEqual(out.count(b"state "), 0)
        self.assertEqual(len(Service.asked), 2)


if __name__ == "__main__":
    unittest.main()
