// The state of one import run and the steps that make it up. The run is
// strictly sequential on the main thread: options, derived paths, library
// check, work directory, three passes over the library, the final move.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "importer/line_scanner.hpp"
#include "importer/track_lists.hpp"
#include "importer/track_mapping.hpp"

struct upnp_file;

namespace importer {

// Paths and composed texts live in fixed buffers filled by bounded
// formatting; a longer result is cut at 1023 characters.
constexpr size_t kPathBufferSize = 1024;

struct FolderList;

struct ImportRun {
  char library_path[kPathBufferSize];
  // The file the passes read: the library itself, or its rewrite into the
  // classic layout in the work directory.
  char scan_path[kPathBufferSize];
  bool rewritten;  // scan_path is the rewrite
  // The file pass 1 found in the classic layout. The other passes recognise
  // lines by their heads, which only that layout allows: they read this
  // very file or nothing.
  FileIdentity checked;
  // Offset in it of the first line holding "<key>Playlists</key>", -1 for
  // none: the folder pass looks at nothing before it.
  int64_t playlists_line;
  char database_dir[kPathBufferSize];
  char playlist_dir[kPathBufferSize];
  char work_dir[kPathBufferSize];
  char temp_items_path[kPathBufferSize];
  upnp_file* items_file;  // the temporary items file, open during the passes
  int32_t lock_fd;        // holds the database directory's import lock; -1 for none
  // The first output failure, as the line that reports it; empty while the
  // run goes well. Once set, nothing more is written and nothing installed.
  char failure[kPathBufferSize];

  AudiobookList audiobooks;  // pass 1: ids of the tracks of the "Audiobooks" playlist
  FolderList* folders;       // pass 2: playlist folders, newest first
  TrackList tracks;          // pass 3: every track that was not protected
  TrackCounts track_counts;  // pass 3, for the summary
  uint32_t playlists_written;
};

// Keeps the first failure of the run as "iTunes-import: can not <what>:
// <error text>" (without the error text for error 0); later ones add nothing.
void note_failure(ImportRun& run, int error, const char* what_format, ...) __attribute__((format(printf, 3, 4)));
inline bool run_failed(const ImportRun& run) { return run.failure[0] != '\0'; }

// Before anything is touched: both directories exist and can be written,
// the lock is taken, leftovers of an interrupted run are gone and the work
// directory is new and empty. False with the failure noted otherwise.
bool start_cleanly(ImportRun& run);

// Pass 1: the track ids of the "Audiobooks" playlist. True when the file is
// in the classic layout and complete (plist_layout.hpp).
bool read_audiobook_ids(ImportRun& run);
// Opens the scanner on the file pass 1 checked. False, with the failure
// noted, when it can not be read now or is no longer that file.
bool open_checked_library(ImportRun& run, LineScanner& scanner);
// Pass 2: playlist folders and names.
void read_playlist_folders(ImportRun& run);
// Pass 3: every track into the items file; at the "<key>Playlists</key>"
// line it hands its scanner to the playlist half.
void read_tracks_and_playlists(ImportRun& run);
// The playlist half of pass 3: reads on from the scanner to the end of the
// file, writing the WPL files and the playlist list into the work directory.
void write_playlists(ImportRun& run, LineScanner& scanner);
// Frees the three in-memory lists of the passes.
void free_import_lists(ImportRun& run);
// Installs the items file, the WPL files and the playlist list, all or
// none: each is first placed beside its target, complete and synced, then
// renamed over it. On a failure the targets are put back as they were.
// Removes the work directory and stale temporary files beside the library.
void move_outputs_into_place(ImportRun& run);
// After a failure: removes the run's own partial files, touching nothing
// else.
void discard_outputs(const ImportRun& run);

}  // namespace importer
