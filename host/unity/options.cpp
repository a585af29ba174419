// CLI11's templates take most of the time that these sources take to compile: here they do so once for all.
#include "host/batch.cpp"
#include "host/convert.cpp"
#include "host/input.cpp"
#include "host/numbers.cpp"
#include "host/operations.cpp"
#include "host/pictures/picture.cpp"
#include "host/view.cpp"
