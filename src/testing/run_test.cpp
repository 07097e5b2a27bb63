// The helper every end-to-end test relies on: it must start the built
// program on the build machine, also when that program was cross-built for
// the boxes and runs under emulation.
#include <gtest/gtest.h>

#include "testing/temp_dir.hpp"

namespace {

namespace ts = testing_support;

TEST(Run, StartsTheBuiltProgramAndReportsItsStatus) {
  // "-check" ends a run at once with status 0, touching no file.
  ts::TempDir dir;
  ts::RunResult result = ts::Run({ITUNES_IMPORT_BINARY, "-check"}, dir.path());
  EXPECT_EQ(result.exit_status, 0) << result.output;
  EXPECT_TRUE(ts::ListDir(dir.path()).empty());
}

TEST(Run, ReportsAProgramThatCannotStart) {
  ts::TempDir dir;
  EXPECT_EQ(ts::Run({dir / "missing"}).exit_status, 127);
  EXPECT_EQ(ts::Run({ITUNES_IMPORT_BINARY}, dir / "missing").exit_status, 127) << "bad working directory";
}

}  // namespace
