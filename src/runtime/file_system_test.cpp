#include "runtime/file_system.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "runtime/memory.h"
#include "testing/log_capture.h"
#include "testing/temp_dir.h"

namespace {

using testing_support::FileExists;
using testing_support::LogCapture;
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

  EXPECT_EQ(upnp_file_mkdir_path((dir / "a/b/").c_str()), 0);
  EXPECT_TRUE(FileExists(dir / "a/b"));
  umask(old_mask);
}

TEST(FileMkdirRecursive, FailsWhereAFileBlocksThePath) {
  TempDir dir;
  WriteFile(dir / "file", "");
  EXPECT_EQ(upnp_file_mkdir_recursive((dir / "file/sub/deeper").c_str(), 0755, 1), -1);
  EXPECT_EQ(upnp_file_mkdir_recursive(nullptr, 0755, 1), -1);
  EXPECT_EQ(upnp_file_mkdir((dir / "file").c_str()), 0) << "already exists counts as success";
}

TEST(FilePathJoin, DropsOneSeparatorOnEachSide) {
  struct Case {
    const char* directory;
    const char* name;
    const char* joined;  // null: no result
  };
  const Case cases[] = {
      {"/a/", "/b", "/a/b"},     {"a", "b", "a/b"},       {"a\\", "\\b", "a/b"},
      {"a//", "//b", "a///b"},   {"/", "b", "/b"},        {"a", "", nullptr},
      {"", "b", nullptr},        {nullptr, "b", nullptr}, {"a", nullptr, nullptr},
  };
  for (const Case& c : cases) {
    const int64_t before = upnp_mem_used();
    char* joined = upnp_file_path_join(c.directory, c.name);
    const std::string label = std::string(c.directory ? c.directory : "(null)") + " + " + (c.name ? c.name : "(null)");
    if (c.joined == nullptr) {
      EXPECT_EQ(joined, nullptr) << label;
      continue;
    }
    ASSERT_NE(joined, nullptr) << label;
    EXPECT_STREQ(joined, c.joined) << label;
    EXPECT_EQ(upnp_mem_used() - before, static_cast<int64_t>(strlen(c.joined) + 1)) << label << ": exact size";
    upnp_free(joined);
  }
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
  mkdir((dir / ".hidden").c_str(), 0755);
  mkdir((dir / "lost+found").c_str(), 0755);
  mkdir((dir / "Music").c_str(), 0755);
  WriteFile(dir / ".cfg", "");
  WriteFile(dir / "song.mp3", "");
  WriteFile(dir / "lost+found.txt", "");
  ASSERT_EQ(symlink("Music", (dir / "link").c_str()), 0);
  const std::vector<std::string> expected = {".cfg", "Music/", "link/@", "lost+found.txt", "song.mp3"};
  EXPECT_EQ(Names(dir.path()), expected);
  EXPECT_EQ(Names(dir.path() + "/"), expected) << "one trailing slash is dropped";
}

TEST(FileFind, RefusesProcEmptyAndMissingDirectories) {
  TempDir dir;
  mkdir((dir / "empty").c_str(), 0755);
  const std::string empty = dir / "empty";
  const std::string missing = dir / "missing";
  for (const char* path : {"/proc/1", "/process", "/proc", "", empty.c_str(), missing.c_str()}) {
    EXPECT_EQ(upnp_file_find_first_file(path), nullptr) << path;
  }
  EXPECT_EQ(upnp_file_find_first_file(nullptr), nullptr);
  EXPECT_EQ(upnp_file_find_next_file(nullptr), nullptr);
  upnp_file_find_close(nullptr);
}

TEST(FileFind, LogsAndSkipsEntriesThatCannotBeExamined) {
  TempDir dir;
  LogCapture log(dir / "log.txt");
  mkdir((dir / "d").c_str(), 0755);
  ASSERT_EQ(symlink("nowhere", (dir / "d/dangling").c_str()), 0);
  WriteFile(dir / "d/kept", "");
  EXPECT_EQ(Names(dir / "d"), std::vector<std::string>{"kept"});
  EXPECT_NE(ReadFile(dir / "log.txt").find("upnp_file_find_next_file : File stat for \"" + (dir / "d/dangling") +
                                           "\" failed. (No such file or directory,errno=2)"),
            std::string::npos)
      << ReadFile(dir / "log.txt");
}

TEST(FileModes, RegularIsABitTestThatSocketsPass) {
  TempDir dir;
  WriteFile(dir / "file", "");
  mkdir((dir / "sub").c_str(), 0755);
  const std::string socket_path = dir / "sock";
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  snprintf(address.sun_path, sizeof address.sun_path, "%s", socket_path.c_str());
  ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(upnp_file_is_regular((dir / "file").c_str()), 1);
  EXPECT_EQ(upnp_file_is_regular(socket_path.c_str()), 1);
  EXPECT_EQ(upnp_file_is_regular((dir / "sub").c_str()), 0);
  EXPECT_EQ(upnp_file_is_regular((dir / "missing").c_str()), 0);
  EXPECT_EQ(upnp_file_mode_test((dir / "sub").c_str(), S_IFDIR), 1);
  close(fd);
}

}  // namespace
