#!/usr/bin/env python3
"""Measures the paths that programs spend their time in and writes the page docs/manual/speeds.md with
its plot. `scripts/bench.sh` builds the library and starts this program.

Every row runs VIQ, an earlier VIQ (--before), the other libraries and memcpy in turn, so that a
disturbance affects all of them, and keeps the shortest time of each.
"""
import argparse
import ctypes
import ctypes.util
import datetime
import math
import os
import platform
import re
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass, field
from pathlib import Path

SOURCE = Path(__file__).resolve().parent.parent
sys.path[:0] = [str(SOURCE / 'python')]
from generate import Headers  # noqa: E402

V = {name: value for name, value, _ in Headers(SOURCE / 'include').constants}
NEXT = V['VIQ_STRIP_NEXT']
WIDTH, HEIGHT = 1920, 1080
BYTES = {'Y8': 1, 'PALETTED': 1, 'Y16': 2, 'RGB16': 2, 'YUV422': 2, 'RGB24': 3, 'BGRX32': 4, 'RGGB32': 1}


class Viq:
    """One build of the library, with a photograph in RGB24."""

    def __init__(self, path):
        self.c = ctypes.CDLL(str(path))
        for name in ('VIQ_image_get_ptr', 'VIQ_LUT_get_ptr'):
            getattr(self.c, name).restype = ctypes.c_void_p
        self.c.VIQ_image_get_parameter.restype = ctypes.c_uint64
        self.c.VIQ_Init()
        self.photograph = self.sample('coffee')

    def sample(self, name):
        """A sample photograph of WIDTH x HEIGHT pixels in RGB24."""
        image = self.c.VIQ_image_create()
        self.c.VIQ_image_set_infilename(image, str(SOURCE / f'samples/{name}.bmp').encode())
        self.need(self.c.VIQ_image_read(image, 0, NEXT))
        rgb = self.made(self.c.VIQ_image_convert, image, V['VIQ_RGB24'], 0, NEXT)
        return self.made(self.c.VIQ_IP_scale, rgb, WIDTH, HEIGHT, NEXT)

    @staticmethod
    def need(code):
        if code != 0:
            raise SystemExit(f'a call of the library returned 0x{code & 0xffffffff:08x}')

    def made(self, function, source, *arguments):
        """The output of a function of an input and an output image."""
        out = self.c.VIQ_image_create()
        self.need(function(source, out, *arguments))
        return out

    def image(self, name, width=WIDTH, height=HEIGHT):
        """An image of noise with similar neighbours."""
        image = self.c.VIQ_image_create()
        for parameter, value in (('VIQ_IMAGE_TYPE', V[f'VIQ_{name}']), ('VIQ_WIDTH', width),
                                 ('VIQ_HEIGHT', height), ('VIQ_LINES_PER_STRIP', height)):
            self.c.VIQ_image_set_parameter(image, V[parameter], value)
        self.need(self.c.VIQ_image_malloc_a_strip(image))
        ctypes.memmove(self.data(image), NOISE, width * height * BYTES[name])
        return image

    def data(self, image):
        return self.c.VIQ_image_get_ptr(image, V['VIQ_PTR_DATA'])

    def array(self, image, channels, width=WIDTH, height=HEIGHT):
        """The pixels as an array of numpy that shares them."""
        import numpy
        line = self.c.VIQ_get_bytes_per_line(image)
        memory = (ctypes.c_uint8 * (line * height)).from_address(self.data(image))
        lines = numpy.frombuffer(memory, numpy.uint8).reshape(height, line)[:, :width * channels]
        return lines.reshape(height, width, channels) if channels > 1 else lines

    def call(self, name, *arguments):
        function, need = getattr(self.c, name), self.need
        return lambda: need(function(*arguments))


def noise():
    import numpy
    random = numpy.random.default_rng(1)
    levels = random.integers(40, 216, (WIDTH * HEIGHT * 4 // 512 + 1,), numpy.uint8)
    return (numpy.repeat(levels, 512) + random.integers(0, 32, levels.size * 512, numpy.uint8)).tobytes()


NOISE = noise()


@dataclass
class Row:
    family: str
    name: str
    viq: object                                # (Viq) -> job
    peers: dict = field(default_factory=dict)  # name -> (Viq) -> job
    bytes: int = 0                             # read and written, of a row whose time is that of memory


# ---- Other libraries


def opencv():
    try:
        import cv2
    except ImportError:
        return None
    cv2.setNumThreads(1)
    return cv2


def library(name):
    path = ctypes.util.find_library(name)
    return ctypes.CDLL(path) if path else None


CV = opencv()
TURBO = library('turbojpeg')
YUV = library('yuv')


def opencv_on(name, channels, run):
    """Runs OpenCV on noise of a pixel format; `run` receives the array and returns the job."""
    return {'OpenCV': lambda viq: run(viq.array(viq.image(name), channels))} if CV else {}


class TurboJpeg:
    RGB, GREY = 0, 6
    SAMP_422, SAMP_420, SAMP_GREY = 1, 2, 3
    FASTUPSAMPLE, ACCURATE_DCT = 256, 4096

    def __init__(self):
        for name in ('tjInitCompress', 'tjInitDecompress', 'tjAlloc'):
            getattr(TURBO, name).restype = ctypes.c_void_p
        TURBO.tjAlloc.argtypes = [ctypes.c_int]
        self.coder = ctypes.c_void_p(TURBO.tjInitCompress())
        self.decoder = ctypes.c_void_p(TURBO.tjInitDecompress())

    def compress(self, pixels, layout, sampling, quality=85):
        """A job; `self.stream()` is its result."""
        self.buffer = ctypes.c_void_p(TURBO.tjAlloc(WIDTH * HEIGHT * 3))
        self.size = ctypes.c_ulong(WIDTH * HEIGHT * 3)
        no_realloc = 1024

        def run():
            Viq.need(TURBO.tjCompress2(self.coder, ctypes.c_void_p(pixels), WIDTH, 0, HEIGHT, layout,
                                       ctypes.byref(self.buffer), ctypes.byref(self.size), sampling,
                                       quality, no_realloc | self.ACCURATE_DCT))
        return run

    def stream(self):
        return ctypes.string_at(self.buffer, self.size.value)

    def decompress(self, stream, layout):
        target = ctypes.create_string_buffer(WIDTH * HEIGHT * 3)
        return lambda: Viq.need(TURBO.tjDecompress2(
            self.decoder, stream, ctypes.c_ulong(len(stream)), target, WIDTH, 0, HEIGHT, layout,
            self.FASTUPSAMPLE | self.ACCURATE_DCT))


def yuv_convert(function, name, out_bytes):
    def job(viq):
        source, target = viq.image(name), ctypes.create_string_buffer(WIDTH * HEIGHT * out_bytes)
        return lambda: getattr(YUV, function)(ctypes.c_void_p(viq.data(source)), WIDTH * BYTES[name],
                                              target, WIDTH * out_bytes, WIDTH, HEIGHT)
    return {'libyuv': job} if YUV else {}


# ---- Rows


def grey(viq):
    return viq.made(viq.c.VIQ_convert_to_Y8, viq.photograph, NEXT)


def wavelet(kind, decodes):
    """Grey at one bit per pixel."""
    def job(viq):
        source, coded = grey(viq), viq.c.VIQ_WVLT_image_create(kind)
        low, high = 1, 400
        while low < high:
            middle = (low + high) // 2
            viq.c.VIQ_WVLT_set_Quality_factor(coded, middle)
            viq.need(viq.c.VIQ_WVLT_compress(source, coded, NEXT))
            if viq.c.VIQ_image_get_parameter(coded, V['VIQ_PARAM_16']) * 8 < WIDTH * HEIGHT:
                low = middle + 1
            else:
                high = middle
        if not decodes:
            return viq.call('VIQ_WVLT_compress', source, coded, NEXT)
        return viq.call('VIQ_WVLT_decompress', coded, viq.c.VIQ_image_create(), NEXT)
    return job


def jpeg2000(decodes):
    if not CV:
        return {}

    def job(viq):
        source = viq.array(grey(viq), 1).copy()
        options = [CV.IMWRITE_JPEG2000_COMPRESSION_X1000, 125]
        if not decodes:
            return lambda: CV.imencode('.jp2', source, options)
        coded = CV.imencode('.jp2', source, options)[1]
        return lambda: CV.imdecode(coded, CV.IMREAD_GRAYSCALE)
    return {'OpenJPEG': job}


def jpeg_decode(format_name):
    colour = format_name == 'RGB24'

    def coded(viq):
        source = viq.photograph if colour else grey(viq)
        turbo = TurboJpeg()
        turbo.compress(viq.data(source), turbo.RGB if colour else turbo.GREY,
                       turbo.SAMP_420 if colour else turbo.SAMP_GREY)()
        return turbo.stream()

    def ours(viq):
        stream, coded_image, out = coded(viq), viq.c.VIQ_JPEG_image_create(), viq.c.VIQ_image_create()
        viq.need(viq.c.VIQ_JPEG_buffer_read(coded_image, stream, len(stream)))
        viq.c.VIQ_image_set_parameter(out, V['VIQ_IMAGE_TYPE'], V[f'VIQ_{format_name}'])
        return viq.call('VIQ_JPEG_decompress', coded_image, out, NEXT)

    def theirs(viq):
        turbo = TurboJpeg()
        return turbo.decompress(coded(viq), turbo.RGB if colour else turbo.GREY)
    return Row('JPEG', f'JPEG decode {"4:2:0 to RGB24" if colour else "grey"}', ours, {'libjpeg-turbo': theirs})


def jpeg_encode():
    def ours(viq):
        coded = viq.c.VIQ_JPEG_image_create()
        viq.c.VIQ_JPEG_set_Quality_factor(coded, 16)
        return viq.call('VIQ_JPEG_compress', viq.photograph, coded)

    def theirs(viq):
        turbo = TurboJpeg()
        return turbo.compress(viq.data(viq.photograph), turbo.RGB, turbo.SAMP_422)
    return Row('JPEG', 'JPEG encode RGB24, 4:2:2', ours, {'libjpeg-turbo': theirs} if TURBO else {})


KERNELS = {'mean': (1,) * 9, 'Gauss': (1, 2, 1, 2, 4, 2, 1, 2, 1), 'sharpen': (0, -1, 0, -1, 5, -1, 0, -1, 0)}
CHANNELS = {'Y8': 1, 'RGB24': 3}


def filter_row(kernel, name):
    values = (ctypes.c_int32 * 9)(*KERNELS[kernel])

    def theirs(array):
        if kernel == 'mean':
            return lambda: CV.blur(array, (3, 3))
        if kernel == 'Gauss':
            return lambda: CV.GaussianBlur(array, (3, 3), 0)
        import numpy
        matrix = numpy.array(KERNELS[kernel], numpy.float32).reshape(3, 3)
        return lambda: CV.filter2D(array, -1, matrix)
    return Row('Filters, 3 x 3', f'{kernel} {name}',
               lambda viq: viq.call('VIQ_IP_filter_3x3', viq.image(name), viq.c.VIQ_image_create(), values, NEXT),
               opencv_on(name, CHANNELS[name], theirs), 2 * BYTES[name] * WIDTH * HEIGHT)


def scale_row(factor):
    width, height = int(WIDTH * factor), int(HEIGHT * factor)
    return Row('Geometry', f'scale Y8 x {factor:g}',
               lambda viq: viq.call('VIQ_IP_scale', viq.image('Y8'), viq.c.VIQ_image_create(), width, height, NEXT),
               opencv_on('Y8', 1, lambda array: lambda: CV.resize(array, (width, height), interpolation=CV.INTER_LINEAR)),
               WIDTH * HEIGHT + width * height)


def geometry_row(title, function, arguments, theirs, name='RGB24'):
    return Row('Geometry', f'{title} {name}',
               lambda viq: viq.call(function, viq.image(name), viq.c.VIQ_image_create(), *arguments),
               opencv_on(name, CHANNELS[name], theirs), 2 * BYTES[name] * WIDTH * HEIGHT)


def lut_row(name):
    def ours(viq):
        table = viq.c.VIQ_LUT_create(256 if name != 'Y16' else 65536, 1 if name != 'Y16' else 2)
        viq.need(viq.c.VIQ_LUT_generate(table, 110, 120, 150, 100, 100, 100))
        return viq.call('VIQ_LUT_apply', viq.image(name), viq.c.VIQ_image_create(), table, NEXT)

    def theirs(array):
        import numpy
        table = numpy.arange(255, -1, -1, numpy.uint8)
        return lambda: CV.LUT(array, table)
    return Row('Lookup tables', f'look-up {name}', ours,
               opencv_on(name, CHANNELS[name], theirs) if name != 'Y16' else {},
               2 * BYTES[name] * WIDTH * HEIGHT)


def conversion_row(name, out, function, peers=None, family='Conversions', width=WIDTH, height=HEIGHT):
    size = '' if width == WIDTH else f', {width} x {height}'
    return Row(family, f'{name} to {out}{size}',
               lambda viq: viq.call(function, viq.image(name, width, height), viq.c.VIQ_image_create(), NEXT),
               peers or {}, (BYTES[name] + BYTES[out]) * width * height)


def table_to_palette(viq):
    source = viq.image('RGB16')
    viq.c.VIQ_cmap_set_type(source, V['VIQ_CMAP_CUBE'])
    viq.need(viq.c.VIQ_generate_RGB16_to_paletted_LUT(source))
    return viq.call('VIQ_convert_to_paletted_LUT', source, viq.c.VIQ_image_create(), NEXT)


def to_palette(viq):
    source = viq.sample('astronaut')  # has many colours
    viq.c.VIQ_image_set_parameter(source, V['VIQ_NUM_COLOURS'], 0)
    viq.need(viq.c.VIQ_cmap_generate(source, 256, NEXT))
    return viq.call('VIQ_convert_to_paletted', source, viq.c.VIQ_image_create(), NEXT)


def motion(viq):
    found = ctypes.c_uint32()
    return viq.call('VIQ_IP_motion_detect', viq.image('Y8'), viq.image('Y8'), 5, 1, ctypes.byref(found))


def threshold_row(width, height):
    def theirs(viq):
        array = viq.array(viq.image('Y8', width, height), 1, width, height)
        return lambda: CV.threshold(array, 120, 255, CV.THRESH_BINARY)
    size = '' if width == WIDTH else f', {width} x {height}'
    return Row('Measurements', f'threshold Y8{size}',
               lambda viq: viq.call('VIQ_IP_threshold_grayscale', viq.image('Y8', width, height),
                                    viq.c.VIQ_image_create(), 180, 60, NEXT),
               {'OpenCV': theirs} if CV else {}, 2 * width * height)


def demosaic_row():
    return Row('Camera', 'demosaic 3 to BGRX32',
               lambda viq: viq.call('VIQ_BAY_RGGB32_to_BGRX32', viq.image('RGGB32'), viq.c.VIQ_image_create(), 3, 1, NEXT),
               opencv_on('Y8', 1, lambda array: lambda: CV.cvtColor(array, CV.COLOR_BayerBG2BGR_EA)),
               5 * WIDTH * HEIGHT)


def rows():
    cv = CV
    result = [Row('Wavelet, grey at 1 bit per pixel', f'wavelet {"decode" if decodes else "encode"} type {kind}',
                  wavelet(kind, decodes), jpeg2000(decodes)) for decodes in (False, True) for kind in (0, 1)]
    result += [jpeg_decode('RGB24'), jpeg_decode('Y8')] if TURBO else []
    result.append(jpeg_encode())
    result += [filter_row(kernel, name) for kernel in ('mean', 'Gauss') for name in ('Y8', 'RGB24')]
    result.append(filter_row('sharpen', 'Y8'))
    result += [scale_row(factor) for factor in (0.5, 0.75, 1.5, 2)]
    result += [geometry_row('rotate 90', 'VIQ_IP_rotate_image', (90,), lambda a: lambda: cv.rotate(a, cv.ROTATE_90_CLOCKWISE)),
               geometry_row('mirror', 'VIQ_IP_mirror_image', (NEXT,), lambda a: lambda: cv.flip(a, 1))]
    result += [lut_row(name) for name in ('Y8', 'RGB24', 'Y16')]
    result += [conversion_row('YUV422', 'RGB16', 'VIQ_YUV422_to_RGB16_LUT', family='Lookup tables'),
               Row('Lookup tables', 'RGB16 to PALETTED', table_to_palette, {}, 3 * WIDTH * HEIGHT),
               Row('Conversions', 'RGB24 to PALETTED, 256 colours of the photograph', to_palette)]
    for width, height in ((WIDTH, HEIGHT), (640, 480)):
        result.append(conversion_row(
            'RGB24', 'Y8', 'VIQ_convert_to_Y8', width=width, height=height, peers={} if not cv else {
                'OpenCV': lambda viq, w=width, h=height: (
                    lambda array: lambda: cv.cvtColor(array, cv.COLOR_RGB2GRAY))(viq.array(viq.image('RGB24', w, h), 3, w, h))}))
    result.append(conversion_row('YUV422', 'BGRX32', 'VIQ_YUV422_to_BGRX32', yuv_convert('YUY2ToARGB', 'YUV422', 4)))
    result.append(demosaic_row())
    result += [Row('Measurements', 'motion Y8', motion, {}, 2 * WIDTH * HEIGHT),
               threshold_row(WIDTH, HEIGHT), threshold_row(640, 480)]
    return result


# ---- Measuring


def best_seconds(jobs, seconds):
    for job in jobs:
        job()
    best = [math.inf] * len(jobs)
    end = time.perf_counter() + seconds
    while time.perf_counter() < end:
        for n, job in enumerate(jobs):
            for _ in range(3):
                begin = time.perf_counter()
                job()
                best[n] = min(best[n], time.perf_counter() - begin)
    return best


def copy_job(size):
    source, target = ctypes.create_string_buffer(size), ctypes.create_string_buffer(size)
    copy = ctypes.CDLL(None).memcpy
    copy.argtypes = [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_size_t]
    return lambda: copy(target, source, size)


@dataclass
class Result:
    row: Row
    viq: float
    before: float = 0
    peers: dict = field(default_factory=dict)
    copy: float = 0


def measure(row, now, before, seconds):
    names, jobs = ['viq'], [row.viq(now)]
    if before:
        names, jobs = names + ['before'], jobs + [row.viq(before)]
    for name, peer in row.peers.items():
        names, jobs = names + [name], jobs + [peer(now)]
    if row.bytes:
        names, jobs = names + ['copy'], jobs + [copy_job(row.bytes // 2)]
    times = dict(zip(names, best_seconds(jobs, seconds)))
    return Result(row, times.pop('viq'), times.pop('before', 0), {n: times[n] for n in row.peers},
                  times.get('copy', 0))


CALLS = b'''
void call(unsigned (*convert)(unsigned, unsigned, unsigned short), unsigned in, unsigned out, unsigned short command,
          unsigned times) {
    while (times-- > 0)
        convert(in, out, command);
}
'''


def call_overhead(viq):
    """Nanoseconds of a conversion of 8 x 8 pixels in a program in C."""
    source, out = viq.image('RGB24', 8, 8), viq.c.VIQ_image_create()
    with tempfile.TemporaryDirectory() as folder:
        library = f'{folder}/calls.so'
        subprocess.run(['cc', '-O2', '-shared', '-fPIC', '-x', 'c', '-', '-o', library], input=CALLS, check=True)
        call = ctypes.CDLL(library).call
    count = 2000
    return best_seconds([lambda: call(viq.c.VIQ_convert_to_Y8, source, out, NEXT, count)], 0.5)[0] / count * 1e9


# ---- The page


def processor():
    text = Path('/proc/cpuinfo').read_text() if os.path.exists('/proc/cpuinfo') else ''
    model = re.search(r'^model name\s*:\s*(.*)$', text, re.M)
    flags = re.search(r'^flags\s*:\s*(.*)$', text, re.M)
    sets = [name for name in ('avx2', 'avx512bw', 'avx512vbmi') if flags and name in flags.group(1).split()]
    return f'{model.group(1) if model else platform.machine()} ({", ".join(sets) or "no AVX2"})'


def versions():
    found = [f'OpenCV {CV.__version__}'] if CV else []
    for package in ('libturbojpeg0', 'libyuv0', 'libopenjp2-7'):
        version = os.popen(f"dpkg-query -W -f '${{Version}}' {package} 2>/dev/null").read()
        found += [f'{package} {version}'] if version else []
    return ', '.join(found)


def plot(results):
    """Bars of how many times as fast VIQ is as the other library, on a logarithmic axis."""
    bars = [(result.row.name, name, seconds / result.viq)
            for result in results for name, seconds in result.peers.items()]
    step, left, scale, low = 20, 340, 70, 0.5
    width, height = 760, step * len(bars) + 44
    least = min([low] + [ratio for _, _, ratio in bars])

    def x(ratio):
        return left + scale * math.log2(ratio / least)
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" viewBox="0 0 {width} {height}" '
             'font-family="sans-serif" font-size="12">',
             f'<rect width="{width}" height="{height}" fill="#fff"/>']
    for power in range(math.ceil(math.log2(least)), 5):
        line = x(2.0 ** power)
        if line < width:
            label = f'{2 ** power}' if power >= 0 else f'1/{2 ** -power}'
            parts.append(f'<path d="M{line:.1f} 22V{height - 8}" stroke="{"#555" if power == 0 else "#ddd"}"/>'
                         f'<text x="{line:.1f}" y="14" text-anchor="middle" fill="#555">{label}</text>')
    for n, (name, peer, ratio) in enumerate(bars):
        y = 28 + n * step
        start, end = sorted((x(1), min(x(ratio), width - 50)))
        colour = '#2b7bba' if ratio >= 1 else '#d08030'
        parts.append(f'<text x="{left - 80}" y="{y + 11}" text-anchor="end">{name}, {peer}</text>'
                     f'<rect x="{start:.1f}" y="{y}" width="{max(end - start, 1):.1f}" height="14" fill="{colour}"/>'
                     f'<text x="{end + 4:.1f}" y="{y + 11}" fill="#333">{ratio:.2f}</text>')
    return '\n'.join(parts + ['</svg>']) + '\n'


def table(results, before):
    lines, family = [], None
    for result in results:
        if result.row.family != family:
            family = result.row.family
            columns = ['ms'] + (['before, ms', 'to before'] if before else []) + ['others, ms', 'times as fast', 'to memcpy']
            lines += ['', f'## {family}', '', '| Path | ' + ' | '.join(columns) + ' |', '|---|' + '--:|' * len(columns)]
        cells = [f'{result.viq * 1e3:.3f}']
        if before:
            cells += [f'{result.before * 1e3:.3f}', f'{result.viq / result.before:.2f}']
        cells.append(', '.join(f'{name} {seconds * 1e3:.3f}' for name, seconds in result.peers.items()))
        cells.append(', '.join(f'{seconds / result.viq:.2f}' for seconds in result.peers.values()))
        cells.append(f'{result.viq / result.copy:.2f}' if result.copy else '')
        lines.append(f'| {result.row.name} | ' + ' | '.join(cells) + ' |')
    return '\n'.join(lines)


def page(results, options, overhead):
    before = f''' "Before" is the library of {options.before_name}, in the same run; "to before" is the time divided by
that of before.''' if options.before else ''
    return f'''# {options.title}

Times of one call on pictures of {WIDTH} x {HEIGHT} pixels, on one core, with allocation and checks: the shortest of many
runs in milliseconds.{before} The other libraries run in turn with VIQ on the same pixels and with one thread. "Times as
fast" is their time divided by that of VIQ; "to memcpy" is the time of VIQ divided by that of a copy which reads and writes
as many bytes.

![How many times as fast as other libraries]({options.page}.svg)

- Processor: {processor()}
- Compiler: {options.compiler}
- Other libraries: {versions()}
- Date: {datetime.date.today().isoformat()}
- A conversion of 8 x 8 pixels takes {overhead:.0f} ns.

The programs in `bench/` measure more paths and sizes. `scripts/bench.sh` builds the library, measures and writes this
page again.
{table(results, options.before)}
'''


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('library')
    parser.add_argument('--before', help='an earlier build of libviq.so')
    parser.add_argument('--before-name', default='an earlier version')
    parser.add_argument('--core', type=int, default=0, help='the processor core to measure on')
    parser.add_argument('--seconds', type=float, default=2, help='for each row')
    parser.add_argument('--rows', default='', help='a regular expression of rows; no page is written')
    parser.add_argument('--compiler', default='')
    parser.add_argument('--page', default='speeds', help='name of the page, for one of another processor')
    parser.add_argument('--title', default='Speed', help='of the page')
    options = parser.parse_args()
    if hasattr(os, 'sched_setaffinity'):
        os.sched_setaffinity(0, {options.core})
    now = Viq(options.library)
    before = Viq(options.before) if options.before else None
    results = []
    for row in rows():
        if not re.search(options.rows, row.name):
            continue
        result = measure(row, now, before, options.seconds)
        results.append(result)
        print(f'{row.name:50} {result.viq * 1e3:8.3f} ms' +
              (f'  to before {result.viq / result.before:5.2f}' if before else '') +
              ''.join(f'  {name} {seconds / result.viq:5.2f} times' for name, seconds in result.peers.items()),
              flush=True)
    if options.rows:
        return
    folder = SOURCE / 'docs/manual'
    (folder / f'{options.page}.svg').write_text(plot(results))
    (folder / f'{options.page}.md').write_text(page(results, options, call_overhead(now)))


main()
