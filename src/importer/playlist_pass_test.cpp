// The folder pass and the playlist half of the track pass, on libraries the
// tests write, with a stand-in track list in place of the track pass.
#include <gtest/gtest.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include <string>
#include <utility>
#include <vector>

#include "importer/import_run.hpp"
#include "importer/line_scanner.hpp"
#include "importer/playlist_naming.hpp"
#include "runtime/memory.h"
#include "runtime/memory_fail.h"
#include "testing/itunes_library.hpp"
#include "testing/temp_dir.h"

namespace importer {
namespace {

using testing_support::ImportedWpl;
using testing_support::LibraryPlaylist;
using testing_support::LibraryXml;
using testing_support::ListDir;
using testing_support::ReadFile;
using testing_support::TempDir;
using testing_support::WriteFile;

// The two passes over one library, with the track list a test gives.
class Passes {
 public:
  Passes(const std::string& library, const std::vector<std::pair<uint32_t, const char*>>& tracks) {
    WriteFile(dir_ / "lib.xml", library);
    snprintf(run_.library_path, sizeof run_.library_path, "%s", (dir_ / "lib.xml").c_str());
    snprintf(run_.work_dir, sizeof run_.work_dir, "%s", (dir_ / "work").c_str());
    mkdir(run_.work_dir, 0755);
    for (const auto& [id, location] : tracks) track_list_insert(run_.tracks, id, location, nullptr);
  }
  ~Passes() {
    track_list_free(run_.tracks);
    folder_list_free(run_.folders);
  }

  void ReadFolders() { read_playlist_folders(run_); }
  // The track pass's walk up to the playlists, then the playlist half.
  void WritePlaylists() {
    LineScanner scanner(LinePass::kFoldersAndTracks);
    if (!scanner.open(run_.library_path)) return;
    while (!scanner.at_end() && strstr(scanner.next().text, "<key>Playlists</key>") == nullptr) {
    }
    write_playlists(run_, scanner);
  }
  std::string Work(const std::string& name) const { return ReadFile(dir_ / ("work/" + name)); }
  std::vector<std::string> WorkFiles() const { return ListDir(dir_ / "work"); }
  const TempDir& dir() const { return dir_; }
  ImportRun& run() { return run_; }

 private:
  TempDir dir_;
  ImportRun run_{};
};

std::string Describe(const FolderList* folders) {
  std::string s;
  for (const FolderList* f = folders; f != nullptr; f = f->next) {
    s += std::string(f->name ? f->name : "-") + "|" + (f->persistent_id ? f->persistent_id : "-") + "|" +
         (f->parent_id ? f->parent_id : "-") + "|" + std::to_string(f->playlist_id) + "\n";
  }
  return s;
}

TEST(FolderPass, RecordsFoldersAndFindablePlaylists) {
  const std::string kHead = "<dict>\n<key>Tracks</key>\n<dict>\n<key>Name</key><string>a track</string>\n</dict>\n";
  const struct {
    const char* name;
    std::string playlists;
    std::string expected;  // newest first
  } cases[] = {
      {"folder and playlist",
       "<key>Name</key><string>F</string>\n<key>Playlist ID</key><integer>5</integer>\n"
       "<key>Playlist Persistent ID</key><string>P1</string>\n<key>Folder</key><true/>\n"
       "<key>Name</key><string>Rock+Roll</string>\n<key>Playlist ID</key><integer>6</integer>\n"
       "<key>Playlist Persistent ID</key><string>P2</string>\n<key>Parent Persistent ID</key><string>P1</string>\n"
       "<key>Playlist Items</key>\n",
       "Rock Roll|P2|P1|6\nF|P1|-|5\n"},
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
      {"a repeated playlists key is skipped, not read as a name",
       "<key>Playlists</key><key>Name</key><string>X</string>\n<key>Folder</key><true/>\n", ""},
  };
  for (const auto& c : cases) {
    Passes passes(kHead + "<key>Playlists</key>\n<array>\n" + c.playlists + "</array>\n</dict>\n", {});
    passes.ReadFolders();
    EXPECT_EQ(Describe(passes.run().folders), c.expected) << c.name;
  }
}

TEST(FolderPass, LibraryWithoutPlaylistsOrUnreadableRecordsNothing) {
  Passes without(LibraryXml({}, {}), {});
  without.ReadFolders();
  EXPECT_EQ(without.run().folders, nullptr);
  Passes missing("", {});
  snprintf(missing.run().library_path, kPathBufferSize, "%s", (missing.dir() / "nothing.xml").c_str());
  missing.ReadFolders();
  missing.WritePlaylists();
  EXPECT_EQ(missing.run().folders, nullptr);
}

// One library holding every rule of the playlist half at once.
TEST(PlaylistPass, WritesOneFilePerPlaylistAndTheList) {
  const std::vector<LibraryPlaylist> playlists = {
      {"Library", "L0", "", false, {1, 2}, "\t\t\t<key>Visible</key><false/>\n"},
      {"Music", "L1", "", false, {1}, "\t\t\t<key>Distinguished Kind</key><integer>4</integer>\n"},
      {"Movies", "L2", "", false, {3}, "\t\t\t<key>Distinguished Kind</key><integer>2</integer>\n"},
      {"Top 25", "L3", "", false, {1}, "\t\t\t<key>Smart Info</key>\n\t\t\t<data>\n\t\t\tAQE=\n\t\t\t</data>\n"},
      {"Old: 80s", "F1", "", true, {}, ""},
      {"Deeper", "F2", "F1", true, {}, ""},
      {"Rock & Roll", "P1", "F2", false, {3, 1, 99, 4, 1}, ""},
      {"Mix", "P2", "", false, {1, 2}, ""},
      {"Empty", "P3", "", false, {}, ""},
      {"Unknown only", "P4", "", false, {98, 4}, ""},
      {"Mix", "P5", "", false, {2}, ""},
      {"Mix", "P6", "", false, {3}, ""},
      {"a\\b+c*d<e>f|g@h$i\"j'k&l?m~n", "P7", "", false, {5}, ""},
  };
  Passes passes(LibraryXml({}, playlists), {{1, "m/one.mp3"},
                                             {2, "m/two & <three>.m4a"},
                                             {3, "m/clip.M4V"},
                                             {4, nullptr},
                                             {5, "m/photo.jpg"}});
  passes.ReadFolders();
  passes.WritePlaylists();

  const std::string rock = "Old: 80s/Deeper/Rock & Roll (iTunes)";
  EXPECT_EQ(passes.Work("itunes.log"), rock + "\r\nMix (iTunes)\r\nMix (iTunes)\r\nMix (iTunes)\r\n" +
                                           "a\\b c*d<e>f|g@h$i\"j'k&l?m~n (iTunes)\r\n");
  EXPECT_EQ(passes.WorkFiles(), (std::vector<std::string>{
                                    "iTunes-playlist-Mix_(iTunes)##M.wpl",
                                    "iTunes-playlist-Mix_(iTunes)##V.wpl",
                                    "iTunes-playlist-Old__80s_Deeper_Rock___Roll_(iTunes)##V.wpl",
                                    "iTunes-playlist-a_b_c_d_e_f_g_h_i_j_k_l_m_n_(iTunes)##P.wpl",
                                    "itunes.log",
                                }));
  // The first track decides the kind; unknown and location-less tracks are
  // left out, duplicates kept.
  EXPECT_EQ(passes.Work("iTunes-playlist-Old__80s_Deeper_Rock___Roll_(iTunes)##V.wpl"),
            ImportedWpl("Old: 80s/Deeper/Rock &amp; Roll (iTunes)", 'V', {"m/clip.M4V", "m/one.mp3", "m/one.mp3"}));
  // Same title and kind: one file with the entries of both.
  EXPECT_EQ(passes.Work("iTunes-playlist-Mix_(iTunes)##M.wpl"),
            ImportedWpl("Mix (iTunes)", 'M', {"m/one.mp3", "m/two &amp; &lt;three&gt;.m4a", "m/two &amp; &lt;three&gt;.m4a"}));
  EXPECT_EQ(passes.Work("iTunes-playlist-Mix_(iTunes)##V.wpl"), ImportedWpl("Mix (iTunes)", 'V', {"m/clip.M4V"}));
  // A picture first track makes a music playlist in a file marked "P"; the
  // "+" of the name was decoded to a space.
  EXPECT_EQ(passes.Work("iTunes-playlist-a_b_c_d_e_f_g_h_i_j_k_l_m_n_(iTunes)##P.wpl"),
            ImportedWpl("a\\b c*d&lt;e&gt;f|g@h$i&quot;j&apos;k&amp;l?m~n (iTunes)", 'M', {"m/photo.jpg"}));
}

// A playlist the folder pass did not record (here a hidden one) makes no
// file; its tracks go to the playlist before it, whose file is written
// already, and surface only if that playlist is merged into later.
TEST(PlaylistPass, UnrecordedPlaylistFeedsThePreviousOne) {
  const std::vector<LibraryPlaylist> playlists = {
      {"A", "P1", "", false, {1}, ""},
      {"Hidden", "H", "", false, {2, 3}, "\t\t\t<key>Visible</key><false/>\n"},
      {"B", "P2", "", false, {1}, ""},
      {"A", "P3", "", false, {1}, ""},
  };
  Passes passes(LibraryXml({}, playlists), {{1, "one.mp3"}, {2, "two.mp3"}, {3, "three.mp3"}});
  passes.ReadFolders();
  passes.WritePlaylists();
  EXPECT_EQ(passes.Work("itunes.log"), "A (iTunes)\r\nB (iTunes)\r\nA (iTunes)\r\n");
  EXPECT_EQ(passes.Work("iTunes-playlist-A_(iTunes)##M.wpl"),
            ImportedWpl("A (iTunes)", 'M', {"one.mp3", "two.mp3", "three.mp3", "one.mp3"}));
  EXPECT_EQ(passes.Work("iTunes-playlist-B_(iTunes)##M.wpl"), ImportedWpl("B (iTunes)", 'M', {"one.mp3"}));
}

TEST(PlaylistPass, StaleFilesInTheWorkDirectory) {
  Passes passes(LibraryXml({}, {{"A", "P1", "", false, {1}, ""}, {"B", "P2", "", false, {1}, ""}}), {{1, "one.mp3"}});
  // A longer file of the same name is replaced, not overwritten in part; a
  // list left by an interrupted run is appended to.
  WriteFile(passes.dir() / "work/iTunes-playlist-A_(iTunes)##M.wpl", std::string(4000, 'x'));
  WriteFile(passes.dir() / "work/itunes.log", "Old (iTunes)\r\n");
  // A directory where a file should go: the file cannot be made, and the
  // run goes on without it.
  mkdir((passes.dir() / "work/iTunes-playlist-B_(iTunes)##M.wpl").c_str(), 0755);
  passes.ReadFolders();
  passes.WritePlaylists();
  EXPECT_EQ(passes.Work("iTunes-playlist-A_(iTunes)##M.wpl"), ImportedWpl("A (iTunes)", 'M', {"one.mp3"}));
  EXPECT_EQ(passes.Work("itunes.log"), "Old (iTunes)\r\nA (iTunes)\r\nB (iTunes)\r\n");
}

// A failed resize uncounts the block it leaves with its caller (the
// allocator's rule), so the count may end below where it was; above it
// would be a leak. AddressSanitizer's leak check sees the rest.
TEST(PlaylistPass, OutOfMemoryAnywhereLeaksNothing) {
  const std::string library = LibraryXml(
      {}, {{"F", "F1", "", true, {}, ""}, {"A", "P1", "F1", false, {1, 2}, ""}, {"B", "P2", "", false, {2}, ""}});
  int64_t run = 0;
  const int64_t failures = ForEachAllocationFailure([&] {
    const int64_t before = g_memUsed;
    {
      Passes passes(library, {{1, "one.mp4"}, {2, "two.mp3"}});
      passes.ReadFolders();
      passes.WritePlaylists();
    }
    EXPECT_LE(g_memUsed, before) << "failing from request " << run++;
  });
  EXPECT_GT(failures, 10);
}

}  // namespace
}  // namespace importer
