"""X servers without a screen, and what they show."""
import ctypes
import os
import struct
import subprocess
import sys
import tempfile
import time
from pathlib import Path

PATIENCE = 30  # seconds after which an expected state has not come about


def until(what, condition):
    end = time.monotonic() + PATIENCE
    while not condition():
        if time.monotonic() > end:
            sys.exit(f'FAILED: {what}')
        time.sleep(0.01)


class Server:
    """An Xvfb; its frame buffer is a file in the format of xwd."""

    def __init__(self, width, height, depth, *options):
        self.folder = tempfile.TemporaryDirectory()
        read, write = os.pipe()
        self.process = subprocess.Popen(
            ['Xvfb', '-displayfd', str(write), '-screen', '0', f'{width}x{height}x{depth}',
             '-fbdir', self.folder.name, '-nolisten', 'tcp', '-noreset', *options],
            pass_fds=[write], stderr=subprocess.DEVNULL)
        os.close(write)
        with os.fdopen(read) as answer:
            number = answer.readline().strip()
        if not number:
            sys.exit('FAILED: Xvfb does not start')
        os.environ['DISPLAY'] = f':{number}'

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()

    def pixels(self, x, y, width, height):
        """The pixels of a rectangle of the screen, as numbers, line by line."""
        data = (Path(self.folder.name) / 'Xvfb_screen0').read_bytes()
        head = struct.unpack('>25I', data[:100])
        size, order, bits, line, colours = head[0], head[7], head[11], head[12], head[19]
        start = size + 12 * colours
        code = {8: 'B', 16: 'H', 32: 'I'}[bits]
        rows = []
        for row in range(y, y + height):
            at = start + row * line + x * bits // 8
            row = struct.unpack(f'{"<>"[order]}{width}{code}', data[at:at + width * bits // 8])
            rows.append([pixel & 0xFFFFFF for pixel in row])
        return rows


class Client:
    """A program with a connection and windows of its own."""

    def __init__(self):
        self.x = ctypes.CDLL('libX11.so.6')
        for name in ('XOpenDisplay', 'XCreateSimpleWindow', 'XDefaultRootWindow', 'XInternAtom',
                     'XSetErrorHandler'):
            getattr(self.x, name).restype = ctypes.c_void_p
        self.connection = ctypes.c_void_p(self.x.XOpenDisplay(None))
        self.root = ctypes.c_ulong(self.x.XDefaultRootWindow(self.connection))

    def sync(self):
        self.x.XSync(self.connection, 0)

    def window(self, x, y, width, height, colour):
        made = self.x.XCreateSimpleWindow(self.connection, self.root, x, y, width, height, 0,
                                          ctypes.c_ulong(0), ctypes.c_ulong(colour))
        self.x.XMapWindow(self.connection, ctypes.c_ulong(made))
        self.sync()
        return made

    def newest_window(self):
        """The uppermost child of the root."""
        ignored = ctypes.c_ulong()
        children = ctypes.POINTER(ctypes.c_ulong)()
        count = ctypes.c_uint()
        self.x.XQueryTree(self.connection, self.root, ctypes.byref(ignored), ctypes.byref(ignored),
                          ctypes.byref(children), ctypes.byref(count))
        newest = children[count.value - 1]
        self.x.XFree(children)
        return newest

    def resize(self, window, width, height):
        self.x.XResizeWindow(self.connection, ctypes.c_ulong(window), width, height)
        self.sync()

    def raise_window(self, window):
        self.x.XRaiseWindow(self.connection, ctypes.c_ulong(window))
        self.sync()

    def destroy(self, window):
        self.x.XDestroyWindow(self.connection, ctypes.c_ulong(window))
        self.sync()

    def ask_to_close(self, window):
        """What a window manager sends when the user closes the window."""
        self.send_message(window, b'WM_PROTOCOLS', b'WM_DELETE_WINDOW')

    def send_message(self, window, *names):
        atom = [self.x.XInternAtom(self.connection, name, 0) for name in names]
        event = struct.pack('iLiPLLi4x5l', 33, 0, 0, 0, window, atom[0], 32, atom[1], 0, 0, 0, 0)
        event = ctypes.create_string_buffer(event, 192)
        self.x.XSendEvent(self.connection, ctypes.c_ulong(window), 0, 0, event)
        self.sync()
