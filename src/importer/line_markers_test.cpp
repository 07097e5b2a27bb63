#include "importer/line_markers.hpp"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "importer/pass_markers.hpp"
#include "importer/plist_layout.hpp"
#include "importer/track_keys.hpp"

namespace importer {
namespace {

// The rule as written: search the line, a C string, for each marker in turn.
template <size_t N>
uint32_t NaiveFindAll(const MarkerSet<N>& set, const std::string& line) {
  uint32_t found = 0;
  for (size_t i = 0; i < N; ++i) {
    if (strstr(line.c_str(), std::string(set.marker(i)).c_str()) != nullptr) found |= 1u << i;
  }
  return found;
}

// Lines built from whole, cut and headless markers of every pass, tags,
// values and the bytes that break the layout ("<" in values, NUL, CR), so
// that near misses and several markers per line are common.
std::vector<std::string> RandomLines() {
  std::vector<std::string> pieces = {"<key>", "</key>", "<true/>", "<false/>", "<string>x</string>", "<integer>7</integer>",
                                     "<string>", "</string>", "<", "key>", "Play", " ", "\t", "\t\t", "</dict>", "<dict>",
                                     "<array>", "</array>", "<data>", "</dic", "<key>P", "&#60;", std::string(1, '\0'), "\r",
                                     "<plist version=\"1.0\">", "<?xml version=\"1.0\"?>", "QUJD"};
  const auto add = [&](std::string_view marker) {
    const std::string m(marker);
    const std::string key = m.substr(0, m.find("</key>") + 6);  // a flag's key without its "<true/>"
    for (const std::string& piece : {m, key, m.substr(0, m.size() - 1), m.substr(5), m.substr(0, 7)}) {
      pieces.push_back(piece);
    }
  };
  for (const TrackKeyMarker& m : kTrackKeyMarkers) add(m.marker);
  for (size_t i = 0; i < 10; ++i) add(kFolderMarkers.marker(i));
  for (size_t i = 0; i < 6; ++i) add(kPlaylistMarkers.marker(i));
  add(kTrackPassMarkers.marker(1));
  for (size_t i = 0; i < 5; ++i) add(kAudiobookMarkers.marker(i));
  std::mt19937 rng(7);
  std::vector<std::string> lines;
  for (int i = 0; i < 200000; ++i) {
    std::string line = std::string(rng() % 4, '\t');
    for (int k = 1 + static_cast<int>(rng() % 4); k > 0; --k) line += pieces[rng() % pieces.size()];
    lines.push_back(line + "\n");
  }
  return lines;
}

// The check in each place a line can stand: before the root, in the root
// dict, in a track, in a playlist, in a playlist's item.
const char* const kContexts[] = {
    "",
    "<plist version=\"1.0\">\n<dict>\n",
    "<plist version=\"1.0\">\n<dict>\n<key>Tracks</key>\n<dict>\n<key>1</key>\n<dict>\n<key>Track ID</key><integer>1</integer>\n",
    "<plist version=\"1.0\">\n<dict>\n<key>Tracks</key>\n<dict>\n</dict>\n<key>Playlists</key>\n<array>\n<dict>\n"
    "<key>Name</key><string>P</string>\n",
    "<plist version=\"1.0\">\n<dict>\n<key>Tracks</key>\n<dict>\n</dict>\n<key>Playlists</key>\n<array>\n<dict>\n"
    "<key>Name</key><string>P</string>\n<key>Playlist Items</key>\n<array>\n<dict>\n",
};

// On every line that the layout check lets pass, in any place, the head of
// the line answers what searching it for each marker answers: the passes
// read nothing else.
TEST(LineMarkers, EveryPassAgreesWithSubstringSearchOnClassicLines) {
  size_t classic = 0;
  for (const std::string& line : RandomLines()) {
    for (const char* context : kContexts) {
      ClassicLayoutCheck check;
      for (const char* at = context; *at != '\0';) {
        const char* end = strchr(at, '\n') + 1;
        check.feed(at, static_cast<size_t>(end - at));
        at = end;
      }
      ASSERT_TRUE(check.classic_so_far()) << context;
      check.feed(line.data(), line.size());
      const ClassicLine split = split_classic_line(line.data(), line.size());
      if (!check.classic_so_far()) continue;
      ++classic;
      ASSERT_EQ(kFolderMarkers.find_all(split), NaiveFindAll(kFolderMarkers, line)) << line;
      ASSERT_EQ(kPlaylistMarkers.find_all(split), NaiveFindAll(kPlaylistMarkers, line)) << line;
      ASSERT_EQ(kTrackPassMarkers.find_all(split), NaiveFindAll(kTrackPassMarkers, line)) << line;
      ASSERT_EQ(kAudiobookMarkers.find_all(split), NaiveFindAll(kAudiobookMarkers, line)) << line;
      TrackKey first = TrackKey::kNone;
      for (const TrackKeyMarker& m : kTrackKeyMarkers) {
        if (strstr(line.c_str(), std::string(m.marker).c_str()) != nullptr) {
          first = m.key;
          break;
        }
      }
      const TrackLine match = match_track_line(split);
      ASSERT_EQ(match.key, first) << line;
      ASSERT_EQ(match.ends_entry, strstr(line.c_str(), "</dict>") != nullptr) << line;
    }
  }
  // Enough of them pass for the comparison to mean something.
  EXPECT_GT(classic, 20000u) << classic;
}

}  // namespace
}  // namespace importer
