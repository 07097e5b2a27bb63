#include "base/permission_report.h"

#include <errno.h>
#include <gtest/gtest.h>

#include <string>

#include "testing/log_capture.hpp"
#include "testing/temp_dir.hpp"

namespace {

using testing_support::FileExists;
using testing_support::LogCapture;
using testing_support::ReadFile;
using testing_support::Run;
using testing_support::TempDir;
using testing_support::WriteFile;

std::string Listing(const std::string& path) { return Run({"/bin/sh", "-c", "ls -la -- \"$0\" 2>&1", path}).output; }

int32_t DiagnoseWithErrno(const char* path, int error) {
  errno = error;
  return upnp_file_diagnose(path);
}

TEST(FileDiagnose, LogsTheListingBlockForARefusedFile) {
  TempDir dir;
  LogCapture log(dir / "log.txt");
  const std::string path = dir / "song.mp3";
  WriteFile(path, "x");
  EXPECT_EQ(DiagnoseWithErrno(path.c_str(), EACCES), 0);
  const std::string expected = "[Startup] - LOG_SYSTEM: upnp_file_diagnose : \n--diagnostic-info-start--\nfilename: " +
                               path + "\nerrno = 13\n\n" + Listing(path) + "--diagnostic-info-end--\n\n\n";
  const std::string text = ReadFile(dir / "log.txt");
  ASSERT_GE(text.size(), expected.size()) << text;
  EXPECT_EQ(text.substr(text.size() - expected.size()), expected);
}

TEST(FileDiagnose, ShellSyntaxInThePathRunsNothing) {
  TempDir dir;
  LogCapture log(dir / "log.txt");
  const std::string pwned = dir / "pwned";
  for (const std::string& path : {dir / "x;touch " + pwned + ";#", dir / "$(touch " + pwned + ")",
                                   dir / "`touch " + pwned + "`", dir / "a' && touch '" + pwned}) {
    EXPECT_EQ(DiagnoseWithErrno(path.c_str(), EPERM), 0) << path;
    EXPECT_FALSE(FileExists(pwned)) << path;
    EXPECT_NE(ReadFile(dir / "log.txt").find("filename: " + path + "\nerrno = 1\n\n"), std::string::npos) << path;
  }
  EXPECT_EQ(DiagnoseWithErrno("-R", EACCES), 0) << "an option-like name is still a name";
}

TEST(FileDiagnose, OnlyRightsProblemsQualify) {
  TempDir dir;
  LogCapture log(dir / "log.txt");
  WriteFile(dir / "f", "");
  const std::string file = dir / "f";
  const std::string lq8 = dir / "song.LQ8";
  const std::string log_file = dir / "log.txt";
  struct Case {
    const char* name;
    const char* path;
    int error;
  };
  const Case cases[] = {
      {"other error", file.c_str(), ENOENT},   {"no error", file.c_str(), 0},
      {"null path", nullptr, EACCES},          {"empty path", "", EACCES},
      {"lq8 file", lq8.c_str(), EACCES},       {"the log file itself", log_file.c_str(), EACCES},
  };
  for (const Case& c : cases) EXPECT_EQ(DiagnoseWithErrno(c.path, c.error), -1) << c.name;
  EXPECT_EQ(ReadFile(dir / "log.txt"), "");
}

}  // namespace
