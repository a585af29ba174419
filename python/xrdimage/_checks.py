"""What is looked at before anything goes to the library, so that nothing that Python's users pass can harm it."""

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
    """The path as the system knows it."""
    encoded = os.fsencode(name)
    if b"\0" in encoded:
        raise ValueError("embedded null byte")
    return encoded


def readable(name: Path) -> bytes:
    """The path of a file that can be opened; OSError otherwise."""
    encoded = path(name)
    mode = os.stat(name).st_mode
    if stat.S_ISDIR(mode):
        raise IsADirectoryError(errno.EISDIR, os.strerror(errno.EISDIR), name)
    if stat.S_ISREG(mode):
        with open(name, "rb"):
            pass
    return encoded


def integer(value: SupportsIndex, name: str, bits: int = 32) -> int:
    """The value as an integer of so many bits, with a sign."""
    number = operator.index(value)
    if not -(2 ** (bits - 1)) <= number < 2 ** (bits - 1):
        raise ValueError(f"{name} does not fit {bits} bits: {number}")
    return number


def real(value: float, name: str) -> float:
    if not isinstance(value, numbers.Real):
        raise TypeError(f"{name} is a number, not {type(value).__name__}")
    return float(value)


def size(value: Optional[Tuple[int, int]]) -> Optional[Tuple[int, int]]:
    if value is None:
        return None
    width, height = value
    return integer(width, "width"), integer(height, "height")


def array(values: Any, dtype: npt.DTypeLike, dimensions: Optional[int] = None) -> npt.NDArray[Any]:
    """The values row by row, copied only when they are not; TypeError for those of another type."""
    array = np.asarray(values)
    if array.dtype != dtype:
        raise TypeError(f"an array of {np.dtype(dtype)} is needed, not of {array.dtype}")
    if dimensions is not None and array.ndim != dimensions:
        raise ValueError(f"an array of {dimensions} dimensions is needed, not of {array.ndim}")
    return np.require(array, requirements=["C", "A"])


def image(values: Any, dtype: npt.DTypeLike = np.uint32) -> npt.NDArray[Any]:
    return array(values, dtype, 2)


def writable(values: Any, dtype: Optional[npt.DTypeLike] = None, dimensions: Optional[int] = None) -> npt.NDArray[Any]:
    """The array itself, when it can be worked on in place."""
    if not isinstance(values, np.ndarray):
        raise TypeError(f"a NumPy array is needed, not {type(values).__name__}")
    checked = array(values, values.dtype if dtype is None else dtype, dimensions)
    if values.dtype.hasobject:
        raise TypeError("an array of numbers is needed, not of objects")
    if checked is not values and not np.shares_memory(checked, values) or not values.flags.c_contiguous:
        raise ValueError("the array is not contiguous, so that it cannot be worked on in place")
    if not values.flags.writeable:
        raise ValueError("the array is read-only, so that it cannot be worked on in place")
    return values


def writable_image(values: Any, dtype: npt.DTypeLike = np.uint32) -> npt.NDArray[Any]:
    return writable(values, dtype, 2)


class Stream:
    """Hands the descriptor of an open binary file to the library, and takes the position that it leaves there.

    Python's file has a buffer of its own: first what is read ahead is given back, and what is to be written is written.
    """

    def __init__(self, file: IO[bytes], writing: bool = False) -> None:
        if isinstance(file, io.TextIOBase):
            raise TypeError("a file that is opened as binary is needed")
        try:
            self.descriptor = file.fileno()
        except (AttributeError, io.UnsupportedOperation):
            raise TypeError("a file with a descriptor is needed, as open() gives it") from None
        if self.descriptor < 0:
            raise ValueError(f"a descriptor cannot be {self.descriptor}")
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
            # Where the file believes itself to be, without which it would go on from the wrong place.
            os.lseek(self.descriptor, self.raw_position, os.SEEK_SET)
            self.file.seek(position)
