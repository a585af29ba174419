/* Tells of a frame what `xrdimage info --json` tells. */
#include <stdio.h>
#include <xrdframe.h>

int tell(const char *path, const void *bytes, size_t size, FILE *out) {
  xrd_frame *frame = NULL;
  xrd_statistics s;
  double value;
  size_t i;
  if (bytes == NULL) xrd_load(path, NULL, &frame, NULL);
  if (bytes != NULL) xrd_load_memory(bytes, size, path, NULL, &frame, NULL);
  if (xrd_statistics_of(frame, &s, NULL) != XRD_OK) return 1;
  fprintf(out, "format %s\nwidth %d\nheight %d\n", xrd_format_of(frame), xrd_width(frame), xrd_height(frame));
  for (i = 0; i < xrd_value_count(); ++i) {
    const char *name = xrd_value_name(i), *text = xrd_text(frame, name);
    if (text != NULL) fprintf(out, "%s %s\n", name, text);
    if (xrd_number(frame, name, &value)) fprintf(out, "%s %.17g\n", name, value);
  }
  fprintf(out, "minimum_counts %.17g\nmaximum_counts %.17g\nmean_counts %.17g\n", s.minimum, s.maximum, s.mean);
  fprintf(out, "known_pixels %.17g\nunknown_pixels %.17g\n", s.known_pixels, s.unknown_pixels);
  xrd_free(frame);
  return 0;
}
