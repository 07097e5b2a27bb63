// The final move. Nothing is written into the media server's directories
// until every output is complete in the work directory; then all outputs
// are installed or none:
//   1. the outputs are synced, then each is moved beside its target under
//      a fresh ".itunes-import-" name (renamed when the work directory is
//      on the same filesystem, else copied and synced), and a hard link
//      keeps the old target;
//   2. each is renamed over its target, then the directories are synced;
//      a failure renames the kept old files back.
// A target therefore always holds its old or its new complete content, and
// a run killed at any point leaves only ".itunes-import-" files, which the
// next run removes.
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "base/file.h"
#include "base/file_guard.h"
#include "base/file_system.h"
#include "base/memory.h"
#include "importer/bounded_format.hpp"
#include "importer/import_run.hpp"
#include "importer/install_names.hpp"

namespace importer {
namespace {

constexpr char kSeparator = '/';
constexpr size_t kCopyBufferSize = 64 * 1024;

// What one output needs beyond the run's directories: a library with
// 100,000 playlists has as many outputs, so each path is made when it is
// needed rather than kept.
struct Output {
  char* name;               // in the work directory; tracked
  const char* target_dir;   // the run's database or playlist directory
  const char* target_name;  // in it
  unsigned staged;  // install number of the complete copy beside the target; 0 when not there
  unsigned kept;    // install number of the link to the old target; 0 when there was none
  bool copied;      // staged by copying: the work directory is on another filesystem
  bool installed;
};

void source_path(const ImportRun& run, const Output& output, char (&path)[kPathBufferSize]) {
  format_cut(path, sizeof path, "%s%c%s", run.work_dir, kSeparator, output.name);
}
void target_path(const Output& output, char (&path)[kPathBufferSize]) {
  format_cut(path, sizeof path, "%s%c%s", output.target_dir, kSeparator, output.target_name);
}
void install_path(const Output& output, unsigned number, char (&path)[kPathBufferSize]) {
  install_name(output.target_dir, number, path, sizeof path);
}

class OutputList {
 public:
  ~OutputList() {
    for (Output& output : *this) upnp_free(output.name);
    upnp_free(outputs_);
  }
  // A zeroed entry, or null when out of memory.
  Output* add() {
    if (count_ == capacity_) {
      const size_t capacity = capacity_ == 0 ? 8 : capacity_ + capacity_ / 2;
      auto* grown = static_cast<Output*>(upnp_realloc(outputs_, capacity * sizeof(Output)));
      if (grown == nullptr) return nullptr;
      outputs_ = grown;
      capacity_ = capacity;
    }
    Output* output = &outputs_[count_++];
    memset(output, 0, sizeof *output);
    return output;
  }
  Output* begin() { return outputs_; }
  Output* end() { return outputs_ + count_; }

 private:
  Output* outputs_ = nullptr;
  size_t count_ = 0;
  size_t capacity_ = 0;
};

// Copies source into a new file at target (which must not exist), synced
// when asked.
bool copy_file(ImportRun& run, const char* source, const char* target, bool sync) {
  upnp_file* in = upnp_file_open_read(source);
  if (in == nullptr) {
    note_failure(run, errno, "read %s", source);
    return false;
  }
  FileCloser in_closer(in);
  upnp_file* out = upnp_file_create_new(target);
  if (out == nullptr) {
    note_failure(run, errno, "create %s", target);
    return false;
  }
  TrackedPtr<char> buffer(static_cast<char*>(upnp_malloc(kCopyBufferSize)));
  bool ok = buffer != nullptr;
  int error = ENOMEM;
  while (ok) {
    const int64_t got = upnp_file_read(in, buffer.get(), kCopyBufferSize);
    if (got == 0) break;
    ok = got > 0 && upnp_file_write_all(out, buffer.get(), static_cast<uint64_t>(got)) == 0;
    if (!ok) error = errno;
  }
  if (ok && sync && upnp_file_sync(out) != 0) {
    ok = false;
    error = errno;
  }
  if (upnp_file_close(out) != 0 && ok) {
    ok = false;
    error = errno;
  }
  if (!ok) {
    note_failure(run, error, "write %s", target);
    upnp_file_unlink(target);
  }
  return ok;
}

// Renames source onto target; across filesystems the content goes into a
// fresh file beside target first (synced unless the caller syncs later),
// which is then renamed. Either way target never stands empty or
// half-written. Source is gone afterwards. copied tells which way it went.
bool move_file(ImportRun& run, const char* source, const char* target, bool sync_copy, bool* copied) {
  *copied = false;
  if (upnp_file_rename(source, target) == 0) return true;
  if (errno != EXDEV) {
    note_failure(run, errno, "rename %s to %s", source, target);
    return false;
  }
  char copy[kPathBufferSize];
  install_name_beside(target, copy, sizeof copy);
  if (!copy_file(run, source, copy, sync_copy)) return false;
  *copied = true;
  if (upnp_file_rename(copy, target) != 0) {
    note_failure(run, errno, "rename %s to %s", copy, target);
    upnp_file_unlink(copy);
    return false;
  }
  upnp_file_unlink(source);
  return true;
}

// Step 1 for one output, synced already: beside its target, the old target
// kept under a second name.
bool stage(ImportRun& run, Output& output) {
  char source[kPathBufferSize];
  char target[kPathBufferSize];
  char staged[kPathBufferSize];
  source_path(run, output, source);
  target_path(output, target);
  const unsigned staged_number = next_install_number();
  install_path(output, staged_number, staged);
  if (!move_file(run, source, staged, false, &output.copied)) return false;
  output.staged = staged_number;
  struct stat info;
  if (lstat(target, &info) != 0) return true;
  char kept[kPathBufferSize];
  const unsigned kept_number = next_install_number();
  install_path(output, kept_number, kept);
  // A filesystem without hard links gets a copy.
  if (upnp_file_link(target, kept) != 0 && !copy_file(run, target, kept, false)) return false;
  output.kept = kept_number;
  return true;
}

// A pause before each rename over a target, in milliseconds, from the
// environment. A test seam only: it lets a test kill the run in the middle
// of the final step.
void pause_for_tests() {
  static const char* pause = getenv("ITUNES_IMPORT_TEST_INSTALL_PAUSE_MS");
  if (pause == nullptr) return;
  const long ms = atol(pause);
  struct timespec wait = {ms / 1000, (ms % 1000) * 1000000L};
  nanosleep(&wait, nullptr);
}

// Syncs the database and playlist directories' entries, or the whole
// filesystems that hold them.
bool sync_targets(ImportRun& run, int32_t (*sync_call)(const char*)) {
  const char* dirs[] = {run.database_dir, run.playlist_dir};
  for (const char* dir : dirs) {
    if (sync_call(dir) != 0) {
      note_failure(run, errno, "sync %s", dir);
      return false;
    }
  }
  return true;
}

bool sync_filesystems(ImportRun& run) { return sync_targets(run, upnp_file_sync_fs); }
bool sync_directories(ImportRun& run) { return sync_targets(run, upnp_file_sync_dir); }

// Puts every installed target back as it was before the run.
void roll_back(OutputList& outputs) {
  for (Output& output : outputs) {
    if (!output.installed) continue;
    char target[kPathBufferSize];
    target_path(output, target);
    if (output.kept != 0) {
      char kept[kPathBufferSize];
      install_path(output, output.kept, kept);
      if (upnp_file_rename(kept, target) == 0) output.kept = 0;
    } else {
      upnp_file_unlink(target);
    }
  }
}

bool install(ImportRun& run, OutputList& outputs) {
  // Every output is on the work directory's filesystem: one sync of it
  // costs one journal commit where a sync per file costs one each.
  if (upnp_file_sync_fs(run.work_dir) != 0) {
    note_failure(run, errno, "sync the outputs in %s", run.work_dir);
    return false;
  }
  bool any_copied = false;
  for (Output& output : outputs) {
    if (!stage(run, output)) return false;
    any_copied = any_copied || output.copied;
  }
  // Copies went to the targets' filesystems: one sync each there too.
  if (any_copied && !sync_filesystems(run)) return false;
  for (Output& output : outputs) {
    pause_for_tests();
    char staged[kPathBufferSize];
    char target[kPathBufferSize];
    install_path(output, output.staged, staged);
    target_path(output, target);
    bool copied;
    if (!move_file(run, staged, target, true, &copied)) {
      roll_back(outputs);
      return false;
    }
    output.staged = 0;
    output.installed = true;
  }
  if (!sync_directories(run)) {
    roll_back(outputs);
    return false;
  }
  return true;
}

// The output `name` of the work directory, to be installed as target_name
// (the same name when null) in target_dir.
bool add_output(ImportRun& run, OutputList& outputs, const char* name, const char* target_dir,
                const char* target_name) {
  char* copy = upnp_strdup(name);
  Output* output = copy != nullptr ? outputs.add() : nullptr;
  if (output == nullptr) {
    upnp_free(copy);
    note_failure(run, ENOMEM, "list the outputs");
    return false;
  }
  *output = Output{copy, target_dir, target_name != nullptr ? target_name : copy, 0, 0, false, false};
  return true;
}

// The work directory's entries whose names contain marker anywhere ("a.wpl.bak"
// counts too: matching by containment is the rule).
bool add_entries_containing(ImportRun& run, OutputList& outputs, const char* marker) {
  upnp_file_find* find = upnp_file_find_first_file(run.work_dir);
  for (; find != nullptr; find = upnp_file_find_next_file(find)) {
    if (find->name == nullptr || strstr(find->name, marker) == nullptr) continue;
    if (!add_output(run, outputs, find->name, run.playlist_dir, nullptr)) {
      upnp_file_find_close(find);
      return false;
    }
  }
  return true;
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

unsigned next_install_number() {
  static unsigned g_count = 0;
  return ++g_count;
}

void install_name(std::string_view dir, unsigned number, char* name, size_t size) {
  // One time for the whole run, so that a name can be made again from its
  // number.
  static const long long g_started = static_cast<long long>(time(nullptr));
  format_cut(name, size, "%.*s%c%s%ld-%lld-%u", static_cast<int>(dir.size()), dir.data(), kSeparator, kInstallPrefix,
             static_cast<long>(getpid()), g_started, number);
}

void install_name_beside(const char* target, char* name, size_t size) {
  const char* slash = strrchr(target, kSeparator);
  const std::string_view dir = slash != nullptr ? std::string_view(target, static_cast<size_t>(slash - target)) : ".";
  install_name(dir, next_install_number(), name, size);
}

void move_outputs_into_place(ImportRun& run) {
  OutputList outputs;
  const bool listed = add_output(run, outputs, "itunes.import.temp.items", run.database_dir, "itunes.import.items") &&
                      add_entries_containing(run, outputs, ".wpl") && add_entries_containing(run, outputs, ".log");
  const bool installed = listed && install(run, outputs);
  // The new files not installed and the kept old ones go; a kept file that
  // could not be put back stays, under its ".itunes-import-" name.
  for (Output& output : outputs) {
    char path[kPathBufferSize];
    if (output.staged != 0) {
      install_path(output, output.staged, path);
      upnp_file_unlink(path);
    }
    if (output.kept != 0 && (installed || !output.installed)) {
      install_path(output, output.kept, path);
      upnp_file_unlink(path);
    }
  }
  discard_outputs(run);
  if (installed) remove_stale_library_temporaries(run);
}

void discard_outputs(const ImportRun& run) {
  if (run.work_dir[0] == '\0' || upnp_file_is_symlink(run.work_dir)) return;
  (void)upnp_file_clear_dir(run.work_dir);
  upnp_file_rmdir(run.work_dir);
}

}  // namespace importer
