"""xrdimage.classic: functions that open files by their names, and those that work on open ones."""

from __future__ import annotations

import ctypes
import inspect
import io
import logging
import os
import struct
import subprocess
import sys
from pathlib import Path
from typing import Any, Callable, List
from unittest import mock

import numpy as np
import numpy.typing as npt
import pytest
from conftest import SOURCE, sample_file

import xrdimage
from xrdimage import FrameError, classic
from xrdimage.classic import ImageType, Mar345Header

Array = npt.NDArray[Any]


def samples_of(height: int, width: int, largest: int = 60000) -> Array:
    return np.random.default_rng(7).integers(0, largest, (height, width)).astype(np.uint16)


def side_by_side(samples: Array) -> Array:
    """What readers give that do not widen 16-bit samples."""
    pixels = np.zeros(samples.shape, np.uint32)
    pixels.ravel().view(np.uint16)[: samples.size] = samples.ravel()
    return pixels


# The list


def test_every_exported_function_is_there() -> None:
    words = (SOURCE / "exports.map").read_text().split("global:")[1].split("local:")[0].split(";")
    exported = {word.strip() for word in words if word.strip()}
    functions = {
        name
        for name, value in vars(classic).items()
        if inspect.isfunction(value) and value.__module__ == classic.__name__ and not name.startswith("_")
    }
    assert len(exported) == 63
    assert functions == exported


# Detection


@pytest.mark.parametrize("name, kind", [
    ("a.edf", ImageType.EDF), ("a.mar2300", ImageType.MAR2300), ("a.mar2000", ImageType.MAR2000),
    ("a.raw", ImageType.RAW), ("a b;c'.img", ImageType.IMG), ("a.tif", ImageType.TIFF), ("a.pck", ImageType.PCK),
    ("a.IFF", ImageType.IFF),
])  # fmt: skip
def test_types_by_name(name: str, kind: ImageType) -> None:
    assert classic.get_image_type(name) is kind


def test_unknown_types_are_a_result(caplog: pytest.LogCaptureFixture) -> None:
    Path("z").write_bytes(b"\0" * 10)
    assert classic.get_image_type("z") is ImageType.UNKNOWN
    assert caplog.record_tuples == [
        ("xrdimage", logging.WARNING, "# ERROR file z | grep xi >/dev/null returned -1"),
    ]


# Readers


def test_raw_frames() -> None:
    samples = samples_of(5, 4)
    samples.tofile("a.raw")
    assert (classic.read_raw("a.raw", (4, 5)) == samples).all()
    default = classic.read_raw("a.raw")
    assert default.shape == (1200, 1200) and (default.ravel()[:20] == samples.ravel()).all()
    with pytest.raises(FrameError, match="^READING a.raw: cannot allocate -1 x 5 pixels$"):
        classic.read_raw("a.raw", (-1, 5))


def bnl_file(header: str, samples: Array) -> None:
    Path("a.img").write_bytes(b"{\n" + header.encode() + b"}\n" + samples.tobytes())


def test_bnl_frames() -> None:
    samples = samples_of(6, 4)
    bnl_file(
        "SIZE1=4;\nSIZE2=6;\nBYTE_ORDER=big_endian\nDISTANCE=80.5;\nWAVELENGTH=1.5;\nOSC_START=1;\nOSC_RANGE=2;\n"
        "TIME=3;\n",
        samples,
    )
    image, *values = classic.read_bnl("a.img")
    assert (image == side_by_side(samples)).all()
    assert values == [80.5, 1.5, 1.0, 2.0, 3.0]
    bnl_file("TIME=3;\n", samples)
    image, *values = classic.read_bnl("a.img", (4, 6))
    expected = side_by_side(samples)
    expected.view(np.uint16).ravel()[::2].byteswap(inplace=True)
    assert (image == expected).all() and values == [-1.0, -1.0, -1.0, -1.0, 3.0]
    with pytest.raises(FrameError, match="cannot allocate -4 x 6 pixels"):
        classic.read_bnl("a.img", (-4, 6))


def test_edf_frames() -> None:
    pixels: Array = np.arange(20, dtype=np.uint32).reshape(4, 5) * 10000
    classic.edf32_write("a.edf", pixels)
    assert (classic.read_edf("a.edf").image == pixels).all()
    assert (xrdimage.load("a.edf").counts == pixels).all()
    with open("a.edf", "rb") as stream:
        assert classic.read_edf_header(stream) == (5, 4, 32)
        assert stream.read() == pixels.tobytes()
    classic.edf16_write("a.edf", pixels[:, ::2])
    image, bits = classic.read_edf("a.edf")
    assert bits == 16 and (image == side_by_side(pixels[:, ::2].astype("<u4").view("<u2")[:2, :6].reshape(4, 3))).all()
    assert classic.read_edf("a.edf", 32).bits == 16  # the header wins


def test_edf_frames_without_a_size(caplog: pytest.LogCaptureFixture) -> None:
    Path("a.edf").write_bytes(b"{\nDataType = Odd ;\n}\n" + bytes(range(8)))
    image, bits = classic.read_edf("a.edf", size=(2, 2))
    assert image.shape == (2, 2) and bits == -1
    assert "# Datatype Odd nicht bekannt. Bitte mit -b <bits> starten" in caplog.messages or not caplog.messages
    with open("a.edf", "rb") as stream:
        assert classic.read_edf_header(stream) == (None, None, None)
    assert classic.read_edf("a.edf", 8, (2, 2)).image[0, 0] == 0x03020100
    assert classic.read_edf("a.edf").image.shape == (1152, 1242)
    with pytest.raises(FrameError, match="READING a.edf: cannot allocate 100000 x 100000 pixels"):
        classic.read_edf("a.edf", size=(100000, 100000))


def test_saint_frames() -> None:
    samples = samples_of(3, 5)
    header = b"NCOLS  : 5".ljust(80) + b"NROWS  : 3".ljust(80) + b"   ENDING2: 1".ljust(80)
    Path("a.sfrm").write_bytes(header.ljust(7680) + samples.tobytes())
    assert (classic.read_saint("a.sfrm") == samples).all()
    with open("a.sfrm", "rb") as stream:
        assert classic.read_saint_header(stream) == (5, 3)
        assert stream.tell() == 7680 and stream.read(2) == samples.tobytes()[:2]
    Path("b.sfrm").write_bytes(b"   ENDING2: 1".ljust(7680) + samples.tobytes())
    assert classic.read_saint("b.sfrm").shape == (0, 0)
    assert (classic.read_saint("b.sfrm", (5, 3)) == samples).all()


def test_tiff_frames() -> None:
    samples = samples_of(30, 20)
    xrdimage.save("a.tif", samples, bits=16)
    assert (classic.read_tiff("a.tif") == samples.view(np.int16).astype(np.int32).view(np.uint32)).all()


UNKNOWN_TAG = struct.pack("<HHII", 65000, 4, 1, 7)  # of which libtiff warns


def add_unknown_tag(name: str) -> None:
    """Puts a tag behind the last of those in a TIFF file's directory, which lies at the file's end then."""
    data = bytearray(Path(name).read_bytes())
    (directory,) = struct.unpack_from("<I", data, 4)
    (count,) = struct.unpack_from("<H", data, directory)
    entries = bytes(data[directory + 2 : directory + 2 + 12 * count])
    struct.pack_into("<I", data, 4, len(data))
    Path(name).write_bytes(bytes(data) + struct.pack("<H", count + 1) + entries + UNKNOWN_TAG + bytes(4))


def test_what_libtiff_says_is_logged(capfd: pytest.CaptureFixture[str], caplog: pytest.LogCaptureFixture) -> None:
    name = "b\x1b]0;\u009b.tif"
    Path(name).write_bytes(b"no TIFF")
    with pytest.raises(FrameError, match=r"^reading file b\?\]0;\?\.tif$"):
        classic.read_tiff(name)
    assert [record.levelname for record in caplog.records] == ["WARNING"]
    assert caplog.messages == ["b?]0;?.tif: Cannot read TIFF header"]
    caplog.clear()
    xrdimage.save(name, samples_of(3, 2), bits=16)
    add_unknown_tag(name)
    assert classic.read_tiff(name).shape == (3, 2)
    assert any("65000" in message for message in caplog.messages)
    assert all(message.isprintable() for message in caplog.messages)
    assert capfd.readouterr().err == ""


def test_messages_of_libtiff_have_an_end(caplog: pytest.LogCaptureFixture) -> None:
    entries = [(256, 1), (257, 1000), (258, 16), (259, 1), (262, 1), (273, 8), (277, 1), (278, 1), (279, 4008)]
    kinds = {273: (1000, 200), 279: (1000, 200)}  # arrays of 1000 numbers, which lead beyond the end
    directory = struct.pack("<2sHIH", b"II", 42, 8, len(entries))
    for tag, value in entries:
        count, value = kinds.get(tag, (1, value))
        directory += struct.pack("<HHII", tag, 4, count, value)
    Path("strips.tif").write_bytes(directory.ljust(200, b"\0") + struct.pack("<I", 1_000_000) * 1000)
    assert classic.read_tiff("strips.tif").shape == (1000, 1)
    assert len(caplog.messages) == 101
    assert caplog.messages[-1] == "libtiff: more of these are left out"


def test_others_keep_their_handlers_of_libtiff() -> None:
    heard: List[bytes] = []
    handler_type = ctypes.CFUNCTYPE(None, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_void_p)
    handler = handler_type(lambda module, text, values: heard.append(text))
    libtiff = ctypes.CDLL("libtiff.so.6")
    setters = [libtiff.TIFFSetErrorHandler, libtiff.TIFFSetWarningHandler]
    for setter in setters:
        setter.restype = ctypes.c_void_p
        setter.argtypes = [ctypes.c_void_p]
    ours = ctypes.cast(handler, ctypes.c_void_p).value
    before = [setter(ours) for setter in setters]
    mar_ccd_file(samples_of(9, 8))
    classic.read_mar_ccd("a.mccd")
    Path("b.tif").write_bytes(b"no TIFF")
    with pytest.raises(FrameError):
        classic.read_tiff("b.tif")
    assert [setter(old) for setter, old in zip(setters, before)] == [ours, ours]
    assert heard == []


def mar_ccd_file(samples: Array) -> None:
    """A TIFF file whose first 4096 bytes hold what a MarCCD header has."""
    # Overflowed pixels, milliseconds, 1/1000 degree, micrometres, 1/1000 degree, 1/100000 angstrom.
    fields = {1160: 5, 1680: 2500, 1708: 30500, 1720: 120900, 1760: 1999, 1932: 97934}
    height, width = samples.shape
    entries = [(256, width), (257, height), (258, 16), (259, 1), (262, 1), (273, 4096), (277, 1), (278, height)]
    entries += [(279, samples.nbytes)]
    directory = struct.pack("<2sHIH", b"II", 42, 8, len(entries))
    directory += b"".join(struct.pack("<HHII", tag, 4, 1, value) for tag, value in entries) + bytes(4)
    header = bytearray(directory.ljust(4096, b"\0"))
    for offset, value in fields.items():
        struct.pack_into("<i", header, offset, value)
    Path("a.mccd").write_bytes(bytes(header) + samples.tobytes())


def test_mar_ccd_frames() -> None:
    samples = samples_of(9, 8)
    mar_ccd_file(samples)
    image, overflows, distance = classic.read_mar_ccd("a.mccd")
    assert (image == np.where(samples < 32768, samples, classic.OVERFLOW_MARK)).all()
    assert overflows == 5 + (samples >= 32768).sum() and distance == pytest.approx(120.9)
    assert classic.read_mar_ccd("a.mccd", 77.0).distance == 77.0
    info = classic.read_mar_ccd_header("a.mccd")
    assert (info.overflow_count, info.start_angle, info.distance) == (5, 30.0, 120.0)
    assert (info.oscillation_range, info.exposure_time, info.file_name) == (1.0, 2.0, "a.mccd")
    assert info.wavelength == pytest.approx(0.97934)
    Path("b.mccd").write_bytes(Path("a.mccd").read_bytes()[:4000])
    readers: List[Callable[[Any], Any]] = [classic.read_mar_ccd, classic.read_mar_ccd_header]
    for function in readers:
        with pytest.raises(FrameError, match="the MarCCD header is incomplete"):
            function("b.mccd")


def test_mar345_frames(lab6: Path) -> None:
    frame = xrdimage.load(lab6)
    expected = frame.counts.copy()
    expected[frame.mask | (expected >= 256000)] = classic.OVERFLOW_MARK
    assert (classic.new_read_pck(lab6) == expected).all()
    header, phi_values = classic.read_marheader(lab6)
    assert header.program == "xrdimage" and header.distance == 120.0 and phi_values == 2
    assert header.phi_start == 0.0 and header.phi_osc == 1.0
    assert classic.read_marheader(lab6, Mar345Header(mode="kept"))[0].mode == "kept"
    info = classic.read_mar_header(lab6)
    assert info.distance == 120.0 and info.oscillation_range == 1.0 and info.file_name == str(lab6)
    with open(lab6, "rb") as stream:
        head = classic.gethead(stream)
        assert head == (True, 600, False, head.overflow_count)
        merged = classic.int_getpck(
            lab6, stream, 600, 600, overflow_count=head.overflow_count, limit=256000
        )
        assert stream.tell() == 4096 + 8 * head.overflow_count
    assert (merged.image.view(np.uint32) == np.where(expected == 256001, 2**32 - 1, expected)).all()
    assert merged.record[1] == -1 or merged.record[1] == expected.ravel()[merged.record[0]]


def test_real_mar345_frame() -> None:
    path = sample_file("nx09_strain_011.mar2300")
    frame = xrdimage.load(path)
    image = classic.new_read_pck(path)
    known = ~frame.mask & (frame.counts < 256000)
    assert image.shape == (2300, 2300) and (image[known] == frame.counts[known]).all()
    assert (image[~known] == classic.OVERFLOW_MARK).all()


def test_damaged_mar345_frames(lab6: Path, caplog: pytest.LogCaptureFixture) -> None:
    caplog.set_level(logging.INFO, "xrdimage")
    Path("a.mar2300").write_bytes(b"abc")
    with pytest.raises(FrameError, match="^Cannot read header"):
        classic.new_read_pck("a.mar2300")
    with open("a.mar2300", "rb") as stream, pytest.raises(FrameError, match="Something wrong with header"):
        classic.gethead(stream)
    with open("a.mar2300", "rb") as stream:
        classic.int_getpck("a.mar2300", stream, 2, 2, overflow_count=3)
    assert [record.levelno for record in caplog.records] == [logging.WARNING, logging.INFO]
    assert caplog.messages[0] == "WARNING> cannot read overflow pixel # 2!"
    with open(lab6, "rb") as stream:
        for size in ((-1, 5), (2**15, 2**14), (2**31, 1)):
            with pytest.raises(ValueError):
                classic.int_getpck(lab6, stream, *size)
        assert (classic.int_getpck(lab6, stream, 0, 7).image.shape) == (7, 0)


def test_header_is_printed_to_a_text() -> None:
    header = Mar345Header(program="scan", gap=(1, 2, 3, 4, 5, 6, 7, 8), kv=40.0, source="Spaß", histogram=(7, 8, 9))
    lines = classic.print_marheader(header).splitlines()
    assert len(lines) == 20 and lines[0] == "Program scan" and lines[5] == "Gaps 1 2 3 4 5 6 7 8"
    assert lines[17] == "Histogram 7 8 9" and "Spaß" in lines[18]
    for wrong in ({"gap": (1,)}, {"high": "x"}, {"program": 5}, {"kv": None}, {"high": 2**40}):
        with pytest.raises(TypeError):
            classic.print_marheader(Mar345Header(**wrong))  # type: ignore[arg-type]
    assert classic.print_marheader(Mar345Header(program="x" * 1000)).startswith("Program " + "x" * 255 + "\n")


def test_record_has_the_headers_fields() -> None:
    text = (SOURCE / "include" / "xrdimage.h").read_text()
    record = text.split("typedef struct Mar345Header {")[1].split("} Mar345Header;")[0]
    fields = [line.split(";")[0].split()[-1].split("[")[0] for line in record.splitlines() if ";" in line]
    assert list(Mar345Header._fields) == fields
    record = text.split("typedef struct ImageInfo {")[1].split("} ImageInfo;")[0]
    fields = [line.split(";")[0].split()[-1].split("[")[0] for line in record.splitlines() if ";" in line]
    fields.remove("host_fields")
    assert list(classic.ImageInfo._fields) == fields
    codes = text.split("IMAGE_TYPE_UNKNOWN")[1].split("};")[0]
    assert all(f"{kind.name} = {kind.value}" in codes for kind in ImageType if kind)


# Packed images


def test_packed_images() -> None:
    pixels = samples_of(40, 30).view(np.int16)
    with open("a.pck", "w+b") as stream:
        stream.write(b"first")
        classic.pack_wordimage_c(pixels, stream)
        end = stream.tell()
        assert stream.seek(0, os.SEEK_END) == end
    for function in (classic.readpack_word_c, classic.readpck):
        assert (function("a.pck") == pixels).all()
    with open("a.pck", "rb") as stream:
        while b"CCP4" not in stream.readline():
            pass
        assert (classic.unpack_word(stream, 30, 40) == pixels).all()
        assert end - 1 <= stream.tell() <= end


def test_packed_files_without_an_image() -> None:
    Path("a.pck").write_bytes(b"nothing")
    assert classic.readpck("a.pck").shape == (0, 0)
    Path("a.pck").write_bytes(b"\nCCP4 packed image, X: -001, Y: 0005\n")
    with pytest.raises(ValueError, match="-1 x 5"):
        classic.readpack_word_c("a.pck")
    Path("a.pck").write_bytes(b"\nCCP4 packed image, X: 0003, Y: 0005\n")
    assert classic.readpack_word_c("a.pck").shape == (5, 3)
    with open("a.pck", "rb") as stream:
        for size in ((-1, 5), (5, -1), (2**15, 2**14), (2**31, 1)):
            with pytest.raises(ValueError):
                classic.unpack_word(stream, *size)
        assert stream.tell() == 0
        assert classic.unpack_word(stream, 0, 5).shape == (5, 0)


def test_packed_files() -> None:
    pixels = samples_of(1200, 1200).view(np.int16)
    classic.tomar("a.pck", pixels, b"mine")
    assert Path("a.pck").read_bytes()[8:12] == b"mine"
    assert (classic.read_pck("a.pck") == pixels.astype(np.int32).view(np.uint32)).all()
    classic.tomar("b.pck", pixels[:3, ::2])
    assert (classic.read_pck("b.pck").shape) == (1200, 1200)
    with pytest.raises(ValueError, match="2392"):
        classic.tomar("c.pck", pixels, bytes(2393))


def test_chunks_gather_in_a_buffer() -> None:
    with open("a", "w+b") as stream:
        stream.write(b"head")
        classic.pack_chunk(np.array([1, -1, 2, 3], np.int32), 4, stream)
        assert stream.tell() == 4
        classic.pack_chunk(None, 0, stream)
        assert stream.tell() == 7
        stream.seek(0)
        assert stream.read() == b"head" + (2 | 1 << 3 | 0x32F1 << 6).to_bytes(3, "little")
        for chunk, size in ((np.zeros(0, np.int32), 4), (np.zeros(129, np.int32), 4), (np.zeros(1, np.int32), 33)):
            with pytest.raises(ValueError):
                classic.pack_chunk(chunk, size, stream)


# Correction files


def test_correction_files() -> None:
    values = np.random.default_rng(1).integers(-(2**31), 2**31, 1187, np.int32)
    Path("a").write_bytes(values.tobytes() + b"more")
    with open("a", "rb") as stream:
        assert (classic.getcorr(stream) == values).all() and stream.read() == b"more"
        stream.seek(8)
        assert (classic.getmod(stream, 5, 3) == values[2:17].reshape(3, 5)).all() and stream.tell() == 68
        with pytest.raises(FrameError, match="^Wrong number of bytes in corr-file: 1171$"):
            classic.getcorr(stream)
        stream.seek(0)
        with pytest.raises(FrameError, match="Wrong number of bytes in MODPIX.XDS: 1188"):
            classic.getmod(stream, 1000, 2)
        with pytest.raises(ValueError):
            classic.getmod(stream, -1, 2)
        with pytest.raises(ValueError):
            classic.getmod(stream, 2**31 - 1, 2**31 - 1)


@pytest.mark.parametrize("name, closed", [("MODPIX.XDS", 0), ("BKGPIX.XDS", 1), ("BLANK.XDS", 2), ("modpix.xds", 2)])
def test_the_selected_stream_is_closed(name: str, closed: int) -> None:
    streams = [open(f"{i}", mode) for i, mode in enumerate(("wb", "w+b", "ab"))]
    descriptors = len(os.listdir("/proc/self/fd"))
    classic.fileclose(name, *streams)
    assert [stream.closed for stream in streams] == [i == closed for i in range(3)]
    assert len(os.listdir("/proc/self/fd")) == descriptors - 1
    streams[closed] = None  # type: ignore[call-overload]
    with pytest.raises(ValueError, match=f"there is no stream for {name}"):
        classic.fileclose(name, *streams)
    for stream in streams:
        if stream is not None:
            stream.close()


@pytest.mark.parametrize(
    "name, positions", [("MODPIX.XDS", [0, 9, 0]), ("BKGPIX.XDS", [9, 0, 9]), ("BLANK.XDS", [9, 9, 0])]
)
def test_the_selected_streams_are_rewound(name: str, positions: List[int]) -> None:
    Path("a").write_bytes(bytes(range(100)))
    streams = [open("a", "rb") for _ in range(3)]
    for stream in streams:
        stream.seek(9)
    classic.filerewind(name, *streams)
    assert [stream.tell() for stream in streams] == positions
    assert [stream.read(1)[0] for stream in streams] == positions
    for stream in streams:
        stream.close()
    classic.filerewind(name)


def test_temporary_image_is_deleted(capfd: pytest.CaptureFixture[str]) -> None:
    Path("tmp.image").write_bytes(b"x")
    assert classic.filedelete() == 0 and not Path("tmp.image").exists()
    assert classic.filedelete() != 0
    assert "tmp.image" in capfd.readouterr().err  # of rm


# Streams


def test_positions_of_streams_stay_pythons() -> None:
    values = np.arange(100000, dtype=np.int32)
    Path("a").write_bytes(b"ab" + values.tobytes())
    for buffering in (0, -1, 512):
        with open("a", "rb", buffering=buffering) as stream:
            assert stream.read(2) == b"ab"
            assert (classic.getmod(stream, 10, 2).ravel() == values[:20]).all()
            assert stream.tell() == 82 and stream.read(4) == values[20:21].tobytes()
            assert (classic.getmod(stream, 5000, 2).ravel() == values[21:10021]).all()
            assert np.frombuffer(stream.read(), np.int32).tolist() == values[10021:].tolist()


def test_written_streams_go_on_where_they_were() -> None:
    pixels = samples_of(5, 5).view(np.int16)
    with open("a", "wb") as stream:
        stream.write(b"one")
        classic.pack_wordimage_c(pixels, stream)
        stream.write(b"two")
    content = Path("a").read_bytes()
    assert content.startswith(b"one\nCCP4 packed image, X: 0005, Y: 0005\n") and content.endswith(b"two")


def test_pipes_are_read_to_the_last_byte_in_use() -> None:
    pixels = samples_of(9, 9).view(np.int16)
    with open("a", "w+b") as stream:
        classic.pack_wordimage_c(pixels, stream)
        stream.seek(0)
        packed = stream.read().split(b"\n", 2)[2]
    reading, writing = os.pipe()
    os.write(writing, packed + b"rest")
    os.close(writing)
    with os.fdopen(reading, "rb", buffering=0) as pipe:
        assert (classic.unpack_word(pipe, 9, 9) == pixels).all()
        rest = pipe.read()
        assert rest == b"rest" or rest == packed[-1:] + b"rest"


def test_wrong_streams() -> None:
    Path("a").write_bytes(bytes(10000))
    with open("a") as text, pytest.raises(TypeError, match="opened in binary mode"):
        classic.getcorr(text)  # type: ignore[arg-type]
    for wrong in (io.BytesIO(b"abc"), b"abc", "a", None, 3):
        with pytest.raises(TypeError, match="the file must have a descriptor"):
            classic.getcorr(wrong)  # type: ignore[arg-type]
    nowhere = mock.Mock(fileno=lambda: -1, seekable=lambda: False)
    with pytest.raises(ValueError, match="invalid descriptor -1"):
        classic.getcorr(nowhere)
    closed = open("a", "rb")
    closed.close()
    with pytest.raises(ValueError):
        classic.getcorr(closed)
    with open("a", "wb") as write_only, pytest.raises(OSError):
        classic.getcorr(write_only)
    with open("a", "rb") as read_only, pytest.raises(OSError):
        classic.pack_wordimage_c(np.zeros((2, 2), np.int16), read_only)


def test_write_errors_of_streams_are_told() -> None:
    with open("/dev/full", "wb", buffering=0) as full, pytest.raises(OSError):
        classic.pack_wordimage_c(samples_of(50, 50).view(np.int16), full)
    reading, writing = os.pipe()
    os.close(reading)
    with os.fdopen(writing, "wb", buffering=0) as broken, pytest.raises(BrokenPipeError):
        classic.pack_wordimage_c(samples_of(50, 50).view(np.int16), broken)


# Display


def test_raw_dumps() -> None:
    pixels: Array = np.arange(12, dtype=np.uint32).reshape(3, 4) * 30000
    classic.write_zimg("a.raw", pixels)
    assert (np.fromfile("a.raw", "<u2") == (pixels.ravel() & 0xFFFF)).all()
    classic.write_short_zimg("b.raw", pixels.astype(np.uint16)[:, ::2])
    assert (np.fromfile("b.raw", "<u2") == (pixels[:, ::2].ravel() & 0xFFFF)).all()


def test_colour_map() -> None:
    classic.write_colormap("map")
    colours = np.loadtxt("map", int)
    assert colours.shape == (255, 3) and colours[0].tolist() == [0, 0, 0] and colours[-1].tolist() == [255, 255, 255]


def test_view_runs_converter_and_viewer(monkeypatch: pytest.MonkeyPatch, caplog: pytest.LogCaptureFixture) -> None:
    caplog.set_level(logging.INFO, "xrdimage")
    os.mkdir("bin")
    for program in ("zimg", "xv"):
        path = Path("bin", program)
        path.write_text(f'#!/bin/sh\necho "$0" "$@" >>log\ntest "$0" != {path.absolute()} || test {program} = zimg\n')
        path.chmod(0o755)
    monkeypatch.setenv("PATH", f"{Path('bin').absolute()}:{os.environ['PATH']}")
    pixels = np.arange(12, dtype=np.uint32).reshape(3, 4)
    assert classic.view("shown", pixels, 2) == 256  # the viewer's exit status 1, as system() tells it
    log = Path("log").read_text().splitlines()
    assert "-r 3x4 --absolute=0-5 -o shown.png shown.raw" in log[0] and log[1].endswith("xv shown.png")
    assert np.fromfile("shown.raw", "<u2").tolist() == list(range(12))
    assert caplog.messages[-1].startswith("zimg --colormap=colormap.zimg")
    with pytest.raises(FileNotFoundError):
        classic.view("no/folder", pixels)


# Errors that all have in common

READERS: List[Callable[[Any], Any]] = [
    classic.read_raw,
    classic.read_bnl,
    classic.read_edf,
    classic.read_saint,
    classic.read_tiff,
    classic.read_mar_ccd_header,
    classic.read_mar_ccd,
    classic.readpack_word_c,
    classic.readpck,
    classic.read_pck,
    classic.read_marheader,
    classic.read_mar_header,
    classic.new_read_pck,
]
WRITERS: List[Callable[[Any], Any]] = [
    lambda path: classic.edf16_write(path, np.zeros((2, 2), np.uint32)),
    lambda path: classic.edf32_write(path, np.zeros((2, 2), np.uint32)),
    lambda path: classic.tomar(path, np.zeros((2, 2), np.int16)),
    lambda path: classic.write_colormap(path),
    lambda path: classic.write_zimg(path, np.zeros((2, 2), np.uint32)),
    lambda path: classic.write_short_zimg(path, np.zeros((2, 2), np.uint16)),
]


@pytest.mark.parametrize("function", READERS)
def test_readers_of_files_that_cannot_be_opened(function: Callable[[Any], Any]) -> None:
    with pytest.raises(FileNotFoundError):
        function("missing")
    with pytest.raises(IsADirectoryError):
        function(".")
    with pytest.raises(ValueError):
        function("a\0b")
    for wrong in (None, 3, ["a"]):
        with pytest.raises(TypeError):
            function(wrong)


@pytest.mark.parametrize("function", READERS)
def test_readers_of_files_that_hold_nothing(function: Callable[[Any], Any]) -> None:
    Path("empty").write_bytes(b"")
    descriptors = len(os.listdir("/proc/self/fd"))
    for _ in range(3):
        try:
            function("empty")
        except FrameError:
            pass
    assert len(os.listdir("/proc/self/fd")) == descriptors


@pytest.mark.parametrize("function", WRITERS)
def test_writers_to_files_that_cannot_be_opened(function: Callable[[Any], Any]) -> None:
    with pytest.raises(FileNotFoundError) as caught:
        function("no/folder")
    assert caught.value.filename == "no/folder"
    with pytest.raises(IsADirectoryError):
        function(".")
    with pytest.raises(ValueError):
        function("a\0b")


@pytest.mark.parametrize("name", ["späße.raw", b"odd\xff.raw", "odd\udcff.raw"])
def test_paths_of_any_kind(name: Any) -> None:
    classic.write_zimg(name, np.arange(4, dtype=np.uint32))
    assert classic.read_raw(name, (2, 2)).tolist() == [[0, 1], [2, 3]]
    assert classic.get_image_type(name) is ImageType.RAW
    with pytest.raises(FrameError, match="cannot allocate"):
        classic.read_raw(name, (-1, -1))


def test_lines_go_to_the_log(lab6: Path, caplog: pytest.LogCaptureFixture) -> None:
    caplog.set_level(logging.INFO, "xrdimage")
    classic.to_short(np.array([[100000]], np.uint32), 100000)
    assert caplog.record_tuples == [
        ("xrdimage", logging.WARNING, "# WARNING Die Intensitäten werden halbiert, damit sie in 16bit passen"),
        ("xrdimage", logging.INFO, "(to_short) shift = 1"),
        ("xrdimage", logging.INFO, "# 0 kB für Daten_ushort bereitgestellt"),
    ]


def test_streams_that_the_library_leaves_open_are_closed(lab6: Path) -> None:
    samples_of(10, 10).tofile("a.raw")
    Path("a.sfrm").write_bytes(bytes(9000))
    mar_ccd_file(samples_of(3, 3))
    Path("b.mccd").write_bytes(b"short")
    descriptors = len(os.listdir("/proc/self/fd"))
    for _ in range(20):
        classic.read_raw("a.raw", (10, 10))
        classic.read_saint("a.sfrm", (4, 4))
        classic.new_read_pck(lab6)
        with pytest.raises(FrameError):
            classic.read_mar_ccd("b.mccd")
    assert len(os.listdir("/proc/self/fd")) == descriptors


def test_lack_of_memory_is_a_memory_error() -> None:
    script = """
import resource, numpy as np
from xrdimage import classic
image = np.zeros((4096, 4096), np.uint32)
with open("a.mar2300", "wb") as file:
    file.write(np.array([1234, 4500, 0, 1, 0, 0, 0, 0, 0, 0], np.int32).tobytes())
size = int(open("/proc/self/statm").read().split()[0]) * resource.getpagesize()
resource.setrlimit(resource.RLIMIT_AS, (size + (50 << 20), size + (50 << 20)))
calls = {
    "new_read_pck": lambda: classic.new_read_pck("a.mar2300"),
    "init_gauss": lambda: classic.init_gauss(4096, 4096, 1, 1),
    "falte_gauss": lambda: classic.falte_gauss(image, 1, 1),
    "binning": lambda: classic.binning(image, 2),
    "int_getpck": lambda: classic.int_getpck("a.mar2300", open("a.mar2300", "rb"), 4096, 4096),
}
for name, call in calls.items():
    try:
        call()
    except MemoryError:
        continue
    raise SystemExit(name)
"""
    environment = {**os.environ, "OPENBLAS_NUM_THREADS": "1"}
    subprocess.run([sys.executable, "-c", script], check=True, env=environment)


def test_smoothing_leaves_no_kernel_behind() -> None:
    image = np.zeros((512, 512), np.uint32)
    classic.falte_gauss(image, 2, 2)
    before = int(Path("/proc/self/statm").read_text().split()[1])
    for _ in range(40):
        classic.falte_gauss(image, 2, 2)
    grown = int(Path("/proc/self/statm").read_text().split()[1]) - before
    assert grown * os.sysconf("SC_PAGE_SIZE") < 20 << 20  # all kernels are 84 MB


def test_handlers_of_the_log_that_raise_leave_no_image_behind() -> None:
    script = """
import logging, resource
import numpy as np
from xrdimage import classic
class Raising(logging.Handler):
    def emit(self, record):
        raise KeyboardInterrupt
logging.getLogger("xrdimage").addHandler(Raising())
logging.getLogger("xrdimage").setLevel(logging.INFO)
pixels = np.ones((512, 512), np.uint32)
np.ones(2**20, np.uint16).tofile("frame.raw")
def most_after(call, times):
    for _ in range(times):
        try:
            call()
            raise AssertionError("the handler has not been called")
        except KeyboardInterrupt:
            pass
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
for call in (lambda: classic.read_raw("frame.raw", (1024, 1024)), lambda: classic.to_short(pixels, 100)):
    before = most_after(call, 5)
    assert most_after(call, 100) - before < 16 * 1024  # all images are 400 MB and 50 MB
"""
    subprocess.run([sys.executable, "-c", script], check=True)


def test_steering_names_of_streams_are_shown_without_it() -> None:
    with pytest.raises(ValueError, match=r"there is no stream for \?MODPIX\?$"):
        classic.fileclose("\x1bMODPIX\u202e")
