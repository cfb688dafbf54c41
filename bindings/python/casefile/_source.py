"""What a file's bytes come from: a name, bytes in memory, or any Python object that can be read and sought."""

from __future__ import annotations

import errno
import os
import threading
from typing import Any, Callable, Dict, Optional, Tuple, Union

from ._calls import Raised, checked
from ._library import encoded, ffi, lib, owned

#: What a file can be opened from.
Source = Union[str, bytes, "os.PathLike[Any]", Any]


def is_name(source: Source) -> bool:
    return isinstance(source, (str, bytes, os.PathLike))


_TELL_LENGTH = ffi.typeof("int32_t(*)(void*, int64_t*)")
_READ = ffi.typeof("int32_t(*)(void*, void*, size_t, int64_t, size_t*)")

# Sources that the library may still read: it says when it does no more.
_in_use: Dict[int, "_Reading"] = {}


class _Reading:
    """What the callbacks of a source know."""

    def __init__(self, file: Any, close: Callable[[], object]) -> None:
        self.file = file
        self.close = close
        self.raised = Raised()
        self._lock = threading.Lock()
        self.callbacks = ffi.new("casefile_source_callbacks*")
        lib.casefile_source_callbacks_init(self.callbacks, ffi.sizeof(self.callbacks[0]))
        self._kept = (
            ffi.callback(_TELL_LENGTH, self._tell_length, error=errno.EIO, onerror=self._failed),
            ffi.callback(_READ, self._read, error=errno.EIO, onerror=self._failed))
        self.callbacks.length, self.callbacks.read_at = self._kept
        self.callbacks.release = _release
        self.callbacks.user = ffi.cast("void*", id(self))

    def _tell_length(self, _: Any, length: Any) -> int:
        with self._lock:
            self.file.seek(0, os.SEEK_END)
            length[0] = self.file.tell()  # not what seek() returns: some return nothing
        return 0

    def _read(self, _: Any, buffer: Any, size: int, position: int, done: Any) -> int:
        with self._lock, memoryview(ffi.buffer(buffer, size)) as room:
            self.file.seek(position)
            if hasattr(self.file, "readinto"):
                done[0] = self.file.readinto(room) or 0
            else:
                read = self.file.read(size)
                room[:len(read)] = read
                done[0] = len(read)
        return 0

    def _failed(self, _: Any, exception: Optional[BaseException], __: Any) -> None:
        if exception is not None:
            self.raised.keep(exception)


@ffi.callback("void(void*)")  # type: ignore[misc]
def _release(user: Any) -> None:
    reading = _in_use.pop(int(ffi.cast("intptr_t", user)), None)
    if reading is not None:
        reading.close()


def _file_of(source: Any) -> Tuple[Any, Callable[[], object]]:
    """Returns: the file to read, and what is called when it is not wanted any more: what the program has opened stays
    open, what fsspec.open() gives has yet to be opened.
    """
    if hasattr(source, "seek") and hasattr(source, "read"):
        return source, lambda: None
    if hasattr(source, "fs") and hasattr(source, "open"):
        return source.open(), source.close
    raise TypeError(f"a name or a file object that can be read and sought is wanted, not {type(source).__name__}")


class ObjectSource:
    """The library's source over a Python file object, which is read by one thread at a time."""

    def __init__(self, source: Any) -> None:
        file, close = _file_of(source)
        self.name = str(getattr(source, "name", None) or getattr(source, "path", None) or type(source).__name__)
        reading = _Reading(file, close)
        self.raised = reading.raised
        made = ffi.new("casefile_source**")
        name = os.fsencode(self.name)
        checked(lambda error: lib.casefile_source_from_callbacks(reading.callbacks, name, made, error))
        _in_use[id(reading)] = reading
        self.handle = owned("source", made[0])


class MemorySource:
    """The library's source over bytes in memory, which are not copied."""

    def __init__(self, data: Any) -> None:
        self.raised = Raised()
        self.name = "memory"
        self._kept = ffi.from_buffer(data)
        made = ffi.new("casefile_source**")
        checked(lambda error: lib.casefile_source_from_memory(self._kept, len(self._kept), b"memory", made, error))
        self.handle = owned("source", made[0])


def opened(source: Source) -> Tuple[Optional[bytes], Any]:
    """Returns: the name for the library, or the object whose ``handle`` is a source; the other one is None."""
    if is_name(source):
        return encoded(source), None
    if isinstance(source, (bytearray, memoryview)):
        return None, MemorySource(source)
    return None, ObjectSource(source)
