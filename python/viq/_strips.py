"""Pictures strip by strip: files that are larger than memory."""
import os
from typing import Any, Callable, Iterator, Optional, Union

from . import functions as c
from ._file_extensions import FILE_EXTENSIONS
from ._image import FINISH, NEXT, Image, as_image, format_code, new_image
from ._runtime import Error


class Strips:
    """A picture as strips of lines, from strips().

    Iteration gives each strip as an image of its own. apply() and to() give the strips of a result,
    which are computed as they are needed and do not depend on the height of the strips; save()
    writes them. An operation can be applied once in a chain. A chain belongs to the thread that uses
    it, and a thread works on one chain at a time.
    """

    def __init__(self, image: Image, advance: Callable[[], bool], finish: Callable[[], None]):
        self._image = image      # receives the current strip
        self._advance = advance  # False after the last strip
        self._finish = finish    # abandons the rest

    @property
    def width(self) -> int:
        return self._image.width

    @property
    def height(self) -> int:
        """Lines of the whole picture."""
        return self._image.height

    @property
    def format(self) -> str:
        return self._image.format

    def _steps(self) -> Iterator[int]:
        """Makes one strip after the other current; gives their lines."""
        complete = False
        try:
            while self._advance():
                lines = c.VIQ_get_lines_this_strip(self._image.handle)
                if lines:
                    yield lines
            complete = True
        finally:
            if not complete:
                self._finish()

    def __iter__(self) -> Iterator[Image]:
        for lines in self._steps():
            yield _whole(self._image, lines)

    def apply(self, operation: Callable[..., Image], *arguments: Any) -> 'Strips':
        """The strips of the result of an operation, such as viq.crop, with its arguments."""
        step = getattr(operation, 'step', None)
        if step is None:
            raise ValueError(f'{operation.__name__} does not work strip by strip')
        return self._through(lambda source, target, command: step(source, target, command,
                                                                 *arguments))

    def to(self, format: Union[str, int]) -> 'Strips':
        """The strips in another pixel format, for which the library has a converter."""
        code = format_code(format)
        if self._image.format == 'paletted' and code in (c.VIQ_RGB24, c.VIQ_Y8):
            code = c.VIQ_RGB24_OR_Y8
        return self._through(lambda source, target, command: c.VIQ_image_convert(
            source, target, code, 0, command))

    def _through(self, step: Callable[[int, int, int], Any]) -> 'Strips':
        source = self._image
        target = new_image()
        # Without lines, operations copy the parameters that the result has at the start.
        lines = c.VIQ_get_lines_this_strip(source.handle)
        c.VIQ_image_set_parameter(source.handle, c.VIQ_LINES_PER_STRIP, 0)
        step(source.handle, target.handle, NEXT)
        c.VIQ_image_set_parameter(source.handle, c.VIQ_LINES_PER_STRIP, lines)

        def advance() -> bool:
            if not self._advance():
                return False
            step(source.handle, target.handle, NEXT)
            return True

        def finish() -> None:
            _silently(lambda: step(source.handle, target.handle, FINISH))
            self._finish()

        return Strips(target, advance, finish)

    def save(self, path: Union[str, 'os.PathLike[str]'], quality: int = 0) -> None:
        """Writes the picture strip by strip: BMP, TIFF, TGA, EPS, JPEG or raw, by the extension. The
        new file replaces an existing one when it is complete. Strips for JPEG have a multiple of 8
        lines; quality is the factor of VIQ_JPEG_set_Quality_factor, 0 that of a new image."""
        name = os.fspath(path)
        extension = os.path.splitext(name)[1].lower()
        code = FILE_EXTENSIONS.get(extension, c.VIQ_FILE_WAVELET)
        if code == c.VIQ_FILE_WAVELET:
            raise ValueError(f'{name}: no file format that is written strip by strip')
        if code == c.VIQ_FILE_JPEG:
            write = _jpeg_writer(self._image, quality)
        else:
            def write(command: int) -> None:
                c.VIQ_image_write(self._image.handle, 0, code, command)
        part = f'{name}.part'
        complete = False
        try:
            for _lines in self._steps():
                c.VIQ_image_set_outfilename(self._image.handle, part)
                write(NEXT)
            complete = True
        finally:
            if not complete:
                _silently(lambda: write(FINISH))
                if os.path.exists(part):
                    os.remove(part)
        os.replace(part, name)

    def collect(self) -> Image:
        """The whole picture."""
        memory = new_image()
        for _lines in self._steps():
            c.VIQ_write_to_memory(self._image.handle, memory.handle, NEXT)
        return memory


def _jpeg_writer(strip: Image, quality: int) -> Callable[[int], None]:
    """A function of a strip command that compresses the strip and appends it to the file."""
    jpeg = Image(c.VIQ_JPEG_image_create())
    if quality:
        c.VIQ_JPEG_set_Quality_factor(jpeg.handle, quality)
    c.VIQ_image_set_parameter(jpeg.handle, c.VIQ_IMAGE_TYPE, c.VIQ_YUV422)
    c.VIQ_JPEG_set_default_H_tables(jpeg.handle)
    c.VIQ_JPEG_generate_H_codetable_LUTs(jpeg.handle)

    def write(command: int) -> None:
        c.VIQ_JPEG_compress_strip(strip.handle, jpeg.handle, command)
        c.VIQ_JPEG_file_write(jpeg.handle, command)
    return write


def _silently(call: Callable[[], Any]) -> None:
    try:
        call()
    except Error:
        pass


def _whole(strip: Image, lines: int) -> Image:
    """A copy of the current strip as a picture of its own."""
    copy = new_image()
    c.VIQ_image_copy(strip.handle, copy.handle)
    c.VIQ_image_set_parameter(copy.handle, c.VIQ_HEIGHT, lines)
    return copy


def strips(picture: Any, lines: int = 64) -> Strips:
    """The strips of a file, or of an image or an array. BMP, TIFF, TGA and EPS files are read strip by
    strip, JPEG files are decompressed strip by strip, wavelet files are decompressed as a whole."""
    if lines < 1:
        raise ValueError('a strip has at least one line')
    if not isinstance(picture, (str, bytes, os.PathLike)):
        return _strips_of_image(as_image(picture), lines)
    code = c.VIQ_image_find_file_format(picture)
    if code == c.VIQ_FILE_WAVELET:
        return _strips_of_image(Image(c.VIQ_open_as(picture, 0)), lines)
    return _strips_of_jpeg(picture, lines) if code == c.VIQ_FILE_JPEG else _strips_of_file(picture,
                                                                                         lines)


def _limited(image: Image, lines: int, step: Callable[[], Any],
             finish: Callable[[], Any], result: Optional[Image] = None) -> Strips:
    """Strips that one function delivers until the height is reached; with 0 lines it knows their
    height."""
    done = 0
    height = image.height

    def advance() -> bool:
        nonlocal done
        if done >= height:
            return False
        if lines:
            c.VIQ_image_set_parameter(image.handle, c.VIQ_LINES_PER_STRIP,
                                      min(lines, height - done))
        step()
        done += c.VIQ_get_lines_this_strip((result or image).handle)
        return True

    return Strips(result or image, advance, lambda: _silently(finish))


def _strips_of_file(path: Any, lines: int) -> Strips:
    image = new_image()
    c.VIQ_image_set_infilename(image.handle, path)
    c.VIQ_image_set_parameter(image.handle, c.VIQ_HEIGHT, 0)
    c.VIQ_image_set_parameter(image.handle, c.VIQ_LINES_PER_STRIP, 0)
    c.VIQ_image_read(image.handle, 0, NEXT)
    return _limited(image, lines, lambda: c.VIQ_image_read(image.handle, 0, NEXT),
                    lambda: c.VIQ_image_read(image.handle, 0, FINISH))


def _strips_of_jpeg(path: Any, lines: int) -> Strips:
    jpeg = Image(c.VIQ_JPEG_image_create())
    c.VIQ_image_set_infilename(jpeg.handle, path)
    c.VIQ_JPEG_file_read(jpeg.handle)
    target = new_image()
    grey = c.VIQ_JPEG_get_parameter(jpeg.handle, c.VIQ_JPEG_COMPONENTS) == 1
    for parameter, value in ((c.VIQ_IMAGE_TYPE, c.VIQ_Y8 if grey else c.VIQ_RGB24),
                             (c.VIQ_WIDTH, jpeg.width), (c.VIQ_HEIGHT, jpeg.height)):
        c.VIQ_image_set_parameter(target.handle, parameter, value)
    return _limited(jpeg, lines, lambda: c.VIQ_JPEG_decompress(jpeg.handle, target.handle, NEXT),
                    lambda: c.VIQ_JPEG_decompress(jpeg.handle, target.handle, FINISH), target)


def _strips_of_image(image: Image, lines: int) -> Strips:
    memory = image.copy()  # its lines per strip change
    strip = new_image()
    c.VIQ_image_copy_parameters(memory.handle, strip.handle)
    c.VIQ_image_set_parameter(memory.handle, c.VIQ_LINES_PER_STRIP, min(lines, memory.height))
    return _limited(memory, 0, lambda: c.VIQ_read_from_memory(memory.handle, strip.handle, NEXT),
                    lambda: c.VIQ_read_from_memory(memory.handle, strip.handle, FINISH), strip)
