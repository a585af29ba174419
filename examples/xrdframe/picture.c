/*
 * Prints the header items and statistics of a frame of any format, and makes a picture of it, binned 2 x 2.
 *
 *     cc picture.c $(pkg-config --cflags --libs xrdframe) -o picture
 *     ./picture FRAME OUT.png
 */
#include <stdio.h>
#include <stdlib.h>
#include <xrdframe.h>

int main(int argc, char **argv) {
  xrd_frame *frame = NULL;
  xrd_statistics statistics;
  char detail[XRD_DETAIL] = "needs two arguments: FRAME OUT.png";
  xrd_result result = argc != 3 ? XRD_INVALID : xrd_load(argv[1], NULL, &frame, detail);
  size_t i;

  if (result == XRD_OK) {
    printf("%s: %s, %d x %d pixels\n", argv[1], xrd_format_of(frame), xrd_width(frame), xrd_height(frame));
    for (i = 0; i < xrd_item_count(frame); ++i) {
      printf("  %s = %s\n", xrd_item_name(frame, i), xrd_item_text(frame, i));
    }
    result = xrd_statistics_of(frame, &statistics, detail);
  }
  if (result == XRD_OK) {
    printf("counts from %.0f to %.0f, mean %.2f\n", statistics.minimum, statistics.maximum, statistics.mean);
    result = xrd_bin(frame, 2, detail);
  }
  if (result == XRD_OK) result = xrd_save(frame, argv[2], NULL, NULL, detail);
  if (result != XRD_OK) fprintf(stderr, "picture: %s: %s\n", xrd_result_text(result), detail);
  xrd_free(frame);
  return result == XRD_OK ? EXIT_SUCCESS : EXIT_FAILURE;
}
