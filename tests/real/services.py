"""The tools for whoever runs the services, as processes."""

import os
import re
import subprocess
import sys

from player import PlayerTest, is_built_with
from python_tool import run_python

TOOLS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "tools")


def run_tool(name, *arguments):
    """A finished process with `stdout` and `stderr` as text."""
    return run_python(os.path.join(TOOLS, name), *arguments)


class Services:
    """tools/zerv-services on a free port; `host` is what players are told."""

    def __init__(self, test, *arguments):
        self.log = b""
        self.process = subprocess.Popen(
            [sys.executable, os.path.join(TOOLS, "zerv-services"), "--port", "0",
             *map(str, arguments)], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        test.addCleanup(self.stop)
        line = self.process.stdout.readline().decode()
        match = re.fullmatch(r"serving on http://([^/]+)/\n", line)
        test.assertTrue(match, line)
        self.host = match.group(1)

    def stop(self):
        """The paths that were asked for, in order."""
        if self.process.poll() is None:
            self.process.terminate()
            self.log = self.process.communicate(timeout=60)[1]
        return re.findall(r'"GET (\S+) HTTP', self.log.decode())


class OnlineTest(PlayerTest):
    """A player that may end while a request is open."""

    def environment(self, **more):
        # The library below HTTPS keeps a record for every thread and frees it when the thread is
        # gone; a worker may still be on its way out when the process ends.
        self.write("suppressions", b"leak:libcrypto\n")
        return super().environment(
            LSAN_OPTIONS=f"suppressions={self.path('suppressions')}:print_suppressions=0", **more)


def is_sanitized():
    """Whether the program keeps freed memory, to find out who still uses it."""
    return is_built_with("asan")
