/* A program in C89, like old callers: declarations first, and only comments like this one. */
#include <stdio.h>
#include <stdlib.h>
#include <xrdimage.h>

int main(void) {
  unsigned int *pixels;
  unsigned short *words = NULL;
  int width = 4, height = 4, i, sum;

  pixels = (unsigned int *)malloc(16 * sizeof *pixels);
  if (pixels == NULL) return EXIT_FAILURE;
  for (i = 0; i < 16; ++i) pixels[i] = (unsigned int)i;

  sum = binning(&pixels, 2, &width, &height);
  if (sum != 10 + 11 + 14 + 15 || width != 2 || height != 2) return EXIT_FAILURE;
  falte_gauss(&pixels, &width, &height, 1, 1);
  to_short(pixels, &words, width * height, sum);
  free(pixels);
  free(words);
  return read_tiff("no such file", &pixels, 0, &width, &height) == 0 && width == 2 ? EXIT_SUCCESS : EXIT_FAILURE;
}
