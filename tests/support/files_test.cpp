#include "support/files.h"

#include "tests/environment.h"

TEST(Files, HandleClosesItsStream) {
  const test::TemporaryDirectory directory;
  const std::string path = directory.write("frame", "bytes");
  const std::size_t before = test::open_descriptors();
  {
    const xrd::FileHandle stream = xrd::open_file(path.c_str(), "r");
    ASSERT_TRUE(stream);
    EXPECT_EQ(std::fgetc(stream.get()), 'b');
    EXPECT_EQ(test::open_descriptors(), before + 1);
  }
  EXPECT_EQ(test::open_descriptors(), before);
}

TEST(Files, HandleIsNullWhenTheFileCannotBeOpened) {
  const test::TemporaryDirectory directory;
  EXPECT_FALSE(xrd::open_file(directory.path("missing").c_str(), "r"));
  EXPECT_FALSE(xrd::open_file(directory.path("missing/new").c_str(), "w"));
}
