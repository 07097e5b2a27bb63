// End-to-end tests of the track half of the import: the built program runs on
// libraries written here, in a scratch directory that is its working
// directory (locations become paths relative to it), and the items file it
// installs is compared byte for byte.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "importer/items_writer.hpp"
#include "importer/track_mapping.hpp"
#include "runtime/memory.h"
#include "testing/temp_dir.h"

namespace {

using testing_support::FileExists;
using testing_support::ReadFile;
using testing_support::Run;
using testing_support::TempDir;
using testing_support::WriteFile;

const std::string kAdd = "##017PLUGIN ITUNES ADD\n";
const std::string kReplace = "##021PLUGIN ITUNES REPLACE\n";
const std::string kHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
                          "\t<key>Tracks</key>\n\t<dict>\n";
std::string Tail(const std::string& playlists = "") {
  return "\t</dict>\n\t<key>Playlists</key>\n\t<array>\n" + playlists + "\t</array>\n</dict>\n</plist>\n";
}
const std::string kTail = Tail();

std::string Key(const std::string& key, const std::string& element, const std::string& value) {
  return "\t\t\t<key>" + key + "</key><" + element + ">" + value + "</" + element + ">\n";
}
std::string Str(const std::string& key, const std::string& value) { return Key(key, "string", value); }
std::string Int(const std::string& key, long value) { return Key(key, "integer", std::to_string(value)); }
std::string True(const std::string& key) { return "\t\t\t<key>" + key + "</key><true/>\n"; }
std::string Entry(int id, const std::string& keys) {
  return "\t\t<key>" + std::to_string(id) + "</key>\n\t\t<dict>\n" + Int("Track ID", id) + keys + "\t\t</dict>\n";
}
std::string Local(const std::string& path) { return Str("Location", "file://localhost/" + path); }

struct Imported {
  int status;
  std::string items;
};

// Runs the importer on `library` with these media files present.
Imported Import(const std::string& library, const std::vector<std::string>& media = {}) {
  TempDir dir;
  for (const std::string& file : media) {
    for (size_t slash = file.find('/'); slash != std::string::npos; slash = file.find('/', slash + 1)) {
      mkdir((dir / file.substr(0, slash)).c_str(), 0755);
    }
    WriteFile(dir / file, "");
  }
  mkdir((dir / "db").c_str(), 0755);
  WriteFile(dir / "lib.xml", library);
  const int status =
      Run({ITUNES_IMPORT_BINARY, "-dbdir", "db", "-playlist-dir", "db", "-itunes-lib", "lib.xml"}, dir.path())
          .exit_status;
  const std::string items = dir / "db/itunes.import.items";
  return {status, FileExists(items) ? ReadFile(items) : "<no items file>"};
}

std::string Written(const std::string& add, const std::string& replace) { return kAdd + add + kReplace + replace; }

TEST(TrackImport, EveryKeyConverted) {
  const std::string library =
      kHead +
      Entry(101, Str("Name", "Rock+Roll Caf&#233; AC%2FDC 100% Tom &amp; Jerry") + Str("Artist", "  Spaced  ") +
                     Str("Album Artist", "Band") + Str("Composer", "Writer") + Str("Album", "Record") +
                     Int("Rating", 99) + Str("Genre", "Rock") + Str("Kind", "MPEG audio file") +
                     Int("Size", 3000000000L) + Int("Total Time", 3723004) + Int("Track Number", 7) +
                     Int("Bit Rate", 320) + Int("Sample Rate", 48000) + Int("Play Count", 0) +
                     Int("Disc Number", 2) + Key("Date Modified", "date", "2010-05-04T12:34:56Z") +
                     Key("Play Date UTC", "date", "2010-05-04T12:34:56Z") + Str("Track Type", "File") +
                     Int("Year", 1999) + True("Compilation") + Str("Location", "file://localhost/Music/a%20b.mp3")) +
      // Zeros skip their keys, a string date counts like a date, a size that
      // fits 32 bits goes to the short size, no value element sets nothing.
      Entry(102, Str("Name", "Clip") + Int("Rating", 100) + Int("Size", 1000) + Int("Total Time", 0) +
                     Int("Track Number", 0) + Int("Bit Rate", 0) + Int("Sample Rate", 0) + Int("Play Count", 12) +
                     Str("Date Modified", "2011-12-31T23:59:59Z") + Key("Play Date UTC", "data", "AAAA") +
                     Key("Artist", "data", "AAAA") + Int("Year", 2001) + True("Has Video") +
                     Str("Track Type", "File") + Str("Location", "file:///Movies/clip.m4v")) +
      Entry(103, Local("Music/only.mp3")) +
      Tail("\t\t<dict>\n\t\t\t<key>Name</key><string>Audiobooks</string>\n\t\t\t<key>Audiobooks</key><true/>\n"
      "\t\t\t<key>Playlist Items</key>\n\t\t\t<array>\n\t\t\t\t<dict>\n"
      "\t\t\t\t\t<key>Track ID</key><integer>101</integer>\n\t\t\t\t</dict>\n\t\t\t</array>\n\t\t</dict>\n");
  const Imported imported = Import(library, {"Music/a b.mp3", "Movies/clip.m4v", "Music/only.mp3"});
  EXPECT_EQ(imported.status, 0);
  EXPECT_EQ(imported.items,
            Written(">>>>\n03020object.item.audioItem.musicTrack\n14029Rock Roll Caf\xE9 AC/DC 100% Tom &amp; Jerry\n"
                    "16006Spaced\n18006Writer\n19004Rock\n1A006Record\n1B004Band\n1D0011\n1E0017\n1F0010\n"
                    "200014\n22009962454896\n230132010-05-04T12:34:56\n2B0011\n2F0012\n3C00DMusic/a b.mp3\n"
                    "3D00B-1294967296\n3E00B1:02:03.004\n3F00540000\n4000548000\n45001d\n",
                    ">>>>\n14029Rock Roll Caf\xE9 AC/DC 100% Tom &amp; Jerry\n16006Spaced\n19004Rock\n"
                    "1A006Record\n3C00DMusic/a b.mp3\n") +
                Written(">>>>\n0301Bobject.item.videoItem.movie\n14004Clip\n1F00212\n200015\n2200A1015199999\n"
                        "3C00FMovies/clip.m4v\n45001d\n600041000\n",
                        ">>>>\n14004Clip\n3C00FMovies/clip.m4v\n") +
                Written(">>>>\n03020object.item.audioItem.musicTrack\n3C00EMusic/only.mp3\n45001d\n",
                        ">>>>\n3C00EMusic/only.mp3\n"));
}

TEST(TrackImport, ExcludedTracksAreNotWritten) {
  struct Case {
    const char* name;
    std::string keys;
  };
  const std::vector<Case> cases = {
      {"protected", True("Protected") + Local("Music/a.mp3")},
      {"no location", Str("Name", "A")},
      {"location without a string", Key("Location", "data", "AAAA")},
      {"URL track", Str("Track Type", "URL") + Str("Location", "http://radio.example/stream")},
      {"missing file", Local("Music/missing.mp3")},
      {"e-book in any case", Local("Music/book.EPub")},
      {"host with nothing behind it", Str("Location", "file://server")},
      {"no keys", ""},
  };
  for (const Case& c : cases) {
    const Imported imported =
        Import(kHead + Entry(1, c.keys) + Entry(2, Local("Music/a.mp3")) + kTail, {"Music/a.mp3", "Music/book.EPub"});
    EXPECT_EQ(imported.status, 0) << c.name;
    EXPECT_EQ(imported.items, Written(">>>>\n03020object.item.audioItem.musicTrack\n3C00BMusic/a.mp3\n45001d\n",
                                      ">>>>\n3C00BMusic/a.mp3\n"))
        << c.name;
  }
  EXPECT_EQ(Import(kHead + kTail).items, "") << "an empty library installs an empty items file";
}

// Lines longer than the 1024-byte line buffer are read in pieces; only what
// a piece holds whole is seen, and the 1024th byte of each piece is lost.
TEST(TrackImport, LongLinesAreReadInPieces) {
  const std::string long_name(1100, 'n');
  const std::string prefix = "\t\t\t<key>Comments</key><string>";
  const auto padded = [&](size_t marker_at, const std::string& keys) {
    return prefix + std::string(marker_at - prefix.size() - 9, 'x') + "</string>" + keys;
  };
  struct Case {
    const char* name;
    std::string keys;
    std::string genre_field;
  };
  const std::vector<Case> cases = {
      {"marker split across pieces", padded(1015, Str("Genre", "Pop").substr(3)), ""},
      {"marker starting on the lost byte", padded(1023, Str("Genre", "Pop").substr(3)), ""},
      {"marker whole in the second piece", padded(1030, Str("Genre", "Pop").substr(3)), "19003Pop\n"},
      {"name longer than a line", Str("Name", long_name), ""},
  };
  for (const Case& c : cases) {
    const Imported imported = Import(kHead + Entry(1, c.keys + Local("a.mp3")) + kTail, {"a.mp3"});
    EXPECT_EQ(imported.items, Written(">>>>\n03020object.item.audioItem.musicTrack\n" + c.genre_field +
                                          "3C005a.mp3\n45001d\n",
                                      ">>>>\n" + c.genre_field + "3C005a.mp3\n"))
        << c.name;
  }
}

TEST(TrackImport, EverythingOnOneLine) {
  // Each 1024-byte piece is one line, of which only the first marker in the
  // key order counts: the Name wins over the Location in the second piece,
  // the third piece gives the Location, the fourth ends the track at its
  // "</dict>" before its Artist is looked at.
  const auto piece = [](const std::string& text) { return text + std::string(1024 - text.size(), ' '); };
  const std::string location = "<key>Location</key><string>file://localhost/a.mp3</string>";
  const std::string library = piece("<plist><dict><key>Tracks</key><dict><key>1</key><dict>"
                                    "<key>Track ID</key><integer>1</integer>") +
                              piece("<key>Name</key><string>Lost</string>" + location) +
                              piece(location + "<key>Kind</key><string>MPEG</string>") +
                              "<key>Artist</key><string>A</string></dict></dict></dict></plist>";
  EXPECT_EQ(Import(library, {"a.mp3"}).items,
            Written(">>>>\n03020object.item.audioItem.musicTrack\n14004Lost\n3C005a.mp3\n45001d\n",
                    ">>>>\n14004Lost\n3C005a.mp3\n"));
}

TEST(TrackImport, LibraryWithoutPlaylistsEndingInsideATrack) {
  const std::string library = kHead + Entry(1, Local("a.mp3")) + "\t\t<key>2</key>\n\t\t<dict>\n" +
                              Int("Track ID", 2) + Str("Name", "Cut") + Local("b.mp3");
  const Imported imported = Import(library, {"a.mp3", "b.mp3"});
  EXPECT_EQ(imported.status, 0);
  EXPECT_EQ(imported.items,
            Written(">>>>\n03020object.item.audioItem.musicTrack\n3C005a.mp3\n45001d\n", ">>>>\n3C005a.mp3\n") +
                Written(">>>>\n03020object.item.audioItem.musicTrack\n14003Cut\n3C005b.mp3\n45001d\n",
                        ">>>>\n14003Cut\n3C005b.mp3\n"));
}

TEST(TrackImport, AudiobookPlaylistWithoutItemsMarksNothing) {
  // The Audiobooks playlist ends before any "<array>": the next playlist's
  // items are not taken for its own.
  const std::string library =
      kHead + Entry(7, Local("a.m4b")) +
      Tail("\t\t<dict>\n\t\t\t<key>Audiobooks</key><true/>\n\t\t</dict>\n\t\t<dict>\n\t\t\t<array>\n"
           "\t\t\t\t<key>Track ID</key><integer>7</integer>\n\t\t\t</array>\n\t\t</dict>\n");
  EXPECT_EQ(Import(library, {"a.m4b"}).items,
            Written(">>>>\n03020object.item.audioItem.musicTrack\n3C005a.m4b\n45001d\n", ">>>>\n3C005a.m4b\n"));
}

TEST(TrackMapping, FileUrlToPath) {
  struct Case {
    const char* url;
    const char* path;
  };
  const Case cases[] = {
      {"file://localhost/Users/a.mp3", "Users/a.mp3"},
      {"file:///Users/a.mp3", "Users/a.mp3"},
      {"file://localhost/C:/Music/a.mp3", "C:/Music/a.mp3"},
      {"file:///C:/Music/a.mp3", "C:/Music/a.mp3"},
      {"file://server/share/a.mp3", "share/a.mp3"},
      {"file:\\\\server\\share\\a.mp3", "share\\a.mp3"},
      {"file://localhost/Music/Album/", "Music/Album"},
      {"file://server", ""},
      {"file:", ""},
      {"x", ""},
  };
  for (const Case& c : cases) {
    std::string url = c.url;
    EXPECT_STREQ(importer::path_of_file_url(url.data()), c.path) << c.url;
  }
}

// Which tracks the playlists can find: every one that is not protected,
// written or not.
TEST(TrackMapping, TrackListEntries) {
  struct Case {
    const char* name;
    std::vector<std::string> lines;
    bool listed;
    const char* location;
  };
  const std::vector<Case> cases = {
      {"URL track", {Str("Name", "Radio"), Str("Track Type", "URL"), Str("Location", "http://r.example/s/")},
       true, "http://r.example/s/"},
      {"missing file", {Str("Name", "Radio"), Local("no/such.mp3")}, true, "no/such.mp3"},
      {"no location", {Str("Name", "Radio")}, true, nullptr},
      {"protected", {Str("Name", "Radio"), True("Protected"), Local("no/such.mp3")}, false, nullptr},
  };
  for (const Case& c : cases) {
    importer::TrackList tracks{};
    importer::AudiobookList audiobooks{};
    importer::TrackState track;
    importer::begin_track(track, 9);
    for (std::string line : c.lines) {
      importer::map_track_key(track, importer::match_track_key(line.c_str()), line.data(), audiobooks);
    }
    importer::ItemsWriter items(nullptr);
    importer::end_track(track, items, tracks);
    const importer::TrackNode* node = importer::track_list_find(tracks, 9);
    ASSERT_EQ(node != nullptr, c.listed) << c.name;
    if (node != nullptr) {
      EXPECT_STREQ(node->name, "Radio") << c.name;
      EXPECT_STREQ(node->location, c.location) << c.name;
    }
    importer::track_list_free(tracks);
  }
}

}  // namespace
