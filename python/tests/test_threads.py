"""Python's other threads run on while the library works."""

from __future__ import annotations

import contextlib
import os
import signal
import subprocess
import sys
import threading
import time
from pathlib import Path
from typing import Any, Callable, List, Tuple

import numpy as np
import pytest

import xrdimage
from xrdimage import classic


def runs_beside(call: Callable[[], Any]) -> bool:
    """Whether another thread gets on all through the call."""
    moments: List[float] = []
    done = threading.Event()

    def watch() -> None:
        while not done.is_set():
            moments.append(time.perf_counter())

    interval = sys.getswitchinterval()
    sys.setswitchinterval(1e-4)  # so that a turn before or after the call is no part of its middle
    watcher = threading.Thread(target=watch)
    watcher.start()
    try:
        for _ in range(30):  # the machine may be busy with something else
            begin = time.perf_counter()
            call()
            length = time.perf_counter() - begin
            # Eighths of the call's time, but the first and the last. One of them may belong to what Python does itself.
            eighths = {int(8 * (moment - begin) / length) for moment in list(moments)} & set(range(1, 7))
            if len(eighths) >= 3:
                return True
            moments.clear()
    finally:
        done.set()
        watcher.join()
        sys.setswitchinterval(interval)
    return False


PIXELS = np.random.default_rng(2).integers(0, 60000, (2000, 2000), np.uint32)


@pytest.mark.parametrize(
    "call",
    [
        lambda: xrdimage.load("large.mar2300"),
        lambda: xrdimage.save("large.tif", PIXELS),
        lambda: classic.new_read_pck("large.mar2300"),
        lambda: classic.falte_gauss(PIXELS, 3, 3),
        lambda: classic.mittle_Daten(PIXELS.copy(), 3),
        lambda: classic.logarith_data(PIXELS * np.uint32(7919), 100, 0, 10**9),
        lambda: classic.tomar("large.pck", PIXELS.astype(np.int16)),
    ],
    ids=["load", "save", "new_read_pck", "falte_gauss", "mittle_Daten", "logarith_data", "tomar"],
)
def test_others_run_beside(call: Callable[[], Any]) -> None:
    xrdimage.sample("large.mar2300", size=2000)
    assert runs_beside(call)


def test_the_watch_notices_who_keeps_the_others_waiting() -> None:
    # A regular expression that backtracks holds the lock all the time.
    import re

    assert not runs_beside(lambda: re.match("(x+x+)+y", "x" * 20))


def test_reading_from_a_pipe_that_another_thread_fills() -> None:
    # Without the lock's release this would wait for ever.
    script = """
import os, threading, time
from xrdimage import classic
reading, writing = os.pipe()
def fill():
    time.sleep(0.2)
    os.write(writing, bytes(range(256)) * 20)
threading.Thread(target=fill).start()
with os.fdopen(reading, "rb", buffering=0) as pipe:
    assert classic.getmod(pipe, 4, 1).tolist() == [[0x03020100, 0x07060504, 0x0b0a0908, 0x0f0e0d0c]]
    assert pipe.read(1) == b"\\x10"
"""
    subprocess.run([sys.executable, "-c", script], check=True, timeout=60)


def test_files_that_another_thread_writes_and_reads(lab6: Path) -> None:
    # Likewise: each opens a pipe, which waits for the other one.
    script = """
import os, sys, threading
import numpy as np
from xrdimage import _core, classic
os.mkfifo("pipe")
content = open(sys.argv[1], "rb").read()
def beside(call, work):
    thread = threading.Thread(target=work)
    thread.start()
    result = call()
    thread.join()
    return result
def fill():
    with open("pipe", "wb") as pipe:
        pipe.write(content)
read = []
def drain():
    with open("pipe", "rb") as pipe:
        read.append(pipe.read())
counts = beside(lambda: _core.load(b"pipe", None, None, None, False, 0, False)[0], fill)
assert counts.shape == (600, 600)
assert beside(lambda: classic.read_raw("pipe", (5, 5)), fill).shape == (5, 5)
beside(lambda: classic.write_zimg("pipe", counts), drain)
assert read == [counts.astype(np.uint16).tobytes()]
"""
    subprocess.run([sys.executable, "-c", script, lab6], check=True, timeout=60)


@pytest.mark.parametrize("order", [(0, 1), (1, 0)])
def test_threads_do_not_mix_up_their_messages(order: Tuple[int, int]) -> None:
    # Both are in the library until their pipes are closed. They end as they began, or the other way round.
    pipes = [os.pipe() for _ in order]
    told = ["", ""]

    def work(number: int) -> None:
        with os.fdopen(pipes[number][0], "rb", buffering=0) as stream:
            try:
                classic.getcorr(stream)
            except xrdimage.FrameError as error:
                told[number] = str(error)

    threads = [threading.Thread(target=work, args=(number,)) for number in range(2)]
    for thread in threads:
        thread.start()
        time.sleep(0.2)
    for number in order:
        os.write(pipes[number][1], bytes(4 * (number + 5)))
        os.close(pipes[number][1])
        threads[number].join()
    assert told == ["Wrong number of bytes in corr-file: 5", "Wrong number of bytes in corr-file: 6"]


def test_threads_save_and_load_at_once(lab6: Path) -> None:
    expected = xrdimage.load(lab6).counts
    wrong: List[int] = []

    def work(number: int) -> None:
        for _ in range(5):
            xrdimage.save(f"{number}.tif", expected)
            if not (xrdimage.load(f"{number}.tif").counts == expected).all():
                wrong.append(number)

    threads = [threading.Thread(target=work, args=(number,)) for number in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert wrong == [] and sorted(os.listdir()) == [f"{number}.tif" for number in range(4)]


@pytest.mark.parametrize("number", range(5))
def test_python_ends_while_threads_are_in_the_library(number: int) -> None:
    # Those wait for the end of the process, wherever they want Python's lock back: in calls, and in the log's handlers.
    script = """
import logging, threading, time
import xrdimage
class Slow(logging.Handler):
    def emit(self, record):
        time.sleep(0.0005)
logging.getLogger("xrdimage").addHandler(Slow())
logging.getLogger("xrdimage").setLevel(logging.INFO)
xrdimage.sample("lab6.mar2300", size=64)
counts = xrdimage.load("lab6.mar2300").counts
def load():
    while True:
        xrdimage.load("lab6.mar2300")
def log():
    while True:
        xrdimage.classic.to_short(counts, 100)
for work in (load, load, log, log):
    threading.Thread(target=work, daemon=True).start()
time.sleep(0.2)
"""
    subprocess.run([sys.executable, "-c", script], check=True, timeout=60)


def test_what_messages_need_is_imported_before_the_first_fork() -> None:
    # An import that another thread has begun never ends in a forked process.
    script = "import sys, numpy; sys.modules.pop('logging', None); import xrdimage; assert 'logging' in sys.modules"
    subprocess.run([sys.executable, "-c", script], check=True, timeout=60)


def test_forked_processes_find_the_locks_free() -> None:
    script = """
import os, threading
import numpy as np
from xrdimage import classic
pixels = np.ones((16, 16), np.uint32)
done = threading.Event()
def smooth():
    while not done.is_set():
        classic.falte_gauss(pixels, 3, 3)
threads = [threading.Thread(target=smooth) for _ in range(3)]
for thread in threads:
    thread.start()
for _ in range(60):
    child = os.fork()
    if child == 0:
        classic.falte_gauss(pixels, 3, 3)
        os._exit(0)
    assert os.waitpid(child, 0)[1] == 0
done.set()
"""
    with subprocess.Popen([sys.executable, "-c", script], start_new_session=True) as process:
        try:
            assert process.wait(30) == 0
        finally:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGKILL)
