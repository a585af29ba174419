#include "program/output_names.h"

#include <filesystem>

#include "frames/failure.h"
#include "tests/program/program.h"

namespace {

using program::output_folder;
using program::output_names;
using Names = std::vector<std::string>;

std::string refusal_of(const Names& inputs, const program::OutputOptions& options) {
  try {
    output_names(inputs, options);
  } catch (const frames::Failure& failure) {
    return failure.what();
  }
  return "none";
}

TEST(OutputNames, OneFileTakesTheNameAsItStands) {
  EXPECT_EQ(output_names({"in/a.img"}, {"b.png", ""}), Names{"b.png"});
}

TEST(OutputNames, FoldersTakeTheFramesNames) {
  const test::Workplace place;
  std::filesystem::create_directory("there");
  EXPECT_EQ(output_names({"in/a.img", "b.mar2300.gz"}, {"new/", "png"}), (Names{"new/a.png", "new/b.png"}));
  EXPECT_EQ(output_names({"a.img"}, {"there", "edf"}), Names{"there/a.edf"});
  EXPECT_EQ(output_folder({"new/", "png"}), "new/");
  EXPECT_EQ(output_folder({"there", "png"}), "there");
  EXPECT_EQ(output_folder({"new", "png"}), "");
  EXPECT_EQ(output_folder({"there/{name}.png", ""}), "");
  EXPECT_EQ(refusal_of({"a.img"}, {"there", ""}), "there: is a folder; state the format with --to, as in --to png");
}

TEST(OutputNames, NumbersOfFramesAreNoEndings) {
  EXPECT_EQ(output_names({"lyso.0001", "lyso.0002"}, {"out/", "png"}),
            (Names{"out/lyso.0001.png", "out/lyso.0002.png"}));
  EXPECT_EQ(output_names({"A.MAR2300.BZ2", ".img"}, {"out/", "png"}), (Names{"out/A.png", "out/.img.png"}));
}

TEST(OutputNames, NoFrameIsNamedAsAFolder) {
  EXPECT_EQ(
      output_names({"in/...edf", "..edf", "...IMG.gz", "....edf"}, {"out/{name}/picture.png", ""}),
      (Names{"out/...edf/picture.png", "out/..edf/picture.png", "out/...IMG.gz/picture.png", "out/.../picture.png"}));
}

TEST(OutputNames, PatternsHaveNameAndNumber) {
  EXPECT_EQ(output_names({"x/a.img", "b.img"}, {"{n}/{name}_{name}.{n}", ""}), (Names{"1/a_a.1", "2/b_b.2"}));
  Names many(10, "f");
  for (std::size_t i = 0; i < many.size(); ++i) many[i] += std::to_string(i) + ".img";
  EXPECT_EQ(output_names(many, {"p{n}.png", ""}).front(), "p01.png");
  EXPECT_EQ(output_names(many, {"p{n}.png", ""}).back(), "p10.png");
  EXPECT_EQ(output_names({"{n}.img"}, {"{name}.png", ""}), Names{"{n}.png"});
}

TEST(OutputNames, TwoFramesCannotHaveOneOutput) {
  EXPECT_EQ(refusal_of({"x/a.img", "y/a.edf"}, {"{name}.png", ""}),
            "a.png: would be written twice: for x/a.img and for y/a.edf");
  EXPECT_EQ(refusal_of({"a.img", "b.img"}, {"c.png", ""}),
            "c.png: is one file, but there are 2 frames; name a folder, or a pattern as in {name}.png");
}

}  // namespace
