#include "importer/line_markers.hpp"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "importer/pass_markers.hpp"
#include "importer/track_keys.hpp"

namespace importer {
namespace {

// The rule as written: search the line for each marker in turn.
template <size_t N>
uint32_t NaiveFindAll(const MarkerSet<N>& set, const std::string& line) {
  uint32_t found = 0;
  for (size_t i = 0; i < N; ++i) {
    if (strstr(line.c_str(), std::string(set.marker(i)).c_str()) != nullptr) found |= 1u << i;
  }
  return found;
}

// Lines built from whole, cut and headless markers of every pass, so that
// near misses, markers cut at a chunk's end and several markers per line are
// common.
std::vector<std::string> RandomLines() {
  std::vector<std::string> pieces = {"<key>", "</key>", "<true/>", "<false/>", "<string>x</string>",
                                     "<", "key>", "Play", " ", "\t", "</dict>", "</dic", "<key>P"};
  const auto add = [&](std::string_view marker) {
    const std::string m(marker);
    for (const std::string& piece : {m, m.substr(0, m.size() - 1), m.substr(5), m.substr(0, 7)}) pieces.push_back(piece);
  };
  for (const TrackKeyMarker& m : kTrackKeyMarkers) add(m.marker);
  for (size_t i = 0; i < 10; ++i) add(kFolderMarkers.marker(i));
  for (size_t i = 0; i < 6; ++i) add(kPlaylistMarkers.marker(i));
  add(kTrackPassMarkers.marker(0));
  for (size_t i = 0; i < 5; ++i) add(kAudiobookMarkers.marker(i));
  std::mt19937 rng(7);
  std::vector<std::string> lines;
  for (int i = 0; i < 100000; ++i) {
    std::string line;
    for (int k = 1 + static_cast<int>(rng() % 6); k > 0; --k) line += pieces[rng() % pieces.size()];
    lines.push_back(line);
  }
  return lines;
}

TEST(LineMarkers, EveryPassAgreesWithSubstringSearchOnRandomLines) {
  for (const std::string& line : RandomLines()) {
    ASSERT_EQ(kFolderMarkers.find_all(line.c_str()), NaiveFindAll(kFolderMarkers, line)) << line;
    ASSERT_EQ(kPlaylistMarkers.find_all(line.c_str()), NaiveFindAll(kPlaylistMarkers, line)) << line;
    ASSERT_EQ(kTrackPassMarkers.find_all(line.c_str()), NaiveFindAll(kTrackPassMarkers, line)) << line;
    ASSERT_EQ(kAudiobookMarkers.find_all(line.c_str()), NaiveFindAll(kAudiobookMarkers, line)) << line;
    TrackKey first = TrackKey::kNone;
    for (const TrackKeyMarker& m : kTrackKeyMarkers) {
      if (strstr(line.c_str(), std::string(m.marker).c_str()) != nullptr) {
        first = m.key;
        break;
      }
    }
    const TrackLine match = match_track_line(line.c_str());
    ASSERT_EQ(match.key, first) << line;
    ASSERT_EQ(match.ends_entry, line.find("</dict>") != std::string::npos) << line;
  }
}

}  // namespace
}  // namespace importer
