// Pass 1: the ids of the tracks in the library's distinguished "Audiobooks"
// playlist, so that pass 3 can mark those tracks as it maps them.
#include <stdlib.h>
#include <string.h>

#include "base/memory.h"
#include "importer/import_run.hpp"
#include "importer/line_scanner.hpp"
#include "importer/track_lists.hpp"
#include "importer/value_decoding.h"

namespace importer {
namespace {

// Reads lines until one holds `marker`; false when the file ends first or a
// line holding `stop` (when given) comes before it.
bool read_until(LineScanner& scanner, const char* marker, const char* stop) {
  while (!scanner.at_end()) {
    const char* line = scanner.next().text;
    if (strstr(line, marker) != nullptr) return true;
    if (stop != nullptr && strstr(line, stop) != nullptr) return false;
  }
  return false;
}

}  // namespace

void read_audiobook_ids(ImportRun& run) {
  LineScanner scanner(LinePass::kAudiobooks);
  if (!scanner.open(run.library_path)) return;
  if (!read_until(scanner, "<key>Audiobooks</key><true/>", nullptr)) return;
  // The playlist's items array; a playlist that ends first has none.
  if (!read_until(scanner, "<array>", "</dict>")) return;
  while (!scanner.at_end()) {
    char* line = scanner.next().text;
    if (strstr(line, "<key>Track ID</key>") != nullptr) {
      if (const char* value = extract_value_in_place(line, "integer")) {
        audiobook_list_add(run.audiobooks, static_cast<uint32_t>(strtol(value, nullptr, 10)));
      }
    }
    if (strstr(line, "</array>") != nullptr) break;
  }
}

}  // namespace importer
