"""Images, their pixels as arrays, and the call of an operation."""
import ctypes
import os
import weakref
from typing import Any, Callable, Dict, Iterator, NamedTuple, Optional, Sequence, Tuple, Union

import numpy as np

from . import functions as c
from ._runtime import Error, exported, here, library

Picture = Union['Image', np.ndarray]


class _Layout(NamedTuple):
    code: int
    dtype: Any
    samples: int = 1  # of a pixel; the third dimension of an array, if there are more than one


_HUE = np.dtype([('hue', '=u2'), ('saturation', 'u1'), ('intensity', 'u1')])

_LAYOUTS: Dict[str, _Layout] = {
    'y8': _Layout(c.VIQ_Y8, np.uint8),
    'paletted': _Layout(c.VIQ_PALETTED, np.uint8),
    'rgb8': _Layout(c.VIQ_RGB8, np.uint8),
    'rgb15': _Layout(c.VIQ_RGB15, np.uint16),
    'rgb16': _Layout(c.VIQ_RGB16, np.uint16),
    'rgb24': _Layout(c.VIQ_RGB24, np.uint8, 3),
    'bgr24': _Layout(c.VIQ_BGR24, np.uint8, 3),
    'rgbx32': _Layout(c.VIQ_RGBX32, np.uint8, 4),
    'bgrx32': _Layout(c.VIQ_BGRX32, np.uint8, 4),
    'xbgr32': _Layout(c.VIQ_XBGR32, np.uint8, 4),
    'xrgb32': _Layout(c.VIQ_XRGB32, np.uint8, 4),
    'yuv422': _Layout(c.VIQ_YUV422, np.uint8, 2),
    'cmyk32': _Layout(c.VIQ_CMYK32, np.uint8, 4),
    'y16': _Layout(c.VIQ_Y16, np.uint16),
    'rggb32': _Layout(c.VIQ_RGGB32, np.uint8),
    'hsi': _Layout(c.VIQ_HSI, _HUE),
    'y1': _Layout(c.VIQ_Y1, np.uint8),
}
_NAMES = {layout.code: name for name, layout in _LAYOUTS.items()}
FORMATS: Tuple[str, ...] = tuple(_LAYOUTS)

# What from_array takes an array for, by its type and the samples of a pixel.
_DEFAULTS = {('u1', 1): 'y8', ('u1', 3): 'rgb24', ('u1', 4): 'rgbx32', ('u2', 1): 'y16'}


def format_code(name: Union[str, int]) -> int:
    """The number of a pixel format, such as that of "rgb24"."""
    if isinstance(name, int):
        return name
    try:
        return _LAYOUTS[name.lower()].code
    except KeyError:
        raise ValueError(f'unknown pixel format {name!r}; known are {", ".join(FORMATS)}') from None


class Image:
    """A picture in memory, the owner of an image of the library.

    Images come from open, decode, from_array and the operations. close(), the end of a with
    statement or the end of the last reference frees them. One thread at a time uses an image.
    """

    __slots__ = ('_handle', '_source', '_memory', '__weakref__')

    def __init__(self, handle: int):
        self._handle = handle
        self._source: Any = None  # the memory of a caller, in which the pixels are
        self._memory: Optional[weakref.ref] = None  # what arrays of the pixels refer to

    # ---- Life

    @property
    def handle(self) -> int:
        """The handle for the functions of viq.functions."""
        if self._handle == 0:
            raise ValueError('the image is closed')
        return self._handle

    def close(self) -> None:
        """Frees the image. BufferError if arrays still refer to its pixels."""
        if self._handle == 0:
            return
        if self._memory is not None and self._memory() is not None:
            raise BufferError('arrays refer to the pixels of the image')
        handle, self._handle = self._handle, 0
        c.VIQ_image_destroy(handle)
        self._source = None

    def __del__(self, destroy: Any = library.VIQ_image_destroy) -> None:
        handle = getattr(self, '_handle', 0)
        if handle != 0:
            try:
                here.started
                destroy(handle)
            except Exception:  # the interpreter ends
                pass

    def __enter__(self) -> 'Image':
        return self

    def __exit__(self, *_: Any) -> None:
        self.close()

    def __repr__(self) -> str:
        if self._handle == 0:
            return '<viq.Image, closed>'
        return f'<viq.Image {self.width} x {self.height} {self.format}>'

    # ---- Properties

    @property
    def width(self) -> int:
        """Pixels per line."""
        return c.VIQ_get_width(self.handle)

    @property
    def height(self) -> int:
        """Lines."""
        return c.VIQ_get_height(self.handle)

    @property
    def format(self) -> str:
        """The pixel format, such as "rgb24"."""
        code = c.VIQ_image_get_parameter(self.handle, c.VIQ_IMAGE_TYPE)
        return _NAMES.get(code, str(code))

    @property
    def stride(self) -> int:
        """Bytes from one line to the next."""
        return c.VIQ_get_bytes_per_line(self.handle)

    @property
    def data_width(self) -> int:
        """Significant bits of a sample of "y16". Can be set."""
        return c.VIQ_image_get_parameter(self.handle, c.VIQ_DATA_WIDTH)

    @data_width.setter
    def data_width(self, bits: int) -> None:
        c.VIQ_image_set_parameter(self.handle, c.VIQ_DATA_WIDTH, bits)

    @property
    def is_colour(self) -> bool:
        """Whether the picture has colour; a palette of grey values has none."""
        return c.VIQ_image_is_colour(self.handle) == 1

    @property
    def orientation(self) -> int:
        """1 to 8 as in TIFF files, 0: not known."""
        return c.VIQ_image_get_file_info(self.handle, c.VIQ_FILE_INFO_ORIENTATION)

    @property
    def palette(self) -> np.ndarray:
        """A copy of the colourmap: red, green and blue of the colours in use. Can be set."""
        count = c.VIQ_image_get_parameter(self.handle, c.VIQ_NUM_COLOURS)
        colours = self._colourmap()[:count]
        return colours[:, :3].copy()

    @palette.setter
    def palette(self, colours: Any) -> None:
        colours = np.asarray(colours, np.uint8)
        if colours.ndim != 2 or colours.shape[1] != 3 or len(colours) > 256:
            raise ValueError('a palette has up to 256 colours of red, green and blue')
        self._colourmap()[:len(colours), :3] = colours
        c.VIQ_image_set_parameter(self.handle, c.VIQ_NUM_COLOURS, len(colours))

    def _colourmap(self) -> np.ndarray:
        address = c.VIQ_image_get_ptr(self.handle, c.VIQ_PTR_CMAP)
        return np.ctypeslib.as_array((ctypes.c_uint8 * 1024).from_address(address)).reshape(256, 4)

    # ---- Pixels

    @property
    def array(self) -> np.ndarray:
        """The pixels, without a copy: lines, columns and, if a pixel has several, samples.

        The array keeps the image, and while it or a view of it exists, the image cannot be closed.
        Changes of the array change the image. "y1" gives the bytes of the lines, "yuv422" pairs of
        luma and chroma bytes, "hsi" a structured type.
        """
        name = self.format
        if name not in _LAYOUTS:
            raise ValueError(f'pixels of format {name} have no array')
        layout = _LAYOUTS[name]
        memory = self._pixels()
        columns = (self.width + 7) // 8 if name == 'y1' else self.width
        shape: Tuple[int, ...] = (self.height, columns)
        strides: Tuple[int, ...] = (self._stride(), layout.samples * np.dtype(layout.dtype).itemsize)
        if layout.samples > 1:
            shape += (layout.samples,)
            strides += (np.dtype(layout.dtype).itemsize,)
        array = np.ndarray(shape, layout.dtype, memory, strides=strides)
        if isinstance(self._source, memoryview) and self._source.readonly:
            array.flags.writeable = False
        return array

    def _stride(self) -> int:
        return self.stride or (self.width + 7) // 8

    def _pixels(self) -> Any:
        """The memory of the pixels, an object that keeps the image."""
        memory = self._memory() if self._memory is not None else None
        if memory is None:
            address = c.VIQ_image_get_ptr(self.handle, c.VIQ_PTR_DATA)
            if not address:
                raise ValueError('the image has no pixels')
            memory = (ctypes.c_uint8 * (self._stride() * self.height)).from_address(address)
            memory.image = self
            self._memory = weakref.ref(memory)
            exported[self._handle] = memory
        return memory

    def __array__(self, dtype: Any = None, copy: Optional[bool] = None) -> np.ndarray:
        array = self.array if dtype is None else self.array.astype(dtype, copy=False)
        return array.copy() if copy else array

    # ---- Whole pictures

    def to(self, format: Union[str, int]) -> 'Image':
        """The picture in another pixel format, such as "y8": a new image. See VIQ_convert_as."""
        return Image(c.VIQ_convert_as(self.handle, format_code(format)))

    def copy(self) -> 'Image':
        """A copy of the picture with pixels of its own."""
        return Image(c.VIQ_convert_as(self.handle, format_code(self.format)))

    def save(self, path: Union[str, os.PathLike], quality: int = 0) -> None:
        """Saves the picture in the file format of the extension. See VIQ_save."""
        c.VIQ_save(self.handle, path, quality)


def new_image() -> Image:
    return Image(c.VIQ_image_create())


def set_shape(image: Image, code: int, width: int, height: int, alignment: int = 1) -> None:
    handle = image.handle
    c.VIQ_image_set_parameter(handle, c.VIQ_IMAGE_TYPE, code)
    c.VIQ_image_set_parameter(handle, c.VIQ_WIDTH, width)
    c.VIQ_image_set_parameter(handle, c.VIQ_HEIGHT, height)
    c.VIQ_image_set_parameter(handle, c.VIQ_LINES_PER_STRIP, height)
    c.VIQ_image_set_parameter(handle, c.VIQ_LINE_ALIGNMENT, alignment)


def from_array(array: Any, format: Union[str, int, None] = None, data_width: int = 16) -> Image:
    """An image of the pixels of an array, without a copy if the array is contiguous.

    The image keeps the array, which can be changed but not resized while the image exists. Without a
    format, arrays of bytes are "y8", "rgb24" or "rgbx32" by the samples of a pixel, and 16-bit arrays
    are "y16" with data_width significant bits.
    """
    array = np.asarray(array)
    if isinstance(format, int):
        format = _NAMES.get(format, str(format))
    samples = array.shape[2] if array.ndim == 3 else 1
    if format is None:
        format = _DEFAULTS.get((array.dtype.str[1:], samples), '')
    layout = _LAYOUTS.get(format.lower()) if format else None
    if layout is None or array.ndim not in (2, 3):
        raise ValueError(f'no pixel format for an array of shape {array.shape} of {array.dtype}')
    if samples != layout.samples or array.dtype != layout.dtype:
        raise ValueError(f'{format} does not have arrays of shape {array.shape} of {array.dtype}')
    if 0 in array.shape:
        raise ValueError('the array has no pixels')
    array = np.ascontiguousarray(array)
    height, width = array.shape[:2]
    image = new_image()
    set_shape(image, layout.code, width * 8 if layout.code == c.VIQ_Y1 else width, height)
    if layout.code == c.VIQ_Y16:
        image.data_width = data_width
    if layout.code == c.VIQ_Y1:
        c.VIQ_image_set_parameter(image.handle, c.VIQ_BYTES_PER_LINE, width)
    else:
        c.VIQ_image_check(image.handle)
    image._source = memoryview(array)
    c.VIQ_image_set_flags(image.handle, c.VIQ_FLAG_LOCKED, 1)
    c.VIQ_image_set_ptr(image.handle, c.VIQ_PTR_DATA, array.ctypes.data)
    if layout.code == c.VIQ_PALETTED:
        c.VIQ_cmap_set_type(image.handle, c.VIQ_CMAP_GREY)
    return image


def as_image(picture: Picture) -> Image:
    """An image as it is, an array by from_array."""
    return picture if isinstance(picture, Image) else from_array(picture)


def require_writable(image: Image) -> None:
    if isinstance(image._source, memoryview) and image._source.readonly:
        raise ValueError('the array of the image is read-only')


# ---- Operations

NEXT = c.VIQ_STRIP_NEXT
FINISH = c.VIQ_STRIP_FINISH


def handle_of(picture: Picture) -> int:
    if not isinstance(picture, Image):
        raise TypeError('an Image is required; from_array makes one of an array')
    return picture.handle


def kernel_of(numbers: Sequence[int]) -> Any:
    flat = np.ascontiguousarray(numbers, np.int32).ravel()
    if flat.size != 9:
        raise ValueError('a kernel has nine coefficients')
    return flat.ctypes.data_as(ctypes.c_void_p)


def run(step: Callable[..., Any], picture: Picture, *arguments: Any) -> Image:
    """A step of an operation on strips, for a picture that is one strip."""
    source = as_image(picture)
    target = new_image()
    try:
        step(source.handle, target.handle, NEXT, *arguments)
    except Error:
        _finish(step, source, target, arguments)
        raise
    c.VIQ_image_set_flags(target.handle, c.VIQ_FLAG_LOCKED, 0)  # copied from the source
    return target


def _finish(step: Callable[..., Any], source: Image, target: Image, arguments: Any) -> None:
    try:
        step(source.handle, target.handle, FINISH, *arguments)
    except Error:
        pass


def run_whole(step: Callable[..., Any], picture: Picture, *arguments: Any) -> Image:
    """A step of an operation on whole pictures."""
    source = as_image(picture)
    target = new_image()
    step(source.handle, target.handle, *arguments)
    c.VIQ_image_set_flags(target.handle, c.VIQ_FLAG_LOCKED, 0)
    return target
