#include "importer/track_keys.hpp"

#include <string.h>

namespace importer {

namespace {

constexpr size_t kCount = kTrackKeyMarkers.size();
constexpr size_t kBucketSize = 4;
constexpr uint8_t kEndOfBucket = 0xFF;

// Markers by the first character of their name, each bucket in table order,
// so that one "<key>" found in a line is compared with two or three markers.
struct Buckets {
  std::array<std::array<uint8_t, kBucketSize>, 256> index{};
  bool overflow = false;
};

constexpr Buckets make_buckets() {
  Buckets b;
  for (auto& bucket : b.index) bucket.fill(kEndOfBucket);
  for (size_t i = 0; i < kCount; ++i) {
    const auto first = static_cast<unsigned char>(kTrackKeyMarkers[i].marker[kKeyOpen.size()]);
    size_t slot = 0;
    while (slot < kBucketSize && b.index[first][slot] != kEndOfBucket) ++slot;
    if (slot == kBucketSize) {
      b.overflow = true;
      continue;
    }
    b.index[first][slot] = static_cast<uint8_t>(i);
  }
  return b;
}

constexpr Buckets kBuckets = make_buckets();
static_assert(!kBuckets.overflow, "raise kBucketSize: too many markers share a first letter");
static_assert(kCount < kEndOfBucket, "marker indexes fit a bucket slot");

// The index of the marker that starts at `key` (a "<key>" of the line), or
// kCount. strncmp stops at the line's NUL, so no marker reads past it.
size_t marker_at(const char* key) {
  const char* name = key + kKeyOpen.size();
  for (const uint8_t i : kBuckets.index[static_cast<unsigned char>(*name)]) {
    if (i == kEndOfBucket) break;
    const std::string_view tail = kTrackKeyMarkers[i].marker.substr(kKeyOpen.size());
    if (strncmp(name, tail.data(), tail.size()) == 0) return i;
  }
  return kCount;
}

}  // namespace

TrackKey match_track_key(const char* line) {
  if (line == nullptr) return TrackKey::kNone;
  size_t best = kCount;
  for (const char* key = strstr(line, "<key>"); key != nullptr; key = strstr(key + 1, "<key>")) {
    const size_t found = marker_at(key);
    if (found < best) {
      best = found;
      if (best == 0) break;
    }
  }
  return static_cast<TrackKey>(best);
}

}  // namespace importer
