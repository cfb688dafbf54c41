"""Reading in sequence with decoding ahead on all threads."""

from __future__ import annotations

import io
import os
import queue
import sys
import threading
from typing import TYPE_CHECKING, Any, List, Optional

if TYPE_CHECKING:
    from ._file import File

_BLOCK = 4_190_208


def _processors() -> int:
    """Returns: how many the process may keep busy."""
    return len(os.sched_getaffinity(0)) if sys.platform == "linux" else os.cpu_count() or 1


class ahead(io.BufferedIOBase):  # its name is what it does at the place of use
    """The bytes of a File from a position on, read once and in order: a thread decodes the next window meanwhile.

    Three windows go round: one is read, one waits, one is filled. Memory that is used again costs no page faults.

        _decode  --- _windows: what is decoded, None behind the end, or an exception --->  _fill
        _decode  <-- _free: windows that were read -------------------------------------   _fill
    """

    def __init__(self, file: "File", position: int, stop: Optional[int] = None) -> None:
        super().__init__()
        self._windows: "queue.Queue[Any]" = queue.Queue(1)
        self._free: "queue.SimpleQueue[bytearray]" = queue.SimpleQueue()
        self._stopped = threading.Event()
        self._window = memoryview(b"")
        self._given = 0
        self._ended = False
        self._thread = threading.Thread(target=self._decode, name="casefile ahead", daemon=True,
                                        args=(file, position, file.size if stop is None else min(stop, file.size)))
        self._thread.start()

    def _decode(self, file: "File", position: int, stop: int) -> None:
        size = _BLOCK * max(4, 2 * (file.threads or _processors()))
        try:
            while position < stop and not self._stopped.is_set():
                # Windows end where blocks do: one that two windows shared would be decoded twice.
                count = min(size - (position - file.row0) % size, stop - position)
                window = memoryview(self._take_free(count))[:count]
                if file.read_into(window, position, self._require_reader) != count:
                    raise ValueError("the file holds fewer bytes than it tells of")
                self._hand_over(window)
                position += count
            self._hand_over(None)
        except BaseException as raised:  # the thread that reads raises it
            self._hand_over(raised)

    def _require_reader(self, _: Any) -> None:
        """Ends the decoding within a block when nobody reads any more."""
        if self._stopped.is_set():
            raise InterruptedError

    def _take_free(self, size: int) -> bytearray:
        try:
            window = self._free.get_nowait()
        except queue.Empty:
            return bytearray(size)
        return window if len(window) >= size else bytearray(size)  # the first one may be short

    def _hand_over(self, item: Any) -> None:
        while not self._stopped.is_set():
            try:
                self._windows.put(item, timeout=0.1)
                return
            except queue.Full:
                pass

    def readable(self) -> bool:
        return True

    def _fill(self) -> None:
        """Takes the next window when this one is used up, unless it is the last one."""
        if self.closed:
            raise ValueError("the file is closed")
        while not self._ended and self._given == len(self._window):
            item = self._windows.get()
            if isinstance(item, BaseException):
                self._ended = True
                raise item
            self._ended = item is None
            used, self._window, self._given = self._window, item if item is not None else memoryview(b""), 0
            if isinstance(used.obj, bytearray):
                self._free.put(used.obj)

    def read1(self, size: Optional[int] = -1) -> bytes:
        """Returns: up to ``size`` bytes that are decoded, at least one before the end."""
        self._fill()
        left = len(self._window) - self._given
        count = left if size is None or size < 0 else min(size, left)
        self._given += count
        return bytes(self._window[self._given - count:self._given])

    def read(self, size: Optional[int] = -1) -> bytes:
        """Returns: ``size`` bytes, fewer only at the end."""
        missing = None if size is None or size < 0 else size
        pieces: "List[bytes]" = []
        while missing is None or missing > 0:
            piece = self.read1(-1 if missing is None else missing)
            if not piece:
                break
            pieces.append(piece)
            missing = None if missing is None else missing - len(piece)
        return pieces[0] if len(pieces) == 1 else b"".join(pieces)

    def close(self) -> None:
        if not self.closed:
            self._stopped.set()
            self._window = memoryview(b"")
            self._thread.join()
        super().close()
