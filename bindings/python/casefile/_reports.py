"""What a file is worth, and what can be rescued of it."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any, Callable, List, NamedTuple, Optional, Tuple

from ._calls import LongCall, ProgressCallback, checked, natural
from ._file import Block, Range
from ._library import encoded, ffi, lib, owned
from ._source import Source, opened
from ._writing import Name

_KINDS = (
    "heading cut", "heading place", "table length", "table place", "table too long", "table unreadable", "table mark",
    "table block size", "table count", "table header position", "table not at blocks' end", "hidden block",
    "too many breaks", "record impossible", "logical position", "block position", "short block", "stream damaged",
    "stream cut", "stream too long", "stream size", "plain size", "other data", "unlisted")
JOURNALS = ("none", "unfinished", "damaged", "of another", "not believed")
_HOLES = {"stop": 0, "skip": 1, "zero": 2}


@dataclass(frozen=True)
class Fault:
    """One thing that is wrong with a file, and where; None is what cannot be told."""

    kind: str
    what: str
    block: Optional[int]
    file_position: Optional[int]
    range: Optional[Range]
    hinders_reading: bool
    is_damage: bool


@dataclass(frozen=True)
class Inspection:
    """What heading and position table of a file say, be they damaged or not."""

    file_size: int
    row0: int
    heading_row0: int
    table_position: int
    table_size: int
    logical_size: int
    blocks_end: int
    dead_bytes: int
    unread_blocks: int
    swapped: bool
    readable: bool
    journal: str
    blocks: List[Block]
    faults: List[Fault]


@dataclass(frozen=True)
class Verification:
    """What a file is worth."""

    row0: int
    case_bytes: int
    dead_bytes: int
    blocks: int
    damaged_blocks: int
    unlisted_lost: int
    swapped: bool
    sound: bool
    journal: str
    as_before_append: bool
    faults: List[Fault]
    lost: List[Range]


class Loss(NamedTuple):
    """Case data that are lost; ``blocks`` and the end of the range are None where nobody can tell."""

    start: int
    stop: Optional[int]
    blocks: Optional[int]
    file_position: int
    why: str


@dataclass(frozen=True)
class Recovery:
    """What was rescued and what was not."""

    row0: int
    case_bytes: int
    zero_bytes: int
    partial_bytes: int
    more_bytes: int
    blocks: int
    more_blocks: int
    unlisted_losses: int
    swapped: bool
    complete: bool
    journal: str
    losses: List[Loss]


def _words(text: Any) -> str:
    return str(ffi.string(text).decode("utf-8", "replace"))


def _range(range_: Any) -> Range:
    return Range(range_.start, range_.start + range_.size)


def _fault(get: Callable[..., Any], report: Any, index: int) -> Fault:
    fault = ffi.new("casefile_fault*")
    checked(lambda error: get(report, index, fault, ffi.sizeof(fault[0]), error))
    kind = _KINDS[fault.kind] if 0 <= fault.kind < len(_KINDS) else "unknown"
    return Fault(kind, _words(fault.what), None if fault.block < 0 else fault.block,
                 None if fault.file_position < 0 else fault.file_position,
                 None if fault.range.start < 0 else _range(fault.range), bool(fault.hinders_reading),
                 bool(fault.is_damage))


def _check(options: Any, call: LongCall, source: Source, by_name: Callable[..., Any], by_source: Callable[..., Any],
           made: Any) -> None:
    options.progress = call.callback
    name, object_ = opened(source)
    if name is not None:
        call.run(lambda error: by_name(name, options, made, error))
    else:
        call.run(lambda error: by_source(object_.handle, options, made, error), object_.raised)


def _check_options(row0: Optional[int], threads: Optional[int]) -> Any:
    options = ffi.new("casefile_check_options*")
    lib.casefile_check_options_init(options, ffi.sizeof(options[0]))
    options.row0 = -1 if row0 is None else natural("row0", row0)
    options.threads = natural("threads", threads or 0)
    return options


def _info(structure: str, get: Callable[..., Any], report: Any) -> Any:
    info = ffi.new(structure + "*")
    checked(lambda error: get(report, info, ffi.sizeof(info[0]), error))
    return info


def inspect(source: Source, *, row0: Optional[int] = None, progress: Optional[ProgressCallback] = None) -> Inspection:
    """Reads heading and position table, and lists the rules that they break. Blocks are not looked into."""
    made = ffi.new("casefile_inspection**")
    _check(_check_options(row0, None), LongCall(progress), source, lib.casefile_inspect, lib.casefile_inspect_source, made)
    report = owned("inspection", made[0])
    info = _info("casefile_inspection_info", lib.casefile_inspection_get_info, report)

    def block(index: int) -> Block:
        found = ffi.new("casefile_block*")
        checked(lambda error: lib.casefile_inspection_get_block(report, index, found, error))
        return Block(*_range(found.range), found.file_position, found.compressed_size)

    return Inspection(info.file_size, info.row0, info.heading_row0, info.table_position, info.table_size,
                      info.logical_size, info.blocks_end, info.dead_bytes, info.unread_blocks, bool(info.swapped),
                      bool(info.readable), JOURNALS[info.journal], [block(index) for index in range(info.blocks)],
                      [_fault(lib.casefile_inspection_get_fault, report, index) for index in range(info.faults)])


def verify(source: Source, *, row0: Optional[int] = None, threads: Optional[int] = None,
           progress: Optional[ProgressCallback] = None) -> Verification:
    """Checks heading, position table and every block, and goes on behind damage."""
    made = ffi.new("casefile_verification**")
    _check(_check_options(row0, threads), LongCall(progress), source, lib.casefile_verify, lib.casefile_verify_source,
           made)
    report = owned("verification", made[0])
    info = _info("casefile_verification_info", lib.casefile_verification_get_info, report)

    def lost(index: int) -> Range:
        found = ffi.new("casefile_range*")
        checked(lambda error: lib.casefile_verification_get_lost(report, index, found, error))
        return _range(found)

    return Verification(info.row0, info.case_bytes, info.dead_bytes, info.blocks, info.damaged_blocks,
                        info.unlisted_lost, bool(info.swapped), bool(info.sound), JOURNALS[info.journal],
                        bool(info.as_before_append),
                        [_fault(lib.casefile_verification_get_fault, report, index) for index in range(info.faults)],
                        [lost(index) for index in range(info.lost)])


def recover(source: Source, output: Name, *, row0: Optional[int] = None, holes: str = "stop", partial: bool = False,
            threads: Optional[int] = None, replace: bool = True, sync: bool = False,
            progress: Optional[ProgressCallback] = None) -> Recovery:
    """Makes a new file of what is sound in a damaged one, which is not changed.

    ``holes`` says what becomes of sound blocks behind a damaged one: they are left out ("stop"), follow the blocks
    before ("skip"), or keep their positions behind zeros ("zero").
    """
    if holes not in _HOLES:
        raise ValueError(f"no such treatment of holes: {holes!r}; one of {', '.join(_HOLES)}")
    call = LongCall(progress)
    options = ffi.new("casefile_recover_options*")
    lib.casefile_recover_options_init(options, ffi.sizeof(options[0]))
    options.row0 = -1 if row0 is None else natural("row0", row0)
    options.holes = _HOLES[holes]
    options.partial = partial
    options.threads = natural("threads", threads or 0)
    options.replace = replace
    options.sync = sync
    to = encoded(output)
    made = ffi.new("casefile_recovery**")
    _check(options, call, source,
           lambda name, options, made, error: lib.casefile_recover(name, to, options, made, error),
           lambda handle, options, made, error: lib.casefile_recover_source(handle, to, options, made, error), made)
    report = owned("recovery", made[0])
    info = _info("casefile_recovery_info", lib.casefile_recovery_get_info, report)

    def loss(index: int) -> Loss:
        found = ffi.new("casefile_loss*")
        checked(lambda error: lib.casefile_recovery_get_loss(report, index, found, ffi.sizeof(found[0]), error))
        known: Tuple[Optional[int], Optional[int]] = (None, None)
        if found.blocks >= 0:
            known = (found.range.start + found.range.size, found.blocks)
        return Loss(found.range.start, *known, found.file_position, _words(found.why))

    return Recovery(info.row0, info.case_bytes, info.zero_bytes, info.partial_bytes, info.more_bytes, info.blocks,
                    info.more_blocks, info.unlisted_losses, bool(info.swapped), bool(info.complete),
                    JOURNALS[info.journal], [loss(index) for index in range(info.losses)])
