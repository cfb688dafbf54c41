"""How the package calls the library: statuses become exceptions, callbacks may raise, and a signal ends long work."""

from __future__ import annotations

import re
import threading
from typing import Any, Callable, NamedTuple, Optional

from ._errors import CallbackError, CancelledError, error_of
from ._library import ffi, lib


class Progress(NamedTuple):
    """How far a long call has come; ``bytes_in_all`` is 0 where it is not known."""

    bytes_done: int
    bytes_in_all: int
    phase: str


_PHASES = ("searching", "reading", "writing", "finishing")

#: Is told how far a call has come, at least once a block. What it raises ends the call and comes out of it.
ProgressCallback = Callable[[Progress], Any]


def natural(name: str, value: int) -> int:
    """Returns: the value, which C would take for a huge one if it were negative."""
    if value < 0:
        raise ValueError(f"{name} cannot be negative: {value}")
    return value


def require_no_objects(data: Any) -> None:
    """Raises: TypeError for memory that holds references to Python's objects, not their values."""
    kind = getattr(data, "dtype", None)
    letters = re.sub(":[^:]*:", "", data.format) if isinstance(data, memoryview) else ""  # without names of fields
    if getattr(kind, "hasobject", False) or "O" in letters:
        raise TypeError(f"bytes are wanted, not references to objects: {kind or data.format}")


class Raised:
    """Keeps the first exception of the callbacks of a call or an object."""

    def __init__(self) -> None:
        self._first: Optional[BaseException] = None

    def keep(self, raised: BaseException) -> None:
        if self._first is None:
            self._first = raised

    def take(self) -> Optional[BaseException]:
        first, self._first = self._first, None
        return first


def checked(call: Callable[[Any], Any], raised: Optional[Raised] = None) -> None:
    """Makes a call that fills the error it is given.

    Raises: what a callback raised, if one did; else the exception for the library's error.
    """
    error = ffi.new("casefile_error*")
    status = call(error)
    first = raised.take() if raised is not None else None
    if status == lib.CASEFILE_OK:
        return
    if first is not None and status in (lib.CASEFILE_CANCELLED, lib.CASEFILE_SYSTEM, lib.CASEFILE_OTHER):
        raise first
    raise error_of(error)


class _State:
    """What the callback of long calls knows; it knows nothing of who made it, so that both go without a collector."""

    def __init__(self, progress: Optional[ProgressCallback]) -> None:
        self.raised = Raised()
        self.progress = progress
        self.stopped = False
        self.teller: Optional[int] = None

    def tell(self, _: Any, told: Any) -> int:
        if self.progress is not None:
            self.teller = threading.get_ident()
            try:
                self.progress(Progress(told.bytes_done, told.bytes_in_all, _PHASES[told.phase]))
            finally:
                self.teller = None
        return 1 if self.stopped else 0

    def failed(self, _: Any, exception: Optional[BaseException], __: Any) -> None:
        if exception is not None:
            self.raised.keep(exception)


class _Work:
    """A call on another thread, which an exception can reach at any time, even while that thread is started."""

    def __init__(self, call: Callable[[], None]) -> None:
        self.ended = threading.Event()
        self._call = call
        self._lock = threading.Lock()
        self._began = False
        self._abandoned = False
        self._failure: Optional[BaseException] = None

    def run(self) -> None:
        with self._lock:
            if self._abandoned:
                return
            self._began = True
        try:
            self._call()
        except BaseException as raised:  # the thread that waits raises it
            self._failure = raised
        self.ended.set()

    def is_over(self) -> bool:
        """Lets it not begin, or waits for its end. Returns: False when a signal came meanwhile."""
        try:
            with self._lock:
                self._abandoned = True
            if self._began:
                self.ended.wait()
            return True
        except BaseException:
            return False

    def result(self) -> None:
        if self._failure is not None:
            raise self._failure


class LongCall:
    """Calls that a signal which reaches the main thread ends within a block, and their progress callback.

    Python handles signals in the main thread, between steps of Python code: while that thread waits for the library
    nothing would happen. So another one makes the call.
    """

    def __init__(self, progress: Optional[ProgressCallback]) -> None:
        self._state = _State(progress)
        # Kept as long as the library may call it.
        self.callback = ffi.callback("casefile_progress_callback", self._state.tell, error=1, onerror=self._state.failed)

    def is_telling(self) -> bool:
        """Whether this thread is in the progress callback."""
        return self._state.teller == threading.get_ident()

    def run(self, call: Callable[[Any], Any], sources: Optional[Raised] = None, short: bool = False) -> None:
        """As checked(); `sources` keeps what a source of the program's own raises. A short call is made at once."""
        if short or threading.current_thread() is not threading.main_thread():
            self._finish(lambda: checked(call, sources))
            return
        work = _Work(lambda: checked(call, sources))
        try:
            threading.Thread(target=work.run, name="casefile", daemon=True).start()
            work.ended.wait()
        except BaseException:
            # Whatever else comes meanwhile: the library must have left the caller's memory.
            self._state.stopped = True
            while not work.is_over():
                pass
            self._state.stopped = False
            raise
        self._finish(work.result)

    def _finish(self, call: Callable[[], None]) -> None:
        try:
            call()
        except (CancelledError, CallbackError):
            first = self._state.raised.take()
            if first is not None:
                raise first from None
            raise
