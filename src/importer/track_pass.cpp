// Pass 3's walk over the track entries: every "<key>Track ID</key>" line
// opens an entry, whose key lines are mapped up to its "</dict>"; the
// "<key>Playlists</key>" line hands the file on to the playlist half.
#include <string.h>

#include "importer/import_run.hpp"
#include "importer/items_writer.hpp"
#include "importer/line_scanner.hpp"
#include "importer/playlist_naming.hpp"
#include "importer/track_keys.hpp"
#include "importer/track_mapping.hpp"
#include "importer/value_decoding.h"

namespace importer {
namespace {

// Maps the entry's lines up to its "</dict>" (or the end of the file).
// Entries hold no nested dictionaries, so the first "</dict>" is the end.
void read_track(ImportRun& run, LineScanner& scanner, TrackState& track) {
  while (!scanner.at_end()) {
    char* line = scanner.next().text;
    if (strstr(line, "</dict>") != nullptr) return;
    const TrackKey key = match_track_key(line);
    if (key != TrackKey::kNone) map_track_key(track, key, line, run.audiobooks);
  }
}

}  // namespace

void read_tracks_and_playlists(ImportRun& run) {
  LineScanner scanner(LinePass::kFoldersAndTracks);
  if (!scanner.open(run.scan_path)) return;
  ItemsWriter items(run.items_file);
  TrackState track;
  while (!scanner.at_end()) {
    char* line = scanner.next().text;
    if (strstr(line, "<key>Track ID</key>") != nullptr) {
      begin_track(track, extract_integer(line));
      read_track(run, scanner, track);
      end_track(track, items, run.tracks);
    } else if (strstr(line, "<key>Playlists</key>") != nullptr) {
      run.track_counts = track.counts;
      write_playlists(run, scanner);
      return;
    }
  }
  run.track_counts = track.counts;
}

void free_import_lists(ImportRun& run) {
  track_list_free(run.tracks);
  folder_list_free(run.folders);
  audiobook_list_free(run.audiobooks);
}

}  // namespace importer
