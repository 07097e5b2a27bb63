// The key markers of a track entry in the library file, in the order in which
// they are tested on each line of the entry, and the matcher that finds the
// one a line holds. Order matters: when a line holds several markers (a file
// whose keys are not on lines of their own), the first in this order wins,
// wherever it stands in the line.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <array>
#include <string_view>

#include "importer/line_markers.hpp"

namespace importer {

enum class TrackKey : uint8_t {
  kName,
  kArtist,
  kAlbumArtist,
  kProtected,
  kComposer,
  kAlbum,
  kRating,
  kGenre,
  kSize,
  kTotalTime,
  kTrackNumber,
  kBitRate,
  kSampleRate,
  kPlayCount,
  kDiscNumber,
  kDateModified,
  kPlayDateUtc,
  kTrackType,
  kYear,
  kHasVideo,
  kCompilation,
  kLocation,
  kNone,  // the line holds no marker
};

// The element a key's value is read from.
enum class TrackValue : uint8_t {
  kFlag,           // none: the marker includes "<true/>"
  kString,
  kInteger,
  kStringOrDate,   // "string", else "date"
};

struct TrackKeyMarker {
  TrackKey key;
  std::string_view marker;
  TrackValue value;
};

inline constexpr std::array<TrackKeyMarker, 22> kTrackKeyMarkers = {{
    {TrackKey::kName, "<key>Name</key>", TrackValue::kString},
    {TrackKey::kArtist, "<key>Artist</key>", TrackValue::kString},
    {TrackKey::kAlbumArtist, "<key>Album Artist</key>", TrackValue::kString},
    {TrackKey::kProtected, "<key>Protected</key><true/>", TrackValue::kFlag},
    {TrackKey::kComposer, "<key>Composer</key>", TrackValue::kString},
    {TrackKey::kAlbum, "<key>Album</key>", TrackValue::kString},
    {TrackKey::kRating, "<key>Rating</key>", TrackValue::kInteger},
    {TrackKey::kGenre, "<key>Genre</key>", TrackValue::kString},
    {TrackKey::kSize, "<key>Size</key>", TrackValue::kInteger},
    {TrackKey::kTotalTime, "<key>Total Time</key>", TrackValue::kInteger},
    {TrackKey::kTrackNumber, "<key>Track Number</key>", TrackValue::kInteger},
    {TrackKey::kBitRate, "<key>Bit Rate</key>", TrackValue::kInteger},
    {TrackKey::kSampleRate, "<key>Sample Rate</key>", TrackValue::kInteger},
    {TrackKey::kPlayCount, "<key>Play Count</key>", TrackValue::kInteger},
    {TrackKey::kDiscNumber, "<key>Disc Number</key>", TrackValue::kInteger},
    {TrackKey::kDateModified, "<key>Date Modified</key>", TrackValue::kStringOrDate},
    {TrackKey::kPlayDateUtc, "<key>Play Date UTC</key>", TrackValue::kStringOrDate},
    {TrackKey::kTrackType, "<key>Track Type</key>", TrackValue::kString},
    {TrackKey::kYear, "<key>Year</key>", TrackValue::kInteger},
    {TrackKey::kHasVideo, "<key>Has Video</key><true/>", TrackValue::kFlag},
    {TrackKey::kCompilation, "<key>Compilation</key><true/>", TrackValue::kFlag},
    {TrackKey::kLocation, "<key>Location</key>", TrackValue::kString},
}};

namespace track_keys_detail {

constexpr bool table_is_well_formed() {
  for (size_t i = 0; i < kTrackKeyMarkers.size(); ++i) {
    const TrackKeyMarker& m = kTrackKeyMarkers[i];
    // The enum's order is the table's order, so a key is its own index.
    if (static_cast<size_t>(m.key) != i) return false;
    // The matcher finds markers from their "<key>"; a marker must hold no
    // other "<key>" and carry its name right behind it.
    if (m.marker.substr(0, kKeyOpen.size()) != kKeyOpen) return false;
    if (m.marker.find(kKeyOpen, 1) != std::string_view::npos) return false;
    const size_t name_end = m.marker.find("</key>");
    if (name_end == std::string_view::npos || name_end <= kKeyOpen.size()) return false;
    const bool flag = m.marker.substr(name_end) == "</key><true/>";
    if (flag != (m.value == TrackValue::kFlag)) return false;
    if (!flag && m.marker.substr(name_end) != "</key>") return false;
    // Names are distinct, so at most one marker starts at any "<key>".
    for (size_t k = 0; k < i; ++k) {
      if (kTrackKeyMarkers[k].marker.substr(0, kTrackKeyMarkers[k].marker.find("</key>")) ==
          m.marker.substr(0, name_end)) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace track_keys_detail

static_assert(kTrackKeyMarkers.size() == static_cast<size_t>(TrackKey::kNone), "one marker per key");
static_assert(track_keys_detail::table_is_well_formed(), "markers in enum order, each one \"<key>Name</key>\"");
static_assert(kTrackKeyMarkers.front().marker == "<key>Name</key>" &&
                  kTrackKeyMarkers.back().marker == "<key>Location</key>",
              "Name is tested first and Location last");

// The first marker of the table (in table order) that the line holds, or
// kNone.
[[nodiscard]] TrackKey match_track_key(const ClassicLine& line);

// A line inside a track entry: whether it holds "</dict>", which ends the
// entry and is tested before any key, and else its key.
struct TrackLine {
  bool ends_entry;
  TrackKey key;
};
[[nodiscard]] TrackLine match_track_line(const ClassicLine& line);

}  // namespace importer
