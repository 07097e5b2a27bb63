#include "importer/track_mapping.hpp"

#include "importer/items_writer.hpp"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <unistd.h>

#include <string_view>

#include "base/file.h"
#include "base/file_system.h"
#include "base/memory.h"
#include "base/number_text.h"
#include "importer/value_decoding.h"
#include "importer/value_reading.hpp"
#include "records/object_class.h"
#include "records/object_text.h"
#include "records/setters.h"

namespace importer {
namespace {

// Property ids the key table sets, beside the well-known ones of the table's
// header.
enum : int32_t {
  kAuthor = 24,
  kAlbumArtist = 27,
  kAudiobook = 29,
  kPlayCount = 31,
  kModificationTime = 34,
  kLastPlayedTime = 35,
  kCompilation = 43,
  kNumberOfThisDisc = 47,
  kProtocol = 69,
};

constexpr std::string_view kAddCommand = "##017PLUGIN ITUNES ADD\n";
constexpr std::string_view kReplaceCommand = "##021PLUGIN ITUNES REPLACE\n";
static_assert(kAddCommand.size() == 23 && kReplaceCommand.size() == 27, "command lines are fixed");
static_assert(kAddCommand.substr(2, 3) == "017" && kReplaceCommand.substr(2, 3) == "021",
              "a command line carries its command's length");

// What the REPLACE record keeps of a track.
constexpr int32_t kReplaceKeeps[] = {DB_PROP_TITLE, DB_PROP_ARTIST, DB_PROP_GENRE, DB_PROP_ALBUM, DB_PROP_RES};

// The record borrows a copy of the value from the track's value space.
void set_text(TrackState& track, int32_t id, std::string_view value) {
  char* copy;
  int32_t borrowed = 1;
  if (value.size() < sizeof track.values - track.values_used) {
    copy = track.values + track.values_used;
    track.values_used += value.size() + 1;
  } else {
    // A failed allocation drops the value, as it always has.
    copy = static_cast<char*>(upnp_malloc(value.size() + 1));
    if (copy == nullptr) return;
    borrowed = 0;
  }
  memcpy(copy, value.data(), value.size());
  copy[value.size()] = '\0';
  track.record = db_object_set_prop(track.record, id, copy, borrowed);
}

// "%d" of the number as a signed 32-bit value, as the numeric setter writes it.
void set_number(TrackState& track, int32_t id, uint32_t number) {
  char text[UPNP_INT32_TEXT_SIZE];
  set_text(track, id, {text, upnp_int32_to_text(static_cast<int32_t>(number), text)});
}

// The "string" value, else the "date" value; data() null for neither.
std::string_view read_string_or_date(char* line) {
  const std::string_view value = read_value(line, kStringValue);
  return value.data() != nullptr ? value : read_value(line, kDateValue);
}

// The text cut to the buffer, as "%s" into it would cut it.
void keep_text(char (&buffer)[TrackState::kTextSize], const char* text) {
  const size_t length = strnlen(text, sizeof buffer - 1);
  memcpy(buffer, text, length);
  buffer[length] = '\0';
}

void map_location(TrackState& track, char* value, AudiobookList& audiobooks) {
  keep_text(track.location, track.protocol == 'd' ? path_of_file_url(value) : value);
  track.has_location = true;
  track.location_ref = static_cast<uint64_t>(track.line_offset) << 1 | (track.protocol == 'd' ? 0u : 1u);
  set_text(track, DB_PROP_RES, track.location);
  set_text(track, kProtocol, {&track.protocol, 1});
  if (audiobook_list_contains(audiobooks, track.id)) {
    set_number(track, kAudiobook, 1);
  } else {
    track.record = db_object_remove_prop(track.record, kAudiobook);
  }
}

bool ends_with_epub(const char* path) {
  constexpr std::string_view kEpub = ".epub";
  const size_t length = strlen(path);
  return length >= kEpub.size() && strcasecmp(path + length - kEpub.size(), kEpub.data()) == 0;
}

// Counts the track under the first reason that leaves it out.
bool is_written(TrackState& track) {
  TrackCounts& counts = track.counts;
  uint32_t& reason = track.is_protected    ? counts.is_protected
                     : !track.has_location ? counts.no_location
                     : track.protocol == 'h' ? counts.url
                     : !track.files.exists(track.location) ? counts.missing_file
                     : ends_with_epub(track.location)    ? counts.book
                                                         : counts.written;
  ++reason;
  return &reason == &counts.written;
}

void write_records(TrackState& track, ItemsWriter& items) {
  const db_object_class_index cls = track.video ? DB_CLASS_MOVIE : DB_CLASS_MUSIC_TRACK;
  set_text(track, DB_PROP_CLASS, db_object_class_names[cls]);
  items.write(kAddCommand.data(), kAddCommand.size());
  items.write_record(track.record);

  if (db_object* record = track.record) {
    for (int32_t id = record->first_prop; id <= record->last_prop && id < DB_PROPERTY_ID_LIMIT; ++id) {
      // The importer never sets the child list (id 87), whose removal would
      // leave its slot behind.
      if (record->value[id] == nullptr || id == DB_PROP_RES_ADDITIONAL) continue;
      bool keep = false;
      for (const int32_t kept : kReplaceKeeps) keep = keep || id == kept;
      if (!keep) db_object_remove_prop(record, id);
    }
  }
  items.write(kReplaceCommand.data(), kReplaceCommand.size());
  items.write_record(track.record);
}

}  // namespace

void begin_track(TrackState& track, uint32_t id) {
  track.id = id;
  track.has_location = false;
  track.is_protected = false;
  track.video = false;
  track.protocol = 'd';
  memset(track.size_text, 0, sizeof track.size_text);
}

// The record lets go of the values it borrowed before the space is reused.
void empty_record(TrackState& track) {
  db_object_clear(track.record);
  track.values_used = 0;
}

void map_track_key(TrackState& track, TrackKey key, char* line, AudiobookList& audiobooks) {
  uint32_t number = 0;
  const auto set_string = [&](int32_t id) {
    const std::string_view value = read_value(line, kStringValue);
    if (value.data() != nullptr) set_text(track, id, value);
  };
  switch (key) {
    case TrackKey::kName: set_string(DB_PROP_TITLE); break;
    case TrackKey::kArtist: set_string(DB_PROP_ARTIST); break;
    case TrackKey::kAlbumArtist: set_string(kAlbumArtist); break;
    case TrackKey::kProtected: track.is_protected = true; break;
    case TrackKey::kComposer: set_string(kAuthor); break;
    case TrackKey::kAlbum: set_string(DB_PROP_ALBUM); break;
    case TrackKey::kRating:
      // iTunes rates 0 to 100 in steps of 20; the record holds 0 to 5.
      if (read_integer(line, number)) set_number(track, DB_PROP_RATING, number / 20);
      break;
    case TrackKey::kGenre: set_string(DB_PROP_GENRE); break;
    case TrackKey::kSize:
      // Signed 32-bit on purpose: the media server reads sizes so.
      if (read_integer(line, number)) {
        const uint32_t length = upnp_int32_to_text(static_cast<int32_t>(number), track.size_text);
        set_text(track, DB_PROP_SIZE, {track.size_text, length});
      }
      break;
    case TrackKey::kTotalTime:
      if (read_integer(line, number) && number >= 1) {
        char duration[15];
        format_duration(number, duration);
        set_text(track, DB_PROP_DURATION, duration);
      }
      break;
    case TrackKey::kTrackNumber:
      if (read_integer(line, number) && number != 0) set_number(track, DB_PROP_ORIGINAL_TRACK_NUMBER, number);
      break;
    case TrackKey::kBitRate:
      // kbit/s in the library, bytes per second in the record.
      if (read_integer(line, number) && number != 0) set_number(track, DB_PROP_BITRATE, number * 125u);
      break;
    case TrackKey::kSampleRate:
      if (read_integer(line, number) && number != 0) set_number(track, DB_PROP_SAMPLE_FREQUENCY, number);
      break;
    case TrackKey::kPlayCount:
      if (read_integer(line, number)) set_number(track, kPlayCount, number);
      break;
    case TrackKey::kDiscNumber:
      if (read_integer(line, number)) set_number(track, kNumberOfThisDisc, number);
      break;
    case TrackKey::kDateModified: {
      const std::string_view value = read_string_or_date(line);
      set_number(track, kModificationTime, value.data() != nullptr ? modification_time_of(value.data()) : 0);
      break;
    }
    case TrackKey::kPlayDateUtc: {
      // Without a value the setter is called with none, which sets nothing.
      const std::string_view value = read_string_or_date(line);
      if (value.data() != nullptr) set_text(track, kLastPlayedTime, value.substr(0, value.find('Z')));
      break;
    }
    case TrackKey::kTrackType: {
      const std::string_view value = read_value(line, kStringValue);
      if (value == "File") track.protocol = 'd';
      if (value == "URL") track.protocol = 'h';
      break;
    }
    case TrackKey::kYear:
      // The date setter keeps full dates only: a year becomes its first
      // day, which the media server shows as the year. Other values are
      // dropped.
      if (read_integer(line, number) && number >= 1 && number <= 9999) {
        char date[sizeof "YYYY-01-01"];
        (void)upnp_uint32_to_text(number, 4, date);
        memcpy(date + 4, "-01-01", sizeof "-01-01");
        set_text(track, DB_PROP_DATE, date);
      }
      break;
    case TrackKey::kHasVideo: track.video = true; break;
    case TrackKey::kCompilation: set_number(track, kCompilation, 1); break;
    case TrackKey::kLocation: {
      const std::string_view value = read_value(line, kStringValue);
      if (value.data() != nullptr) map_location(track, const_cast<char*>(value.data()), audiobooks);
      break;
    }
    case TrackKey::kNone: break;
  }
}

void end_track(TrackState& track, ItemsWriter& items, TrackList& tracks) {
  ++track.counts.seen;
  if (is_written(track)) write_records(track, items);
  empty_record(track);
  // A protected track is not offered to the playlists either; every other
  // track is, written or not (a URL track still plays from a playlist).
  if (track.is_protected) return;
  track_list_insert(tracks, track.id, track.has_location ? track.location_ref : kNoLocation);
}

bool read_track_location(int fd, uint64_t location_ref, char (&location)[TrackState::kTextSize]) {
  if (location_ref == kNoLocation) return false;
  // The line as the scanner of pass 3 cut it: up to 1024 bytes, up to and
  // including the first newline, kept to 1023.
  char line[TrackState::kTextSize + 1];
  ssize_t got;
  do {
    got = pread(fd, line, TrackState::kTextSize, static_cast<off_t>(location_ref >> 1));
  } while (got < 0 && errno == EINTR);
  if (got <= 0) return false;
  const auto* newline = static_cast<const char*>(memchr(line, '\n', static_cast<size_t>(got)));
  const size_t raw = newline != nullptr ? static_cast<size_t>(newline - line) + 1 : static_cast<size_t>(got);
  line[raw < TrackState::kTextSize ? raw : TrackState::kTextSize - 1] = '\0';
  char* value = extract_value_in_place(line, "string");
  if (value == nullptr) return false;
  keep_text(location, (location_ref & 1) == 0 ? path_of_file_url(value) : value);
  return true;
}

char* path_of_file_url(char* url) {
  size_t length = strlen(url);
  if (length > 0 && url[length - 1] == '/') url[--length] = '\0';
  size_t start = strstr(url, "localhost") != nullptr ? 16 : 5;  // behind "file://localhost" or "file:"
  if (start > length) return url + length;
  // A drive letter, "/C:/Music", keeps "C:/Music".
  if (start + 2 < length && url[start + 2] == ':') ++start;
  const auto separator = [](char c) { return c == '/' || c == '\\'; };
  char* rest = url + start;
  if ((rest[0] == '/' && rest[1] == '/') || (rest[0] == '\\' && rest[1] == '\\')) {
    // "//host/share/a.mp3": the host goes with its separator. A host with
    // nothing behind it leaves an empty path.
    rest += 2;
    while (*rest != '\0' && !separator(*rest)) ++rest;
    if (*rest != '\0') ++rest;
  } else if (separator(rest[0])) {
    ++rest;
  }
  return rest;
}

uint32_t modification_time_of(const char* value) {
  const size_t length = strlen(value);
  const auto digit = [&](size_t i) -> uint32_t {
    const auto c = static_cast<unsigned char>(i < length ? value[i] : '\0');
    return static_cast<uint32_t>(c) - static_cast<uint32_t>('0');
  };
  const auto two = [&](size_t i) { return digit(i) * 10u + digit(i + 1); };
  const uint32_t year = digit(0) * 1000u + digit(1) * 100u + two(2);
  const uint32_t days = (year - 1980u) * 366u + two(5) * 31u + two(8);
  return days * 86400u + two(11) * 3600u + two(14) * 60u + two(17);
}

void format_duration(uint32_t milliseconds, char (&out)[15]) {
  // "%u:%02u:%02u.%03u"; the longest, from the largest count, fills 14
  // characters, so nothing is ever cut.
  const uint32_t t = milliseconds;
  char* at = out;
  at += upnp_uint32_to_text(t / 3600000u, 0, at);
  *at++ = ':';
  at += upnp_uint32_to_text((t % 3600000u) / 60000u, 2, at);
  *at++ = ':';
  at += upnp_uint32_to_text((t % 60000u) / 1000u, 2, at);
  *at++ = '.';
  (void)upnp_uint32_to_text(t % 1000u, 3, at);
}

}  // namespace importer
