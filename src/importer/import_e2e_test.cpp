// The whole import, end to end: the built program runs on libraries the
// tests write, from a scratch directory as its working directory (track
// locations become paths relative to it), and every file it leaves is
// compared byte for byte.
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "testing/itunes_library.hpp"
#include "testing/temp_dir.h"

namespace {

using testing_support::ImportedWpl;
using testing_support::LibraryPlaylist;
using testing_support::LibraryTrack;
using testing_support::LibraryXml;
using testing_support::ListDir;
using testing_support::ReadFile;
using testing_support::Run;
using testing_support::TempDir;
using testing_support::WriteFile;

constexpr char kLibrary[] = "iTunes Library.xml";
constexpr char kFile[] = "\t\t\t<key>Track Type</key><string>File</string>\n";

// Every file of a directory tree and its content.
std::map<std::string, std::string> Snapshot(const std::string& root) {
  std::map<std::string, std::string> files;
  for (const std::string& name : ListDir(root)) {
    const std::string path = root + "/" + name;
    struct stat st;
    if (stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
      for (const auto& [sub, content] : Snapshot(path)) files[name + "/" + sub] = content;
    } else {
      files[name] = ReadFile(path);
    }
  }
  return files;
}

// One field of the record text form: id and length in hex, value, newline.
std::string Field(int id, const std::string& value) {
  char header[8];
  snprintf(header, sizeof header, "%02X%03X", id, static_cast<unsigned>(value.size()));
  return header + value + "\n";
}

// The ADD and REPLACE blocks of a written track with a title, an optional
// artist and a local file.
std::string Item(const std::string& title, const std::string& artist, const std::string& path, bool video = false) {
  const std::string artist_field = artist.empty() ? "" : Field(22, artist);
  const std::string cls = video ? "object.item.videoItem.movie" : "object.item.audioItem.musicTrack";
  return "##017PLUGIN ITUNES ADD\n>>>>\n" + Field(3, cls) + Field(20, title) + artist_field + Field(60, path) +
         Field(69, "d") + "##021PLUGIN ITUNES REPLACE\n>>>>\n" + Field(20, title) + artist_field + Field(60, path);
}

class Import {
 public:
  Import() {
    mkdir((dir_ / "db").c_str(), 0755);
    mkdir((dir_ / "playlists").c_str(), 0755);
    mkdir((dir_ / "media").c_str(), 0755);
  }
  void Media(const std::string& name) { WriteFile(dir_ / ("media/" + name), "media"); }
  void Library(const std::string& text) { WriteFile(dir_ / kLibrary, text); }
  int RunImporter(std::vector<std::string> prefix = {}) {
    std::vector<std::string> args = std::move(prefix);
    for (const std::string& a : {std::string(ITUNES_IMPORT_BINARY), std::string("-dbdir"), dir_ / "db",
                                 std::string("-playlist-dir"), dir_ / "playlists", std::string("-itunes-lib"),
                                 dir_ / kLibrary})
      args.push_back(a);
    return Run(args, dir_.path()).exit_status;
  }
  std::map<std::string, std::string> Db() const { return Snapshot(dir_ / "db"); }
  std::map<std::string, std::string> Playlists() const { return Snapshot(dir_ / "playlists"); }
  const TempDir& dir() const { return dir_; }

 private:
  TempDir dir_;
};

std::string Wpl(const std::string& name) { return "iTunes-playlist-" + name + ".wpl"; }

// One library with every kind of track and playlist the importer meets.
TEST(Import, WritesItemsPlaylistsAndTheListByteForByte) {
  Import import;
  for (const char* name : {"one.mp3", "clip.m4v", "drm.m4p", "book.epub", "Caf\xc3\xa9 & Bar.mp3"}) import.Media(name);
  const std::vector<LibraryTrack> tracks = {
      {101, "One", "file://localhost/media/one.mp3", std::string(kFile) + "\t\t\t<key>Artist</key><string>Ann</string>\n"},
      {102, "Clip", "file://localhost/media/clip.m4v", std::string(kFile) + "\t\t\t<key>Has Video</key><true/>\n"},
      {103, "Locked", "file://localhost/media/drm.m4p", std::string(kFile) + "\t\t\t<key>Protected</key><true/>\n"},
      {104, "Radio", "http://radio.example/live.mp3", "\t\t\t<key>Track Type</key><string>URL</string>\n"},
      {105, "Gone", "file://localhost/media/missing.mp3", kFile},
      {106, "Nowhere", "", kFile},
      {107, "Book", "file://localhost/media/book.epub", kFile},
      {108, "Tom &amp; Jerry", "file://localhost/media/Caf%C3%A9%20%26%20Bar.mp3", kFile},
  };
  const std::string video_first = "Old: 80s/Deeper/Deepest/Rock &amp; Roll (iTunes)";
  const std::string every_char = "a\\b+c*d<e>f|g@h$i\"j'k&l?m~n:o/p q (iTunes)";
  const std::vector<LibraryPlaylist> playlists = {
      {"Library", "L0", "", false, {101, 102, 104}, "\t\t\t<key>Visible</key><false/>\n"},
      {"Music", "L1", "", false, {101}, "\t\t\t<key>Distinguished Kind</key><integer>4</integer>\n"},
      {"Top", "L2", "", false, {101}, "\t\t\t<key>Smart Info</key>\n\t\t\t<data>\n\t\t\tAQE=\n\t\t\t</data>\n"},
      {"Old: 80s", "F1", "", true, {}, ""},
      {"Deeper", "F2", "F1", true, {}, ""},
      {"Deepest", "F3", "F2", true, {}, ""},
      {"Rock &amp; Roll", "P1", "F3", false, {102, 101, 106, 999, 101, 103}, ""},
      {"Mix", "P2", "", false, {101, 104, 105}, ""},
      {"Empty", "P3", "", false, {}, ""},
      {"Unknown", "P4", "", false, {998, 106, 103}, ""},
      {"Mix", "P5", "", false, {107, 108}, ""},
      {"a\\b%2Bc*d<e>f|g@h$i\"j'k&l?m~n:o/p+q", "P6", "", false, {108}, ""},
  };
  import.Library(LibraryXml(tracks, playlists));
  // Outputs of an earlier run are replaced, files of vanished playlists
  // stay; stale iTunes temporaries beside the library go.
  WriteFile(import.dir() / "db/itunes.import.items", "old items");
  WriteFile(import.dir() / ("playlists/" + Wpl("Mix_(iTunes)##M")), std::string(5000, 'x'));
  WriteFile(import.dir() / ("playlists/" + Wpl("Gone_(iTunes)##M")), "vanished");
  WriteFile(import.dir() / "playlists/itunes.log", "Gone (iTunes)\r\n");
  WriteFile(import.dir() / "iTunes Library.xml.tmp", "");
  WriteFile(import.dir() / "Library.tmp", "");

  ASSERT_EQ(import.RunImporter(), 0);

  const std::string items = Item("One", "Ann", "media/one.mp3") + Item("Clip", "", "media/clip.m4v", true) +
                            Item("Tom &amp; Jerry", "", "media/Caf\xc3\xa9 & Bar.mp3");
  EXPECT_EQ(import.Db(), (std::map<std::string, std::string>{{"itunes.import.items", items}}));
  const std::map<std::string, std::string> expected_playlists = {
      {Wpl("Gone_(iTunes)##M"), "vanished"},
      {Wpl("Mix_(iTunes)##M"),
       ImportedWpl("Mix (iTunes)", 'M',
                   {"media/one.mp3", "http://radio.example/live.mp3", "media/missing.mp3", "media/book.epub",
                    "media/Caf\xc3\xa9 &amp; Bar.mp3"})},
      {Wpl("Old__80s_Deeper_Deepest_Rock__amp;_Roll_(iTunes)##V"),
       ImportedWpl("Old: 80s/Deeper/Deepest/Rock &amp;amp; Roll (iTunes)", 'V',
                   {"media/clip.m4v", "media/one.mp3", "media/one.mp3"})},
      {Wpl("a_b_c_d_e_f_g_h_i_j_k_l_m_n_o_p_q_(iTunes)##M"),
       ImportedWpl("a\\b+c*d&lt;e&gt;f|g@h$i&quot;j&apos;k&amp;l?m~n:o/p q (iTunes)", 'M',
                   {"media/Caf\xc3\xa9 &amp; Bar.mp3"})},
      {"itunes.log", video_first + "\r\nMix (iTunes)\r\nMix (iTunes)\r\n" + every_char + "\r\n"},
  };
  EXPECT_EQ(import.Playlists(), expected_playlists);
  EXPECT_EQ(ListDir(import.dir().path()),
            (std::vector<std::string>{"Library.tmp", "db", "iTunes Library.xml", "media", "playlists"}));

  // A second run over the same library leaves exactly the same files.
  ASSERT_EQ(import.RunImporter(), 0);
  EXPECT_EQ(import.Db(), (std::map<std::string, std::string>{{"itunes.import.items", items}}));
  EXPECT_EQ(import.Playlists(), expected_playlists);
}

// A work directory left by an interrupted run is reused: what it holds
// that looks like a playlist or a list is moved along with the new files.
TEST(Import, LeftoverWorkDirectoryIsReusedAndEmptied) {
  Import import;
  import.Media("one.mp3");
  import.Library(LibraryXml({{1, "One", "file://localhost/media/one.mp3", kFile}},
                            {{"A", "P1", "", false, {1}, ""}}));
  mkdir((import.dir() / "db/itunes-import-temp").c_str(), 0755);
  WriteFile(import.dir() / "db/itunes-import-temp/itunes.import.temp.items", std::string(3000, 'x'));
  WriteFile(import.dir() / "db/itunes-import-temp/itunes.log", "Interrupted (iTunes)\r\n");
  WriteFile(import.dir() / "db/itunes-import-temp/old.wpl.bak", "bak");
  ASSERT_EQ(import.RunImporter(), 0);
  EXPECT_EQ(import.Db(), (std::map<std::string, std::string>{{"itunes.import.items", Item("One", "", "media/one.mp3")}}));
  EXPECT_EQ(import.Playlists(), (std::map<std::string, std::string>{
                                    {Wpl("A_(iTunes)##M"), ImportedWpl("A (iTunes)", 'M', {"media/one.mp3"})},
                                    {"itunes.log", "Interrupted (iTunes)\r\nA (iTunes)\r\n"},
                                    {"old.wpl.bak", "bak"},
                                }));
}

TEST(Import, TracksWithoutPlaylistsLeaveThePlaylistDirectoryAlone) {
  Import import;
  import.Media("one.mp3");
  import.Library(LibraryXml({{1, "One", "file://localhost/media/one.mp3", kFile}}, {}));
  WriteFile(import.dir() / "playlists/itunes.log", "Old (iTunes)\r\n");
  ASSERT_EQ(import.RunImporter(), 0);
  EXPECT_EQ(import.Db(), (std::map<std::string, std::string>{{"itunes.import.items", Item("One", "", "media/one.mp3")}}));
  EXPECT_EQ(import.Playlists(), (std::map<std::string, std::string>{{"itunes.log", "Old (iTunes)\r\n"}}));
}

// Libraries that are broken in every way a file can be: the run ends
// normally with the outputs that what could be read gives.
TEST(Import, BadLibrariesEndNormally) {
  const std::string track = LibraryXml({{1, "One", "file://localhost/media/one.mp3", kFile}}, {});
  const std::string whole = LibraryXml({{1, "One", "file://localhost/media/one.mp3", kFile}},
                                       {{"A", "P1", "", false, {1}, ""}});
  const std::string one = Item("One", "", "media/one.mp3");
  std::string binary;
  for (uint32_t x = 1, i = 0; i < 200000; ++i) binary += static_cast<char>((x = x * 1103515245u + 12345u) >> 23);
  const std::string megabytes(3 << 20, 'x');
  const std::string long_name = "<key>Tracks</key>\n<key>Track ID</key><integer>1</integer>\n<key>Name</key><string>" +
                                megabytes + "</string>\n<key>Location</key><string>file://localhost/media/one.mp3</string>\n";
  const struct {
    const char* name;
    std::string library;
    std::string items;
    bool playlist;
  } cases[] = {
      {"empty", "", "", false},
      {"binary", binary, "", false},
      {"truncated inside a track, after its location", track.substr(0, track.find("\t\t</dict>")), one, false},
      {"truncated inside the location line", track.substr(0, track.find(".mp3</string>")), "", false},
      {"no trailing newline", whole.substr(0, whole.size() - 1), one, true},
      {"a last line of megabytes without newline", whole + megabytes, one, true},
      {"a line of megabytes inside a track",
       track.substr(0, track.find("\t\t\t<key>Location")) + megabytes + "\n" + track.substr(track.find("\t\t\t<key>Location")),
       one, false},
      // The name is cut into chunks and lost; the record has no title.
      {"a name of megabytes", long_name,
       "##017PLUGIN ITUNES ADD\n>>>>\n" + Field(3, "object.item.audioItem.musicTrack") + Field(60, "media/one.mp3") +
           Field(69, "d") + "##021PLUGIN ITUNES REPLACE\n>>>>\n" + Field(60, "media/one.mp3"),
       false},
  };
  for (const auto& c : cases) {
    Import import;
    import.Media("one.mp3");
    import.Library(c.library);
    EXPECT_EQ(import.RunImporter(), 0) << c.name;
    EXPECT_EQ(import.Db(), (std::map<std::string, std::string>{{"itunes.import.items", c.items}})) << c.name;
    EXPECT_EQ(import.Playlists().size(), c.playlist ? 2u : 0u) << c.name;
  }
}

TEST(Import, LibraryThatIsADirectoryOrUnreadable) {
  {
    Import import;
    mkdir((import.dir() / kLibrary).c_str(), 0755);
    EXPECT_EQ(import.RunImporter(), 0) << "a directory can be opened but not read";
    EXPECT_EQ(import.Db(), (std::map<std::string, std::string>{{"itunes.import.items", ""}}));
  }
  // Root reads any file whatever its mode, so as root the importer runs as
  // "nobody" for this case.
  Import import;
  import.Library(LibraryXml({{1, "One", "file://localhost/media/one.mp3", kFile}}, {{"A", "P1", "", false, {1}, ""}}));
  chmod((import.dir() / kLibrary).c_str(), 0);
  std::vector<std::string> prefix;
  if (geteuid() == 0) {
    if (access("/usr/bin/setpriv", X_OK) != 0) GTEST_SKIP() << "running as root without setpriv";
    prefix = {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
    for (const char* d : {"", "/db", "/playlists", "/media"}) chmod((import.dir().path() + d).c_str(), 0777);
  }
  EXPECT_EQ(import.RunImporter(prefix), 0);
  EXPECT_EQ(import.Db(), (std::map<std::string, std::string>{{"itunes.import.items", ""}}));
  EXPECT_EQ(import.Playlists().size(), 0u);
}

}  // namespace
