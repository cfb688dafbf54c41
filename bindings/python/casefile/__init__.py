"""Compressed data files: read at any position on all cores, written, extended, verified, rescued."""

from ._calls import Progress, ProgressCallback
from ._errors import (BusyError, CallbackError, CancelledError, DamagedError, DoesNotFitError, Error, FileError,
                      FolderError, ForbiddenError, MissingFileError, NameTakenError, NotADataFileError, UsageError)
from ._file import BLOCK_SIZE, Block, File, Range, open
from ._journals import (JournalOfReplaced, UnfinishedAppend, remove_journal_of_replaced, take_back_append,
                        unfinished_append)
from ._library import ffi as _ffi
from ._library import lib as _lib
from ._reports import Fault, Inspection, Loss, Recovery, Verification, inspect, recover, verify
from ._tables import read_csv
from ._writing import Appender, Writer, append, compress_block, create

__all__ = [
    "Appender", "BLOCK_SIZE", "Block", "BusyError", "CallbackError", "CancelledError", "DamagedError",
    "DoesNotFitError", "Error", "Fault", "File", "FileError", "FolderError", "ForbiddenError", "Inspection",
    "JournalOfReplaced", "Loss", "MissingFileError", "NameTakenError", "NotADataFileError", "Progress",
    "ProgressCallback", "Range", "Recovery", "UnfinishedAppend", "UsageError", "Verification", "Writer", "append",
    "codecs", "compress_block", "create", "inspect", "library_version", "open", "read_csv", "recover",
    "remove_journal_of_replaced", "take_back_append", "unfinished_append", "verify",
]

__version__ = "0.2.0"

# They are this module's, wherever they are written down: that is what messages and pickles say.
for _name in __all__:
    if isinstance(globals().get(_name), type):
        globals()[_name].__module__ = __name__
del _name


def library_version() -> str:
    """The version of the C library that is used."""
    return str(_ffi.string(_lib.casefile_version()).decode())


def codecs() -> "list[str]":
    """The codecs that are built in, the fastest first."""
    names: "list[str]" = []
    while True:
        name = _lib.casefile_codec(len(names))
        if name == _ffi.NULL:
            return names
        names.append(_ffi.string(name).decode())
