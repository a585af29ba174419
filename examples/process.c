/*
 * Uses the flat library, xrdimage: reads a frame, bins it 2 x 2, writes it as EDF and shows it.
 *
 *     cc process.c $(pkg-config --cflags --libs xrdimage) -o process
 *     xrdimage sample frame.mar2300
 *     ./process frame.mar2300 binned.edf
 *
 * It reads mar345 image plates and EDF files of 32 bits, of which the flat functions give the true counts. New programs
 * should use xrdframe.h, which does so for every format: xrdframe/picture.c.
 */
#include <stdio.h>
#include <stdlib.h>
#include <xrdimage.h>

/* Returns the frame's pixels, which the caller frees; NULL after the library's message, or for other types. */
static unsigned int *read_frame(const char *path, int *width, int *height) {
  unsigned int *pixels = NULL;
  int bits = -1; /* as the header says */
  switch (get_image_type(path)) {
    case IMAGE_TYPE_MAR2300:
    case IMAGE_TYPE_MAR2000:
      new_read_pck(path, &pixels, width, height);
      break;
    case IMAGE_TYPE_EDF:
      read_edf(path, &pixels, &bits, width, height);
      break;
  }
  return pixels;
}

static int exists(const char *path) {
  FILE *file = fopen(path, "rb");
  return file != NULL && fclose(file) == 0;
}

static int fail(const char *what, const char *path) {
  fprintf(stderr, "process: %s: %s\n", path, what);
  return EXIT_FAILURE;
}

int main(int argc, char **argv) {
  unsigned int *pixels;
  int width = 0, height = 0, shown;
  if (argc != 3) return fail("usage: process FRAME OUT.edf", "arguments");

  pixels = read_frame(argv[1], &width, &height);
  if (pixels == NULL) return fail("cannot be read", argv[1]);
  /* A smaller array takes the place of the old one. The result is the largest sum. */
  if (binning(&pixels, 2, &width, &height) == 0) return fail("has no counts", argv[1]);
  remove(argv[2]); /* a file that exists afterwards is new: the writer reports failures only on standard output */
  edf32_write(argv[2], pixels, width, height);
  shown = view("process", pixels, width, height, 4); /* process.png; full colour is a quarter of the largest pixel */
  free(pixels);
  if (!exists(argv[2])) return fail("cannot be written", argv[2]);
  return shown == 0 ? EXIT_SUCCESS : fail("cannot be shown", "process.png");
}
