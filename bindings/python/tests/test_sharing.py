"""Calls that meet at one writer or appender: out of threads, callbacks and handlers of signals."""

import copy
import signal
import threading

import pytest

import casefile
from deadline import within_deadline


@pytest.fixture(params=("create", "append"))
def outputs(request, tmp_path):
    """A function that makes an output whose file holds five bytes so far."""
    path = tmp_path / "shared.case"
    if request.param == "create":
        return path, lambda **options: casefile.create(path, b"head\n", **options)
    with casefile.create(path, b"head\n"):
        pass
    return path, lambda **options: casefile.append(path, **options)


def in_threads(count, work):
    threads = [threading.Thread(target=work, args=(number,), daemon=True) for number in range(count)]
    for thread in threads:
        thread.start()
    return threads


def joined(threads):
    within_deadline(lambda: [thread.join() for thread in threads])


def test_threads_wait_for_each_other(outputs):
    # The library takes one call at a time; two of them ended the process.
    path, make = outputs

    def write(number):
        for _ in range(40):
            output.write(bytes([number]) * 300_000)
    with make() as output:
        joined(in_threads(5, write))
        assert output.position == 5 + 5 * 40 * 300_000
    data = casefile.open(path).read()[5:]
    assert [data.count(number) for number in range(5)] == 5 * [40 * 300_000]


def test_what_another_thread_cancels_or_finishes_is_left_alone_by_calls_that_come_later(outputs):
    path, make = outputs
    for leave in ("cancel", "finish"):
        output = make()
        written, refused = threading.Event(), []

        def write(_):
            try:
                while True:
                    output.write(bytes(300_000))
                    written.set()
            except ValueError as raised:
                refused.append(raised)
        threads = in_threads(2, write)
        assert written.wait(60)
        getattr(output, leave)()
        joined(threads)
        assert len(refused) == 2
    assert casefile.verify(path).sound and casefile.open(path).size > 5


@pytest.mark.parametrize("call", ("cancel", "finish", "write", "position"))
def test_a_progress_callback_does_not_call_its_own_output(outputs, call):
    # Its cancelling freed what the call that told it was at work with.
    _, make = outputs
    made = []

    def tell(_):
        for output in made:  # none while it is opened
            use = getattr(output, call)
            if callable(use):
                use(*[b"more"] * (call == "write"))
    with pytest.raises(casefile.UsageError, match="progress callback") as refused, make(progress=tell) as output:
        made.append(output)
        within_deadline(lambda: output.write(bytes(20_000_000)))
    assert refused.value.status == "usage" and refused.value.filename == output.name


def test_a_signals_handler_does_not_break_the_call_that_it_came_into(outputs):
    _, make = outputs
    made, told = [], []

    def interrupt(_):
        told.extend(made)
        if len(told) == 1:
            signal.raise_signal(signal.SIGINT)
    before = signal.signal(signal.SIGINT, lambda *_: made[0].cancel())
    try:
        with pytest.raises(casefile.UsageError, match="call of its own"), make(progress=interrupt) as output:
            made.append(output)
            for _ in range(10):
                output.write(bytes(10_000_000))
    finally:
        signal.signal(signal.SIGINT, before)


def test_an_output_has_no_copies(outputs):
    _, make = outputs
    with make() as output, pytest.raises(TypeError, match="cannot be copied"):
        copy.copy(output)
