"""A Python program as a process of its own that need not bring up an interpreter: it is a copy of this one."""

import os
import runpy
import subprocess
import sys
import tempfile
import traceback


def as_status(code):
    """What sys.exit(code) ends a program with."""
    if code is None or isinstance(code, int):
        return code or 0
    print(code, file=sys.stderr)
    return 1


def live(path, arguments, cwd, out, err):
    """In the copy: the program from its first line on, as its only one. Returns the status."""
    os.dup2(os.open(os.devnull, os.O_RDONLY), 0)
    os.dup2(out.fileno(), 1)
    os.dup2(err.fileno(), 2)
    os.chdir(cwd or ".")
    sys.stdin, sys.stdout, sys.stderr = (open(number, mode, closefd=False) for number, mode in
                                         ((0, "r"), (1, "w"), (2, "w")))
    sys.argv, sys.path[0] = [path, *arguments], os.path.dirname(path)
    try:
        runpy.run_path(path, run_name="__main__")
        return 0
    except SystemExit as end:
        return as_status(end.code)
    except BaseException:
        traceback.print_exc()
        return 1


def run_python(path, *arguments, cwd=None):
    """A finished process with `stdout` and `stderr` as text."""
    path, arguments = os.path.abspath(path), [str(each) for each in arguments]
    with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
        child = os.fork()
        if child == 0:
            status = 1
            try:
                status = live(path, arguments, cwd, out, err)
                sys.stdout.flush()
                sys.stderr.flush()
            finally:
                os._exit(status)
        status = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
        texts = []
        for stream in (out, err):
            stream.seek(0)
            texts.append(stream.read().decode("utf-8", "replace"))
    return subprocess.CompletedProcess([path, *arguments], status, *texts)
