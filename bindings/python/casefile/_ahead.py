"""Reading in sequence with decoding ahead on all threads."""

from __future__ import annotations

import io
import os
import queue
import threading
from typing import TYPE_CHECKING, Any, Optional

if TYPE_CHECKING:
    from ._file import File

_BLOCK = 4_190_208


class ahead(io.RawIOBase):  # its name is what it does at the place of use
    """The bytes of a File from a position on, read once and in order: a thread decodes the next window meanwhile."""

    def __init__(self, file: "File", position: int, stop: Optional[int] = None) -> None:
        super().__init__()
        self._windows: "queue.Queue[Any]" = queue.Queue(1)
        self._stopped = threading.Event()
        self._window = memoryview(b"")
        self._given = 0
        self._ended = False
        self._thread = threading.Thread(target=self._decode, name="casefile ahead", daemon=True,
                                        args=(file, position, file.size if stop is None else min(stop, file.size)))
        self._thread.start()

    def _decode(self, file: "File", position: int, stop: int) -> None:
        size = _BLOCK * max(4, 2 * (os.cpu_count() or 1))
        try:
            while position < stop and not self._stopped.is_set():
                window = bytearray(min(size, stop - position))
                done = file.read_into(window, position)
                if done != len(window):
                    raise ValueError("the file holds fewer bytes than it tells of")
                self._hand_over(memoryview(window))
                position += done
            self._hand_over(None)
        except BaseException as raised:  # the thread that reads raises it
            self._hand_over(raised)

    def _hand_over(self, item: Any) -> None:
        while not self._stopped.is_set():
            try:
                self._windows.put(item, timeout=0.1)
                return
            except queue.Full:
                pass

    def readable(self) -> bool:
        return True

    def readinto(self, buffer: Any) -> int:
        if self.closed:
            raise ValueError("the file is closed")
        while not self._ended and self._given == len(self._window):
            item = self._windows.get()
            if isinstance(item, BaseException):
                self._ended = True
                raise item
            self._ended = item is None
            self._window, self._given = item if item is not None else memoryview(b""), 0
        room = memoryview(buffer).cast("B")
        count = min(len(room), len(self._window) - self._given)
        room[:count] = self._window[self._given:self._given + count]
        self._given += count
        return count

    def close(self) -> None:
        if not self.closed:
            self._stopped.set()
            self._window = memoryview(b"")
            self._thread.join()
        super().close()
