/* The layout of the shared records, on which callers compiled elsewhere rely. For C and C++. */
#ifndef XRDIMAGE_TESTS_RECORD_LAYOUT_H
#define XRDIMAGE_TESTS_RECORD_LAYOUT_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#include "xrdimage.h"

/* The first number holds on 64-bit x86; the second on 32-bit x86, which aligns reals and pointers to 4 bytes. */
#if UINTPTR_MAX > 0xFFFFFFFF
#define FOR_ARCHITECTURE(bytes64, bytes32) (bytes64)
#else
#define FOR_ARCHITECTURE(bytes64, bytes32) (bytes32)
#endif
#define CHECK_SIZE(record, bytes64, bytes32) \
  static_assert(sizeof(record) == FOR_ARCHITECTURE(bytes64, bytes32), "size of " #record)
#define CHECK_OFFSET(record, field, bytes64, bytes32) \
  static_assert(offsetof(record, field) == FOR_ARCHITECTURE(bytes64, bytes32), "offset of " #record "." #field)
#define CHECK_FIELD_SIZE(record, field, bytes) \
  static_assert(sizeof(((record *)0)->field) == (bytes), "size of " #record "." #field)

static_assert(sizeof(int) == 4 && sizeof(short) == 2 && sizeof(double) == 8, "the types of the records");

CHECK_SIZE(ImageInfo, 352, 348);
CHECK_OFFSET(ImageInfo, overflow_count, 0, 0);
CHECK_OFFSET(ImageInfo, start_angle, 8, 4);
CHECK_OFFSET(ImageInfo, reserved_angle, 16, 12);
CHECK_OFFSET(ImageInfo, distance, 24, 20);
CHECK_OFFSET(ImageInfo, oscillation_range, 32, 28);
CHECK_OFFSET(ImageInfo, wavelength, 40, 36);
CHECK_OFFSET(ImageInfo, exposure_time, 48, 44);
CHECK_OFFSET(ImageInfo, host_fields, 56, 52);
CHECK_OFFSET(ImageInfo, minimum, 80, 76);
CHECK_OFFSET(ImageInfo, maximum, 84, 80);
CHECK_OFFSET(ImageInfo, average, 88, 84);
CHECK_OFFSET(ImageInfo, file_name, 96, 92);

CHECK_SIZE(ImageData, 48, 36);
CHECK_OFFSET(ImageData, host_first, 0, 0);
CHECK_OFFSET(ImageData, Daten, 8, 4);
CHECK_OFFSET(ImageData, width, 16, 8);
CHECK_OFFSET(ImageData, height, 20, 12);
CHECK_OFFSET(ImageData, host_middle, 24, 16);
CHECK_OFFSET(ImageData, overflows, 40, 32);

CHECK_SIZE(Mar345Header, 1664, 1652);
CHECK_OFFSET(Mar345Header, program, 0, 0);
CHECK_OFFSET(Mar345Header, date, 256, 256);
CHECK_OFFSET(Mar345Header, format, 512, 512);
CHECK_OFFSET(Mar345Header, high, 768, 768);
CHECK_OFFSET(Mar345Header, pixel_length, 772, 772);
CHECK_OFFSET(Mar345Header, pixel_height, 776, 776);
CHECK_OFFSET(Mar345Header, roff, 780, 780);
CHECK_OFFSET(Mar345Header, toff, 784, 784);
CHECK_OFFSET(Mar345Header, gap, 788, 788);
CHECK_OFFSET(Mar345Header, adc_a, 820, 820);
CHECK_OFFSET(Mar345Header, adc_b, 824, 824);
CHECK_OFFSET(Mar345Header, add_a, 828, 828);
CHECK_OFFSET(Mar345Header, add_b, 832, 832);
CHECK_OFFSET(Mar345Header, multiplier, 840, 836);
CHECK_OFFSET(Mar345Header, gain, 848, 844);
CHECK_OFFSET(Mar345Header, wavelength, 856, 852);
CHECK_OFFSET(Mar345Header, distance, 864, 860);
CHECK_OFFSET(Mar345Header, resolution, 872, 868);
CHECK_OFFSET(Mar345Header, phi_start, 880, 876);
CHECK_OFFSET(Mar345Header, phi_end, 888, 884);
CHECK_OFFSET(Mar345Header, phi_osc, 896, 892);
CHECK_OFFSET(Mar345Header, omega_start, 904, 900);
CHECK_OFFSET(Mar345Header, omega_end, 912, 908);
CHECK_OFFSET(Mar345Header, omega_osc, 920, 916);
CHECK_OFFSET(Mar345Header, chi, 928, 924);
CHECK_OFFSET(Mar345Header, twotheta, 936, 932);
CHECK_OFFSET(Mar345Header, center_x, 944, 940);
CHECK_OFFSET(Mar345Header, center_y, 952, 948);
CHECK_OFFSET(Mar345Header, mode, 960, 956);
CHECK_OFFSET(Mar345Header, time, 1216, 1212);
CHECK_OFFSET(Mar345Header, counts_start, 1224, 1220);
CHECK_OFFSET(Mar345Header, counts_end, 1228, 1224);
CHECK_OFFSET(Mar345Header, nmeas, 1232, 1228);
CHECK_OFFSET(Mar345Header, intensity_min, 1240, 1232);
CHECK_OFFSET(Mar345Header, intensity_max, 1248, 1240);
CHECK_OFFSET(Mar345Header, intensity_avg, 1256, 1248);
CHECK_OFFSET(Mar345Header, intensity_sig, 1264, 1256);
CHECK_OFFSET(Mar345Header, int_start, 1272, 1264);
CHECK_OFFSET(Mar345Header, int_end, 1276, 1268);
CHECK_OFFSET(Mar345Header, int_mean, 1280, 1272);
CHECK_OFFSET(Mar345Header, int_sig, 1288, 1280);
CHECK_OFFSET(Mar345Header, histogram, 1296, 1288);
CHECK_OFFSET(Mar345Header, kv, 1312, 1300);
CHECK_OFFSET(Mar345Header, ma, 1320, 1308);
CHECK_OFFSET(Mar345Header, source, 1328, 1316);
CHECK_OFFSET(Mar345Header, collimator_width, 1584, 1572);
CHECK_OFFSET(Mar345Header, collimator_height, 1592, 1580);
CHECK_OFFSET(Mar345Header, slit1_x, 1600, 1588);
CHECK_OFFSET(Mar345Header, slit1_y, 1608, 1596);
CHECK_OFFSET(Mar345Header, slit2_x, 1616, 1604);
CHECK_OFFSET(Mar345Header, slit2_y, 1624, 1612);
CHECK_OFFSET(Mar345Header, beamstop, 1632, 1620);
CHECK_OFFSET(Mar345Header, xtal, 1640, 1628);
CHECK_OFFSET(Mar345Header, trans1, 1648, 1636);
CHECK_OFFSET(Mar345Header, trans2, 1656, 1644);

CHECK_SIZE(PackedFileHeader, 2400, 2400);
CHECK_OFFSET(PackedFileHeader, width, 0, 0);
CHECK_OFFSET(PackedFileHeader, height, 4, 4);
CHECK_OFFSET(PackedFileHeader, host_fields, 8, 8);

/* What offsets alone leave open. */
CHECK_FIELD_SIZE(ImageInfo, average, 8);
CHECK_FIELD_SIZE(ImageInfo, file_name, 256);
CHECK_FIELD_SIZE(ImageData, overflows, 4);
CHECK_FIELD_SIZE(Mar345Header, add_b, 4);
CHECK_FIELD_SIZE(Mar345Header, nmeas, 4);
CHECK_FIELD_SIZE(Mar345Header, histogram, 12);
CHECK_FIELD_SIZE(Mar345Header, trans2, 8);
CHECK_FIELD_SIZE(PackedFileHeader, host_fields, 2392);

static_assert(OVERFLOW_MARK == 256001, "the mark of overflowed pixels");
static_assert(IMAGE_TYPE_UNKNOWN == 0 && IMAGE_TYPE_TRA == 1 && IMAGE_TYPE_XI == 2 && IMAGE_TYPE_PCK == 3 &&
                  IMAGE_TYPE_MAR2300 == 4 && IMAGE_TYPE_IMG == 6 && IMAGE_TYPE_IFF == 7 && IMAGE_TYPE_EDF == 8 &&
                  IMAGE_TYPE_TIFF == 9 && IMAGE_TYPE_RAW == 10 && IMAGE_TYPE_MAR2000 == 12,
              "the image type codes");

#endif
