#include "importer/track_keys.hpp"

#include <gtest/gtest.h>

#include <string>

namespace importer {
namespace {

// The rule as written: search the line for each marker in table order.
TrackKey NaiveMatch(const char* line) {
  for (const TrackKeyMarker& m : kTrackKeyMarkers) {
    if (strstr(line, std::string(m.marker).c_str()) != nullptr) return m.key;
  }
  return TrackKey::kNone;
}

TEST(TrackKeys, FirstMarkerInTableOrderWins) {
  const struct {
    const char* line;
    TrackKey key;
  } cases[] = {
      {"<key>Album Artist</key><string>X</string>", TrackKey::kAlbumArtist},
      {"<key>Protected</key><false/>", TrackKey::kNone},
      {"<key>Protected</key><true/>", TrackKey::kProtected},
      {"<key>Play Date</key><integer>3</integer>", TrackKey::kNone},
      {"<key>Play Date UTC</key><date>2010-05-04T12:34:56Z</date>", TrackKey::kPlayDateUtc},
      {"<key>Location</key><string>a</string><key>Name</key><string>b</string>", TrackKey::kName},
      {"<key>Year</key><integer>1</integer><key>Genre</key><string>g</string>", TrackKey::kGenre},
      {"<key><key>Size</key>", TrackKey::kSize},
      {"", TrackKey::kNone},
      {"<key>Track ID</key><integer>5</integer>", TrackKey::kNone},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(match_track_key(c.line), c.key) << c.line;
    EXPECT_EQ(NaiveMatch(c.line), c.key) << c.line << " (the rule itself)";
  }
  EXPECT_EQ(match_track_key(nullptr), TrackKey::kNone);
}

}  // namespace
}  // namespace importer
