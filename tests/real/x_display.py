"""An X display in memory: what it shows, and a hand that types, points and closes windows."""

import ctypes
import os
import shutil
import struct
import subprocess
import tempfile
import urllib.parse

KEY_PRESS, KEY_RELEASE, BUTTON_PRESS, BUTTON_RELEASE, MOTION, CLIENT_MESSAGE = 2, 3, 4, 5, 6, 33
SELECTION_REQUEST, SELECTION_NOTIFY = 30, 31
LEFT_BUTTON, RIGHT_BUTTON, WHEEL_UP, WHEEL_DOWN = 1, 3, 4, 5
MASKS = {KEY_PRESS: 1, KEY_RELEASE: 2, BUTTON_PRESS: 4, BUTTON_RELEASE: 8, MOTION: 64}


class PointerEvent(ctypes.Structure):
    """Keys, buttons and motion have the same layout."""
    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("sent", ctypes.c_int),
                ("display", ctypes.c_void_p), ("window", ctypes.c_ulong), ("root", ctypes.c_ulong),
                ("child", ctypes.c_ulong), ("time", ctypes.c_ulong), ("x", ctypes.c_int),
                ("y", ctypes.c_int), ("x_root", ctypes.c_int), ("y_root", ctypes.c_int),
                ("state", ctypes.c_uint), ("code", ctypes.c_uint), ("same", ctypes.c_int)]


class MessageEvent(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("sent", ctypes.c_int),
                ("display", ctypes.c_void_p), ("window", ctypes.c_ulong), ("kind", ctypes.c_ulong),
                ("format", ctypes.c_int), ("data", ctypes.c_long * 5)]


class RequestEvent(ctypes.Structure):
    """A program asks for what a selection holds."""
    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("sent", ctypes.c_int),
                ("display", ctypes.c_void_p), ("owner", ctypes.c_ulong), ("requestor", ctypes.c_ulong),
                ("selection", ctypes.c_ulong), ("target", ctypes.c_ulong),
                ("property", ctypes.c_ulong), ("time", ctypes.c_ulong)]


class NotifyEvent(ctypes.Structure):
    """The answer to it."""
    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("sent", ctypes.c_int),
                ("display", ctypes.c_void_p), ("requestor", ctypes.c_ulong),
                ("selection", ctypes.c_ulong), ("target", ctypes.c_ulong),
                ("property", ctypes.c_ulong), ("time", ctypes.c_ulong)]


class AnyEvent(ctypes.Union):
    _fields_ = [("type", ctypes.c_int), ("pointer", PointerEvent), ("message", MessageEvent),
                ("request", RequestEvent), ("notify", NotifyEvent), ("room", ctypes.c_long * 24)]


@ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p)
def ignore_error(_connection, _error):
    """A key may end the program: its window is gone before the key is released."""
    return 0


class Display:
    """Started by the constructor, ended by close()."""

    def __init__(self, width=1400, height=1000):
        self.folder = tempfile.mkdtemp(prefix="zerv-x-")
        read_end, write_end = os.pipe()
        self.server = subprocess.Popen(
            ["Xvfb", "-screen", "0", f"{width}x{height}x24", "-fbdir", self.folder, "-displayfd",
             str(write_end), "-nolisten", "tcp"], pass_fds=[write_end],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(write_end)
        with os.fdopen(read_end) as answer:
            self.name = ":" + answer.readline().strip()
        self.x = ctypes.CDLL("libX11.so.6")
        self.x.XSetErrorHandler(ignore_error)
        for function in ("XOpenDisplay", "XDefaultRootWindow", "XInternAtom", "XStringToKeysym",
                         "XCreateSimpleWindow"):
            getattr(self.x, function).restype = ctypes.c_ulong
        self.connection = ctypes.c_void_p(self.x.XOpenDisplay(self.name.encode()))
        if not self.connection:
            raise RuntimeError("the X display does not open")
        self.root = ctypes.c_ulong(self.x.XDefaultRootWindow(self.connection))

    def close(self):
        self.x.XCloseDisplay(self.connection)
        self.server.terminate()
        self.server.wait()
        shutil.rmtree(self.folder, ignore_errors=True)

    def find_window(self, title):
        """The id of the child of the root with this title, or 0."""
        root, parent = ctypes.c_ulong(), ctypes.c_ulong()
        children, count = ctypes.POINTER(ctypes.c_ulong)(), ctypes.c_uint()
        self.x.XQueryTree(self.connection, self.root, ctypes.byref(root), ctypes.byref(parent),
                          ctypes.byref(children), ctypes.byref(count))
        found = 0
        for i in range(count.value):
            name = ctypes.c_char_p()
            if (self.x.XFetchName(self.connection, ctypes.c_ulong(children[i]), ctypes.byref(name))
                    and name.value == title.encode()):
                found = children[i]
        if children:
            self.x.XFree(children)
        return found

    def place(self, window):
        """x, y, width and height."""
        root = ctypes.c_ulong()
        values = [ctypes.c_int(), ctypes.c_int()] + [ctypes.c_uint() for _ in range(4)]
        self.x.XGetGeometry(self.connection, ctypes.c_ulong(window), ctypes.byref(root),
                            *[ctypes.byref(value) for value in values])
        return tuple(value.value for value in values[:4])

    def send(self, window, event, mask):
        self.x.XSendEvent(self.connection, ctypes.c_ulong(window), 0, ctypes.c_long(mask),
                          ctypes.byref(event))
        self.x.XSync(self.connection, 0)

    def pointer(self, window, kind, code, x=1, y=1):
        event = AnyEvent()
        event.pointer = PointerEvent(type=kind, window=window, root=self.root.value, x=x, y=y,
                                     code=code, same=1)
        self.send(window, event, MASKS[kind])

    def key(self, window, name):
        symbol = ctypes.c_ulong(self.x.XStringToKeysym(name.encode()))
        code = self.x.XKeysymToKeycode(self.connection, symbol) & 255
        self.pointer(window, KEY_PRESS, code)
        self.pointer(window, KEY_RELEASE, code)

    def click(self, window, x, y, button=LEFT_BUTTON):
        self.pointer(window, MOTION, 0, x, y)
        self.pointer(window, BUTTON_PRESS, button, x, y)
        self.pointer(window, BUTTON_RELEASE, button, x, y)

    def atom(self, name):
        return self.x.XInternAtom(self.connection, name.encode(), 0)

    def message(self, window, kind, *data):
        event = AnyEvent()
        event.message = MessageEvent(type=CLIENT_MESSAGE, window=window, kind=self.atom(kind), format=32)
        for i, value in enumerate(data):
            event.message.data[i] = value
        self.send(window, event, 0)

    def close_window(self, window):
        self.message(window, "WM_PROTOCOLS", self.atom("WM_DELETE_WINDOW"))

    def drop(self, window, paths):
        """Drags files from a window of another program, and lets them go over this one."""
        source = self.x.XCreateSimpleWindow(self.connection, self.root, 0, 0, 9, 9, 0,
                                            ctypes.c_ulong(0), ctypes.c_ulong(0))
        files = self.atom("text/uri-list")
        selection = ctypes.c_ulong(self.atom("XdndSelection"))
        self.x.XSetSelectionOwner(self.connection, selection, ctypes.c_ulong(source), ctypes.c_ulong(0))
        self.message(window, "XdndEnter", source, 5 << 24, files, 0, 0)
        self.message(window, "XdndPosition", source, 0, 20 << 16 | 20, 0, self.atom("XdndActionCopy"))
        self.message(window, "XdndDrop", source, 0, 0)
        text = b"".join(b"file://" + urllib.parse.quote(path).encode() + b"\r\n" for path in paths)
        self.answer_request(text)

    def answer_request(self, data):
        """Waits until somebody asks for the selection, and hands the data over."""
        event = AnyEvent()
        while event.type != SELECTION_REQUEST:
            self.x.XNextEvent(self.connection, ctypes.byref(event))
        asked = event.request
        self.x.XChangeProperty(self.connection, ctypes.c_ulong(asked.requestor),
                               ctypes.c_ulong(asked.property), ctypes.c_ulong(asked.target), 8, 0, data,
                               len(data))
        answer = AnyEvent()
        answer.notify = NotifyEvent(type=SELECTION_NOTIFY, requestor=asked.requestor,
                                    selection=asked.selection, target=asked.target,
                                    property=asked.property, time=asked.time)
        self.send(asked.requestor, answer, 0)

    def numbers(self, window, name, count):
        """The first numbers of a window's property; fewer when it has fewer."""
        kind, size = ctypes.c_ulong(), ctypes.c_int()
        found, left = ctypes.c_ulong(), ctypes.c_ulong()
        values = ctypes.POINTER(ctypes.c_ulong)()
        self.x.XGetWindowProperty(
            self.connection, ctypes.c_ulong(window), ctypes.c_ulong(self.atom(name)), ctypes.c_long(0),
            ctypes.c_long(count), 0, ctypes.c_ulong(0), ctypes.byref(kind), ctypes.byref(size),
            ctypes.byref(found), ctypes.byref(left), ctypes.byref(values))
        result = [values[i] for i in range(found.value)] if values else []
        if values:
            self.x.XFree(values)
        return result

    def rows(self):
        """What the display shows: rows of 3 bytes a pixel, red first."""
        with open(os.path.join(self.folder, "Xvfb_screen0"), "rb") as file:
            data = file.read()
        words = struct.unpack(">25I", data[:100])
        start, height, width, line = words[0] + words[19] * 12, words[5], words[4], words[12]
        rows = []
        for y in range(height):
            row = data[start + y * line:start + y * line + width * 4]
            rgb = bytearray(width * 3)
            rgb[0::3], rgb[1::3], rgb[2::3] = row[2::4], row[1::4], row[0::4]
            rows.append(bytes(rgb))
        return rows
