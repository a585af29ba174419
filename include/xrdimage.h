/*
 * xrdimage: two-dimensional X-ray diffraction detector images.
 *
 * This is the library's one public header; it serves C (from C89 on, where <stdint.h> is) and C++ alike.
 *
 * Images
 *   An image is a `Daten` array: unsigned 32-bit pixel values, row by row; the pixel of column x and row y is
 *   element y * width + x. A `Daten_ushort` array is the same with unsigned 16-bit values. Width and height are
 *   `int` values that the caller keeps; where either is below 1, or their product fits no `int`, an array that the
 *   caller passes counts as empty. Arrays that a function hands back come from malloc: the caller owns them and
 *   releases them with free.
 *
 * Messages
 *   Functions report on standard output, as they go; only to_short's shift line goes to standard error. German
 *   messages are in ISO-8859-1. Each function's comment quotes what it prints; RED(ERROR) stands for the word in
 *   bold red, "\033[31;1mERROR\033[0m".
 *
 * Errors
 *   Most functions return 0 whatever happens. A failure shows as a printed message and as outputs that are left as
 *   they were. No function throws. An image of more than 268435456 (2^28) pixels is refused where the library
 *   would have to allocate it: no detector comes near, and a damaged header must not exhaust the memory.
 *
 * Locales
 *   Numbers in files and messages have a decimal point, and white space is that of ASCII, whatever locale the process
 *   or the thread has set. The caller's locale stays as it is, and its streams, commands and libtiff run in it.
 *
 * Threads
 *   Functions may be called from several threads at once unless a comment says otherwise.
 */
#ifndef XRDIMAGE_H
#define XRDIMAGE_H

#include <stdint.h>
#include <stdio.h>

#if defined(__GNUC__)
#define XRDIMAGE_API __attribute__((visibility("default")))
#else
#define XRDIMAGE_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------------------------------------------------------
 * Shared records and constants
 * ------------------------------------------------------------------------------------------------------------ */

/* The pixel value that readers store where the true value is unknown because the pixel overflowed. */
#define OVERFLOW_MARK 256001U

/* What get_image_type returns. Callers rely on these exact numbers; 5 and 11 are unused. */
enum {
  IMAGE_TYPE_UNKNOWN = 0,
  IMAGE_TYPE_TRA = 1,
  IMAGE_TYPE_XI = 2,
  IMAGE_TYPE_PCK = 3,     /* CCP4-packed image behind a 2400-byte header */
  IMAGE_TYPE_MAR2300 = 4, /* mar345 image plate, 2300 x 2300 */
  IMAGE_TYPE_IMG = 6,     /* CCD image with an ADSC-style key=value header */
  IMAGE_TYPE_IFF = 7,
  IMAGE_TYPE_EDF = 8,
  IMAGE_TYPE_TIFF = 9,    /* plain TIFF, and MarCCD */
  IMAGE_TYPE_RAW = 10,    /* headerless 16-bit pixels */
  IMAGE_TYPE_MAR2000 = 12 /* mar345 image plate, 2000 x 2000 */
};

/* Summary of a frame's header, owned by the caller. A reader writes only the fields named in its comment. */
typedef struct ImageInfo {
  int overflow_count;       /* pixels that overflowed, as stated in the header */
  double start_angle;       /* degrees */
  double reserved_angle;    /* set to 0.0 by every reader */
  double distance;          /* crystal to detector, millimetres */
  double oscillation_range; /* degrees */
  double wavelength;        /* angstrom */
  double exposure_time;     /* seconds */
  char host_fields[24];     /* the caller's own; the library neither reads nor writes them */
  int minimum;              /* smallest intensity */
  int maximum;              /* largest intensity */
  double average;           /* average intensity */
  char file_name[256];      /* NUL-terminated; a longer path is cut */
} ImageInfo;

/* The image record that the MarCCD reader fills. */
typedef struct ImageData {
  int host_first;      /* the caller's own */
  unsigned int *Daten; /* width x height pixels, allocated by the reader, owned by the caller */
  int width;           /* pixels per row */
  int height;          /* rows */
  int host_middle[4];  /* the caller's own */
  int overflows;       /* number of overflowed pixels */
} ImageData;

/*
 * The text header of a mar345 image plate file. Text fields are NUL-terminated; longer values are cut. read_marheader
 * fills the fields marked with their keyword; the others exist because print_marheader prints them.
 */
typedef struct Mar345Header {
  char program[256]; /* PROGRAM */
  char date[256];    /* DATE: five words joined by blanks */
  char format[256];  /* FORMAT */
  int high;          /* HIGH: number of pixels above 16 bits */
  int pixel_length;  /* PIXEL LENGTH, micrometres */
  int pixel_height;  /* PIXEL HEIGHT, micrometres */
  int roff;          /* ROFF */
  int toff;          /* TOFF */
  int gap[8];
  int adc_a;
  int adc_b;
  int add_a;
  int add_b;
  double multiplier;
  double gain;
  double wavelength; /* WAVELENGTH, angstrom */
  double distance;   /* DISTANCE, millimetres */
  double resolution;
  double phi_start; /* PHI START, degrees */
  double phi_end;   /* PHI END, degrees */
  double phi_osc;   /* phi_end - phi_start */
  double omega_start;
  double omega_end;
  double omega_osc;
  double chi;
  double twotheta;
  double center_x;
  double center_y;
  char mode[256];
  double time; /* TIME, seconds */
  int counts_start;
  int counts_end;
  int nmeas;
  double intensity_min; /* INTENSITY MIN */
  double intensity_max; /* INTENSITY MAX */
  double intensity_avg; /* INTENSITY AVE */
  double intensity_sig;
  int int_start;
  int int_end;
  double int_mean;
  double int_sig;
  int histogram[3];
  double kv;
  double ma;
  char source[256];
  double collimator_width;
  double collimator_height;
  double slit1_x;
  double slit1_y;
  double slit2_x;
  double slit2_y;
  double beamstop;
  double xtal;
  double trans1;
  double trans2;
} Mar345Header;

/* The 2400 bytes in front of a packed image file; written unchanged. */
typedef struct PackedFileHeader {
  int width;
  int height;
  char host_fields[2392]; /* the caller's own */
} PackedFileHeader;

/* ---------------------------------------------------------------------------------------------------------------
 * Format detection and readers
 * ------------------------------------------------------------------------------------------------------------ */

/*
 * Returns the kind of image in the file `filename`: one of the IMAGE_TYPE_ codes.
 *
 * Runs "file PATH | grep WORD >/dev/null" through the system shell for the words TIFF, tif, edf, mar2300, mar2000,
 * pck, img, IFF, raw, TRA, tra, xi, in this order; the first word found decides, whether in the description or in
 * the path itself. The file need not exist. A path of letters, digits and _-./+=:,@% enters the command unchanged,
 * any other is quoted; "./" goes before a leading '-'.
 *
 * If no word is found: prints "# RED(ERROR) COMMAND returned -1\n" with the last command and returns
 * IMAGE_TYPE_UNKNOWN.
 */
XRDIMAGE_API int get_image_type(const char *filename);

/*
 * Reads a headerless file of unsigned 16-bit little-endian pixels into a new array `*daten` of width x height
 * values (0 to 65535).
 *
 * Asks for the size on standard output, "# Detector x y [1200 1200]> ", and reads one line of standard input;
 * unless that has two numbers, the size is 1200 x 1200. Prints "# N kB f\374r Daten bereitgestellt\n" (N: kibibytes of
 * the array). Pixels past the end of a short file are 0; further bytes are ignored.
 *
 * The stream that it opens stays open for the life of the process.
 *
 * Always returns 0. When the file cannot be opened: "# RED(ERROR) READING PATH\n", no prompt, outputs untouched.
 * When the size is negative or too large: "# RED(ERROR) READING PATH: cannot allocate
 * W x H pixels\n", outputs untouched.
 */
XRDIMAGE_API int read_raw(const char *filename, unsigned int **daten, int *width, int *height);

/*
 * Reads a CCD frame with an ADSC-style text header: lines "KEY=value;" up to a line that begins with a closing brace,
 * then 16-bit pixels. `reserved` is ignored.
 *
 * `*width` and `*height` come from SIZE1 and SIZE2; if one is missing, the caller's value is used. The other
 * outputs are DISTANCE (millimetres), WAVELENGTH (angstrom), OSC_START, OSC_RANGE (degrees) and TIME (seconds),
 * unchanged; -1.0 if missing, also when the file cannot be opened.
 *
 * `*daten` has width x height 32-bit values, but its first half holds the samples side by side, two to a value; the
 * second half is 0. Unless the header has BYTE_ORDER=big_endian with no semicolon attached, the bytes of every
 * second sample, from the first on, are exchanged.
 *
 * Prints a summary of four lines, the byte order decision, and "# W H * 4 bereitgestellt\n". Always returns 0. When the
 * file cannot be opened: "# ERROR reading File PATH\n", ERROR between two reset sequences "\033[0m"; the image
 * outputs are untouched. For an invalid size: the same line with ": cannot allocate W x H pixels" behind the path.
 */
XRDIMAGE_API int read_bnl(const char *filename, int reserved, unsigned int **daten, int *width, int *height,
                          double *distance, double *wavelength, double *osc_start, double *osc_range, double *time);

/*
 * Reads an EDF header (the ESRF data format) from `stream`, up to and including a line that begins with a closing
 * brace:
 * `*width` (Dim_1), `*height` (Dim_2), `*bits` (BitsPerSample). A missing value leaves its output untouched. If `*bits`
 * is then -1, DataType decides: 32 for UnsignedInteger, 16 for UnsignedShort.
 *
 * Prints what it found, or "# Datatype TYPE nicht bekannt. Bitte mit -b <bits> starten\n". Always returns 0; at once
 * for a null stream.
 */
XRDIMAGE_API int read_edf_header(FILE *stream, int *width, int *height, int *bits);

/*
 * Reads an EDF frame into a new array `*daten` of width x height 32-bit values. `*bits` is the caller's setting, or -1
 * for the header's. Samples are stored as in the file, whatever its ByteOrder, packed from the array's
 * first byte on: 16-bit samples fill its first half, 8-bit ones its first quarter; the rest is 0. Samples wider than 32
 * bits fill the array up to its end.
 *
 * Without Dim_1 the size is asked for: "# Detector x y [1242 1152]> ". Prints what read_edf_header prints, "# N kB
 * f\374r Daten bereitgestellt\n" and "# W x H BITSbit char read\n".
 *
 * Always returns 0. When the file cannot be opened: "# ERROR READING PATH\n", ERROR between two reset sequences
 * "\033[0m", `*width` 0, the other outputs untouched. For an invalid size: the same line with ": cannot allocate
 * W x H pixels" behind the path, `*width` 0, `*daten` and `*height` untouched.
 */
XRDIMAGE_API int read_edf(const char *filename, unsigned int **daten, int *bits, int *width, int *height);

/*
 * Writes an EDF file that declares unsigned 16-bit (edf16_write) or 32-bit (edf32_write) pixels. Both write four bytes
 * per pixel, little-endian. Dimensions above 32767 are stated as negative numbers, as callers expect.
 *
 * When the file cannot be opened: "# ERROR opening PATH\n", ERROR between two reset sequences "\033[0m". A negative
 * size is refused with the same line and ": cannot write W x H pixels" behind the path. Write errors are not reported.
 */
XRDIMAGE_API void edf16_write(const char *filename, const unsigned int *data, int width, int height);
XRDIMAGE_API void edf32_write(const char *filename, const unsigned int *data, int width, int height);

/*
 * Reads the header of a SAINT frame, 96 records of 80 bytes (Bruker's publicly documented format), from `stream`, which
 * is left at byte 7680 (behind ENDING2 if that comes later): `*ncols` (NCOLS) and `*nrows` (NROWS), untouched if
 * the record is missing. Records are read up to ENDING2 or the end of the file. Always returns 0, prints nothing.
 */
XRDIMAGE_API int read_saint_header(FILE *stream, int *ncols, int *nrows);

/*
 * Reads a SAINT frame of unsigned 16-bit pixels into a new array `*daten`. A size that the header does not state is
 * taken from `*width` and `*height`. Overflow tables are not read. Prints "# N kB f\374r Daten bereitgestellt\n".
 *
 * The stream that it opens stays open for the life of the process. Always returns 0. When the file cannot be opened:
 * "# ERROR READING PATH\n", ERROR between two reset sequences "\033[0m", outputs untouched. For an invalid size: the
 * same line with ": cannot allocate W x H pixels" behind the path.
 */
XRDIMAGE_API int read_saint(const char *filename, unsigned int **daten, int *width, int *height);

/*
 * Reads a TIFF image into a new array `*daten`: the decoded strips as signed 16-bit samples, sign-extended (40000
 * becomes 4294941760), whatever the tags say about depth and format. Pixels that the strips lack are 0. `reserved` is
 * ignored. libtiff prints its own warnings and errors.
 *
 * Always returns 0. When the file cannot be opened: "# ERROR reading file PATH\n", ERROR between two reset sequences
 * "\033[0m", outputs untouched. For an invalid size: the same line with ": cannot allocate W x H pixels" behind the
 * path. When memory for the array runs out the process ends with an assertion failure.
 */
XRDIMAGE_API int read_tiff(const char *filename, unsigned int **daten, int reserved, int *width, int *height);

/*
 * Reads the binary header of a MarCCD frame into `info`: overflow_count, start_angle, reserved_angle (0), distance,
 * oscillation_range and exposure_time (fractions dropped), wavelength, and file_name, where the path is taken as a
 * format string as in read_mar_header. Other fields are untouched.
 *
 * Returns 1, or 0 with `info` untouched: when the file cannot be opened, with "# RED(ERROR) reading PATH\n"; when the
 * header is not whole, with "Not read correctly! Abandoning.\n" (the file is left open then).
 */
XRDIMAGE_API int read_mar_ccd_header(const char *filename, ImageInfo *info);

/*
 * Reads a MarCCD frame: data->Daten (new array), data->width, data->height, and data->overflows, the header's count
 * plus the pixels from 32768 on, which become OVERFLOW_MARK. `*distance` is the caller's distance setting, millimetres:
 * -999.0 is replaced by the header's, any other value is kept. Silences libtiff's warnings for the rest of the process.
 *
 * Returns 1 or 0. When the file cannot be opened nothing is printed; when the header is incomplete, "Not read
 * correctly! Abandoning.\n" (the file is left open then); records are untouched in both cases. When libtiff cannot open
 * it:
 * "# RED(ERROR) reading file PATH\n", with `*distance` and data->overflows set already; for an invalid size, the same
 * line with ": cannot allocate W x H pixels" behind the path. When memory for the array runs out the process ends
 * with an assertion failure.
 */
XRDIMAGE_API int read_mar_ccd(const char *filename, ImageData *data, double *distance);

/* ---------------------------------------------------------------------------------------------------------------
 * CCP4 packed images
 *
 * A lossless compression of 16-bit images, publicly known as the CCP4 "pack" format (J. P. Abrahams): every pixel is
 * stored as its difference from a prediction made of its left and upper neighbours; 1 to 128 differences form a chunk
 * of equally wide bit fields. The header line is "\nCCP4 packed image, X: %04d, Y: %04d\n".
 * ------------------------------------------------------------------------------------------------------------ */

/*
 * Decodes the packed image of the file `filename`, wherever in the file its header line stands, into `img`, which must
 * have room for the width x height 16-bit values that the header line states.
 *
 * Always returns 0. Without a header line nothing is written. When the file cannot be opened: "# PATH does not
 * exist." (no line feed), `img` untouched. Data that end early are continued with one bits, so the rest of the
 * image has no meaning.
 */
XRDIMAGE_API int readpack_word_c(short *img, const char *filename);

/*
 * Decodes x * y pixels (x: pixels per row, y: rows) from `stream`, positioned at the first byte of the bit stream,
 * into `img`. Pixels are stored as 16-bit values (those above 32767 come out negative).
 *
 * Reads only the bytes that it needs, also from pipes: afterwards the stream is positioned behind the byte with the
 * last bit used. Data that end early are continued with one bits. An empty image takes nothing from the stream.
 * In an image one pixel wide, the prediction depends on what `img` held before.
 *
 * Always returns 0, prints nothing.
 */
XRDIMAGE_API int unpack_word(FILE *stream, int x, int y, short *img);

/*
 * Writes the x * y image `img` (x: pixels per row, y: rows) to `stream` as header line and bit stream. An image with
 * more than one pixel in a single row gets one extra difference, of 0, behind its last pixel; decoders ignore it. Ends
 * with the last byte begun, or one byte more when the bits ended on a byte boundary. Write errors are not reported.
 */
XRDIMAGE_API void pack_wordimage_c(short *img, int x, int y, FILE *stream);

/*
 * The differences between pixels and predictions, from pixel index `done` on, into `diffs`: at most 16384, up to the
 * last pixel of the x * y image (and the extra difference of a one-row image). Returns the address of the last
 * difference written, `diffs` - 1 if there was none.
 */
XRDIMAGE_API int32_t *diff_words(short *img, int x, int y, int32_t *diffs, int32_t done);

/*
 * The bits that `n` differences need as one chunk, without the chunk's header: n times 0, 4, 5, 6, 7, 8, 16 or 32, as
 * the largest magnitude demands. Magnitudes up to 65535 count as 16 bits, because pixels wrap at 16 bits.
 */
XRDIMAGE_API int bits(int32_t *chunk, int n);

/*
 * Appends a chunk of `nmbr` differences (a power of two from 1 to 128) of `bitsize` bits (0, 4, 5, 6, 7, 8, 16, 32) to
 * the calling thread's output buffer, which is written to `stream` when it fills up. With `lng` null: writes the
 * buffer, including the byte that is being filled, and begins afresh with the next chunk. Each thread has its
 * own buffer, and pack_wordimage_c has one for every call. Invalid arguments (nmbr outside 1 to 128, bitsize
 * outside 0 to 32) append nothing.
 */
XRDIMAGE_API void pack_chunk(int32_t *lng, int nmbr, int bitsize, FILE *stream);

/*
 * Appends the low `size` bits (1 to 32) of each of the `n` values to the bytes at `*target`, from bit `*bit` (0 to 7)
 * on, lowest bit first, and moves both on to the next free bit. A byte is overwritten when its first bit is, so
 * earlier contents do not matter. Other sizes or bit positions do nothing.
 */
XRDIMAGE_API void pack_longs(int32_t *lng, int n, unsigned char **target, int *bit, int size);

/*
 * Reads a packed file (2400-byte header) into a new array `*Daten` of 1200 x 1200 pixels, whatever the file says, with
 * sign extension (40000 becomes 4294941760). A larger packed image is cut, missing pixels are 0. Sets `*x` and
 * `*y` to 1200.
 *
 * A header of another size: "# RED(WARNING) Dimension WxH auf 1200x1200 gesetzt\n". Always returns 0. When the file
 * cannot be opened: "# \033[0mERROR\033s [0m opening PATH\n", outputs untouched.
 */
XRDIMAGE_API int read_pck(const char *filename, unsigned int **Daten, int *x, int *y);

/*
 * Writes a packed file: `header` unchanged, then the header.width x header.height pixels of `img`. `unused` has no
 * effect. Always returns 0. When the file cannot be opened: "# RED(ERROR) opening PATH" (no line feed). Write errors
 * are not reported.
 */
XRDIMAGE_API int tomar(const char *filename, short *img, int unused, PackedFileHeader header);

/* ---------------------------------------------------------------------------------------------------------------
 * mar345 image plate files
 *
 * A binary header of 32-bit words, a text header, overflow records and a CCP4-packed image. Messages of these
 * functions begin with "ERROR> " or "WARNING> ".
 * ------------------------------------------------------------------------------------------------------------ */

/*
 * Reads the text header of the file `path` into `*header`.
 *
 * Values are looked for in the order PROGRAM, DATE, FORMAT, HIGH, LENGTH/HEIGHT, ROFF/TOFF, WAVELENGTH, DISTANCE, TIME,
 * INTENSITY, PHI, each at the first occurrence of its first letter behind the keyword before; if something
 * else stands there, the fields keep their values; callers rely on it. `date` and `phi_osc` are always rewritten.
 *
 * Returns how many of the two PHI values were read (-1 when the text ends there), or 0 with the record untouched when
 * the file cannot be opened. Prints nothing.
 */
XRDIMAGE_API int read_marheader(Mar345Header *header, const char *path);

/* Prints the record in twenty lines. Returns the result of the last print. */
XRDIMAGE_API int print_marheader(const Mar345Header *header);

/*
 * Reads the text header of `path`, prints it as print_marheader does, and fills `info`: start_angle (0, as no OMEGA
 * value is read), reserved_angle (0), distance, oscillation_range, wavelength, minimum and maximum (truncated), average
 * and file_name. In file_name the path is taken as a format string: "%d" becomes "0", "%s" nothing, "%%" a percent
 * sign. Values that were not found, or a file that cannot be opened, count as 0. Always returns 1.
 */
XRDIMAGE_API int read_mar_header(const char *path, ImageInfo *info);

/*
 * Reads the mar345 image `path`, either layout and byte order, into a new array `*Daten` of `*x` x `*y` pixels.
 * Overflow records are merged in; a pixel whose value is 256000 or more (older layout: 65356 or more), or negative,
 * becomes OVERFLOW_MARK. A packed image larger than the header says is cut; pixels that a smaller one lacks are 0.
 *
 * Returns 1, or 0 with the outputs untouched when the file cannot be opened (nothing is printed) or when its header
 * states an invalid size ("ERROR> Cannot allocate W x H pixels for PATH\n"). A damaged header is reported and
 * used all the same: see gethead and int_getpck. When memory for the array runs out the process ends with an
 * assertion failure. The stream that it opens stays open for the life of the process.
 */
XRDIMAGE_API int new_read_pck(const char *path, unsigned int **Daten, int *x, int *y);

/*
 * Reads the ten header words from `stream`: `*new_layout` (1 or 0), `*size` (pixels per row, and rows), `*swapped` (1
 * when the file's byte order is not the processor's) and `*overflow_count` (number of overflow records). Leaves the
 * stream at the first overflow record.
 *
 * Prints "ERROR> Cannot read header\n" when there are fewer than ten words (missing ones count as 0) and "ERROR>
 * Something wrong with header: \n" when the first word, in the right order, is not from 100 to 5000; goes on in
 * both cases. Returns the result of the final fseek: 0 on success.
 */
XRDIMAGE_API int gethead(int *new_layout, FILE *stream, int *size, int *swapped, int *overflow_count);

/*
 * Fills `image` (width x height values) from the packed image in the file `path` and the `overflow_count` overflow
 * records of `stream`; values of `limit` and more become -1. `record` (two values) receives each record in turn. The
 * stream is left behind the last record read. `unused1` and `unused2` have no effect.
 *
 * Prints "WARNING> cannot read overflow pixel # N!\n         Overflow pixel will be ignored\n" when records are
 * missing, N being the missing record's number plus 1; "ERROR> Cannot allocate W x H pixels for PATH\n" leaves `image`
 * untouched.
 */
XRDIMAGE_API void int_getpck(int *image, int *record, short unused1, int unused2, const char *path, int new_layout,
                             FILE *stream, int width, int height, int overflow_count, int swapped, int limit);

/* Like readpack_word_c, but the message is "ERROR> PATH does not exist." (no line feed). */
XRDIMAGE_API void readpck(short *image, const char *path);

/* Reverses the four bytes of each whole 32-bit word in the first `nbytes` bytes of `data`. */
XRDIMAGE_API void swapword(void *data, int nbytes);

/*
 * Exchanges the bytes of each 16-bit word in the first `nbytes` bytes of `data`. The old high byte is shifted down as
 * a signed number, so from 0x80 on it leaves 0xff above it: 0xabcd becomes 0xffab.
 */
XRDIMAGE_API void swapbytes(short *data, int nbytes);

/* Returns the 16-bit code of a value up to 131067, in steps of 1, 2, 4 or 8; 0x8000 for others. */
XRDIMAGE_API short packi32(int value);

/*
 * Returns the value of a 16-bit code. Not the exact inverse of packi32. Prints "unpacking CODE " and, for codes outside
 * 0 to 16383 (-32767 excepted), the number of the branch taken, " 1 " to " 4 ".
 */
XRDIMAGE_API int unpack_i32(short code);

/*
 * Copies the low byte of each element to successive characters, up to and including the first element that is 0.
 * Returns `target`.
 */
XRDIMAGE_API char *long_to_char(const int *source, char *target);

/* Turns the n x n image clockwise by a quarter, in place. */
XRDIMAGE_API void rotate_clock1(unsigned short *image, int n);

/* ---------------------------------------------------------------------------------------------------------------
 * XDS correction files
 *
 * The images that the data processing program XDS leaves behind, through streams that the caller opens. Values are 4
 * bytes each and are not interpreted.
 * ------------------------------------------------------------------------------------------------------------ */

/*
 * Reads the 1187 values of a correction record into `buffer`. Fewer: "ERROR> Wrong number of bytes in corr-file: N \n"
 * (N: values read), the rest of the buffer is untouched. Returns the number of values read.
 */
XRDIMAGE_API int getcorr(void *buffer, FILE *stream);

/* The same for the x * y values of MODPIX.XDS; the message names that file. None are read when x or y is below 1. */
XRDIMAGE_API int getmod(void *buffer, FILE *stream, int x, int y);

/*
 * Closes `modpix` if `name` is exactly "MODPIX.XDS", `bkgpix` if it is "BKGPIX.XDS", `other` for any other name.
 * Returns the result of fclose, or EOF when that stream is null. Streams that the name does not select may be null.
 */
XRDIMAGE_API int fileclose(const char *name, FILE *modpix, FILE *bkgpix, FILE *other);

/*
 * Rewinds the stream that fileclose would close; for "MODPIX.XDS" `other` as well: callers rely on it. Null streams
 * are ignored.
 */
XRDIMAGE_API void filerewind(const char *name, FILE *modpix, FILE *bkgpix, FILE *other);

/* Runs "/bin/rm tmp.image" in the system shell and returns what system() returns. */
XRDIMAGE_API int filedelete(void);

/* ---------------------------------------------------------------------------------------------------------------
 * Image operations: pixel grid
 *
 * These functions free the caller's array and store a new one, with its size: other pointers into the old array are
 * invalid afterwards. A failure (negative sizes, a factor below 1, no memory) leaves array and size
 * untouched, and prints a message that begins with "# RED(ERROR): cannot ".
 * ------------------------------------------------------------------------------------------------------------ */

/*
 * Sums blocks of factor x factor pixels, wrapping at 32 bits. The new width is twice the number of whole double blocks
 * in the old one, and so even; the height likewise. A block that holds OVERFLOW_MARK becomes OVERFLOW_MARK. With a
 * factor of 1, the last column (row) of an even width (height) becomes 0.
 *
 * Returns the largest sum, to be read as unsigned; a marked block counts with its sum. Returns 0 after a message.
 */
XRDIMAGE_API int binning(unsigned int **Daten, int factor, int *width, int *height);

/*
 * Bins a 16-bit image to width / factor x height / factor pixels, each the mean along its block's diagonal, rounded
 * half to even. When two or more columns are left over, the block that they begin is stored in the first pixel of the
 * next row, as callers expect. With a factor of 1 the last column and row become 0. Returns 0.
 */
XRDIMAGE_API int short_binning(unsigned short **Daten_ushort, int factor, int *width, int *height);

/*
 * Crops the image to new_width x new_height pixels, or pads it with 0, at its right and bottom.
 *
 * Prints "# fitting dimension from WxH to WxW\n" (the new width twice), "# RED(WARNING): IMAGE width too large,
 * stripping N\n" and the same for the height where it applies, and "# N kB f\374r Daten bereitgestellt\n". Returns 0.
 */
XRDIMAGE_API int fit_to_new_dimension(unsigned int **Daten, int *width, int *height, int new_width, int new_height);

/* The same for a 16-bit image. Prints the warnings only. */
XRDIMAGE_API int fit_to_new_dimension_short(unsigned short **Daten_ushort, int *width, int *height, int new_width,
                                            int new_height);

/* ---------------------------------------------------------------------------------------------------------------
 * Image operations: intensities
 *
 * All work in place on 32-bit arrays. "Short" in a name stands for the 16-bit oriented limits that it uses.
 * ------------------------------------------------------------------------------------------------------------ */

/* Largest and smallest of the width x height pixels; `*min` is at most 999999999, also when there are no pixels. */
XRDIMAGE_API void find_maximum(unsigned int *Daten, int width, int height, unsigned int *max, unsigned int *min);

/* As find_maximum, with 65535 instead of 999999999. */
XRDIMAGE_API void find_short_maximum(unsigned int *Daten, int width, int height, unsigned int *max, unsigned int *min);

/* Background level: the mean of pixels 512 to 521, truncated. The array must have at least 522 pixels. */
XRDIMAGE_API unsigned int find_background(unsigned int *Daten);

/*
 * Replaces each pixel by the mean of a window from `radius` pixels before it to `radius` - 1 behind it in both
 * directions, cut at the image's borders. Row by row in place: later windows see the means already stored.
 * The 32-bit sum wraps and is divided as a signed number, truncated. A radius below 1 changes nothing.
 */
XRDIMAGE_API void mittle_Daten(unsigned int *Daten, int width, int height, int radius);

/* Prints "# Inverting Data...\n" and replaces each of the `n` pixels v by 16777215 - v (wrapping at 32 bits). */
XRDIMAGE_API void invert_data(unsigned int *Daten, int n);

/*
 * Prints "# logscaling Data with logscale L...\n" and replaces each of the `n` pixels p by
 * max * ln((p - min) * logscale / (max - min) + 1) / ln(logscale), computed in extended precision and truncated.
 * p - min is an unsigned 32-bit difference. Results that are not a number or do not fit 64 bits become 0. Returns 0.
 */
XRDIMAGE_API int logarith_data(unsigned int *Daten, int n, int logscale, int min, int max);

/* Multiplies each pixel by the whole number in 10000 / largest pixel (the latter taken as signed), wrapping. */
XRDIMAGE_API void scale_up(unsigned int *Daten, int width, int height);

/* Multiplies each pixel by target / largest pixel in extended precision and truncates. */
XRDIMAGE_API void scale_up_short(unsigned int *Daten, int width, int height, int target);

/*
 * Makes a new 16-bit array `*Daten_ushort` of the `n` pixels, shifted right until `maximum`, the largest of them, fits
 * 16 bits. Larger pixels wrap. Prints "# RED(WARNING) Die Intensit\344ten werden halbiert, damit sie in 16bit passen\n"
 * for each bit shifted, "(to_short) shift = S\n" on standard error, and "# N kB f\374r Daten_ushort bereitgestellt\n".
 * Returns 0. When the array cannot be allocated: "# RED(ERROR) cannot allocate N pixels\n", output untouched.
 */
XRDIMAGE_API int to_short(unsigned int *Daten, unsigned short **Daten_ushort, int n, int maximum);

/* ---------------------------------------------------------------------------------------------------------------
 * Image operations: markers
 *
 * Drawn in place with the image's largest value, divided by `divisor` as a signed number (0 counts as 1). Whatever lies
 * outside the image is not drawn.
 * ------------------------------------------------------------------------------------------------------------ */

/*
 * Draws the outline of a rectangle around centre[0], centre[1] (column, row) that reaches box[0] pixels to the left,
 * box[1] up, box[2] to the right and box[3] down. Edges past the image are drawn on its border. The corner at the
 * bottom right stays open.
 */
XRDIMAGE_API void make_short_box(unsigned int *Daten, int width, int height, int *centre, int *box, int divisor);

/* Draws a cross at x, y. Its arms are width / 100 pixels long before the centre and one less behind it. */
XRDIMAGE_API void make_cross(unsigned int *Daten, int width, int height, int x, int y);

/* The same with arms of 20 pixels, and a divisor. */
XRDIMAGE_API void make_short_cross(unsigned int *Daten, int width, int height, int x, int y, int divisor);

/* ---------------------------------------------------------------------------------------------------------------
 * Image operations: Gaussian smoothing
 *
 * A cyclic convolution by FFTW 2. The samples of the kernel are exp(-(dx/sigma_x)^2 - (dy/sigma_y)^2) / (2 pi sigma_x
 * sigma_y), half a pixel off the centre for even sizes, and sum to about one half: the smoothed image is half as
 * bright. Larger images are smoothed in two threads, of which the second one gets no signals.
 * ------------------------------------------------------------------------------------------------------------ */

/* The real number of FFTW 2. */
typedef double fftw_real;

/*
 * Writes the kernel's x * y samples, wrapped around the corners, to `gauss`: x rows of y + 2 values, of which the last
 * two are left alone. Along an odd size the last position before the padding is left alone too. A sigma of 0 gives
 * infinities and NaN.
 */
XRDIMAGE_API void fill_gauss(fftw_real *gauss, int x, int y, float sigma_x, float sigma_y);

/*
 * Makes a new array `*gauss` of x * (y + 2) values, fills it by fill_gauss and transforms it in place. The caller frees
 * it. When memory runs out the process ends with an assertion failure; for an invalid size: "# RED(ERROR): cannot
 * smooth XxY pixels\n", output untouched.
 */
XRDIMAGE_API void init_gauss(fftw_real **gauss, int x, int y, float sigma_x, float sigma_y);

/*
 * Smooths the image after enlarging an odd width or height by one (through fit_to_new_dimension, which replaces the
 * array in any case and prints its messages). Results are magnitudes, truncated. The kernel, x * (y + 2) doubles, stays
 * allocated after each call. When memory for the kernel runs out the process ends with an assertion failure.
 */
XRDIMAGE_API void falte_gauss(unsigned int **Daten, int *x, int *y, int sigma_x, int sigma_y);

/* The same for a 16-bit image; results above 65535 wrap, and the kernel is freed. */
XRDIMAGE_API void falte_short_gauss(unsigned short **Daten_ushort, int *x, int *y, int sigma_x, int sigma_y);

/* ---------------------------------------------------------------------------------------------------------------
 * Display
 * ------------------------------------------------------------------------------------------------------------ */

/*
 * Writes the colour map: 255 lines "RED GREEN BLUE\n" of numbers from 0 to 255, for rising intensity. When the file
 * cannot be opened: "# RED(ERROR) opening PATH" (no line feed).
 */
XRDIMAGE_API void write_colormap(const char *path);

/*
 * Writes the low 16 bits of `n` pixels, little-endian and without a header, to `path`, and prints what to_short prints
 * and "# PATH written\n". When the file cannot be opened: "# RED(ERROR) opening PATH" (no line feed) before that line.
 * An invalid count is reported by to_short, and no file is touched.
 */
XRDIMAGE_API void write_zimg(const char *path, unsigned int *Daten, int n);

/* The same for pixels that are 16-bit already; to_short is not called. A negative count writes an empty file. */
XRDIMAGE_API void write_short_zimg(const char *path, unsigned short *Daten_ushort, int n);

/*
 * Shows the x * y image: writes NAME.raw (as write_zimg does) and "colormap.zimg" in the working directory, prints the
 * command "zimg --colormap=colormap.zimg --unsigned-short -r YxX --absolute=0-LARGEST -o NAME.png NAME.raw; xv
 * NAME.png" and runs it in the system shell, waiting for its end. LARGEST is the largest pixel divided by `divisor` (0
 * counts as 1). The file names in the command are quoted as in get_image_type. All files are left behind.
 *
 * Returns what system() returns, or -1 for an invalid size, with "# RED(ERROR) cannot show X x Y pixels\n".
 */
XRDIMAGE_API int view(const char *name, unsigned int *Daten, int x, int y, int divisor);

#ifdef __cplusplus
}
#endif

#endif /* XRDIMAGE_H */
