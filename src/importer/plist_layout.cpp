#include "importer/plist_layout.hpp"

#include <string.h>

namespace importer {
namespace {

using namespace std::string_view_literals;

constexpr struct {
  std::string_view key;
  PlaylistKeyRank rank;
} kPlaylistRanks[] = {
    {"Name"sv, PlaylistKeyRank::kName},
    {"Playlist ID"sv, PlaylistKeyRank::kIdentity},
    {"Playlist Persistent ID"sv, PlaylistKeyRank::kIdentity},
    {"Parent Persistent ID"sv, PlaylistKeyRank::kIdentity},
    {"Distinguished Kind"sv, PlaylistKeyRank::kKindOrHidden},
    {"Visible"sv, PlaylistKeyRank::kKindOrHidden},
    {"Smart Info"sv, PlaylistKeyRank::kKindOrHidden},
    {"Podcasts"sv, PlaylistKeyRank::kKindOrHidden},
    {"Audiobooks"sv, PlaylistKeyRank::kKindOrHidden},
    {"Videos"sv, PlaylistKeyRank::kKindOrHidden},
    {"Folder"sv, PlaylistKeyRank::kFolder},
    {"Playlist Items"sv, PlaylistKeyRank::kItems},
};
static_assert(sizeof kPlaylistRanks / sizeof kPlaylistRanks[0] == 12);

bool scalar_element(std::string_view element) {
  switch (element.size()) {
    case 4: return element == "date"sv || element == "data"sv || element == "real"sv;
    case 6: return element == "string"sv;
    case 7: return element == "integer"sv;
    default: return false;
  }
}

// The value of "<T>value</T>" when the text is exactly that for a scalar
// element T and the value is as the classic layout writes it: no markup, and
// "&" only in decimal references. Every line of a library passes here once:
// it is kept to a few scans of the line.
bool classic_scalar(std::string_view text, std::string_view& value) {
  if (text.size() < 7 || text[0] != '<') return false;
  size_t open_end = 1;
  while (open_end < text.size() && text[open_end] != '>') ++open_end;
  if (open_end == text.size()) return false;
  const std::string_view element = text.substr(1, open_end - 1);
  if (!scalar_element(element) || text.size() < 2 * open_end + 3) return false;
  const size_t close = text.size() - element.size() - 3;  // at "</T>"
  if (text[close] != '<' || text[close + 1] != '/' || text.back() != '>' ||
      text.compare(close + 2, element.size(), element) != 0) {
    return false;
  }
  value = text.substr(open_end + 1, close - open_end - 1);
  // One look at each byte: no markup, and "&" only in decimal references.
  for (size_t i = 0; i < value.size(); ++i) {
    if (value[i] == '<') return false;
    if (value[i] != '&') continue;
    if (++i >= value.size() || value[i] != '#') return false;
    size_t digits = 0;
    while (++i < value.size() && value[i] >= '0' && value[i] <= '9') ++digits;
    if (digits == 0 || i >= value.size() || value[i] != ';') return false;
  }
  return true;
}

bool base64_line(std::string_view text) {
  for (char c : text) {
    if (!((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/' ||
          c == '=')) {
      return false;
    }
  }
  return true;
}

}  // namespace

PlaylistKeyRank playlist_key_rank(std::string_view key) {
  for (const auto& entry : kPlaylistRanks) {
    if (entry.key == key) return entry.rank;
  }
  return PlaylistKeyRank::kAny;
}

TrackKeyRank track_key_rank(std::string_view key) {
  if (key == "Track ID"sv) return TrackKeyRank::kTrackId;
  if (key == "Location"sv) return TrackKeyRank::kLocation;
  return TrackKeyRank::kOther;
}

void ClassicLayoutCheck::feed(const char* text, size_t length, const ClassicLine& split) {
  if (!ok_) return;
  if (unterminated_ || length == 0) {
    ok_ = false;
    return;
  }
  std::string_view line_text(text, length);
  if (line_text.back() == '\n') {
    line_text.remove_suffix(1);
  } else {
    unterminated_ = true;  // the last line, or a piece of an overlong one
  }
  ok_ = line(line_text, split);
}

bool ClassicLayoutCheck::classic_and_complete() const {
  return ok_ && ended_ && depth_ == 0 && seen_tracks_ && !in_data_ && !key_alone_;
}

bool ClassicLayoutCheck::line(std::string_view text, const ClassicLine& split) {
  if (ended_) return false;
  const size_t tabs = text.find_first_not_of('\t');
  if (tabs == std::string_view::npos) return false;
  text.remove_prefix(tabs);
  if (!text.empty() && text.back() == '\r') return false;
  if (in_data_) {
    if (text == "</data>"sv) {
      in_data_ = false;
      return true;
    }
    return base64_line(text);
  }
  if (key_alone_) {
    key_alone_ = false;
    if (text == "<data>"sv) {
      in_data_ = true;
      return true;
    }
    if ((text != "<dict>"sv && text != "<array>"sv) || data_only_ || depth_ == kMaxDepth) return false;
    if ((pending_role_ == Role::kTracks || pending_role_ == Role::kTrack) != (text == "<dict>"sv)) return false;
    if ((pending_role_ == Role::kPlaylists || pending_role_ == Role::kItems) != (text == "<array>"sv)) return false;
    roles_[depth_++] = pending_role_;
    return true;
  }
  if (text.size() < 3 || text[0] != '<') return false;
  if (split.key.data() != nullptr) return key_line(split.key, split.rest);
  // "<key>" not closed by "</key>" at its name's first "<".
  if (text.compare(0, 5, "<key>") == 0) return false;
  if (text == "</dict>"sv) return close(true);
  if (text == "</array>"sv) return close(false);
  if (text == "<dict>"sv) return open(true);
  if (text == "<array>"sv) return open(false);
  if (text == "</plist>"sv) {
    if (depth_ != 1 || top() != Role::kPlist) return false;
    depth_ = 0;
    ended_ = true;
    return true;
  }
  if (depth_ == 0) {
    // The prolog's lines hold one tag each, like every other line.
    if (memchr(text.data() + 1, '<', text.size() - 1) != nullptr) return false;
    if (text.compare(0, 6, "<plist") == 0) {
      if (seen_tracks_ || ended_) return false;
      roles_[depth_++] = Role::kPlist;
      return true;
    }
    return text.compare(0, 5, "<?xml") == 0 || text.compare(0, 9, "<!DOCTYPE") == 0;
  }
  // A scalar standing alone belongs in an array that no pass looks into.
  std::string_view value;
  return (top() == Role::kOther) && classic_scalar(text, value);
}

bool ClassicLayoutCheck::open(bool is_dict) {
  if (depth_ == 0 || depth_ == kMaxDepth) return false;
  Role role = Role::kOther;
  switch (top()) {
    case Role::kPlist:
      if (!is_dict) return false;
      role = Role::kRoot;
      break;
    case Role::kPlaylists:
      if (!is_dict) return false;
      role = Role::kPlaylist;
      keys_in_entry_ = 0;
      max_rank_ = 0;
      items_closed_ = false;
      break;
    case Role::kItems:
    case Role::kOther: break;
    // Containers in these stand behind a key.
    default: return false;
  }
  roles_[depth_++] = role;
  return true;
}

bool ClassicLayoutCheck::close(bool is_dict) {
  if (depth_ < 2) return false;
  const Role role = top();
  const bool dict_role = role == Role::kRoot || role == Role::kTracks || role == Role::kTrack ||
                         role == Role::kPlaylist || (role == Role::kOther && is_dict);
  const bool array_role = role == Role::kPlaylists || role == Role::kItems || (role == Role::kOther && !is_dict);
  if (is_dict ? !dict_role : !array_role) return false;
  --depth_;
  if (role == Role::kItems) items_closed_ = true;
  return true;
}

bool ClassicLayoutCheck::key_line(std::string_view key, std::string_view rest) {
  if (depth_ == 0 || memchr(key.data(), '<', key.size()) != nullptr || memchr(key.data(), '&', key.size()) != nullptr) {
    return false;
  }
  const Role role = top();
  if (role == Role::kPlist || role == Role::kPlaylists || role == Role::kItems) return false;
  if (rest.empty()) {
    // The value follows on its own line: a container, or multi-line data.
    key_alone_ = true;
    data_only_ = false;
    pending_role_ = Role::kOther;
    switch (role) {
      case Role::kRoot:
        if (key == "Tracks"sv) {
          if (seen_tracks_ || seen_playlists_) return false;
          seen_tracks_ = true;
          pending_role_ = Role::kTracks;
        } else if (key == "Playlists"sv) {
          if (seen_playlists_) return false;
          seen_playlists_ = true;
          pending_role_ = Role::kPlaylists;
        }
        return true;
      case Role::kTracks:
        pending_role_ = Role::kTrack;
        keys_in_entry_ = 0;
        seen_location_ = false;
        return true;
      case Role::kTrack:
        // Only data may stand on the next line: pass 3 ends an entry at
        // its first "</dict>".
        data_only_ = true;
        return entry_key(key, {});
      case Role::kPlaylist:
        pending_role_ = key == "Playlist Items"sv ? Role::kItems : Role::kOther;
        return entry_key(key, {});
      default: return true;
    }
  }
  std::string_view value;
  if (rest != "<true/>"sv && rest != "<false/>"sv && !classic_scalar(rest, value)) return false;
  if (role == Role::kRoot) {
    // A section that is not a container reads as no section at all.
    return key != "Tracks"sv && key != "Playlists"sv;
  }
  if (role == Role::kTrack || role == Role::kPlaylist) return entry_key(key, value);
  return true;
}

bool ClassicLayoutCheck::entry_key(std::string_view key, std::string_view value) {
  const bool first = keys_in_entry_++ == 0;
  if (top() == Role::kTrack) {
    switch (track_key_rank(key)) {
      case TrackKeyRank::kTrackId: {
        if (!first) return false;
        uint32_t id = 0;
        for (char c : value) {
          if (c < '0' || c > '9') break;
          id = id * 10 + static_cast<uint32_t>(c - '0');
        }
        if (id < last_track_id_) return false;
        last_track_id_ = id;
        return true;
      }
      case TrackKeyRank::kLocation: seen_location_ = true; return true;
      case TrackKeyRank::kOther:
        if (first) return false;
        return !(seen_location_ && key == "Track Type"sv);
    }
    return false;
  }
  if (items_closed_) return false;
  const PlaylistKeyRank rank = playlist_key_rank(key);
  if (first != (rank == PlaylistKeyRank::kName)) return false;
  if (rank == PlaylistKeyRank::kAny) return true;
  if (static_cast<uint8_t>(rank) < max_rank_) return false;
  max_rank_ = static_cast<uint8_t>(rank);
  return true;
}

}  // namespace importer
