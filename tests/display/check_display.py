#!/usr/bin/env python3
"""Shows images on X servers and compares every pixel of the windows with what the manual states.

check_display.py LIBRARY SOURCE
"""
import ctypes
import os
import random
import struct
import subprocess
import sys
import tempfile
from types import SimpleNamespace

LIBRARY, SOURCE = sys.argv[1:3]
sys.path[:0] = [f'{SOURCE}/python', f'{SOURCE}/tests/display']
from generate import Headers
from pathlib import Path
from server import Client, Server, until

v = SimpleNamespace(**{name[4:]: value for name, value, _ in
                       Headers(Path(SOURCE) / 'include').constants})
viq = ctypes.CDLL(LIBRARY)
random.seed(1)
reports = []


@ctypes.CFUNCTYPE(ctypes.c_uint32, ctypes.c_uint32, ctypes.c_char_p, ctypes.c_uint32, ctypes.c_char_p)
def note_report(_, function, code, text):
    reports.append((function.decode(), code, text.decode()))
    return 0


class Event(ctypes.Structure):
    _fields_ = ([('type', ctypes.c_uint16), ('modifiers', ctypes.c_uint16), ('time', ctypes.c_uint32),
                 ('key', ctypes.c_uint32), ('button', ctypes.c_uint16), ('inside', ctypes.c_uint16)] +
                [(n, ctypes.c_int32) for n in ('wheel_x', 'wheel_y', 'window_x', 'window_y')] +
                [('image_x', ctypes.c_double), ('image_y', ctypes.c_double),
                 ('width', ctypes.c_uint32), ('height', ctypes.c_uint32)])


class Pixel(ctypes.Structure):
    _fields_ = [('x', ctypes.c_uint32), ('y', ctypes.c_uint32), ('image_type', ctypes.c_uint16),
                ('components', ctypes.c_uint16), ('value', ctypes.c_uint32 * 4),
                ('red', ctypes.c_uint8), ('green', ctypes.c_uint8), ('blue', ctypes.c_uint8),
                ('spare', ctypes.c_uint8)]


def fail(text):
    sys.exit(f'FAILED: {text} {reports}')


def call(name, *arguments, expect=0):
    """Calls a function; `expect` is the result or a pair of error code and message."""
    reports.clear()
    result = getattr(viq, 'VIQ_' + name)(*arguments) & 0xFFFFFFFF
    wanted = expect[0] if isinstance(expect, tuple) else expect
    if wanted is not None and result != wanted:
        fail(f'{name}{arguments}: 0x{result:x} instead of 0x{wanted:x}')
    if isinstance(expect, tuple) and (not reports or expect[1] not in reports[-1][2]):
        fail(f'{name}{arguments}: message')
    return result


# ---- Images

def make_image(pixel_format, width, height, data=None, data_width=None):
    image = call('image_create', expect=None)
    for parameter, value in ((v.IMAGE_TYPE, pixel_format), (v.WIDTH, width), (v.HEIGHT, height),
                             (v.LINES_PER_STRIP, height), (v.DATA_WIDTH, data_width)):
        if value is not None:
            call('image_set_parameter', image, parameter, value)
    call('image_malloc_a_strip', image)
    fill(image, data)
    return image


def address(image):
    viq.VIQ_image_get_ptr.restype = ctypes.c_void_p
    return viq.VIQ_image_get_ptr(image, v.PTR_DATA)


def parameter(image, number):
    return call('image_get_parameter', image, number, expect=None)


def fill(image, data=None):
    size = parameter(image, v.BYTES_PER_LINE) * parameter(image, v.HEIGHT)
    ctypes.memmove(address(image), data or random.randbytes(size), size)


def colours(image):
    """The lines of an image as tuples of red, green and blue."""
    rgb = call('convert_as', image, v.RGB24, expect=None)
    width, stride = parameter(rgb, v.WIDTH), parameter(rgb, v.BYTES_PER_LINE)
    data = ctypes.string_at(address(rgb), stride * parameter(rgb, v.HEIGHT))
    call('image_destroy', rgb)
    return [[tuple(data[at + 3 * x:at + 3 * x + 3]) for x in range(width)]
            for at in range(0, len(data), stride)]


def stored(image):
    """The bytes of the lines."""
    return ctypes.string_at(address(image),
                            parameter(image, v.BYTES_PER_LINE) * parameter(image, v.HEIGHT))


W, H = 38, 21


def grey_lines(values):
    return [[(g, g, g) for g in values[at:at + W]] for at in range(0, W * H, W)]


def converted(pixel_format):
    def make():
        rgb = make_image(v.RGB24, W, H)
        image = rgb if pixel_format == v.RGB24 else call('convert_as', rgb, pixel_format, expect=None)
        return image, colours(image), {}
    return make


def bits():
    data = random.randbytes(5 * H)
    image = make_image(v.Y1, W, H, None)
    call('image_set_parameter', image, v.BYTES_PER_LINE, 5)
    buffer = ctypes.create_string_buffer(data, len(data))
    bits.keep = buffer
    viq.VIQ_image_set_flags(image, v.FLAG_LOCKED, 1)
    call('image_set_ptr', image, v.PTR_DATA, ctypes.byref(buffer))
    pixels = [data[5 * y + x // 8] >> (7 - x % 8) & 1 for y in range(H) for x in range(W)]
    return image, grey_lines([255 * p for p in pixels]), {}


def deep(width, window=0, level=0):
    def make():
        data = b''.join(struct.pack('<H', random.randrange(1 << width)) for _ in range(W * H))
        image = make_image(v.Y16, W, H, data, width)
        span = window or 1 << width
        low = (level if window else span // 2) - span // 2
        values = struct.unpack(f'<{W * H}H', data)
        grey = [min(max((value - low) * 256 // span, 0), 255) for value in values]
        return image, grey_lines(grey), {v.DISPLAY_WINDOW: window, v.DISPLAY_LEVEL: level}
    return make


def hsi():
    image, _, _ = converted(v.HSI)()
    return image, grey_lines(stored(image)[3::4]), {}


def mosaic(colour):
    def make():
        image = make_image(v.RGGB32, W, H)
        if colour == 0:
            return image, grey_lines(stored(image)), {v.DISPLAY_MOSAIC: 0}
        developed = call('image_create', expect=None)
        call('BAY_RGGB32_to_BGRX32', image, developed, 1, colour, v.STRIP_NEXT)
        lines = colours(developed)
        call('image_destroy', developed)
        return image, lines, {v.DISPLAY_MOSAIC: colour}
    return make


FORMATS = {name: converted(getattr(v, name)) for name in (
    'Y8', 'PALETTED', 'RGB8', 'RGB15', 'RGB16', 'RGB24', 'BGR24', 'RGBX32', 'BGRX32', 'XBGR32',
    'XRGB32', 'YUV422', 'CMYK32')}
FORMATS |= {'Y1': bits, 'Y16 of 16': deep(16), 'Y16 of 12': deep(12), 'Y16 of 5': deep(5),
            'Y16 window': deep(12, 1000, 2000), 'Y16 narrow': deep(8, 1, 100), 'HSI': hsi}
FORMATS |= {f'mosaic {n}': mosaic(n) for n in range(5)}

# ---- What a window shows

BACKGROUND = (10, 200, 30)


def nearest(n, size, scaled):
    return (2 * n + 1) * size // (2 * scaled)


def between(n, size, scaled):
    position = min(max((2 * n + 1) * size * 128 // scaled - 128, 0), (size - 1) * 256)
    return (position // 256, position % 256) if size != scaled else (n, 0)


def render(lines, size, region=None, target=None, fit=0, zoom=0):
    """The colours of a window, pixel by pixel."""
    x0, y0, w, h = region or (0, 0, 0, 0)
    w, h = w or len(lines[0]) - x0, h or len(lines) - y0
    tx, ty, tw, th = target or (0, 0, 0, 0)
    tw, th = tw or size[0] - tx, th or size[1] - ty
    px, py, pw, ph = tx, ty, w, h
    if fit == v.DISPLAY_FIT_STRETCH:
        pw, ph = tw, th
    elif fit == v.DISPLAY_FIT_ASPECT:
        if tw * h <= th * w:
            pw, ph = tw, max((2 * h * tw + w) // (2 * w), 1)
        else:
            pw, ph = max((2 * w * th + h) // (2 * h), 1), th
        px, py = tx + (tw - pw) // 2, ty + (th - ph) // 2

    def colour(x, y):
        if not (tx <= x < tx + tw and ty <= y < ty + th and px <= x < px + pw and py <= y < py + ph):
            return BACKGROUND
        if zoom == v.DISPLAY_NEAREST:
            return lines[y0 + nearest(y - py, h, ph)][x0 + nearest(x - px, w, pw)]
        (cx, wx), (cy, wy) = between(x - px, w, pw), between(y - py, h, ph)
        at = [[lines[y0 + min(cy + j, h - 1)][x0 + min(cx + i, w - 1)] for i in (0, 1)] for j in (0, 1)]
        across = [[a * (256 - wx) + b * wx for a, b in zip(*pair)] for pair in at]
        return tuple((a * (256 - wy) + b * wy + 32768) // 65536 for a, b in zip(*across))
    return [[colour(x, y) for x in range(size[0])] for y in range(size[1])]


def packed(lines, depth):
    if depth == 8:
        return [[r >> 5 | (g >> 5) << 3 | (b >> 6) << 6 for r, g, b in line] for line in lines]
    if depth == 16:
        return [[(r >> 3) << 11 | (g >> 2) << 5 | b >> 3 for r, g, b in line] for line in lines]
    return [[r << 16 | g << 8 | b for r, g, b in line] for line in lines]


class Display:
    def __init__(self, server, depth, width=60, height=40, **settings):
        self.server, self.depth, self.size = server, depth, (width, height)
        self.handle = call('display_create', expect=None)
        self.set(DISPLAY_BACKGROUND=BACKGROUND[0] << 16 | BACKGROUND[1] << 8 | BACKGROUND[2], **settings)
        call('display_open', self.handle, b'Display', width, height)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        call('display_destroy', self.handle)

    def set(self, **settings):
        for name, value in settings.items():
            call('display_set_parameter', self.handle, getattr(v, name), value & 0xFFFFFFFF)

    def get(self, name):
        value = ctypes.c_uint32()
        call('display_get_parameter', self.handle, getattr(v, name), ctypes.byref(value))
        return value.value

    def show(self, image, lines=None):
        for _ in range(0, parameter(image, v.HEIGHT), lines or parameter(image, v.HEIGHT)):
            call('display_image', self.handle, image, v.STRIP_NEXT)

    def event(self, milliseconds=0, expect=None):
        event = Event()
        call('display_next_event', self.handle, ctypes.byref(event), milliseconds, expect=expect)
        return event

    def compare(self, what, lines, size=None, at=(0, 0)):
        wanted = packed(lines, self.depth)
        until(what, lambda: self.server.pixels(*at, *(size or self.size)) == wanted)


# ---- The checks

PLACEMENTS = [  # region, target, fit, zoom
    (None, None, 0, 0),
    ((3, 2, 0, 0), None, 0, 0),
    ((5, 4, 11, 9), (7, 8, 0, 0), 0, 1),
    (None, (-9, -5, 0, 0), 0, 0),
    (None, (50, 30, 0, 0), 0, 0),
    (None, (4, 3, 20, 10), 0, 0),
    (None, None, 1, 0),
    (None, None, 1, 1),
    (None, None, 2, 0),
    ((1, 1, 5, 17), None, 2, 1),
    ((9, 3, 12, 6), (5, 7, 33, 29), 1, 0),
    ((9, 3, 13, 6), (-30, -20, 150, 111), 1, 1),
    (None, (2, 2, 17, 9), 1, 0),
    (None, (2, 2, 17, 9), 2, 1),
    ((0, 0, 1, 1), None, 1, 1),
    (None, (2, 2, 38, 30), 1, 0),
    (None, (2, 2, 38, 30), 1, 1),
    (None, (-50, 3, 40, 10), 0, 0),
    (None, (3, 45, 10, 10), 1, 1),
]


def place(display, region, target, fit, zoom):
    names = ('X', 'Y', 'WIDTH', 'HEIGHT')
    display.set(DISPLAY_FIT=fit, DISPLAY_ZOOM=zoom,
                **{f'DISPLAY_REGION_{n}': value for n, value in zip(names, region or (0,) * 4)},
                **{f'DISPLAY_TARGET_{n}': value for n, value in zip(names, target or (0,) * 4)})


def in_strips(image, lines):
    """Shows strips of an image from a second image, whose buffer receives one strip after another."""
    part = call('image_create', expect=None)
    call('image_copy_parameters_raw', image, part)
    viq.VIQ_image_set_flags(part, v.FLAG_LOCKED, 0)
    call('image_set_parameter', part, v.LINES_PER_STRIP, lines)
    call('image_malloc_a_strip', part)
    stride, height = parameter(image, v.BYTES_PER_LINE), parameter(image, v.HEIGHT)
    for y in range(0, height, lines):
        ctypes.memmove(address(part), address(image) + y * stride, stride * min(lines, height - y))
        yield part
    call('image_destroy', part)


def check_formats(server, depth, methods):
    for method in methods:
        with Display(server, depth, DISPLAY_METHOD=method) as display:
            for name, make in FORMATS.items():
                if (name, depth) == ('RGB15', 16):
                    continue  # converted without the way over 8 bits that `packed` takes
                image, lines, settings = make()
                for number, value in settings.items():
                    call('display_set_parameter', display.handle, number, value)
                for region, target, fit, zoom in (PLACEMENTS[0], PLACEMENTS[2], PLACEMENTS[7]):
                    place(display, region, target, fit, zoom)
                    what = f'{name}, method {method}, depth {depth}, fit {fit}'
                    display.show(image)
                    wanted = render(lines, display.size, region, target, fit, zoom)
                    display.compare(what, wanted)
                    if name != 'Y1':
                        fill_background(display)
                        for lines_per_strip in (1, 4):
                            for part in in_strips(image, lines_per_strip):
                                call('display_image', display.handle, part, v.STRIP_NEXT)
                            display.compare(f'{what}, strips of {lines_per_strip}', wanted)
                call('image_destroy', image)


def fill_background(display):
    image = make_image(v.Y8, W, H, bytes(W * H))
    display.show(image)
    call('image_destroy', image)


def check_placements(server, depth):
    image, lines, _ = FORMATS['YUV422']()
    with Display(server, depth) as display:
        for region, target, fit, zoom in PLACEMENTS:
            place(display, region, target, fit, zoom)
            wanted = render(lines, display.size, region, target, fit, zoom)
            display.show(image)
            display.compare(f'placement {region, target, fit, zoom}', wanted)
            fill_background(display)
            for part in in_strips(image, 3):
                call('display_image', display.handle, part, v.STRIP_NEXT)
            display.compare(f'placement {region, target, fit, zoom} in strips', wanted)
        for region in ((30, 0, 9, 0), (W, 0, 0, 0), (0, H, 0, 0), (0, 10, 0, 12)):
            place(display, region, None, 0, 0)
            call('display_image', display.handle, image, v.STRIP_NEXT,
                 expect=(v.ERR_PARAMETER, 'Region outside the image'))
    call('image_destroy', image)


def check_repainting(server, depth, methods):
    client = Client()
    for method in methods:
        image, lines, _ = FORMATS['RGB24']()
        with Display(server, depth, DISPLAY_METHOD=method) as display:
            window = client.newest_window()
            display.compare('background', render(lines, display.size, None, (99, 99, 0, 0)))
            display.show(image)
            cover = client.window(5, 5, 20, 10, 0x123456)
            until('covered', lambda: server.pixels(5, 5, 1, 1) != packed([[lines[5][5]]], depth))
            client.destroy(cover)
            wanted = packed(render(lines, display.size), depth)
            until('repainted after being covered', lambda: display.event() and
                  server.pixels(0, 0, *display.size) == wanted)

            display.size = (71, 33)
            place(display, None, None, v.DISPLAY_FIT_STRETCH, 0)
            client.resize(window, *display.size)
            events = []
            until('resize event', lambda: events.append(display.event(100)) or
                  events[-1].type == v.EVENT_RESIZE)
            if (events[-1].width, events[-1].height) != display.size:
                fail('size of the resize event')
            display.compare('resized', render(lines, display.size, fit=1))
            if (display.get('DISPLAY_WINDOW_WIDTH'), display.get('DISPLAY_WINDOW_HEIGHT')) != (71, 33):
                fail('size of the window')

            # A picture that no longer exists can be painted again, but not made again.
            call('image_destroy', image)
            call('display_refresh', display.handle)
            display.compare('kept pixels', render(lines, display.size, fit=1))
            place(display, None, None, 0, 0)
            call('display_refresh', display.handle,
                 expect=(v.ERR_STATE, 'Picture no longer available'))
            display.compare('background again', render(lines, display.size, None, (99, 99, 0, 0)))


def check_pixels(server, depth):
    image, lines, _ = FORMATS['YUV422']()
    data = stored(image)
    with Display(server, depth) as display:
        pixel = Pixel()
        call('display_get_pixel', display.handle, 1, 1, ctypes.byref(pixel),
             expect=(v.ERR_STATE, 'No picture shown'))
        for region, target, fit, zoom in PLACEMENTS:
            place(display, region, target, fit, 0)
            display.show(image)
            shown = render(lines, display.size, region, target, fit, 0)
            for x, y in ((0, 0), (8, 9), (33, 20), (59, 39), (60, 0), (-1, 3)):
                inside = 0 <= x < 60 and 0 <= y < 40 and shown[y][x] != BACKGROUND
                call('display_get_pixel', display.handle, x, y, ctypes.byref(pixel),
                     expect=0 if inside else (v.ERR_PARAMETER, 'Position outside the picture'))
                if not inside:
                    continue
                at = pixel.y * 2 * W + pixel.x // 2 * 4
                values = (data[at + pixel.x % 2 * 2], data[at + 1], data[at + 3], 0)
                if (tuple(pixel.value) != values or pixel.components != 3 or
                        (pixel.red, pixel.green, pixel.blue) != shown[y][x] or
                        shown[y][x] != lines[pixel.y][pixel.x]):
                    fail(f'pixel at {x, y} of {region, target, fit}')
        call('image_destroy', image)
        call('display_get_pixel', display.handle, 8, 9, ctypes.byref(pixel), expect=None)
        if pixel.components != 0:
            fail('components of an image that no longer exists')


COMPONENTS = {  # of a pixel, from the bytes at its position
    name: lambda at, order=order: tuple(at[n] for n in order) for name, order in {
        'Y8': (0,), 'PALETTED': (0,), 'RGB24': (0, 1, 2), 'BGR24': (2, 1, 0), 'RGBX32': (0, 1, 2),
        'BGRX32': (2, 1, 0), 'XBGR32': (3, 2, 1), 'XRGB32': (1, 2, 3), 'CMYK32': (0, 1, 2, 3),
        'mosaic 2': (0,)}.items()
} | {
    'Y16 of 12': lambda at: (at[0] | at[1] << 8,),
    'HSI': lambda at: (at[0] | at[1] << 8, at[2], at[3]),
    'RGB8': lambda at: (at[0] >> 5, at[0] >> 2 & 7, at[0] & 3),
    'RGB15': lambda at: ((at[0] | at[1] << 8) >> 10 & 31, (at[0] | at[1] << 8) >> 5 & 31, at[0] & 31),
    'RGB16': lambda at: ((at[0] | at[1] << 8) >> 11, (at[0] | at[1] << 8) >> 5 & 63, at[0] & 31),
}


def check_components(server, depth):
    with Display(server, depth) as display:
        for name, components in COMPONENTS.items():
            image, lines, settings = FORMATS[name]()
            for number, value in settings.items():
                call('display_set_parameter', display.handle, number, value)
            display.show(image)
            data, stride = stored(image), parameter(image, v.BYTES_PER_LINE)
            for x, y in ((0, 0), (13, 7), (W - 1, H - 1)):
                wanted = components(data[y * stride + x * (stride // W):])
                if get_pixel(display, x, y) != (wanted, lines[y][x]):
                    fail(f'{name}: pixel {x, y} is {get_pixel(display, x, y)}')
            call('image_destroy', image)
        image, lines, _ = FORMATS['Y1']()
        display.show(image)
        if get_pixel(display, 9, 5) != ((lines[5][9][0] // 255,), lines[5][9]):
            fail('pixel of bits')
        call('image_destroy', image)

        # Of an image in strips, only the lines of the last strip are in memory.
        image, lines, _ = FORMATS['RGB24']()
        for n, part in enumerate(in_strips(image, 8)):
            call('display_image', display.handle, part, v.STRIP_NEXT)
            for y in (3, 8, 15, 20):
                wanted = (lines[y][6], lines[y][6]) if y // 8 == n else ((), (0, 0, 0))
                if get_pixel(display, 6, y) != wanted:
                    fail(f'line {y} after strip {n}')
        call('image_destroy', image)


def get_pixel(display, x, y):
    pixel = Pixel()
    call('display_get_pixel', display.handle, x, y, ctypes.byref(pixel))
    return tuple(pixel.value)[:pixel.components], (pixel.red, pixel.green, pixel.blue)


def check_changed_images(server, depth):
    """An image that has changed since it was shown is not read as what it was."""
    with Display(server, depth) as display:
        for name, change in (('Y16 of 12', ('image_set_parameter', v.DATA_WIDTH, 11)),
                             ('RGB24', ('image_set_parameter', v.WIDTH, W - 1)),
                             ('RGB24', ('image_set_parameter', v.IMAGE_TYPE, v.BGR24)),
                             ('RGB24', ('image_set_parameter', v.LINES_PER_STRIP, 1)),
                             ('RGB24', ('image_free_data',)),
                             ('PALETTED', ('image_set_ptr', v.PTR_CMAP, None))):
            image, lines, _ = FORMATS[name]()
            place(display, None, None, 0, 0)
            display.show(image)
            place(display, (1, 1, 0, 0), None, 0, 0)
            call('display_refresh', display.handle)
            display.compare(f'{name}: another region', render(lines, display.size, (1, 1, 0, 0)))
            call(change[0], image, *change[1:])
            if get_pixel(display, 0, 0)[0]:
                fail(f'{name}: components after {change}')
            place(display, None, None, 0, 0)
            call('display_refresh', display.handle,
                 expect=(v.ERR_STATE, 'Picture no longer available'))
            call('image_destroy', image)


def check_own_window(server, depth):
    """What another program, or the caller, does with a window between two calls."""
    client = Client()
    image, lines, _ = FORMATS['RGB24']()
    with Display(server, depth) as display:
        display.show(image)
        for method in (v.DISPLAY_PIXMAP, v.DISPLAY_BEST, v.DISPLAY_IMAGE):
            display.set(DISPLAY_METHOD=method)
            call('display_refresh', display.handle)
            if display.get('DISPLAY_METHOD_IN_USE') not in (method, method or v.DISPLAY_SHARED_MEMORY):
                fail(f'method {display.get("DISPLAY_METHOD_IN_USE")} in use, not {method}')
            display.compare(f'method {method}', render(lines, display.size))
        window = client.newest_window()
        display.size = (60, 51)
        client.resize(window, *display.size)
        until('higher window', lambda: display.event(100).height == 51)
        display.compare('higher', render(lines, display.size))
        for function, *arguments in (('display_image', image, v.STRIP_NEXT),
                                     ('display_next_event', ctypes.byref(Event()), 30000)):
            client.destroy(client.newest_window())
            call(function, display.handle, *arguments, expect=(v.ERR_PARAMETER, 'No such window'))
            call('display_open', display.handle, b'', 60, 40)
    call('image_destroy', image)


def check_program_window(server, depth):
    client = Client()
    image, lines, _ = FORMATS['BGRX32']()
    window = client.window(3, 2, 60, 40, 0)
    display = Display.__new__(Display)
    display.server, display.depth, display.size = server, depth, (60, 40)
    display.handle = call('display_create', expect=None)
    for device in (None, client.connection):
        call('display_set_window', display.handle, ctypes.c_void_p(window), device)
        place(display, None, (10, 8, 30, 12), 0, 0)
        display.show(image)
        black = [[(0, 0, 0)] * 60 for _ in range(40)]
        for y in range(12):
            black[8 + y][10:40] = lines[y][:30]
        display.compare("window of the program", black, at=(3, 2))
        call('display_next_event', display.handle, ctypes.byref(Event()), 0,
             expect=(v.ERR_STATE, 'Display has no window'))
        call('display_close', display.handle)
    call('display_set_window', display.handle, ctypes.c_void_p(window), None)
    client.destroy(window)
    until('destroyed window', lambda: call('display_image', display.handle, image, v.STRIP_NEXT,
                                           expect=None) == v.ERR_PARAMETER)
    call('display_set_window', display.handle, ctypes.c_void_p(window), None,
         expect=(v.ERR_PARAMETER, 'No such window'))

    # Errors of the program's own connection reach its own handler.
    met = []
    handler = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p)(
        lambda *_: met.append(1) or 0)
    client.x.XSetErrorHandler(handler)
    with Display(server, depth) as other:
        other.show(image)
        client.destroy(window)
        if not met:
            fail("the program's error handler")
    client.x.XSetErrorHandler(None)
    call('display_destroy', display.handle)
    call('image_destroy', image)


def check_events(server, depth):
    client = Client()
    image, _, _ = FORMATS['Y8']()
    tool = lambda *words: subprocess.run(['xdotool', *map(str, words)], check=True)
    with Display(server, depth) as display:
        place(display, None, None, v.DISPLAY_FIT_STRETCH, 0)
        display.show(image)
        if display.event(1, expect=0).type != v.EVENT_NONE:
            fail('an event without a cause')

        def expect_event(kind, **fields):
            event = Event()
            until(f'event {kind} {fields}',
                  lambda: call('display_next_event', display.handle, ctypes.byref(event), 100,
                               expect=None) == 1 and event.type == kind)
            for name, value in fields.items():
                if getattr(event, name) != value:
                    fail(f'event {kind}: {name} is {getattr(event, name)}, not {value}')

        tool('mousemove', 15, 20)
        expect_event(v.EVENT_MOTION, window_x=15, window_y=20, inside=1,
                     image_x=15.5 * W / 60, image_y=20.5 * H / 40)
        for button, name in ((1, 'LEFT'), (2, 'MIDDLE'), (3, 'RIGHT')):
            tool('click', button)
            expect_event(v.EVENT_BUTTON_DOWN, button=button, modifiers=0)
            expect_event(v.EVENT_BUTTON_UP, button=button, modifiers=getattr(v, 'MODIFIER_' + name))
        for button in (8, 9):
            tool('click', button)
            expect_event(v.EVENT_BUTTON_DOWN, button=button - 4)
        for button, x, y in ((4, 0, 1), (5, 0, -1), (6, -1, 0), (7, 1, 0)):
            tool('click', button)
            expect_event(v.EVENT_WHEEL, wheel_x=x, wheel_y=y, window_x=15)
        for name, key, modifiers in (('a', ord('a'), 0), ('shift+a', ord('A'), v.MODIFIER_SHIFT),
                                     ('ctrl+c', ord('c'), v.MODIFIER_CONTROL), ('Return', 13, 0),
                                     ('Escape', 27, 0), ('Left', v.KEY_LEFT, 0),
                                     ('Next', v.KEY_PAGE_DOWN, 0), ('F12', v.KEY_F12, 0)):
            tool('key', name)
            event = Event()
            until(f'key {name}', lambda: display_key(display, event, v.EVENT_KEY_DOWN, key))
            if event.modifiers != modifiers:
                fail(f'modifiers of {name}')
        window = client.newest_window()
        for names in ((b'WM_PROTOCOLS', b'WM_TAKE_FOCUS'), (b'WM_COLORS', b'WM_DELETE_WINDOW')):
            client.send_message(window, *names)
        tool('mousemove', 200, 200)
        event = Event()
        until('the pointer leaves', lambda: call('display_next_event', display.handle, ctypes.byref(event), 100,
                                                 expect=None) == 1 and event.type != v.EVENT_KEY_UP)
        if event.type != v.EVENT_LEAVE:
            fail(f'event {event.type} of a message that does not close')
        client.ask_to_close(window)
        expect_event(v.EVENT_CLOSE)
    call('image_destroy', image)


def display_key(display, event, kind, key):
    return call('display_next_event', display.handle, ctypes.byref(event), 100,
                expect=None) == 1 and event.type == kind and event.key == key


LOST = (v.ERR_SYSTEM, 'Connection to the display server lost')


def check_lost_server(depth):
    for name in ('display_image', 'display_refresh', 'display_next_event', 'display_set_title'):
        for method in (v.DISPLAY_IMAGE, v.DISPLAY_SHARED_MEMORY):
            with Server(100, 80, depth) as server:
                image, _, _ = FORMATS['RGB24']()
                display = Display(server, depth, DISPLAY_METHOD=method)
                display.show(image)
            arguments = {'display_image': (image, v.STRIP_NEXT), 'display_refresh': (),
                         'display_next_event': (ctypes.byref(Event()), 5),
                         'display_set_title': (b'title',)}[name]
            call(name, display.handle, *arguments, expect=LOST)
            call(name, display.handle, *arguments, expect=(v.ERR_STATE, 'Display has no window'))
            call('display_close', display.handle)
            call('display_open', display.handle, b'', 10, 10,
                 expect=(v.ERR_UNSUPPORTED, 'No display system'))
            call('display_destroy', display.handle)
            call('image_destroy', image)
    with Server(100, 80, depth) as server:
        display = Display(server, depth)
    call('display_destroy', display.handle)


def check_missing():
    """Without a server, and without libX11."""
    display = call('display_create', expect=None)
    os.environ['DISPLAY'] = ':65432'
    call('display_open', display, b'', 10, 10, expect=(v.ERR_UNSUPPORTED, 'No display system'))
    call('display_set_window', display, ctypes.c_void_p(77), None,
         expect=(v.ERR_UNSUPPORTED, 'No display system'))
    call('display_destroy', display)


def check_refusals(server, depth):
    display = call('display_create', expect=None)
    for name, arguments, code, message in (
            ('display_set_parameter', (99, 0), v.ERR_PARAMETER, 'Unknown parameter'),
            ('display_set_parameter', (v.DISPLAY_METHOD_IN_USE, 0), v.ERR_PARAMETER, 'Unknown'),
            ('display_set_parameter', (v.DISPLAY_FIT, 3), v.ERR_PARAMETER, 'out of range'),
            ('display_set_parameter', (v.DISPLAY_METHOD, v.DISPLAY_DIB), v.ERR_UNSUPPORTED,
             'Display method not available'),
            ('display_set_parameter', (v.DISPLAY_VSYNC, 1), v.ERR_UNSUPPORTED, 'No vertical sync'),
            ('display_set_parameter', (v.DISPLAY_TARGET_X, -1000001), v.ERR_PARAMETER, 'out of range'),
            ('display_open', (b'', 0, 5), v.ERR_PARAMETER, 'Window size out of range'),
            ('display_open', (b'', 5, 0), v.ERR_PARAMETER, 'Window size out of range'),
            ('display_open', (b'', 32768, 5), v.ERR_PARAMETER, 'Window size out of range'),
            ('display_open', (b'', 5, 32768), v.ERR_PARAMETER, 'Window size out of range'),
            ('display_set_window', (None, None), v.ERR_PARAMETER, 'Null pointer'),
            ('display_get_parameter', (v.DISPLAY_FIT, None), v.ERR_PARAMETER, 'Null pointer'),
            ('display_open', (None, 5, 5), v.ERR_PARAMETER, 'Null pointer'),
            ('display_refresh', (), v.ERR_STATE, 'Display has no window')):
        call(name, display, *arguments, expect=(code, message))
    call('display_destroy', display)
    call('display_refresh', display, expect=(v.ERR_HANDLE, ''))
    with Display(server, depth) as shown:
        call('display_open', shown.handle, b'', 5, 5, expect=(v.ERR_STATE, 'has a window already'))
        for name, arguments in (('display_set_title', (None,)), ('display_get_pixel', (0, 0, None)),
                                ('display_next_event', (None, 0))):
            call(name, shown.handle, *arguments, expect=(v.ERR_PARAMETER, 'Null pointer'))
        shown.set(DISPLAY_VSYNC=0)
        call('display_image', shown.handle, call('image_create', expect=None), v.STRIP_NEXT, expect=None)
        if not reports:
            fail('an image without pixels')
        high = make_image(v.Y8, 1, 1)
        call('image_set_parameter', high, v.HEIGHT, 1 << 31)
        call('display_image', shown.handle, high, v.STRIP_NEXT,
             expect=(v.ERR_UNSUPPORTED, 'Image too large to be shown'))
        plain = make_image(v.PALETTED, 4, 4)
        call('image_set_ptr', plain, v.PTR_CMAP, None)
        call('display_image', shown.handle, plain, v.STRIP_NEXT, expect=(v.ERR_STATE, 'Colourmap is NULL'))
        odd = make_image(v.YUV422, 5, 4)
        call('display_image', shown.handle, odd, v.STRIP_NEXT,
             expect=(v.ERR_UNSUPPORTED, 'YUV422 image must be an even width'))
        wide = make_image(v.Y64, 4, 4)
        call('display_image', shown.handle, wide, v.STRIP_NEXT,
             expect=(v.ERR_UNSUPPORTED | v.Y64, 'Unsupported image format'))
        call('image_destroy', v.ALL_IMAGES)
        call('display_refresh', shown.handle, expect=(v.ERR_HANDLE, ''))


def check_other_servers():
    """Servers that share no memory with the program."""
    for options, host in ((('-extension', 'MIT-SHM'), ''), (('-listen', 'tcp', '-ac'), 'localhost')):
        with Server(320, 240, 24, *options) as server:
            os.environ['DISPLAY'] = host + os.environ['DISPLAY']
            check_placements(server, 24)
            with Display(server, 24) as display:
                if display.get('DISPLAY_METHOD_IN_USE') != v.DISPLAY_IMAGE:
                    fail(f'method in use with {options}')
                display.set(DISPLAY_METHOD=v.DISPLAY_SHARED_MEMORY)
                call('display_refresh', display.handle,
                     expect=(v.ERR_UNSUPPORTED, 'Display method not available'))


def check_all():
    methods = (v.DISPLAY_IMAGE, v.DISPLAY_PIXMAP, v.DISPLAY_SHARED_MEMORY)
    for depth in (24, 16):
        with Server(320, 240, depth) as server:
            check_formats(server, depth, methods if depth == 24 else methods[2:])
            check_placements(server, depth)
            check_repainting(server, depth, methods)
            check_pixels(server, depth)
            check_components(server, depth)
            check_changed_images(server, depth)
            check_own_window(server, depth)
            check_program_window(server, depth)
            check_events(server, depth)
            check_refusals(server, depth)
    with Server(320, 240, 8) as server: # the default visual has a colourmap; another one is used
        check_placements(server, 8)
        display = call('display_create', expect=None)
        call('display_set_window', display, ctypes.c_void_p(Client().window(0, 0, 9, 9, 0)), None,
             expect=(v.ERR_UNSUPPORTED | 8, 'Unsupported depth of window'))
        call('display_destroy', display)
    check_other_servers()
    check_lost_server(24)
    check_missing()


viq.VIQ_Init()
viq.VIQ_ErrHandlerInstall(note_report)
if len(sys.argv) > 3:
    check_missing()
else:
    check_all()
    # A library that cannot be loaded stands for one that is missing, another one for an old version.
    for contents in (b'', Path(LIBRARY).read_bytes()):
        with tempfile.TemporaryDirectory() as folder:
            (Path(folder) / 'libX11.so.6').write_bytes(contents)
            again = subprocess.run([sys.executable, *sys.argv, 'missing'],
                                   env={**os.environ, 'LD_LIBRARY_PATH': folder})
            if again.returncode != 0:
                fail('without libX11')
