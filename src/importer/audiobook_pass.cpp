// Pass 1: the ids of the tracks in the library's distinguished "Audiobooks"
// playlist, so that pass 3 can mark those tracks as it maps them. The pass
// reads the whole file and meanwhile checks its layout, so that a library
// the passes would misread is known before anything is written.
#include "base/memory.h"
#include "importer/import_run.hpp"
#include "importer/line_scanner.hpp"
#include "importer/pass_markers.hpp"
#include "importer/plist_layout.hpp"
#include "importer/track_lists.hpp"
#include "importer/value_reading.hpp"

namespace importer {

bool read_audiobook_ids(ImportRun& run) {
  LineScanner scanner(LinePass::kAudiobooks);
  if (!scanner.open(run.scan_path)) return false;
  run.checked = scanner.identity();
  run.playlists_line = -1;
  ClassicLayoutCheck layout;
  // The marker line, then the playlist's items array (a playlist that ends
  // first has none), then its Track ID lines up to "</array>".
  enum class Step { kMarker, kArray, kIds, kDone } step = Step::kMarker;
  while (!scanner.at_end()) {
    // The layout is checked on whole lines, so that a long value does not
    // send a classic library to the rewrite. Audiobook ids are read from
    // what one read holds, as always: a classic line longer than that ends
    // its value beyond it.
    const int64_t line_start = scanner.position();
    LineChunk chunk = scanner.next();
    const bool in_one_read = chunk.length < LineScanner::kLineBufferSize - 1 || chunk.text[chunk.length - 1] == '\n';
    chunk = scanner.whole_line(chunk);
    const ClassicLine split = split_classic_line(chunk.text, chunk.length);
    layout.feed(chunk.text, chunk.length, split);
    if (step == Step::kDone && run.playlists_line >= 0) continue;  // the layout check reads on
    char* const line = chunk.text;
    const uint32_t found = kAudiobookMarkers.find_all(split);
    if (run.playlists_line < 0 && holds(found, AudiobookMarker::kPlaylists)) run.playlists_line = line_start;
    switch (step) {
      case Step::kMarker:
        if (holds(found, AudiobookMarker::kAudiobooks)) step = Step::kArray;
        break;
      case Step::kArray:
        if (holds(found, AudiobookMarker::kArray)) {
          step = Step::kIds;
        } else if (holds(found, AudiobookMarker::kDictEnd)) {
          step = Step::kDone;
        }
        break;
      case Step::kIds:
        if (holds(found, AudiobookMarker::kTrackId)) {
          // A classic line holds one key, so a Track ID line is not the
          // end of the array as well.
          uint32_t id = 0;
          if (in_one_read && read_integer(line, id)) audiobook_list_add(run.audiobooks, id);
        }
        if (holds(found, AudiobookMarker::kArrayEnd)) step = Step::kDone;
        break;
      case Step::kDone: break;
    }
  }
  return layout.classic_and_complete();
}

}  // namespace importer
