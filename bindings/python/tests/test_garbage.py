"""Objects that are freed when garbage is collected, which Python may do at any moment."""

import subprocess
import sys

EVERY_FUNCTION = """
import faulthandler, io, sys
import casefile

faulthandler.dump_traceback_later(60, exit=True)
with casefile._library.ffi._lock:
    casefile.codecs(), casefile.library_version()
    with casefile.create("some.case", b"head") as writer:
        writer.write(bytes(10_000_000))
        writer.position
    whole = casefile.compress_block(bytes(casefile.BLOCK_SIZE))
    casefile.create("given up.case", b"head").write_block(whole)
    with casefile.append("some.case") as appender:
        appender.read_at(0, 4), appender.position
        appender.write(b"more")
    some = open("some.case", "rb").read()
    for source in ("some.case", io.BytesIO(some), bytearray(some)):
        with casefile.open(source) as file:
            file.blocks, file.partitions(3), file.dictionary, file.unfinished_append
            file.read(), sum(map(len, file.lines()))
        assert casefile.verify(source).sound and casefile.inspect(source).readable
        casefile.recover(source, "again.case")
    some = bytearray(some)
    some[5_000:7_000] = b"\\xff" * 2_000
    assert casefile.verify(some).lost and casefile.recover(some, "again.case").losses
    casefile.unfinished_append("some.case"), casefile.take_back_append("some.case")
    casefile.remove_journal_of_replaced("some.case")
    for failing in (casefile.open, casefile.append, casefile.verify):
        try:
            failing("missing.case")
        except FileNotFoundError:
            pass
    del file, writer, appender
print("all of it")
"""


def test_nothing_is_looked_up_for_the_first_time_behind_the_import(tmp_path):
    # An object that was freed while cffi looked something up, under its lock, waited for that lock for ever.
    done = subprocess.run([sys.executable, "-c", EVERY_FUNCTION], stdin=subprocess.DEVNULL, capture_output=True, text=True,
                          check=False, cwd=tmp_path)
    assert done.returncode == 0 and done.stdout.endswith("all of it\n"), done.stdout + done.stderr
