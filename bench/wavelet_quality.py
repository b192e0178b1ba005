#!/usr/bin/env python3
"""Prints the PSNR of wavelet streams less that of JPEG 2000 streams of the same size, in dB, for
grey pictures:

    bench/wavelet_quality.py build/release/libviq.so photograph...

Sizes include the headers of the streams. Pillow reads the photographs and codes JPEG 2000.
"""
import ctypes
import io
import sys
from pathlib import Path

import numpy
from PIL import Image

SOURCE = Path(__file__).resolve().parent.parent
sys.path[:0] = [str(SOURCE / 'python')]
from generate import Headers  # noqa: E402

V = {name: value for name, value, _ in Headers(SOURCE / 'include').constants}
NEXT = V['VIQ_STRIP_NEXT']
RATES = (0.5, 1, 2)  # bits per pixel
LEVELS = (0, 1)      # of VIQ_WVLT_set_optimisation
MAX_QUALITY = 400


def psnr(a, b):
    return 10 * numpy.log10(65025 / numpy.mean((a.astype(float) - b) ** 2))


def jpeg2000(pixels, rate):
    file = io.BytesIO()
    Image.fromarray(pixels).save(file, 'JPEG2000', irreversible=True, quality_mode='rates',
                                 quality_layers=[8 / rate], no_jp2=True)
    size = file.tell()
    return size, psnr(pixels, numpy.asarray(Image.open(io.BytesIO(file.getvalue()))))


class Wavelet:
    def __init__(self, path, pixels):
        self.c = ctypes.CDLL(path)
        self.c.VIQ_image_get_ptr.restype = ctypes.c_void_p
        self.c.VIQ_Init()
        self.pixels = pixels
        self.image = self.c.VIQ_image_create()
        height, width = pixels.shape
        for name, value in (('VIQ_IMAGE_TYPE', V['VIQ_Y8']), ('VIQ_WIDTH', width),
                            ('VIQ_HEIGHT', height), ('VIQ_LINES_PER_STRIP', height)):
            self.c.VIQ_image_set_parameter(self.image, V[name], value)
        self.c.VIQ_image_malloc_a_strip(self.image)
        self.lines(self.image)[:] = pixels

    def lines(self, image):
        height, width = self.pixels.shape
        line = self.c.VIQ_get_bytes_per_line(image)
        data = self.c.VIQ_image_get_ptr(image, V['VIQ_PTR_DATA'])
        memory = (ctypes.c_uint8 * (line * height)).from_address(data)
        return numpy.frombuffer(memory, numpy.uint8).reshape(height, line)[:, :width]

    def code(self, kind, level, quality):
        """The size of the stream and the PSNR of what it decodes to."""
        wavelet, out = self.c.VIQ_WVLT_image_create(kind), self.c.VIQ_image_create()
        self.c.VIQ_WVLT_set_Quality_factor(wavelet, quality)
        if level:
            self.c.VIQ_WVLT_set_optimisation(wavelet, level)
        stream, size = ctypes.create_string_buffer(4 * self.pixels.size + 4096), ctypes.c_uint32()
        code = (self.c.VIQ_WVLT_compress(self.image, wavelet, NEXT) |
                self.c.VIQ_WVLT_buffer_write(wavelet, stream, ctypes.byref(size), NEXT) |
                self.c.VIQ_WVLT_decompress(wavelet, out, NEXT))
        if code != 0:
            raise SystemExit('the library returned an error')
        result = psnr(self.pixels, self.lines(out))
        self.c.VIQ_WVLT_image_destroy(wavelet)
        self.c.VIQ_image_destroy(out)
        return size.value, result

    def psnr_at(self, kind, level, size):
        """Interpolated between the two qualities whose streams are just smaller and larger."""
        low, high = 0, MAX_QUALITY
        while high - low > 1:
            middle = (low + high) // 2
            low, high = (middle, high) if self.code(kind, level, middle)[0] <= size else (low, middle)
        (size_a, a), (size_b, b) = self.code(kind, level, low), self.code(kind, level, high)
        return a + (b - a) * (size - size_a) / (size_b - size_a)


def main(library, *photographs):
    print('type level ' + ''.join(f'{rate:8g} bpp' for rate in RATES))
    pictures = [numpy.asarray(Image.open(path).convert('L')) for path in photographs]
    peers = [[jpeg2000(pixels, rate) for rate in RATES] for pixels in pictures]
    levels = LEVELS if hasattr(ctypes.CDLL(library), 'VIQ_WVLT_set_optimisation') else LEVELS[:1]
    for kind in (0, 1):
        for level in levels:
            differences = [[Wavelet(library, pixels).psnr_at(kind, level, size) - peer
                            for size, peer in row] for pixels, row in zip(pictures, peers)]
            print(f'{kind:4} {level:5} ' + ''.join(f'{d:12.2f}' for d in numpy.mean(differences, 0)))


if __name__ == '__main__':
    main(*sys.argv[1:])
