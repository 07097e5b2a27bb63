// One track entry of the library file turned into a media object record, key
// line by key line, and what happens at the entry's end: the record goes to
// the items file twice (an "ADD" record with every property, then a cut-down
// "REPLACE" record) or is dropped, and the track enters the track list that
// the playlists look their entries up in.
//
// Runs on the main thread during pass 3; takes no lock. Every heap block
// comes from the tracked allocator; a failed allocation drops that one value.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "importer/file_existence.hpp"
#include "importer/track_keys.hpp"
#include "importer/track_lists.hpp"
#include "records/object.h"

struct upnp_file;

namespace importer {

class ItemsWriter;

// How many tracks an import met, wrote and left out, by reason.
struct TrackCounts {
  uint32_t seen;
  uint32_t written;
  uint32_t is_protected;
  uint32_t no_location;
  uint32_t url;
  uint32_t missing_file;
  uint32_t book;
};

// The state of the track being read. The location is kept in a buffer of
// the line's size (no value is longer than a line), and the record borrows
// every value it holds from the track's value space, so that mapping a track
// costs no heap block at all unless its values outgrow that space.
struct TrackState {
  static constexpr size_t kTextSize = 1024;
  static constexpr size_t kSizeTextSize = 32;
  // A track's values take about 500 bytes; a track whose keys repeat past
  // this has its further values copied to the heap, owned by the record.
  static constexpr size_t kValueSpaceSize = 8 * 1024;

  uint32_t id;
  // Created by the first property set and emptied at each track's end, so
  // that the tracks of a pass share one record; null at first, freed by the
  // owner of the state when the pass ends.
  db_object* record;
  bool has_location;
  bool is_protected;
  bool video;
  char protocol;  // 'd' for a local file, 'h' for a URL track
  int64_t line_offset;  // file offset of the line being mapped
  uint64_t location_ref;  // where the track list reads the location back
  char location[kTextSize];
  char size_text[kSizeTextSize];
  size_t values_used = 0;  // of `values`, emptied with the record at each track's end
  char values[kValueSpaceSize];
  TrackCounts counts{};  // of the whole pass: begin_track leaves it
  FileExistence files;   // of the whole pass too
};

// Reads back the location a track list entry points at, through `fd` (the
// library file) without moving its position: the same text the track's
// Location line gave. False for none or when the line cannot be read.
bool read_track_location(int fd, uint64_t location_ref, char (&location)[TrackState::kTextSize]);

// Resets the state for the track (keeping its emptied record) whose "<key>Track ID</key>" line gave `id`.
void begin_track(TrackState& track, uint32_t id);

// Applies one key line of the entry. `line` is the scanner's writable text;
// reading a value decodes it in place.
void map_track_key(TrackState& track, TrackKey key, char* line, AudiobookList& audiobooks);

// The end of the entry: writes the track's two records to `items` when it is
// usable (not protected, has an existing local file that is not an ".epub"),
// empties the record, and enters every unprotected track in `tracks`.
void end_track(TrackState& track, ItemsWriter& items, TrackList& tracks);

// Conversions of the key table, apart for their tests.

// A file URL's path: drive letters kept ("C:/Music"), a host dropped, and
// the leading "/" of a POSIX path dropped too, so that the path is relative
// to the working directory (deliberately). Changes `url` in place (cuts a
// trailing "/") and returns a pointer into it.
char* path_of_file_url(char* url);

// The library's "Date Modified" as a day-and-time count that is not a
// calendar time: ((year - 1980) * 366 + month * 31 + day) * 86400 + the time
// of day in seconds, in unsigned 32-bit arithmetic, from the fixed positions
// of "YYYY-MM-DDTHH:MM:SS". Positions behind the end of a short value count
// as NUL characters.
uint32_t modification_time_of(const char* value);

// "H:MM:SS.mmm" of a duration in milliseconds, into `out` (15 bytes hold the
// longest, "1193:02:47.295").
void format_duration(uint32_t milliseconds, char (&out)[15]);

}  // namespace importer
