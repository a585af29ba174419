/*
 * xrdframe: two-dimensional X-ray diffraction frames with their true counts.
 *
 * A frame is what a detector measured: width x height counts, a mask of the pixels that have none, and the values of
 * the header. This library reads frames of the formats that xrd_format_keyword lists, changes them and writes them. It
 * is for C, from C89 on, and for C++; xrdframe.hpp is a thin wrapper for C++20.
 *
 *   xrd_frame *frame;
 *   char detail[XRD_DETAIL];
 *   if (xrd_load("a.mccd", NULL, &frame, detail) != XRD_OK) { fprintf(stderr, "a.mccd %s\n", detail); exit(1); }
 *   printf("%d x %d\n", xrd_width(frame), xrd_height(frame));
 *   xrd_free(frame);
 *
 * Results
 *   A function that can fail returns an xrd_result. On failure it leaves its outputs alone, and writes to `detail`, a
 *   buffer of XRD_DETAIL bytes or a null pointer, one line that says what is wrong, without the file's name:
 *   "is truncated: has 6 of 9 pixels". The line names options as the program's command line does: "--size". On success
 *   the buffer is left alone. A null pointer where an object or an output is needed is XRD_INVALID.
 *
 * Manners
 *   Nothing is printed or asked. No signal, locale or other state of the process is changed. Nothing is thrown. A lack
 *   of memory is XRD_NO_MEMORY and loses nothing.
 *
 * Ownership
 *   A returned pointer to const belongs to the object that it was asked of. It is valid until that object is changed or
 *   freed. xrd_free, xrd_options_free and xrd_lines_free also take a null pointer.
 *
 * Threads
 *   Several threads may call these functions at once. While one thread changes an object, no other may use it.
 *
 * Coordinates
 *   Column x runs to the right, row y down. The pixel of column x and row y is element y * width + x. The centre of a
 *   pixel has whole coordinates.
 *
 * Texts
 *   Those of this library are UTF-8. Those of headers are as in the file, in any encoding, and may hold control
 *   characters; details, notes and warnings have '?' in their place. Numbers have a decimal point in every locale.
 */
#ifndef XRDFRAME_H
#define XRDFRAME_H

#include <stddef.h>

#if defined(__GNUC__)
#define XRDFRAME_API __attribute__((visibility("default")))
#else
#define XRDFRAME_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Bytes of a `detail` buffer. Longer lines are cut. */
#define XRD_DETAIL 512

/* In C++ too, an enumeration can hold every number: those of later versions, and invalid ones. */
#if defined(__cplusplus) && __cplusplus >= 201103L
#define XRDFRAME_ENUM(name) enum name : int
#else
#define XRDFRAME_ENUM(name) enum name
#endif

/* How a call went. Later versions may add results, up to 99. */
typedef XRDFRAME_ENUM(xrd_result){
    XRD_OK = 0,
    XRD_NO_MEMORY = 1,      /* not enough memory */
    XRD_SYSTEM = 2,         /* the system refused: no such file, no permission, a full disk */
    XRD_UNKNOWN_FORMAT = 3, /* the file's format is unknown, or no format has that keyword or ending */
    XRD_DAMAGED = 4,        /* truncated or damaged; the option "force" reads as much as possible */
    XRD_UNSUPPORTED = 5,    /* valid, but of a kind that this library does not read or write */
    XRD_INVALID = 6         /* an argument or option makes no sense: a crop beyond the frame, a null pointer */
} xrd_result;

/* A few words for each result: "truncated or damaged". "unknown result" for other numbers. */
XRDFRAME_API const char *xrd_result_text(xrd_result result);

/* The version of the library in use: "1.0.0". */
XRDFRAME_API const char *xrd_version(void);

/* ---------------------------------------------------------------------------------------------------------------
 * Lines and options
 * ------------------------------------------------------------------------------------------------------------ */

/* A list of lines of text: warnings, notes. A null pointer is an empty list. */
typedef struct xrd_lines xrd_lines;
XRDFRAME_API size_t xrd_lines_count(const xrd_lines *lines);
/* Null beyond the end. */
XRDFRAME_API const char *xrd_lines_text(const xrd_lines *lines, size_t index);
XRDFRAME_API void xrd_lines_free(xrd_lines *lines);

/*
 * Options for reading, writing and pictures: those of the program, by their long names without dashes, with the same
 * texts as values. A null pointer stands for no options. A call ignores the options that do not concern it.
 *
 * Reading: "format" (a keyword), "image" (which one of a file that holds several, from 1), "size" ("2048x2048"),
 * "depth", "big-endian", "skip", "force"; and to replace values of the header, "beam" ("1024.5,1020"), "wavelength",
 * "distance", "pixel". Writing: "format" (a keyword or ending), "bits". Pictures: "scale", "range", "colors", "rings",
 * "bar".
 */
typedef struct xrd_options xrd_options;
/* Null if there is no memory. */
XRDFRAME_API xrd_options *xrd_options_new(void);
/* Pass a null `value` for options without one ("force"). XRD_INVALID for an unknown name or an invalid value. */
XRDFRAME_API xrd_result xrd_options_set(xrd_options *options, const char *name, const char *value, char *detail);
XRDFRAME_API void xrd_options_free(xrd_options *options);

/* ---------------------------------------------------------------------------------------------------------------
 * Formats
 * ------------------------------------------------------------------------------------------------------------ */

/* What can be done with a format. Later versions may add bits. */
enum {
  XRD_CAN_READ = 1,
  XRD_CAN_WRITE = 2,
  XRD_IS_PICTURE = 4,  /* colours instead of counts */
  XRD_HAS_HEADER = 8,  /* the file holds header values */
  XRD_HAS_SIGN = 16,   /* it can hold negative counts */
  XRD_HAS_32_BITS = 32 /* it can hold counts above 65535 */
};

/* Formats are numbered from 0. Beyond the last, these functions return a null pointer, or 0. */
XRDFRAME_API size_t xrd_format_count(void);
/* "marccd": what options take and xrd_detect finds. */
XRDFRAME_API const char *xrd_format_keyword(size_t format);
/* "MarCCD": for people. */
XRDFRAME_API const char *xrd_format_name(size_t format);
/* "tif tiff": endings of file names, separated by blanks, the usual one first. */
XRDFRAME_API const char *xrd_format_endings(size_t format);
/* Bits of XRD_CAN_READ and so on. */
XRDFRAME_API int xrd_format_abilities(size_t format);

/* ---------------------------------------------------------------------------------------------------------------
 * Loading and saving
 * ------------------------------------------------------------------------------------------------------------ */

typedef struct xrd_frame xrd_frame;

/*
 * Finds the format: `keyword` points to a text that is always valid. The content decides; where it says nothing, the
 * ending of the name does. Files may be compressed by gzip or bzip2. For bytes in memory, `name` may be null.
 */
XRDFRAME_API xrd_result xrd_detect(const char *path, const char **keyword, char *detail);
XRDFRAME_API xrd_result xrd_detect_memory(const void *bytes, size_t size, const char *name, const char **keyword,
                                          char *detail);

/* Reads a frame, which the caller frees. xrd_notes says what was guessed or is missing. */
XRDFRAME_API xrd_result xrd_load(const char *path, const xrd_options *options, xrd_frame **frame, char *detail);
XRDFRAME_API xrd_result xrd_load_memory(const void *bytes, size_t size, const char *name, const xrd_options *options,
                                        xrd_frame **frame, char *detail);

/*
 * The same without the counts: size, kind of sample, header values, items and notes only. Real numbers are XRD_UINT32
 * here: only their counts tell whether one of them is negative.
 */
XRDFRAME_API xrd_result xrd_load_header(const char *path, const xrd_options *options, xrd_frame **frame, char *detail);
XRDFRAME_API xrd_result xrd_load_header_memory(const void *bytes, size_t size, const char *name,
                                               const xrd_options *options, xrd_frame **frame, char *detail);

/*
 * Writes the frame, also as a picture. The option "format" or else the ending of the name decides the format. The file
 * gets its name when it is complete, and then replaces a file of that name. `warnings`, if not null, receives a list
 * of what could not be carried over, which the caller frees; null if there is nothing to warn of.
 */
XRDFRAME_API xrd_result xrd_save(const xrd_frame *frame, const char *path, const xrd_options *options,
                                 xrd_lines **warnings, char *detail);

/* The same as bytes, which the caller releases with free() of <stdlib.h>. `format` is a keyword or an ending. */
XRDFRAME_API xrd_result xrd_save_memory(const xrd_frame *frame, const char *format, const xrd_options *options,
                                        void **bytes, size_t *size, xrd_lines **warnings, char *detail);

/* ---------------------------------------------------------------------------------------------------------------
 * Frames
 * ------------------------------------------------------------------------------------------------------------ */

/* How the counts are stored. Later versions may add kinds. */
typedef XRDFRAME_ENUM(xrd_sample){
    XRD_UINT32 = 1, /* uint32_t */
    XRD_INT32 = 2   /* int32_t */
} xrd_sample;

/*
 * Why a pixel is masked: bits of its byte in the mask, those of NeXus's pixel_mask that fit a byte. A pixel
 * with no bit but XRD_MASK_SATURATED has a count like any other. With another bit it has none.
 */
enum {
  XRD_MASK_GAP = 0x01,       /* between the modules of a detector */
  XRD_MASK_DEAD = 0x02,      /* it counts nothing */
  XRD_MASK_WEAK = 0x04,      /* it counts too little */
  XRD_MASK_SATURATED = 0x08, /* at or above what the detector can count */
  XRD_MASK_NOISY = 0x10,     /* it counts too much */
  XRD_MASK_UNKNOWN = 0x20,   /* it overflowed, and the file does not have its count */
  XRD_MASK_CLUSTER = 0x40,   /* one of a group of faulty pixels */
  XRD_MASK_USER = 0x80       /* masked by somebody */
};

/*
 * Makes a frame from width x height counts, which are copied. `mask` has a byte for each pixel, or is null.
 * XRD_INVALID for a size below 1, or of more than 2^28 pixels.
 */
XRDFRAME_API xrd_result xrd_create(int width, int height, xrd_sample sample, const void *counts,
                                   const unsigned char *mask, xrd_frame **frame, char *detail);
XRDFRAME_API xrd_result xrd_copy(const xrd_frame *frame, xrd_frame **copy, char *detail);
XRDFRAME_API void xrd_free(xrd_frame *frame);

/* The next eight functions return 0 or a null pointer for a null frame. */

XRDFRAME_API int xrd_width(const xrd_frame *frame);  /* pixels in a row */
XRDFRAME_API int xrd_height(const xrd_frame *frame); /* rows */
XRDFRAME_API xrd_sample xrd_sample_of(const xrd_frame *frame);
/* The keyword of the format that the frame was read from; "raw" if it was made by xrd_create. */
XRDFRAME_API const char *xrd_format_of(const xrd_frame *frame);
/* How many images the frame's file holds; 0 if the frame was made by xrd_create. */
XRDFRAME_API size_t xrd_images(const xrd_frame *frame);

/* The counts, of the kind that xrd_sample_of returns. Nothing is copied. Null after xrd_load_header. */
XRDFRAME_API const void *xrd_counts(const xrd_frame *frame);
/* The mask, a byte for each pixel. Nothing is copied. Null if no pixel is masked. */
XRDFRAME_API const unsigned char *xrd_mask(const xrd_frame *frame);

/* What a user should know about how the frame was read and changed: a guessed size, data that end early. */
XRDFRAME_API const xrd_lines *xrd_notes(const xrd_frame *frame);

/*
 * Header values, by the names of `xrdimage info --json`, units included. Numbers: wavelength_angstrom, distance_mm,
 * oscillation_start_degrees, oscillation_range_degrees, exposure_seconds, pixel_width_mm, pixel_height_mm,
 * beam_x_pixels, beam_y_pixels, saturation_counts. Texts: date, detector.
 */
XRDFRAME_API size_t xrd_value_count(void);
/* The names in turn. Null beyond the end. */
XRDFRAME_API const char *xrd_value_name(size_t index);
/* Returns 1 and fills `value` if the header has the number, 0 otherwise. */
XRDFRAME_API int xrd_number(const xrd_frame *frame, const char *name, double *value);
/* Null if the header does not have the text. */
XRDFRAME_API const char *xrd_text(const xrd_frame *frame, const char *name);
/*
 * Sets a header value; a null `value` removes it. Numbers must be finite. The header has the size of a pixel, or the
 * beam centre, as soon as both of its numbers are set.
 */
XRDFRAME_API xrd_result xrd_set_number(xrd_frame *frame, const char *name, const double *value, char *detail);
XRDFRAME_API xrd_result xrd_set_text(xrd_frame *frame, const char *name, const char *value, char *detail);

/* All items of the header, in the order and words of the file: "DISTANCE", "100.0". Null beyond the end. */
XRDFRAME_API size_t xrd_item_count(const xrd_frame *frame);
XRDFRAME_API const char *xrd_item_name(const xrd_frame *frame, size_t index);
XRDFRAME_API const char *xrd_item_text(const xrd_frame *frame, size_t index);

/* Minimum, maximum and mean leave out pixels without a count. They are 0 if no pixel has one. */
typedef struct xrd_statistics {
  double minimum;
  double maximum;
  double mean;
  double known_pixels;
  double unknown_pixels;
} xrd_statistics;
XRDFRAME_API xrd_result xrd_statistics_of(const xrd_frame *frame, xrd_statistics *statistics, char *detail);

/* ---------------------------------------------------------------------------------------------------------------
 * Operations
 *
 * Each changes the frame in place: counts and mask, and with them geometry and saturation. On failure the frame is as
 * it was. A pixel made from one without a count has none either.
 * ------------------------------------------------------------------------------------------------------------ */

/* Cuts out the rectangle from column x, row y on. The part beyond the frame is left out. */
XRDFRAME_API xrd_result xrd_crop(xrd_frame *frame, int x, int y, int width, int height, char *detail);
/* Sums blocks of factor x factor pixels. Rows and columns at the end that fill no block are left out. */
XRDFRAME_API xrd_result xrd_bin(xrd_frame *frame, int factor, char *detail);
/* Cuts, or pads with 0, at the right and at the bottom. */
XRDFRAME_API xrd_result xrd_fit(xrd_frame *frame, int width, int height, char *detail);
/* Turns clockwise by so many quarters; anticlockwise if negative. */
XRDFRAME_API xrd_result xrd_rotate(xrd_frame *frame, int quarters, char *detail);
/* Exchanges left and right, or, if `vertical` is not 0, top and bottom. */
XRDFRAME_API xrd_result xrd_flip(xrd_frame *frame, int vertical, char *detail);
/*
 * Convolves with a Gaussian of these standard deviations in pixels. Pixels without a count, and those beyond
 * the edges, have no weight; pixels without a count stay so.
 */
XRDFRAME_API xrd_result xrd_smooth(xrd_frame *frame, double sigma_x, double sigma_y, char *detail);
/*
 * The operation of the program's option of this name ("log", "mean", "invert", "scale-to" and so on), with the text
 * that this option takes, or null if it takes none.
 */
XRDFRAME_API xrd_result xrd_apply(xrd_frame *frame, const char *operation, const char *value, char *detail);

#ifdef __cplusplus
}
#endif

#endif
