// Options that would change nothing are mistakes, which the user is told.
#include "tests/program/program.h"

namespace {

using test::Result;

class UselessOptions : public testing::Test {
 protected:
  UselessOptions() {
    place_.write("a.mar2300", test::small_mar345());
    place_.write("b.raw", std::string("\1\0\2\0\3\0\4\0", 8));
    place_.write("sized.edf", edf("Dim_1 = 2 ;\nDim_2 = 2 ;\n"));
    place_.write("unsized.edf", edf(""));
  }

  static std::string edf(const std::string& dimensions) {
    return "{\nHeaderID = EH:000001:000000:000000 ;\n" + dimensions + "DataType = UnsignedShort ;\n}\n" +
           std::string("\1\0\2\0\3\0\4\0", 8);
  }

  // The message without what all messages about the command line have.
  std::string refusal(const std::string& arguments) const {
    const Result result = place_.xrdimage(arguments);
    EXPECT_EQ(result.status, 2) << arguments;
    EXPECT_EQ(result.out, "") << arguments;
    const std::string end = " ('xrdimage --help' tells more)\n";
    if (!result.err.starts_with("xrdimage: ") || !result.err.ends_with(end)) return result.err;
    return result.err.substr(10, result.err.size() - 10 - end.size());
  }

  void expect_accepted(const std::string& arguments, int status = 0) const {
    const Result result = place_.xrdimage(arguments);
    EXPECT_EQ(result.status, status) << arguments << ": " << result.err;
  }

  test::Workplace place_;
};

TEST_F(UselessOptions, AboutPicturesWhereNoneIsWritten) {
  for (const std::string ending : {"edf", "tif", "img", "mar", "pck", "raw", "npy"}) {
    for (const std::string option : {"--scale log", "--range 0-5", "--colors grey", "--rings 3", "--bar"}) {
      const std::string name = option.substr(0, option.find(' '));
      EXPECT_EQ(refusal("convert a.mar2300 -o out." + ending + " " + option),
                name + ": has no effect on ." + ending + ", which is not a picture");
    }
  }
  EXPECT_EQ(refusal("convert a.mar2300 b.raw -o out/ --to edf --bar"),
            "--bar: has no effect on .edf, which is not a picture");
  EXPECT_EQ(refusal("convert a.mar2300 -o out.png --to edf --bar"),
            "--bar: has no effect on .edf, which is not a picture");
  expect_accepted("convert a.mar2300 -o out.edf --to png --bar");
  EXPECT_EQ(place_.files(), (std::vector<std::string>{"a.mar2300", "b.raw", "out.edf", "sized.edf", "unsized.edf"}));
}

// {name} leaves the ending of a frame's number, so that one pattern may name files of two kinds.
TEST_F(UselessOptions, AreNoneWhereTheyChangeSomeOfTheOutputs) {
  place_.write("c.png", test::small_mar345());
  place_.write("d.npy", test::small_mar345());
  expect_accepted("convert c.png d.npy -o out_{name} --scale log --bits 16");
  EXPECT_EQ(refusal("convert d.npy -o more_{name} --scale log"),
            "--scale: has no effect on .npy, which is not a picture");
}

TEST_F(UselessOptions, EveryShardTakesTheSame) {
  place_.write("c.png", test::small_mar345());
  place_.write("d.npy", test::small_mar345());
  for (const char* shard : {"1/2", "2/2"}) {
    expect_accepted(std::string("convert c.png d.npy -o out_{name} --scale log --shard ") + shard);
  }
}

TEST_F(UselessOptions, BitsOfFormatsThatHaveOneWidth) {
  EXPECT_EQ(refusal("convert a.mar2300 -o out.png --bits 16"), "--bits: has no effect on .png, which is a picture");
  EXPECT_EQ(refusal("convert a.mar2300 -o out.pck --bits 32"),
            "--bits: has no effect on .pck, which has 16 bits per pixel");
  EXPECT_EQ(refusal("convert a.mar2300 -o out.mar --bits 32"),
            "--bits: has no effect on .mar, which has 16 bits per pixel");
  expect_accepted("convert a.mar2300 -o out.pck --bits 16");
  for (const std::string ending : {"edf", "tif", "img", "raw", "npy"}) {
    expect_accepted("convert a.mar2300 -o out." + ending + " --bits 16");
    expect_accepted("convert a.mar2300 --overwrite -o out." + ending + " --bits 32");
  }
}

TEST_F(UselessOptions, AboutGeometryThatNothingShows) {
  for (const std::string option : {"--beam 1,1", "--wavelength 1", "--distance 100", "--pixel 0.1"}) {
    const std::string name = option.substr(0, option.find(' '));
    EXPECT_EQ(refusal("convert a.mar2300 -o out.png " + option), name + ": has no effect on .png without --rings");
    EXPECT_EQ(refusal("convert a.mar2300 -o out.raw " + option), name + ": has no effect on .raw, which has no header");
    EXPECT_EQ(refusal("view a.mar2300 " + option), name + ": has no effect without --rings");
    EXPECT_EQ(refusal("diff a.mar2300 a.mar2300 " + option), name + ": has no effect: only counts are compared");
    expect_accepted("info a.mar2300 " + option);
    expect_accepted("convert a.mar2300 --overwrite -o out.edf " + option);
  }
  const std::string all = " --beam 1,1 --wavelength 1 --distance 100 --pixel 0.1 --rings 3";
  expect_accepted("convert a.mar2300 -o out.png" + all);
  expect_accepted("view --terminal a.mar2300" + all);
}

TEST_F(UselessOptions, AboutPixelsThatTheFileDescribesItself) {
  for (const std::string option : {"--size 2x2", "--depth 16", "--big-endian", "--skip 4"}) {
    const std::string message = "xrdimage: a.mar2300: " + option.substr(0, option.find(' ')) +
                                " has no effect: the file itself states how its pixels are stored\n";
    EXPECT_EQ(refusal("info a.mar2300 " + option), message);
    EXPECT_EQ(refusal("convert a.mar2300 -o out.edf " + option), message);
    EXPECT_EQ(refusal("view --terminal a.mar2300 " + option), message);
    EXPECT_EQ(refusal("diff a.mar2300 a.mar2300 " + option), message);
  }
  expect_accepted("info b.raw --size 1x4 --depth 16 --big-endian");
  expect_accepted("info b.raw --size 1x2 --skip 4");
  EXPECT_EQ(refusal("info b.raw --depth 8 --big-endian"), "--big-endian: has no effect on pixels of 8 bits");
}

TEST_F(UselessOptions, TheSizeOfAnEdfFrameThatStatesAnother) {
  expect_accepted("info unsized.edf --size 4x1");
  expect_accepted("info sized.edf --size 2x2");
  EXPECT_EQ(refusal("info sized.edf --size 4x1"),
            "xrdimage: sized.edf: --size has no effect: the file itself states how its pixels are stored\n");
  expect_accepted("info unsized.edf --size 4x1 --classic --depth 16");
}

// A frame goes as it would alone, whatever others there are.
TEST_F(UselessOptions, OfOneFrameInABatchAreAnErrorOfThatFrame) {
  const Result result = place_.xrdimage("convert b.raw a.mar2300 unsized.edf -o out/ --to edf --size 4x1 -j 1");
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(result.err.starts_with("xrdimage: a.mar2300: --size has no effect")) << result.err;
  EXPECT_NE(result.err.find("2 of 3 frames converted"), std::string::npos) << result.err;
  EXPECT_EQ(test::read_file("out/b.edf").substr(512), std::string("\1\0\0\0\2\0\0\0\3\0\0\0\4\0\0\0", 16));
}

TEST_F(UselessOptions, AreNoneWhereTheyHelpToReadOneOfTwoFrames) {
  expect_accepted("diff b.raw sized.edf --size 2x2");
  expect_accepted("diff sized.edf b.raw --size 2x2 --depth 16 --skip 0");
}

TEST_F(UselessOptions, BesideClassic) {
  for (const std::string option : {"--big-endian", "--skip 4", "--force"}) {
    EXPECT_EQ(refusal("info --classic b.raw --size 2x2 " + option),
              option.substr(0, option.find(' ')) + ": has no effect with --classic");
  }
  EXPECT_EQ(refusal("view a.mar2300 --divide 3"), "--divide: has no effect without --classic");
  EXPECT_EQ(refusal("view a.mar2300 --divide 3 --classic --terminal"), "--divide: has no effect with --terminal");
  EXPECT_EQ(refusal("view a.mar2300 --bar --classic"), "--bar: has no effect with --classic without --terminal");
  expect_accepted("view a.mar2300 --bar --classic --terminal");
}

TEST_F(UselessOptions, OfWhichOneExcludesTheOther) {
  EXPECT_EQ(refusal("info a.mar2300 --json --csv"), "--json excludes --csv");
  EXPECT_EQ(refusal("convert a.mar2300 -o out.edf --overwrite --skip-existing"),
            "--skip-existing excludes --overwrite");
}

}  // namespace
