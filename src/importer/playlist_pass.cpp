// The playlist half of pass 3: reads on from the "<key>Playlists</key>" line
// and writes one WPL file per playlist into the work directory, named by the
// playlist's full folder path, plus the list of those names.
//
// A playlist's file is made at its first known track, so playlists that are
// empty or hold only unknown tracks leave no file. The file is written when
// the next playlist starts (or the library ends), from the playlist table,
// which merges playlists of the same full name and kind: the later one
// rewrites the file with the entries of both.
#include <string.h>

#include "base/file.h"
#include "base/file_system.h"
#include "base/memory.h"
#include "base/upnp_string.h"
#include "importer/bounded_format.hpp"
#include "importer/import_run.hpp"
#include "importer/line_scanner.hpp"
#include "importer/playlist_naming.hpp"
#include "importer/value_decoding.h"
#include "importer/wpl.h"

namespace importer {
namespace {

// The playlist that entries go to; 0 for none. Like the table it points
// into, there is one per process.
uint32_t g_current_playlist = 0;

constexpr const char kSmartPlaylistName[] = "smartplaylist";
constexpr const char kListLineEnd[] = "\r\n";

class PlaylistWriter {
 public:
  explicit PlaylistWriter(ImportRun& run) : run_(run) {}
  ~PlaylistWriter() { close_wpl(); }
  PlaylistWriter(const PlaylistWriter&) = delete;
  PlaylistWriter& operator=(const PlaylistWriter&) = delete;

  void read_line(char* line);

 private:
  // Renders the current playlist into the open WPL file and closes it. A
  // file that could not be created is not reported; nothing is written.
  void close_wpl();
  void add_track(const char* location);
  void start_file(char kind);
  void append_to_list() const;

  ImportRun& run_;
  // The playlist's name from its Name line; at its first track it becomes
  // the full name the file is made for.
  char name_[kPathBufferSize] = {};
  char persistent_id_[kPathBufferSize] = {};
  bool new_playlist_ = false;
  upnp_file* wpl_ = nullptr;
};

// Copies the line's "string" value into the buffer; empty when there is none.
void copy_value(char* line, char (&buffer)[kPathBufferSize]) {
  TrackedPtr<char> value(extract_value(line, "string"));
  format_cut(buffer, sizeof buffer, "%s", value ? value.get() : "");
}

void PlaylistWriter::read_line(char* line) {
  if (strstr(line, "<key>Name</key>") != nullptr) {
    new_playlist_ = true;
    copy_value(line, name_);
  } else if (strstr(line, "<key>Playlist Persistent ID</key>") != nullptr) {
    copy_value(line, persistent_id_);
  } else if (strstr(line, "<key>Videos</key><true/>") != nullptr) {
    return;
  } else if (strstr(line, "<key>Distinguished Kind</key>") != nullptr ||
             strstr(line, "<key>Smart Info</key>") != nullptr) {
    format_cut(name_, sizeof name_, "%s", kSmartPlaylistName);
  }
  // Smart playlists and the library's own lists are skipped up to the next
  // Name line.
  if (is_ignored_playlist_name(name_)) return;
  if (strstr(line, "<key>Track ID</key>") == nullptr) return;
  const TrackNode* track = track_list_find(run_.tracks, extract_integer(line));
  if (track == nullptr || track->location == nullptr) return;
  add_track(track->location);
}

void PlaylistWriter::add_track(const char* location) {
  if (new_playlist_) {
    const char kind = media_kind_letter(location);
    build_full_name(run_.folders, persistent_id_, name_);
    close_wpl();
    // A playlist that the folder pass did not record makes no file: its
    // tracks go to the previous playlist, whose file is already written.
    if (name_[0] != '\0') start_file(kind);
    new_playlist_ = false;
  }
  // A failure (unknown playlist, out of memory) drops the entry.
  (void)upnp_wpl_add_entry(g_current_playlist, location);
}

void PlaylistWriter::start_file(char kind) {
  append_itunes_suffix(name_);
  blank_control_characters(name_);
  char base[kWplBaseSize];
  char path[kPathBufferSize];
  wpl_file_base(name_, kind, base);
  wpl_file_path(run_.work_dir, base, path);
  upnp_file_unlink(path);
  append_to_list();
  ++run_.playlists_written;
  wpl_ = upnp_file_open_write(path);
  const uint32_t type = kind == 'V' ? UPNP_WPL_TYPE_VIDEO : UPNP_WPL_TYPE_MUSIC;
  // On failure the identifier is 0: the entries and the file's text are lost.
  (void)upnp_wpl_create(name_, type, UPNP_WPL_SOURCE_ITUNES, nullptr, nullptr, &g_current_playlist);
}

// One line per file made, the full name as it stands (not sanitised), in
// the library's order; a merged playlist is listed once per occurrence.
void PlaylistWriter::append_to_list() const {
  char path[kPathBufferSize];
  playlist_list_path(run_.work_dir, path);
  upnp_file* list = upnp_file_open_append(path);
  if (list == nullptr) return;
  (void)upnp_file_write(list, name_, strlen(name_));
  (void)upnp_file_write(list, kListLineEnd, sizeof kListLineEnd - 1);
  upnp_file_close(list);
}

void PlaylistWriter::close_wpl() {
  if (wpl_ == nullptr) return;
  upnp_string* text = nullptr;
  if (upnp_wpl_to_text(g_current_playlist, &text) == 0 && text != nullptr) {
    (void)upnp_file_write(wpl_, text->data, text->length);
  }
  upnp_string_free(text);
  upnp_file_close(wpl_);
  wpl_ = nullptr;
}

}  // namespace

void write_playlists(ImportRun& run, LineScanner& scanner) {
  upnp_wpl_reset();
  g_current_playlist = 0;
  {
    // The last playlist's file is written when the writer goes.
    PlaylistWriter writer(run);
    while (!scanner.at_end()) writer.read_line(scanner.next().text);
  }
  // Every file is written and nothing reads the table again: return its
  // memory now rather than at shut-down.
  upnp_wpl_reset();
  g_current_playlist = 0;
}

}  // namespace importer
