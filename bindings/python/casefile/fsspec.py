"""Importing this module makes fsspec know the compression "case", also by the ending of a file's name.

``fsspec.open("s3://bucket/data.case", "rb", compression="case")`` gives the uncompressed bytes, dictionary part included,
as a ``casefile.File`` over the remote file, of which only the blocks that are asked for are read.
"""

from __future__ import annotations

from typing import Any

try:
    from fsspec.compression import register_compression
except ImportError as missing:
    raise ImportError("casefile.fsspec needs fsspec, which is not installed") from missing

from ._file import File


def _opened(file: Any, mode: str = "rb", **_: Any) -> File:
    if "r" not in mode:
        raise ValueError("the compression case is for reading: casefile.create writes")
    return File(file)


register_compression("case", _opened, "case", force=True)
