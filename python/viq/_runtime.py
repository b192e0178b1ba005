"""The library, a context for every thread, and errors."""
import ctypes
import os
import threading
import weakref
from pathlib import Path


def _load():
    """The library of VIQ_LIBRARY, the one in the package, or the one that the system finds."""
    given = os.environ.get('VIQ_LIBRARY')
    if given:
        return ctypes.CDLL(given)
    for name in ('libviq.so', 'viq.dll'):
        carried = Path(__file__).with_name(name)
        if carried.exists():
            return ctypes.CDLL(str(carried))
    return ctypes.CDLL('libviq.so.4')


library = _load()

_HANDLER = ctypes.CFUNCTYPE(ctypes.c_uint32, ctypes.c_uint32, ctypes.c_char_p, ctypes.c_uint32,
                            ctypes.c_char_p)
_READING_CONFORMING = 1
_FIRST_ERROR = 0x10010000
_LAST_ERROR = 0x10FFFFFF

for _name in ('VIQ_error_text', 'VIQ_error_name'):
    getattr(library, _name).restype = ctypes.c_char_p
    getattr(library, _name).argtypes = [ctypes.c_uint32]


class Error(Exception):
    """A failure of the library.

    code: the error code, a number
    name: the class of the code, such as "VIQ_ERR_OPEN"
    function: the C function that has reported the failure
    text: its message, possibly empty
    reports: all reports of the call with this code, (function, text) each; the first names the cause
    path: the file of viq.open and viq.save, otherwise None
    """

    def __init__(self, code, function, text='', reports=()):
        self.code = code
        self.name = library.VIQ_error_name(code).decode()
        self.function = function
        self.text = text
        self.reports = tuple(reports)
        self.path = None
        super().__init__(code, function, text, self.reports)

    @property
    def description(self):
        """What the library says about the code in general, without the message of the failure."""
        return library.VIQ_error_text(self.code).decode()

    def __str__(self):
        detail = f'|0x{self.code & 0xFFFF:x}' if self.code & 0xFFFF else ''
        text = f'{self.function}: {self.text or self.description} ({self.name}{detail})'
        if self.path is not None:
            text += f', file {os.fsdecode(self.path)}'
        causes = [f'{function}: {cause}' for function, cause in self.reports[:-1] if cause]
        return '; '.join([text] + causes)


class _Here(threading.local):
    """What belongs to the calling thread. The first access in a thread binds it to a new context."""

    def __init__(self):
        self.reports = []
        # Contexts are created one at a time, with the error handlers of this thread's context. What
        # fails here is reported to whoever uses context 0.
        with _creating:
            while _ended:
                if library.VIQ_context_destroy(_ended[-1]) > 0xFFFF:
                    break
                _ended.pop()
            self.context = library.VIQ_context_create()
        if self.context > 0xFFFF or library.VIQ_context_use(self.context) > 0xFFFF:
            raise Error(self.context, 'VIQ_context_create')
        library.VIQ_ErrHandlerInstall(_handler)
        library.VIQ_set_file_reading(_READING_CONFORMING)
        for limit, value in limits.items():
            library.VIQ_set_limit(limit, ctypes.c_uint64(value))
        self.end = _ThreadEnd(self.context)
        self.started = True


class _ThreadEnd:
    """Destroys the context of a thread when the thread ends."""

    def __init__(self, context):
        self.context = context

    def __del__(self, destroy=library.VIQ_context_destroy):
        # A thread that is not bound to the context cannot destroy it while its own thread exists.
        if destroy(self.context) > 0xFFFF:
            _ended.append(self.context)


def _record(_module, function, code, message):
    reports = here.reports
    reports.append((code, function.decode(errors='replace'), message.decode(errors='replace')))
    del reports[:-8]
    return 0


limits = {}  # of threads that start to use the library
_creating = threading.Lock()
_ended = []  # contexts whose threads have ended before they could be destroyed
_handler = _HANDLER(_record)
for _name in ('VIQ_context_create', 'VIQ_context_use', 'VIQ_context_destroy',
              'VIQ_ErrHandlerInstall', 'VIQ_set_file_reading'):
    getattr(library, _name).restype = ctypes.c_uint32
here = _Here()


def check(code, function, only_reported=False):
    """Raises the error of a result above 0xFFFF, unless it is an ordinary number."""
    if not _FIRST_ERROR <= code <= _LAST_ERROR:
        return
    reports = [(name, text) for reported, name, text in here.reports if reported == code]
    if only_reported and not reports:
        return
    here.reports.clear()
    name, text = reports[-1] if reports else (function, '')
    raise Error(code, name, text, reports)


def encode_text(text):
    """File names and text for the library."""
    return os.fsencode(text) if isinstance(text, (str, os.PathLike)) else text


# The memory of images that arrays refer to, by handle.
exported = weakref.WeakValueDictionary()
_ALL_IMAGES = 0x10001


def guard(function, *handles):
    """Refuses a call that would free or move pixels to which an array refers."""
    for handle in handles:
        if handle in exported or handle == _ALL_IMAGES:
            raise BufferError(f'{function}: an array refers to the pixels of image {handle}')
