"""Writing new files and appending to files."""

from __future__ import annotations

import os
import threading
from types import TracebackType
from typing import Any, Callable, Iterable, Optional, Type, Union

from ._calls import LongCall, ProgressCallback, checked, natural, require_no_objects
from ._errors import wrong_use
from ._file import BLOCK_SIZE
from ._library import encoded, ffi, is_inherited, lib, owned

_ENCODERS = {"automatic": 0, "zlib": 1, "libdeflate": 2, "isal": 3, "fast": 4}

# Fewer bytes than this fill no two blocks: the call waits for one at most.
_SHORT = 4 << 20

Name = Union[str, bytes, "os.PathLike[Any]"]


def _encoder(name: str) -> int:
    if name not in _ENCODERS:
        raise ValueError(f"no such encoder: {name!r}; one of {', '.join(_ENCODERS)}")
    return _ENCODERS[name]


def _is_bytes(data: Any) -> bool:
    try:
        memoryview(data)
    except TypeError:
        return False
    except ValueError:  # some of numpy's types, dates for one, are none that a buffer has
        return hasattr(data, "tobytes")
    return True


def _bytes_of(data: Any) -> Any:
    """Returns: the bytes of a buffer, those of an array in the order of its elements."""
    if isinstance(data, bytes):
        return data
    require_no_objects(data)
    if hasattr(data, "dtype") and hasattr(data, "tobytes"):
        data = data.reshape(-1).view("u1")
    view = memoryview(data)
    require_no_objects(view)
    return view if view.c_contiguous else view.tobytes()


class _Output:
    """What Writer and Appender have in common. In a ``with`` statement it is finished at the end of the block; when an
    exception leaves the block, nothing of it is left. Threads wait for each other at it."""

    def __init__(self, name: Name, progress: Optional[ProgressCallback]) -> None:
        self.name = name
        self._call = LongCall(progress)
        self._handle: Any = None
        # Taken again by a signal's handler, or an object's end, that comes while this thread holds it.
        self._lock = threading.RLock()
        self._at_work = False

    def _alone(self, call: Callable[[Any], None]) -> None:
        """Makes a call with the handle while nobody else does: another one at the same time would break it.

        Raises: UsageError where waiting for the call that is at work would never end.
        """
        if self._handle is not None and is_inherited(self._handle):  # and so is a lock that nobody here gives back
            raise ValueError("another process is writing it, of which this one is a copy")
        if self._call.is_telling():
            raise wrong_use("its own progress callback may not call it; what that raises ends the call", self.name)
        with self._lock:
            if self._at_work:
                raise wrong_use("it is called out of a call of its own", self.name)
            try:
                self._at_work = True
                if self._handle is None:
                    raise ValueError("it is finished or cancelled")
                call(self._handle)
            finally:
                self._at_work = False

    def _give(self, function: Callable[..., Any], data: Any) -> None:
        with ffi.from_buffer("char[]", _bytes_of(data)) as room:
            self._alone(lambda output: self._call.run(lambda error: function(output, room, len(room), error),
                                                      short=len(room) < _SHORT))

    def _write(self, function: Callable[..., Any], data: "Any | Iterable[Any]") -> None:
        if isinstance(data, str):
            raise TypeError("bytes are wanted, not str: text is encoded first")
        if _is_bytes(data):
            self._give(function, data)
        else:
            for piece in data:
                self._give(function, piece)

    def __exit__(self, kind: Optional[Type[BaseException]], raised: Optional[BaseException],
                 traceback: Optional[TracebackType]) -> None:
        if kind is not None:
            self.cancel()
        elif self._handle is not None:
            self.finish()

    def __reduce_ex__(self, protocol: Any) -> Any:
        raise TypeError(f"a {type(self).__name__} cannot be copied: the file has one")

    def finish(self) -> None:
        raise NotImplementedError

    def cancel(self) -> None:
        """Gives up: nothing of it is left. A call that another thread makes comes to its end first."""
        if self._handle is None or is_inherited(self._handle):
            self._handle = None
            return
        try:
            self._alone(self._free)
        except ValueError:
            if self._handle is not None:
                raise

    def _complete(self, function: Callable[..., Any]) -> None:
        def finish(output: Any) -> None:
            try:
                self._call.run(lambda error: function(output, error))
            finally:
                self._free(output)
        self._alone(finish)

    def _free(self, output: Any) -> None:
        self._handle = None
        ffi.release(output)  # as the library's own cancelling


class Writer(_Output):
    """Writes a new file. It gets its name when it is finished, complete; until then what had the name has it still."""

    def __init__(self, name: Name, dictionary: Any, *, encoder: str = "automatic", threads: Optional[int] = None,
                 replace: bool = True, sync: bool = False, progress: Optional[ProgressCallback] = None) -> None:
        super().__init__(name, progress)
        options = ffi.new("casefile_writer_options*")
        lib.casefile_writer_options_init(options, ffi.sizeof(options[0]))
        options.encoder = _encoder(encoder)
        options.threads = natural("threads", threads or 0)
        options.replace = replace
        options.sync = sync
        options.progress = self._call.callback
        made = ffi.new("casefile_writer**")
        checked(lambda error: lib.casefile_writer_create(encoded(name), options, made, error))
        self._handle = owned("writer", made[0], self._call)
        try:
            self._write(lib.casefile_writer_write_dictionary, dictionary)
        except BaseException:
            self.cancel()
            raise

    def __enter__(self) -> "Writer":
        return self

    def __repr__(self) -> str:
        return f"<casefile.Writer {self.name!r} {'done' if self._handle is None else f'position={self.position}'}>"

    @property
    def position(self) -> int:
        """The logical position behind all bytes given so far."""
        position = ffi.new("int64_t*")
        self._alone(lambda output: checked(
            lambda error: lib.casefile_writer_get_position(output, position, error)))
        return int(position[0])

    def write(self, data: Any) -> None:
        """Adds case data: bytes, a buffer such as an array of numpy's, or an iterable of them."""
        self._write(lib.casefile_writer_write, data)

    def write_block(self, compressed: Any) -> None:
        """Adds a block that compress_block() has made, here or elsewhere, behind whole blocks only. It is inflated once,
        so that nothing gets into the file that does not come out of it again."""
        self._give(lib.casefile_writer_write_block, compressed)

    def finish(self) -> None:
        """Writes what is left and gives the file its name."""
        self._complete(lib.casefile_writer_finish)


class Appender(_Output):
    """Appends case data to a file: after any error, a crash or a kill it is exactly the old or exactly the new one."""

    def __init__(self, name: Name, *, row0: Optional[int] = None, encoder: str = "automatic",
                 threads: Optional[int] = None, progress: Optional[ProgressCallback] = None) -> None:
        super().__init__(name, progress)
        options = ffi.new("casefile_appender_options*")
        lib.casefile_appender_options_init(options, ffi.sizeof(options[0]))
        options.row0 = -1 if row0 is None else natural("row0", row0)
        options.encoder = _encoder(encoder)
        options.threads = natural("threads", threads or 0)
        options.progress = self._call.callback
        made = ffi.new("casefile_appender**")
        self._call.run(lambda error: lib.casefile_appender_open(encoded(name), options, made, error))
        self._handle = owned("appender", made[0], self._call)
        info = self._info()
        self.row0: int = info.row0
        #: Whether opening took back an append that had not finished.
        self.took_back = bool(info.took_back)

    def _info(self) -> Any:
        info = ffi.new("casefile_appender_info*")
        self._alone(lambda output: checked(
            lambda error: lib.casefile_appender_get_info(output, info, ffi.sizeof(info[0]), error)))
        return info

    def __enter__(self) -> "Appender":
        return self

    def __repr__(self) -> str:
        return f"<casefile.Appender {self.name!r} {'done' if self._handle is None else f'position={self.position}'}>"

    @property
    def position(self) -> int:
        """The logical position behind all bytes, those given so far included."""
        return int(self._info().position)

    def read_at(self, position: int, size: int) -> bytes:
        """Reads what the file holds, before the first new byte is given."""
        there_is = max(0, min(natural("size", size), self.position - position))
        room, done = bytearray(there_is), ffi.new("size_t*")
        view = ffi.from_buffer("char[]", room, require_writable=True)
        self._alone(lambda output: checked(
            lambda error: lib.casefile_appender_read_at(output, view, there_is, position, done, error)))
        return bytes(room[:done[0]])

    def write(self, data: Any) -> None:
        """Adds case data: bytes, a buffer such as an array of numpy's, or an iterable of them."""
        self._write(lib.casefile_appender_write, data)

    def finish(self) -> None:
        """Returns when all is on the disk."""
        self._complete(lib.casefile_appender_finish)


def compress_block(data: Any, encoder: str = "automatic") -> bytes:
    """Compresses one whole block of case data, BLOCK_SIZE bytes, for Writer.write_block(): in another process or on
    another machine than that which puts the file together.
    """
    number, length = _encoder(encoder), ffi.new("size_t*")
    made = bytearray(BLOCK_SIZE)
    with ffi.from_buffer("char[]", _bytes_of(data)) as plain, \
            ffi.from_buffer("char[]", made, require_writable=True) as room:
        checked(lambda error: lib.casefile_compress_block(plain, len(plain), number, room, len(room), length, error))
    return bytes(memoryview(made)[:length[0]])


def create(name: Name, dictionary: Any, *, encoder: str = "automatic", threads: Optional[int] = None,
           replace: bool = True, sync: bool = False, progress: Optional[ProgressCallback] = None) -> Writer:
    """Makes a new file that begins with the dictionary part; ``encoder`` is "automatic", "zlib", "libdeflate",
    "isal" or "fast"."""
    return Writer(name, dictionary, encoder=encoder, threads=threads, replace=replace, sync=sync, progress=progress)


def append(name: Name, *, row0: Optional[int] = None, encoder: str = "automatic", threads: Optional[int] = None,
           progress: Optional[ProgressCallback] = None) -> Appender:
    """Opens a file to append case data; what an append that did not finish has left is taken back first."""
    return Appender(name, row0=row0, encoder=encoder, threads=threads, progress=progress)
