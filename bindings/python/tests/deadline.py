"""Work with a cluster that is waited for only so long; when it takes longer the failure says where each side stands."""

import faulthandler
import os
import pathlib
import signal
import sys
import threading
import time
import traceback

import pytest

DEADLINE = 240
_TO_ANSWER = 5


def tell_when_asked(folder):
    """In a worker process: SIGUSR1 writes where all its threads are, even while one of them holds everything up."""
    # Open as long as the process lives.
    faulthandler.register(signal.SIGUSR1, open(f"{folder}/{os.getpid()}", "w"))  # pylint: disable=consider-using-with


class Watched:
    """A cluster of local processes whose state can be told without asking it for anything."""

    def __init__(self, cluster, client, folder):
        self.cluster, self.client = cluster, client
        self._folder = pathlib.Path(folder)

    def _tasks(self):
        for task in list(self.cluster.scheduler.tasks.values()):
            yield (f"{task.key}: {task.state}, processed by {task.processing_on}, held by {list(task.who_has)}, "
                   f"waits for {[each.key for each in task.waiting_on]}")

    def _workers(self):
        known = list(self.cluster.scheduler.workers)
        for name, nanny in list(self.cluster.workers.items()):
            yield f"worker {name}: {nanny.status}, process {nanny.pid}, {nanny.worker_address}"
            if nanny.worker_address in known and nanny.pid:
                os.kill(nanny.pid, signal.SIGUSR1)

    def story(self):
        """Returns: what the scheduler knows of workers and tasks, and the stacks of the workers' threads."""
        lines = [f"the scheduler knows {list(self.cluster.scheduler.workers)}", *self._workers(), *self._tasks()]
        time.sleep(_TO_ANSWER)
        stacks = [f"process {file.name}:\n{file.read_text()}" for file in self._folder.iterdir() if file.stat().st_size]
        return "\n".join(lines + stacks)


class _Waited(threading.Thread):
    """Ends with the process if nobody waits for it any more."""

    def __init__(self, work):
        super().__init__(daemon=True)
        self._work = work
        self.result = self.raised = None

    def run(self):
        try:
            self.result = self._work()
        except BaseException as raised:  # whoever waits raises it
            self.raised = raised

    def place(self):
        return "".join(traceback.format_stack(sys._current_frames()[self.ident]))


def within_deadline(work, watched=None, deadline=DEADLINE):
    """Returns: what the work does; fails when it is not there in time."""
    thread = _Waited(work)
    thread.start()
    thread.join(deadline)
    if thread.is_alive():
        pytest.fail(f"not done after {deadline} s, but here:\n{thread.place()}{watched.story() if watched else ''}")
    if thread.raised is not None:
        raise thread.raised
    return thread.result
