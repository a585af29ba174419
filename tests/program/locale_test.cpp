// The program where the user's language has a decimal comma.
#include "tests/locale/locale.h"

#include <string>

#include "tests/program/program.h"

namespace {

// What the commands print, and the files that they leave.
std::string run_in(const std::string& environment, const std::string& commands) {
  const test::Workplace place;
  const test::Result result = place.run("export " + environment + "; " + commands);
  EXPECT_EQ(result.status, 0) << result.err;
  std::string all = result.out + result.err;
  for (const std::string& file : place.files()) all += file + ":\n" + test::read_file(file);
  return all;
}

}  // namespace

TEST(ProgramInGerman, NumbersHavePointsInTextsAndFiles) {
  const std::string commands =
      "set -e; $xrdimage sample a.mar2300 --size 200; $xrdimage info a.mar2300; $xrdimage info --csv a.mar2300;"
      "$xrdimage info --json a.mar2300; $xrdimage info --classic a.mar2300;"
      "for to in edf tif img mar pck raw npy png; do $xrdimage convert a.mar2300 -o b.$to; done;"
      "$xrdimage info b.edf b.tif b.img b.mar b.pck; $xrdimage convert a.mar2300 -o small.npy --bin 2;"
      "$xrdimage convert a.mar2300 -o rings.png --rings 4,2.5 --wavelength 1.5 --distance 99.5 --pixel 0.25 --bar;"
      "$xrdimage diff a.mar2300 b.edf; ! $xrdimage diff a.mar2300 b.raw --size 200x200;"
      "! $xrdimage convert a.mar2300 -o c.png --distance 99,5; ! $xrdimage info absent";
  const std::string german = run_in("LC_ALL=de_DE.UTF-8 LOCPATH=" + test::locales_folder(), commands);
  EXPECT_EQ(german, run_in("LC_ALL=C.UTF-8", commands));
  EXPECT_NE(german.find("1.54179 \xC3\x85"), std::string::npos) << german;
  EXPECT_NE(german.find("WAVELENGTH=1.54179;"), std::string::npos);
}
