"""Appends that have not finished, and the journals that they leave beside a file."""

from __future__ import annotations

import os
from dataclasses import dataclass

from ._calls import checked
from ._library import encoded, ffi, lib
from ._reports import JOURNALS
from ._writing import Name

_REPLACED = ("none", "finished", "unfinished", "damaged")


@dataclass(frozen=True)
class UnfinishedAppend:
    """What lies beside a file under its journal's name: ``found`` is "none", "unfinished", "damaged", "of another" or
    "not believed", ``why`` tells why it is not believed, and ``what`` in one line what there is and can be done."""

    found: str
    is_open: bool
    journal: str
    why: str
    what: str


@dataclass(frozen=True)
class JournalOfReplaced:
    """What became of the journal: ``found`` is "none", "finished", "unfinished" or "damaged"; the last one stays."""

    found: str
    journal: str
    what: str


def _text(field: object) -> str:
    return os.fsdecode(ffi.string(field))


def unfinished_append(name: Name) -> UnfinishedAppend:
    """Looks whether an append to a file was killed, has failed or is at work now; it changes nothing."""
    found = ffi.new("casefile_unfinished_append*")
    checked(lambda error: lib.casefile_find_unfinished_append(encoded(name), found, ffi.sizeof(found[0]), error))
    return UnfinishedAppend(JOURNALS[found.found], bool(found.is_open), _text(found.journal), _text(found.why),
                            _text(found.what))


def take_back_append(name: Name) -> bool:
    """Takes back what an unfinished append has left, as the next append would. Returns: whether there was something."""
    took_back = ffi.new("int32_t*")
    checked(lambda error: lib.casefile_take_back_append(encoded(name), took_back, error))
    return bool(took_back[0])


def remove_journal_of_replaced(name: Name) -> JournalOfReplaced:
    """Removes the journal of a file whose name another one was given: appends refuse to work beside it."""
    removed = ffi.new("casefile_journal_of_replaced*")
    checked(lambda error: lib.casefile_remove_journal_of_replaced(encoded(name), removed, ffi.sizeof(removed[0]), error))
    return JournalOfReplaced(_REPLACED[removed.found], _text(removed.journal), _text(removed.what))
