"""Files, coders, camera frames, measurements and drawing: what has more than a picture as its input or
its result."""
import ctypes
import os
from typing import Any, Dict, List, NamedTuple, Optional, Sequence, Tuple, Union

import numpy as np

from . import functions as c
from . import operations
from ._image import (FINISH, NEXT, Image, Picture, as_image, format_code, from_array, new_image,
                     require_writable, run, set_shape)
from ._runtime import Error, limits

Path = Union[str, 'os.PathLike[str]']

FILE_FORMATS: Dict[str, int] = {
    'bmp': c.VIQ_FILE_BMP, 'tiff': c.VIQ_FILE_TIFF, 'tga': c.VIQ_FILE_TGA, 'eps': c.VIQ_FILE_EPS,
    'jpeg': c.VIQ_FILE_JPEG, 'wavelet': c.VIQ_FILE_WAVELET,
    'wavelet_small': c.VIQ_FILE_WAVELET_SMALL, 'raw': c.VIQ_FILE_RAW,
}

LIMITS: Dict[str, int] = {
    'pixels': c.VIQ_LIMIT_PIXELS, 'allocation': c.VIQ_LIMIT_ALLOCATION, 'memory': c.VIQ_LIMIT_MEMORY,
    'file': c.VIQ_LIMIT_FILE, 'ratio': c.VIQ_LIMIT_RATIO,
}


def set_limit(name: str, value: int) -> None:
    """Limits what a call may use, for files of unknown origin; 0: no limit. name is "pixels",
    "allocation", "memory", "file" or "ratio", see VIQ_set_limit and VIQ_LIMIT_PIXELS to
    VIQ_LIMIT_RATIO. The limit applies to this thread and to threads that use the package later."""
    c.VIQ_set_limit(LIMITS[name], value)
    limits[LIMITS[name]] = value


def get_limit(name: str) -> int:
    """A limit of this thread, 0 if there is none; name as in set_limit."""
    value = ctypes.c_uint64()
    c.VIQ_get_limit(LIMITS[name], ctypes.byref(value))
    return value.value


# ---- Files and coders


def open(path: Path, format: Union[str, int, None] = None) -> Image:
    """Opens a picture. The contents of the file select the reader; without a format the pixels are as
    the reader delivers them. See VIQ_open_as."""
    try:
        return Image(c.VIQ_open_as(path, format_code(format) if format else 0))
    except Error as failure:
        failure.path = path
        raise


def save(picture: Picture, path: Path, quality: int = 0) -> None:
    """Saves a picture in the file format of the extension. See VIQ_save."""
    try:
        as_image(picture).save(path, quality)
    except Error as failure:
        failure.path = path
        raise


def file_format(path: Path) -> str:
    """The format of a file by its contents: a name of FILE_FORMATS, '' if it is none of them."""
    code = c.VIQ_image_find_file_format(path)
    return next((name for name, number in FILE_FORMATS.items() if number == code), '')


def encode(picture: Picture, file_format: str, quality: int = 0) -> bytes:
    """The contents of a file of the picture; file_format is a name of FILE_FORMATS. See VIQ_encode."""
    if file_format not in FILE_FORMATS:
        raise ValueError(f'unknown file format {file_format!r}; known are {", ".join(FILE_FORMATS)}')
    image = as_image(picture)
    data = ctypes.c_void_p()
    size = ctypes.c_uint64()
    c.VIQ_encode(image.handle, FILE_FORMATS[file_format], quality, ctypes.byref(data),
                 ctypes.byref(size))
    try:
        return ctypes.string_at(data.value, size.value)
    finally:
        c.VIQ_DebugFree(data)


def decode(data: Any, format: Union[str, int, None] = None) -> Image:
    """A picture from the contents of a file, bytes or an object with a buffer. See VIQ_decode_as."""
    content = np.frombuffer(data, np.uint8)
    return Image(c.VIQ_decode_as(content.ctypes.data, content.size,
                                 format_code(format) if format else 0))


def encode_jpeg(picture: Picture, quality: int = 32, optimise: int = 0) -> bytes:
    """Baseline JPEG with a quality factor of 1 to 400; 16 gives the standard tables. optimise takes time
    for smaller files, 0 to 2; see VIQ_JPEG_set_optimisation."""
    if optimise == 0:
        return encode(picture, 'jpeg', quality)
    image = as_image(picture)
    if image.format not in ('rgb24', 'y8'):
        image = image.to('rgb24')
    with _Jpeg() as jpeg:
        c.VIQ_JPEG_set_Quality_factor(jpeg.handle, quality)
        c.VIQ_JPEG_set_optimisation(jpeg.handle, optimise)
        c.VIQ_JPEG_compress(image.handle, jpeg.handle)
        return _write_jpeg(jpeg)


def decode_jpeg(data: Any, format: Union[str, int, None] = None) -> Image:
    """A picture from a JPEG stream, "rgb24" or "y8" without a format."""
    return decode(data, format)


def encode_wavelet(picture: Picture, quality: int = 50, small: bool = False) -> bytes:
    """A wavelet stream with a quality factor of 1 to 400; small: coding type 1."""
    return encode(picture, 'wavelet_small' if small else 'wavelet', quality)


def decode_wavelet(data: Any, format: Union[str, int, None] = None) -> Image:
    """A picture from a wavelet stream of either coding type."""
    return decode(data, format)


# ---- JPEG sequences


class _Jpeg:
    """An image with a JPEG record."""

    def __init__(self) -> None:
        self.handle = c.VIQ_JPEG_image_create()

    def __enter__(self) -> '_Jpeg':
        return self

    def __exit__(self, *_: Any) -> None:
        c.VIQ_image_destroy(self.handle)


def _read_jpeg(jpeg: _Jpeg, data: bytes) -> None:
    content = np.frombuffer(data, np.uint8)
    c.VIQ_JPEG_buffer_read(jpeg.handle, content.ctypes.data, content.size)


def _write_jpeg(jpeg: _Jpeg) -> bytes:
    length = c.VIQ_image_get_parameter(jpeg.handle, c.VIQ_JPEG_PARAM)
    buffer = np.empty(length + 1500, np.uint8)
    size = ctypes.c_uint32()
    c.VIQ_image_set_parameter(jpeg.handle, c.VIQ_LINES_PER_STRIP, c.VIQ_get_height(jpeg.handle))
    c.VIQ_JPEG_buffer_write(jpeg.handle, buffer.ctypes.data, ctypes.byref(size), NEXT)
    return buffer[:size.value].tobytes()


def build_jpeg_sequence(pictures: Sequence[Picture], quality: int = 32) -> bytes:
    """A JPEG sequence of pictures of one size: one header and the coded data of each picture."""
    if not pictures:
        raise ValueError('a sequence has at least one picture')
    with _Jpeg() as frame, _Jpeg() as sequence:
        c.VIQ_JPEG_set_Quality_factor(frame.handle, quality)
        first = as_image(pictures[0])
        for number, picture in enumerate(pictures):
            image = as_image(picture)
            if (image.width, image.height) != (first.width, first.height):
                raise ValueError('the pictures of a sequence have one size')
            c.VIQ_JPEG_compress(image.handle, frame.handle)
            if number == 0:
                c.VIQ_image_copy_parameters(frame.handle, sequence.handle)
                c.VIQ_image_set_parameter(sequence.handle, c.VIQ_JPEG_PARAM, 0)
                c.VIQ_image_set_parameter(sequence.handle, c.VIQ_PARAM_18, 0)
            c.VIQ_JPEG_sequence_build(frame.handle, sequence.handle)
        c.VIQ_JPEG_sequence_build(0, sequence.handle)
        return _write_jpeg(sequence)


def split_jpeg_sequence(data: bytes) -> List[bytes]:
    """The pictures of a JPEG sequence, each as a JPEG stream."""
    frames = []
    with _Jpeg() as sequence, _Jpeg() as frame:
        _read_jpeg(sequence, data)
        for number in range(1, c.VIQ_image_get_parameter(sequence.handle, c.VIQ_PARAM_18) + 1):
            c.VIQ_JPEG_sequence_extract_frame(sequence.handle, frame.handle, number)
            frames.append(_write_jpeg(frame))
    return frames


# ---- Palettes and tables


def quantise(picture: Picture, colours: int = 256) -> Image:
    """A paletted picture with the most frequent colours of a "rgb24" or "y8" picture."""
    counted = as_image(picture).copy()
    c.VIQ_image_set_parameter(counted.handle, c.VIQ_NUM_COLOURS, 0)
    c.VIQ_cmap_generate(counted.handle, colours, NEXT)
    return operations.map_to_palette(counted)


def set_palette(image: Image, kind: str) -> None:
    """Gives an image the palette "black", "named", "grey" or "cube". See VIQ_cmap_set_type."""
    kinds = {'black': c.VIQ_CMAP_BLACK, 'named': c.VIQ_CMAP_NAMED, 'grey': c.VIQ_CMAP_GREY,
             'cube': c.VIQ_CMAP_CUBE}
    c.VIQ_cmap_set_type(image.handle, kinds[kind])


def closest_colour(image: Image, red: int, green: int, blue: int) -> int:
    """The index of the colour of the palette that is nearest to a colour."""
    return c.VIQ_cmap_find_closest_colour(image.handle, red, green, blue)


def convert_by_table(picture: Picture, format: Union[str, int]) -> Image:
    """Converts by a conversion lookup table, which the thread keeps; faster and coarser."""
    image = as_image(picture)
    target = new_image()
    c.VIQ_image_set_flags(target.handle, c.VIQ_FLAG_USE_LUT, 1)
    try:
        c.VIQ_image_convert(image.handle, target.handle, format_code(format), 0, NEXT)
    except Error:
        c.VIQ_image_convert(image.handle, target.handle, format_code(format), 0, FINISH)
        raise
    return target


def to_dib(picture: Picture, depth: int = 0) -> Image:
    """The pixels of a Windows bitmap, bottom line first; depth 0, 8, 16, 24 or 32."""
    image = as_image(picture)
    target = new_image()
    c.VIQ_image_set_flags(target.handle, c.VIQ_FLAG_DIB, 1)
    c.VIQ_image_convert(image.handle, target.handle, 0, depth, NEXT)
    return target


_TABLE_MASKS = (8, 4, 2, 1)


def _apply_table(picture: Picture, prepare: Any) -> Image:
    image = as_image(picture)
    words = image.format == 'y16'
    table = c.VIQ_LUT_create(65536 if words else 256, 2 if words else 1)
    try:
        prepare(table, np.uint16 if words else np.uint8, 65536 if words else 256)
        return run(lambda source, target, command: c.VIQ_LUT_apply(source, target, table, command),
                   image)
    finally:
        c.VIQ_LUT_destroy(table)


def adjust(picture: Picture, brightness: int = 100, contrast: int = 100, gamma: int = 100,
           red: int = 100, green: int = 100, blue: int = 100) -> Image:
    """Brightness, contrast, gamma and gains in percent, 100 is neutral. See VIQ_LUT_generate."""
    return _apply_table(picture, lambda table, _type, _size: c.VIQ_LUT_generate(
        table, brightness, contrast, gamma, red, green, blue))


def apply_tables(picture: Picture, grey: Any = None, red: Any = None, green: Any = None,
                 blue: Any = None) -> Image:
    """Maps pixel values by tables of 256 bytes, or 65536 words for "y16". A table that is not given
    is the identity. See VIQ_LUT_apply."""
    def prepare(table: int, dtype: Any, size: int) -> None:
        for mask, values in zip(_TABLE_MASKS, (grey, red, green, blue)):
            if values is not None:
                values = np.ascontiguousarray(values, dtype)
                if values.size != size:
                    raise ValueError(f'a table of this picture has {size} entries')
                ctypes.memmove(c.VIQ_LUT_get_ptr(table, mask), values.ctypes.data, values.nbytes)
    return _apply_table(picture, prepare)


# ---- Pictures in pictures, video


def insert(host: Image, picture: Picture, x: int, y: int) -> None:
    """Copies a picture of the same format into an image, its left top pixel at column x and line y,
    both from 0. See VIQ_IP_image_insert."""
    require_writable(host)
    inserted = as_image(picture)
    c.VIQ_IP_image_insert(host.handle, inserted.handle, x + 1, y + 1)


def shading_references(black: Picture, white: Picture) -> Tuple[Image, Image]:
    """The offset and the gain for correct_shading, from "y16" pictures of black and white."""
    offset, gain = new_image(), new_image()
    dark, bright = as_image(black), as_image(white)
    for reference in (offset, gain):
        c.VIQ_image_copy(dark.handle, reference.handle)
    c.VIQ_IP_ShadingCorrection_Generate(dark.handle, bright.handle, offset.handle, gain.handle)
    return offset, gain


# ---- Measurements


class Histogram(NamedTuple):
    """Counts of a "hsi" picture."""
    hue: np.ndarray
    saturation: np.ndarray
    intensity: np.ndarray
    totals: np.ndarray


def _histogram(record: Any) -> Histogram:
    return Histogram(*(np.array(getattr(record, name), np.uint32) for name in Histogram._fields))


def _record_of(histogram: Histogram) -> Any:
    record = c.tVIQ_Histogram()
    for name in Histogram._fields:
        getattr(record, name)[:] = [int(n) for n in getattr(histogram, name)]
    return record


def histogram(picture: Picture) -> Histogram:
    """Hue, saturation and intensity of a picture, which is converted to "hsi" if it is not."""
    image = as_image(picture)
    hsi = image if image.format == 'hsi' else image.to('hsi')
    record = c.tVIQ_Histogram()
    c.VIQ_IP_histogram_generate(hsi.handle, ctypes.byref(record), NEXT)
    return _histogram(record)


def smooth_histogram(counts: Histogram) -> Histogram:
    """The counts smoothed with 1, 2, 1. See VIQ_IP_histogram_filter."""
    record = _record_of(counts)
    c.VIQ_IP_histogram_filter(ctypes.byref(record), 900)
    return _histogram(record)


def match_histograms(one: Histogram, other: Histogram, plane: str = 'hue') -> int:
    """The similarity of two histograms in percent; plane is "hue", "saturation" or "intensity"."""
    result = ctypes.c_uint32()
    c.VIQ_IP_histogram_match(ctypes.byref(_record_of(one)), ctypes.byref(_record_of(other)),
                             Histogram._fields.index(plane) + 1, ctypes.byref(result))
    return result.value


def averages(picture: Picture) -> Tuple[int, int, int]:
    """Mean hue, saturation and intensity of "hsi"; mean, minimum and maximum of "y8"."""
    image = as_image(picture)
    record = c.tVIQ_Average()
    c.VIQ_IP_generate_averages(image.handle, ctypes.byref(record), NEXT)
    return record.average[0], record.average[1], record.average[2]


def motion(picture: Picture, reference: Picture, threshold: int = 0, step: int = 1) -> int:
    """The change of the correlation with a reference in percent. See VIQ_IP_motion_detect."""
    image, compared = as_image(picture), as_image(reference)
    result = ctypes.c_uint32()
    c.VIQ_IP_motion_detect(image.handle, compared.handle, threshold, step, ctypes.byref(result))
    return result.value


# ---- Camera

_PATTERNS = {'rg': 1, 'gr': 2, 'gb': 3, 'bg': 4}


def _mosaic(picture: Picture) -> Image:
    if isinstance(picture, Image):
        # The samples of a sensor in a grey picture file.
        return from_array(picture.array, 'rggb32') if picture.format == 'y8' else picture
    return from_array(picture, 'rggb32' if np.asarray(picture).dtype == np.uint8 else 'y16')


def demosaic(picture: Picture, pattern: str = 'rg', scheme: int = 3,
             format: Union[str, int] = 'rgb24') -> Image:
    """Colour from a mosaic of 8 bits: "rggb32", "y8" or an array of bytes. pattern: the first two
    samples, "rg", "gr", "gb" or "bg". scheme: 1 nearest, 2 bilinear, 3 adaptive. apply_gains makes 8
    bits of a mosaic of 16. See VIQ_BAY_RGGB32_to_BGRX32."""
    image = operations.demosaic_to_bgrx32(_mosaic(picture), scheme, _PATTERNS[pattern])
    return image if image.format == format else image.to(format)


def grey_world_gains(picture: Picture, pattern: str = 'rg', black_level: int = 0) -> np.ndarray:
    """Gains of red, green and blue that make the picture grey in the mean; 4096 is 1."""
    image = _mosaic(picture)
    gains = np.zeros(3, np.uint16)
    c.VIQ_BAY_grey_world_gains(image.handle, _PATTERNS[pattern], black_level, gains.ctypes.data)
    return gains


def apply_gains(picture: Picture, gains: Any, pattern: str = 'rg', black_level: int = 0,
                gamma: int = 100) -> Image:
    """Black level, gains and gamma of a mosaic; the result is "rggb32". See VIQ_BAY_apply_gains."""
    numbers = np.ascontiguousarray(gains, np.uint16)
    if numbers.size != 3:
        raise ValueError('there are gains of red, green and blue')
    return run(lambda source, target, command: c.VIQ_BAY_apply_gains(
        source, target, _PATTERNS[pattern], black_level, numbers.ctypes.data, gamma, command),
        _mosaic(picture))


class FrameLayout(NamedTuple):
    """The layout of the frames of a camera."""
    name: str
    code: int
    bits_per_pixel: int
    sample_bits: int
    format: int
    pixel_colour: int
    reduced: bool


def frame_layout(layout: Union[str, int]) -> FrameLayout:
    """A layout by its PFNC name or code. See VIQ_frame_find_layout."""
    record = c.tVIQ_FrameLayout()
    find = c.VIQ_frame_find_layout if isinstance(layout, str) else c.VIQ_frame_get_layout
    find(layout, ctypes.byref(record))
    name = ctypes.cast(record.name, ctypes.c_char_p).value or b''
    return FrameLayout(name.decode(), record.pixel_format, record.bits_per_pixel,
                       record.sample_bits, record.image_type, record.pixel_colour,
                       record.reduced == 1)


def frame_size(layout: Union[str, int], width: int, height: int, stride: int = 0) -> int:
    """The bytes of a frame; stride 0: without padding between lines."""
    size = ctypes.c_uint64()
    c.VIQ_frame_get_size(frame_layout(layout).code, width, height, stride, ctypes.byref(size))
    return size.value


def unpack_frame(frame: Any, layout: Union[str, int], width: int, height: int,
                 stride: int = 0) -> Image:
    """A frame of a camera as an image. See VIQ_frame_unpack."""
    content = np.frombuffer(frame, np.uint8)
    code = frame_layout(layout).code
    image = new_image()
    c.VIQ_image_set_parameter(image.handle, c.VIQ_LINE_ALIGNMENT, 1)
    c.VIQ_image_set_parameter(image.handle, c.VIQ_LINES_PER_STRIP, height)
    c.VIQ_frame_unpack(content.ctypes.data, content.size, code, width, height, stride, image.handle,
                       NEXT)
    return image


def pack_frame(picture: Picture, layout: Union[str, int], stride: int = 0) -> bytes:
    """An image as a frame of a camera. See VIQ_frame_pack."""
    image = as_image(picture)
    code = frame_layout(layout).code
    frame = np.zeros(frame_size(code, image.width, image.height, stride), np.uint8)
    c.VIQ_frame_pack(frame.ctypes.data, frame.size, code, image.width, image.height, stride,
                     image.handle, NEXT)
    return frame.tobytes()


class KeyWindow(NamedTuple):
    """The hues in degrees and the luma that a chroma key replaces."""
    hue: int = 340
    hue_tolerance: int = 20
    luma: int = 120
    luma_tolerance: int = 64


_KEY_PARAMETERS = (c.VIQ_CK_HUE_CENTRE, c.VIQ_CK_HUE_TOLERANCE, c.VIQ_CK_LUMA_CENTRE,
                   c.VIQ_CK_LUMA_TOLERANCE)


def _yuv(picture: Picture) -> Image:
    image = as_image(picture)
    return image if image.format == 'yuv422' else image.to('yuv422')


def calibrate_key(picture: Picture) -> KeyWindow:
    """The window of a picture of the key screen. See VIQ_CK_calibrate."""
    image = _yuv(picture)
    key = c.VIQ_CK_create()
    try:
        c.VIQ_CK_calibrate(image.handle, key, NEXT)
        return KeyWindow(*(c.VIQ_CK_get_parameter(key, number) for number in _KEY_PARAMETERS))
    finally:
        c.VIQ_CK_destroy(key)


def chroma_key(picture: Picture, background: Optional[Picture] = None,
               window: KeyWindow = KeyWindow(), colour: int = 0, soft: bool = True) -> Image:
    """Replaces the pixels inside a window of hue and luma by a background of the same size, or by a
    named colour, 0 to 15. The result is "yuv422". See VIQ_CK_chroma_key."""
    behind = _yuv(background) if background is not None else None
    key = c.VIQ_CK_create()
    try:
        for number, value in zip(_KEY_PARAMETERS, window):
            c.VIQ_CK_set_parameter(key, number, value)
        return run(lambda source, target, command: c.VIQ_CK_chroma_key(
            source, target, behind.handle if behind is not None else 0, colour, key, int(soft),
            command), _yuv(picture))
    finally:
        c.VIQ_CK_destroy(key)


def yuv_of(red: int, green: int, blue: int) -> Tuple[int, int, int]:
    """A colour as luma and chroma. See VIQ_CK_get_YUV_values_RGB."""
    value = c.VIQ_CK_get_YUV_values_RGB(red, green, blue)
    return value & 0xFF, value >> 8 & 0xFF, value >> 16


# ---- Drawing, which changes the image

_FONTS = {'small': 0, 'medium': 1, 'large': 2}


def _font(name: str) -> Any:
    font = ctypes.c_void_p()
    c.VIQ_draw_get_ptr(_FONTS[name], ctypes.byref(font))
    return font


def draw_text(image: Image, text: str, x: int, y: int, font: str = 'medium', colour: int = 15,
              grey_background: bool = False) -> None:
    """Draws text, its left column x and top line y from 0. font: "small", "medium" or "large";
    colour: a named colour, 0 to 15. See VIQ_draw_text."""
    require_writable(image)
    c.VIQ_draw_text(image.handle, text.encode('ascii'), _font(font), x + 1, y + 1,
                    int(grey_background), colour)


def draw_timestamp(image: Image, x: int, y: int, font: str = 'medium', colour: int = 15,
                   grey_background: bool = False, blink: bool = False) -> None:
    """Draws the local time and date. See VIQ_draw_timestamp."""
    require_writable(image)
    c.VIQ_draw_timestamp(image.handle, _font(font), x + 1, y + 1,
                         int(grey_background) + (0x80 if blink else 0), colour)


def draw_pixel(image: Image, x: int, y: int, colour: int) -> None:
    """Draws a pixel of a "yuv422" image; line 0 is the top line. See VIQ_DrawPixel."""
    require_writable(image)
    c.VIQ_DrawPixel(image.handle, colour, x, image.height - 1 - y)


def test_pattern(width: int, height: int, format: Union[str, int] = 'rgb24') -> Image:
    """A picture of ramps. See VIQ_test_pattern."""
    image = new_image()
    set_shape(image, format_code(format), width, height)
    c.VIQ_image_malloc_a_strip(image.handle)
    c.VIQ_test_pattern(image.handle, NEXT)
    return image
