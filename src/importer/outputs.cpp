// The final move: nothing is written into the media server's directories
// until the run is over; then each output is moved in by unlink-then-rename,
// so the server never reads a half-written file.
#include <stdio.h>
#include <string.h>

#include "base/file.h"
#include "base/file_system.h"
#include "importer/bounded_format.hpp"
#include "importer/import_run.hpp"

namespace importer {
namespace {

constexpr char kSeparator = '/';

// Moves every entry of the work directory whose name contains `marker`
// anywhere ("a.wpl.bak" moves too: matching by containment is the rule).
void move_entries_containing(const ImportRun& run, const char* marker) {
  upnp_file_find* find = upnp_file_find_first_file(run.work_dir);
  for (; find != nullptr; find = upnp_file_find_next_file(find)) {
    if (find->name == nullptr || strstr(find->name, marker) == nullptr) continue;
    char source[kPathBufferSize];
    char target[kPathBufferSize];
    format_cut(source, sizeof source, "%s", find->path ? find->path : "");
    format_cut(target, sizeof target, "%s%c%s", run.playlist_dir, kSeparator, find->name);
    upnp_file_unlink(target);
    upnp_file_rename(source, target);
  }
}

// Stale "iT*.tmp" files that iTunes leaves beside its library.
void remove_stale_library_temporaries(const ImportRun& run) {
  char directory[kPathBufferSize];
  format_cut(directory, sizeof directory, "%s", run.library_path);
  if (char* last = strrchr(directory, kSeparator)) last[1] = '\0';
  upnp_file_find* find = upnp_file_find_first_file(directory);
  for (; find != nullptr; find = upnp_file_find_next_file(find)) {
    const char* name = find->name;
    if (name != nullptr && name[0] == 'i' && name[1] == 'T' && strstr(name, ".tmp") != nullptr) {
      upnp_file_unlink(find->path);
    }
  }
}

}  // namespace

void move_outputs_into_place(const ImportRun& run) {
  char temp_items[kPathBufferSize];
  char items[kPathBufferSize];
  format_cut(temp_items, sizeof temp_items, "%s%citunes.import.temp.items", run.work_dir, kSeparator);
  format_cut(items, sizeof items, "%s%citunes.import.items", run.database_dir, kSeparator);
  upnp_file_unlink(items);
  upnp_file_rename(temp_items, items);

  move_entries_containing(run, ".wpl");
  move_entries_containing(run, ".log");
  upnp_file_rmdir(run.work_dir);
  remove_stale_library_temporaries(run);
}

}  // namespace importer
