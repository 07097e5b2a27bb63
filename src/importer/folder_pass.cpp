// Pass 2: the playlists and folders of the library with their persistent
// identifiers and parents, from which pass 3 builds each playlist's full
// name "Folder/Subfolder/Playlist".
//
// A playlist entry's keys arrive one per line; the texts of the entry being
// read are kept pending until its "Folder" or "Playlist Items" line says
// what it is. Hidden, smart and podcast playlists drop what is pending: they
// never name a folder.
//
// A Name line is read whole, however long the name: a folder's or
// playlist's name is part of every full name below it. One longer than the
// line scanner's block stays in pieces and names nothing, as any cut line.
#include <string.h>

#include "base/memory.h"
#include "importer/import_run.hpp"
#include "importer/line_scanner.hpp"
#include "importer/pass_markers.hpp"
#include "importer/playlist_naming.hpp"
#include "importer/value_decoding.h"

namespace importer {
namespace {

static_assert(kFullNameMaxLength >= LineScanner::kDefaultBlockSize, "one name read whole fits a full name");

// The texts of the playlist entry being read; each owned or null.
struct PendingEntry {
  TrackedPtr<char> name;
  TrackedPtr<char> persistent_id;
  TrackedPtr<char> parent_id;

  void drop() {
    name.reset();
    persistent_id.reset();
    parent_id.reset();
  }
  // The node takes copies of the texts.
  void push(FolderList*& folders, uint32_t playlist_id) const {
    folder_list_push(folders, persistent_id.get(), parent_id.get(), name.get(), playlist_id);
  }
};

}  // namespace

void read_playlist_folders(ImportRun& run) {
  LineScanner scanner(LinePass::kFoldersAndTracks);
  if (!open_checked_library(run, scanner)) return;

  bool in_playlists = false;
  PendingEntry pending;
  uint32_t playlist_id = 0;  // outlives the texts: it is not reset by a drop
  while (!scanner.at_end()) {
    // Pass 1 found where the playlists start in this very file: the lines
    // before hold no marker of this pass and are read without a look.
    const int64_t line_start = scanner.position();
    const LineChunk chunk = scanner.next();
    if (run.playlists_line < 0 || line_start < run.playlists_line) continue;
    char* const line = chunk.text;
    const uint32_t found = kFolderMarkers.find_all(split_classic_line(chunk.text, chunk.length));
    if (holds(found, FolderMarker::kPlaylists)) {
      in_playlists = true;
      continue;
    }
    if (!in_playlists) continue;
    switch (static_cast<FolderMarker>(kFolderMarkers.first(found))) {
      case FolderMarker::kVisibleFalse:
      case FolderMarker::kSmartInfo:
      case FolderMarker::kPodcasts: pending.drop(); break;
      case FolderMarker::kName:
        pending.name.reset(extract_value(scanner.whole_line(chunk).text, "string"));
        break;
      case FolderMarker::kPlaylistId: playlist_id = extract_integer(line); break;
      case FolderMarker::kPersistentId: pending.persistent_id.reset(extract_value(line, "string")); break;
      case FolderMarker::kParentId: pending.parent_id.reset(extract_value(line, "string")); break;
      case FolderMarker::kFolder:
        if (pending.name || pending.persistent_id || pending.parent_id) {
          pending.push(run.folders, playlist_id);
        }
        pending.drop();
        break;
      case FolderMarker::kItems:
        // A playlist names nothing unless it can be found by identifier.
        if (pending.name && (pending.persistent_id || pending.parent_id)) {
          pending.push(run.folders, playlist_id);
        }
        pending.drop();
        break;
      default: break;  // no marker (kPlaylists is handled above)
    }
  }
}

}  // namespace importer
