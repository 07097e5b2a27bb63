// The whole import, end to end: the built program runs on libraries the
// tests write, from a scratch directory as its working directory (track
// locations become paths relative to it), and every file it leaves is
// compared byte for byte.
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
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
  // start it, `options` go behind the usual ones. A run that ends normally
  // prints nothing unless asked for its summary.
  int RunImporter(std::vector<std::string> program = {ITUNES_IMPORT_BINARY},
                  const std::vector<std::string>& options = {}) {
    for (const std::string& a : {std::string("-dbdir"), dir_ / "db", std::string("-playlist-dir"),
                                 dir_ / "playlists", std::string("-itunes-lib"), dir_ / kLibrary})
      program.push_back(a);
    program.insert(program.end(), options.begin(), options.end());
    const RunResult result = Run(program, dir_.path());
    last_output_ = result.output;
    if (result.exit_status == 0 && std::find(options.begin(), options.end(), "-summary") == options.end()) {
      EXPECT_EQ(result.output, "");
    }
    return result.exit_status;
  }
  // The lock file stays in the database directory; its checks are apart.
  Files Db() const {
    Files files = DirContents(dir_ / "db");
    files.erase("itunes-import.lock");
    return files;
  }
  Files Playlists() const { return DirContents(dir_ / "playlists"); }
  const TempDir& dir() const { return dir_; }
  // What the last run printed.
  const std::string& output() const { return last_output_; }

 private:
  TempDir dir_;
  std::string last_output_;
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
      {{101, "Rock+Roll Caf&#233; AC%2FDC 100% Tom &#38; Jerry", "file://localhost/Music/a%20b.mp3",
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
            Key("Artist", "data", "AAAA") + Int("Year", 10000) + True("Has Video") + kFileTrack},
       // A Date Modified without a value element: the time is 0.
       {103, "", "file://localhost/Music/only.mp3", Int("Year", 5) + Key("Date Modified", "data", "AAAA")},
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
       {208, "", "", ""}},
      {{"Audiobooks", "AB", "", false, {101}, True("Audiobooks")}});
  // Two keys sharing a line are not the classic layout: the library is
  // rewritten with each on its own line. A line longer than the 1024-byte
  // line buffer stays one line and is read in pieces, of which only what a
  // piece holds whole is seen.
  const std::string shared_lines = LibraryXml({{301, "", "file://localhost/Music/a.mp3", genre_at(1015)},
                                               {302, "", "file://localhost/Music/a.mp3", genre_at(1023)},
                                               {304, std::string(1100, 'n'), "file://localhost/Music/a.mp3", ""}},
                                              {});
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
                  "\t\t<dict>\n" + True("Audiobooks") + "\t\t</dict>\n\t\t<dict>\n" +
                      "\t\t\t<key>Playlist Items</key>\n\t\t\t<array>\n\t\t\t\t<dict>\n" + Int("Track ID", 7) +
                      "\t\t\t\t</dict>\n\t\t\t</array>\n\t\t</dict>\n");

  const struct {
    const char* name;
    std::string library;
    std::string items;
  } cases[] = {
      {"every kind", every_kind,
       "##017PLUGIN ITUNES ADD\n>>>>\n03020object.item.audioItem.musicTrack\n"
       "14025Rock Roll Caf\xE9 AC/DC 100% Tom & Jerry\n16006Spaced\n18006Writer\n19004Rock\n1A006Record\n"
       "1B004Band\n1D0011\n1E0017\n1F0010\n200014\n2100A1999-01-01\n22009962454896\n230132010-05-04T12:34:56\n"
       "2B0011\n2F0012\n"
       "3C00DMusic/a b.mp3\n3D00B-1294967296\n3E00B1:02:03.004\n3F00540000\n4000548000\n45001d\n"
       "##021PLUGIN ITUNES REPLACE\n>>>>\n14025Rock Roll Caf\xE9 AC/DC 100% Tom & Jerry\n16006Spaced\n"
       "19004Rock\n1A006Record\n3C00DMusic/a b.mp3\n"
       "##017PLUGIN ITUNES ADD\n>>>>\n0301Bobject.item.videoItem.movie\n14004Clip\n1F00212\n200015\n"
       "2200A1015199999\n3C00FMovies/clip.m4v\n45001d\n600041000\n"
       "##021PLUGIN ITUNES REPLACE\n>>>>\n14004Clip\n3C00FMovies/clip.m4v\n"
       "##017PLUGIN ITUNES ADD\n>>>>\n03020object.item.audioItem.musicTrack\n2100A0005-01-01\n220010\n"
       "3C00EMusic/only.mp3\n"
       "45001d\n##021PLUGIN ITUNES REPLACE\n>>>>\n3C00EMusic/only.mp3\n"},
      {"keys sharing a line, long lines", shared_lines, a_pop + a_pop + a_mp3},
      // Rewritten with every key on its own line; the later Location wins.
      {"everything on one line", one_line, Item("Lost", "A", "a.mp3")},
      {"an Audiobooks playlist without items", itemless, Item("", "", "a.m4b")},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Import import;
    for (const char* m : {"Music/a b.mp3", "Movies/clip.m4v", "Music/only.mp3", "Music/a.mp3", "Music/book.EPub",
                          "a.mp3", "a.m4b"})
      import.Media(m);
    import.Library(c.library);
    EXPECT_EQ(import.RunImporter(), 0) << c.name << import.output();
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
      {108, "Tom &#38; Jerry", "file://localhost/media/Caf%C3%A9%20%26%20Bar.mp3", kFileTrack},
      {109, "Photo", "file://localhost/media/photo.jpg", kFileTrack},
  };
  const std::string kHidden = "\t\t\t<key>Visible</key><false/>\n";
  const std::string video_first = "Old: 80s/Deeper/Deepest/Rock & Roll (iTunes)";
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
      {"Rock &#38; Roll", "P1", "F3", false, {102, 101, 106, 999, 101, 103}, ""},
      {"Mix", "P2", "", false, {101, 104, 105}, ""},
      // Not recorded by the folder pass: no file; its tracks go to the
      // playlist before it and surface when that one is merged into below.
      {"Hidden", "H", "", false, {108}, kHidden},
      {"Empty", "P3", "", false, {}, ""},
      {"Unknown", "P4", "", false, {998, 106, 103}, ""},
      {"Mix", "P5", "", false, {107, 108}, ""},  // same name and kind: merged
      {"Mix", "P6", "", false, {102}, ""},       // same name, other kind
      // A picture first track makes a music playlist in a file marked "P".
      {"a\\b%2Bc*d&#60;e&#62;f|g@h$i\"j'k&#38;l?m~n:o/p+q", "P7", "", false, {109, 108}, ""},
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

  ASSERT_EQ(import.RunImporter(), 0) << import.output();

  const std::string cafe = "media/Caf\xc3\xa9 &amp; Bar.mp3";
  const Files items = {{"itunes.import.items", Item("One", "Ann", "media/one.mp3") +
                                                   Item("Clip", "", "media/clip.m4v", true) +
                                                   Item("Tom & Jerry", "", "media/Caf\xc3\xa9 & Bar.mp3") +
                                                   Item("Photo", "", "media/photo.jpg")}};
  const Files expected_playlists = {
      {Wpl("Gone_(iTunes)##M"), "vanished"},
      {Wpl("Mix_(iTunes)##M"), ImportedWpl("Mix (iTunes)", 'M',
                                           {"media/one.mp3", "http://radio.example/live.mp3", "media/missing.mp3",
                                            cafe, "media/book.epub", cafe})},
      {Wpl("Mix_(iTunes)##V"), ImportedWpl("Mix (iTunes)", 'V', {"media/clip.m4v"})},
      {Wpl("Old__80s_Deeper_Deepest_Rock___Roll_(iTunes)##V"),
       ImportedWpl("Old: 80s/Deeper/Deepest/Rock &amp; Roll (iTunes)", 'V',
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

  struct stat lock;
  ASSERT_EQ(stat((import.dir() / "db/itunes-import.lock").c_str(), &lock), 0);
  EXPECT_EQ(lock.st_size, 0);
  EXPECT_EQ(lock.st_mode & 0777, 0644u);
}

// A library that is not a complete property list, or not a regular file, is
// refused with one line naming the file and the fault: exit 255, the earlier
// outputs untouched. A complete library is imported whatever else is odd.
TEST(Import, IncompleteLibrariesAreRefusedAndTheEarlierOutputsKept) {
  const LibraryTrack one_track = {1, "", "file://localhost/media/one.mp3", kFileTrack};
  const std::string track = LibraryXml({one_track}, {});
  const std::string whole = LibraryXml({one_track}, {{"A", "P1", "", false, {1}, ""}});
  std::string binary;
  for (uint32_t x = 1, i = 0; i < 200000; ++i) binary += static_cast<char>((x = x * 1103515245u + 12345u) >> 23);
  const std::string megabytes(3 << 20, 'x');
  const size_t location_at = track.find("\t\t\t<key>Location");
  enum Form { kText, kDirectory, kFifo, kDevZero, kUnreadable };
  const struct {
    const char* name;
    std::string library;
    std::string problem;  // empty: imported
    Form form = kText;
  } cases[] = {
      {"empty", "", "line 1: no element found"},
      {"binary", binary, "not well-formed"},
      {"truncated inside the location line", track.substr(0, track.find(".mp3</string>")), "line 11: "},
      {"truncated before </plist>", whole.substr(0, whole.rfind("</plist>")), "no element found"},
      {"text after </plist>", whole + megabytes, "junk after document element"},
      {"not a property list", "<html><body>x</body></html>\n", "line 1: not a property list"},
      {"no Tracks dict", "<plist><dict><key>Playlists</key><array/></dict></plist>", "no Tracks dict"},
      {"a directory", "", "not a regular file", kDirectory},
      {"a FIFO, which would block", "", "not a regular file", kFifo},
      {"/dev/zero, which never ends", "", "not a regular file", kDevZero},
      {"unreadable", whole, "can not be imported: it can not be read: Permission denied", kUnreadable},
      {"no trailing newline", whole.substr(0, whole.size() - 1), ""},
      {"a line of megabytes inside a track",
       track.substr(0, location_at) + megabytes + "\n" + track.substr(location_at), ""},
      {"no tracks at all", "<plist><dict><key>Tracks</key><dict/></dict></plist>", ""},
  };
  const Files old_db = {{"itunes.import.items", "old items"}};
  const Files old_playlists = {{"itunes.log", "Old (iTunes)\r\n"}, {Wpl("Old_(iTunes)##M"), "old"}};
  bool without_setpriv = false;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Import import;
    import.Media("media/one.mp3");
    WriteFile(import.dir() / "db/itunes.import.items", "old items");
    for (const auto& [name, text] : old_playlists) WriteFile(import.dir() / ("playlists/" + name), text);
    const std::string library = import.dir() / kLibrary;
    std::vector<std::string> program = {ITUNES_IMPORT_BINARY};
    if (c.form == kDirectory) mkdir(library.c_str(), 0755);
    if (c.form == kFifo) mkfifo(library.c_str(), 0644);
    if (c.form == kDevZero) {
      ASSERT_EQ(symlink("/dev/zero", library.c_str()), 0);
    }
    if (c.form == kText || c.form == kUnreadable) import.Library(c.library);
    if (c.form == kUnreadable) {
      chmod(library.c_str(), 0);
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
    const std::string log = import.dir() / "import.log";
    const std::vector<std::string> options = {"-logfile", log};
    if (c.problem.empty()) {
      EXPECT_EQ(import.RunImporter(program, options), 0) << c.name << import.output();
      const std::string items = c.library.find("one.mp3") == std::string::npos ? "" : Item("", "", "media/one.mp3");
      EXPECT_EQ(import.Db(), (Files{{"itunes.import.items", items}})) << c.name;
      continue;
    }
    EXPECT_EQ(import.RunImporter(program, options), 255) << c.name;
    const std::string verdict = c.form == kUnreadable ? " " : " is not a complete iTunes library: ";
    EXPECT_EQ(import.output().rfind("itunes-import: " + library + verdict, 0), 0u) << c.name << ": " << import.output();
    EXPECT_NE(import.output().find(c.problem), std::string::npos) << c.name << ": " << import.output();
    EXPECT_EQ(std::count(import.output().begin(), import.output().end(), '\n'), 1) << c.name;
    EXPECT_NE(ReadFile(log).find(library + verdict), std::string::npos) << c.name;
    EXPECT_EQ(import.Db(), old_db) << c.name;
    EXPECT_EQ(import.Playlists(), old_playlists) << c.name;
  }
  if (without_setpriv) GTEST_SKIP() << "unreadable library: as root it needs setpriv to run as nobody";
}

// One library as a tree, written out in the layouts users' libraries come in.
struct Plist;
using Entries = std::vector<std::pair<std::string, Plist>>;  // an array's items have empty keys
struct Plist {
  char kind;  // 'd'ict, 'a'rray, 's'tring, 'i'nteger, 'D'ata, 't'rue, 'f'alse
  std::string text;
  Entries entries;
};
Plist S(const std::string& text) { return {'s', text, {}}; }
Plist N(long value) { return {'i', std::to_string(value), {}}; }
Plist D(Entries entries) { return {'d', "", std::move(entries)}; }
Plist A(const std::vector<Plist>& items) {
  Plist array = {'a', "", {}};
  for (const Plist& item : items) array.entries.push_back({"", item});
  return array;
}
const Plist kYes = {'t', "", {}}, kNo = {'f', "", {}};

// named_entities: "&amp;", "&lt;", "&gt;", "&quot;", else "&#38;", "&#60;", "&#62;"; value_lines: each value
// on the line after its key, indented by two spaces; sorted_keys: as Python's plistlib writes by default;
// current_order: a playlist's keys as current iTunes versions write them.
struct Layout {
  const char* name;
  bool crlf = false, named_entities = false, value_lines = false, sorted_keys = false, current_order = false;
};

std::string Escaped(const std::string& text, const Layout& layout) {
  std::string out;
  for (char c : text) {
    const char* named = c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : c == '"' ? "&quot;" : nullptr;
    if (named == nullptr || (c == '"' && !layout.named_entities)) out += c;
    else out += layout.named_entities ? std::string(named) : "&#" + std::to_string(c) + ";";
  }
  return out;
}

void Render(const Plist& node, const Layout& layout, const std::string& indent, const std::string& key,
            std::string& out) {
  const std::string nl = layout.crlf ? "\r\n" : "\n", inner = indent + (layout.value_lines ? "  " : "\t");
  const bool nested = node.kind == 'd' || node.kind == 'a' || node.kind == 'D';
  out += indent;
  if (!key.empty()) out += "<key>" + Escaped(key, layout) + "</key>" + (layout.value_lines || nested ? nl + indent : "");
  if (node.kind == 's') out += "<string>" + Escaped(node.text, layout) + "</string>" + nl;
  if (node.kind == 'i') out += "<integer>" + node.text + "</integer>" + nl;
  if (node.kind == 'D') out += "<data>" + nl + indent + node.text + nl + indent + "</data>" + nl;
  if (node.kind == 't') out += (layout.value_lines ? "<true />" : "<true/>") + nl;
  if (node.kind == 'f') out += (layout.value_lines ? "<false></false>" : "<false/>") + nl;
  if (node.kind != 'd' && node.kind != 'a') return;
  auto entries = node.entries;
  const auto by_key = [](auto& a, auto& b) { return a.first < b.first; };
  if (layout.sorted_keys) std::stable_sort(entries.begin(), entries.end(), by_key);
  if (layout.current_order && !entries.empty() && entries[0].first == "Name") {
    // "Name" after the identifiers and the folder mark, before the items.
    const auto items = std::find_if(entries.begin(), entries.end(), [](auto& e) { return e.first == "Playlist Items"; });
    std::rotate(entries.begin(), entries.begin() + 1, items);
  }
  const std::string tag = node.kind == 'd' ? "dict>" : "array>";
  out += "<" + tag + nl;
  for (const auto& [k, v] : entries) Render(v, layout, inner, k, out);
  out += indent + "</" + tag + nl;
}

// Every layout of the same library imports to the same files, byte for byte.
TEST(Import, EveryLayoutOfOneLibraryGivesTheSameOutputs) {
  const auto track = [](long id, const std::string& name, const std::string& location,
                        Entries extra) {
    Entries keys = {{"Track ID", N(id)}, {"Name", S(name)}};
    keys.insert(keys.end(), extra.begin(), extra.end());
    keys.push_back({"Track Type", S(location.rfind("http", 0) == 0 ? "URL" : "File")});
    if (!location.empty()) keys.push_back({"Location", S(location)});
    return std::pair<std::string, Plist>{std::to_string(id), D(keys)};
  };
  const auto playlist = [](const std::string& name, const std::string& id, const std::string& parent,
                           std::vector<long> items, Entries extra = {}) {
    Entries keys = {{"Name", S(name)}, {"Playlist ID", N(7)},
                                                       {"Playlist Persistent ID", S(id)}};
    if (!parent.empty()) keys.push_back({"Parent Persistent ID", S(parent)});
    keys.push_back({"All Items", kYes});
    keys.insert(keys.end(), extra.begin(), extra.end());
    if (items.empty()) return D(keys);
    std::vector<Plist> array;
    for (long item : items) array.push_back(D({{"Track ID", N(item)}}));
    keys.push_back({"Playlist Items", A(array)});
    return D(keys);
  };
  const std::string odd = "Tom & Jerry <Live> \"Best\" 'Of' Caf\xc3\xa9 \xe6\x97\xa5\xe6\x9c\xac";
  // Ids 999 and 1000 sort the other way round as text.
  const Plist tracks = D({track(998, odd, "file://localhost/media/Caf%C3%A9%20%26%20Bar.mp3", {{"Artist", S("A & B")}}),
                          track(999, "Clip", "file://localhost/media/clip.m4v", {{"Has Video", kYes}, {"Year", N(1999)}}),
                          track(1000, "Book", "file://localhost/media/book.m4b", {{"Genre", S("Audiobook")}}),
                          track(1001, "Locked", "file://localhost/media/drm.m4p", {{"Protected", kYes}}),
                          track(1002, "Radio", "http://radio.example/live", {}),
                          track(1003, "Gone", "file://localhost/media/missing.mp3", {}),
                          track(1004, "Nowhere", "", {}),
                          track(1005, "Read", "file://localhost/media/read.epub", {})});
  const Plist playlists = A({
          playlist("Library", "L0", "", {998, 999}, {{"Master", kYes}, {"Visible", kNo}}),
          playlist("Audiobooks", "AB", "", {1000}, {{"Distinguished Kind", N(5)}, {"Audiobooks", kYes}}),
          playlist("Top", "S1", "", {998}, {{"Smart Info", {'D', "AQEAAw==", {}}}}),
          playlist("Old: 80s", "F1", "", {}, {{"Folder", kYes}}),
          playlist(odd, "F2", "F1", {}, {{"Folder", kYes}}),
          playlist("Mix", "P1", "F2", {999, 998, 1002, 1003, 1004, 1005}),
          playlist("Mix", "P2", "F1", {998, 1000}),
          playlist("Mix", "P3", "", {1001, 998}),
          playlist("Empty", "P4", "", {}),
  });
  const Plist root = D({{"Major Version", N(1)}, {"Application Version", S("12.9")},
                        {"Music Folder", S("file://localhost/media/")}, {"Tracks", tracks}, {"Playlists", playlists}});
  const Layout layouts[] = {
      {"classic"},
      {"CR LF", true},
      {"current playlist key order", false, false, false, false, true},
      {"values on their own lines", false, false, true},
      {"named entities", false, true},
      {"sorted keys", false, false, false, true},
      {"all of them", true, true, true, true, true},
  };
  Files db, playlists_out;
  for (const Layout& layout : layouts) {
    std::string text = std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>") + (layout.crlf ? "\r\n" : "\n") +
                       "<plist version=\"1.0\">" + (layout.crlf ? "\r\n" : "\n");
    Render(root, layout, "", "", text);
    text += "</plist>\n";
    Import import;
    for (const char* m : {"media/Caf\xc3\xa9 & Bar.mp3", "media/clip.m4v", "media/book.m4b", "media/drm.m4p",
                          "media/read.epub"})
      import.Media(m);
    import.Library(text);
    ASSERT_EQ(import.RunImporter({ITUNES_IMPORT_BINARY}, {"-summary"}), 0) << layout.name << import.output();
    EXPECT_EQ(import.output(),
              "tracks in the library: 8\ntracks written: 3\nleft out, protected: 1\nleft out, no location: 1\n"
              "left out, URL: 1\nleft out, missing file: 1\nleft out, book: 1\nplaylists written: 3\n"
              "rewritten into the classic layout: " +
                  std::string(db.empty() ? "no" : "yes") + "\n")
        << layout.name;
    if (db.empty()) {
      db = import.Db();
      playlists_out = import.Playlists();
      // Same-named playlists in other folders stay apart; folders, the
      // smart and the library's own lists (Audiobooks too) make no file.
      const std::string folder = "Old__80s_Tom___Jerry__Live___Best___Of__Caf\xc3\xa9_\xe6\x97\xa5\xe6\x9c\xac_";
      EXPECT_EQ(playlists_out.size(), 4u);
      EXPECT_EQ(playlists_out.count(Wpl(folder + "Mix_(iTunes)##V")), 1u);
      EXPECT_EQ(playlists_out.count(Wpl("Old__80s_Mix_(iTunes)##M")), 1u);
      EXPECT_NE(db["itunes.import.items"].find(odd), std::string::npos);
      continue;
    }
    EXPECT_EQ(import.Db(), db) << layout.name;
    EXPECT_EQ(import.Playlists(), playlists_out) << layout.name;
  }
}

// Full names of 224 to 2,000 bytes, past the file system's 255 in bytes and
// in characters, some through a folder whose own name is longer than the line
// buffer, and names holding line breaks: each playlist gets its own file,
// whose title and list line keep the whole name.
TEST(Import, LongAndOddPlaylistNamesEachGetTheirFile) {
  Import import;
  import.Media("media/a.mp3");
  const auto times = [](const std::string& text, int n) {
    std::string out;
    while (n-- > 0) out += text;
    return out;
  };
  const std::string f(100, 'f'), g = times("\xe6\x97\xa5", 400), b(300, 'b');
  const std::map<std::string, std::string> path = {{"", ""}, {"F", f + "/"}, {"G", f + "/" + g + "/"}};
  const struct {
    std::string parent, name, imported = "";  // imported: when not as written
  } cases[] = {
      {"", std::string(215, 'a')},  // 224 bytes with " (iTunes)": the file name holds it whole
      {"", std::string(224, 'a')},  // the shortest whose file name is cut and hashed
      {"F", b + "1"},
      {"F", b + "2"},
      {"F", times("\xe6\x97\xa5", 75) + std::string(600, 'c')},
      {"F", "line&#10;break&#13;here", "line break here"},
      {"G", std::string(689, 'd')},  // 2,000 bytes
      {"G", times("\xc3\xa9", 344)},
  };
  std::vector<LibraryPlaylist> playlists = {{f, "F", "", true, {}, ""}, {g, "G", "F", true, {}, ""}};
  std::string expected_list;
  std::vector<std::string> expected_titles;
  for (const auto& c : cases) {
    playlists.push_back({c.name, "P" + std::to_string(playlists.size()), c.parent, false, {1}, ""});
    expected_titles.push_back(path.at(c.parent) + (c.imported.empty() ? c.name : c.imported) + " (iTunes)");
    expected_list += expected_titles.back() + "\r\n";
  }
  import.Library(LibraryXml({{1, "", "file://localhost/media/a.mp3", kFileTrack}}, playlists));
  ASSERT_EQ(import.RunImporter(), 0) << import.output();
  std::vector<std::string> titles;
  for (const auto& [name, text] : import.Playlists()) {
    if (name == "itunes.log") continue;
    EXPECT_LE(name.size(), 255u) << name;
    const size_t open = text.find("<title>") + 7;
    titles.push_back(text.substr(open, text.find("</title>") - open));
  }
  EXPECT_EQ(import.Playlists()["itunes.log"], expected_list);
  std::sort(expected_titles.begin(), expected_titles.end());
  std::sort(titles.begin(), titles.end());
  EXPECT_EQ(titles, expected_titles);
}

}  // namespace
