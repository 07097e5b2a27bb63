// The whole import run inside the test process, where the tracked byte
// count can be read: a run returns every byte it took, and the saved fuzz
// inputs replay cleanly with gcc builds too.
#include <gtest/gtest.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "importer/itunes_main.h"
#include "runtime/lifecycle.h"
#include "runtime/memory.h"
#include "runtime/memory_fail.h"
#include "testing/itunes_library.hpp"
#include "testing/temp_dir.h"

namespace {

using testing_support::LibraryXml;
using testing_support::ListDir;
using testing_support::ReadFile;
using testing_support::TempDir;
using testing_support::WriteFile;

// Track locations are relative to the working directory: a run is made
// from inside its scratch directory, and the test's own is given back.
class InDirectory {
 public:
  explicit InDirectory(const std::string& dir) {
    if (getcwd(previous_, sizeof previous_) == nullptr) previous_[0] = '\0';
    EXPECT_EQ(chdir(dir.c_str()), 0) << dir;
  }
  ~InDirectory() {
    if (previous_[0] != '\0') {
      EXPECT_EQ(chdir(previous_), 0);
    }
  }

 private:
  char previous_[PATH_MAX];
};

// The library is always there, so the run never takes the error end that
// leaves the process.
int32_t ImportInProcess(const TempDir& dir) {
  InDirectory in(dir.path());
  std::vector<std::string> args = {"itunes-import", "-dbdir", dir.path(), "-playlist-dir", "", "-itunes-lib",
                                   dir / "lib.xml"};
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  return itunes_main(static_cast<int32_t>(argv.size()), argv.data());
}

TEST(Runtime, WholeImportWithTracksAndPlaylistsReturnsEveryTrackedByte) {
  TempDir dir;
  mkdir((dir / "media").c_str(), 0755);
  WriteFile(dir / "media/a.mp3", "a");
  WriteFile(dir / "media/b.m4v", "b");
  const char kFile[] = "\t\t\t<key>Track Type</key><string>File</string>\n";
  WriteFile(dir / "lib.xml",
            LibraryXml({{1, "A", "file://localhost/media/a.mp3", kFile},
                        {2, "B", "file://localhost/media/b.m4v", std::string(kFile) + "<key>Has Video</key><true/>\n"},
                        {3, "C", "", kFile}},
                       {{"F", "F1", "", true, {}, ""},
                        {"P", "P1", "F1", false, {2, 1, 3}, ""},
                        {"P", "P2", "F1", false, {2}, ""},
                        {"Q", "P3", "", false, {1}, ""}}));
  upnp_runtime_exit();
  upnp_runtime_init();
  EXPECT_EQ(ImportInProcess(dir), 0);
  upnp_runtime_exit();
  EXPECT_EQ(g_memUsed, 0);
  EXPECT_EQ(runtime_prepared, 0);
  EXPECT_EQ(runtime_started, 0);
  upnp_runtime_init();
  // The run did the work whose memory it gave back.
  EXPECT_EQ(ListDir(dir.path()), (std::vector<std::string>{"iTunes-playlist-F_P_(iTunes)##V.wpl",
                                                           "iTunes-playlist-Q_(iTunes)##M.wpl", "itunes.import.items",
                                                           "itunes.log", "lib.xml", "media"}));
  EXPECT_EQ(ReadFile(dir / "itunes.log"), "F/P (iTunes)\r\nF/P (iTunes)\r\nQ (iTunes)\r\n");
}

// Every module of the import on every failing request. A failed resize
// uncounts the block it leaves with its caller (the allocator's rule), so
// the count may end below where it was, above it would be a leak; a high
// start keeps it from going negative. AddressSanitizer's leak check sees
// the rest.
TEST(Runtime, OutOfMemoryAnywhereInAnImportLeaksNothing) {
  TempDir dir;
  mkdir((dir / "media").c_str(), 0755);
  WriteFile(dir / "media/a.mp3", "a");
  WriteFile(dir / "lib.xml", LibraryXml({{1, "A", "file://localhost/media/a.mp3", ""},
                                         {2, "B", "file://localhost/media/b.m4v", ""}},
                                        {{"Audiobooks", "AB", "", false, {1}, "\t\t\t<key>Audiobooks</key><true/>\n"},
                                         {"F", "F1", "", true, {}, ""},
                                         {"P", "P1", "F1", false, {2, 1}, ""},
                                         {"P", "P2", "F1", false, {2}, ""}}));
  const int64_t used = g_memUsed;
  g_memUsed += int64_t{1} << 40;
  int64_t run = 0;
  const int64_t failures = ForEachAllocationFailure([&] {
    const int64_t before = g_memUsed;
    EXPECT_EQ(ImportInProcess(dir), 0);
    EXPECT_LE(g_memUsed, before) << "failing from request " << run++;
  });
  g_memUsed = used;
  EXPECT_GT(failures, 100) << "the run's requests";
}

TEST(ImportCorpus, SavedFuzzInputsRunCleanly) {
  const std::string corpus = std::string(ITUNES_IMPORT_SOURCE_DIR) + "/fuzz/corpus/import";
  const std::vector<std::string> inputs = ListDir(corpus);
  ASSERT_FALSE(inputs.empty()) << corpus;
  for (const std::string& name : inputs) {
    TempDir dir;
    WriteFile(dir / "lib.xml", ReadFile(corpus + "/" + name));
    const int64_t before = g_memUsed;
    EXPECT_EQ(ImportInProcess(dir), 0) << name;
    EXPECT_EQ(g_memUsed, before) << name;
  }
}

}  // namespace
