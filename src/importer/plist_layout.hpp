// The classic line layout of an iTunes library, the only one the three
// passes read correctly: every key with its scalar value on one line,
// tab-indented, "&", "<" and ">" in values as numeric references, in each
// track entry "Track ID" first and "Track Type" before "Location", in each
// playlist entry "Name" first and "Playlist Items" last, "Tracks" before
// "Playlists" and the tracks in ascending id order.
//
// ClassicLayoutCheck watches the lines of pass 1 go by and says whether the
// file is in that layout and complete (every dict and array closed, a
// "Tracks" dict, "</plist>" last). It only looks at the bytes already in
// hand, so the classic path costs no extra read. In that layout every "<" of
// a line stands at one of its tags, which lets the passes recognise a line by
// its head (classic_line.hpp). Any other file is rewritten into the layout
// first (plist_rewrite.hpp). Key ranks are shared with the rewriter, which
// orders an entry's keys by them.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string_view>

#include "importer/classic_line.hpp"

namespace importer {

// Where a key of a playlist entry must stand for the folder pass and the
// playlist half of pass 3 to read the entry right; kAny for the keys they
// ignore. Non-decreasing within an entry in the classic layout.
enum class PlaylistKeyRank : uint8_t { kName, kIdentity, kKindOrHidden, kFolder, kItems, kAny };
PlaylistKeyRank playlist_key_rank(std::string_view key);

// The same for a track entry: "Track ID" opens the entry, "Track Type" tells
// how "Location" is converted.
enum class TrackKeyRank : uint8_t { kTrackId, kOther, kLocation };
TrackKeyRank track_key_rank(std::string_view key);

class ClassicLayoutCheck {
 public:
  // One whole line of pass 1, with its newline. A line longer than the
  // scanner can hold comes in pieces, which is not the classic layout.
  void feed(const char* text, size_t length) { feed(text, length, split_classic_line(text, length)); }
  // The same, with the line's split (classic_line.hpp) in hand.
  void feed(const char* text, size_t length, const ClassicLine& split);
  // True when every line fed was in the classic layout and the file is
  // complete.
  [[nodiscard]] bool classic_and_complete() const;
  // True while every line fed so far was in the classic layout.
  [[nodiscard]] bool classic_so_far() const { return ok_; }

 private:
  enum class Role : uint8_t { kPlist, kRoot, kTracks, kTrack, kPlaylists, kPlaylist, kItems, kOther };
  static constexpr size_t kMaxDepth = 32;

  bool line(std::string_view text, const ClassicLine& split);
  bool open(bool is_dict);
  bool close(bool is_dict);
  bool key_line(std::string_view key, std::string_view rest);
  bool entry_key(std::string_view key, std::string_view value);
  [[nodiscard]] Role top() const { return roles_[depth_ - 1]; }

  bool ok_ = true;
  bool unterminated_ = false;  // the last line had no newline: nothing may follow
  bool ended_ = false;         // "</plist>" seen
  bool in_data_ = false;       // inside a multi-line <data> value
  bool key_alone_ = false;     // the last line was a key without its value
  bool data_only_ = false;     // ... in a track entry: only data may follow
  bool seen_tracks_ = false;
  bool seen_playlists_ = false;
  Role pending_role_ = Role::kOther;  // what the container behind the key alone is
  Role roles_[kMaxDepth] = {};
  size_t depth_ = 0;
  // The entry being read.
  size_t keys_in_entry_ = 0;
  uint8_t max_rank_ = 0;
  bool seen_location_ = false;
  bool items_closed_ = false;
  uint32_t last_track_id_ = 0;
};

}  // namespace importer
