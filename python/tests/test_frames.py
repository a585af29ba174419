"""load, save and sample."""

from __future__ import annotations

import bz2
import errno
import gzip
import hashlib
import json
import os
import re
import resource
import subprocess
import sys
import warnings
from dataclasses import asdict, replace
from pathlib import Path
from typing import Any, Dict

import numpy as np
import numpy.typing as npt
import pytest
from conftest import sample_file

import xrdimage
from xrdimage import Frame, FrameError, FrameWarning, Header

HEADER = Header(
    wavelength_angstrom=1.0,
    distance_mm=150.5,
    oscillation_start_degrees=10.0,
    oscillation_range_degrees=0.5,
    exposure_seconds=30.0,
    pixel_width_mm=0.125,
    pixel_height_mm=0.125,
    beam_x_pixels=7.0,
    beam_y_pixels=6.5,
)


def counts_of(height: int = 12, width: int = 14, largest: int = 60000) -> npt.NDArray[np.uint32]:
    return np.random.default_rng(5).integers(0, largest, (height, width), np.uint32)


def resident_kilobytes() -> int:
    return int(Path("/proc/self/statm").read_text().split()[1]) * resource.getpagesize() // 1024


# What load gives


def test_frame_has_counts_mask_and_header(lab6: Path) -> None:
    frame = xrdimage.load(lab6)
    assert frame.counts.dtype == np.uint32 and frame.counts.shape == (600, 600)
    assert frame.counts.flags.c_contiguous and frame.counts.flags.writeable
    assert frame.mask.dtype == np.bool_ and frame.mask.shape == (600, 600)
    assert frame.counts.max() > 65535  # the overflow records
    assert frame.header.format == "mar345"
    assert frame.header.wavelength_angstrom == pytest.approx(1.54179)
    assert (frame.header.beam_x_pixels, frame.header.beam_y_pixels) == (300.0, 300.0)
    assert frame.header.pixel_width_mm == pytest.approx(0.575)
    assert frame.header.saturation_counts is None
    assert frame.header.notes == ()


def test_header_tells_what_the_program_tells(lab6: Path) -> None:
    program = os.environ.get("XRDIMAGE_PROGRAM")
    if not program:
        pytest.skip("the program is not built")
    told = json.loads(subprocess.run([program, "info", "--json", lab6], check=True, capture_output=True).stdout)[0]
    frame = xrdimage.load(lab6)
    fields = asdict(frame.header)
    fields.pop("notes")
    assert fields == {name: told[name] for name in fields}
    assert frame.counts.max() == told["maximum_counts"]
    assert frame.counts.mean() == pytest.approx(told["mean_counts"])


def test_array_is_the_memory_that_the_library_filled(lab6: Path) -> None:
    frame = xrdimage.load(lab6)
    owner = frame.counts.base
    assert type(owner).__name__ == "PyCapsule"
    assert not frame.counts.flags.owndata


def test_array_outlives_the_frame(lab6: Path) -> None:
    counts = xrdimage.load(lab6).counts[100:110, ::2]
    expected = counts.copy()
    for _ in range(5):
        xrdimage.load(lab6)
    assert (counts == expected).all()


def test_loading_takes_no_second_array() -> None:
    # A frame of 64 MB of counts in the memory of that, the file and the mask: 32 and 16 MB.
    script = """
import resource, numpy as np, xrdimage
np.zeros(1 << 24, np.uint16).tofile("large.raw")
before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
frame = xrdimage.load("large.raw", size=(4096, 4096))
grown = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before
assert grown < (64 + 32 + 16 + 12) * 1024, grown
assert frame.counts.nbytes == 64 << 20
"""
    subprocess.run([sys.executable, "-c", script], check=True)


def test_thousand_loads_leak_nothing(lab6: Path) -> None:
    xrdimage.sample("small.mar2300", size=128)
    for _ in range(50):
        xrdimage.load("small.mar2300")
    descriptors = len(os.listdir("/proc/self/fd"))
    before = resident_kilobytes()
    for _ in range(1000):
        xrdimage.load("small.mar2300")
    assert resident_kilobytes() - before < 8 * 1024  # all arrays are 80 MB
    assert len(os.listdir("/proc/self/fd")) == descriptors


def test_negative_counts_have_a_sign() -> None:
    counts = np.array([[-5, 0], [70000, 2**31 - 1]], np.int32)
    xrdimage.save("signed.edf", counts)
    frame = xrdimage.load("signed.edf")
    assert frame.counts.dtype == np.int32
    assert (frame.counts == counts).all()
    owner = frame.counts.base
    assert owner is not None and type(owner.base).__name__ == "PyCapsule"


def test_compressed_frames_are_frames(lab6: Path) -> None:
    expected = xrdimage.load(lab6).counts
    Path("a.mar2300.gz").write_bytes(gzip.compress(lab6.read_bytes()))
    Path("a.mar2300.bz2").write_bytes(bz2.compress(lab6.read_bytes()))
    for name in ("a.mar2300.gz", "a.mar2300.bz2"):
        assert (xrdimage.load(name).counts == expected).all()


@pytest.mark.parametrize(
    "name, shape",
    [
        ("AgBehenate_003.tif", (1024, 1024)),
        ("TIMEPIX_SU_512-stdgoni_0001.img", (512, 512)),
        ("nx09_strain_011.mar2300", (2300, 2300)),
    ],
)
def test_real_frames(name: str, shape: Any) -> None:
    path = sample_file(name)
    frame = xrdimage.load(path)
    assert frame.counts.shape == shape
    if name.endswith(".img"):
        assert (frame.counts == np.fromfile(path, "<u2", offset=512).reshape(shape)).all()
    xrdimage.save("copy.npy", frame)
    assert (np.load("copy.npy")[~frame.mask] == frame.counts[~frame.mask]).all()


# Options of load


def test_raw_frames_by_their_options() -> None:
    Path("a.dat").write_bytes(b"head" + np.arange(6, dtype=">u4").tobytes())
    frame = xrdimage.load("a.dat", format="raw", size=(3, 2), depth=32, big_endian=True, skip=4)
    assert (frame.counts == np.arange(6).reshape(2, 3)).all()
    np.arange(16, dtype=np.uint8).tofile("b.raw")
    guessed = xrdimage.load("b.raw", depth=8)
    assert guessed.counts.shape == (4, 4)
    assert guessed.header.notes == (
        "is read as 4 x 4 pixels of 8 bits, a guess from its length; set size=(width, height) and depth if it is wrong",
    )


def test_damaged_frames_with_force(lab6: Path) -> None:
    Path("cut.mar2300").write_bytes(lab6.read_bytes()[:100000])
    with pytest.raises(FrameError, match="^cut.mar2300: is truncated"):
        xrdimage.load("cut.mar2300")
    frame = xrdimage.load("cut.mar2300", force=True)
    whole = xrdimage.load(lab6)
    assert (frame.counts[:100] == whole.counts[:100]).all()
    assert "is truncated" in frame.header.notes[0]


@pytest.mark.parametrize(
    "options, error",
    [
        ({"format": "gif"}, ValueError),
        ({"format": 3}, TypeError),
        ({"size": (0, 5)}, FrameError),
        ({"size": (-3, -3)}, FrameError),
        ({"size": (2**31, 1)}, ValueError),
        ({"size": (2**20, 2**20)}, FrameError),
        ({"size": 5}, TypeError),
        ({"size": (1.5, 2)}, TypeError),
        ({"size": (1, 2, 3)}, ValueError),
        ({"depth": 12}, FrameError),
        ({"depth": "16"}, TypeError),
        ({"skip": -1}, ValueError),
        ({"skip": 2**62}, FrameError),
    ],
)
def test_options_that_cannot_be(options: Dict[str, Any], error: type) -> None:
    np.zeros(16, np.uint16).tofile("a.raw")
    with pytest.raises(error):
        xrdimage.load("a.raw", **options)


# Files that cannot be read


def test_missing_files_are_os_errors() -> None:
    with pytest.raises(FileNotFoundError) as caught:
        xrdimage.load("missing.img")
    assert caught.value.errno == errno.ENOENT and caught.value.filename == "missing.img"
    with pytest.raises(IsADirectoryError):
        xrdimage.load(".")
    os.mkfifo("pipe")
    with pytest.raises(FrameError, match="is not a regular file"):
        xrdimage.load("pipe")
    with pytest.raises(TypeError):
        xrdimage.load(3)  # type: ignore[arg-type]
    with pytest.raises(ValueError):
        xrdimage.load("a\0b")


def test_files_that_are_no_frames_are_frame_errors() -> None:
    Path("empty.img").write_bytes(b"")
    with pytest.raises(FrameError, match="^empty.img: is empty$"):
        xrdimage.load("empty.img")
    Path("text.txt").write_text("hello")
    told = (
        r"^text.txt: has an unknown format; read it as raw pixels with size=\(width, height\), "
        r"or state the format with format$"
    )
    with pytest.raises(FrameError, match=told):
        xrdimage.load("text.txt")
    assert issubclass(FrameError, ValueError) and FrameError.__module__ == "xrdimage"


def test_lack_of_memory_is_a_memory_error() -> None:
    # There is room for the file, of 32 MB, and not for the counts, which take 64 MB.
    script = """
import resource, numpy as np, xrdimage
with open("large.raw", "wb") as file:
    file.truncate(1 << 25)
with open("/proc/self/statm") as numbers:
    limit = int(numbers.read().split()[0]) * resource.getpagesize() + (48 << 20)
resource.setrlimit(resource.RLIMIT_AS, (limit, limit))
try:
    xrdimage.load("large.raw", size=(1 << 12, 1 << 12))
except MemoryError:
    pass
else:
    raise SystemExit("no MemoryError")
"""
    environment = {**os.environ, "OPENBLAS_NUM_THREADS": "1"}
    subprocess.run([sys.executable, "-c", script], check=True, env=environment)


@pytest.mark.parametrize("name", ["späße.edf", b"odd-\xff\xfe.edf", "odd-\udcff.edf", "a b'\"$(x).edf"])
def test_paths_of_any_kind(name: Any) -> None:
    counts = counts_of()
    xrdimage.save(name, counts)
    assert (xrdimage.load(name).counts == counts).all()
    assert os.listdir(os.fsencode(".")) == [os.fsencode(name)]
    with pytest.raises(FileNotFoundError):
        xrdimage.load(name + (b"x" if isinstance(name, bytes) else "x"))
    with pytest.raises(FrameError):
        xrdimage.load(name, format="tiff")


# What save writes


@pytest.mark.parametrize("ending, keyword", [
    ("edf", "edf"), ("tif", "tiff"), ("img", "adsc"), ("mar", "mar345"), ("pck", "packed"), ("raw", "raw"),
])  # fmt: skip
def test_counts_come_back_from_every_format(ending: str, keyword: str) -> None:
    counts = counts_of(14, 14)
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        xrdimage.save(f"frame.{ending}", Frame(counts, header=HEADER))
    frame = xrdimage.load(f"frame.{ending}")
    assert frame.header.format == keyword
    assert (frame.counts == counts).all()
    if ending in ("edf", "img", "mar"):
        assert frame.header.distance_mm == pytest.approx(150.5)
        assert frame.header.pixel_width_mm == pytest.approx(0.125)


def test_headers_come_back() -> None:
    xrdimage.save("frame.img", counts_of(), header=HEADER)
    assert xrdimage.load("frame.img").header == replace(HEADER, format="adsc", saturation_counts=65535.0)


def test_stated_header_wins_over_the_frames() -> None:
    frame = Frame(counts_of(), header=HEADER)
    xrdimage.save("frame.edf", frame, header=Header(distance_mm=1.0))
    assert xrdimage.load("frame.edf").header == Header("edf", distance_mm=1.0)


@pytest.mark.parametrize("dtype", ["u1", "<u2", ">u2", "<u4", ">u4", "i1", "<i2", ">i4"])
def test_arrays_of_small_integers_are_saved(dtype: str) -> None:
    counts = counts_of(largest=100).astype(dtype)
    xrdimage.save("a.npy", counts)
    assert (np.load("a.npy") == counts).all()
    xrdimage.save("b.npy", counts[::2, ::-3])
    assert (np.load("b.npy") == counts[::2, ::-3]).all()


def test_saving_replaces_a_frame_and_takes_over_its_permissions_only() -> None:
    xrdimage.save("out.npy", np.zeros((2, 3), np.uint32))
    os.chmod("out.npy", 0o6750)
    xrdimage.save("out.npy", np.ones((2, 3), np.uint32))
    assert np.load("out.npy").sum() == 6
    assert os.stat("out.npy").st_mode & 0o7777 == 0o750
    assert os.listdir(".") == ["out.npy"]


def test_links_that_lead_nowhere_are_os_errors() -> None:
    os.symlink("none", "link.npy")
    os.symlink("circle.npy", "circle.npy")
    with pytest.raises(FileNotFoundError):
        xrdimage.save("link.npy", counts_of())
    with pytest.raises(OSError) as circle:
        xrdimage.save("circle.npy", counts_of())
    assert circle.value.errno == errno.ELOOP


def test_array_that_is_saved_stays_as_it_is() -> None:
    counts = counts_of()
    counts.flags.writeable = False
    expected = counts.copy()
    xrdimage.save("a.edf", counts)
    assert (counts == expected).all()


@pytest.mark.parametrize("dtype", ["u8", "i8", "f4", "f8", "?", "c16", "O", "U3"])
def test_arrays_of_other_types_are_refused(dtype: str) -> None:
    with pytest.raises(TypeError, match="counts must be integers of up to 32 bits"):
        xrdimage.save("a.edf", np.zeros((2, 2), dtype))


@pytest.mark.parametrize("shape", [(), (4,), (0, 4), (4, 0), (2, 2, 2)])
def test_arrays_of_other_shapes_are_refused(shape: Any) -> None:
    with pytest.raises(ValueError):
        xrdimage.save("a.edf", np.zeros(shape, np.uint32))
    assert os.listdir() == []


def test_other_wrong_arguments_of_save() -> None:
    counts = counts_of()
    with pytest.raises(ValueError, match="bits must be 16 or 32"):
        xrdimage.save("a.edf", counts, bits=8)
    with pytest.raises(ValueError, match="the name must end in one of .tif, .img, .edf"):
        xrdimage.save("a.gif", counts)
    with pytest.raises(ValueError, match="there is no format png"):
        xrdimage.save("a.png", counts, format="png")
    with pytest.raises(ValueError, match="the mask is not of the frame's size"):
        xrdimage.save("a.edf", Frame(counts, np.zeros((1, 1), np.bool_)))
    with pytest.raises(TypeError, match="the mask must be of bool"):
        xrdimage.save("a.edf", Frame(counts, np.zeros(counts.shape, np.uint8)))
    with pytest.raises(TypeError, match="distance_mm of the header"):
        xrdimage.save("a.edf", counts, header=Header(distance_mm="far"))  # type: ignore[arg-type]
    with pytest.raises(FrameError, match="mar345 frames have 10 to 10000 on a side"):
        xrdimage.save("a.mar", counts[:3, :3])
    with pytest.raises(FrameError, match="does not keep the counts of a single column"):
        xrdimage.save("a.pck", counts[:, :1])
    assert os.listdir() == []


def test_format_is_stated_or_told_by_the_ending() -> None:
    xrdimage.save("frame.dat", counts_of(), format="npy")
    assert np.load("frame.dat").dtype == np.uint32
    xrdimage.save("FRAME.NPY", counts_of(), bits=16)
    assert np.load("FRAME.NPY").dtype == np.uint16


def test_what_does_not_fit_is_warned_of() -> None:
    counts = np.array([[1, 70000], [2, 3]], np.uint32)
    with pytest.warns(FrameWarning) as caught:
        xrdimage.save("frame.img", counts)
    assert str(caught[0].message) == "frame.img: 1 pixels above 65535 were written as 65535; bits=32 keeps them"
    assert caught[0].filename == __file__
    assert xrdimage.load("frame.img").counts[0, 1] == 65535
    with pytest.warns(FrameWarning, match="negative counts were written as 0"):
        xrdimage.save("frame.img", np.array([[-1, 5]], np.int32))


def test_unknown_pixels_stay_unknown_where_the_format_knows_them() -> None:
    counts = counts_of(20, 20)
    mask = np.zeros(counts.shape, np.bool_)
    mask[3, 4] = mask[10, 0] = True
    xrdimage.save("frame.mar", Frame(counts, mask))
    frame = xrdimage.load("frame.mar")
    assert (frame.mask == mask).all()
    assert (frame.counts[~mask] == counts[~mask]).all()
    with pytest.warns(FrameWarning, match="2 pixels of unknown count were written as 4294967295"):
        xrdimage.save("frame.edf", frame)


def test_files_that_cannot_be_written_are_os_errors() -> None:
    counts = counts_of()
    with pytest.raises(FileNotFoundError) as caught:
        xrdimage.save("no/such/folder.edf", counts)
    assert caught.value.filename == "no/such/folder.edf"
    os.mkdir("folder.edf")
    with pytest.raises(IsADirectoryError):
        xrdimage.save("folder.edf", counts)
    os.mkfifo("pipe.edf")
    with pytest.raises(OSError) as refused:
        xrdimage.save("pipe.edf", counts)
    assert refused.value.errno == errno.EINVAL
    with pytest.raises(OSError):
        xrdimage.save("x" * 300 + ".edf", counts)
    with pytest.raises(OSError):
        xrdimage.save("", counts, format="edf")
    assert sorted(os.listdir()) == ["folder.edf", "pipe.edf"]


def test_full_disk_leaves_the_old_file() -> None:
    xrdimage.save("a.edf", counts_of(2, 2))
    old = Path("a.edf").read_bytes()
    script = """
import resource, signal, numpy as np, xrdimage
signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))
try:
    xrdimage.save("a.edf", np.zeros((100, 100), np.uint32))
except OSError:
    pass
else:
    raise SystemExit("no OSError")
"""
    subprocess.run([sys.executable, "-c", script], check=True)
    assert os.listdir() == ["a.edf"] and Path("a.edf").read_bytes() == old


def test_interrupts_stay_pythons(lab6: Path) -> None:
    import signal

    before = [signal.getsignal(number) for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)]
    xrdimage.save("a.edf", counts_of())
    os.kill(os.getpid(), 0)
    with pytest.raises(KeyboardInterrupt):
        os.kill(os.getpid(), signal.SIGINT)
        for _ in range(1000):
            pass
    assert before == [signal.getsignal(number) for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)]


STEERING = "\x1b[31m\x7f\u009b\u202e\n"


def test_messages_steer_no_terminal(caplog: pytest.LogCaptureFixture) -> None:
    name = os.fsencode(f"b{STEERING}") + b"\x9b\xe4"
    shown = "b?[31m??????"
    Path(os.fsdecode(name)).write_bytes(bytes(7))
    with pytest.raises(FrameError, match="^" + re.escape(shown + ": has an unknown format")):
        xrdimage.load(name)
    os.mkfifo(name + b"f")
    with pytest.raises(FrameError, match="^" + re.escape(shown + "f: is not a regular file")):
        xrdimage.load(name + b"f")
    pixels = np.zeros((2, 2), np.uint32)
    with pytest.raises(ValueError, match="^" + re.escape(shown + ": the name must end in")):
        xrdimage.save(name, pixels)
    with pytest.raises(ValueError, match="^" + re.escape("there is no format " + shown[1:-2])):
        xrdimage.load(name, format=STEERING)
    with pytest.warns(FrameWarning, match="^" + re.escape(shown + ".img: 4 pixels above")):
        xrdimage.save(name + b".img", pixels + 70000)
    with caplog.at_level("INFO", "xrdimage"):
        xrdimage.classic.write_zimg(name, pixels)
    # The line feed ends a line of the library's, whose bytes that are no UTF-8 are ISO-8859-1.
    assert caplog.messages[-1] == "?ä written"
    assert all(message.isprintable() for message in caplog.messages)


def test_letters_stay_in_messages() -> None:
    Path("für_€.raw").write_bytes(bytes(7))
    with pytest.raises(FrameError, match="^für_€.raw: "):
        xrdimage.load("für_€.raw")


def test_samples_are_the_programs(lab6: Path) -> None:
    assert hashlib.sha256(lab6.read_bytes()).hexdigest() == hashlib.sha256(again(600, 3)).hexdigest()
    assert lab6.read_bytes() != again(600, 4)
    program = os.environ.get("XRDIMAGE_PROGRAM")
    if program:
        command = [program, "sample", "p.mar2300", "--size", "600", "--seed", "3"]
        subprocess.run(command, check=True, capture_output=True)
        assert Path("p.mar2300").read_bytes() == lab6.read_bytes()
    for size in (63, 4097, -1, 2**40):
        with pytest.raises(ValueError):
            xrdimage.sample("b.mar2300", size=size)
    for seed in (-1, 2**64):
        with pytest.raises(ValueError):
            xrdimage.sample("b.mar2300", size=64, seed=seed)


def again(size: int, seed: int) -> bytes:
    xrdimage.sample("again.mar2300", size=size, seed=seed)
    return Path("again.mar2300").read_bytes()
