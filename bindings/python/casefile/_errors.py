"""The exceptions of the package: each is an OSError or a ValueError, and tells what the library's error tells."""

from __future__ import annotations

import os
from typing import TYPE_CHECKING, Any, Optional, Tuple, Type

from ._library import ffi, lib


class Error(Exception):
    """What the library could not do.

    ``status`` is the library's word for the kind of error, ``message`` its line of text. ``filename`` is the name that
    the program gave, ``operation`` what was being done, ``system_code`` the system's error number or 0,
    ``file_position`` a position in the file as it lies on the disk, ``range`` start and end of the uncompressed data
    that are meant; each is None where it cannot be told.
    """

    status: str = "other"
    message: str = ""
    operation: Optional[str] = None
    system_code: int = 0
    file_position: Optional[int] = None
    range: Optional[Tuple[int, int]] = None
    if TYPE_CHECKING:  # an attribute here would hide that of OSError
        filename: Any

    def __str__(self) -> str:
        return self.message


class FileError(Error, OSError):
    """The operating system refused something."""


class BusyError(Error, OSError):
    """Somebody else is at work on the file."""


class CallbackError(Error, OSError):
    """A callback failed in a way that has no other name."""


class NotADataFileError(Error, ValueError):
    """There are no case data, or it cannot be told which are meant."""


class DamagedError(Error, ValueError):
    """The file breaks a rule of its form, or a block cannot be inflated."""


class DoesNotFitError(Error, ValueError):
    """A block's data hardly compress."""


class UsageError(Error, ValueError):
    """The call itself is wrong: an argument, or an object that is in no state for it."""


class CancelledError(Error, OSError):
    """A callback asked to stop."""


class MissingFileError(FileError, FileNotFoundError):
    """There is no such file or folder."""


class NameTakenError(FileError, FileExistsError):
    """A file has the name already."""


class ForbiddenError(FileError, PermissionError):
    """The system does not allow it."""


class FolderError(FileError, IsADirectoryError):
    """The name is a folder's."""


_CLASSES: dict[int, Type[Error]] = {
    lib.CASEFILE_SYSTEM: FileError,
    lib.CASEFILE_NOT_A_DATA_FILE: NotADataFileError,
    lib.CASEFILE_DAMAGED: DamagedError,
    lib.CASEFILE_DOES_NOT_FIT: DoesNotFitError,
    lib.CASEFILE_BUSY: BusyError,
    lib.CASEFILE_USAGE: UsageError,
    lib.CASEFILE_CANCELLED: CancelledError,
}
# What programs catch by the names that Python has for them.
_SYSTEM_CLASSES = (MissingFileError, NameTakenError, ForbiddenError, FolderError)


def _class_of(status: int, code: int) -> Type[Error]:
    if status == lib.CASEFILE_SYSTEM:
        python_class = type(OSError(code, ""))
        for known in _SYSTEM_CLASSES:
            if issubclass(known, python_class) and python_class is not OSError:
                return known
    return _CLASSES.get(status, CallbackError)


def _text(field: Any) -> str:
    return os.fsdecode(ffi.string(field))


def wrong_use(message: str, name: Any) -> UsageError:
    """Returns: the exception for a call that the library need not be asked about."""
    error = UsageError(f"{name}: {message}")
    error.filename = name
    error.status = "usage"
    error.message = str(error.args[0])
    return error


def error_of(raised: Any) -> BaseException:
    """Returns: the exception for a filled ``casefile_error``."""
    message = _text(raised.message)
    if raised.status == lib.CASEFILE_NO_MEMORY:
        return MemoryError(message)
    code = raised.system_code
    found = _class_of(raised.status, code)
    name = _text(raised.file) or None
    if issubclass(found, OSError):
        error: Error = found(code or None, message, name)
    else:
        error = found(message)
        error.filename = name
    error.status = _text(lib.casefile_status_name(raised.status))
    error.message = message
    error.operation = _text(raised.operation) or None
    error.system_code = code
    error.file_position = None if raised.file_position < 0 else raised.file_position
    error.range = None if raised.range_start < 0 else (raised.range_start, raised.range_start + raised.range_size)
    return error
