"""The package where Python's program has set a locale with a decimal comma."""

from __future__ import annotations

import errno
import locale
import logging
import os
import shutil
import subprocess
from pathlib import Path
from typing import Iterator

import numpy as np
import pytest

import xrdimage
from xrdimage import classic

ADSC = (
    "{\nHEADER_BYTES=512;\nDIM=2;\nBYTE_ORDER=little_endian;\nTYPE=unsigned_short;\nSIZE1=2;\nSIZE2=1;\n"
    "WAVELENGTH=0.0251;\nDISTANCE=120.25;\nOSC_START=1.125;\nOSC_RANGE=.5;\nTIME=0.75;\nPIXEL_SIZE=0.1024;\n}\n"
)


@pytest.fixture(autouse=True)
def german(monkeypatch: pytest.MonkeyPatch) -> Iterator[str]:
    """Sets the process' locale, which must be what it was afterwards."""
    before = locale.setlocale(locale.LC_ALL)
    monkeypatch.setenv("LOCPATH", os.environ["XRDIMAGE_LOCALES"])
    name = locale.setlocale(locale.LC_ALL, "de_DE.UTF-8")
    assert locale.str(0.5) == "0,5"
    yield name
    assert locale.str(0.5) == "0,5"
    assert locale.setlocale(locale.LC_ALL) == name
    locale.setlocale(locale.LC_ALL, before)


def test_flat_readers(caplog: pytest.LogCaptureFixture) -> None:
    caplog.set_level(logging.INFO)
    Path("a.img").write_bytes(ADSC.encode() + bytes(4))
    frame = classic.read_bnl("a.img")
    assert (frame.wavelength, frame.distance, frame.osc_start) == (0.0251, 120.25, 1.125)
    assert (frame.osc_range, frame.time) == (0.5, 0.75)
    assert "# Lambda=0.0251, Axis= start=1.125, end=0.500, time=0.75" in caplog.messages


def test_flat_header_of_image_plates() -> None:
    xrdimage.sample("a.mar2300", size=64)
    header, _ = classic.read_marheader("a.mar2300")
    assert (header.wavelength, header.distance) == (1.54179, 120.0)
    lines = classic.print_marheader(header._replace(gain=1.5)).splitlines()
    assert "Mult 0 Gain 1.5" in lines
    assert "Lambda 1.54179 Distance 120 Resolution 0" in lines


@pytest.mark.parametrize("name", ["a.edf", "a.img", "a.mar", "a.tif"])
def test_saved_frames(name: str, german: str) -> None:
    counts = np.arange(64 * 64, dtype=np.uint32).reshape(64, 64)
    header = xrdimage.Header(wavelength_angstrom=0.0251, distance_mm=120.25)
    xrdimage.save(name, counts, header=header)
    written = Path(name).read_bytes()
    assert (xrdimage.load(name).counts == counts).all()
    locale.setlocale(locale.LC_ALL, "C")
    xrdimage.save(name, counts, header=header)
    locale.setlocale(locale.LC_ALL, german)
    assert Path(name).read_bytes() == written
    if name != "a.tif":
        assert xrdimage.load(name).header.wavelength_angstrom == 0.0251


def test_loaded_headers() -> None:
    Path("a.img").write_bytes(ADSC.encode().ljust(512) + bytes(4))
    header = xrdimage.load("a.img").header
    assert (header.wavelength_angstrom, header.distance_mm, header.exposure_seconds) == (0.0251, 120.25, 0.75)


def test_errors_of_the_system_speak_as_pythons_own_do() -> None:
    for call in (lambda: classic.read_raw("absent"), lambda: xrdimage.save("absent/a.edf", np.ones((2, 2), np.uint32))):
        with pytest.raises(FileNotFoundError) as caught:
            call()
        assert caught.value.errno == errno.ENOENT
        assert caught.value.strerror == os.strerror(errno.ENOENT)


def test_errors_in_other_character_sets() -> None:
    # The German text for a program that runs has umlauts, here of one byte.
    shutil.copy("/bin/sleep", "busy")
    locale.setlocale(locale.LC_ALL, "de_DE.ISO-8859-1")
    with subprocess.Popen(["./busy", "60"]) as busy:
        try:
            with pytest.raises(OSError) as caught:
                classic.edf32_write("busy", np.ones((2, 2), np.uint32))
        finally:
            busy.kill()
    assert caught.value.errno == errno.ETXTBSY
    assert "ausgef\u00fchrt" in caught.value.strerror
    locale.setlocale(locale.LC_ALL, "de_DE.UTF-8")
