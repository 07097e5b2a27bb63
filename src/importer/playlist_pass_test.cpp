// The folder pass on libraries the tests write: which playlists and folders
// it records for the full names. What the playlist half of the track pass
// writes from them is compared byte for byte end to end.
#include <gtest/gtest.h>
#include <stdio.h>

#include <string>

#include "importer/import_run.hpp"
#include "importer/playlist_naming.hpp"
#include "testing/temp_dir.hpp"

namespace importer {
namespace {

using testing_support::TempDir;
using testing_support::ReadFile;
using testing_support::WriteFile;

// The nodes the folder pass records, newest first.
std::string RecordedFolders(const TempDir& dir, const char* library_name) {
  ImportRun run{};
  snprintf(run.scan_path, sizeof run.scan_path, "%s", (dir / library_name).c_str());
  (void)read_audiobook_ids(run);  // pass 1 names the file the others read
  audiobook_list_free(run.audiobooks);
  read_playlist_folders(run);
  std::string s;
  for (const FolderList* f = run.folders; f != nullptr; f = f->next) {
    s += std::string(f->name ? f->name : "-") + "|" + (f->persistent_id ? f->persistent_id : "-") + "|" +
         (f->parent_id ? f->parent_id : "-") + "|" + std::to_string(f->playlist_id) + "\n";
  }
  folder_list_free(run.folders);
  return s;
}

TEST(FolderPass, RecordsFoldersAndFindablePlaylists) {
  const std::string kHead = "<dict>\n<key>Tracks</key>\n<dict>\n<key>Name</key><string>a track</string>\n</dict>\n";
  const struct {
    const char* name;
    std::string playlists;
    std::string expected;  // newest first
  } cases[] = {
      {"a playlist needs a name and an identifier or a parent",
       "<key>Name</key><string>N</string>\n<key>Playlist Items</key>\n"
       "<key>Playlist Persistent ID</key><string>P</string>\n<key>Playlist Items</key>\n"
       "<key>Name</key><string>Q</string>\n<key>Parent Persistent ID</key><string>F</string>\n<key>Playlist Items</key>\n",
       "Q|-|F|0\n"},
      {"a folder needs any one text",
       "<key>Parent Persistent ID</key><string>F</string>\n<key>Folder</key><true/>\n<key>Folder</key><true/>\n",
       "-|-|F|0\n"},
      {"hidden, smart and podcast playlists drop what is pending; the id stays",
       "<key>Name</key><string>Library</string>\n<key>Playlist ID</key><integer>9</integer>\n"
       "<key>Playlist Persistent ID</key><string>L</string>\n<key>Visible</key><false/>\n<key>Playlist Items</key>\n"
       "<key>Name</key><string>S</string>\n<key>Playlist Persistent ID</key><string>S</string>\n"
       "<key>Smart Info</key>\n<key>Playlist Items</key>\n"
       "<key>Name</key><string>Podcasts</string>\n<key>Playlist Persistent ID</key><string>C</string>\n"
       "<key>Podcasts</key><true/>\n<key>Playlist Items</key>\n"
       "<key>Name</key><string>Kept</string>\n<key>Playlist Persistent ID</key><string>K</string>\n"
       "<key>Playlist Items</key>\n",
       "Kept|K|-|9\n"},
      {"a Name line longer than the line scanner's block names nothing",
       "<key>Name</key><string>" + std::string(70000, 'n') +
           "</string>\n<key>Playlist Persistent ID</key><string>P</string>\n<key>Folder</key><true/>\n",
       "-|P|-|0\n"},
      {"a repeated playlists key is skipped, not read as a name",
       "<key>Playlists</key><key>Name</key><string>X</string>\n<key>Folder</key><true/>\n", ""},
  };
  TempDir dir;
  for (const auto& c : cases) {
    WriteFile(dir / "lib.xml", kHead + "<key>Playlists</key>\n<array>\n" + c.playlists + "</array>\n</dict>\n");
    EXPECT_EQ(RecordedFolders(dir, "lib.xml"), c.expected) << c.name;
  }
  EXPECT_EQ(RecordedFolders(dir, "missing.xml"), "");
}

// The passes after the first read the file the first one checked, or
// nothing: a library saved anew in between ends the run.
TEST(FolderPass, ReadsOnlyTheLibraryPassOneChecked) {
  TempDir dir;
  const std::string library = dir / "lib.xml";
  WriteFile(library, "<dict>\n<key>Playlists</key>\n<array>\n<key>Name</key><string>N</string>\n</array>\n</dict>\n");
  ImportRun run{};
  snprintf(run.scan_path, sizeof run.scan_path, "%s", library.c_str());
  snprintf(run.library_path, sizeof run.library_path, "%s", library.c_str());
  (void)read_audiobook_ids(run);
  WriteFile(dir / "new.xml", ReadFile(library));
  ASSERT_EQ(rename((dir / "new.xml").c_str(), library.c_str()), 0);
  read_playlist_folders(run);
  EXPECT_EQ(std::string(run.failure), "iTunes-import: can not read " + library + ": it changed while it was being imported");
  EXPECT_EQ(run.folders, nullptr);
}

}  // namespace
}  // namespace importer
