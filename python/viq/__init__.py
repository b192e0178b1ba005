"""VIQ: images in memory and in files.

    import viq

    with viq.open('photo.jpg') as photo:
        viq.scale(photo.to('rgb24'), 640, 480).save('small.bmp')

    grey = viq.from_array(array).to('y8').array      # numpy on both sides, without a copy

Image owns a picture. open, decode, from_array and the operations return images; viq.strips processes
pictures that are larger than memory. viq.functions has every function of the library.

A failure raises viq.Error with its code, function and text. Every thread works in a context of its
own, and calls release the interpreter lock, so that threads work at the same time, each on images of
its own.
"""
from . import functions
from ._image import FORMATS, Image, from_array
from ._pictures import (FILE_FORMATS, LIMITS, FrameLayout, Histogram, KeyWindow, adjust, apply_gains,
                        apply_tables, averages, build_jpeg_sequence, calibrate_key, chroma_key,
                        closest_colour, convert_by_table, decode, decode_jpeg, decode_wavelet,
                        demosaic, draw_pixel, draw_text, draw_timestamp, encode, encode_jpeg,
                        encode_wavelet, file_format, frame_layout, frame_size, get_limit,
                        grey_world_gains, histogram, insert, match_histograms, motion, open, pack_frame,
                        quantise, save, set_limit, set_palette, shading_references, smooth_histogram,
                        split_jpeg_sequence, test_pattern, to_dib, unpack_frame, yuv_of)
from ._runtime import Error
from ._strips import Strips, strips
from .operations import *  # noqa: F401,F403

_version = functions.VIQ_VERSION
__version__ = f'{_version >> 16}.{int(f"{_version >> 8 & 0xFF:x}")}.{_version & 0xFF:x}'
