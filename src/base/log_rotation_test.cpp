#include <gtest/gtest.h>
#include <sys/stat.h>
#include <pthread.h>
#include <sys/time.h>
#include <time.h>

#include <atomic>
#include <regex>
#include <string>
#include <vector>

#include "base/log.h"
#include "base/memory.h"
#include "testing/log_capture.hpp"
#include "testing/temp_dir.hpp"

namespace {

using testing_support::ListDir;
using testing_support::LogCapture;
using testing_support::ReadFile;
using testing_support::TempDir;
using testing_support::WriteFile;

constexpr size_t kMiB = 1048576;

// Logs lines of about 4 KB until at least `bytes` have gone to the file.
void LogBytes(size_t bytes) {
  const std::string chunk(4000, 'x');
  for (size_t written = 0; written < bytes; written += chunk.size() + 60) {
    upnp_log(UPNP_LOG_INFO, LOG_SYSTEM, "f", 0, "%s", chunk.c_str());
  }
}

// The registry lends these to the log in a running process; here plain
// detached threads stand in, and the clean-up names itself and leaves once.
std::atomic<int> cleanup_named{0};
std::atomic<int> cleanup_left{0};
int32_t StartDetached(void* (*routine)(void*), void* argument, int32_t) {
  pthread_t thread;
  if (pthread_create(&thread, nullptr, routine, argument) != 0) return 14;
  pthread_detach(thread);
  return 0;
}
void NameSelf(const char* name) {
  if (std::string(name) == "log_remove_old_parts") ++cleanup_named;
}
void LeaveRegistry() { ++cleanup_left; }
constexpr upnp_log_thread_calls kThreadCalls = {StartDetached, NameSelf, LeaveRegistry};

std::vector<std::string> Matching(const std::string& directory, const std::regex& pattern) {
  std::vector<std::string> names;
  for (const std::string& name : ListDir(directory)) {
    if (std::regex_match(name, pattern)) names.push_back(name);
  }
  return names;
}

TEST(LogRotation, RenamesPastOneMebibyteAndStartsAfresh) {
  struct Case {
    const char* file;
    const char* part;  // pattern of the rotated part's name
  };
  const Case cases[] = {
      {"orvane-log.txt", R"(orvane-\d{4}-\d\d-\d\d-\d\d-\d\d-\d\d-log\.txt)"},
      {"itunes.log", R"(itunes\.log-\d{4}-\d\d-\d\d-\d\d-\d\d-\d\d-log\.txt)"},
  };
  for (const Case& c : cases) {
    TempDir dir;
    LogCapture log(dir / c.file);
    LogBytes(kMiB - 8192);
    EXPECT_EQ(ListDir(dir.path()).size(), 1u) << c.file << ": not yet";
    LogBytes(16384);
    const std::vector<std::string> parts = Matching(dir.path(), std::regex(c.part));
    ASSERT_EQ(parts.size(), 1u) << c.file;
    const size_t part_size = ReadFile(dir / parts[0]).size();
    EXPECT_GT(part_size, kMiB) << c.file;
    EXPECT_LT(part_size, kMiB + 4200) << c.file << ": rotated at the first line past the limit";
    EXPECT_LT(ReadFile(dir / c.file).size(), 16384u) << c.file;
    EXPECT_STREQ(upnp_log_get_file_name(), (dir / c.file).c_str());
  }
}

TEST(LogRotation, DisabledRotationGrowsWithoutLimit) {
  TempDir dir;
  LogCapture log(dir / "orvane-log.txt");
  upnp_log_set_rotation_disabled(1);
  LogBytes(kMiB + 65536);
  EXPECT_EQ(ListDir(dir.path()), std::vector<std::string>{"orvane-log.txt"});
  EXPECT_GT(ReadFile(dir / "orvane-log.txt").size(), kMiB + 60000);
}

void SetModified(const std::string& path, time_t seconds) {
  const timeval times[2] = {{seconds, 0}, {seconds, 0}};
  ASSERT_EQ(utimes(path.c_str(), times), 0) << path;
}

TEST(LogRotation, CleanUpKeepsTheFiveNewestFilesEndingInLogTxt) {
  // The clean-up thread allocates beside this one: the byte count needs its
  // lock (it stays for the rest of the run).
  upnp_mem_prepare();
  TempDir dir;
  const time_t now = time(nullptr);
  // Six old parts, oldest first; the rotation below adds a seventh.
  const std::vector<std::string> old_parts = {"a-log.txt", "b-LOG.TXT", "c-log.txt",
                                              "d-log.txt", "e-log.txt", "f-log.txt"};
  for (size_t i = 0; i < old_parts.size(); ++i) {
    WriteFile(dir / old_parts[i], "old");
    SetModified(dir / old_parts[i], now - 1000 + static_cast<time_t>(i) * 10);
  }
  // Not parts: other names, and a directory.
  WriteFile(dir / "notes.txt", "");
  SetModified(dir / "notes.txt", now - 5000);
  mkdir((dir / "0-log.txt").c_str(), 0755);
  SetModified(dir / "0-log.txt", now - 5000);

  const int64_t before = upnp_mem_used();
  {
    LogCapture log(dir / "orvane-log.txt");
    upnp_log_set_thread_calls(&kThreadCalls);
    LogBytes(kMiB + 8192);
  }  // waits for the clean-up
  EXPECT_EQ(upnp_log_cleanups_running(), 0);
  EXPECT_EQ(upnp_mem_used(), before);
  EXPECT_EQ(cleanup_named.load(), 1);
  EXPECT_EQ(cleanup_left.load(), 1);

  const std::vector<std::string> left = ListDir(dir.path());
  const std::vector<std::string> rotated = Matching(dir.path(), std::regex(R"(orvane-\d{4}.*-log\.txt)"));
  ASSERT_EQ(rotated.size(), 1u);
  // The current file, named "-log.txt" too, counts among the five as the newest.
  std::vector<std::string> expected = {"0-log.txt", "d-log.txt",      "e-log.txt", "f-log.txt",
                                       "notes.txt", "orvane-log.txt", rotated[0]};
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(left, expected);
}

}  // namespace
