"""Drives viq view by keys and the mouse and compares what its window shows.
Arguments: the tool, an empty folder."""
import os
import statistics
import struct
import subprocess
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent.parent / 'display'))
from server import Client, Server, until

tool, folder = sys.argv[1], Path(sys.argv[2])
WIDTH, HEIGHT = 400, 300  # of the window, 50 times the size of the pictures
COLUMNS, LINES = 8, 6


def xdotool(text):
    return subprocess.run(['xdotool', *text.split()], capture_output=True, text=True).stdout.strip()


class Viewer:
    def __init__(self, *arguments, size=('--size', f'{WIDTH}x{HEIGHT}')):
        self.output = open(folder / 'output', 'w+')
        self.process = subprocess.Popen([tool, 'view', *size, *map(str, arguments)],
                                        stdout=self.output, stderr=subprocess.STDOUT)

    def title(self):
        return xdotool('search --name .+ getwindowname')  # empty: no window

    def says(self, text):
        until(f'title with "{text}", not "{self.title()}"', lambda: text in self.title())

    def shows(self, what, expected):
        until(what, lambda: server.pixels(0, 0, WIDTH, HEIGHT) == expected)

    def ends(self, status):
        until(f'end with status {status}', lambda: self.process.poll() is not None)
        assert self.process.returncode == status, self.process.returncode
        self.output.seek(0)
        return self.output.read()


def scaled(pixels, scale, left, top):
    """What the window shows of pixels[y][x]."""
    rows = []
    for y in range(top, top + LINES * scale):
        row = [0] * WIDTH
        for x in range(max(left, 0), min(left + COLUMNS * scale, WIDTH)):
            row[x] = pixels[(y - top) // scale][(x - left) // scale]
        rows.append(row)
    black = [[0] * WIDTH]
    return (black * max(top, 0) + rows[max(-top, 0):] + black * HEIGHT)[:HEIGHT]


def picture(colour):
    return [[colour(x, y) for x in range(COLUMNS)] for y in range(LINES)]


def write_ppm(name, pixels):
    data = b''.join(pixel.to_bytes(3, 'big') for row in pixels for pixel in row)
    (folder / name).write_bytes(b'P6 %d %d 255\n' % (COLUMNS, LINES) + data)
    return folder / name


def grey(value):
    return value * 0x10101


def check_navigation():
    first = picture(lambda x, y: x * 30 << 16 | y * 40 << 8 | x * y * 5)
    second = picture(lambda x, y: 0xFFFFFF - first[y][x])
    damaged = folder / 'damaged.bmp'
    damaged.write_bytes(b'BM')
    viewer = Viewer(write_ppm('first.ppm', first), damaged, write_ppm('second.ppm', second))
    zoomed = [
        # keys and mouse; part of the title; picture, scale, left and top
        ('', 'first.ppm - file 1 of 3 - 8 x 6 rgb24 - 5000 %', (first, 50, 0, 0)),
        ('mousemove 100 75', '2, 1: 60 40 10', (first, 50, 0, 0)),
        ('click 4', '6400 %', (first, 64, -28, -21)),
        ('key Right', '2, 1: 60 40 10', (first, 64, -78, -21)),
        ('key Down Down', '2, 2: 60 80 20', (first, 64, -78, -84)),
        ('key Right Right', '3, 2: 90 80 30', (first, 64, -112, -84)),
        ('mousedown 3 mousemove 130 85 mouseup 3', '', (first, 64, -82, -74)),
        ('mousemove 100 75 key minus', '4800 %', (first, 48, 8, 6)),
        ('click 4 click 5', '4800 %', (first, 48, 8, 6)),
        ('key 1', '100 %', (first, 1, 196, 147)),
        ('key f', '5000 %', (first, 50, 0, 0)),
        ('key n', 'second.ppm - file 2 of 2', (second, 50, 0, 0)),
        ('key plus', f'skipped {damaged}', (second, 64, -28, -21)),
        ('key Next', 'first.ppm - file 1 of 2', (first, 64, -28, -21)),
        ('key p', 'second.ppm - file 2 of 2', (second, 64, -28, -21)),
        ('key Prior 0', 'first.ppm - file 1 of 2', (first, 50, 0, 0)),
    ]
    for actions, title, (pixels, *place) in zoomed:
        xdotool(actions)
        viewer.says(title)
        viewer.shows(actions, scaled(pixels, *place))
    check_region(viewer, first)
    xdotool('key question')
    until('help', lambda: server.pixels(0, 0, WIDTH, HEIGHT) != scaled(first, 50, 0, 0))
    xdotool('key question')
    viewer.shows('without help', scaled(first, 50, 0, 0))
    xdotool('key q')
    return str(damaged) in viewer.ends(2)


def check_region(viewer, pixels):
    xdotool('mousemove 75 75 mousedown 1 mousemove 125 80 mousemove 175 125 mouseup 1')
    edge = [0xFFFFFF] * 4 + [0] * 4 + [0xFFFFFF] * 4
    until('outline', lambda: server.pixels(50, 50, 12, 1)[0] == edge)
    part = [pixel for row in pixels[1:3] for pixel in row[1:4]]
    expected = f'{folder / "first.ppm"}: 3 x 2 at 1, 1\n'
    for name, shift in (('red', 16), ('green', 8), ('blue', 0)):
        samples = [pixel >> shift & 255 for pixel in part]
        expected += (f'{folder / "first.ppm"}: {name:<5} mean {statistics.mean(samples):6.2f}  '
                     f'sd {statistics.pstdev(samples):6.2f}  min {min(samples):3}  '
                     f'max {max(samples):3}\n')
    until(f'statistics:\n{expected}', lambda: expected in (folder / 'output').read_text())
    xdotool('click 1')
    viewer.shows('without region', scaled(pixels, 50, 0, 0))


def check_grey16():
    values = picture(lambda x, y: 1000 * x + 10 * y)
    raw = folder / 'grey.raw'
    raw.write_bytes(b''.join(struct.pack(f'<{COLUMNS}H', *row) for row in values))
    viewer = Viewer('--raw', f'{COLUMNS}x{LINES},mono16,values', raw)
    viewer.says('window 65536')
    for actions, window, level in (('mousemove 1 1', 65536, 32768), ('key w', 7051, 3525),
                                   ('key bracketright', 7051, 3965), ('key braceleft', 5641, 3965),
                                   ('key bracketleft key braceright', 7052, 3613),
                                   ('key a', 65536, 32768)):
        xdotool(actions)
        viewer.says(f'window {window} level {level} - 0, 0: 0')
        low = level - window // 2
        mapped = picture(lambda x, y: grey(max(0, min(255, (values[y][x] - low) * 256 // window))))
        viewer.shows(actions, scaled(mapped, 50, 0, 0))
        xdotool('key h')  # the same values in a copy for the statistics
        until('statistics', lambda: server.pixels(0, 250, 9, 1)[0] != mapped[5][0:1] * 9)
        mapped_top = scaled(mapped, 50, 0, 0)[:100]
        until('picture', lambda: server.pixels(0, 0, WIDTH, 100) == mapped_top)
        xdotool('key h')
    xdotool('key Escape')
    viewer.ends(0)


def check_film():
    raw = folder / 'film.raw'
    raw.write_bytes(b''.join(bytes([50 * n]) * (COLUMNS * LINES) for n in (1, 2, 3)))
    described = ('--raw', f'{COLUMNS}x{LINES},mono8', raw)
    viewer = Viewer(*described, '--fps', '0.01')
    for actions, frame in (('', 1), ('key period', 2), ('key comma key comma', 3),
                           ('key period', 1)):
        xdotool(actions)
        viewer.says(f'frame {frame} of 3')
        viewer.shows(actions, [[grey(50 * frame)] * WIDTH] * HEIGHT)
    xdotool('key space')
    client.ask_to_close(client.newest_window())
    viewer.ends(0)
    playing = Viewer(*described, '--fps', '5')
    for frame in (3, 1, 2):
        playing.says(f'frame {frame} of 3')
    xdotool('key comma key space')
    for frame in (1, 2, 3):
        playing.says(f'frame {frame} of 3')
    playing.process.send_signal(subprocess.signal.SIGINT)
    playing.ends(0)
    for frame in (1, 2):
        raw.write_bytes(bytes([50 * frame]) * 64)
        convert('--raw', '8x8,mono8', raw, folder / f'{frame}.jpg')
    sequence = folder / 'sequence.jpg'
    subprocess.run([tool, 'sequence', 'build', sequence, folder / '1.jpg', folder / '2.jpg'], check=True)
    viewer = Viewer(sequence, '--fps', '0.01')
    for actions, frame in (('', 1), ('key period', 2)):
        xdotool(actions)
        viewer.says(f'frame {frame} of 2')
        until(f'frame {frame}', lambda: server.pixels(200, 150, 1, 1) == [[grey(50 * frame)]])
    xdotool('key q')
    viewer.ends(0)


def convert(*arguments):
    subprocess.run([tool, 'convert', *map(str, arguments)], check=True, stdout=subprocess.DEVNULL)


def check_reduced():
    """Squares of 8 x 8 pixels, which keep their colours when the picture is reduced."""
    squares = [[x * 65536 + y * 256 + x * y % 251 for x in range(200)] for y in range(150)]
    large = folder / 'large.ppm'
    data = b''.join(b''.join(pixel.to_bytes(3, 'big') * 8 for pixel in row) * 8 for row in squares)
    large.write_bytes(b'P6 1600 1200 255\n' + data)
    viewer = Viewer(large)
    doubled = [[pixel for pixel in row for _ in (0, 1)] for row in squares for _ in (0, 1)]
    black = [[0] * WIDTH] * (HEIGHT // 4)
    single = black + [[0] * (WIDTH // 4) + row + [0] * (WIDTH // 4) for row in squares] + black
    for actions, title, expected in (('', '25 %', doubled), ('key minus key minus', '12 %', single),
                                     ('key plus key plus', '25 %', doubled),
                                     ('key minus key minus', '12 %', single)):
        xdotool(actions)
        viewer.says(f' - {title}')
        viewer.shows(f'{actions}: {title}', expected)
    xdotool('key minus')
    viewer.says(' - 8.3 %')
    xdotool('key minus ' * 8)
    viewer.says(' - 1.6 %')
    xdotool('key q')
    viewer.ends(0)


def check_other_pictures():
    """Samples as they are stored, windows of other sizes, and controls without an effect."""
    first = folder / 'first.ppm'
    for name, options, text in (('few.bmp', ('--palette', '16'), '0, 0: index '),
                                ('pairs.dwt', ('--format', 'yuv422'), '0, 0: YUV '),
                                ('bits.pbm', ('--bilevel', '128'), '0, 0: ')):
        convert(*options, first, folder / name)
        viewer = Viewer(folder / name)
        viewer.says(name)
        xdotool('mousemove 1 1')
        viewer.says(text)
        xdotool('key h')
        until('statistics', lambda: any(0 < p < 0xFFFFFF for p in server.pixels(0, 290, 100, 1)[0]) or
              name == 'bits.pbm')
        xdotool('key q')
        viewer.ends(0)

    viewer = Viewer(first, size=())
    viewer.says('first.ppm - 8 x 6 rgb24 - 6000 %')
    xdotool('key period key space key w key m key z key plus key plus click 8 mousemove 100 100')
    viewer.says('6400 %')
    xdotool('keydown shift mousedown 1 mousemove 100 120 mouseup 1 keyup shift')
    xdotool('mousedown 2 mousemove 100 100 mouseup 2')
    xdotool('mousedown 1 mousemove 300 200 mouseup 1 key plus key h')
    until('statistics', lambda: 'mean' in (folder / 'output').read_text())
    xdotool('key question mousemove 600 470')  # outside the window
    until('no position', lambda: viewer.title().endswith('6400 %'))
    xdotool('mousemove 5 5')
    window = client.newest_window()
    for width, height, zoom in ((1000, 900, 6400), (20, 10, 167), (160, 30, 500), (640, 30, 500)):
        client.resize(window, width, height)
        xdotool('key f')
        viewer.says(f'{zoom} %')
        xdotool('key h key question key h key question')
    xdotool('key q')
    viewer.ends(0)
    assert 'cannot be opened' in Viewer(folder / 'nosuch.ppm', folder / 'nosuch.tif').ends(2)
    assert 'x32768' in Viewer(first, size=('--size', '5x32768')).ends(2)


def check_mosaic():
    raw = folder / 'mosaic.raw'
    raw.write_bytes(bytes([200, 100, 100, 50] * (COLUMNS * LINES // 4)))
    viewer = Viewer('--raw', f'{COLUMNS}x{LINES},BayerRG8', raw)
    viewer.says('bgrx32')
    xdotool('mousemove 1 1 key m')
    viewer.says('y8 - 5000 % - 0, 0: 200')
    xdotool('key q')
    viewer.ends(0)
    raw.write_bytes(bytes([0, 200, 0, 100, 0, 100, 0, 50] * (COLUMNS * LINES // 4)))
    viewer = Viewer('--raw', f'{COLUMNS}x{LINES},BayerRG16', raw)
    viewer.says('bgrx32')
    xdotool('key m')
    viewer.says('y16')
    xdotool('key q')
    viewer.ends(0)


with Server(640, 480, 24) as server:
    client = Client()
    assert check_navigation()
    check_grey16()
    check_film()
    check_mosaic()
    check_reduced()
    check_other_pictures()
    lost = Viewer(folder / 'first.ppm')
    lost.says('first.ppm')
assert 'Connection to the display server lost' in lost.ends(2)
assert 'No display system; --terminal' in Viewer(folder / 'first.ppm').ends(2)
