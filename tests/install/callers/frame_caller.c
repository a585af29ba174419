/* What tests/api/caller.c tells of the frame that is named. */
#include "../../api/caller.c"

int main(int argc, char **argv) {
  return argc != 2 || tell(argv[1], NULL, 0, stdout);
}
