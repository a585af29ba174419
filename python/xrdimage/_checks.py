"""Checks of all arguments before they go to the library, so that no call from Python can harm it."""

from __future__ import annotations

import errno
import io
import numbers
import operator
import os
import stat
from types import TracebackType
from typing import IO, Any, Optional, SupportsIndex, Tuple, Type, Union

import numpy as np
import numpy.typing as npt

Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]


def path(name: Path) -> bytes:
    """The path in the system's encoding."""
    encoded = os.fsencode(name)
    if b"\0" in encoded:
        raise ValueError("embedded null byte")
    return encoded


def readable(name: Path) -> bytes:
    """The path, if its file can be opened; OSError otherwise."""
    encoded = path(name)
    mode = os.stat(name).st_mode
    if stat.S_ISDIR(mode):
        raise IsADirectoryError(errno.EISDIR, os.strerror(errno.EISDIR), name)
    if stat.S_ISREG(mode):
        with open(name, "rb"):
            pass
    return encoded


def integer(value: SupportsIndex, name: str, bits: int = 32) -> int:
    """The value as a signed integer of so many bits."""
    number = operator.index(value)
    if not -(2 ** (bits - 1)) <= number < 2 ** (bits - 1):
        raise ValueError(f"{name} does not fit {bits} bits: {number}")
    return number


def real(value: float, name: str) -> float:
    if not isinstance(value, numbers.Real):
        raise TypeError(f"{name} must be a number, not {type(value).__name__}")
    return float(value)


def size(value: Optional[Tuple[int, int]]) -> Optional[Tuple[int, int]]:
    if value is None:
        return None
    width, height = value
    return integer(width, "width"), integer(height, "height")


def array(values: Any, dtype: npt.DTypeLike, dimensions: Optional[int] = None) -> npt.NDArray[Any]:
    """The values row by row, copied only if they are in another order; TypeError for another type."""
    array = np.asarray(values)
    if array.dtype != dtype:
        raise TypeError(f"the array must be of {np.dtype(dtype)}, not of {array.dtype}")
    if dimensions is not None and array.ndim != dimensions:
        raise ValueError(f"the array must have {dimensions} dimensions, not {array.ndim}")
    return np.require(array, requirements=["C", "A"])


def image(values: Any, dtype: npt.DTypeLike = np.uint32) -> npt.NDArray[Any]:
    return array(values, dtype, 2)


def writable(values: Any, dtype: Optional[npt.DTypeLike] = None, dimensions: Optional[int] = None) -> npt.NDArray[Any]:
    """The array itself, if it can be changed in place."""
    if not isinstance(values, np.ndarray):
        raise TypeError(f"the argument must be a NumPy array, not {type(values).__name__}")
    checked = array(values, values.dtype if dtype is None else dtype, dimensions)
    if values.dtype.hasobject:
        raise TypeError("the array must be of numbers, not of objects")
    if checked is not values and not np.shares_memory(checked, values) or not values.flags.c_contiguous:
        raise ValueError("the array must be contiguous to be changed in place")
    if not values.flags.writeable:
        raise ValueError("the array must be writable to be changed in place")
    return values


def writable_image(values: Any, dtype: npt.DTypeLike = np.uint32) -> npt.NDArray[Any]:
    return writable(values, dtype, 2)


class Stream:
    """Hands the descriptor of an open binary file to the library, and takes over the position that the library leaves.

    Python's file has its own buffer: bytes read ahead are given back first, and pending bytes are written.
    """

    def __init__(self, file: IO[bytes], writing: bool = False) -> None:
        if isinstance(file, io.TextIOBase):
            raise TypeError("the file must be opened in binary mode")
        try:
            self.descriptor = file.fileno()
        except (AttributeError, io.UnsupportedOperation):
            raise TypeError("the file must have a descriptor, as one from open()") from None
        if self.descriptor < 0:
            raise ValueError(f"invalid descriptor {self.descriptor}")
        self.file = file
        self.writing = writing

    def __enter__(self) -> int:
        if self.writing:
            self.file.flush()
        self.seekable = self.file.seekable()
        if self.seekable:
            position = self.file.tell()
            self.raw_position = os.lseek(self.descriptor, 0, os.SEEK_CUR)
            os.lseek(self.descriptor, position, os.SEEK_SET)
        return self.descriptor

    def __exit__(
        self, kind: Optional[Type[BaseException]], error: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        if self.seekable:
            position = os.lseek(self.descriptor, 0, os.SEEK_CUR)
            # The position that the file expects; otherwise it would go on from the wrong place.
            os.lseek(self.descriptor, self.raw_position, os.SEEK_SET)
            self.file.seek(position)
