#include "importer/file_existence.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "base/file_system.h"
#include "testing/temp_dir.hpp"

namespace importer {
namespace {

using testing_support::TempDir;
using testing_support::WriteFile;

// In an order that keeps a directory open, leaves it and comes back: every
// answer is the whole path's.
TEST(FileExistence, AnswersAsTheWholePathDoes) {
  TempDir dir;
  ASSERT_EQ(upnp_file_mkdir((dir / "album").c_str()), 0);
  WriteFile(dir / "album/a.mp3", "");
  WriteFile(dir / "album/b.mp3", "");
  WriteFile(dir / "top.mp3", "");
  ASSERT_EQ(symlink((dir / "album").c_str(), (dir / "link").c_str()), 0);
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  ASSERT_EQ(chdir(dir.path().c_str()), 0);
  const char* const paths[] = {
      "album/a.mp3", "album/b.mp3", "album/missing.mp3", "albun/a.mp3", "album/a.mp3", "missing/a.mp3", "album/",
      "link/a.mp3",  "top.mp3",     "album/a.mp3",       "/",           "album//b.mp3",  "album/a.mp3/x",
  };
  FileExistence files;
  for (const char* path : paths) EXPECT_EQ(files.exists(path), upnp_file_exists(path) != 0) << path;
  EXPECT_EQ(chdir(cwd), 0);
}

}  // namespace
}  // namespace importer
