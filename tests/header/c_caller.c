/* A program in C11: the public header compiles as C, and the library's functions are reached through it. */
#include <stdlib.h>
#include <string.h>

#include "tests/header/record_layout.h"
#include "xrdimage.h"

static int failures = 0;

static void expect(int condition, const char *what) {
  if (condition) return;
  fprintf(stderr, "%s\n", what);
  ++failures;
}

static void work_on_intensities(void) {
  unsigned int image[] = {5, 0, 3000, 7};
  unsigned int max = 0;
  unsigned int min = 1;
  find_maximum(image, 2, 2, &max, &min);
  expect(max == 3000 && min == 0, "find_maximum: extremes of four pixels");

  scale_up(image, 2, 2);
  expect(image[0] == 15 && image[2] == 9000, "scale_up: whole gain of 3");

  invert_data(image, 4);
  expect(image[1] == 16777215U, "invert_data: white for black");

  unsigned short *words = NULL;
  expect(to_short(image, &words, 4, 65535) == 0 && words != NULL, "to_short: new array");
  if (words != NULL) expect(words[1] == 65535, "to_short: low 16 bits");
  free(words);
}

static void read_and_print_a_header(void) {
  static Mar345Header header;
  expect(read_marheader(&header, "/nonexistent/frame") == 0, "read_marheader: missing file");
  expect(print_marheader(&header) > 0, "print_marheader: lines of an empty record");

  static ImageInfo info;
  expect(read_mar_header("frame", &info) == 1, "read_mar_header: result");
  expect(strcmp(info.file_name, "frame") == 0, "read_mar_header: file name");
}

static void use_constants(void) {
  const unsigned int mark = OVERFLOW_MARK;
  expect(mark == 256001U, "OVERFLOW_MARK");
  switch (get_image_type("frame.edf")) {
    case IMAGE_TYPE_EDF:
      break;
    default:
      expect(0, "get_image_type: detection by name");
  }
}

int main(void) {
  work_on_intensities();
  read_and_print_a_header();
  use_constants();
  return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
