#!/usr/bin/env python3
"""Frames a second in a window of 1920 x 1080, of VIQ, of OpenCV and of SDL2, on one X server (Xvfb).

display.py LIBRARY SOURCE [FRAMES]

Prints for each pixel format the best of several runs of each, and the ratios to VIQ. With FRAMES,
shows that many frames with VIQ alone and prints how much memory the process has gained.
"""
import ctypes
import os
import sys
import time
from pathlib import Path

LIBRARY, SOURCE = sys.argv[1:3]
sys.path[:0] = [f'{SOURCE}/python', f'{SOURCE}/tests/display']
from generate import Headers
from server import Server

WIDTH, HEIGHT = 1920, 1080
BYTES = {'YUV422': 2, 'RGB24': 3, 'BGRX32': 4}
SECONDS = 2
RUNS = 3


def frames_of(name):
    """Four frames with different pixels."""
    return [os.urandom(WIDTH * BYTES[name]) * HEIGHT for _ in range(4)]


class Viq:
    def __init__(self):
        self.v = {name: value for name, value, _ in Headers(Path(SOURCE) / 'include').constants}
        self.viq = ctypes.CDLL(LIBRARY)
        self.viq.VIQ_image_get_ptr.restype = ctypes.c_void_p
        self.viq.VIQ_Init()

    def start(self, name):
        self.images = []
        for frame in frames_of(name):
            image = self.viq.VIQ_image_create()
            for parameter, value in (('IMAGE_TYPE', self.v[f'VIQ_{name}']), ('WIDTH', WIDTH),
                                     ('HEIGHT', HEIGHT), ('LINES_PER_STRIP', HEIGHT)):
                self.viq.VIQ_image_set_parameter(image, self.v[f'VIQ_{parameter}'], value)
            self.viq.VIQ_image_malloc_a_strip(image)
            ctypes.memmove(self.viq.VIQ_image_get_ptr(image, self.v['VIQ_PTR_DATA']), frame,
                           len(frame))
            self.images.append(image)
        self.display = self.viq.VIQ_display_create()
        self.event = ctypes.create_string_buffer(256)
        assert self.viq.VIQ_display_open(self.display, b'VIQ', WIDTH, HEIGHT) == 0

    def show(self, n):
        assert self.viq.VIQ_display_image(self.display, self.images[n % 4], 3) == 0
        self.viq.VIQ_display_next_event(self.display, self.event, 0)

    def stop(self):
        self.viq.VIQ_image_destroy(self.v['VIQ_ALL_IMAGES'])


class OpenCV:
    def __init__(self):
        import cv2
        import numpy
        self.cv2, self.numpy = cv2, numpy

    def start(self, name):
        cv2 = self.cv2
        shape = (HEIGHT, WIDTH, BYTES[name])
        self.frames = [self.numpy.frombuffer(f, self.numpy.uint8).reshape(shape)
                       for f in frames_of(name)]
        self.conversion = {'YUV422': cv2.COLOR_YUV2BGR_YUY2, 'RGB24': cv2.COLOR_RGB2BGR,
                           'BGRX32': cv2.COLOR_BGRA2BGR}[name]
        cv2.namedWindow('OpenCV', cv2.WINDOW_AUTOSIZE)

    def show(self, n):
        self.cv2.imshow('OpenCV', self.cv2.cvtColor(self.frames[n % 4], self.conversion))
        self.cv2.waitKey(1)

    def stop(self):
        self.cv2.destroyAllWindows()
        self.cv2.waitKey(1)


class SDL2:
    FORMATS = {'YUV422': 0x32595559, 'RGB24': 0x17101803, 'BGRX32': 0x16161804}

    def __init__(self):
        os.environ.update(SDL_VIDEODRIVER='x11', SDL_RENDER_DRIVER='software')
        self.sdl = ctypes.CDLL('libSDL2-2.0.so.0')
        for name in ('SDL_CreateWindow', 'SDL_CreateRenderer', 'SDL_CreateTexture'):
            getattr(self.sdl, name).restype = ctypes.c_void_p

    def start(self, name):
        sdl = self.sdl
        assert sdl.SDL_Init(0x20) == 0
        self.frames, self.line = frames_of(name), WIDTH * BYTES[name]
        self.window = ctypes.c_void_p(sdl.SDL_CreateWindow(b'SDL2', 0, 0, WIDTH, HEIGHT, 4))
        self.renderer = ctypes.c_void_p(sdl.SDL_CreateRenderer(self.window, -1, 0))
        self.texture = ctypes.c_void_p(
            sdl.SDL_CreateTexture(self.renderer, self.FORMATS[name], 1, WIDTH, HEIGHT))
        assert self.texture.value
        self.event = ctypes.create_string_buffer(256)

    def show(self, n):
        self.sdl.SDL_UpdateTexture(self.texture, None, self.frames[n % 4], self.line)
        self.sdl.SDL_RenderCopy(self.renderer, self.texture, None, None)
        self.sdl.SDL_RenderPresent(self.renderer)
        while self.sdl.SDL_PollEvent(self.event):
            pass

    def stop(self):
        self.sdl.SDL_Quit()


def rate(program, name):
    """Frames a second."""
    program.start(name)
    for n in range(10):
        program.show(n)
    shown, start = 0, time.perf_counter()
    while time.perf_counter() < start + SECONDS:
        program.show(shown)
        shown += 1
    end = time.perf_counter()
    program.stop()
    return shown / (end - start)


def memory():
    return int(Path('/proc/self/statm').read_text().split()[1]) * os.sysconf('SC_PAGE_SIZE')


def main():
    with Server(WIDTH, HEIGHT, 24):
        if len(sys.argv) > 3:
            viq = Viq()
            for name in BYTES:
                viq.start(name)
                for n in range(int(sys.argv[3])):
                    if n == 1000:
                        before = memory()
                    viq.show(n)
                print(f'{name}: {sys.argv[3]} frames, {memory() - before} bytes more')
                viq.stop()
            return
        programs = {}
        for make in (Viq, OpenCV, SDL2):
            try:
                programs[make.__name__] = make()
            except (ImportError, OSError) as problem:
                print(f'{make.__name__} is not compared: {problem}')
        for name in BYTES:
            best = dict.fromkeys(programs, 0)
            for _ in range(RUNS):
                for peer, program in programs.items():
                    best[peer] = max(best[peer], rate(program, name))
            for peer, frames in best.items():
                print(f'{name:8}{peer:8}{frames:8.0f} frames/s{best["Viq"] / frames:8.2f}')


main()
