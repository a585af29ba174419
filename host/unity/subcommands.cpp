// CLI11's templates take most of the time that these sources take to compile: here they do so once for all.
#include "host/diff.cpp"
#include "host/help.cpp"
#include "host/info.cpp"
#include "host/licenses.cpp"
#include "host/sample.cpp"
