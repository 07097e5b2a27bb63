// The one way the passes recognise their lines: a table of fixed markers,
// answered for a line in the classic layout (classic_line.hpp) from its key
// and the head of its rest, or from its tag.
//
// A marker is a key, "<key>Name</key>", possibly with a suffix such as
// "<true/>", or a tag such as "</dict>". The answer is the set of markers
// the line holds, so a pass can ask both "which comes first in my order"
// (the lowest bit) and "is this one there" without looking at the line
// again. On a classic line it is the set that searching the line for each
// marker in turn gives.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <array>
#include <bit>
#include <string_view>

#include "importer/classic_line.hpp"

namespace importer {

inline constexpr std::string_view kKeyOpen = "<key>";
inline constexpr std::string_view kKeyClose = "</key>";

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
      if (m.size() < 2 || m[0] != '<' || m.find('\0') != std::string_view::npos) well_formed_ = false;
      const size_t name_end = m.find(kKeyClose);
      if (m.substr(0, kKeyOpen.size()) != kKeyOpen || name_end == std::string_view::npos ||
          name_end == kKeyOpen.size()) {
        tags_[tag_count_++] = static_cast<uint8_t>(i);
        continue;
      }
      names_[i] = m.substr(kKeyOpen.size(), name_end - kKeyOpen.size());
      suffixes_[i] = m.substr(name_end + kKeyClose.size());
      // A name holding "<" would not be a classic key.
      if (names_[i].find('<') != std::string_view::npos) well_formed_ = false;
      auto& bucket = key_buckets_[static_cast<unsigned char>(names_[i][0])];
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

  // Bit i set when the line holds marker i.
  [[nodiscard]] constexpr uint32_t find_all(const ClassicLine& line) const {
    uint32_t found = 0;
    if (line.key.data() == nullptr) {
      for (size_t k = 0; k < tag_count_; ++k) {
        if (line.rest == markers_[tags_[k]]) found |= uint32_t{1} << tags_[k];
      }
      return found;
    }
    if (line.key.empty()) return 0;
    for (const uint8_t i : key_buckets_[static_cast<unsigned char>(line.key[0])]) {
      if (i == kEndOfBucket) break;
      if (line.key == names_[i] && line.rest.substr(0, suffixes_[i].size()) == suffixes_[i]) found |= uint32_t{1} << i;
    }
    return found;
  }

  // The first of the markers in `found` in table order, or N.
  [[nodiscard]] static constexpr size_t first(uint32_t found) {
    return found == 0 ? N : static_cast<size_t>(std::countr_zero(found));
  }

 private:
  std::array<std::string_view, N> markers_;
  std::array<std::string_view, N> names_{};     // of the key markers
  std::array<std::string_view, N> suffixes_{};  // behind their "</key>"
  std::array<std::array<uint8_t, kBucketSize>, 256> key_buckets_{};  // by the name's first byte
  std::array<uint8_t, N> tags_{};  // markers that are not keys
  size_t tag_count_ = 0;
  bool well_formed_ = true;
};

}  // namespace importer
