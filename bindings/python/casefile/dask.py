"""Files of records and tables as collections of Dask: each task opens the file itself and reads its own blocks."""

from __future__ import annotations

import contextlib
import csv
import io
import os
import re
from typing import Any, Dict, Iterator, List, NamedTuple, Optional, Tuple, Union

try:
    import dask
    import dask.utils
    import numpy
except ImportError as missing:
    raise ImportError("casefile.dask needs dask and numpy, which are not both installed") from missing

from . import _assembling
from ._file import BLOCK_SIZE, File, Range
from ._file import open as open_file

_PARTITION = 16 * BLOCK_SIZE
_STEP = 1 << 16  # in which the end of a line is looked for
_OF_A_WHOLE_TABLE = ("nrows", "skipfooter", "chunksize", "iterator")  # options of pandas that no partition can have


class _Place(NamedTuple):
    """What a task needs to open the file as it was when the tasks were made."""

    path: str
    storage_options: Dict[str, Any]
    row0: Optional[int]
    size: Optional[int]


@contextlib.contextmanager
def _opened(place: _Place) -> Iterator[File]:
    with contextlib.ExitStack() as open_files:
        source: Any = place.path
        if "://" in place.path:
            import fsspec
            source = open_files.enter_context(fsspec.open(place.path, "rb", **place.storage_options))
        file = open_files.enter_context(open_file(source, row0=place.row0, threads=1, cache=BLOCK_SIZE))
        if place.size is not None and file.size != place.size:
            raise ValueError(f"{place.path} is not as long as it was when its partitions were made")
        yield file


class _Quotes(NamedTuple):
    """Which parts of a table begin between quotes, and what a quote is."""

    mark: bytes
    inside: List[bool]


class _Plan(NamedTuple):
    place: _Place
    dictionary: bytes
    parts: List[Range]


def _plan(path: str, row0: Optional[int], storage_options: Optional[Dict[str, Any]],
          partition_size: Union[int, str], record_size: int) -> _Plan:
    wanted = dask.utils.parse_bytes(partition_size)
    if wanted < 1:
        raise ValueError(f"partitions of {partition_size} bytes cannot be")
    path = _absolute(path)
    with _opened(_Place(path, storage_options or {}, row0, None)) as file:
        data = file.size - file.row0
        parts = file.partitions(-(-data // wanted), record_size) if data else []
        return _Plan(_Place(path, storage_options or {}, file.row0, file.size), file.dictionary, parts)


def _records(place: _Place, kind: Any, first: int, last: int) -> Any:
    with _opened(place) as file:
        return file.records(kind, first, last)


def read_records(path: str, dtype: Any, partition_size: Union[int, str] = _PARTITION, *,
                 row0: Optional[int] = None, storage_options: Optional[Dict[str, Any]] = None) -> Any:
    """The records of a file as a one-dimensional dask array, in partitions that begin at blocks, each of about so many
    bytes: a number, or words such as "64MiB".

    ``path`` is a name or a URL of fsspec's, by which each worker can reach the file. Bytes of an incomplete last record
    are left out.
    """
    import dask.array
    kind = numpy.dtype(dtype)
    plan = _plan(path, row0, storage_options, partition_size, kind.itemsize)
    start = plan.place.row0 or 0
    pieces = []
    for part in plan.parts:
        first, last = ((position - start) // kind.itemsize for position in part)
        task = dask.delayed(_records)(plan.place, kind, first, last)
        pieces.append(dask.array.from_delayed(task, (last - first,), meta=numpy.empty(0, kind)))
    return dask.array.concatenate(pieces) if pieces else dask.array.from_array(numpy.empty(0, kind))


def _break_outside(text: bytes, inside: bool, quote: bytes) -> Tuple[int, bool]:
    """Returns: where the first line break outside quotes is, or -1 and whether the text ends between quotes."""
    at = 0
    while True:
        if inside:
            at = text.find(quote, at) + 1
            if at == 0:
                return -1, True
        else:
            found = text.find(b"\n", at)
            opening = text.find(quote, at, found if found >= 0 else len(text))
            if opening < 0:
                return found, False
            at = opening + 1
        inside = not inside


def _first_line(file: File, position: int, quotes: Optional[_Quotes], index: int) -> int:
    """Where the first line begins whose preceding line break lies at the position, the start of part `index`, or behind
    it; the case data begin with one, and behind the last one is the end.
    """
    if position == file.row0:
        return position
    inside = quotes is not None and quotes.inside[index]
    while position < file.size:
        text = file.read_at(position, _STEP)
        found, inside = _break_outside(text, inside, quotes.mark) if quotes else (text.find(b"\n"), False)
        if found >= 0:
            return position + found + 1
        position += len(text)
    return file.size


def _lines(place: _Place, part: Range, quotes: Optional[_Quotes], index: int) -> bytes:
    """The lines of a part: from its first one up to that of the next part."""
    with _opened(place) as file:
        start = _first_line(file, part.start, quotes, index)
        return file.read_at(start, _first_line(file, part.stop, quotes, index + 1) - start)


def _holds_odd_quotes(place: _Place, part: Range, mark: bytes) -> bool:
    with _opened(place) as file:
        return sum(file.read_at(position, min(BLOCK_SIZE, part.stop - position)).count(mark)
                   for position in range(part.start, part.stop, BLOCK_SIZE)) % 2 == 1


def _quotes(place: _Place, mark: bytes, odd: List[bool]) -> _Quotes:
    """Returns: which parts begin between quotes, by the counts of all parts before them."""
    inside = [False]
    for each in odd:
        inside.append(inside[-1] != each)
    if inside[-1]:
        raise ValueError(f"{place.path} has an odd number of quotes: it cannot be told which line breaks lie between "
                         "them")
    return _Quotes(mark, inside)


def _whole_lines(text: bytes, mark: Optional[bytes]) -> bytes:
    """Returns: the text up to its last line break that lies outside quotes."""
    count, end = text.count(mark) if mark else 0, len(text)
    while True:
        found = text.rfind(b"\n", 0, end)
        count -= text.count(mark, found + 1, end) if mark else 0
        if found < 0 or count % 2 == 0:
            return text[:found + 1]
        end = found


def _quote(options: Dict[str, Any]) -> Optional[bytes]:
    return None if options.get("quoting") == csv.QUOTE_NONE else str(options.get("quotechar") or '"').encode()


def _require_whole_quotes(place: _Place, text: bytes, position: int, options: Dict[str, Any]) -> None:
    mark, escape = _quote(options), options.get("escapechar")
    if escape:
        text = re.sub(re.escape(escape.encode()) + b".", b"", text, flags=re.DOTALL)
    if mark and text.count(mark) % 2:
        raise ValueError(f"{place.path} cannot be cut into partitions near {position}: a line break seems to lie "
                         "between quotes, which quoted_line_breaks=True allows")


def _table(place: _Place, part: Range, head: bytes, meta: Any, options: Dict[str, Any], quotes: Optional[_Quotes],
           index: int) -> Any:
    import pandas
    text = _lines(place, part, quotes, index)
    if part != Range(place.row0 or 0, place.size or 0):
        _require_whole_quotes(place, text, part.start, options)
    if not text:
        return meta
    frame = pandas.read_csv(io.BytesIO(head + text), **options)
    if meta is None:
        return frame
    if list(frame.columns) != list(meta.columns):
        raise ValueError(f"the lines from {part.start} on have other columns than the first ones")
    try:
        return frame.astype(meta.dtypes.to_dict())
    except (TypeError, ValueError) as failure:
        raise ValueError(f"the lines from {part.start} on have other types than the first ones, which dtype= can tell: "
                         f"{failure}") from failure


def _mark(options: Dict[str, Any]) -> bytes:
    """Returns: the quote, where counting quotes tells what lies between them."""
    mark = _quote(options)
    if options.get("escapechar") or options.get("doublequote", True) is False or mark is None:
        raise ValueError("quoted_line_breaks are found by counting quotes, which escapechar, doublequote=False and "
                         "QUOTE_NONE make impossible")
    return mark


def _require_each_heads_lines(head: bytes, sample: bytes, options: Dict[str, Any]) -> None:
    """No line of the head, which each partition gets, may become a row, and none of the table's be taken for the head's:
    then twice the lines are twice the rows.
    """
    import pandas
    lines = _whole_lines(sample[:_STEP], _quote(options)) or sample
    once, twice = (len(pandas.read_csv(io.BytesIO(head + lines * times), **options)) for times in (1, 2))
    if callable(options.get("skiprows")) or twice != 2 * once:
        raise ValueError("each partition is read behind the dictionary part: header, names and skiprows must use up its "
                         "lines and no others, as header=0 does where it is one line")


def read_csv(path: str, partition_size: Union[int, str] = _PARTITION, *, row0: Optional[int] = None,
             storage_options: Optional[Dict[str, Any]] = None, quoted_line_breaks: bool = False, **options: Any) -> Any:
    """A table whose head is the dictionary part as a dask dataframe, in partitions that are cut at line ends, each of
    about so many bytes, as for read_records. ``options`` are those of pandas.read_csv, but for those that a partition
    cannot have by itself, such as ``nrows``.

    Fields with line breaks in them are allowed where ``quoted_line_breaks`` says so: then tasks of their own count the
    quotes first, and each block is read twice. Without it a partition that does not hold an even number of quotes is an
    error, since it was cut at such a line break. The types of columns are those of the first lines, unless ``dtype``
    tells them.
    """
    import dask.dataframe
    for name in _OF_A_WHOLE_TABLE:
        if options.get(name):
            raise ValueError(f"{name} is for a whole table: partitions are read by themselves")
    mark = _mark(options) if quoted_line_breaks else None
    plan = _plan(path, row0, storage_options, partition_size, 1)
    whole = Range(plan.place.row0 or 0, plan.place.size or 0)
    parts = plan.parts or [whole]
    with _opened(plan.place) as file:
        sample = file.read_at(whole.start, min(BLOCK_SIZE, whole.stop - whole.start))
    if len(sample) < whole.stop - whole.start:
        sample = _whole_lines(sample, mark if len(parts) > 1 else _quote(options))
    if len(parts) > 1:
        _require_whole_quotes(plan.place, sample, whole.start, options)
    import pandas
    meta = pandas.read_csv(io.BytesIO(plan.dictionary + sample), **options).iloc[:0]
    if len(parts) > 1 and sample:
        _require_each_heads_lines(plan.dictionary, sample, options)
    quotes = None
    if mark is not None:
        odd = [dask.delayed(_holds_odd_quotes)(plan.place, part, mark) for part in parts]
        quotes = dask.delayed(_quotes)(plan.place, mark, odd)
    tasks = [dask.delayed(_table)(plan.place, part, plan.dictionary, meta, options, quotes, index)
             for index, part in enumerate(parts)]
    return dask.dataframe.from_delayed(tasks, meta=meta, verify_meta=False)


def _described(kind: Any) -> bytes:
    """Returns: a dictionary part of one line: "number:int64 value:float64"."""
    fields = [f"{name}:{kind[name]}" for name in kind.names] if kind.names else [str(kind)]
    return " ".join(fields).encode() + b"\n"


def _kind_of(collection: Any, dtype: Any) -> Any:
    """Returns: the type of records that a collection becomes; None for one of bytes."""
    if dtype is not None:
        kind = numpy.dtype(dtype)
    elif hasattr(collection, "_meta") and hasattr(collection._meta, "to_records"):
        kind = collection._meta.to_records(index=False).dtype
    elif isinstance(getattr(collection, "dtype", None), numpy.dtype):
        kind = collection.dtype
    else:
        return None
    if kind.hasobject:
        raise ValueError(f"records of {kind} are no bytes: dtype= can tell which ones they shall be")
    return kind


def _partitions(collection: Any) -> List[Any]:
    if any(count != 1 for count in getattr(collection, "numblocks", ())[1:]):
        raise ValueError("the array is divided along other axes than its first one: rechunk joins them")
    made = collection.to_delayed() if hasattr(collection, "to_delayed") else collection
    return list(made.ravel() if isinstance(made, numpy.ndarray) else made)


def _absolute(path: Any) -> str:
    """Returns: a URL, or a name that means the same to a worker that was started in another folder."""
    name: str = os.fspath(path)
    return name if "://" in name else os.path.abspath(name)


def write_records(collection: Any, path: Any, dictionary: Any = None, *, dtype: Any = None, encoder: str = "automatic",
                  temporary: Any = None, storage_options: Optional[Dict[str, Any]] = None, compute: bool = True) -> Any:
    """Writes a collection into one file: a dask array, a dataframe without its index, or a bag or list of delayed bytes.

    The workers compress their partitions, and one task puts the blocks together. It holds all that is compressed, unless
    ``temporary`` names a folder, by its path or a URL of fsspec's, that every worker reaches: then the blocks are kept
    there meanwhile, and it holds one at a time. ``path`` is a name or a URL; a name is taken by the whole file at once.

    ``dictionary`` is the dictionary part; for arrays and dataframes one that lists names and types is made. ``dtype``
    says which records they become.

    Returns: the logical size of the file; without ``compute`` a delayed object that gives it.
    """
    kind, options = _kind_of(collection, dtype), storage_options or {}
    if dictionary is None:
        if kind is None:
            raise ValueError("what has no dtype needs a dictionary part")
        dictionary = _described(kind)
    pieces = _partitions(collection)
    folder = None if temporary is None else _assembling.folder_in(_absolute(temporary), options)
    left: Any = numpy.empty(0, numpy.uint8)
    parts = []
    for piece in pieces:
        own = dask.delayed(_assembling.plain)(piece, kind)
        parts.append(dask.delayed(_assembling.compressed)(left, own, encoder, folder, options))
        left = dask.delayed(_assembling.rest)(left, own)
    written = dask.delayed(_assembling.put_together)(_absolute(path), dictionary, parts, left, encoder, options)
    if not compute:
        return written if folder is None else dask.delayed(_assembling.removed)(folder, options, written)
    try:
        return written.compute()
    finally:
        if folder is not None:
            _assembling.removed(folder, options)
