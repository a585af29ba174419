/* What tests/api/host.c tells of the frame that is named. */
#include "../../api/host.c"

int main(int argc, char **argv) {
  return argc != 2 || tell(argv[1], NULL, 0, stdout);
}
