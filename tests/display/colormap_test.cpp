#include <string>

#include "tests/host_environment.h"
#include "xrdimage.h"

TEST(Colormap, OpenFailureIsReportedWithoutLineFeed) {
  const auto output = test::capture([] { write_colormap("/nonexistent/colormap"); });
  EXPECT_EQ(output.out, "# " RED_ERROR " opening /nonexistent/colormap");
}
