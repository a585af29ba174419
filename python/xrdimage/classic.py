"""The functions of the flat C library on NumPy arrays, with exactly their results.

`xrdimage.load` gives true counts. These functions return what the C functions of the same names return, quirks
included; `include/xrdimage.h` describes each. The calls differ from C:

- An image is an array of shape (height, width), row by row. `Daten`, the 32-bit pixels, are uint32. 16-bit pixels are
  uint16, or int16 for packed images. An array of another type is a TypeError: convert it with `astype` first.
- Results are returned in new arrays that own the memory which the library allocated. Functions that work "in place"
  change a writable, contiguous array; all others leave their arguments unchanged.
- `size` is (width, height), for frames whose files do not state it. C functions that ask for the size on standard input
  get this answer, or by default the one that the question offers.
- `stream` is an open binary file with a descriptor, as `open(path, "rb")` returns it. Reading and writing begin at its
  position and leave it behind the last byte used. Only `fileclose` closes it. Open a pipe with `buffering=0`, because
  bytes that Python has read ahead from a pipe cannot be given back.
- A file that cannot be opened is an OSError. An ERROR that the C function prints is a FrameError (a ValueError) with
  its text. A lack of memory is a MemoryError, also where the C function ends the process. Other lines and libtiff's
  messages go to the logger "xrdimage" of `logging`, at INFO, or at WARNING for warnings. In all of these, "?" replaces
  characters of names and headers that would steer a terminal.
- Other Python threads go on during a call.

libtiff maps files into memory: if a TIFF or MarCCD file shrinks while it is read, the process ends.
"""

from __future__ import annotations

import contextlib
import enum
from typing import IO, Any, NamedTuple, Optional, Sequence, SupportsIndex, Tuple

import numpy as np
import numpy.typing as npt

from . import _checks, _core
from ._checks import Path, Stream, array, image, integer, readable, real, size as _size, writable, writable_image

Image = npt.NDArray[np.uint32]
ShortImage = npt.NDArray[np.uint16]
SignedImage = npt.NDArray[np.int16]
Integers = npt.NDArray[np.int32]
Reals = npt.NDArray[np.float64]
Size = Optional[Tuple[int, int]]

OVERFLOW_MARK = 256001
"""The pixel value that readers store where the true value is unknown because the pixel overflowed."""

# ----------------------------------------------------------------------------------------------------------------------
# Records
# ----------------------------------------------------------------------------------------------------------------------


class ImageType(enum.IntEnum):
    """What `get_image_type` returns.

    >>> ImageType(8)
    <ImageType.EDF: 8>
    """

    UNKNOWN = 0
    TRA = 1
    XI = 2
    PCK = 3
    MAR2300 = 4
    IMG = 6
    IFF = 7
    EDF = 8
    TIFF = 9
    RAW = 10
    MAR2000 = 12


class ImageInfo(NamedTuple):
    """Summary of a frame's header: degrees, millimetres, angstrom, seconds. Readers set some of the fields."""

    overflow_count: int
    start_angle: float
    reserved_angle: float
    distance: float
    oscillation_range: float
    wavelength: float
    exposure_time: float
    minimum: int
    maximum: int
    average: float
    file_name: str


class Mar345Header(NamedTuple):
    """The text header of a mar345 file. `read_marheader` fills some of the fields, `print_marheader` prints all.

    >>> Mar345Header(distance=120.0).distance
    120.0
    """

    program: str = ""
    date: str = ""
    format: str = ""
    high: int = 0
    pixel_length: int = 0
    pixel_height: int = 0
    roff: int = 0
    toff: int = 0
    gap: Tuple[int, ...] = (0, 0, 0, 0, 0, 0, 0, 0)
    adc_a: int = 0
    adc_b: int = 0
    add_a: int = 0
    add_b: int = 0
    multiplier: float = 0.0
    gain: float = 0.0
    wavelength: float = 0.0
    distance: float = 0.0
    resolution: float = 0.0
    phi_start: float = 0.0
    phi_end: float = 0.0
    phi_osc: float = 0.0
    omega_start: float = 0.0
    omega_end: float = 0.0
    omega_osc: float = 0.0
    chi: float = 0.0
    twotheta: float = 0.0
    center_x: float = 0.0
    center_y: float = 0.0
    mode: str = ""
    time: float = 0.0
    counts_start: int = 0
    counts_end: int = 0
    nmeas: int = 0
    intensity_min: float = 0.0
    intensity_max: float = 0.0
    intensity_avg: float = 0.0
    intensity_sig: float = 0.0
    int_start: int = 0
    int_end: int = 0
    int_mean: float = 0.0
    int_sig: float = 0.0
    histogram: Tuple[int, ...] = (0, 0, 0)
    kv: float = 0.0
    ma: float = 0.0
    source: str = ""
    collimator_width: float = 0.0
    collimator_height: float = 0.0
    slit1_x: float = 0.0
    slit1_y: float = 0.0
    slit2_x: float = 0.0
    slit2_y: float = 0.0
    beamstop: float = 0.0
    xtal: float = 0.0
    trans1: float = 0.0
    trans2: float = 0.0


class BnlFrame(NamedTuple):
    """What `read_bnl` returns; -1.0 for values that the header lacks."""

    image: Image
    distance: float
    wavelength: float
    osc_start: float
    osc_range: float
    time: float


class EdfHeader(NamedTuple):
    """None for what is missing."""

    width: Optional[int]
    height: Optional[int]
    bits: Optional[int]


class EdfFrame(NamedTuple):
    image: Image
    bits: int


class SaintHeader(NamedTuple):
    """None for what is missing."""

    ncols: Optional[int]
    nrows: Optional[int]


class MarCcdFrame(NamedTuple):
    image: Image
    overflows: int
    distance: float


class Mar345Head(NamedTuple):
    """What the first ten words of a mar345 file state."""

    new_layout: bool
    size: int
    swapped: bool
    overflow_count: int


class MergedImage(NamedTuple):
    """An image with its overflow records, and the last record: position and value."""

    image: Integers
    record: Tuple[int, int]


class Extremes(NamedTuple):
    max: int
    min: int


class BinnedImage(NamedTuple):
    image: Image
    largest: int


# ----------------------------------------------------------------------------------------------------------------------
# Format detection and readers
# ----------------------------------------------------------------------------------------------------------------------


def get_image_type(path: Path) -> ImageType:
    """The kind of image in the file, by its name and by the output of the command `file`. The file need not exist.

    The type is UNKNOWN if neither shows it.

    >>> get_image_type("lab6.mar2300")
    <ImageType.MAR2300: 4>
    """
    return ImageType(_core.get_image_type(_checks.path(path)))


def read_raw(path: Path, size: Size = None) -> Image:
    """Reads a headerless file of unsigned 16-bit little-endian pixels; 1200 x 1200 without a size.

    >>> np.array([1, 2, 3, 65535], "<u2").tofile("pixels.raw")
    >>> read_raw("pixels.raw", (2, 3))
    array([[    1,     2],
           [    3, 65535],
           [    0,     0]], dtype=uint32)
    """
    return _core.read_raw(readable(path), _size(size))


def read_bnl(path: Path, size: Size = None) -> BnlFrame:
    """Reads a CCD frame with an ADSC-style header. The first half of the image holds the samples side by side, two to a
    pixel; the bytes of every second one are exchanged unless the header says BYTE_ORDER=big_endian. `size` replaces a
    missing SIZE1 or SIZE2.

    >>> with open("frame.img", "wb") as file:
    ...     written = file.write(b"{\\nSIZE1=2;\\nSIZE2=1;\\nDISTANCE=80.0;\\n}\\n\\x01\\x02\\x03\\x04")
    >>> read_bnl("frame.img").image, read_bnl("frame.img").distance
    (array([[67305730,        0]], dtype=uint32), 80.0)
    """
    return BnlFrame(*_core.read_bnl(readable(path), _size(size)))


def read_edf_header(stream: IO[bytes], bits: int = -1) -> EdfHeader:
    """Reads an EDF header up to its closing brace. If BitsPerSample is missing, `bits` other than -1 replaces it,
    before the data type does.

    >>> edf32_write("frame.edf", np.zeros((2, 3), np.uint32))
    >>> with open("frame.edf", "rb") as stream:
    ...     read_edf_header(stream)
    EdfHeader(width=3, height=2, bits=32)
    """
    with Stream(stream) as descriptor:
        return EdfHeader(*_core.read_edf_header(descriptor, integer(bits, "bits")))


def read_edf(path: Path, bits: int = -1, size: Size = None) -> EdfFrame:
    """Reads an EDF frame. Samples are packed from the image's first byte on as they stand in the file. `bits` -1 means
    those of the header. `size` replaces a missing Dim_1 and Dim_2; default: 1242 x 1152.

    >>> edf32_write("frame.edf", np.array([[1, 2], [3, 70000]], np.uint32))
    >>> read_edf("frame.edf")
    EdfFrame(image=array([[    1,     2],
           [    3, 70000]], dtype=uint32), bits=32)
    """
    return EdfFrame(*_core.read_edf(readable(path), integer(bits, "bits"), _size(size)))


def edf16_write(path: Path, data: Image) -> None:
    """Writes an EDF file that declares unsigned 16-bit pixels, and has four bytes per pixel.

    >>> edf16_write("frame.edf", np.array([[1, 2]], np.uint32))
    >>> read_edf("frame.edf").bits
    16
    """
    _core.edf16_write(_checks.path(path), image(data))


def edf32_write(path: Path, data: Image) -> None:
    """Writes an EDF file of unsigned 32-bit pixels. Dimensions above 32767 are stated as negative numbers.

    >>> edf32_write("frame.edf", np.array([[1, 2]], np.uint32))
    >>> read_edf("frame.edf").bits
    32
    """
    _core.edf32_write(_checks.path(path), image(data))


def read_saint_header(stream: IO[bytes]) -> SaintHeader:
    """Reads the header of a SAINT frame; the stream is left behind its 96 records of 80 bytes.

    >>> with open("frame.sfrm", "w+b") as stream:
    ...     written = stream.write(b"NCOLS  : 3".ljust(80) + b"NROWS  : 2".ljust(80) + b" " * 94 * 80)
    ...     start = stream.seek(0)
    ...     read_saint_header(stream), stream.tell()
    (SaintHeader(ncols=3, nrows=2), 7680)
    """
    with Stream(stream) as descriptor:
        return SaintHeader(*_core.read_saint_header(descriptor))


def read_saint(path: Path, size: Size = None) -> Image:
    """Reads a SAINT frame of unsigned 16-bit pixels. `size` replaces a missing NCOLS or NROWS.

    >>> with open("frame.sfrm", "wb") as file:
    ...     written = file.write(b"   ENDING2: 1".ljust(7680) + b"\\x01\\x00\\x02\\x00")
    >>> read_saint("frame.sfrm", (2, 1))
    array([[1, 2]], dtype=uint32)
    """
    return _core.read_saint(readable(path), _size(size))


def read_tiff(path: Path) -> Image:
    """Reads a TIFF image as signed 16-bit samples, sign-extended, whatever the tags say. libtiff's messages go to
    the logger, as warnings.

    >>> import xrdimage
    >>> xrdimage.save("frame.tif", np.array([[1, 40000]], np.uint16), bits=16)
    >>> read_tiff("frame.tif")
    array([[         1, 4294941760]], dtype=uint32)
    """
    return _core.read_tiff(readable(path))


def read_mar_ccd_header(path: Path) -> ImageInfo:
    """Reads the binary header of a MarCCD frame: overflow_count, start_angle, distance, oscillation_range and
    exposure_time (fractions dropped), wavelength, and file_name, where the path is taken as a format string.

    >>> import struct
    >>> with open("frame.mccd", "wb") as file:
    ...     written = file.write(bytes(1720) + struct.pack("<i", 120900) + bytes(4096 - 1724))
    >>> read_mar_ccd_header("frame.mccd").distance
    120.0
    """
    return ImageInfo(**_core.read_mar_ccd_header(readable(path)))


def read_mar_ccd(path: Path, distance: float = -999.0) -> MarCcdFrame:
    """Reads a MarCCD frame. Pixels from 32768 on become OVERFLOW_MARK; `overflows` is their number and the header's. A
    distance of -999.0 is replaced by the header's. libtiff's warnings are left out.

    >>> import xrdimage
    >>> xrdimage.save("frame.tif", np.array([[1, 40000]], np.uint16), bits=16)
    >>> with open("frame.tif", "ab") as file:  # a MarCCD frame is a TIFF file of at least 4096 bytes
    ...     written = file.write(bytes(4096))
    >>> read_mar_ccd("frame.tif", distance=100.0).image
    array([[     1, 256001]], dtype=uint32)
    """
    return MarCcdFrame(*_core.read_mar_ccd(readable(path), real(distance, "distance")))


# ----------------------------------------------------------------------------------------------------------------------
# CCP4 packed images
# ----------------------------------------------------------------------------------------------------------------------


def readpack_word_c(path: Path) -> SignedImage:
    """Decodes the packed image of the file, wherever its header line stands, to an image of the size that it states.
    Without a header line the image has no pixels.

    >>> with open("image.pck", "wb") as stream:
    ...     pack_wordimage_c(np.array([[1, 2], [3, -4]], np.int16), stream)
    >>> readpack_word_c("image.pck")
    array([[ 1,  2],
           [ 3, -4]], dtype=int16)
    """
    return _core.packed_image(readable(path))


def unpack_word(stream: IO[bytes], x: int, y: int) -> SignedImage:
    """Decodes y rows of x pixels from the stream, which stands at the bit stream's first byte. Only the bytes that are
    needed are read, also from pipes.

    >>> with open("image.pck", "w+b") as stream:
    ...     pack_wordimage_c(np.array([[1, 2], [3, 4]], np.int16), stream)
    ...     start = stream.seek(len("\\nCCP4 packed image, X: 0002, Y: 0002\\n"))
    ...     unpack_word(stream, 2, 2)
    array([[1, 2],
           [3, 4]], dtype=int16)
    """
    with Stream(stream) as descriptor:
        return _core.unpack_word(descriptor, integer(x, "x"), integer(y, "y"))


def pack_wordimage_c(img: SignedImage, stream: IO[bytes]) -> None:
    """Writes the image to the stream as header line and bit stream.

    >>> with open("image.pck", "w+b") as stream:
    ...     pack_wordimage_c(np.zeros((2, 3), np.int16), stream)
    ...     start = stream.seek(0)
    ...     stream.read()
    b'\\nCCP4 packed image, X: 0003, Y: 0002\\n\\x02\\x00\\x00'
    """
    with Stream(stream, writing=True) as descriptor:
        _core.pack_wordimage_c(image(img, np.int16), descriptor)


def diff_words(img: SignedImage, done: int = 0) -> Integers:
    """The differences between pixels and predictions from pixel index `done` on, at most 16384.

    >>> diff_words(np.array([[5, 7], [6, 10]], np.int16))
    array([ 5,  2, -1,  4], dtype=int32)
    """
    return _core.diff_words(image(img, np.int16), integer(done, "done"))


def bits(chunk: Integers) -> int:
    """The bits that the differences need as one chunk, without its header.

    >>> bits(np.array([0, 7, -3, 1], np.int32))
    16
    """
    return _core.bits(array(chunk, np.int32))


def pack_chunk(lng: Optional[Integers], bitsize: int, stream: IO[bytes]) -> None:
    """Appends a chunk of differences (their number is a power of two, from 1 to 128) of `bitsize` bits (0, 4, 5, 6, 7,
    8, 16 or 32) to the calling thread's output buffer, which is written to the stream when it fills up. With None:
    writes what the buffer holds and begins afresh.

    >>> with open("chunks", "w+b") as stream:
    ...     pack_chunk(np.array([1, 2], np.int32), 4, stream)
    ...     pack_chunk(None, 0, stream)
    ...     start = stream.seek(0)
    ...     stream.read()
    b'I\\x08'
    """
    chunk = None if lng is None else array(lng, np.int32)
    with Stream(stream, writing=True) as descriptor:
        _core.pack_chunk(chunk, integer(bitsize, "bitsize"), descriptor)


def pack_longs(
    lng: Integers, target: npt.NDArray[np.uint8], position: int = 0, bit: int = 0, *, size: int
) -> Tuple[int, int]:
    """Appends the low `size` bits (1 to 32) of each value to the bytes of `target`, in place, from bit `bit` (0 to 7)
    of the byte at `position` on, lowest bit first. Returns the next free position and bit.

    >>> target = np.zeros(4, np.uint8)
    >>> pack_longs(np.array([1, 2, 3], np.int32), target, size=4)
    (1, 4)
    >>> target
    array([33,  3,  0,  0], dtype=uint8)
    """
    return _core.pack_longs(
        array(lng, np.int32),
        writable(target, np.uint8),
        integer(position, "position", 64),
        integer(bit, "bit"),
        integer(size, "size"),
    )


def read_pck(path: Path) -> Image:
    """Reads a packed file into 1200 x 1200 pixels, whatever it says, with sign extension.

    >>> tomar("image.pck", np.full((1200, 1200), -2, np.int16))
    >>> read_pck("image.pck")[0, 0]
    4294967294
    """
    return _core.read_pck(readable(path))


def tomar(path: Path, img: SignedImage, host_fields: bytes = b"") -> None:
    """Writes a packed file: a header of the image's size and up to 2392 bytes of the caller's own, and the pixels.

    >>> tomar("image.pck", np.array([[1, 2]], np.int16))
    >>> np.fromfile("image.pck", np.int32, 2)
    array([2, 1], dtype=int32)
    """
    _core.tomar(_checks.path(path), image(img, np.int16), bytes(host_fields))


# ----------------------------------------------------------------------------------------------------------------------
# mar345 image plate files
# ----------------------------------------------------------------------------------------------------------------------


def read_marheader(path: Path, header: Mar345Header = Mar345Header()) -> Tuple[Mar345Header, int]:
    """Reads the text header; what is not found keeps the value that `header` has. With it comes how many of the two PHI
    values were read (-1 when the text ends there).

    >>> import xrdimage
    >>> xrdimage.sample("lab6.mar2300", size=64)
    >>> header, phi_values = read_marheader("lab6.mar2300")
    >>> header.program, header.wavelength, phi_values
    ('xrdimage', 1.54179, 2)
    """
    fields, phi_values = _core.read_marheader(readable(path), header._asdict())
    return Mar345Header(**fields), phi_values


def print_marheader(header: Mar345Header) -> str:
    """The twenty lines that the C function prints.

    >>> print_marheader(Mar345Header(program="scan345")).splitlines()[0]
    'Program scan345'
    """
    return _core.print_marheader(header._asdict())


def read_mar_header(path: Path) -> ImageInfo:
    """Reads the text header: start_angle (0, as no OMEGA value is read), distance, oscillation_range, wavelength,
    minimum, maximum, average and file_name, where the path is taken as a format string. What is not found is 0.

    >>> import xrdimage
    >>> xrdimage.sample("lab6.mar2300", size=64)
    >>> read_mar_header("lab6.mar2300").distance
    120.0
    """
    return ImageInfo(**_core.read_mar_header(readable(path)))


def new_read_pck(path: Path) -> Image:
    """Reads a mar345 image, either layout and byte order, with its overflow records. A pixel whose value is 256000 or
    more (older layout: 65356 or more), or negative, becomes OVERFLOW_MARK.

    >>> import xrdimage
    >>> xrdimage.sample("lab6.mar2300", size=64)
    >>> new_read_pck("lab6.mar2300").shape
    (64, 64)
    """
    return _core.new_read_pck(readable(path))


def gethead(stream: IO[bytes]) -> Mar345Head:
    """Reads the ten header words of a mar345 file, and leaves the stream at the first overflow record.

    >>> import xrdimage
    >>> xrdimage.sample("lab6.mar2300", size=64)
    >>> with open("lab6.mar2300", "rb") as stream:
    ...     gethead(stream).size, stream.tell()
    (64, 4096)
    """
    with Stream(stream) as descriptor:
        return Mar345Head(*_core.gethead(descriptor))


def int_getpck(
    path: Path,
    stream: IO[bytes],
    width: int,
    height: int,
    *,
    new_layout: bool = True,
    overflow_count: int = 0,
    swapped: bool = False,
    limit: int = 256000,
) -> MergedImage:
    """Decodes the packed image in the file `path` and merges into it the overflow records of `stream`, another one on
    the same file; values of `limit` and more become -1. The stream is left behind the last record read.

    >>> import xrdimage
    >>> xrdimage.sample("lab6.mar2300", size=64)
    >>> with open("lab6.mar2300", "rb") as stream:
    ...     head = gethead(stream)
    ...     merged = int_getpck("lab6.mar2300", stream, 64, 64, overflow_count=head.overflow_count)
    >>> (merged.image == -1).sum() == (new_read_pck("lab6.mar2300") == OVERFLOW_MARK).sum()
    True
    """
    name = readable(path)
    with Stream(stream) as descriptor:
        return MergedImage(
            *_core.int_getpck(
                name,
                descriptor,
                integer(width, "width"),
                integer(height, "height"),
                bool(new_layout),
                integer(overflow_count, "overflow_count"),
                bool(swapped),
                integer(limit, "limit"),
            )
        )


def readpck(path: Path) -> SignedImage:
    """As readpack_word_c.

    >>> tomar("image.pck", np.array([[1, 2]], np.int16))
    >>> readpck("image.pck")
    array([[1, 2]], dtype=int16)
    """
    return _core.packed_image(readable(path))


def swapword(data: npt.NDArray[Any]) -> None:
    """Reverses the four bytes of each whole 32-bit word of an array of any type, in place.

    >>> words = np.array([1, 256], np.int32)
    >>> swapword(words)
    >>> words
    array([16777216,    65536], dtype=int32)
    """
    _core.swapword(writable(data))


def swapbytes(data: SignedImage) -> None:
    """Exchanges the bytes of each 16-bit word, in place. An old high byte from 0x80 on leaves 0xff above it.

    >>> words = np.array([0x1234, -2], np.int16)
    >>> swapbytes(words)
    >>> [hex(word & 0xFFFF) for word in words]
    ['0x3412', '0xffff']
    """
    _core.swapbytes(writable(data, np.int16))


def packi32(value: int) -> int:
    """The 16-bit code of a value up to 131067, in steps of 1, 2, 4 or 8; -32768 for others.

    >>> packi32(100), packi32(20000), packi32(200000)
    (100, 26384, -32768)
    """
    return _core.packi32(integer(value, "value"))


def unpack_i32(code: int) -> int:
    """The value of a 16-bit code. Not the exact inverse of packi32.

    >>> unpack_i32(100), unpack_i32(26384), unpack_i32(-32768)
    (100, 20000, 131068)
    """
    return _core.unpack_i32(integer(code, "code", 16))


def long_to_char(source: Integers) -> bytes:
    """The text in the low bytes of the elements, up to the first element that is 0, which there must be.

    >>> long_to_char(np.array([88, 68, 83, 0, 88], np.int32))
    b'XDS'
    """
    return _core.long_to_char(array(source, np.int32, 1))


def rotate_clock1(image: ShortImage) -> None:
    """Turns a square image clockwise by a quarter, in place.

    >>> pixels = np.array([[1, 2], [3, 4]], np.uint16)
    >>> rotate_clock1(pixels)
    >>> pixels
    array([[3, 1],
           [4, 2]], dtype=uint16)
    """
    _core.rotate_clock1(writable_image(image, np.uint16))


# ----------------------------------------------------------------------------------------------------------------------
# XDS correction files
# ----------------------------------------------------------------------------------------------------------------------


def getcorr(stream: IO[bytes]) -> Integers:
    """Reads the 1187 four-byte values of a correction record: int32 here; use `view` for another type.

    >>> np.arange(1187, dtype=np.int32).tofile("ABS.XDS")
    >>> with open("ABS.XDS", "rb") as stream:
    ...     getcorr(stream)[-1]
    1186
    """
    with Stream(stream) as descriptor:
        return _core.getcorr(descriptor)


def getmod(stream: IO[bytes], x: int, y: int) -> Integers:
    """Reads the four-byte values of y rows of x pixels of MODPIX.XDS: int32 here; use `view` for another type.

    >>> np.ones(6, np.float32).tofile("MODPIX.XDS")
    >>> with open("MODPIX.XDS", "rb") as stream:
    ...     getmod(stream, 3, 2).view(np.float32)
    array([[1., 1., 1.],
           [1., 1., 1.]], dtype=float32)
    """
    with Stream(stream) as descriptor:
        return _core.getmod(descriptor, integer(x, "x"), integer(y, "y"))


def _descriptors(streams: Sequence[Optional[IO[bytes]]]) -> Tuple[int, int, int]:
    modpix, bkgpix, other = (-1 if stream is None else Stream(stream).descriptor for stream in streams)
    return modpix, bkgpix, other


def fileclose(
    name: str,
    modpix: Optional[IO[bytes]] = None,
    bkgpix: Optional[IO[bytes]] = None,
    other: Optional[IO[bytes]] = None,
) -> None:
    """Closes `modpix` if the name is exactly "MODPIX.XDS", `bkgpix` if it is "BKGPIX.XDS", `other` for any other name.
    ValueError if that one is None.

    >>> stream = open("MODPIX.XDS", "w+b")
    >>> fileclose("MODPIX.XDS", modpix=stream)
    >>> stream.closed
    True
    """
    streams = (modpix, bkgpix, other)
    encoded = _checks.path(name)
    index = _core.fileclose(encoded, _descriptors(streams))
    selected = streams[index] if index >= 0 else None
    if selected is None:
        raise ValueError(f"there is no stream for {_core.printable(encoded)}")
    selected.close()


def filerewind(
    name: str,
    modpix: Optional[IO[bytes]] = None,
    bkgpix: Optional[IO[bytes]] = None,
    other: Optional[IO[bytes]] = None,
) -> None:
    """Rewinds the stream that `fileclose` would close; for "MODPIX.XDS" `other` as well: callers rely on it.

    >>> with open("BKGPIX.XDS", "w+b") as stream:
    ...     written = stream.write(b"1234")
    ...     filerewind("BKGPIX.XDS", bkgpix=stream)
    ...     stream.read()
    b'1234'
    """
    streams = (modpix, bkgpix, other)
    with contextlib.ExitStack() as stack:
        for stream in streams:
            if stream is not None:
                stack.enter_context(Stream(stream, writing=stream.writable()))
        _core.filerewind(_checks.path(name), _descriptors(streams))


def filedelete() -> int:
    """Removes the file "tmp.image" of the working directory, by the system shell's "/bin/rm". Returns the command's
    wait status, 0 on success.

    >>> open("tmp.image", "wb").close()
    >>> filedelete()
    0
    """
    return _core.filedelete()


# ----------------------------------------------------------------------------------------------------------------------
# Image operations: pixel grid
# ----------------------------------------------------------------------------------------------------------------------


def binning(Daten: Image, factor: int) -> BinnedImage:
    """Sums blocks of factor x factor pixels, wrapping at 32 bits, to an image of even width and height. A block that
    holds OVERFLOW_MARK becomes OVERFLOW_MARK; `largest` is the largest sum, that of marked blocks as it was.

    >>> binning(np.ones((4, 4), np.uint32), 2)
    BinnedImage(image=array([[4, 4],
           [4, 4]], dtype=uint32), largest=4)
    """
    return BinnedImage(*_core.binning(image(Daten), integer(factor, "factor")))


def short_binning(Daten_ushort: ShortImage, factor: int) -> ShortImage:
    """Bins to width / factor x height / factor pixels, each the mean along its block's diagonal, rounded half to even.

    >>> short_binning(np.array([[1, 9], [9, 4]], np.uint16), 2)
    array([[2]], dtype=uint16)
    """
    return _core.short_binning(image(Daten_ushort, np.uint16), integer(factor, "factor"))


def fit_to_new_dimension(Daten: Image, new_width: int, new_height: int) -> Image:
    """Crops the image, or pads it with 0, at its right and bottom.

    >>> fit_to_new_dimension(np.array([[1, 2], [3, 4]], np.uint32), 3, 1)
    array([[1, 2, 0]], dtype=uint32)
    """
    width, height = integer(new_width, "new_width"), integer(new_height, "new_height")
    return _core.fit_to_new_dimension(image(Daten), width, height)


def fit_to_new_dimension_short(Daten_ushort: ShortImage, new_width: int, new_height: int) -> ShortImage:
    """The same for a 16-bit image.

    >>> fit_to_new_dimension_short(np.array([[1, 2], [3, 4]], np.uint16), 1, 3)
    array([[1],
           [3],
           [0]], dtype=uint16)
    """
    width, height = integer(new_width, "new_width"), integer(new_height, "new_height")
    return _core.fit_to_new_dimension_short(image(Daten_ushort, np.uint16), width, height)


# ----------------------------------------------------------------------------------------------------------------------
# Image operations: intensities
# ----------------------------------------------------------------------------------------------------------------------


def find_maximum(Daten: Image) -> Extremes:
    """Largest and smallest pixel. The smallest is at most 999999999, also if there are no pixels.

    >>> find_maximum(np.array([[7, 3]], np.uint32))
    Extremes(max=7, min=3)
    """
    return Extremes(*_core.find_maximum(image(Daten)))


def find_short_maximum(Daten: Image) -> Extremes:
    """The same with 65535 instead of 999999999.

    >>> find_short_maximum(np.array([[70000]], np.uint32))
    Extremes(max=70000, min=65535)
    """
    return Extremes(*_core.find_short_maximum(image(Daten)))


def find_background(Daten: Image) -> int:
    """Background level: the mean of pixels 512 to 521, truncated. ValueError for fewer than 522 pixels.

    >>> find_background(np.full((30, 30), 17, np.uint32))
    17
    """
    return _core.find_background(image(Daten))


def mittle_Daten(Daten: Image, radius: int) -> None:
    """Replaces each pixel, in place, by the mean of a window from `radius` pixels before it to radius - 1 behind it,
    cut at the borders. Later windows see the means already stored.

    >>> pixels = np.array([[0, 8, 8]], np.uint32)
    >>> mittle_Daten(pixels, 1)
    >>> pixels
    array([[0, 4, 6]], dtype=uint32)
    """
    _core.mittle_Daten(writable_image(Daten), integer(radius, "radius"))


def invert_data(Daten: Image) -> None:
    """Replaces each pixel v by 16777215 - v, in place, wrapping at 32 bits.

    >>> pixels = np.array([[0, 5]], np.uint32)
    >>> invert_data(pixels)
    >>> pixels
    array([[16777215, 16777210]], dtype=uint32)
    """
    _core.invert_data(writable_image(Daten))


def logarith_data(Daten: Image, logscale: int, min: int, max: int) -> None:
    """Replaces each pixel p by max * ln((p - min) * logscale / (max - min) + 1) / ln(logscale), in place, truncated.

    >>> pixels = np.array([[0, 9, 99]], np.uint32)
    >>> logarith_data(pixels, 100, 0, 100)
    >>> pixels
    array([[  0,  50, 100]], dtype=uint32)
    """
    _core.logarith_data(
        writable_image(Daten), integer(logscale, "logscale"), integer(min, "min"), integer(max, "max")
    )


def scale_up(Daten: Image) -> None:
    """Multiplies each pixel, in place, by the whole number in 10000 / largest pixel.

    >>> pixels = np.array([[1, 30]], np.uint32)
    >>> scale_up(pixels)
    >>> pixels
    array([[ 333, 9990]], dtype=uint32)
    """
    _core.scale_up(writable_image(Daten))


def scale_up_short(Daten: Image, target: int) -> None:
    """Multiplies each pixel by target / largest pixel, in place, and truncates.

    >>> pixels = np.array([[1, 40]], np.uint32)
    >>> scale_up_short(pixels, 1000)
    >>> pixels
    array([[  25, 1000]], dtype=uint32)
    """
    _core.scale_up_short(writable_image(Daten), integer(target, "target"))


def to_short(Daten: Image, maximum: int) -> ShortImage:
    """The pixels as 16-bit ones, shifted right until `maximum`, the largest of them, fits. Larger pixels wrap.

    >>> to_short(np.array([[1000, 131070]], np.uint32), 131070)
    array([[  500, 65535]], dtype=uint16)
    """
    return _core.to_short(image(Daten), integer(maximum, "maximum"))


# ----------------------------------------------------------------------------------------------------------------------
# Image operations: markers
# ----------------------------------------------------------------------------------------------------------------------


def make_short_box(
    Daten: Image, centre: Sequence[SupportsIndex], box: Sequence[SupportsIndex], divisor: int = 1
) -> None:
    """Draws the outline of a rectangle in place, in the largest pixel divided by `divisor`: around `centre` (column,
    row), `box` pixels to the left, up, to the right and down.

    >>> pixels = np.zeros((4, 4), np.uint32)
    >>> pixels[0, 0] = 9
    >>> make_short_box(pixels, (2, 2), (1, 1, 1, 1))
    >>> pixels
    array([[9, 0, 0, 0],
           [0, 9, 9, 9],
           [0, 9, 0, 9],
           [0, 9, 9, 0]], dtype=uint32)
    """
    column, row = (integer(value, "centre") for value in centre)
    left, up, right, down = (integer(value, "box") for value in box)
    _core.make_short_box(writable_image(Daten), (column, row), (left, up, right, down), integer(divisor, "divisor"))


def make_cross(Daten: Image, x: int, y: int) -> None:
    """Draws a cross at column x and row y in place, in the largest pixel. Its arms are width / 100 pixels long before
    the centre and one less behind it.

    >>> pixels = np.zeros((3, 200), np.uint32)
    >>> pixels[0, 0] = 9
    >>> make_cross(pixels, 100, 1)
    >>> pixels[:, 97:103]
    array([[0, 0, 0, 9, 0, 0],
           [0, 9, 9, 9, 9, 0],
           [0, 0, 0, 9, 0, 0]], dtype=uint32)
    """
    _core.make_cross(writable_image(Daten), integer(x, "x"), integer(y, "y"))


def make_short_cross(Daten: Image, x: int, y: int, divisor: int = 1) -> None:
    """The same with arms of 20 pixels, in the largest pixel divided by `divisor`.

    >>> pixels = np.zeros((60, 60), np.uint32)
    >>> pixels[0, 0] = 9
    >>> make_short_cross(pixels, 30, 30, divisor=3)
    >>> (pixels == 3).sum()
    79
    """
    _core.make_short_cross(writable_image(Daten), integer(x, "x"), integer(y, "y"), integer(divisor, "divisor"))


# ----------------------------------------------------------------------------------------------------------------------
# Image operations: Gaussian smoothing
# ----------------------------------------------------------------------------------------------------------------------


def fill_gauss(x: int, y: int, sigma_x: float, sigma_y: float) -> Reals:
    """The kernel's samples, wrapped around the corners: x rows of y values and two of padding.

    >>> fill_gauss(2, 2, 1.0, 1.0).round(4)
    array([[0.0965, 0.0965, 0.    , 0.    ],
           [0.0965, 0.0965, 0.    , 0.    ]])
    """
    return _core.fill_gauss(integer(x, "x"), integer(y, "y"), real(sigma_x, "sigma_x"), real(sigma_y, "sigma_y"))


def init_gauss(x: int, y: int, sigma_x: float, sigma_y: float) -> Reals:
    """The kernel after a real Fourier transform in place: rows of y / 2 + 1 complex numbers.

    >>> init_gauss(2, 2, 1.0, 1.0).view(complex).round(4)
    array([[0.3861+0.j, 0.    +0.j],
           [0.    +0.j, 0.    +0.j]])
    """
    return _core.init_gauss(integer(x, "x"), integer(y, "y"), real(sigma_x, "sigma_x"), real(sigma_y, "sigma_y"))


def falte_gauss(Daten: Image, sigma_x: int, sigma_y: int) -> Image:
    """Smooths the image by a cyclic convolution, after enlarging an odd width or height by one. The kernel sums to
    about one half, so that the smoothed image is half as bright. Its memory is freed, unlike in C.

    >>> falte_gauss(np.full((64, 64), 1000, np.uint32), 3, 3)[32, 32]
    499
    """
    return _core.falte_gauss(image(Daten), integer(sigma_x, "sigma_x"), integer(sigma_y, "sigma_y"))


def falte_short_gauss(Daten_ushort: ShortImage, sigma_x: int, sigma_y: int) -> ShortImage:
    """The same for a 16-bit image; results above 65535 wrap.

    >>> falte_short_gauss(np.full((63, 64), 1000, np.uint16), 3, 3).shape
    (64, 64)
    """
    smoothed = _core.falte_short_gauss
    return smoothed(image(Daten_ushort, np.uint16), integer(sigma_x, "sigma_x"), integer(sigma_y, "sigma_y"))


# ----------------------------------------------------------------------------------------------------------------------
# Display
# ----------------------------------------------------------------------------------------------------------------------


def write_colormap(path: Path) -> None:
    """Writes the colour map: 255 lines of red, green and blue, for rising intensity.

    >>> write_colormap("colormap.zimg")
    >>> np.loadtxt("colormap.zimg", int).shape
    (255, 3)
    """
    _core.write_colormap(_checks.path(path))


def write_zimg(path: Path, Daten: Image) -> None:
    """Writes the low 16 bits of the pixels, little-endian and without a header.

    >>> write_zimg("dump.raw", np.array([[1, 65538]], np.uint32))
    >>> np.fromfile("dump.raw", "<u2")
    array([1, 2], dtype=uint16)
    """
    _core.write_zimg(_checks.path(path), array(Daten, np.uint32))


def write_short_zimg(path: Path, Daten_ushort: ShortImage) -> None:
    """The same for pixels that are 16-bit already.

    >>> write_short_zimg("dump.raw", np.array([[1, 2]], np.uint16))
    >>> np.fromfile("dump.raw", "<u2")
    array([1, 2], dtype=uint16)
    """
    _core.write_short_zimg(_checks.path(path), array(Daten_ushort, np.uint16))


def view(name: Path, Daten: Image, divisor: int = 1) -> int:
    """Shows the image: writes NAME.raw and "colormap.zimg" in the working directory and runs "zimg ... NAME.raw; xv
    NAME.png" in the system shell, waiting for its end. The programs print where Python does. Returns the command's wait
    status: 0 on success, 32512 if the viewer is not installed.
    """
    return _core.view(_checks.path(name), image(Daten), integer(divisor, "divisor"))
