// Every creation, write, sync and rename of a whole import fails once in
// turn, through the file layer's fault seam: the run then ends with status
// -1 and one line naming the file and the error, and the database and
// playlist directories are byte for byte as before it. A rename refused
// across filesystems (EXDEV) is handled: the run installs the new outputs.
#include <errno.h>
#include <gtest/gtest.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "base/file_faults.h"
#include "testing/import_in_process.hpp"
#include "testing/itunes_library.hpp"
#include "testing/temp_dir.hpp"

namespace {

using namespace testing_support;

using Files = std::map<std::string, std::string>;

InProcessRun ImportInProcess(const TempDir& dir, const std::string& library) {
  return testing_support::ImportInProcess(dir, dir / "db", dir / "playlists", dir / library);
}

Files Outputs(const TempDir& dir) {
  Files files = DirContents(dir / "db");
  for (const auto& [name, content] : DirContents(dir / "playlists")) files["playlists/" + name] = content;
  return files;
}

TEST(ImportFaults, EveryCallFailingOnceLeavesTheOldOutputsOrInstallsTheNew) {
  TempDir dir;
  for (const char* d : {"db", "playlists", "media"}) mkdir((dir / d).c_str(), 0755);
  WriteFile(dir / "media/a.mp3", "a");
  WriteFile(dir / "media/b.m4v", "b");
  const std::vector<LibraryTrack> tracks = {{1, "A", "file://localhost/media/a.mp3", kFileTrack},
                                            {2, "B", "file://localhost/media/b.m4v", kFileTrack + True("Has Video")}};
  WriteFile(dir / "old.xml", LibraryXml({tracks[0]}, {{"P", "P1", "", false, {1}, ""}, {"Old", "O", "", false, {1}, ""}}));
  WriteFile(dir / "new.xml", LibraryXml(tracks, {{"F", "F1", "", true, {}, ""},
                                                 {"P", "P1", "", false, {2, 1}, ""},
                                                 {"P", "P2", "F1", false, {1}, ""}}));
  // Playlists of the new library stay when the old one is imported again,
  // so the state to come back to is that of old, new, old.
  for (const char* library : {"old.xml", "new.xml", "old.xml"}) ASSERT_EQ(ImportInProcess(dir, library).status, 0);
  const Files before = Outputs(dir);
  upnp_file_faults_reset();
  ASSERT_EQ(ImportInProcess(dir, "new.xml").status, 0);
  int64_t calls[UPNP_FILE_CALL_KINDS];
  for (int kind = 0; kind < UPNP_FILE_CALL_KINDS; ++kind) calls[kind] = upnp_file_calls(upnp_file_call(kind));
  const Files after = Outputs(dir);
  ASSERT_NE(after, before);

  const struct {
    const char* name;
    upnp_file_call kind;
    int error;
    bool installs;
  } cases[] = {
      {"create", UPNP_FILE_CALL_CREATE, ENOSPC, false}, {"write", UPNP_FILE_CALL_WRITE, ENOSPC, false},
      {"write", UPNP_FILE_CALL_WRITE, EIO, false},      {"sync", UPNP_FILE_CALL_SYNC, EIO, false},
      {"rename", UPNP_FILE_CALL_RENAME, ENOSPC, false}, {"rename", UPNP_FILE_CALL_RENAME, EXDEV, true},
  };
  for (const auto& c : cases) {
    EXPECT_GE(calls[c.kind], 3) << c.name;
    for (int64_t nth = 1; nth <= calls[c.kind]; ++nth) {
      const std::string label = std::string(c.name) + " " + std::to_string(nth) + " failing with " + strerror(c.error);
      upnp_file_faults_reset();
      ASSERT_EQ(ImportInProcess(dir, "old.xml").status, 0) << label;
      ASSERT_EQ(Outputs(dir), before) << label;
      upnp_file_fault_arm(c.kind, nth, c.error);
      const InProcessRun outcome = ImportInProcess(dir, "new.xml");
      upnp_file_faults_reset();
      if (c.installs) {
        EXPECT_EQ(outcome.status, 0) << label;
        EXPECT_EQ(outcome.error_output, "") << label;
        EXPECT_EQ(Outputs(dir), after) << label;
      } else {
        EXPECT_EQ(outcome.status, -1) << label;
        EXPECT_EQ(outcome.error_output.rfind("iTunes-import: can not ", 0), 0u) << label << ": " << outcome.error_output;
        EXPECT_NE(outcome.error_output.find(dir.path()), std::string::npos) << label << ": " << outcome.error_output;
        EXPECT_NE(outcome.error_output.find(std::string(": ") + strerror(c.error) + "\n"), std::string::npos)
            << label << ": " << outcome.error_output;
        EXPECT_EQ(Outputs(dir), before) << label;
      }
    }
  }
}

}  // namespace
