"""Writing, appending, judging and rescuing."""

import gc
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import time

import numpy
import pytest

import casefile
from conftest import DICTIONARY, records


def content(path):
    with casefile.open(path) as file:
        return file.read_at(0, file.size)


def test_writes_what_is_read(tmp_path):
    path = tmp_path / "new.case"
    with casefile.create(path, b"head", encoder="zlib", threads=2) as writer:
        writer.write(b"abc")
        writer.write(numpy.arange(3, dtype="u1"))
        writer.write(numpy.arange(6, dtype="u1")[::2])
        writer.write(piece for piece in (b"x", bytearray(b"y"), memoryview(b"z")))
        assert writer.position == 4 + 3 + 3 + 3 + 3 and "position=16" in repr(writer)
        assert not path.exists()
    assert content(path) == b"headabc\0\1\2\0\2\4xyz"


def test_an_array_is_written_as_its_elements_lie_in_memory(tmp_path):
    path = tmp_path / "new.case"
    dates = numpy.array(["2026-11-23", "1970-01-02"], "M8[s]")  # of a type that no buffer has
    with casefile.create(path, b"head") as writer:
        writer.write(dates)
        writer.write(dates[0])
        writer.write(numpy.arange(6, dtype="u1").reshape(2, 3).T)
        for objects in (numpy.array(["text", None]), memoryview(numpy.array([1, "x"], dtype=object))):
            with pytest.raises(TypeError, match="references"):
                writer.write(objects)  # it was their addresses that were written
    assert content(path) == b"head" + dates.tobytes() + dates[:1].tobytes() + b"\0\3\1\4\2\5"


def test_an_exception_in_the_block_leaves_nothing(tmp_path):
    with pytest.raises(LookupError):
        with casefile.create(tmp_path / "new.case", b"head") as writer:
            writer.write(bytes(10_000_000))
            raise LookupError
    assert not list(tmp_path.iterdir())
    with pytest.raises(ValueError):
        writer.write(b"more")


def test_arguments_that_cannot_be_are_refused(tmp_path):
    with pytest.raises(ValueError, match="encoder"):
        casefile.create(tmp_path / "new.case", b"head", encoder="none")
    with pytest.raises(TypeError), casefile.create(tmp_path / "new.case", b"head") as writer:
        writer.write("text")
    with pytest.raises(ValueError, match="null"):
        casefile.create("a\0b", b"head")
    assert not list(tmp_path.iterdir())


def test_a_name_that_is_taken_may_be_kept(tmp_path):
    (tmp_path / "old.case").write_bytes(b"old")
    with pytest.raises(FileExistsError):
        with casefile.create(tmp_path / "old.case", b"head", replace=False) as writer:
            writer.write(b"new")
    assert (tmp_path / "old.case").read_bytes() == b"old"


def test_data_that_hardly_compress_do_not_fit(tmp_path):
    noise = numpy.random.default_rng(1).bytes(casefile.BLOCK_SIZE)
    with pytest.raises(casefile.DoesNotFitError) as refused:
        with casefile.create(tmp_path / "new.case", b"head") as writer:
            writer.write(noise)
    assert refused.value.range == (4, 4 + casefile.BLOCK_SIZE)


def test_blocks_that_were_compressed_elsewhere_become_a_file(tmp_path):
    data = records(1_000_000).tobytes()
    blocks = [casefile.compress_block(data[start:start + casefile.BLOCK_SIZE], "zlib")
              for start in range(0, len(data) - casefile.BLOCK_SIZE, casefile.BLOCK_SIZE)]
    with casefile.create(tmp_path / "new.case", DICTIONARY, encoder="zlib") as writer:
        for block in blocks:
            writer.write_block(block)
        writer.write(data[len(blocks) * casefile.BLOCK_SIZE:])
        with pytest.raises(casefile.UsageError):
            writer.write_block(blocks[0])
    assert content(tmp_path / "new.case") == DICTIONARY + data
    with pytest.raises(casefile.UsageError):
        casefile.compress_block(b"short")
    with pytest.raises(casefile.DamagedError) as refused, casefile.create(tmp_path / "bad.case", b"head") as writer:
        writer.write_block(b"no block")
    assert refused.value.range == (4, 4 + casefile.BLOCK_SIZE)
    assert not (tmp_path / "bad.case").exists()


def test_what_progress_raises_comes_out_of_a_writer(tmp_path):
    def stop(_):
        raise LookupError("the callback's own")
    with pytest.raises(LookupError):
        with casefile.create(tmp_path / "new.case", b"head", progress=stop) as writer:
            writer.write(bytes(20_000_000))
    assert not list(tmp_path.iterdir())


def test_appends(tmp_path):
    path = tmp_path / "data.case"
    with casefile.create(path, b"head") as writer:
        writer.write(b"first")
    with casefile.append(path) as appender:
        assert appender.row0 == 4 and appender.position == 9 and not appender.took_back
        assert appender.read_at(4, 1 << 60) == b"first" and appender.read_at(100, 5) == b""
        with pytest.raises(casefile.BusyError):
            casefile.append(path)
        appender.write(b" second")
    assert content(path) == b"headfirst second"
    with pytest.raises(LookupError), casefile.append(path) as appender:
        appender.write(b" third")
        raise LookupError
    assert content(path) == b"headfirst second"


def test_an_append_that_was_killed_is_seen_and_taken_back(tmp_path):
    path = tmp_path / "data.case"
    with casefile.create(path, b"head") as writer:
        writer.write(b"first")
    before = path.read_bytes()
    assert not casefile.unfinished_append(path).is_open and not casefile.take_back_append(path)
    code = ("import sys, os, casefile\nappender = casefile.append(sys.argv[1])\n"
            "appender.write(bytes(3 * casefile.BLOCK_SIZE))\nos.kill(os.getpid(), 9)")
    subprocess.run([sys.executable, "-c", code, str(path)], check=False, stdin=subprocess.DEVNULL, timeout=120)
    found = casefile.unfinished_append(path)
    assert found.found == "unfinished" and found.is_open and found.what
    assert found.journal == f"{path}.journal"
    kept = tmp_path / "kept"
    shutil.copy2(found.journal, kept)
    assert casefile.take_back_append(path)
    assert path.read_bytes() == before and not casefile.unfinished_append(path).is_open
    path.unlink()
    with casefile.create(path, b"another head") as writer:
        writer.write(b"second")
    shutil.copy2(kept, found.journal)
    assert casefile.remove_journal_of_replaced(path).found == "unfinished"
    assert casefile.remove_journal_of_replaced(path).found == "none"
    with pytest.raises(FileNotFoundError):
        casefile.take_back_append(tmp_path / "missing.case")


@pytest.fixture
def damaged(tmp_path):
    """A file of three blocks, whose second one cannot be inflated."""
    path = tmp_path / "damaged.case"
    with casefile.create(path, DICTIONARY) as writer:
        writer.write(records(700_000))
    block = casefile.open(path).blocks[1]
    with open(path, "r+b") as file:
        file.seek(block.file_position + 2)
        file.write(b"\xff" * 2000)
    return path, block


def test_verifies(damaged, record_file):
    path, block = damaged
    found = casefile.verify(path)
    assert not found.sound and found.blocks == 3 and found.damaged_blocks == 1 and found.journal == "none"
    assert found.lost == [(block.start, block.stop)]
    assert found.faults[0].block == 1 and found.faults[0].is_damage and found.faults[0].what
    assert casefile.verify(record_file).sound
    with open(record_file, "rb") as source:
        assert casefile.verify(source).sound


def test_inspects(record_file):
    found = casefile.inspect(record_file)
    assert found.readable and not found.faults and len(found.blocks) == 4
    assert found.file_size == record_file.stat().st_size
    assert found.blocks == casefile.open(record_file).blocks


def test_recovers(damaged, tmp_path):
    path, block = damaged
    found = casefile.recover(path, tmp_path / "rescued.case", holes="zero")
    assert not found.complete and found.zero_bytes == block.stop - block.start
    assert (found.losses[0].start, found.losses[0].stop, found.losses[0].blocks) == (block.start, block.stop, 1)
    assert casefile.open(tmp_path / "rescued.case").read_at(block.stop, 16) == records(700_000).tobytes()[
        block.stop - len(DICTIONARY):][:16]
    with pytest.raises(ValueError, match="holes"):
        casefile.recover(path, tmp_path / "rescued.case", holes="none")


def test_tells_version_and_codecs():
    assert casefile.library_version() == casefile.__version__
    assert f'version = "{casefile.__version__}"' in (pathlib.Path(__file__).parents[1] / "pyproject.toml").read_text()
    assert {"zlib", "libdeflate", "fast"} <= set(casefile.codecs()) <= {"zlib", "libdeflate", "fast", "isal"}


def end_of_child(child, seconds=60):
    """Returns: the child's exit status; None when it hung."""
    until = time.monotonic() + seconds
    while time.monotonic() < until:
        ended, status = os.waitpid(child, os.WNOHANG)
        if ended:
            return status
        time.sleep(0.01)
    os.kill(child, signal.SIGKILL)
    os.waitpid(child, 0)
    return None


@pytest.mark.skipif(not hasattr(os, "fork"), reason="processes of this system have no copies")
@pytest.mark.parametrize("leave", ("forgotten", "cancelled", "finished"))
@pytest.mark.parametrize("appends", (True, False), ids=("append", "create"))
def test_a_copy_of_the_process_leaves_what_is_written_alone(tmp_path, appends, leave):
    # It waited for ever for threads that a copy has not, or removed the unfinished file under the other's hands.
    path = tmp_path / "shared.case"
    with casefile.create(path, b"head") as writer:
        writer.write(b"old")
    output = casefile.append(path) if appends else casefile.create(path, b"head")
    for _ in range(3):
        output.write(bytes(casefile.BLOCK_SIZE))
    child = os.fork()
    if child == 0:
        try:
            if leave == "forgotten":
                del output
                gc.collect()
            elif leave == "cancelled":
                output.cancel()
            else:
                output.finish()
        except ValueError:
            os._exit(7)
        finally:
            os._exit(0)
    status = end_of_child(child)
    assert status is not None, "the copy hangs"
    assert os.waitstatus_to_exitcode(status) == (7 if leave == "finished" else 0)
    output.write(b"new")
    output.finish()
    assert casefile.verify(path).sound
    assert content(path)[-3:] == b"new" and len(content(path)) == 7 + 3 * appends + 3 * casefile.BLOCK_SIZE
