// The playlist half of pass 3: reads on from the "<key>Playlists</key>" line
// and writes one WPL file per playlist into the work directory, named by the
// playlist's full folder path, plus the list of those names.
//
// A playlist's file is made at its first known track, so playlists that are
// empty or hold only unknown tracks leave no file. The file is written when
// the next playlist starts (or the library ends), from the playlist table,
// which merges playlists of the same full name and kind: the later one
// rewrites the file with the entries of both.
#include <errno.h>
#include <string.h>

#include "base/file.h"
#include "base/file_system.h"
#include "base/memory.h"
#include "base/status.h"
#include "importer/bounded_format.hpp"
#include "importer/import_run.hpp"
#include "importer/line_scanner.hpp"
#include "importer/pass_markers.hpp"
#include "importer/playlist_naming.hpp"
#include "importer/track_mapping.hpp"
#include "importer/value_decoding.h"
#include "importer/wpl.h"

namespace importer {
namespace {

// The playlist that entries go to; 0 for none. Like the table it points
// into, there is one per process.
uint32_t g_current_playlist = 0;

constexpr const char kListLineEnd[] = "\r\n";

// The playlist table's location reader: `library_fd` points at the
// library file's descriptor.
int32_t read_back_location(void* library_fd, uint64_t reference, char* location, uint32_t size);

class PlaylistWriter {
 public:
  PlaylistWriter(ImportRun& run, LineScanner& scanner)
      : run_(run), scanner_(scanner), library_fd_(scanner.file() != nullptr ? scanner.file()->fd : -1) {
    folder_index_build(folder_index_, run.folders);
    upnp_wpl_set_location_reader(read_back_location, &library_fd_);
  }
  ~PlaylistWriter() {
    close_wpl();
    upnp_wpl_set_location_reader(nullptr, nullptr);
    folder_index_free(folder_index_);
  }
  PlaylistWriter(const PlaylistWriter&) = delete;
  PlaylistWriter& operator=(const PlaylistWriter&) = delete;

  void read_line();

 private:
  // Renders the current playlist into the open WPL file and closes it.
  void close_wpl();
  void add_track(uint64_t location_ref);
  void start_file(char* name, char kind);
  // A failed creation or write is noted in the run and ends it.
  void append_to_list(const char* name) const;

  ImportRun& run_;
  LineScanner& scanner_;
  int library_fd_;  // locations are read back from it
  FolderIndex folder_index_;
  TrackedPtr<char> persistent_id_;  // null when none was read
  // A smart playlist or one of the library's own lists: its lines are
  // skipped up to the next Name line.
  bool skipped_ = false;
  bool new_playlist_ = false;
  upnp_file* wpl_ = nullptr;
};

void PlaylistWriter::read_line() {
  const LineChunk chunk = scanner_.next();
  char* line = chunk.text;
  // A classic line holds one key: a line whose value is read holds no
  // "Track ID" besides.
  const uint32_t found = kPlaylistMarkers.find_all(split_classic_line(chunk.text, chunk.length));
  constexpr uint32_t kChained = (1u << static_cast<unsigned>(PlaylistMarker::kTrackId)) - 1;
  const auto read_value = [&] { return TrackedPtr<char>(extract_value(line, "string")); };
  switch (static_cast<PlaylistMarker>(kPlaylistMarkers.first(found & kChained))) {
    case PlaylistMarker::kName: {
      new_playlist_ = true;
      // The first chunk decides what the line is; the value may run on.
      line = scanner_.whole_line(chunk).text;
      const TrackedPtr<char> name = read_value();
      skipped_ = is_ignored_playlist_name(name ? name.get() : "");
      break;
    }
    case PlaylistMarker::kPersistentId: persistent_id_ = read_value(); break;
    case PlaylistMarker::kVideos: return;
    case PlaylistMarker::kDistinguishedKind:
    case PlaylistMarker::kSmartInfo: skipped_ = true; break;
    default: break;
  }
  if (skipped_ || !holds(found, PlaylistMarker::kTrackId)) return;
  const TrackEntry* track = track_list_find(run_.tracks, extract_integer(line));
  if (track == nullptr || track->location == kNoLocation) return;
  add_track(track->location);
}

int32_t read_back_location(void* library_fd, uint64_t reference, char* location, uint32_t size) {
  char text[TrackState::kTextSize];
  if (size == 0 || !read_track_location(*static_cast<const int*>(library_fd), reference, text)) return 0;
  const size_t length = strnlen(text, size - 1);
  memcpy(location, text, length);
  location[length] = '\0';
  return 1;
}

// The entry keeps where the location can be read back, not a copy of it:
// a playlist costs 8 bytes an entry while it waits to be written.
void PlaylistWriter::add_track(uint64_t location_ref) {
  if (new_playlist_) {
    char location[TrackState::kTextSize];
    if (!read_track_location(library_fd_, location_ref, location)) return;
    const char kind = media_kind_letter(location);
    const TrackedPtr<char> name =
        build_full_name(run_.folders, persistent_id_ ? persistent_id_.get() : "", &folder_index_);
    close_wpl();
    // A playlist that the folder pass did not record (or whose name finds
    // no memory) makes no file: its tracks go to the previous playlist,
    // whose file is already written.
    if (name != nullptr) start_file(name.get(), kind);
    new_playlist_ = false;
  }
  // A failure (unknown playlist, out of memory) drops the entry.
  (void)upnp_wpl_add_entry_ref(g_current_playlist, location_ref);
}

// The name is the whole title, " (iTunes)" included: the file, its title and
// its line in the list are all made from it.
void PlaylistWriter::start_file(char* name, char kind) {
  blank_control_characters(name);
  char base[kWplBaseSize];
  char path[kPathBufferSize];
  wpl_file_base(name, kind, base);
  wpl_file_path(run_.work_dir, base, path);
  upnp_file_unlink(path);
  append_to_list(name);
  ++run_.playlists_written;
  wpl_ = upnp_file_create_new(path);
  if (wpl_ == nullptr) note_failure(run_, errno, "create %s", path);
  const uint32_t type = kind == 'V' ? UPNP_WPL_TYPE_VIDEO : UPNP_WPL_TYPE_MUSIC;
  // On failure the identifier is 0: the entries and the file's text are lost.
  (void)upnp_wpl_create(name, type, UPNP_WPL_SOURCE_ITUNES, nullptr, nullptr, &g_current_playlist);
}

// One line per file made, the full name as it stands (not sanitised), in
// the library's order; a merged playlist is listed once per occurrence.
void PlaylistWriter::append_to_list(const char* name) const {
  char path[kPathBufferSize];
  playlist_list_path(run_.work_dir, path);
  upnp_file* list = upnp_file_open_append_nofollow(path);
  const bool ok = list != nullptr && upnp_file_write_all(list, name, strlen(name)) == 0 &&
                  upnp_file_write_all(list, kListLineEnd, sizeof kListLineEnd - 1) == 0;
  const int error = errno;
  if (upnp_file_close(list) != 0 || !ok) note_failure(run_, ok ? errno : error, "write %s", path);
}

void PlaylistWriter::close_wpl() {
  if (wpl_ == nullptr) return;
  // An unknown playlist or one without a title renders nothing; only a
  // failed write of the file ends the run.
  const bool ok = upnp_wpl_write_file(g_current_playlist, wpl_) != UPNP_FAILED;
  const int error = errno;
  char path[kPathBufferSize];
  format_cut(path, sizeof path, "%s", wpl_->path ? wpl_->path : "");
  if (upnp_file_close(wpl_) != 0 || !ok) note_failure(run_, ok ? errno : error, "write %s", path);
  wpl_ = nullptr;
}

}  // namespace

void write_playlists(ImportRun& run, LineScanner& scanner) {
  upnp_wpl_reset();
  g_current_playlist = 0;
  {
    // The last playlist's file is written when the writer goes.
    PlaylistWriter writer(run, scanner);
    while (!scanner.at_end() && !run_failed(run)) writer.read_line();
  }
  // Every file is written and nothing reads the table again: return its
  // memory now rather than at shut-down.
  upnp_wpl_reset();
  g_current_playlist = 0;
}

}  // namespace importer
