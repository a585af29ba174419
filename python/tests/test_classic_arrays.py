"""xrdimage.classic: functions on arrays, beside what NumPy computes."""

from __future__ import annotations

import ctypes
import math
from typing import Any, Callable, Dict, List, Tuple

import numpy as np
import numpy.typing as npt
import pytest

from xrdimage import FrameError, classic

Array = npt.NDArray[Any]


def pixels_of(height: int, width: int, dtype: Any = np.uint32, largest: int = 60000) -> Array:
    return np.random.default_rng(height * width).integers(0, largest, (height, width)).astype(dtype)


# Another pixel grid


@pytest.mark.parametrize("factor", [2, 3, 4, 5])
def test_binning_sums_blocks(factor: int) -> None:
    pixels = pixels_of(61, 83)
    rows, columns = 61 // (2 * factor) * 2, 83 // (2 * factor) * 2
    blocks = pixels[: rows * factor, : columns * factor].reshape(rows, factor, columns, factor)
    image, largest = classic.binning(pixels, factor)
    assert (image == blocks.sum((1, 3))).all()
    assert largest == image.max()


def test_binning_marks_blocks_with_an_overflow() -> None:
    pixels = np.ones((8, 8), np.uint32)
    pixels[1, 1] = classic.OVERFLOW_MARK
    image, largest = classic.binning(pixels, 2)
    assert image[0, 0] == classic.OVERFLOW_MARK and image[0, 1] == 4
    assert largest == classic.OVERFLOW_MARK + 3


def test_binning_wraps_and_tells_the_largest_sum_without_a_sign() -> None:
    image, largest = classic.binning(np.full((4, 4), 2**30 - 1, np.uint32), 2)
    assert (image == 2**32 - 4).all() and largest == 2**32 - 4


@pytest.mark.parametrize("factor", [2, 3])
def test_short_binning_takes_the_diagonals(factor: int) -> None:
    pixels = pixels_of(60, 60, np.uint16)
    blocks = pixels.reshape(60 // factor, factor, 60 // factor, factor).astype(np.float64)
    expected = np.rint(np.einsum("aibi->ab", blocks) / factor)
    assert (classic.short_binning(pixels, factor) == expected).all()


@pytest.mark.parametrize(
    "function, dtype",
    [(classic.fit_to_new_dimension, np.uint32), (classic.fit_to_new_dimension_short, np.uint16)],
)
@pytest.mark.parametrize("size", [(3, 9), (9, 3), (5, 5), (0, 4), (12, 12)])
def test_fitting_crops_and_pads(function: Callable[..., Array], dtype: Any, size: Tuple[int, int]) -> None:
    pixels = pixels_of(6, 7, dtype)
    expected = np.zeros((size[1], size[0]), dtype)
    expected[:6, :7] = pixels[: size[1], : size[0]]
    fitted = function(pixels, *size)
    assert fitted.dtype == dtype and fitted.shape == expected.shape and (fitted == expected).all()


def smoothed_by_numpy(pixels: Array, sigma_x: float, sigma_y: float) -> Array:
    height, width = pixels.shape
    kernel = classic.fill_gauss(width, height, sigma_x, sigma_y)[:, :height]  # its rows are the image's columns
    transform = np.fft.fft2(pixels.T) * np.fft.fft2(kernel)
    return np.abs(np.fft.ifft2(transform).real.T)


@pytest.mark.parametrize("function, dtype", [(classic.falte_gauss, np.uint32), (classic.falte_short_gauss, np.uint16)])
def test_smoothing_is_a_cyclic_convolution(function: Callable[..., Array], dtype: Any) -> None:
    pixels = pixels_of(64, 50, dtype)
    smoothed = function(pixels, 2, 3)
    assert smoothed.dtype == dtype
    assert np.abs(smoothed - smoothed_by_numpy(pixels, 2, 3)).max() <= 1.001  # truncated
    assert function(pixels_of(63, 49, dtype), 2, 3).shape == (64, 50)


def test_kernels_are_gaussian() -> None:
    x, y = 6, 8
    kernel = classic.fill_gauss(x, y, 1.5, 2.5)
    dx = np.fft.ifftshift(np.arange(x) - (x - 1) / 2)
    dy = np.fft.ifftshift(np.arange(y) - (y - 1) / 2)
    expected = np.exp(-((dx[:, None] / 1.5) ** 2) - (dy / 2.5) ** 2) / (2 * math.pi * 1.5 * 2.5)
    assert kernel.shape == (x, y + 2)
    np.testing.assert_allclose(np.sort(kernel[:, :y].ravel()), np.sort(expected.ravel()), rtol=1e-6)
    assert (kernel[:, y:] == 0).all()
    transformed = classic.init_gauss(x, y, 1.5, 2.5).view(np.complex128)
    np.testing.assert_allclose(transformed, np.fft.rfft2(kernel[:, :y]), atol=1e-6)


# Intensities


def test_extremes() -> None:
    pixels = pixels_of(40, 31)
    assert classic.find_maximum(pixels) == (pixels.max(), pixels.min())
    assert classic.find_short_maximum(pixels) == (pixels.max(), pixels.min())
    assert classic.find_maximum(pixels[:0]) == (0, 999999999)
    bright: Array = pixels + 10**9
    assert classic.find_short_maximum(bright) == (bright.max(), 65535)


def test_background() -> None:
    pixels = pixels_of(18, 29)
    assert classic.find_background(pixels) == pixels.ravel()[512:522].sum() // 10
    with pytest.raises(ValueError, match="fewer than 522"):
        classic.find_background(pixels[:, :28])


def local_means(pixels: Array, radius: int) -> Array:
    means = pixels.astype(np.int64)
    height, width = means.shape
    for row in range(height):
        for column in range(width):
            window = means[max(row - radius, 0) : row + radius, max(column - radius, 0) : column + radius]
            means[row, column] = window.sum() // window.size
    return means


@pytest.mark.parametrize("radius", [1, 2, 4, 30])
def test_local_means(radius: int) -> None:
    pixels = pixels_of(20, 26)
    expected = local_means(pixels, radius)
    classic.mittle_Daten(pixels, radius)
    assert (pixels == expected).all()


@pytest.mark.parametrize("radius", [0, -1, -(2**31), 2**31 - 1])
def test_local_means_of_any_radius(radius: int) -> None:
    pixels = pixels_of(5, 5)
    classic.mittle_Daten(pixels, radius)


def test_inversion() -> None:
    pixels = np.array([[0, 16777215, 16777216, 2**32 - 1]], np.uint32)
    expected = np.uint32(16777215) - pixels
    classic.invert_data(pixels)
    assert (pixels == expected).all()


def test_logarithm() -> None:
    pixels = pixels_of(20, 20)
    extended = pixels.astype(np.longdouble)
    expected = 5000 * np.log((extended - 3) * (np.longdouble(100) / 60000) + 1) / np.log(np.longdouble(100))
    pixels[pixels < 3] += 3
    classic.logarith_data(pixels, 100, 3, 60003)
    slope = np.longdouble(100) / np.longdouble(60000)
    expected = 60003 * np.log((extended - 3) * slope + 1) / np.log(np.longdouble(100))
    assert (pixels[extended >= 3] == expected[extended >= 3].astype(np.int64)).all()


def test_scaling() -> None:
    pixels = pixels_of(9, 9, largest=300)
    expected = pixels * np.uint32(10000 // pixels.max())
    again = pixels.copy()
    classic.scale_up(pixels)
    assert (pixels == expected).all()
    expected = (again.astype(np.longdouble) * (np.longdouble(65535) / again.max())).astype(np.uint32)
    classic.scale_up_short(again, 65535)
    assert (again == expected).all()


@pytest.mark.parametrize("maximum, shift", [(65535, 0), (65536, 1), (300000, 3), (-1, 0)])
def test_narrowing(maximum: int, shift: int) -> None:
    pixels = pixels_of(6, 5, largest=300000)
    narrow = classic.to_short(pixels, maximum)
    assert narrow.dtype == np.uint16 and (narrow == (pixels >> shift).astype(np.uint16)).all()


# Markers


def test_crosses() -> None:
    pixels = np.zeros((100, 300), np.uint32)
    pixels[0, 0] = 90
    expected = pixels.copy()
    expected[50, 97:103] = expected[47:53, 100] = 90
    classic.make_cross(pixels, 100, 50)
    assert (pixels == expected).all()
    expected[50, 80:120] = expected[30:70, 100] = 45
    classic.make_short_cross(pixels, 100, 50, 2)
    assert (pixels == expected).all()


def test_boxes() -> None:
    pixels = np.zeros((30, 40), np.uint32)
    pixels[0, 0] = 90
    expected = pixels.copy()
    expected[8, 15:23] = expected[14, 15:23] = 30
    expected[8:14, 15] = expected[8:14, 23] = 30
    classic.make_short_box(pixels, (20, 10), (5, 2, 3, 4), 3)
    assert (pixels == expected).all()


@pytest.mark.parametrize("position", [-(2**31), -5, 0, 10**6, 2**31 - 1])
def test_markers_outside_are_not_drawn(position: int) -> None:
    pixels = pixels_of(10, 10)
    classic.make_cross(pixels, position, position)
    classic.make_short_cross(pixels, position, position, 0)
    classic.make_short_box(pixels, [position, position], [position] * 4, -1)


# Packing and words


def differences_of(pixels: Array) -> List[int]:
    flat = [int(pixel) for pixel in pixels.ravel()]
    width = pixels.shape[1]
    differences = []
    for i, pixel in enumerate(flat):
        if i == 0:
            predicted = 0
        elif i <= width:
            predicted = flat[i - 1]
        else:
            predicted = math.trunc((flat[i - 1] + flat[i + 1 - width] + flat[i - width] + flat[i - 1 - width] + 2) / 4)
        differences.append(pixel - predicted)
    return differences


def test_differences() -> None:
    pixels = pixels_of(7, 9, np.int16, 30000)
    expected = differences_of(pixels)
    assert classic.diff_words(pixels).tolist() == expected
    assert classic.diff_words(pixels, 20).tolist() == expected[20:]
    assert classic.diff_words(pixels, 63).tolist() == []
    assert classic.diff_words(pixels, -1).tolist() == []
    assert classic.diff_words(pixels[:1]).tolist() == expected[:9] + [0]
    assert classic.diff_words(np.zeros((200, 200), np.int16)).size == 16384


@pytest.mark.parametrize("largest, width", [(0, 0), (7, 4), (8, 5), (16, 6), (32, 7), (64, 8), (128, 16), (65536, 32)])
def test_widths_of_chunks(largest: int, width: int) -> None:
    assert classic.bits(np.array([0, largest, 0], np.int32)) == 3 * width
    assert classic.bits(np.array([], np.int32)) == 0


@pytest.mark.parametrize("size", [1, 5, 8, 17, 32])
def test_bits_are_appended(size: int) -> None:
    values = np.random.default_rng(size).integers(-(2**31), 2**31, 20, np.int32)
    target = np.full(100, 255, np.uint8)
    position, bit = classic.pack_longs(values[:7], target, 2, size=size)
    position, bit = classic.pack_longs(values[7:], target, position, bit, size=size)
    assert position * 8 + bit == 16 + 20 * size
    number = int.from_bytes(target[2:].tobytes(), "little")
    fields = [number >> i * size & (1 << size) - 1 for i in range(20)]
    assert fields == [int(value) & (1 << size) - 1 for value in values]
    assert (target[:2] == 255).all()


@pytest.mark.parametrize(
    "arguments",
    [
        {"size": 0},
        {"size": 33},
        {"size": 8, "bit": 8},
        {"size": 8, "bit": -1},
        {"size": 8, "position": -1},
        {"size": 8, "position": 5},
        {"size": 8, "position": 2**40},
        {"size": 8, "position": 1},
        {"size": 8, "bit": 1},
    ],
)
def test_bits_are_not_appended_past_the_target(arguments: Any) -> None:
    target = np.zeros(4, np.uint8)
    with pytest.raises(ValueError):
        classic.pack_longs(np.ones(4, np.int32), target, **arguments)
    assert (target == 0).all()


def test_byte_orders() -> None:
    words = np.arange(12, dtype=np.uint32).reshape(3, 4)
    expected = words.byteswap()
    classic.swapword(words)
    assert (words == expected).all()
    odd = np.arange(7, dtype=np.uint8)
    classic.swapword(odd)
    assert odd.tolist() == [3, 2, 1, 0, 4, 5, 6]
    shorts = np.array([0x1234, 0x7FCD], np.int16)
    classic.swapbytes(shorts)
    assert (shorts.view(np.uint16) == [0x3412, 0xCD7F]).all()
    shorts = np.array([0xABCD], np.uint16).view(np.int16)
    classic.swapbytes(shorts)
    assert shorts.view(np.uint16)[0] == 0xFFAB


def test_codes() -> None:
    for value in range(-2, 140000, 97):
        code = classic.packi32(value)
        if 0 <= value < 131068:
            step = 1 if value < 16384 else 2 if value < 32768 else 4 if value < 65534 else 8
            assert code == ctypes.c_int16(value // step | {1: 0, 2: 0x4000, 4: 0x8000, 8: 0xC000}[step]).value
        else:
            assert code == -32768
    for code in range(-32768, 32768, 111):
        value = classic.unpack_i32(code)
        if 0 <= code < 16384:
            assert value == code
        elif code >= 16384:
            assert value == 2 * code - 32768
        elif code == -32768:
            assert value == 131068
        else:
            assert value == (4 if code < -16384 else 8) * code + 131072


def test_characters() -> None:
    assert classic.long_to_char(np.array([0x141, 66, 0], np.int32)) == b"AB"
    assert classic.long_to_char(np.array([0], np.int32)) == b""
    for source in ([1, 2, 3], []):
        with pytest.raises(ValueError, match="the 0 that ends it"):
            classic.long_to_char(np.array(source, np.int32))


@pytest.mark.parametrize("edge", [0, 1, 2, 7, 16, 37])
def test_quarter_turns(edge: int) -> None:
    pixels = pixels_of(edge, edge, np.uint16)
    expected = np.rot90(pixels, -1).copy()
    classic.rotate_clock1(pixels)
    assert (pixels == expected).all()
    with pytest.raises(ValueError, match="not square"):
        classic.rotate_clock1(np.zeros((edge, edge + 1), np.uint16))


# Ownership

NEW_ARRAYS: List[Callable[[], Array]] = [
    lambda: classic.binning(pixels_of(8, 8), 2).image,
    lambda: classic.short_binning(pixels_of(8, 8, np.uint16), 2),
    lambda: classic.fit_to_new_dimension(pixels_of(8, 8), 9, 9),
    lambda: classic.fit_to_new_dimension_short(pixels_of(8, 8, np.uint16), 9, 9),
    lambda: classic.falte_gauss(pixels_of(8, 8), 1, 1),
    lambda: classic.falte_short_gauss(pixels_of(8, 8, np.uint16), 1, 1),
    lambda: classic.to_short(pixels_of(8, 8), 65535),
    lambda: classic.fill_gauss(8, 8, 1, 1),
    lambda: classic.init_gauss(8, 8, 1, 1),
    lambda: classic.diff_words(pixels_of(8, 8, np.int16)),
]


@pytest.mark.parametrize("index", range(len(NEW_ARRAYS)))
def test_new_arrays_own_the_librarys_memory(index: int) -> None:
    array = NEW_ARRAYS[index]()
    assert type(array.base).__name__ == "PyCapsule" and array.flags.writeable


def test_callers_arrays_stay_as_they_are() -> None:
    functions: Dict[Any, List[Callable[[Any], Any]]] = {
        np.uint32: [
            lambda a: classic.binning(a, 2),
            lambda a: classic.fit_to_new_dimension(a, 3, 3),
            lambda a: classic.falte_gauss(a, 1, 1),
            lambda a: classic.to_short(a, 100000),
            classic.find_maximum,
        ],
        np.uint16: [
            lambda a: classic.short_binning(a, 2),
            lambda a: classic.fit_to_new_dimension_short(a, 3, 3),
            lambda a: classic.falte_short_gauss(a, 1, 1),
        ],
    }
    for dtype, calls in functions.items():
        pixels = pixels_of(9, 9, dtype)
        pixels.flags.writeable = False
        expected = pixels.copy()
        for call in calls:
            call(pixels)
        assert (pixels == expected).all()


def test_arrays_of_any_layout_are_read() -> None:
    pixels = pixels_of(20, 30)
    strided = pixels[::2, ::-3]
    assert classic.find_maximum(strided) == (strided.max(), strided.min())
    assert (classic.fit_to_new_dimension(np.asfortranarray(pixels), 30, 20) == pixels).all()
    bytes_ = np.zeros(20 * 30 * 4 + 1, np.uint8)
    unaligned = bytes_[1:].view(np.uint32).reshape(20, 30)
    unaligned[:] = pixels
    assert (classic.fit_to_new_dimension(unaligned, 30, 20) == pixels).all()


# Wrong arguments

IN_PLACE: List[Callable[[Any], None]] = [
    lambda image: classic.mittle_Daten(image, 2),
    classic.invert_data,
    lambda image: classic.logarith_data(image, 10, 0, 100),
    classic.scale_up,
    lambda image: classic.scale_up_short(image, 5),
    lambda image: classic.make_short_box(image, (1, 1), (1, 1, 1, 1)),
    lambda image: classic.make_cross(image, 1, 1),
    lambda image: classic.make_short_cross(image, 1, 1),
]


@pytest.mark.parametrize("function", IN_PLACE)
def test_in_place_needs_a_writable_contiguous_array(function: Callable[[Any], None]) -> None:
    pixels = pixels_of(20, 20)
    expected = pixels.copy()
    read_only = pixels.view()
    read_only.flags.writeable = False
    for wrong in (read_only, pixels[::2], pixels[:, :5], pixels.T, pixels[:, ::-1]):
        with pytest.raises(ValueError):
            function(wrong)
    for wrong in (pixels.tolist(), pixels.astype(np.int32), pixels.astype(">u4"), pixels.astype(np.uint64), None, 5):
        with pytest.raises(TypeError):
            function(wrong)
    for wrong in (pixels.ravel(), pixels.reshape(1, 20, 20)):
        with pytest.raises(ValueError):
            function(wrong)
    assert (pixels == expected).all()
    function(np.zeros((0, 5), np.uint32))
    function(np.zeros((5, 0), np.uint32))


@pytest.mark.parametrize(
    "function, dtype",
    [
        (lambda image: classic.swapbytes(image), np.int16),
        (lambda image: classic.rotate_clock1(image), np.uint16),
        (lambda image: classic.swapword(image), np.uint32),
        (lambda image: classic.pack_longs(np.ones(1, np.int32), image, size=1), np.uint8),
    ],
)
def test_other_arrays_that_are_changed(function: Callable[[Any], Any], dtype: Any) -> None:
    array = np.zeros((8, 8), dtype)
    read_only = array.view()
    read_only.flags.writeable = False
    for wrong in (read_only, array.T[:4], array[:, ::2]):
        with pytest.raises(ValueError):
            function(wrong)
    with pytest.raises(TypeError):
        function(array.tolist())
    with pytest.raises(TypeError):
        function(np.full((8, 8), None))


@pytest.mark.parametrize(
    "call",
    [
        lambda: classic.find_maximum(np.zeros((2, 2), np.float64)),
        lambda: classic.binning(np.zeros((2, 2), np.uint16), 2),
        lambda: classic.binning(np.zeros((2, 2), np.uint32), 1.5),  # type: ignore[arg-type]
        lambda: classic.binning(np.zeros((2, 2), np.uint32), "2"),  # type: ignore[arg-type]
        lambda: classic.short_binning(np.zeros((2, 2), np.uint32), 2),
        lambda: classic.diff_words(np.zeros((2, 2), np.uint16)),
        lambda: classic.bits(np.zeros(3, np.int64)),
        lambda: classic.fill_gauss(4, 4, "1", 1),  # type: ignore[arg-type]
        lambda: classic.packi32(None),  # type: ignore[arg-type]
    ],
)
def test_wrong_types_are_type_errors(call: Callable[[], Any]) -> None:
    with pytest.raises(TypeError):
        call()


@pytest.mark.parametrize(
    "call",
    [
        lambda: classic.binning(np.zeros((2, 2), np.uint32), 0),
        lambda: classic.binning(np.zeros((2, 2), np.uint32), -(2**31)),
        lambda: classic.binning(np.zeros((2, 2), np.uint32), 2**31),
        lambda: classic.binning(np.zeros(4, np.uint32), 1),
        lambda: classic.binning(np.zeros((2**31, 0), np.uint32), 1),
        lambda: classic.invert_data(np.zeros((0, 2**31), np.uint32)),
        lambda: classic.short_binning(np.zeros((2, 2), np.uint16), -1),
        lambda: classic.fit_to_new_dimension(np.zeros((2, 2), np.uint32), -1, 5),
        lambda: classic.fit_to_new_dimension(np.zeros((2, 2), np.uint32), 2**20, 2**20),
        lambda: classic.fit_to_new_dimension_short(np.zeros((2, 2), np.uint16), 5, -1),
        lambda: classic.fill_gauss(-1, 4, 1, 1),
        lambda: classic.fill_gauss(2**31 - 1, 2**31 - 1, 1, 1),
        lambda: classic.init_gauss(4, 2**31 - 1, 1, 1),
        lambda: classic.init_gauss(2**14, 2**14, 1, 1),
        lambda: classic.packi32(2**31),
        lambda: classic.unpack_i32(40000),
        lambda: classic.make_short_box(np.zeros((2, 2), np.uint32), (1,), (1, 1, 1, 1)),
        lambda: classic.make_short_box(np.zeros((2, 2), np.uint32), (1, 1), (1, 1, 1)),
        lambda: classic.make_short_box(np.zeros((2, 2), np.uint32), (1, 2**31), (1, 1, 1, 1)),
    ],
)
def test_impossible_numbers_are_value_errors(call: Callable[[], Any]) -> None:
    with pytest.raises(ValueError):
        call()


def test_what_cannot_be_done_has_the_librarys_words() -> None:
    with pytest.raises(FrameError, match="^cannot bin 3x2 pixels by 0$"):
        classic.binning(np.zeros((2, 3), np.uint32), 0)


@pytest.mark.parametrize("sigma", [0, -3, 2**31 - 1, -(2**31)])
def test_smoothing_by_any_sigma(sigma: int) -> None:
    assert classic.falte_gauss(pixels_of(8, 8), sigma, sigma).shape == (8, 8)
    assert classic.falte_short_gauss(pixels_of(0, 8, np.uint16), sigma, 1).shape == (0, 8)
    classic.fill_gauss(4, 4, math.nan, math.inf)
