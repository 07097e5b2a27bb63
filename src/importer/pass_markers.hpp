// The line markers of the passes, each table in the order its pass tests
// them: where a line holds several, the pass acts on the first in this order,
// wherever it stands in the line. The track keys of pass 3 are in
// track_keys.hpp.
#pragma once

#include "importer/line_markers.hpp"

namespace importer {

// Pass 1: the Audiobooks playlist's marker, then its items array and the
// Track ID lines in it; and where the folder pass is to start.
enum class AudiobookMarker : uint8_t { kAudiobooks, kArray, kDictEnd, kTrackId, kArrayEnd, kPlaylists };
inline constexpr MarkerSet<6> kAudiobookMarkers({
    "<key>Audiobooks</key><true/>",
    "<array>",
    "</dict>",
    "<key>Track ID</key>",
    "</array>",
    "<key>Playlists</key>",
});

// Pass 3 between track entries.
enum class TrackPassMarker : uint8_t { kTrackId, kPlaylists };
inline constexpr MarkerSet<2> kTrackPassMarkers({"<key>Track ID</key>", "<key>Playlists</key>"});

// Pass 2: the "Playlists" line opens the playlists; then, first match wins.
enum class FolderMarker : uint8_t {
  kPlaylists,
  kVisibleFalse,
  kSmartInfo,
  kPodcasts,
  kName,
  kPlaylistId,
  kPersistentId,
  kParentId,
  kFolder,
  kItems,
};
inline constexpr MarkerSet<10> kFolderMarkers({
    "<key>Playlists</key>",
    "<key>Visible</key><false/>",
    "<key>Smart Info</key>",
    "<key>Podcasts</key><true/>",
    "<key>Name</key>",
    "<key>Playlist ID</key>",
    "<key>Playlist Persistent ID</key>",
    "<key>Parent Persistent ID</key>",
    "<key>Folder</key><true/>",
    "<key>Playlist Items</key>",
});

// The playlist half of pass 3: the first five, first match wins; "Track ID"
// is tested on every line that is not skipped.
enum class PlaylistMarker : uint8_t { kName, kPersistentId, kVideos, kDistinguishedKind, kSmartInfo, kTrackId };
inline constexpr MarkerSet<6> kPlaylistMarkers({
    "<key>Name</key>",
    "<key>Playlist Persistent ID</key>",
    "<key>Videos</key><true/>",
    "<key>Distinguished Kind</key>",
    "<key>Smart Info</key>",
    "<key>Track ID</key>",
});

static_assert(kAudiobookMarkers.well_formed() && kTrackPassMarkers.well_formed() && kFolderMarkers.well_formed() && kPlaylistMarkers.well_formed(),
              "every marker begins with \"<\" and fits its bucket");

// Whether marker `m` is in the set `found` of MarkerSet::find_all.
template <class Marker>
constexpr bool holds(uint32_t found, Marker m) {
  return (found >> static_cast<unsigned>(m) & 1u) != 0;
}

}  // namespace importer
