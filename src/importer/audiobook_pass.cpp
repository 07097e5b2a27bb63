// Pass 1: the ids of the tracks in the library's distinguished "Audiobooks"
// playlist, so that pass 3 can mark those tracks as it maps them. The pass
// reads the whole file and meanwhile checks its layout, so that a library
// the passes would misread is known before anything is written.
#include <stdlib.h>

#include "base/memory.h"
#include "importer/import_run.hpp"
#include "importer/line_scanner.hpp"
#include "importer/pass_markers.hpp"
#include "importer/plist_layout.hpp"
#include "importer/track_lists.hpp"
#include "importer/value_decoding.h"

namespace importer {

bool read_audiobook_ids(ImportRun& run) {
  LineScanner scanner(LinePass::kAudiobooks);
  if (!scanner.open(run.scan_path)) return false;
  ClassicLayoutCheck layout;
  // The marker line, then the playlist's items array (a playlist that ends
  // first has none), then its Track ID lines up to "</array>".
  enum class Step { kMarker, kArray, kIds, kDone } step = Step::kMarker;
  while (!scanner.at_end()) {
    const LineChunk chunk = scanner.next();
    layout.feed(chunk.text, chunk.length);
    if (step == Step::kDone) continue;  // the layout check reads on
    char* const line = chunk.text;
    uint32_t found = kAudiobookMarkers.find_all(line);
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
          if (const char* value = extract_value_in_place(line, "integer")) {
            audiobook_list_add(run.audiobooks, static_cast<uint32_t>(strtol(value, nullptr, 10)));
            // Reading the value cut the line at its closing tag: the end of
            // the array is looked for in what is left, as it always was.
            found = kAudiobookMarkers.find_all(line);
          }
        }
        if (holds(found, AudiobookMarker::kArrayEnd)) step = Step::kDone;
        break;
      case Step::kDone: break;
    }
  }
  return layout.classic_and_complete();
}

}  // namespace importer
