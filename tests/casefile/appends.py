"""What the tests of appends and their journals share: an append that waits in its middle, or was killed there."""

import signal
import subprocess
import time

from support import BLOCK, DEADLINE, CasefileTest, positions

IN_THE_MIDDLE = BLOCK + 300000  # bytes of input behind which a block is overwritten


class AppendTest(CasefileTest):
    def wait_for(self, condition, process):
        end = time.monotonic() + DEADLINE
        while not condition():
            self.assertIsNone(process.poll(), "ended too early")
            self.assertLess(time.monotonic(), end)
            time.sleep(0.002)

    def start(self, name="file.case", **options):
        """An append that reads from a pipe."""
        options.setdefault("stderr", subprocess.PIPE)
        process = self.start_casefile("append", self.path(name), stdin=subprocess.PIPE, **options)
        self.addCleanup(self.end, process)
        return process

    def hold_in_the_middle(self, name="file.case"):
        """An append that has overwritten a block and waits for more. Returns: it, and the old bytes."""
        before = self.read(name)
        process = self.start(name)
        process.stdin.write(positions(IN_THE_MIDDLE))
        process.stdin.flush()
        self.wait_for(lambda: self.read(name)[:len(before)] != before, process)
        self.assertIn(name + ".journal", self.names())
        return process, before

    def kill_in_the_middle(self, name="file.case"):
        """Kills an append that has overwritten a block. Returns: the old bytes."""
        process, before = self.hold_in_the_middle(name)
        process.kill()
        process.wait(DEADLINE)
        self.assertIn(name + ".journal", self.names())
        return before

    def finish(self, process, expect=0):
        """Ends an append's input and waits for its end. Returns: what it said."""
        said = process.communicate(timeout=DEADLINE)[1].decode()
        self.assertEqual(process.returncode, expect, said)
        return said

    def interrupt(self, process):
        """Returns: what it said."""
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(DEADLINE), -signal.SIGINT)
        return process.stderr.read().decode()

    def end(self, process):
        process.kill()
        process.wait(DEADLINE)
        for stream in [process.stdin, process.stdout, process.stderr]:
            if stream is not None:
                stream.close()

    def assert_only(self, *names):
        self.assertEqual(self.names(), sorted(names))
