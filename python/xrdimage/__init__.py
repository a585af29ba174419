"""Two-dimensional X-ray diffraction frames for NumPy.

`load` reads a frame of any format with its true counts; `save` writes one. `xrdimage.classic` has the functions of the
flat C library with exactly their results.

>>> import xrdimage
>>> xrdimage.sample("frame.mar2300", size=600)
>>> frame = xrdimage.load("frame.mar2300")
>>> frame.counts.shape, frame.counts.dtype, frame.header.distance_mm
((600, 600), dtype('uint32'), 120.0)
>>> xrdimage.save("frame.edf", frame)

Messages of the C library go to the logger "xrdimage" of Python's `logging`; its errors are exceptions.
"""

from __future__ import annotations

import os
import re
import stat
import warnings
from dataclasses import asdict, dataclass, field
from typing import Any, Optional, Tuple, Union

import numpy as np
import numpy.typing as npt

from . import _checks, _core, classic
from ._checks import Path
from ._core import FrameError, readable_formats, writable_formats
from ._core import version as __version__

__all__ = [
    "Frame",
    "FrameError",
    "FrameWarning",
    "Header",
    "__version__",
    "classic",
    "load",
    "readable_formats",
    "sample",
    "save",
    "writable_formats",
]


class FrameWarning(UserWarning):
    """A frame was written, but some of its content was lost."""


@dataclass(frozen=True)
class Header:
    """The header of a frame, with the names of `xrdimage info --json`; None for values that it lacks.

    >>> Header(distance_mm=120.0).wavelength_angstrom is None
    True
    """

    format: str = "raw"
    """One of `readable_formats`."""
    wavelength_angstrom: Optional[float] = None
    distance_mm: Optional[float] = None
    """From the crystal to the detector."""
    oscillation_start_degrees: Optional[float] = None
    oscillation_range_degrees: Optional[float] = None
    exposure_seconds: Optional[float] = None
    pixel_width_mm: Optional[float] = None
    pixel_height_mm: Optional[float] = None
    beam_x_pixels: Optional[float] = None
    """The beam's centre: columns from the left edge of the first pixel."""
    beam_y_pixels: Optional[float] = None
    """Rows from the upper edge of the first pixel."""
    saturation_counts: Optional[float] = None
    """The largest count that the detector can measure."""
    date: Optional[str] = None
    detector: Optional[str] = None
    notes: Tuple[str, ...] = field(default=())
    """What you should know: a guessed size, data that end early (with `force`)."""


@dataclass(eq=False)
class Frame:
    """A frame, as `load` returns it. The pixel in row y and column x is `counts[y, x]`.

    >>> frame = Frame(np.array([[1, 2], [3, 4]], np.uint32))
    >>> frame.mask.any(), frame.header.format
    (False, 'raw')
    """

    counts: npt.NDArray[Any]
    """uint32, or int32 if the counts of the file have a sign."""
    mask: npt.NDArray[np.bool_] = None  # type: ignore[assignment]
    """True where the pixel overflowed and its count is unknown."""
    header: Header = field(default_factory=Header)

    def __post_init__(self) -> None:
        if self.mask is None:
            self.mask = np.zeros(np.shape(self.counts), np.bool_)


# Options of the program that messages name, and their names here.
_OPTIONS = {
    "--size WxH": "size=(width, height)",
    "--bits 32": "bits=32",
    "--depth": "depth",
    "--format": "format",
}
_OPTION = re.compile("|".join(_OPTIONS))


def _in_python(message: str) -> str:
    return _OPTION.sub(lambda match: _OPTIONS[match.group()], message)


def load(
    path: Path,
    *,
    format: Optional[str] = None,
    size: Optional[Tuple[int, int]] = None,
    depth: Optional[int] = None,
    big_endian: bool = False,
    skip: int = 0,
    force: bool = False,
) -> Frame:
    """Reads a frame. The file may be compressed with gzip or bzip2. Its content decides the format.

    The array of counts owns the memory that the library filled: nothing is copied.

    format: read the file as this one of the `readable_formats`.
    size: (width, height) of raw frames, and of EDF frames without dimensions; default: guessed from a raw file's
      length.
    depth, big_endian, skip: bits per raw pixel (8, 16 or 32, default: 16), high byte first, bytes to skip before the
      pixels.
    force: read as much as possible of a damaged frame; `header.notes` says what is wrong.

    Raises OSError if the file cannot be read, and FrameError (a ValueError) if it is no frame or is damaged.

    >>> np.arange(6, dtype="<u2").tofile("counts.raw")
    >>> load("counts.raw", size=(3, 2)).counts
    array([[0, 1, 2],
           [3, 4, 5]], dtype=uint32)
    >>> load("counts.raw", size=(3, 3))
    Traceback (most recent call last):
    xrdimage.FrameError: counts.raw: is truncated: has 6 of 9 pixels
    """
    name = _checks.readable(path)
    shown = _core.printable(name)
    if not stat.S_ISREG(os.stat(path).st_mode):
        raise FrameError(f"{shown}: is not a regular file")
    if skip < 0:
        raise ValueError("skip is negative")
    try:
        counts, mask, fields, found, notes = _core.load(
            name, format, _checks.size(size), depth, big_endian, skip, force
        )
    except FrameError as error:
        raise FrameError(f"{shown}: {_in_python(str(error))}") from None
    return Frame(counts, mask, Header(format=found, notes=tuple(map(_in_python, notes)), **fields))


def _bits_of(counts: npt.NDArray[Any]) -> npt.NDArray[np.uint32]:
    if counts.dtype.kind == "u":
        return np.ascontiguousarray(counts, np.uint32)
    return np.ascontiguousarray(counts, np.int32).view(np.uint32)


def save(
    path: Path,
    frame: Union[Frame, npt.ArrayLike],
    *,
    format: Optional[str] = None,
    bits: Optional[int] = None,
    header: Optional[Header] = None,
) -> None:
    """Writes a frame, or an array of integers of up to 32 bits, as `xrdimage convert` does.

    The file gets its name only when it is complete; until then an existing file of that name stays as it is.

    format: one of the `writable_formats`; default: decided by the ending of the name.
    bits: 16 or 32 per pixel, if the format has both.
    header: replaces the frame's own. Values that the format has no place for are left out.

    Warns (FrameWarning) if counts do not fit the format or are unknown, and says what was written instead. Raises
    OSError if the file cannot be written, FrameError (a ValueError) if the format cannot hold the frame, and TypeError
    for arrays of other types.

    >>> save("new.tif", np.array([[1, 2], [3, 70000]]), header=Header(distance_mm=100.0))
    Traceback (most recent call last):
    TypeError: counts must be integers of up to 32 bits, not int64
    >>> save("new.edf", np.array([[1, 2], [3, 70000]], np.uint32), header=Header(distance_mm=100.0))
    >>> load("new.edf").counts[1, 1], load("new.edf").header.distance_mm
    (70000, 100.0)
    """
    name = _checks.path(path)
    shown = _core.printable(name)
    if not isinstance(frame, Frame):
        frame = Frame(np.asarray(frame))
    counts = np.asarray(frame.counts)
    if counts.dtype.kind not in "iu" or counts.dtype.itemsize > 4:
        raise TypeError(f"counts must be integers of up to 32 bits, not {counts.dtype}")
    mask = np.asarray(frame.mask)
    if mask.dtype != np.bool_:
        raise TypeError(f"the mask must be of bool, not {mask.dtype}")
    if bits not in (None, 16, 32):
        raise ValueError(f"bits must be 16 or 32, not {bits}")
    if format is None:
        format = os.path.splitext(shown)[1][1:].lower()
        if not any(format in endings for endings in _core.written_endings.values()):
            usual = ", ".join("." + endings[0] for endings in _core.written_endings.values())
            raise ValueError(f"{shown}: the name must end in one of {usual}, or state format=")
    fields = asdict(frame.header if header is None else header)
    try:
        remarks = _core.save(
            name, _bits_of(counts), counts.dtype.kind == "i", np.ascontiguousarray(mask), format, bits, fields
        )
    except FrameError as error:
        raise FrameError(f"{shown}: {_in_python(str(error))}") from None
    for remark in remarks:
        warnings.warn(f"{shown}: {_in_python(remark)}", FrameWarning, stacklevel=2)


def sample(path: Path, *, size: int = 2300, seed: int = 1) -> None:
    """Writes a synthetic mar345 frame of size x size pixels (64 to 4096), as `xrdimage sample` does: powder rings of
    lanthanum hexaboride and crystal spots, at 1.54179 ångström and 120 mm. The same seed gives the same frame.

    >>> sample("synthetic.mar2300", size=64, seed=7)
    >>> load("synthetic.mar2300").counts.shape
    (64, 64)
    """
    if seed < 0 or seed >= 2**64:
        raise ValueError("seed must be from 0 to 18446744073709551615")
    _core.sample(_checks.path(path), _checks.integer(size, "size"), seed)
