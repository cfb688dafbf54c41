"""A compressed data file, open for reading."""

from __future__ import annotations

import io
import operator
import os
from typing import TYPE_CHECKING, Any, Iterator, List, NamedTuple, Optional, cast

from ._calls import LongCall, ProgressCallback, checked, natural, require_no_objects
from ._library import ffi, lib, owned
from ._source import Source, opened

if TYPE_CHECKING:
    import numpy

BLOCK_SIZE = 4_190_208
_CACHE = 64 << 20
# From here on all threads decode, past the cache.
_MANY_BYTES = 2 * BLOCK_SIZE
# So much is read first where a line's end is looked for.
_LINE = 512
_MOST = (1 << 63) - 1
_uncleared = ffi.new_allocator(should_clear_after_alloc=False)


class Range(NamedTuple):
    """Positions of uncompressed bytes, from ``start`` up to, and without, ``stop``."""

    start: int
    stop: int


class Block(NamedTuple):
    """Where one block lies: its uncompressed bytes, and its compressed ones in the file."""

    start: int
    stop: int
    file_position: int
    compressed_size: int


class File(io.RawIOBase):
    """The uncompressed bytes of a file: the dictionary part first, then the case data at ``row0``.

    It is a raw file, readable and seekable: ``io.BufferedReader`` and ``io.TextIOWrapper`` work on it. ``read_at``,
    ``read_into``, ``records`` and the properties move no position, and any number of threads may use them at once.
    """

    def __init__(self, source: Source, *, row0: Optional[int] = None, threads: Optional[int] = None,
                 cache: int = _CACHE, progress: Optional[ProgressCallback] = None) -> None:
        super().__init__()
        self._handle: Any = None
        name, self._source = opened(source)
        self.name = source if name is not None else self._source.name
        self._position = 0
        self._raised = self._source.raised if self._source is not None else None
        #: How many threads decode where much is read; None is as many as the process may keep busy.
        self.threads = threads or None
        self._handle = self._open(name, row0, threads, cache, progress)
        info = self._info()
        self.row0: int = info.row0
        self._size: int = info.size
        self._blocks: int = info.blocks

    def _open(self, name: Optional[bytes], row0: Optional[int], threads: Optional[int], cache: int,
              progress: Optional[ProgressCallback]) -> Any:
        call = LongCall(progress)
        options = ffi.new("casefile_reader_options*")
        lib.casefile_reader_options_init(options, ffi.sizeof(options[0]))
        options.row0 = -1 if row0 is None else natural("row0", row0)
        options.threads = natural("threads", threads or 0)
        options.cache_bytes = natural("cache", cache)
        options.progress = call.callback
        made = ffi.new("casefile_reader**")
        if name is not None:
            call.run(lambda error: lib.casefile_reader_open(name, options, made, error))
        else:
            source = self._source.handle
            call.run(lambda error: lib.casefile_reader_open_source(source, options, made, error), self._raised)
        return owned("reader", made[0], call, self._source)

    def _reader(self) -> Any:
        if self._handle is None:
            raise ValueError("the file is closed")
        return self._handle

    def _info(self) -> Any:
        info = ffi.new("casefile_reader_info*")
        reader = self._reader()
        checked(lambda error: lib.casefile_reader_get_info(reader, info, ffi.sizeof(info[0]), error), self._raised)
        return info

    def __repr__(self) -> str:
        state = "closed" if self._handle is None else f"row0={self.row0} size={self._size} blocks={self._blocks}"
        return f"<casefile.File {self.name!r} {state}>"

    @property
    def size(self) -> int:
        """The logical end of the case data."""
        return self._size

    @property
    def dictionary(self) -> bytes:
        """The dictionary part."""
        return self.read_at(0, self.row0)

    @property
    def unfinished_append(self) -> bool:
        """Whether an append to the file has not finished by now: casefile.verify tells more."""
        return bool(self._info().unfinished)

    @property
    def blocks(self) -> List[Block]:
        """Where each block lies."""
        return [self._block(index) for index in range(self._blocks)]

    def _block(self, index: int) -> Block:
        block = ffi.new("casefile_block*")
        reader = self._reader()
        checked(lambda error: lib.casefile_reader_get_block(reader, index, block, error))
        start = block.range.start
        return Block(start, start + block.range.size, block.file_position, block.compressed_size)

    def partitions(self, count: int, record_size: int = 1) -> List[Range]:
        """Divides the case data for as many workers, at records and near the beginnings of blocks.

        Returns: ``count`` ranges one behind the other, or fewer when there are fewer blocks or records.
        """
        ranges = ffi.new("casefile_range[]", max(natural("count", count), 1))
        found = ffi.new("size_t*")
        reader, record_size = self._reader(), natural("record_size", record_size)
        checked(lambda error: lib.casefile_reader_get_partitions(reader, count, record_size, ranges, found, error))
        return [Range(each.start, each.start + each.size) for each in ranges[0:found[0]]]

    def read_at(self, position: int, size: int) -> bytes:
        """Returns: the bytes from ``position`` on, fewer than ``size`` only at the end."""
        room = _uncleared("char[]", max(0, min(natural("size", size), self._size - position)))
        return bytes(ffi.buffer(room, self._read_into(room, position, None)))

    def read_into(self, buffer: Any, position: int, progress: Optional[ProgressCallback] = None) -> int:
        """Fills a buffer with the bytes from ``position`` on. Much is decoded on all threads, little through the cache.

        Returns: how many bytes there were.
        """
        require_no_objects(buffer)
        with ffi.from_buffer("char[]", buffer, require_writable=True) as room:
            return self._read_into(room, position, progress)

    def _read_into(self, room: Any, position: int, progress: Optional[ProgressCallback]) -> int:
        done = ffi.new("size_t*")
        reader, size = self._reader(), len(room)
        if size < _MANY_BYTES:
            checked(lambda error: lib.casefile_reader_read_at(reader, room, size, position, done, error), self._raised)
        else:
            call = LongCall(progress)
            call.run(lambda error: lib.casefile_reader_read_into(reader, room, size, position, done, call.callback,
                                                                 ffi.NULL, error), self._raised)
        return int(done[0])

    def records(self, dtype: "numpy.typing.DTypeLike", start: int = 0, stop: Optional[int] = None,
                progress: Optional[ProgressCallback] = None) -> "numpy.ndarray[Any, Any]":
        """Returns: the case data's records ``start`` up to ``stop``, numbered from 0, or from the end as in a slice when
        negative, as an array, decoded straight into it. Bytes of an incomplete last record are left out.
        """
        try:
            import numpy
        except ImportError as missing:
            raise ImportError("File.records needs numpy, which is not installed") from missing
        kind = numpy.dtype(dtype)
        if kind.itemsize == 0 or kind.hasobject:
            raise ValueError(f"records of {kind} cannot be read out of bytes")
        first, last, _ = slice(start, stop).indices((self._size - self.row0) // kind.itemsize)
        result = numpy.empty(max(0, last - first), kind)
        if result.size:
            done = self.read_into(result.view(numpy.uint8).reshape(-1).data, self.row0 + first * kind.itemsize, progress)
            if done != result.nbytes:
                raise ValueError("the file holds fewer bytes than it tells of")
        return result

    def lines(self, encoding: str = "utf-8", errors: str = "strict", start: Optional[int] = None) -> Iterator[str]:
        """Yields the lines of the case data, without the line feeds that end them, decoding on all threads ahead of them.
        A carriage return is a letter of its line, wherever it stands, as in the other languages' lines.
        """
        from ._ahead import ahead
        # What a TextIOWrapper takes has other types in each version of Python's.
        with ahead(self, self.row0 if start is None else start) as decoded, \
                io.TextIOWrapper(cast(Any, decoded), encoding, errors, newline="\n") as text:
            for line in text:
                yield line[:-1] if line.endswith("\n") else line

    # ---- io.RawIOBase ----

    def readable(self) -> bool:
        return True

    def seekable(self) -> bool:
        return True

    def write(self, data: Any) -> int:
        raise io.UnsupportedOperation("not writable: casefile.append extends a file")

    def readinto(self, buffer: Any) -> int:
        done = self.read_into(buffer, self._position)
        self._position += done
        return done

    def read(self, size: Optional[int] = -1) -> bytes:
        if size is None or size < 0:
            return self.readall()
        read = self.read_at(self._position, size)
        self._position += len(read)
        return read

    def readall(self) -> bytes:
        read = self.read_at(self._position, max(0, self._size - self._position))
        self._position += len(read)
        return read

    def readline(self, size: Optional[int] = -1) -> bytes:
        """Reads on behind the next line feed, also for loops over the file; io.RawIOBase reads each byte by itself."""
        self._reader()
        left = self._size if size is None or size < 0 else size
        pieces: List[bytes] = []
        step = _LINE
        while left > 0:
            piece = self.read_at(self._position, min(step, left))
            end = piece.find(b"\n") + 1
            pieces.append(piece[:end] if end else piece)
            self._position += len(pieces[-1])
            if end or not piece:
                break
            left -= len(piece)
            step = min(2 * step, _MANY_BYTES)
        return b"".join(pieces)

    def seek(self, offset: int, whence: int = os.SEEK_SET) -> int:
        self._reader()
        origins = {os.SEEK_SET: 0, os.SEEK_CUR: self._position, os.SEEK_END: self._size}
        if whence not in origins:
            raise ValueError(f"no such origin: {whence}")
        position = origins[whence] + operator.index(offset)
        if position < 0:
            raise ValueError(f"a negative position: {position}")
        if position > _MOST:
            raise OverflowError(f"no file has a position {position}")
        self._position = position
        return position

    def tell(self) -> int:
        self._reader()
        return self._position

    def __reduce_ex__(self, protocol: Any) -> Any:
        raise TypeError(f"a {type(self).__name__} cannot be copied to another process: each one opens the file itself")

    def close(self) -> None:
        # Whoever still reads on another thread holds the reader, which goes with the last one.
        self._handle = self._source = None
        super().close()


def open(source: Source, *, row0: Optional[int] = None, threads: Optional[int] = None, cache: int = _CACHE,
         progress: Optional[ProgressCallback] = None) -> File:
    """Opens a compressed data file: its name, a file object that can be read and sought, or a bytearray or memoryview.

    ``row0`` is where the case data begin; without it that is looked for. ``threads`` decode where much is read; without
    a number as many as the process may keep busy. ``cache`` is the memory for decoded blocks, in bytes.
    """
    return File(source, row0=row0, threads=threads, cache=cache, progress=progress)
