// The start of a run, before anything is written: directories checked, one
// import at a time, and a work directory that holds nothing of an earlier,
// interrupted run (its leftovers are removed, never installed).
#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/file_guard.h"
#include "base/file_system.h"
#include "importer/bounded_format.hpp"
#include "importer/import_run.hpp"
#include "importer/install_names.hpp"

namespace importer {
namespace {

constexpr char kSeparator = '/';

// A directory the run will write into: it must be there and writable now,
// not found out about halfway through the run.
bool check_directory(ImportRun& run, const char* path) {
  struct stat info;
  if (stat(path, &info) != 0) {
    note_failure(run, errno, "use directory %s", path);
    return false;
  }
  if (!S_ISDIR(info.st_mode)) {
    note_failure(run, ENOTDIR, "use directory %s", path);
    return false;
  }
  if (access(path, W_OK | X_OK) != 0) {
    note_failure(run, errno, "write into directory %s", path);
    return false;
  }
  return true;
}

bool take_lock(ImportRun& run) {
  char path[kPathBufferSize];
  format_cut(path, sizeof path, "%s%citunes-import.lock", run.database_dir, kSeparator);
  run.lock_fd = upnp_file_lock_exclusive(path);
  if (run.lock_fd >= 0) return true;
  if (errno == EWOULDBLOCK) {
    note_failure(run, errno, "lock %s: another import is running on %s", path, run.database_dir);
  } else {
    note_failure(run, errno, "lock %s", path);
  }
  return false;
}

// A link in the work directory's place is refused: following it would put
// the run's files, and their removal, wherever it points.
bool make_empty_work_dir(ImportRun& run) {
  format_cut(run.work_dir, kPathBufferSize, "%s%citunes-import-temp", run.database_dir, kSeparator);
  if (upnp_file_is_symlink(run.work_dir)) {
    note_failure(run, ELOOP, "use work directory %s", run.work_dir);
    return false;
  }
  struct stat info;
  if (lstat(run.work_dir, &info) == 0) {
    const bool cleared =
        S_ISDIR(info.st_mode) ? upnp_file_clear_dir(run.work_dir) == 0 : upnp_file_unlink(run.work_dir) == 0;
    if (!cleared) {
      note_failure(run, errno, "clear work directory %s", run.work_dir);
      return false;
    }
  }
  if (upnp_file_mkdir(run.work_dir) != 0 || upnp_file_is_symlink(run.work_dir)) {
    note_failure(run, errno, "create work directory %s", run.work_dir);
    return false;
  }
  return true;
}

}  // namespace

void note_failure(ImportRun& run, int error, const char* what_format, ...) {
  if (run_failed(run)) return;
  char what[kPathBufferSize];
  va_list args;
  va_start(args, what_format);
  vsnprintf(what, sizeof what, what_format, args);
  va_end(args);
  if (error == 0) {
    format_cut(run.failure, kPathBufferSize, "iTunes-import: can not %s", what);
  } else {
    format_cut(run.failure, kPathBufferSize, "iTunes-import: can not %s: %s", what, strerror(error));
  }
}

bool start_cleanly(ImportRun& run) {
  if (!check_directory(run, run.database_dir) || !check_directory(run, run.playlist_dir)) return false;
  if (!take_lock(run)) return false;
  // Files a killed run left beside its targets; under the lock nobody else
  // can be making them.
  (void)upnp_file_remove_prefixed(run.database_dir, kInstallPrefix);
  (void)upnp_file_remove_prefixed(run.playlist_dir, kInstallPrefix);
  return make_empty_work_dir(run);
}

bool open_checked_library(ImportRun& run, LineScanner& scanner) {
  // Pass 1 has just read this file: a pass that cannot read it now would
  // import part of the library, so the run ends instead.
  errno = 0;
  if (!scanner.open(run.scan_path)) {
    note_failure(run, errno != 0 ? errno : ENOMEM, "read %s", run.scan_path);
    return false;
  }
  if (scanner.identity() == run.checked) return true;
  scanner.close();
  note_failure(run, 0, "read %s: it changed while it was being imported", run.library_path);
  return false;
}

}  // namespace importer
