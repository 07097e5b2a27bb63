#include "importer/itunes_main.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <sys/stat.h>

#include <string_view>

#include "base/file.h"
#include "base/file_guard.h"
#include "base/file_system.h"
#include "base/log.h"
#include "base/status.h"
#include "importer/track_lists.hpp"
#include "importer/bounded_format.hpp"
#include "importer/import_run.hpp"
#include "importer/plist_rewrite.hpp"

namespace importer {
namespace {

constexpr const char* kFunction = "itunes_main";
constexpr char kSeparator = '/';

// Option values point into the argument vector; nothing is copied.
struct Options {
  const char* database_dir = nullptr;
  const char* playlist_dir = nullptr;
  const char* base = nullptr;
  const char* library = nullptr;
  bool summary = false;
};

// The run's buffers are process-wide, as the server's callers expect of a
// one-shot importer.
ImportRun g_run;

[[noreturn]] void exit_with_error() { exit(-1); }

bool acceptable_value(const char* value) { return value != nullptr && value[0] != '-'; }

void append_init_line(const char* target) {
  char line[kPathBufferSize] = {0};
  if (upnp_file* file = upnp_file_open_append(target)) {
    // The stored library location is emptied: the line is "ituneslib=" alone.
    format_cut(line, sizeof line, "ituneslib=%s%s", "", "\n");
    (void)upnp_file_write(file, line, 11);
    upnp_file_close(file);
  }
  upnp_log(UPNP_LOG_INFO, LOG_PLUGIN, "locateItunesLib", 0, "iTunes-import: setting lib to (%s)", line);
}

enum class LoopEnd { kRun, kReturnZero };

// Every argument from argv[1] on is examined as an option word in turn,
// values included: the index advances by one, so a value that equals an
// option word is taken as that option too. The media server relies on this
// exact form.
LoopEnd parse_arguments(int argc, char** argv, Options& options) {
  for (int i = 2;; ++i) {
    const std::string_view word = argv[i - 1] ? argv[i - 1] : "";
    const char* value = i < argc ? argv[i] : nullptr;
    const bool take = acceptable_value(value);
    if (word == "-dbdir" && take) options.database_dir = value;
    if (word == "-playlist-dir" && take) options.playlist_dir = value;
    if (word == "-base" && take) options.base = value;
    if (word == "-itunes-lib" && take) options.library = value;
    if (word == "-logfile" && take) {
      upnp_log_open(value);
      upnp_log_set_mask(LOG_PLUGIN);
      upnp_log_set_level(UPNP_LOG_ERROR);
    }
    if (word == "-summary") options.summary = true;
    if (word == "-check") {
      upnp_log_close();
      return LoopEnd::kReturnZero;
    }
    if (word == "-init" && take) {
      append_init_line(value);
      upnp_log_close();
      return LoopEnd::kReturnZero;
    }
    if (i >= argc) return LoopEnd::kRun;
  }
}

void derive_paths(const Options& options, ImportRun& run) {
  if (options.library != nullptr) {
    if (options.base != nullptr && options.base[0] != '\0') {
      format_cut(run.library_path, kPathBufferSize, "%s%c%s", options.base, kSeparator, options.library);
      if (!upnp_file_exists(run.library_path) && upnp_file_exists(options.library)) {
        format_cut(run.library_path, kPathBufferSize, "%s", options.library);
      }
    } else {
      format_cut(run.library_path, kPathBufferSize, "%s", options.library);
    }
  }
  format_cut(run.database_dir, kPathBufferSize, "%s", options.database_dir);
  if (options.playlist_dir[0] != '\0') {
    format_cut(run.playlist_dir, kPathBufferSize, "%s", options.playlist_dir);
  } else {
    format_cut(run.playlist_dir, kPathBufferSize, "%s", run.database_dir);
  }
}

// A library that is not a complete property list is not imported: the
// earlier outputs stay as they are, and the media server's user learns why.
constexpr const char kNotComplete[] = "is not a complete iTunes library";
constexpr const char kNotImported[] = "can not be imported";

// Ends the run like every failure after the start: its own files go, the
// lock is let go, and the status is -1.
int32_t refuse_library(ImportRun& run, const char* verdict, const char* problem) {
  discard_outputs(run);
  upnp_file_unlock(run.lock_fd);
  run.lock_fd = -1;
  upnp_log(UPNP_LOG_ERROR, LOG_PLUGIN, kFunction, 0, "iTunes-import: %s %s: %s", run.library_path, verdict, problem);
  upnp_log_close();
  fprintf(stderr, "itunes-import: %s %s: %s\n", run.library_path, verdict, problem);
  return -1;
}

// Pass 1 reads the library itself; a library that is not in the classic
// layout, or not complete in it, is rewritten by the XML reader into the
// work directory (which checks it whole), and every pass reads the copy.
// False when the library was refused (the run is then over).
bool check_layout(ImportRun& run) {
  format_cut(run.scan_path, kPathBufferSize, "%s", run.library_path);
  if (read_audiobook_ids(run)) return true;
  audiobook_list_free(run.audiobooks);
  char scratch[kPathBufferSize];
  format_cut(scratch, sizeof scratch, "%s%citunes.library.scratch", run.work_dir, kSeparator);
  format_cut(run.scan_path, kPathBufferSize, "%s%citunes.library.classic", run.work_dir, kSeparator);
  char problem[kRewriteProblemSize];
  const int32_t status = rewrite_to_classic(run.library_path, scratch, run.scan_path, problem);
  if (status != UPNP_OK) {
    // Out of memory says nothing about the library, but the passes would
    // misread it as it is and import part of it: it is refused like a
    // library that cannot be read.
    refuse_library(run, status == UPNP_INVALID ? kNotComplete : kNotImported, problem);
    return false;
  }
  run.rewritten = true;
  // The rewrite holds one key or one tag a line with every "<" of its
  // values escaped, as the passes need, even where the entries it was
  // given could not be put in the classic order (a playlist without a
  // name): pass 1 reads it for the audiobooks and names it the file the
  // other passes read.
  run.checked = FileIdentity{};
  (void)read_audiobook_ids(run);
  if (run.checked == FileIdentity{}) {
    refuse_library(run, kNotImported, "its rewrite can not be read");
    return false;
  }
  return true;
}

// The report of -summary, on standard output.
void print_summary(const ImportRun& run) {
  const TrackCounts& counts = run.track_counts;
  printf(
      "tracks in the library: %u\n"
      "tracks written: %u\n"
      "left out, protected: %u\n"
      "left out, no location: %u\n"
      "left out, URL: %u\n"
      "left out, missing file: %u\n"
      "left out, book: %u\n"
      "playlists written: %u\n"
      "rewritten into the classic layout: %s\n",
      counts.seen, counts.written, counts.is_protected, counts.no_location, counts.url, counts.missing_file,
      counts.book, run.playlists_written, run.rewritten ? "yes" : "no");
  fflush(stdout);
}

bool open_temp_items_file(ImportRun& run) {
  format_cut(run.temp_items_path, kPathBufferSize, "%s%citunes.import.temp.items", run.work_dir, kSeparator);
  run.items_file = upnp_file_create_new(run.temp_items_path);
  if (run.items_file == nullptr) note_failure(run, errno, "create %s", run.temp_items_path);
  return run.items_file != nullptr;
}

void close_temp_items_file(ImportRun& run) {
  if (upnp_file_close(run.items_file) != 0) note_failure(run, errno, "write %s", run.temp_items_path);
  run.items_file = nullptr;
}

// One line to standard error and to the log; the run's own files go, the
// server's directories stay as they were.
int32_t end_with_failure(ImportRun& run) {
  discard_outputs(run);
  upnp_file_unlock(run.lock_fd);
  run.lock_fd = -1;
  fprintf(stderr, "%s\n", run.failure);
  upnp_log(UPNP_LOG_ERROR, LOG_PLUGIN, kFunction, 0, "%s", run.failure);
  upnp_log_close();
  return -1;
}

}  // namespace
}  // namespace importer

extern "C" int32_t itunes_main(int32_t argc, char** argv) {
  using namespace importer;
  if (argc < 2) exit_with_error();

  upnp_log_open(nullptr);
  ImportRun& run = g_run;
  run = ImportRun{};
  run.lock_fd = -1;
  Options options;
  if (parse_arguments(argc, argv, options) == LoopEnd::kReturnZero) return 0;

  if (options.database_dir == nullptr) exit_with_error();
  // Callers always pass a playlist directory; a run without one is refused
  // like a run without a database directory.
  if (options.playlist_dir == nullptr) exit_with_error();
  derive_paths(options, run);

  upnp_log(UPNP_LOG_INFO, LOG_PLUGIN, kFunction, 0, "iTunes-import: starting with (%s) (%s)", run.library_path,
           run.database_dir);
  upnp_file_info info;
  if (upnp_file_stat(run.library_path, &info) != 0) {
    upnp_log(UPNP_LOG_INFO, LOG_PLUGIN, kFunction, 0, "iTunes-import: can not access %s", run.library_path);
    upnp_log_close();
    upnp_log(UPNP_LOG_INFO, LOG_PLUGIN, kFunction, 0, "Can not access iTunes library file: %s", run.library_path);
    exit_with_error();
  }
  // A FIFO would block the run and a device or directory reads as an empty
  // library: only a regular file (or a link to one) is read at all.
  if (!S_ISREG(info.mode)) return refuse_library(run, kNotComplete, "not a regular file");

  if (!start_cleanly(run)) return end_with_failure(run);
  if (!check_layout(run)) return -1;
  if (!open_temp_items_file(run)) {
    free_import_lists(run);
    return end_with_failure(run);
  }
  read_playlist_folders(run);
  read_tracks_and_playlists(run);
  free_import_lists(run);
  close_temp_items_file(run);
  if (run.rewritten) upnp_file_unlink(run.scan_path);
  if (!run_failed(run)) move_outputs_into_place(run);
  if (run_failed(run)) return end_with_failure(run);
  upnp_file_unlock(run.lock_fd);
  run.lock_fd = -1;

  upnp_log(UPNP_LOG_INFO, LOG_PLUGIN, kFunction, 0, "iTunes-import: %s imported", run.library_path);
  upnp_log_close();
  if (options.summary) print_summary(run);
  return 0;
}
