"""Tables of text for pandas."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Optional

from ._ahead import ahead
from ._file import open as open_file
from ._source import Source

if TYPE_CHECKING:
    import pandas


def read_csv(source: Source, *, row0: Optional[int] = None, threads: Optional[int] = None,
             **options: Any) -> "pandas.DataFrame":
    """As pandas.read_csv, whose options it takes, over the whole file: a header that is the dictionary part comes
    first. All cores decode ahead of pandas.
    """
    try:
        import pandas
    except ImportError as missing:
        raise ImportError("casefile.read_csv needs pandas, which is not installed") from missing
    if options.get("iterator") or options.get("chunksize"):
        raise ValueError("for a table in pieces: pandas.read_csv(casefile.open(...), chunksize=...)")
    with open_file(source, row0=row0, threads=threads, cache=0) as file, ahead(file, 0) as decoded:
        try:
            return pandas.read_csv(decoded, **options)
        except pandas.errors.ParserError as raised:
            # A signal that came while pandas was parsing is handled when it calls read() next. Until Python 3.12 that
            # exception has no value yet, for want of which pandas raises its own; any other has one, and comes out.
            if "Calling read" in str(raised):
                raise KeyboardInterrupt from None
            raise
