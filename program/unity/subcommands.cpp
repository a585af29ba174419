// CLI11's templates take most of the time that these sources take to compile: here they do so once for all.
#include "program/commands/diff.cpp"
#include "program/commands/info.cpp"
#include "program/commands/licenses.cpp"
#include "program/commands/sample.cpp"
#include "program/options/help.cpp"
