// The whole import, end to end: the built program runs on libraries the
// tests write, from a scratch directory as its working directory (track
// locations become paths relative to it), and every file it leaves is
// compared byte for byte.
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "testing/itunes_library.hpp"
#include "testing/temp_dir.hpp"

namespace {

using namespace testing_support;

using Files = std::map<std::string, std::string>;
constexpr char kLibrary[] = "iTunes Library.xml";

// Every file of a directory and its content; a directory reads as empty.
Files Snapshot(const std::string& dir) {
  Files files;
  for (const std::string& name : ListDir(dir)) files[name] = ReadFile(dir + "/" + name);
  return files;
}

// One field of the record text form: id and length in hex, value, newline.
std::string Field(int id, const std::string& value) {
  char header[8];
  snprintf(header, sizeof header, "%02X%03X", id, static_cast<unsigned>(value.size()));
  return header + value + "\n";
}

// The ADD and REPLACE blocks of a written track with an optional title and
// artist and a local file.
std::string Item(const std::string& title, const std::string& artist, const std::string& path, bool video = false) {
  const std::string kept = (title.empty() ? "" : Field(20, title)) + (artist.empty() ? "" : Field(22, artist));
  const std::string cls = video ? "object.item.videoItem.movie" : "object.item.audioItem.musicTrack";
  return "##017PLUGIN ITUNES ADD\n>>>>\n" + Field(3, cls) + kept + Field(60, path) + Field(69, "d") +
         "##021PLUGIN ITUNES REPLACE\n>>>>\n" + kept + Field(60, path);
}

std::string Wpl(const std::string& base) { return "iTunes-playlist-" + base + ".wpl"; }

class Import {
 public:
  Import() {
    for (const char* d : {"db", "playlists", "media"}) mkdir((dir_ / d).c_str(), 0755);
  }
  // A media file, its folders made as needed.
  void Media(const std::string& path) {
    for (size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1))
      mkdir((dir_ / path.substr(0, slash)).c_str(), 0755);
    WriteFile(dir_ / path, "media");
  }
  void Library(const std::string& text) { WriteFile(dir_ / kLibrary, text); }
  // Runs the importer on the scratch library; `program` holds the words that
  // start it. A run that ends normally prints nothing.
  int RunImporter(std::vector<std::string> program = {ITUNES_IMPORT_BINARY}) {
    for (const std::string& a : {std::string("-dbdir"), dir_ / "db", std::string("-playlist-dir"),
                                 dir_ / "playlists", std::string("-itunes-lib"), dir_ / kLibrary})
      program.push_back(a);
    const RunResult result = Run(program, dir_.path());
    EXPECT_EQ(result.output, "");
    return result.exit_status;
  }
  // The lock file stays in the database directory; its checks are apart.
  Files Db() const {
    Files files = Snapshot(dir_ / "db");
    files.erase("itunes-import.lock");
    return files;
  }
  Files Playlists() const { return Snapshot(dir_ / "playlists"); }
  const TempDir& dir() const { return dir_; }

 private:
  TempDir dir_;
};

// Every kind of track, as the items file shows it.
TEST(Import, ItemsFileForTracksOfEveryKind) {
  // Lines longer than the 1024-byte line buffer are read in pieces; only what
  // a piece holds whole is seen, and the 1024th byte of each piece is lost.
  const auto genre_at = [](size_t marker_at) {
    const std::string prefix = "\t\t\t<key>Comments</key><string>";
    return prefix + std::string(marker_at - prefix.size() - 9, 'x') + "</string>" + Str("Genre", "Pop").substr(3);
  };
  const std::string every_kind = LibraryXml(
      {{101, "Rock+Roll Caf&#233; AC%2FDC 100% Tom &amp; Jerry", "file://localhost/Music/a%20b.mp3",
        Str("Artist", "  Spaced  ") + Str("Album Artist", "Band") + Str("Composer", "Writer") +
            Str("Album", "Record") + Int("Rating", 99) + Str("Genre", "Rock") + Str("Kind", "MPEG audio file") +
            Int("Size", 3000000000L) + Int("Total Time", 3723004) + Int("Track Number", 7) + Int("Bit Rate", 320) +
            Int("Sample Rate", 48000) + Int("Play Count", 0) + Int("Disc Number", 2) +
            Key("Date Modified", "date", "2010-05-04T12:34:56Z") +
            Key("Play Date UTC", "date", "2010-05-04T12:34:56Z") + kFileTrack + Int("Year", 1999) +
            True("Compilation")},
       // Zeros skip their keys, a string date counts like a date, a size that
       // fits 32 bits goes to the short size, no value element sets nothing.
       {102, "Clip", "file:///Movies/clip.m4v",
        Int("Rating", 100) + Int("Size", 1000) + Int("Total Time", 0) + Int("Track Number", 0) +
            Int("Bit Rate", 0) + Int("Sample Rate", 0) + Int("Play Count", 12) +
            Str("Date Modified", "2011-12-31T23:59:59Z") + Key("Play Date UTC", "data", "AAAA") +
            Key("Artist", "data", "AAAA") + Int("Year", 2001) + True("Has Video") + kFileTrack},
       // A date not on its key's line is not looked for: the time is 0.
       {103, "", "file://localhost/Music/only.mp3",
        "\t\t\t<key>Date Modified</key>\n\t\t\t<date>2010-05-04T12:34:56Z</date>\n"},
       // Not written: protected, no location, a location without a string,
       // a URL track, a missing file, an e-book in any case, a host with
       // nothing behind it, no keys at all.
       {201, "", "file://localhost/Music/a.mp3", True("Protected")},
       {202, "A", "", ""},
       {203, "", "", Key("Location", "data", "AAAA")},
       {204, "", "http://radio.example/stream", Str("Track Type", "URL")},
       {205, "", "file://localhost/Music/missing.mp3", ""},
       {206, "", "file://localhost/Music/book.EPub", ""},
       {207, "", "file://server", ""},
       {208, "", "", ""},
       {301, "", "file://localhost/Music/a.mp3", genre_at(1015)},  // marker split across pieces
       {302, "", "file://localhost/Music/a.mp3", genre_at(1023)},  // marker starting on the lost byte
       {303, "", "file://localhost/Music/a.mp3", genre_at(1030)},  // marker whole in the second piece
       {304, std::string(1100, 'n'), "file://localhost/Music/a.mp3", ""}},
      {{"Audiobooks", "AB", "", false, {101}, True("Audiobooks")}});
  const std::string a_mp3 = Item("", "", "Music/a.mp3");
  const std::string a_pop = "##017PLUGIN ITUNES ADD\n>>>>\n03020object.item.audioItem.musicTrack\n19003Pop\n"
                            "3C00BMusic/a.mp3\n45001d\n##021PLUGIN ITUNES REPLACE\n>>>>\n19003Pop\n3C00BMusic/a.mp3\n";

  // Each 1024-byte piece is one line, of which only the first marker in the
  // key order counts: the Name wins over the Location in the second piece,
  // the third piece gives the Location, the fourth ends the track at its
  // "</dict>" before its Artist is looked at.
  const auto piece = [](const std::string& text) { return text + std::string(1024 - text.size(), ' '); };
  const std::string location = "<key>Location</key><string>file://localhost/a.mp3</string>";
  const std::string one_line = piece("<plist><dict><key>Tracks</key><dict><key>1</key><dict>"
                                     "<key>Track ID</key><integer>1</integer>") +
                               piece("<key>Name</key><string>Lost</string>" + location) +
                               piece(location + "<key>Kind</key><string>MPEG</string>") +
                               "<key>Artist</key><string>A</string></dict></dict></dict></plist>";

  // An Audiobooks playlist that ends before any "<array>": the next
  // playlist's items are not taken for its own.
  std::string itemless = LibraryXml({{7, "", "file://localhost/a.m4b", ""}}, {});
  itemless.insert(itemless.find("\t</array>"),
                  "\t\t<dict>\n" + True("Audiobooks") + "\t\t</dict>\n\t\t<dict>\n\t\t\t<array>\n" +
                      Int("Track ID", 7) + "\t\t\t</array>\n\t\t</dict>\n");

  const struct {
    const char* name;
    std::string library;
    std::string items;
  } cases[] = {
      {"every kind", every_kind,
       "##017PLUGIN ITUNES ADD\n>>>>\n03020object.item.audioItem.musicTrack\n"
       "14029Rock Roll Caf\xE9 AC/DC 100% Tom &amp; Jerry\n16006Spaced\n18006Writer\n19004Rock\n1A006Record\n"
       "1B004Band\n1D0011\n1E0017\n1F0010\n200014\n22009962454896\n230132010-05-04T12:34:56\n2B0011\n2F0012\n"
       "3C00DMusic/a b.mp3\n3D00B-1294967296\n3E00B1:02:03.004\n3F00540000\n4000548000\n45001d\n"
       "##021PLUGIN ITUNES REPLACE\n>>>>\n14029Rock Roll Caf\xE9 AC/DC 100% Tom &amp; Jerry\n16006Spaced\n"
       "19004Rock\n1A006Record\n3C00DMusic/a b.mp3\n"
       "##017PLUGIN ITUNES ADD\n>>>>\n0301Bobject.item.videoItem.movie\n14004Clip\n1F00212\n200015\n"
       "2200A1015199999\n3C00FMovies/clip.m4v\n45001d\n600041000\n"
       "##021PLUGIN ITUNES REPLACE\n>>>>\n14004Clip\n3C00FMovies/clip.m4v\n"
       "##017PLUGIN ITUNES ADD\n>>>>\n03020object.item.audioItem.musicTrack\n220010\n3C00EMusic/only.mp3\n"
       "45001d\n##021PLUGIN ITUNES REPLACE\n>>>>\n3C00EMusic/only.mp3\n" + a_mp3 + a_mp3 + a_pop + a_mp3},
      {"everything on one line", one_line, Item("Lost", "", "a.mp3")},
      {"an Audiobooks playlist without items", itemless, Item("", "", "a.m4b")},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Import import;
    for (const char* m : {"Music/a b.mp3", "Movies/clip.m4v", "Music/only.mp3", "Music/a.mp3", "Music/book.EPub",
                          "a.mp3", "a.m4b"})
      import.Media(m);
    import.Library(c.library);
    EXPECT_EQ(import.RunImporter(), 0) << c.name;
    EXPECT_EQ(import.Db(), (Files{{"itunes.import.items", c.items}})) << c.name;
  }
}

// One library with every kind of playlist the importer meets.
TEST(Import, WritesItemsPlaylistsAndTheListByteForByte) {
  Import import;
  for (const char* name : {"one.mp3", "clip.m4v", "drm.m4p", "book.epub", "Caf\xc3\xa9 & Bar.mp3", "photo.jpg"})
    import.Media(std::string("media/") + name);
  const std::vector<LibraryTrack> tracks = {
      {101, "One", "file://localhost/media/one.mp3", kFileTrack + Str("Artist", "Ann")},
      {102, "Clip", "file://localhost/media/clip.m4v", kFileTrack + True("Has Video")},
      {103, "Locked", "file://localhost/media/drm.m4p", kFileTrack + True("Protected")},
      {104, "Radio", "http://radio.example/live.mp3", Str("Track Type", "URL")},
      {105, "Gone", "file://localhost/media/missing.mp3", kFileTrack},
      {106, "Nowhere", "", kFileTrack},
      {107, "Book", "file://localhost/media/book.epub", kFileTrack},
      {108, "Tom &amp; Jerry", "file://localhost/media/Caf%C3%A9%20%26%20Bar.mp3", kFileTrack},
      {109, "Photo", "file://localhost/media/photo.jpg", kFileTrack},
  };
  const std::string kHidden = "\t\t\t<key>Visible</key><false/>\n";
  const std::string video_first = "Old: 80s/Deeper/Deepest/Rock &amp; Roll (iTunes)";
  const std::string every_char = "a\\b+c*d<e>f|g@h$i\"j'k&l?m~n:o/p q (iTunes)";
  const std::vector<LibraryPlaylist> playlists = {
      {"Library", "L0", "", false, {101, 102, 104}, kHidden},
      {"Music", "L1", "", false, {101}, Int("Distinguished Kind", 4)},
      {"Recently Added", "L2", "", false, {101}, ""},
      {"Top", "L3", "", false, {101}, "\t\t\t<key>Smart Info</key>\n\t\t\t<data>\n\t\t\tAQE=\n\t\t\t</data>\n"},
      {"Old: 80s", "F1", "", true, {}, ""},
      {"Deeper", "F2", "F1", true, {}, ""},
      {"Deepest", "F3", "F2", true, {}, ""},
      // The first track decides the kind; unknown, protected and
      // location-less tracks are left out, duplicates kept.
      {"Rock &amp; Roll", "P1", "F3", false, {102, 101, 106, 999, 101, 103}, ""},
      {"Mix", "P2", "", false, {101, 104, 105}, ""},
      // Not recorded by the folder pass: no file; its tracks go to the
      // playlist before it and surface when that one is merged into below.
      {"Hidden", "H", "", false, {108}, kHidden},
      {"Empty", "P3", "", false, {}, ""},
      {"Unknown", "P4", "", false, {998, 106, 103}, ""},
      {"Mix", "P5", "", false, {107, 108}, ""},  // same name and kind: merged
      {"Mix", "P6", "", false, {102}, ""},       // same name, other kind
      // A picture first track makes a music playlist in a file marked "P".
      {"a\\b%2Bc*d<e>f|g@h$i\"j'k&l?m~n:o/p+q", "P7", "", false, {109, 108}, ""},
  };
  import.Library(LibraryXml(tracks, playlists));
  // Outputs of an earlier run are replaced, files of vanished playlists
  // stay; stale iTunes temporaries beside the library go.
  WriteFile(import.dir() / "db/itunes.import.items", "old items");
  WriteFile(import.dir() / ("playlists/" + Wpl("Mix_(iTunes)##M")), std::string(5000, 'x'));
  WriteFile(import.dir() / ("playlists/" + Wpl("Gone_(iTunes)##M")), "vanished");
  WriteFile(import.dir() / "playlists/itunes.log", "Gone (iTunes)\r\n");
  for (const char* name : {"iTunes Library.xml.tmp", "iT.tmp.old", "Library.tmp", "it.tmp", "iTunes.xml"})
    WriteFile(import.dir() / name, "");

  ASSERT_EQ(import.RunImporter(), 0);

  const std::string cafe = "media/Caf\xc3\xa9 &amp; Bar.mp3";
  const Files items = {{"itunes.import.items", Item("One", "Ann", "media/one.mp3") +
                                                   Item("Clip", "", "media/clip.m4v", true) +
                                                   Item("Tom &amp; Jerry", "", "media/Caf\xc3\xa9 & Bar.mp3") +
                                                   Item("Photo", "", "media/photo.jpg")}};
  const Files expected_playlists = {
      {Wpl("Gone_(iTunes)##M"), "vanished"},
      {Wpl("Mix_(iTunes)##M"), ImportedWpl("Mix (iTunes)", 'M',
                                           {"media/one.mp3", "http://radio.example/live.mp3", "media/missing.mp3",
                                            cafe, "media/book.epub", cafe})},
      {Wpl("Mix_(iTunes)##V"), ImportedWpl("Mix (iTunes)", 'V', {"media/clip.m4v"})},
      {Wpl("Old__80s_Deeper_Deepest_Rock__amp;_Roll_(iTunes)##V"),
       ImportedWpl("Old: 80s/Deeper/Deepest/Rock &amp;amp; Roll (iTunes)", 'V',
                   {"media/clip.m4v", "media/one.mp3", "media/one.mp3"})},
      {Wpl("a_b_c_d_e_f_g_h_i_j_k_l_m_n_o_p_q_(iTunes)##P"),
       ImportedWpl("a\\b+c*d&lt;e&gt;f|g@h$i&quot;j&apos;k&amp;l?m~n:o/p q (iTunes)", 'M',
                   {"media/photo.jpg", cafe})},
      {"itunes.log", video_first + "\r\nMix (iTunes)\r\nMix (iTunes)\r\nMix (iTunes)\r\n" + every_char + "\r\n"},
  };
  EXPECT_EQ(import.Db(), items);
  EXPECT_EQ(import.Playlists(), expected_playlists);
  EXPECT_EQ(ListDir(import.dir().path()), (std::vector<std::string>{"Library.tmp", "db", "iTunes Library.xml",
                                                                    "iTunes.xml", "it.tmp", "media", "playlists"}));

  // A second run over the same library gives the same files, here after an
  // interrupted run: its work directory and the files it left beside the
  // targets are removed, never installed.
  mkdir((import.dir() / "db/itunes-import-temp").c_str(), 0755);
  WriteFile(import.dir() / "db/itunes-import-temp/itunes.import.temp.items", std::string(3000, 'x'));
  WriteFile(import.dir() / "db/itunes-import-temp/itunes.log", "Interrupted (iTunes)\r\n");
  WriteFile(import.dir() / "db/itunes-import-temp/old.wpl.bak", "bak");
  WriteFile(import.dir() / "playlists/.itunes-import-1-2-3", "half");
  ASSERT_EQ(import.RunImporter(), 0);
  EXPECT_EQ(import.Db(), items);
  EXPECT_EQ(import.Playlists(), expected_playlists);
  struct stat lock;
  ASSERT_EQ(stat((import.dir() / "db/itunes-import.lock").c_str(), &lock), 0);
  EXPECT_EQ(lock.st_size, 0);
  EXPECT_EQ(lock.st_mode & 0777, 0644u);
}

// Libraries broken in every way a file can be: the run ends normally with
// the outputs that what could be read gives. Without a playlist the
// playlist directory is left as it was.
TEST(Import, BadLibrariesEndNormally) {
  const LibraryTrack one_track = {1, "", "file://localhost/media/one.mp3", kFileTrack};
  const std::string track = LibraryXml({one_track}, {});
  const std::string whole = LibraryXml({one_track}, {{"A", "P1", "", false, {1}, ""}});
  const std::string one = Item("", "", "media/one.mp3");
  std::string binary;
  for (uint32_t x = 1, i = 0; i < 200000; ++i) binary += static_cast<char>((x = x * 1103515245u + 12345u) >> 23);
  const std::string megabytes(3 << 20, 'x');
  const size_t location_at = track.find("\t\t\t<key>Location");
  enum Form { kText, kDirectory, kUnreadable };
  const struct {
    const char* name;
    std::string library;
    std::string items;
    bool playlist;
    Form form = kText;
  } cases[] = {
      {"empty", "", "", false},
      {"binary", binary, "", false},
      {"tracks, no playlists", track, one, false},
      {"truncated inside a track, after its location", track.substr(0, track.find("\t\t</dict>")), one, false},
      {"truncated inside the location line", track.substr(0, track.find(".mp3</string>")), "", false},
      {"no trailing newline", whole.substr(0, whole.size() - 1), one, true},
      {"a last line of megabytes without newline", whole + megabytes, one, true},
      {"a line of megabytes inside a track",
       track.substr(0, location_at) + megabytes + "\n" + track.substr(location_at), one, false},
      {"a directory, which can be opened but not read", "", "", false, kDirectory},
      {"unreadable", whole, "", false, kUnreadable},
  };
  bool without_setpriv = false;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Import import;
    import.Media("media/one.mp3");
    WriteFile(import.dir() / "playlists/itunes.log", "Old (iTunes)\r\n");
    std::vector<std::string> program = {ITUNES_IMPORT_BINARY};
    if (c.form == kDirectory) {
      mkdir((import.dir() / kLibrary).c_str(), 0755);
    } else {
      import.Library(c.library);
    }
    if (c.form == kUnreadable) {
      chmod((import.dir() / kLibrary).c_str(), 0);
      // Root reads any file whatever its mode: as root the importer runs as
      // "nobody" for this case.
      if (geteuid() == 0) {
        if (access("/usr/bin/setpriv", X_OK) != 0) {
          without_setpriv = true;
          continue;
        }
        program = {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
        // setpriv execs the program itself: a cross-built one needs the emulator.
        for (const std::string& word : testing_support::EmulatorPrefix()) program.push_back(word);
        for (const char* d : {"", "/db", "/playlists", "/media"}) chmod((import.dir().path() + d).c_str(), 0777);
        // "nobody" may not be able to reach the build tree (a checkout below
        // a private directory): it runs a copy from the scratch directory.
        program.push_back(import.dir() / "itunes-import");
        std::filesystem::copy_file(ITUNES_IMPORT_BINARY, program.back());
        chmod(program.back().c_str(), 0755);
      }
    }
    EXPECT_EQ(import.RunImporter(program), 0) << c.name;
    EXPECT_EQ(import.Db(), (Files{{"itunes.import.items", c.items}})) << c.name;
    const Files written = {{Wpl("A_(iTunes)##M"), ImportedWpl("A (iTunes)", 'M', {"media/one.mp3"})},
                           {"itunes.log", "A (iTunes)\r\n"}};
    const Files untouched = {{"itunes.log", "Old (iTunes)\r\n"}};
    EXPECT_EQ(import.Playlists(), c.playlist ? written : untouched)
        << c.name;
  }
  if (without_setpriv) GTEST_SKIP() << "unreadable library: as root it needs setpriv to run as nobody";
}

}  // namespace
