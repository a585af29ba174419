/* Prints what tests/api/caller.c reads from the named frame. */
#include "../../api/caller.c"

int main(int argc, char **argv) {
  return argc != 2 || tell(argv[1], NULL, 0, stdout);
}
