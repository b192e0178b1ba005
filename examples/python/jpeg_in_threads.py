"""Compresses pictures in threads, which work at the same time: jpeg_in_threads.py IN... FOLDER"""
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import viq


def compress(path, folder):
    with viq.open(path) as picture:
        data = viq.encode_jpeg(picture, quality=24)
    (folder / f'{Path(path).stem}.jpg').write_bytes(data)
    return path, len(data)


def main(*arguments):
    *pictures, folder = arguments
    with ThreadPoolExecutor(4) as pool:
        for path, size in pool.map(lambda picture: compress(picture, Path(folder)), pictures):
            print(f'{path}: {size} bytes')


if __name__ == '__main__':
    main(*sys.argv[1:])
