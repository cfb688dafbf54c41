"""One file of what the workers of Dask hold: they compress, and one of them puts the blocks together.

The partitions lie one behind the other without regard to blocks, so each task compresses the whole blocks of what the
partition before it has left over and its own bytes, and hands on what is left over then:

    partition 0        partition 1           partition 2
    +--------------+  +-------------------+  +---------+
    |block|block|re|  |st|block|block|rest|  |         |      what is left at the end is written uncompressed by
    +--------------+  +-------------------+  +---------+      whoever puts the file together, as its last block
"""

from __future__ import annotations

import os
import tempfile
import uuid
from typing import Any, List, NamedTuple, Optional, Sequence

import numpy

from ._file import BLOCK_SIZE
from ._writing import compress_block, create


class Parked(NamedTuple):
    """Compressed blocks in a file that every worker can reach."""

    name: str
    sizes: List[int]


def plain(piece: Any, kind: Optional[numpy.dtype[Any]]) -> "numpy.ndarray[Any, Any]":
    """Returns: the bytes of a partition: of an array, of a pandas.DataFrame, of bytes, or of a list of bytes."""
    if isinstance(piece, (list, tuple)):
        piece = b"".join(piece)
    if isinstance(piece, str):
        raise TypeError("bytes are wanted, not str: text is encoded first")
    if hasattr(piece, "to_records"):
        piece = _rows(piece, kind)
    if isinstance(piece, numpy.ndarray) and kind is not None and piece.dtype != kind:
        piece = piece.astype(kind, casting="same_kind")
    if isinstance(piece, numpy.ndarray):
        return numpy.ascontiguousarray(piece).reshape(-1).view(numpy.uint8)
    return numpy.frombuffer(piece, numpy.uint8)


def _rows(frame: Any, kind: Optional[numpy.dtype[Any]]) -> Any:
    """Returns: the rows of a DataFrame as records, without its index."""
    if kind is None or kind.names is None:
        return numpy.asarray(frame.to_records(index=False))
    rows = numpy.empty(len(frame), kind)
    for name in kind.names:
        rows[name] = frame[name].to_numpy()
    return rows


def _joined(rest: Any, own: Any, start: int, stop: int) -> Any:
    """Returns: a slice of what is left over and a partition's own bytes, copied where it has some of both."""
    if start >= len(rest):
        return own[start - len(rest):stop - len(rest)]
    if stop <= len(rest):
        return rest[start:stop]
    return numpy.concatenate((rest[start:], own[:stop - len(rest)]))


def rest(before: Any, own: Any) -> Any:
    """Returns: what is left over behind the whole blocks."""
    size = len(before) + len(own)
    return _joined(before, own, size - size % BLOCK_SIZE, size).copy()


def compressed(before: Any, own: Any, encoder: str, folder: Optional[str], options: Any) -> "List[bytes] | Parked":
    """Compresses the whole blocks. Returns: them, or where in the folder they are."""
    whole = (len(before) + len(own)) // BLOCK_SIZE
    blocks = (compress_block(_joined(before, own, index * BLOCK_SIZE, (index + 1) * BLOCK_SIZE), encoder)
              for index in range(whole))
    if folder is None:
        return list(blocks)
    import fsspec
    # No name is used twice: another worker may do this task again while this one is still at it.
    name = f"{folder}/{uuid.uuid4().hex}"
    with fsspec.open(name, "wb", **options) as file:
        return Parked(name, [file.write(block) for block in blocks])


def _blocks(part: "List[bytes] | Parked", options: Any) -> Any:
    if not isinstance(part, Parked):
        yield from part
        return
    import fsspec
    with fsspec.open(part.name, "rb", **options) as file:
        for size in part.sizes:
            yield file.read(size)


def _write(path: str, dictionary: Any, parts: Sequence[Any], end: Any, encoder: str, options: Any) -> int:
    with create(path, dictionary, encoder=encoder) as writer:
        for part in parts:
            for block in _blocks(part, options):
                writer.write_block(block)
        writer.write(end)
        return writer.position


def put_together(path: str, dictionary: Any, parts: Sequence[Any], end: Any, encoder: str, options: Any) -> int:
    """Writes the file. Returns: its logical size."""
    if "://" not in path:
        return _write(path, dictionary, parts, end, encoder, options)
    import fsspec
    system, name = fsspec.core.url_to_fs(path, **options)
    with tempfile.TemporaryDirectory(prefix="casefile-") as folder:
        local = os.path.join(folder, "whole")
        size = _write(local, dictionary, parts, end, encoder, options)
        system.put_file(local, name)
    return size


def folder_in(temporary: str, options: Any) -> str:
    """Makes a folder of its own for parked blocks. Returns: its name."""
    import fsspec
    folder = f"{temporary}/casefile-{uuid.uuid4().hex}"
    system, name = fsspec.core.url_to_fs(folder, **options)
    system.makedirs(name, exist_ok=True)
    return folder


def removed(folder: str, options: Any, result: Any = None) -> Any:
    """Removes a folder of parked blocks, if there is one. Returns: what it was given."""
    import fsspec
    system, name = fsspec.core.url_to_fs(folder, **options)
    if system.exists(name):
        system.rm(name, recursive=True)
    return result
