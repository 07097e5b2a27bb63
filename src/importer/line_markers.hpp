// The one way the passes recognise their lines: a table of fixed markers,
// each found by plain substring search, answered in one scan of the line.
//
// Nearly every marker is a key, "<key>Name</key>", so the scan finds each
// "<key>" of the line once and compares the text behind it only with the
// markers of the same name initial; the rare others are searched for whole.
// The answer is the set of markers the line holds, so a pass can ask both
// "which comes first in my order" (the lowest bit) and "is this one there"
// without reading the line again; lines holding several markers, and chunks
// of overlong lines, get the same answers as searching the line for each
// marker in turn.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <array>
#include <bit>
#include <string_view>

namespace importer {

inline constexpr std::string_view kKeyOpen = "<key>";

template <size_t N>
class MarkerSet {
 public:
  static_assert(N > 0 && N <= 32, "a marker is a bit of a 32-bit set");
  static constexpr size_t kBucketSize = 8;
  static constexpr uint8_t kEndOfBucket = 0xFF;

  // Markers in the order a pass tests them.
  constexpr explicit MarkerSet(const std::array<std::string_view, N>& markers) : markers_(markers) {
    for (auto& bucket : key_buckets_) bucket.fill(kEndOfBucket);
    for (size_t i = 0; i < N; ++i) {
      const std::string_view m = markers[i];
      if (m.empty()) well_formed_ = false;
      const bool key = m.substr(0, kKeyOpen.size()) == kKeyOpen && m.size() > kKeyOpen.size();
      // A marker searched for whole must end the text it is given in, so
      // that its data() is a C string.
      if (!key) {
        if (m.data()[m.size()] != '\0') well_formed_ = false;
        others_[other_count_++] = static_cast<uint8_t>(i);
        continue;
      }
      auto& bucket = key_buckets_[static_cast<unsigned char>(m[kKeyOpen.size()])];
      size_t slot = 0;
      while (slot < kBucketSize && bucket[slot] != kEndOfBucket) ++slot;
      if (slot == kBucketSize) {
        well_formed_ = false;
        continue;
      }
      bucket[slot] = static_cast<uint8_t>(i);
    }
  }

  [[nodiscard]] constexpr bool well_formed() const { return well_formed_; }
  [[nodiscard]] constexpr std::string_view marker(size_t i) const { return markers_[i]; }

  // Bit i set when marker i occurs anywhere in the C string `line`.
  [[nodiscard]] uint32_t find_all(const char* line) const {
    uint32_t found = 0;
    // "<key>" cannot overlap itself, so the next one starts behind this one.
    for (const char* at = strstr(line, kKeyOpen.data()); at != nullptr;
         at = strstr(at + kKeyOpen.size(), kKeyOpen.data())) {
      const char* name = at + kKeyOpen.size();
      for (const uint8_t i : key_buckets_[static_cast<unsigned char>(*name)]) {
        if (i == kEndOfBucket) break;
        if (starts_with(name, markers_[i].substr(kKeyOpen.size()))) found |= uint32_t{1} << i;
      }
    }
    // The few markers that are not keys ("</dict>") are searched for whole.
    for (size_t k = 0; k < other_count_; ++k) {
      if (strstr(line, markers_[others_[k]].data()) != nullptr) found |= uint32_t{1} << others_[k];
    }
    return found;
  }

  // The first of the markers in `found` in table order, or N.
  [[nodiscard]] static constexpr size_t first(uint32_t found) {
    return found == 0 ? N : static_cast<size_t>(std::countr_zero(found));
  }

 private:
  // Markers hold no NUL, so the comparison stops at the line's NUL at the
  // latest and never reads past it.
  static bool starts_with(const char* text, std::string_view prefix) {
    for (const char c : prefix) {
      if (*text++ != c) return false;
    }
    return true;
  }

  std::array<std::string_view, N> markers_;
  std::array<std::array<uint8_t, kBucketSize>, 256> key_buckets_{};
  std::array<uint8_t, N> others_{};  // markers that are not keys
  size_t other_count_ = 0;
  bool well_formed_ = true;
};

}  // namespace importer
