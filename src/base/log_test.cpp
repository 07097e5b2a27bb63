#include "base/log.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <regex>
#include <string>
#include <vector>

#include "base/memory.h"
#include "testing/log_capture.hpp"
#include "testing/memory_fail.hpp"
#include "testing/temp_dir.hpp"

namespace {

using testing_support::LogCapture;
using testing_support::ReadFile;
using testing_support::TempDir;

// Lines of the log file without their headers ("... <tag> - <category>: ").
std::vector<std::string> Bodies(const std::string& path) {
  static const std::regex header(R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d:\d{3}  *\d+ (\[\w+\] - \w+: .*)$)");
  std::vector<std::string> bodies;
  const std::string text = ReadFile(path);
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    const std::string line = text.substr(start, end - start);
    std::smatch match;
    bodies.push_back(std::regex_match(line, match, header) ? match[1].str() : line);
    start = end + 1;
  }
  return bodies;
}

using Lines = std::vector<std::string>;

// The line tests below cover the plain mask-and-level cases.
TEST(LogFilter, InsideTheMaskTheLevelRulesEvenAtStartUp) {
  upnp_log_set_mask(LOG_PLUGIN);
  upnp_log_set_level(4);
  EXPECT_EQ(upnp_log_should_write(UPNP_LOG_INFO, LOG_PLUGIN), 0) << "start-up";
  upnp_log_set_settings_read(1);
  upnp_log_set_level(6);
  EXPECT_EQ(upnp_log_should_write(UPNP_LOG_CRITICAL, LOG_PLUGIN), 0) << "even a critical line";
  upnp_log_set_settings_read(0);
  upnp_log_set_mask(0);
  upnp_log_set_level(4);
}

TEST(LogLine, FiltersAfterTheSettingsAreRead) {
  TempDir dir;
  LogCapture log(dir / "log.txt");
  upnp_log_set_mask(LOG_PLUGIN);  // as the importer's -logfile sets them
  upnp_log_set_level(4);
  upnp_log(UPNP_LOG_DEBUG, LOG_HTTP, "f", 0, "startup debug");
  upnp_log(UPNP_LOG_INFO, LOG_PLUGIN, "f", 0, "startup info");
  upnp_log_set_settings_read(1);
  upnp_log(UPNP_LOG_INFO, LOG_PLUGIN, "f", 0, "dropped info");
  upnp_log(UPNP_LOG_ERROR, LOG_PLUGIN, "f", 0, "kept error");
  upnp_log(UPNP_LOG_ERROR, LOG_HTTP, "f", 0, "dropped, other category");
  upnp_log(UPNP_LOG_IMPORTANT, LOG_HTTP, "f", 0, "important");
  upnp_log(UPNP_LOG_INFO, LOG_PLUGIN, nullptr, 0, "no function");
  upnp_log(UPNP_LOG_ERROR, LOG_PLUGIN, nullptr, 0, "%s", "");
  EXPECT_EQ(Bodies(dir / "log.txt"),
            (Lines{"[Startup] - LOG_HTTP: f : startup debug", "[Startup] - LOG_PLUGIN: f : startup info",
                   "[Error] - LOG_PLUGIN: f : kept error", "[Important] - LOG_HTTP: f : important",
                   "[Error] - LOG_PLUGIN: "}));
}

// Both rules shape the lines of one file: an errno line only after errors
// that ask for it, and authentication headers never written out.
TEST(LogLine, ErrnoLineFollowsErrorsOnlyAndAuthenticationIsMasked) {
  TempDir dir;
  LogCapture log(dir / "log.txt");
  EXPECT_LT(open((dir / "missing").c_str(), O_RDONLY), 0);
  upnp_log(UPNP_LOG_ERROR, LOG_SYSTEM, "f", 1, "x");
  errno = 0;
  upnp_log(UPNP_LOG_ERROR, LOG_SYSTEM, "g", 1, "y");
  errno = ENOENT;
  upnp_log(UPNP_LOG_WARNING, LOG_SYSTEM, "h", 1, "z");
  upnp_log(UPNP_LOG_INFO, LOG_HTTP, "http", 0, "header www-authenticate: Digest realm=\"x\" nonce=secret");
  upnp_log(UPNP_LOG_INFO, LOG_HTTP, "http", 0, "WWW-AUTHORIZATION: secret");
  EXPECT_EQ(ReadFile(dir / "log.txt").find("secret"), std::string::npos) << ReadFile(dir / "log.txt");
  EXPECT_EQ(Bodies(dir / "log.txt"),
            (Lines{"[Startup] - LOG_SYSTEM: f : x", "[Startup] - LOG_SYSTEM: Error: 2 No such file or directory", "",
                   "[Startup] - LOG_SYSTEM: g : y", "[Startup] - LOG_SYSTEM: ", "[Startup] - LOG_SYSTEM: h : z",
                   "[Startup] - LOG_HTTP: [HTTP Authentication details not logged]", "",
                   "[Startup] - LOG_HTTP: [HTTP Authentication details not logged]", ""}));
}

TEST(LogLine, OutOfMemoryFallsBackToTheBareMessage) {
  TempDir dir;
  LogCapture log(dir / "log.txt");
  const int64_t before = upnp_mem_used();
  const int64_t runs = ForEachAllocationFailure([] { upnp_log(UPNP_LOG_INFO, LOG_SYSTEM, "f", 0, "msg %d", 1); });
  EXPECT_EQ(upnp_mem_used(), before);
  const Lines bodies = Bodies(dir / "log.txt");
  ASSERT_EQ(bodies.size(), static_cast<size_t>(runs + 1));
  EXPECT_EQ(bodies.front(), "[Startup] - LOG_SYSTEM: msg 1");
  EXPECT_EQ(bodies.back(), "[Startup] - LOG_SYSTEM: f : msg 1");
}

TEST(LogOpen, CreatesTheDirectoryAndReopens) {
  TempDir dir;
  {
    LogCapture log(dir / "a/b/log.txt");
    ASSERT_TRUE(log.opened());
    EXPECT_STREQ(upnp_log_get_file_name(), (dir / "a/b/log.txt").c_str());
    upnp_log(UPNP_LOG_INFO, LOG_SYSTEM, "f", 0, "one");
    EXPECT_EQ(upnp_log_open((dir / "other.txt").c_str()), 1);
    upnp_log(UPNP_LOG_INFO, LOG_SYSTEM, "f", 0, "two");
    EXPECT_EQ(upnp_log_open(nullptr), 1);
    EXPECT_EQ(upnp_log_get_file_name(), nullptr);
    upnp_log(UPNP_LOG_INFO, LOG_SYSTEM, "f", 0, "nowhere");
    EXPECT_EQ(upnp_log_open(dir.path().c_str()), 0) << "a directory cannot be the log";
    EXPECT_EQ(upnp_log_get_file_name(), nullptr);
    EXPECT_EQ(upnp_log_open((dir / "a/b/log.txt").c_str()), 1);
    upnp_log(UPNP_LOG_INFO, LOG_SYSTEM, "f", 0, "three");
  }
  upnp_log(UPNP_LOG_INFO, LOG_SYSTEM, "f", 0, "after close");
  EXPECT_EQ(Bodies(dir / "a/b/log.txt"), (Lines{"[Startup] - LOG_SYSTEM: f : one", "[Startup] - LOG_SYSTEM: f : three"}));
  EXPECT_EQ(Bodies(dir / "other.txt"), (Lines{"[Startup] - LOG_SYSTEM: f : two"}));
}

void FirstHandler(char* last_critical) {
  fprintf(stderr, "handled <%s>\n", last_critical);
  _exit(5);
}
void SecondHandler(char*) { _exit(6); }

TEST(LogCriticalDeathTest, WritesFileAndConsoleLinesThenTheFirstHandlerTakesOver) {
  TempDir dir;
  EXPECT_EXIT(
      {
        dup2(STDERR_FILENO, STDOUT_FILENO);  // the console lines, where the death test sees them
        LogCapture log(dir / "log.txt");
        upnp_log_set_settings_read(1);
        upnp_log_set_critical_handler(&FirstHandler);
        upnp_log_set_critical_handler(&SecondHandler);
        errno = EACCES;
        upnp_log(UPNP_LOG_CRITICAL, LOG_DB, "load_db", 1, "database %d broken", 7);
        _exit(3);
      },
      testing::ExitedWithCode(5),
      "  \\[Critical\\] - LOG_DB: database 7 broken \\(load_db\\)\r\n[^\n]*"
      "  \\[Critical\\] - LOG_DB: Error: 13 Permission denied\n\r\nhandled <database 7 broken \\(load_db\\)>");
  EXPECT_EQ(Bodies(dir / "log.txt"), (Lines{"[Critical] - LOG_DB: database 7 broken (load_db)",
                                            "[Critical] - LOG_DB: Error: 13 Permission denied", ""}));
}

}  // namespace
