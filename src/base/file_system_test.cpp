#include "base/file_system.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "base/memory.h"
#include "testing/log_capture.hpp"
#include "testing/temp_dir.hpp"

namespace {

using testing_support::FileExists;
using testing_support::ReadFile;
using testing_support::TempDir;
using testing_support::WriteFile;

uint32_t ModeOf(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0;
}

TEST(FileMkdirRecursive, CreatesOnlyWhatIsMissingWithTheMode) {
  TempDir dir;
  const mode_t old_mask = umask(0);
  ASSERT_EQ(mkdir((dir / "x").c_str(), 0700), 0);
  EXPECT_EQ(upnp_file_mkdir_recursive((dir / "x/y/z").c_str(), 0755, 1), 0);
  EXPECT_EQ(ModeOf(dir / "x"), 0700u) << "existing prefixes are left alone";
  EXPECT_EQ(ModeOf(dir / "x/y"), 0755u);
  EXPECT_EQ(ModeOf(dir / "x/y/z"), 0755u);
  ASSERT_EQ(chmod((dir / "x/y/z").c_str(), 0711), 0);
  EXPECT_EQ(upnp_file_mkdir_recursive((dir / "x/y/z").c_str(), 0755, 1), 0);
  EXPECT_EQ(ModeOf(dir / "x/y/z"), 0711u) << "an existing path keeps its mode";
  umask(old_mask);

  EXPECT_EQ(upnp_file_mkdir_path((dir / "a/b/").c_str()), 0);
  EXPECT_TRUE(FileExists(dir / "a/b"));
  WriteFile(dir / "file", "");
  EXPECT_EQ(upnp_file_mkdir_recursive((dir / "file/sub/deeper").c_str(), 0755, 1), -1);
  EXPECT_EQ(upnp_file_mkdir((dir / "file").c_str()), 0) << "already exists counts as success";
}

TEST(FilePathJoin, DropsOneSeparatorOnEachSide) {
  const char* const cases[][3] = {{"/a/", "/b", "/a/b"}, {"a\\", "\\b", "a/b"}, {"a//", "//b", "a///b"}};
  for (const auto& c : cases) {
    const int64_t before = upnp_mem_used();
    char* joined = upnp_file_path_join(c[0], c[1]);
    EXPECT_STREQ(joined, c[2]);
    EXPECT_EQ(upnp_mem_used() - before, static_cast<int64_t>(strlen(c[2]) + 1)) << c[2] << ": exact size";
    upnp_free(joined);
  }
  EXPECT_EQ(upnp_file_path_join("a", ""), nullptr);
  EXPECT_EQ(upnp_file_path_join(nullptr, "b"), nullptr);
}

// The names found, sorted; a directory shows as "name/", a link as "name@".
std::vector<std::string> Names(const std::string& directory) {
  std::vector<std::string> names;
  for (upnp_file_find* find = upnp_file_find_first_file(directory.c_str()); find != nullptr;
       find = upnp_file_find_next_file(find)) {
    names.push_back(std::string(find->name) + (find->is_dir ? "/" : "") + (find->is_link ? "@" : ""));
    EXPECT_EQ(std::string(find->path), directory.substr(0, directory.find_last_not_of('/') + 1) + "/" + find->name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

TEST(FileFind, SkipsHiddenDirectoriesAndLostFoundMarksDirectoriesAndLinks) {
  TempDir dir;
  for (const char* sub : {".hidden", "lost+found", "Music"}) mkdir((dir / sub).c_str(), 0755);
  for (const char* file : {".cfg", "song.mp3", "lost+found.txt"}) WriteFile(dir / file, "");
  ASSERT_EQ(symlink("Music", (dir / "link").c_str()), 0);
  const std::vector<std::string> expected = {".cfg", "Music/", "link/@", "lost+found.txt", "song.mp3"};
  EXPECT_EQ(Names(dir.path()), expected);
  EXPECT_EQ(Names(dir.path() + "/"), expected) << "one trailing slash is dropped";
}

TEST(FileFind, RefusesProcEmptyAndMissingDirectories) {
  TempDir dir;
  mkdir((dir / "empty").c_str(), 0755);
  const std::string empty = dir / "empty", missing = dir / "missing";
  for (const char* path : {"/proc", "/proc/1", "/process", "", empty.c_str(), missing.c_str()}) {
    EXPECT_EQ(upnp_file_find_first_file(path), nullptr) << path;
  }
  EXPECT_EQ(upnp_file_find_next_file(nullptr), nullptr);
  upnp_file_find_close(nullptr);
}

TEST(FileFind, LogsAndSkipsEntriesThatCannotBeExamined) {
  TempDir dir;
  testing_support::LogCapture log(dir / "log.txt");
  mkdir((dir / "d").c_str(), 0755);
  ASSERT_EQ(symlink("nowhere", (dir / "d/dangling").c_str()), 0);
  WriteFile(dir / "d/kept", "");
  EXPECT_EQ(Names(dir / "d"), std::vector<std::string>{"kept"});
  EXPECT_NE(ReadFile(dir / "log.txt").find("upnp_file_find_next_file : File stat for \"" + (dir / "d/dangling") +
                                           "\" failed. (No such file or directory,errno=2)"),
            std::string::npos)
      << ReadFile(dir / "log.txt");
}

}  // namespace
