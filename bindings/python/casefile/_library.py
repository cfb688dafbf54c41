"""The C library: where it is found, and its functions."""

from __future__ import annotations

import os
import sys
from typing import Any, Dict, Set

import cffi

from ._interface import INTERFACE, VERSION

ffi = cffi.FFI()
ffi.cdef(INTERFACE)


def _names() -> list[str]:
    """The library's file as the program said it in CASEFILE_LIBRARY, or as the system's loader finds it."""
    said = os.environ.get("CASEFILE_LIBRARY")
    if said:
        return [said]
    if sys.platform == "win32":
        return ["libcasefile.dll"]
    return [f"libcasefile.so.{VERSION}", "libcasefile.so"]


def _open() -> Any:
    failures = []
    for name in _names():
        try:
            return ffi.dlopen(name)
        except OSError as failure:
            failures.append(str(failure))
    raise ImportError("the casefile library is not found; CASEFILE_LIBRARY can name its file: " + "; ".join(failures))


lib: Any = _open()


# Handles, structures and results, as the package hands them to functions.
_TYPES = [f"casefile_{name}" for name in (
    "appender**", "appender_info*", "appender_options*", "block*", "check_options*", "error*", "fault*", "inspection**",
    "inspection_info*", "journal_of_replaced*", "loss*", "progress_callback", "range*", "range[]", "reader**",
    "reader_info*", "reader_options*", "recover_options*", "recovery**", "recovery_info*", "source**",
    "source_callbacks*", "unfinished_append*", "verification**", "verification_info*", "writer**", "writer_options*")]
_TYPES += ["char[]", "int32_t*", "int64_t*", "intptr_t", "size_t*", "void*"]


def _look_everything_up() -> None:
    """cffi looks a function or a type up where it is used first, under a lock that no thread takes twice: when garbage is
    collected just then, and a handle freed with it, the thread would wait for itself.
    """
    for name in dir(lib):
        getattr(lib, name)
    for kind in _TYPES:
        ffi.typeof(kind)


_look_everything_up()


# What the library may look at as long as a handle lives, by the handle's address.
_kept: Dict[int, Any] = {}
# Handles that another process made, of which this one is a copy: it has neither their threads nor a right to their files.
_inherited: Set[int] = set()
if hasattr(os, "register_at_fork"):
    os.register_at_fork(after_in_child=lambda: _inherited.update(_kept))


def _address(handle: Any) -> int:
    return int(ffi.cast("intptr_t", handle))


def is_inherited(handle: Any) -> bool:
    """Whether another process made the handle, which alone frees it."""
    return _address(handle) in _inherited


def _destructor(free: str) -> Any:
    def destroy(handle: Any) -> None:
        if is_inherited(handle):
            return
        kept = _kept.pop(_address(handle), None)
        getattr(lib, free)(handle)
        del kept  # not before: and by now another handle may have this address
    return destroy


# They belong to the module, and so does what is kept: a garbage collector that finds an object of the program's in a
# cycle takes such an object apart in any order, but touches neither.
_DESTRUCTORS = {kind: _destructor(f"casefile_{kind}_free") for kind in (
    "source", "reader", "writer", "appender", "inspection", "verification", "recovery")}


def owned(kind: str, handle: Any, *kept: Any) -> Any:
    """A handle that is freed with its last user; what is `kept` lasts as long as it."""
    _kept[_address(handle)] = kept
    return ffi.gc(handle, _DESTRUCTORS[kind])


def encoded(name: "str | bytes | os.PathLike[Any]") -> bytes:
    """A file's name as the library takes it."""
    path = os.fspath(name)
    if isinstance(path, str):
        path = path.encode("utf-8") if sys.platform == "win32" else os.fsencode(path)
    if b"\0" in path:
        raise ValueError("a file's name holds a null byte")
    return path
