#!/usr/bin/env python3
"""Writes the inputs that fuzzing begins with: fuzz_seeds.py FOLDER, where each target has a folder.

Small whole files of each format, made here byte by byte, in the form that the target wants (fuzz/TARGET.cpp says which).
"""
import bz2
import gzip
import pathlib
import struct
import sys

FIELD_BITS = [0, 4, 5, 6, 7, 8, 16, 32]


def words(values, order="<", kind="H"):
    return struct.pack(f"{order}{len(values)}{kind}", *values)


# ----------------------------------------------------------------------------------------------------------------------
# CCP4 packed images
# ----------------------------------------------------------------------------------------------------------------------

def differences(pixels, width):
    """Of signed 16-bit pixels."""
    result = []
    for i, pixel in enumerate(pixels):
        prediction = 0
        if i > width:
            total = pixels[i - 1] + pixels[i - width + 1] + pixels[i - width] + pixels[i - width - 1] + 2
            prediction = int(total / 4)
        elif i > 0:
            prediction = pixels[i - 1]
        result.append(pixel - prediction)
    return result


def chunk_bits(values, count_code, width_code):
    bits = [count_code >> i & 1 for i in range(3)] + [width_code >> i & 1 for i in range(3)]
    for value in values:
        bits += [value >> i & 1 for i in range(FIELD_BITS[width_code])]
    return bits


def bytes_of(bits):
    bits = bits + [0] * (-len(bits) % 8)
    return bytes(sum(bit << i for i, bit in enumerate(bits[at:at + 8])) for at in range(0, len(bits), 8))


def bit_stream(pixels, width):
    """Chunks of as many differences as fit the narrowest field of the first."""
    bits = []
    values = differences(pixels, width)
    at = 0
    while at < len(values):
        fits = lambda value, code: value == 0 if code == 0 else -1 << FIELD_BITS[code] - 1 <= value < 1 << FIELD_BITS[code] - 1
        code = next(code for code in range(8) if fits(values[at], code))
        count_code = 0
        while count_code < 7 and at + (2 << count_code) <= len(values) and \
                all(fits(value, code) for value in values[at:at + (2 << count_code)]):
            count_code += 1
        bits += chunk_bits(values[at:at + (1 << count_code)], count_code, code)
        at += 1 << count_code
    return bytes_of(bits)


def packed_line(width, height):
    return b"\nCCP4 packed image, X: %04d, Y: %04d\n" % (width, height)


def packed(pixels, width):
    return packed_line(width, len(pixels) // width) + bit_stream(pixels, width)


def spotty(count):
    """Pixels of every kind: flat, noisy, and extreme ones."""
    return [(i * 7 % 5 if i % 50 < 30 else i * 7919 % 300 if i % 50 < 45 else i * 25633 % 65536 - 32768)
            for i in range(count)]


# ----------------------------------------------------------------------------------------------------------------------
# Files
# ----------------------------------------------------------------------------------------------------------------------

ADSC = (b"{\nHEADER_BYTES=  512;\nDIM=2;\nBYTE_ORDER=little_endian;\nTYPE=unsigned_short;\nSIZE1=4;\nSIZE2=3;\n"
        b"PIXEL_SIZE=0.1024;\nBIN=2x2;\nADC=fast;\nDETECTOR_SN=445;\nDATE=Sat Jul 10 18:58:14 2004;\nTIME=10.0;\n"
        b"DISTANCE=170.0;\nOSC_RANGE=1.0;\nPHI=0.0;\nOSC_START=0.0;\nAXIS=phi;\nWAVELENGTH=0.9793;\n"
        b"BEAM_CENTER_X=0.2;\nBEAM_CENTER_Y=0.1;\nCCD_IMAGE_SATURATION=65535;\n}\n")
SAMPLES = [0, 1, 2, 255, 256, 40000, 65535, 3, 4, 5, 6, 7]


def edf(data_type, size, samples, more=b""):
    return (b"{\nHeaderID = EH:000001:000000:000000 ;\nByteOrder = LowByteFirst ;\nDataType = %s ;\nSize = %d ;\n"
            b"Dim_1 = 4 ;\nDim_2 = 3 ;\nImage = 1 ;\n%s}\n" % (data_type, size, more)) + samples


def saint(format_number, overflows, pixels, tables, more=()):
    """4 x 4 pixels of one byte."""
    records = [("FORMAT", format_number), ("VERSION", "9"), ("CREATED", "01-Feb-2004 10:11:12"), ("NPIXELB", "1 1"),
               ("NOVERFL", overflows), ("NROWS", "4"), ("NCOLS", "4"), ("START", "10.0"), ("INCREME", "0.5"),
               ("DISTANC", "5.0"), ("WAVELEN", "1.54184"), ("ELAPSDR", "10.0"), *more]
    header = b"".join(f"{key:7}:{value}".ljust(80).encode() for key, value in records)
    return (header + b"   ENDING2: 1".ljust(80)).ljust(7680, b".") + bytes(pixels) + tables


SAINT_PIXELS = [1, 2, 3, 255, 255, 6, 7, 8, 0, 10, 11, 12, 13, 0, 15, 16]
SAINT_OVERFLOWS = words([300, 65535]) + bytes(12) + words([100000], kind="I") + bytes(12)
SAINT = saint("100", "-1 2 1", SAINT_PIXELS, SAINT_OVERFLOWS)
SAINT_UNDERFLOWS = saint("100", "2 2 1", SAINT_PIXELS, bytes([3, 4]).ljust(16, b"\0") + SAINT_OVERFLOWS,
                         [("NEXP", "1 0 64 0 1"), ("LINEAR", "2.0 0.0"), ("CENTER", "1.5 2.5")])
SAINT_TEXT_TABLE = saint("86", "2", SAINT_PIXELS, b"      300      3   100000      4")


def tiff(order="<", bits=16, sample_format=1, compression=1, strips=(words(SAMPLES),), begin=None, tile=None):
    entries = [(256, 4, 4), (257, 4, 3), (258, 3, bits), (259, 3, compression), (262, 3, 1), (277, 3, 1),
               (339, 3, sample_format)]
    count = len(strips)
    tables = 8 + 2 + 12 * (len(entries) + (4 if tile else 3)) + 4
    first = begin or tables + 8 * count
    offsets = [first + sum(map(len, strips[:i])) for i in range(count)]
    lengths = [len(strip) for strip in strips]
    where = (offsets[0], lengths[0]) if count == 1 else (tables, tables + 4 * count)
    if tile:
        entries += [(322, 4, tile), (323, 4, tile), (324, 4, where[0], count), (325, 4, where[1], count)]
    else:
        entries += [(273, 4, where[0], count), (278, 4, -(-3 // count)), (279, 4, where[1], count)]
    file = (b"II" if order == "<" else b"MM") + struct.pack(order + "HI", 42, 8) + struct.pack(order + "H", len(entries))
    for tag, kind, value, *number in sorted(entries):
        file += struct.pack(order + "HHI", tag, kind, number[0] if number else 1)
        file += struct.pack(order + "HH", value, 0) if kind == 3 else struct.pack(order + "I", value)
    file += bytes(4) + words(offsets, order, "I") + words(lengths, order, "I")
    return file.ljust(first, b"\0") + b"".join(strips)


def tiff_with_next(file):
    """Little-endian, with an empty second directory at the end."""
    entries = struct.unpack_from("<H", file, 8)[0]
    link = 10 + 12 * entries
    return file[:link] + struct.pack("<I", len(file)) + file[link + 4:] + bytes(6)


def lzw(content):
    """Codes of nine bits, the highest first: to clear the table, for each byte, and for the end."""
    bits = "".join(f"{code:09b}" for code in [256, *content, 257])
    bits += "0" * (-len(bits) % 8)
    return bytes(int(bits[at:at + 8], 2) for at in range(0, len(bits), 8))


def mar_ccd():
    header = bytearray(tiff(begin=4096))
    for offset, value in [(1052, 1234), (1128, 65535), (1160, 3), (1668, 2000), (1672, 1500), (1680, 10000),
                          (1708, 45000), (1720, 120000), (1760, 1000), (1796, 79000), (1800, 79000), (1932, 97931)]:
        header[offset:offset + 4] = struct.pack("<i", value)
    header[1028:1032] = b"MMX\0"
    header[2368:2383] = b"010212302004.15"
    return bytes(header)


MAR345_TEXT = (b"mar research".ljust(64) +
               b"\nPROGRAM        scan345 Version 1\nDATE           Sat Jan 12 10:11:12 2004\nDETECTOR       mar345\n"
               b"FORMAT         10  PCK 100\nHIGH           2\nPIXEL          LENGTH 150  HEIGHT 150\n"
               b"OFFSET         ROFF 10  TOFF -20\nMULTIPLIER     1.000\nWAVELENGTH     1.54179\n"
               b"DISTANCE       120.0\nPHI            START 0.000  END 1.000  OSC 1\nCENTER         X 5.0  Y 5.0\n"
               b"MODE           TIME\nTIME           60.00\n"
               b"INTENSITY      MIN 1  MAX 250000  AVE 12.5  SIG 1.0\nEND OF HEADER\n")


def mar345(order, new_layout, pixels, size, records, header_bytes=None):
    numbers = [1234, size, len(records), 1] if new_layout else [size, 0, 0, 0, len(records)]
    header = words(numbers + [0] * (10 - len(numbers)), order, "i").ljust(128, b"\0") + MAR345_TEXT
    header = header[:2 * size] if not new_layout else header.ljust(4096)
    table = b"".join(words(record, order, "i") for record in records)
    return (header if header_bytes is None else header[:header_bytes]) + table + packed(pixels, size)


# ----------------------------------------------------------------------------------------------------------------------
# Inputs of the targets
# ----------------------------------------------------------------------------------------------------------------------

def seeds():
    yield "read_raw", "answered", b"4 3\n" + words(SAMPLES)
    yield "read_raw", "refused", b"100000 100000\n"
    yield "read_raw", "by_default", b"\n" + words(SAMPLES)

    yield "read_bnl", "little_endian", ADSC + words(SAMPLES)
    yield "read_bnl", "big_endian", ADSC.replace(b"little_endian;", b"big_endian") + words(SAMPLES)
    yield "read_bnl", "percent", b"{\nTYPE=%d%s%5.3f%%;\nAXIS=%n%c;\nSIZE1=-4;\n}\n"

    edf16 = edf(b"UnsignedShort", 24, words(SAMPLES), b"DateTime = 01-Feb-2004 10:11:12 x ;\nBinning = 2 ;\n")
    edf32 = edf(b"UnsignedInteger", 48, words(SAMPLES, kind="I"), b"BitsPerSample = 32 ;\n")
    yield "read_edf", "bits_by_type", b"\xff\n" + edf16
    yield "read_edf", "bits_by_header", b"\x10\n" + edf32
    yield "read_edf", "asked", b"\x104 3\n{\n}\n" + words(SAMPLES)
    yield "read_edf_header", "bits_by_type", edf16
    yield "read_edf_header", "bits_by_header", edf32

    yield "read_saint", "whole", SAINT
    yield "read_saint", "small", SAINT[:13 * 80]

    yield "read_tiff", "little_endian", tiff()
    yield "read_tiff", "big_endian", tiff(order=">")
    yield "read_tiff", "lzw", tiff(compression=5, strips=(lzw(words(SAMPLES)),))
    yield "read_tiff", "packbits", tiff(compression=32773, strips=(b"\x17" + words(SAMPLES),))
    yield "read_tiff", "strips", tiff(strips=(words(SAMPLES[:8]), words(SAMPLES[8:])))
    yield "read_tiff", "tiles", tiff(tile=16, strips=(bytes(512),))
    yield "read_mar_ccd", "whole", mar_ccd()
    yield "read_mar_ccd", "tiff", tiff()
    yield "read_mar_ccd_header", "whole", mar_ccd()[:4096]
    yield "read_mar_ccd_header", "cut", mar_ccd()[:2000]

    pixels = spotty(110)
    head = words([11, 10], kind="i").ljust(2400, b"\0")
    yield "read_pck", "other_size", head[:64] + packed(pixels, 11)
    yield "read_pck", "whole", words([1200, 1200], kind="i").ljust(2400, b"\0") + packed(pixels, 11)
    yield "readpack_word_c", "line_in_front", packed(pixels, 11)
    yield "readpack_word_c", "line_behind_bytes", head[:99] + b"\nCCP4 packed image, X: 12\n" + packed(pixels, 11)
    yield "readpack_word_c", "cut", packed(pixels, 11)[:60]

    yield "unpack_word", "narrow", bytes([11, 10]) + bit_stream(pixels, 11)
    yield "unpack_word", "column", bytes([1, 15]) + bit_stream(pixels, 11)
    wide = spotty(80 * 6)
    yield "unpack_word", "bands", bytes([80, 6]) + bit_stream(wide, 80)
    flat = [5] * 80 * 12
    yield "unpack_word", "flat", bytes([80, 12]) + bit_stream(flat, 80)

    text = mar345("<", True, [], 1, [])[128:128 + len(MAR345_TEXT)]
    yield "read_marheader", "whole", text
    yield "read_marheader", "cut", text[:200]

    flat = [i % 7 for i in range(100)]
    records = [(5, 70000), (7, 300000), (9, -1)]
    yield "new_read_pck", "newer", mar345("<", True, flat, 10, records)
    yield "new_read_pck", "newer_swapped", mar345(">", True, flat, 10, records)
    square = [i * i % 13 for i in range(104 * 104)]
    yield "new_read_pck", "older", mar345("<", False, square, 104, records)
    yield "new_read_pck", "older_swapped", mar345(">", False, square, 104, records)
    yield "new_read_pck", "without_text", mar345("<", True, flat, 10, records, 40)

    yield "format_text", "conversions", b"\x50%d %5.3f|%-8x|%+e %s %c %% %n %p %m %1$*2$.3lld %"
    yield "format_text", "wide", b"\xff%300d%.200f%5000.4990d"

    yield "pack_wordimage_c", "noise", bytes([10, 0]) + words([p & 65535 for p in spotty(110)])
    yield "pack_wordimage_c", "long", bytes([79, 255]) + words([p & 65535 for p in spotty(800)])
    yield "pack_wordimage_c", "row", bytes([255, 0]) + words(SAMPLES)

    def chunk(count_code, width_code, first, step):
        return bytes([count_code | width_code << 3]) + words([first, step], kind="i")
    yield "pack_chunk", "widths", b"".join(chunk(1, code, 3, -6) for code in range(8))
    yield "pack_chunk", "counts", b"".join(chunk(code, 5, -100, 3) for code in range(8))
    yield "pack_chunk", "long", b"".join(chunk(7, 7, i, 65536) for i in range(20))

    yield "write_edf", "rows", bytes([3]) + words(range(12), kind="I")
    yield "write_edf", "large", bytes([0]) + words([4294967295, 65536, 40000], kind="I")

    def frame(file, flags=0, keyword=255, size=0):
        return bytes([flags, keyword, size]) + file
    yield "load_frame", "adsc", frame(ADSC.ljust(512) + words(SAMPLES))
    yield "load_frame", "edf", frame(edf16)
    reals = words([-1.5, 0, 1e9, float("nan"), float("inf"), -1e30] * 2, kind="f")
    yield "load_frame", "edf_reals", frame(edf(b"FloatValue", 48, reals))
    sized = edf(b"UnsignedShort", 24, b"", b"EDF_HeaderSize = 512 ;\n").ljust(512)
    yield "load_frame", "edf_header_size", frame(sized + words(SAMPLES))
    yield "load_frame", "saint", frame(SAINT)
    yield "load_frame", "saint_underflows", frame(SAINT_UNDERFLOWS)
    yield "load_frame", "saint_text_table", frame(SAINT_TEXT_TABLE)
    yield "load_frame", "tiff", frame(tiff(order=">", bits=32, sample_format=3, strips=(words([0.5] * 12, ">", "f"),)))
    yield "load_frame", "tiff_tiles", frame(tiff(tile=16, strips=(bytes(512),)))
    yield "load_frame", "tiff_large_tile", frame(tiff(tile=4096, strips=(bytes(64),)))
    yield "load_frame", "tiff_jpeg", frame(tiff(compression=7))
    yield "load_frame", "tiff_two_images", frame(tiff_with_next(tiff()))
    yield "load_frame", "tiff_behind_gzip", frame(gzip.compress(tiff_with_next(tiff()) + bytes(100000), mtime=0))
    yield "load_frame", "mar_ccd", frame(mar_ccd())
    yield "load_frame", "mar345", frame(mar345("<", True, flat, 10, records))
    yield "load_frame", "mar345_forced", frame(mar345(">", False, square, 104, records)[:300], flags=1)
    yield "load_frame", "packed", frame(packed(pixels, 11))
    yield "load_frame", "packed_gzip", frame(gzip.compress(packed(pixels, 11), mtime=0))
    yield "load_frame", "packed_bzip2", frame(bz2.compress(packed(pixels, 11)))
    behind = bytes(600000)
    yield "load_frame", "adsc_behind_gzip", frame(gzip.compress(ADSC.ljust(512) + words(SAMPLES) + behind, mtime=0))
    yield "load_frame", "edf_behind_gzip", frame(gzip.compress(sized + words(SAMPLES) + behind, mtime=0))
    yield "load_frame", "saint_behind_gzip", frame(gzip.compress(SAINT + behind, mtime=0))
    yield "load_frame", "saint_text_behind_gzip", frame(gzip.compress(SAINT_TEXT_TABLE + behind, mtime=0))
    yield "load_frame", "saint_too_many", frame(saint("100", "-1 20 1", SAINT_PIXELS, SAINT_OVERFLOWS))
    yield "load_frame", "mar345_behind_gzip", frame(gzip.compress(mar345("<", True, flat, 10, records) + behind, mtime=0))
    yield "load_frame", "packed_behind_bzip2", frame(bz2.compress(packed(pixels, 11) + behind))
    yield "load_frame", "raw_behind_gzip", frame(gzip.compress(words(SAMPLES) + behind, mtime=0), keyword=7, size=0x34)
    yield "load_frame", "gzip_pieces", frame(gzip.compress(b"", mtime=0) * 20 + gzip.compress(SAINT, mtime=0))
    yield "load_frame", "raw", frame(words(SAMPLES), keyword=7, size=0x34)
    yield "load_frame", "raw_guessed", frame(words(SAMPLES[:9]), flags=2, keyword=7)

    geometry = words([0.1, 0.1, 5.5, 6.5, 30, 0.5, 10, 65535], kind="f") + b"CCD 1\n"
    for number, name in enumerate(["adsc", "edf", "mar345", "packed", "raw", "tiff"]):
        yield "write_frame", f"{name}_16", bytes([8 | 16, number, 10, 98, 12]) + b"2004-05-06 07:08:09\n" + words(SAMPLES)
        yield "write_frame", f"{name}_32", (bytes([4 | 8, number, 10, 98, 12]) + b"\n" +
                                            words([value * 5000 for value in SAMPLES], kind="I"))
        yield "write_frame", f"{name}_geometry", bytes([32, number, 10, 98, 12]) + b"\n" + geometry + words(SAMPLES)
    yield "write_frame", "mar345_unknown", bytes([2, 2, 12, 0, 0]) + b"\n" + words(SAMPLES)
    yield "write_frame", "edf_signed", bytes([1 | 4, 1, 3, 0, 0]) + b"\n" + words([-1, 2, -3, 4], kind="i")

    colours = b"0 0 0\n10 20 30\n255 255 255\n"
    yield "zimg", "coloured", b"3x4\n0-300\n" + words([len(colours)]) + colours + words(SAMPLES)
    yield "zimg", "grey", b"3x4\n\n\0\0" + words(SAMPLES)
    yield "zimg", "refused", b"3x4x5\n0--5\n\0\0" + words(SAMPLES)


def main():
    folder = pathlib.Path(sys.argv[1])
    for target, name, content in seeds():
        path = folder / target / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)


main()
