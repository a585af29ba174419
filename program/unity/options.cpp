// CLI11's templates take most of the time that these sources take to compile: here they do so once for all.
#include "program/batch.cpp"
#include "program/commands/convert.cpp"
#include "program/commands/view.cpp"
#include "program/options/input.cpp"
#include "program/options/operations.cpp"
#include "program/options/picture.cpp"
