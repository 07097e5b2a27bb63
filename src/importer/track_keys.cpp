#include "importer/track_keys.hpp"

namespace importer {

namespace {

constexpr size_t kKeys = kTrackKeyMarkers.size();
constexpr size_t kEntryEnd = kKeys;  // "</dict>" behind the keys

constexpr std::array<std::string_view, kKeys + 1> track_line_markers() {
  std::array<std::string_view, kKeys + 1> markers{};
  for (size_t i = 0; i < kKeys; ++i) markers[i] = kTrackKeyMarkers[i].marker;
  markers[kEntryEnd] = "</dict>";
  return markers;
}

constexpr MarkerSet<kKeys + 1> kTrackLineMarkers(track_line_markers());
static_assert(kTrackLineMarkers.well_formed(), "too many markers share a bucket");

constexpr uint32_t kKeyBits = (uint32_t{1} << kKeys) - 1;

}  // namespace

TrackKey match_track_key(const ClassicLine& line) {
  return static_cast<TrackKey>(MarkerSet<kKeys>::first(kTrackLineMarkers.find_all(line) & kKeyBits));
}

TrackLine match_track_line(const ClassicLine& line) {
  const uint32_t found = kTrackLineMarkers.find_all(line);
  return {(found >> kEntryEnd & 1u) != 0, static_cast<TrackKey>(MarkerSet<kKeys>::first(found & kKeyBits))};
}

}  // namespace importer
