// Pass 3's walk over the track entries: every "<key>Track ID</key>" line
// opens an entry, whose key lines are mapped up to its "</dict>"; the
// "<key>Playlists</key>" line hands the file on to the playlist half.
#include "importer/import_run.hpp"
#include "importer/items_writer.hpp"
#include "importer/classic_line.hpp"
#include "importer/line_scanner.hpp"
#include "importer/pass_markers.hpp"
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
    track.line_offset = scanner.position();
    const LineChunk chunk = scanner.next();
    const ClassicLine line = split_classic_line(chunk.text, chunk.length);
    const TrackLine match = match_track_line(line);
    if (match.ends_entry) return;
    // The value is read from behind the key: a classic key holds no "<".
    if (match.key != TrackKey::kNone) map_track_key(track, match.key, value_text(chunk.text, line), run.audiobooks);
  }
}

}  // namespace

void read_tracks_and_playlists(ImportRun& run) {
  LineScanner scanner(LinePass::kFoldersAndTracks);
  if (!open_checked_library(run, scanner)) return;
  ItemsWriter items(run.items_file);
  TrackState track;
  track.record = nullptr;
  struct RecordGuard {
    TrackState& track;
    ~RecordGuard() { db_object_free(track.record); }
  } guard{track};
  while (!scanner.at_end() && !run_failed(run)) {
    const LineChunk chunk = scanner.next();
    const ClassicLine line = split_classic_line(chunk.text, chunk.length);
    const auto marker = static_cast<TrackPassMarker>(kTrackPassMarkers.first(kTrackPassMarkers.find_all(line)));
    if (marker == TrackPassMarker::kTrackId) {
      begin_track(track, extract_integer(value_text(chunk.text, line)));
      read_track(run, scanner, track);
      end_track(track, items, run.tracks);
    } else if (marker == TrackPassMarker::kPlaylists) {
      run.track_counts = track.counts;
      write_playlists(run, scanner);
      break;
    }
  }
  run.track_counts = track.counts;
  items.flush();
  if (items.error() != 0) note_failure(run, items.error(), "write %s", run.temp_items_path);
}

void free_import_lists(ImportRun& run) {
  track_list_free(run.tracks);
  folder_list_free(run.folders);
  audiobook_list_free(run.audiobooks);
}

}  // namespace importer
