// The whole import run inside the test process, where the tracked byte
// count can be read: a run returns every byte it took, also when any of its
// requests fails, and the saved fuzz inputs replay cleanly with gcc builds
// too.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "base/memory.h"
#include "process/lifecycle.h"
#include "testing/import_in_process.hpp"
#include "testing/itunes_library.hpp"
#include "testing/memory_fail.hpp"
#include "testing/temp_dir.hpp"

namespace {

using namespace testing_support;

using Files = std::map<std::string, std::string>;

InProcessRun ImportInProcess(const TempDir& dir) {
  return testing_support::ImportInProcess(dir, dir.path(), "", dir / "lib.xml");
}

// Tracks of both kinds in nested folders, merged playlists and an audiobook.
// With CR LF line ends the library is rewritten before the passes read it.
void WriteLibrary(const TempDir& dir, bool crlf = false) {
  mkdir((dir / "media").c_str(), 0755);
  WriteFile(dir / "media/a.mp3", "a");
  WriteFile(dir / "media/b.m4v", "b");
  std::string library = LibraryXml({{1, "A", "file://localhost/media/a.mp3", kFileTrack},
                                         {2, "B", "file://localhost/media/b.m4v", kFileTrack + True("Has Video")},
                                         {3, "C", "", kFileTrack}},
                                        {{"Audiobooks", "AB", "", false, {1}, True("Audiobooks")},
                                         {"F", "F1", "", true, {}, ""},
                                         {"P", "P1", "F1", false, {2, 1, 3}, ""},
                                         {"P", "P2", "F1", false, {2}, ""}});
  for (size_t at = library.find('\n'); crlf && at != std::string::npos; at = library.find('\n', at + 2))
    library.insert(at, "\r");
  WriteFile(dir / "lib.xml", library);
}

TEST(Runtime, WholeImportWithTracksAndPlaylistsReturnsEveryTrackedByte) {
  TempDir dir;
  WriteLibrary(dir);
  upnp_runtime_exit();
  upnp_runtime_init();
  EXPECT_EQ(ImportInProcess(dir).status, 0);
  upnp_runtime_exit();
  EXPECT_EQ(g_memUsed, 0);
  EXPECT_EQ(runtime_prepared, 0);
  EXPECT_EQ(runtime_started, 0);
  upnp_runtime_init();
  // The run did the work whose memory it gave back.
  EXPECT_EQ(ListDir(dir.path()),
            (std::vector<std::string>{"iTunes-playlist-Audiobooks_(iTunes)##M.wpl", "iTunes-playlist-F_P_(iTunes)##V.wpl",
                                      "itunes-import.lock", "itunes.import.items", "itunes.log", "lib.xml", "media"}));
  EXPECT_EQ(ReadFile(dir / "itunes.log"), "Audiobooks (iTunes)\r\nF/P (iTunes)\r\nF/P (iTunes)\r\n");
}

// A failed resize uncounts the block it leaves with its caller (the
// allocator's rule), so the count may end below where it was, above it
// would be a leak; a high start keeps it from going negative.
// AddressSanitizer's leak check sees the rest. Whatever request fails, the
// run installs the complete outputs or leaves the earlier ones as they
// were; without 64 KiB blocks the library cannot be checked whole and is
// refused, not read in part.
TEST(Runtime, OutOfMemoryAnywhereInAnImportInstallsAllOrNothingAndLeaksNothing) {
  for (const bool crlf : {false, true}) {
    TempDir dir;
    WriteLibrary(dir, crlf);
    ASSERT_EQ(ImportInProcess(dir).status, 0);
    const Files complete = DirContents(dir.path());
    WriteFile(dir / "itunes.import.items", "earlier");
    const Files earlier = DirContents(dir.path());
    upnp_mem_set_fail_hook([](uint64_t size) { return size >= 64 * 1024 ? 1 : 0; });
    const InProcessRun refused = ImportInProcess(dir);
    upnp_mem_set_fail_hook(nullptr);
    EXPECT_EQ(refused.status, -1);
    EXPECT_EQ(refused.error_output, "itunes-import: " + (dir / "lib.xml") + " can not be imported: out of memory\n");
    EXPECT_EQ(DirContents(dir.path()), earlier);
    // One block refused at a time (the line reader of a pass, the items
    // buffer): a pass that cannot read the library ends the run.
    for (int block = 0; block < 8; ++block) {
      static int countdown;
      countdown = block;
      WriteFile(dir / "itunes.import.items", "earlier");
      const Files before = DirContents(dir.path());
      upnp_mem_set_fail_hook([](uint64_t size) { return size >= 64 * 1024 && countdown-- == 0 ? 1 : 0; });
      const int32_t status = ImportInProcess(dir).status;
      upnp_mem_set_fail_hook(nullptr);
      EXPECT_EQ(DirContents(dir.path()), status == 0 ? complete : before) << "block " << block;
    }
    const int64_t used = g_memUsed;
    g_memUsed += int64_t{1} << 40;
    int64_t run = 0;
    const int64_t failures = ForEachAllocationFailure([&] {
      const std::string label = "failing from request " + std::to_string(run++) + (crlf ? " (CR LF)" : "");
      const int64_t before = g_memUsed;
      const Files kept = DirContents(dir.path());
      // A file whose handle cannot be had fails the run, which is fine here.
      const int32_t status = ImportInProcess(dir).status;
      EXPECT_TRUE(status == 0 || status == -1) << label << ": " << status;
      EXPECT_EQ(DirContents(dir.path()), status == 0 ? complete : kept) << label;
      EXPECT_LE(g_memUsed, before) << label;
    });
    g_memUsed = used;
    EXPECT_GT(failures, 100) << "the run's requests";
  }
}

// Each saved input is imported or refused; neither leaks.
TEST(ImportCorpus, SavedFuzzInputsRunCleanly) {
  const std::string corpus = std::string(ITUNES_IMPORT_SOURCE_DIR) + "/fuzz/corpus/import";
  const std::vector<std::string> inputs = ListDir(corpus);
  ASSERT_FALSE(inputs.empty()) << corpus;
  for (const std::string& name : inputs) {
    TempDir dir;
    WriteFile(dir / "lib.xml", ReadFile(corpus + "/" + name));
    const int64_t before = g_memUsed;
    const int32_t status = ImportInProcess(dir).status;
    EXPECT_TRUE(status == 0 || status == -1) << name << ": " << status;
    EXPECT_EQ(g_memUsed, before) << name;
  }
}

}  // namespace
